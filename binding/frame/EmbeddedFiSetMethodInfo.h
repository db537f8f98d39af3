// The method "set" of every class of the package: it lists the possible values of properties, and changes none.
#pragma once

#include <memory>
#include <string>

#include "host/OMMethodInfo.h"

class EmbeddedFiSetMethodInfo : public OMMethodInfo {
 public:
    /// Takes the name of the class in errors, such as "FI".
    explicit EmbeddedFiSetMethodInfo(const char* label);
    /// Accepts an object alone or with the name of a property. Raises "fixedpoint:set:InvalidUse" for anything else,
    /// and "fixedpoint:set:builtinerror" with the host's text.
    void invokeMethod(OMMethodSignature* signature, int* resultCount, void** results, int argumentCount,
                      void** arguments) override;

 private:
    std::string mLabel;
};

namespace tolvane::detail {

/// Makes the record for a table of methods.
template <const auto& label>
std::unique_ptr<OMMethodInfo> setOf(const char* /*name*/) {
    return std::make_unique<EmbeddedFiSetMethodInfo>(label);
}

}  // namespace tolvane::detail
