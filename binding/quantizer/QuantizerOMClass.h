// The class "embedded.quantizer". Properties derived from the description are read-only: a write is accepted, so that a
// saved object can be restored, but ignored.
#pragma once

#include "binding/frame/SingletonOMClass.h"
#include "quantization/quantizer.h"

class QuantizerOMClass : public tolvane::detail::ObjectOMClass<QuantizerOMClass, quantizer> {
 public:
    static constexpr tolvane::detail::ClassRow kRow{.name = "quantizer", .flagB = tolvane::detail::ClassFlag::Yes};

    using OMClass::createClassSpecificObject;
    /// Makes a quantizer from host arrays: none, for signed 16-bit words with floor and saturate; or a type and a
    /// number for both modes, 0 for ceil and saturate or 1 for convergent and wrap. Raises
    /// "fixedpoint:quantizer:constructor:badsignature".
    OMInterface* createClassSpecificObject(OMInterface* interface, void** arguments, int count) override;
    /// Lets "logreport" of the host's language be called with a quantizer as any argument.
    void respondToMethodAddedFromVELMAR(OMMethodInfo* method) override;

 private:
    friend SingletonOMClass;
    QuantizerOMClass() = default;
    void fill();
};
