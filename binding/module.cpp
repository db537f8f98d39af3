#include "binding/module.h"

#include "binding/fi/FiOMClass.h"
#include "binding/fimath/FimathOMClass.h"
#include "binding/frame/lifetime.h"
#include "binding/logs/QloggerOMClass.h"
#include "binding/logs/filogOMClass.h"
#include "binding/numerictype/NumericTypeOMClass.h"
#include "binding/quantizer/QuantizerOMClass.h"
#include "binding/types/type_classes.h"
#include "descriptors/embedded.h"
#include "host/hd.h"
#include "typesystem/TypeCycles.h"

using namespace tolvane::detail;

namespace {

bool sIsStarted = false;
bool sIsStopped = false;
bool sNeedsDeclaring = true;
bool sNeedsRegistering = true;

constexpr VLFunctionList kNoFunctions{};
constexpr VLFunctionTable kFunctionTable{&kNoFunctions, {0x345F20F1, 0x4C3BC66E}, 0};

template <class... Records>
void build() {
    (static_cast<void>(Records::getInstance()), ...);
}

template <class... Records>
void declare() {
    (Records::registerOMClass(), ...);
}

/// Fills a class whose methods with arrays are a step of their own.
template <class Record>
void fillInTwoSteps() {
    Record::init();
    Record::init_fi_methods();
}

}  // namespace

void VLInitialize_tolvane() {
    if (sIsStarted) {
        return;
    }
    hdLoadModuleForPackageOrClass("Lorimer");
    embedded::getEmbeddedPackage();
    build<TypeOMC, ScalarTypeOMC, PointerTypeOMC, ComplexTypeOMC, VoidTypeOMC, OpaqueTypeOMC, CharTypeOMC,
          MatrixTypeOMC, StructTypeOMC, StructElementOMC, FIEnumTypeOMC>();
    build<NumericTypeOMClass, QuantizerOMClass, FimathOMClass, GlobalFimathOMClass, FiOMClass, QloggerOMClass,
          filogOMClass>();
    fillInTwoSteps<NumericTypeOMClass>();
    QuantizerOMClass::init();
    fillInTwoSteps<FimathOMClass>();
    GlobalFimathOMClass::init();
    FiOMClass::init();
    QloggerOMClass::init();
    filogOMClass::init();
    embedded::registerFeatures();
    sIsStarted = true;
}

void VLTerminate_tolvane() {
    if (sIsStopped) {
        return;
    }
    EmbeddedTypeSystem::TypeCycles::collect();
    embedded::terminateEmbeddedPackage();
    if (sIsStarted) {
        lifetime::setStopped();
    }
    sIsStopped = true;
}

const VLFunctionTable* QueryVLFcnTable_tolvane() {
    return &kFunctionTable;
}

const VLFunctionList* QueryVLFcns_tolvane() {
    return &kNoFunctions;
}

void Tolvane::declareOMClasses() {
    if (sNeedsDeclaring) {
        declare<NumericTypeOMClass, QuantizerOMClass, FimathOMClass, FiOMClass, QloggerOMClass, GlobalFimathOMClass>();
        sNeedsDeclaring = false;
    }
}

void Tolvane::registerOMClasses() {
    if (sNeedsRegistering) {
        declareOMClasses();
        fillInTwoSteps<NumericTypeOMClass>();
        QuantizerOMClass::init();
        fillInTwoSteps<FimathOMClass>();
        FiOMClass::init();
        QloggerOMClass::init();
        GlobalFimathOMClass::init();
        sNeedsRegistering = false;
    }
}
