#include "binding/fimath/FimathOMClass.h"

#include <string_view>

#include "binding/fimath/tables.h"
#include "binding/frame/methods.h"
#include "binding/types/type_classes.h"

using namespace tolvane::detail;

namespace {

constexpr SignatureColumn kNoArguments = takes();

constexpr DataTypeColumn kGlobalHandle{[] { return findDataType("embedded.globalfimath"); }, true};
constexpr SignatureColumn kGlobalToNothing[] = {takes(kGlobalHandle)};

void resetGlobal(const MethodCall& call) {
    fimath::resetGlobalFimath();
    call.giveNothing();
}

constexpr MethodRow kGlobalMethods[] = {{"reset", plain<kGlobalToNothing, resetGlobal>}};

}  // namespace

void FimathOMClass::fill() {
    setLorimerSuperClass(*this);
    if (getConstructorSignatures().empty()) {
        addConstructorSignature(kNoArguments.make());
    }
    addFimathProperties(*this);
    addFimathMethods(*this);
}

void FimathOMClass::fillFiMethods() {
    addFimathFiMethods(*this);
}

OMInterface* FimathOMClass::createClassSpecificObject(OMInterface* /*interface*/, void** /*arguments*/, int count) {
    errorIfMoreThan(0, count);
    return wrap(std::make_unique<fimath>());
}

void FimathOMClass::respondToMethodAddedFromVELMAR(OMMethodInfo* method) {
    if (std::string_view(method->getName()) == "abs") {
        method->setDispatchedOnFirstArgument(false);
    }
}

// The global object

GlobalFimathOMClass::GlobalFimathOMClass() {
    setSuperClass(FimathOMClass::getInstance());
}

void GlobalFimathOMClass::fill() {
    addMethods(*this, kGlobalMethods);
}

OMInterface* GlobalFimathOMClass::createClassSpecificObject(OMInterface* /*interface*/, void** /*arguments*/,
                                                            int count) {
    errorIfMoreThan(0, count);
    auto* const handle = new OMInterface(&fimath::getGlobalFimath(), this, nullptr);
    fimath::incGlobalFimathRefCount();
    return handle;
}

void GlobalFimathOMClass::destroyObject(OMInterface* /*interface*/) {
    fimath::decGlobalFimathRefCount();
}
