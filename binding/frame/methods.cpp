#include "binding/frame/methods.h"

#include <algorithm>

#include "host/ErrorIdException.h"

namespace tolvane::detail {

void SignatureColumn::addTo(OMMethodSignature& signature) const {
    for (const DataTypeColumn* const argument : arguments) {
        if (argument != nullptr) {
            signature.addArgument(argument->find(), nullptr);
        }
    }
    for (const DataTypeColumn* const result : results) {
        if (result != nullptr) {
            signature.addReturnType(result->find());
        }
    }
}

std::unique_ptr<OMMethodSignature> SignatureColumn::make() const {
    auto signature = std::make_unique<OMMethodSignature>();
    addTo(*signature);
    return signature;
}

void MethodCall::raiseNoObject() {
    raiseError("fixedpoint:method:noObject", "An empty array stands where an object is needed.");
}

int MethodCall::base(int index, const std::string& idOfOthers) const {
    const hvArray* const value = array(index);
    if (!hvIsNumeric(value)) {
        raiseError(idOfOthers, "Base must be numeric.");
    }
    const double base = hvGetScalar(value);
    return base >= 0.0 && base < 100.0 ? static_cast<int>(base) : 0;
}

PlainMethodInfo::PlainMethodInfo(const char* name, std::span<const SignatureColumn> signatures, MethodFunction invoke)
    : OMMethodInfo(0), mInvoke(invoke) {
    setName(name, true);
    for (const SignatureColumn& signature : signatures) {
        addMethodSignature(signature.make());
    }
}

void PlainMethodInfo::invokeMethod(OMMethodSignature* signature, int* resultCount, void** results, int argumentCount,
                                   void** arguments) {
    const auto& own = getMethodSignatures();
    const auto selected = std::ranges::find(own, signature, [](const auto& candidate) { return candidate.get(); });
    mInvoke({static_cast<std::size_t>(selected - own.begin()), resultCount, results, argumentCount, arguments});
}

void addMethods(OMClass& objectClass, std::span<const MethodRow> rows) {
    for (const MethodRow& row : rows) {
        objectClass.addMethod(row.make(row.name));
    }
}

}  // namespace tolvane::detail
