#include "binding/QuantizerOMClass.h"

#include <cstdint>
#include <string_view>

#include "host/hv.h"

namespace {

[[noreturn]] void raiseBadSignature() {
    raiseError("fixedpoint:quantizer:constructor:badsignature", "QUANTIZER constructor signature not recognized.");
}

}  // namespace

OMInterface* QuantizerOMClass::createClassSpecificObject(OMInterface* /*interface*/, void** arguments, int count) {
    constexpr auto unspecified = embedded::OperationTypeEnum::Unspecified;
    if (count == 0) {
        return wrap(std::make_unique<quantizer>(embedded::QuantizerModeEnum::Fixed, embedded::RoundModeEnum::Floor,
                                                embedded::OverflowModeEnum::Saturate, 16, 15, "", unspecified, true));
    }
    if (count != 2) {
        raiseBadSignature();
    }
    const auto* const mode = static_cast<const hvArray*>(arguments[1]);
    const double code = hvIsNumeric(mode) && hvIsScalar(mode) ? hvGetScalar(mode) : -1.0;
    if (code != 0.0 && code != 1.0) {
        raiseBadSignature();
    }
    // One number stands for both modes: ceil with saturate, or convergent with wrap.
    const auto value = static_cast<std::int32_t>(code);
    return wrap(std::make_unique<quantizer>(
        EmbeddedTypeSystem::NumericType::convertFromVelmarArray(static_cast<const hvArray*>(arguments[0])),
        static_cast<embedded::RoundModeEnum>(value), static_cast<embedded::OverflowModeEnum>(value), "", unspecified,
        true));
}

void QuantizerOMClass::respondToMethodAddedFromVELMAR(OMMethodInfo* method) {
    if (std::string_view(method->getName()) == "logreport") {
        method->setDispatchedOnFirstArgument(false);
    }
}
