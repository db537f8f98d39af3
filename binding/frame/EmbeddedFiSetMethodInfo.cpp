#include "binding/frame/EmbeddedFiSetMethodInfo.h"

#include <memory>

#include "binding/frame/shapes.h"
#include "host/ErrorIdException.h"
#include "host/OMErrorStatus.h"
#include "host/OMMethodSignature.h"
#include "host/hsc.h"
#include "host/om.h"

using namespace tolvane::detail;

EmbeddedFiSetMethodInfo::EmbeddedFiSetMethodInfo(const char* label) : OMMethodInfo(0), mLabel(label) {
    setName("set", true);
    auto signature = std::make_unique<OMMethodSignature>();
    signature->addArgument(datatypes::kArray.find(), nullptr);
    signature->setNumberOfRepeatableArgs(1);
    signature->addReturnType(datatypes::kArray.find());
    addMethodSignature(std::move(signature));
}

void EmbeddedFiSetMethodInfo::invokeMethod(OMMethodSignature* /*signature*/, int* resultCount, void** results,
                                           int argumentCount, void** arguments) {
    hvArray* inputs[2] = {};
    for (int i = 0; i < argumentCount && i < 2; ++i) {
        inputs[i] = static_cast<hvArray*>(arguments[i]);
    }
    if (argumentCount != 1 && !(argumentCount == 2 && hvIsChar(inputs[1]))) {
        raiseError("fixedpoint:set:InvalidUse",
                   "You cannot use SET to change the properties of a " + mLabel + " object; use dot notation instead.");
    }
    constexpr int kQuietMode = -1;
    hscSetTrapFlag(1);
    const int oldMode = hvSetErrorMode(kQuietMode);
    OMErrorStatus status;
    hvArray* listed = nullptr;
    omCallBuiltInMethod("set", 1, &listed, argumentCount, inputs, status);
    hvSetErrorMode(oldMode);
    hvArrayOwner owner(listed);
    if (status.getNumberOfErrors() >= 1) {
        raiseError("fixedpoint:set:builtinerror", status.getLastError()->getTempStaticMessage());
    }
    results[0] = owner.release();
    *resultCount = 1;
}
