// The extension: the interface for C++ programs as Python sees it. It computes nothing itself.
#include "turns.h"

PYBIND11_MODULE(_core, module) {
    using namespace tolvane::python;
    module.attr("version") = TOLVANE_VERSION;
    registerErrors(module);
    bindGuard(module);
    bindTurns(module);
    bindFormats(module);
    bindArrays(module);
    bindScalars(module);
    bindFunctions(module);
    bindLogs(module);
    bindFilters(module);
    bindWords(module);
    bindFloats(module);
}
