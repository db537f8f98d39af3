// The class "embedded.quantizer". What is derived from the description can only be read: a write is accepted, so that
// what a host saved can be restored, and dropped.
#pragma once

#include "binding/frame/SingletonOMClass.h"
#include "quantization/quantizer.h"

class QuantizerOMClass : public ObjectOMClass<QuantizerOMClass, quantizer> {
 public:
    static constexpr ClassRow row{.name = "quantizer", .flagB = ClassFlag::Yes};

    using OMClass::createClassSpecificObject;
    /// Makes a quantizer from host arrays: none, for signed 16-bit words that floor and saturate; or a type and a
    /// number for both modes, 0 for ceil and saturate or 1 for convergent and wrap. Raises
    /// "fixedpoint:quantizer:constructor:badsignature".
    OMInterface* createClassSpecificObject(OMInterface* interface, void** arguments, int count) override;
    /// Lets "logreport" of the host's language be called for a quantizer at any place.
    void respondToMethodAddedFromVELMAR(OMMethodInfo* method) override;

 private:
    friend SingletonOMClass;
    QuantizerOMClass() = default;
    void fill();
};
