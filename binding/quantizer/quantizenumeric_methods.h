// The methods "quantizenumeric": whole host arrays of numbers into double arrays of quantized values.
#pragma once

#include "binding/frame/methods.h"
#include "host/OMMethodInfo.h"

/// Of class "fi", without an object: values, sign, word length, fraction length, round mode; then an overflow mode,
/// else values saturate; then whether to work in parallel, which stays so for later calls and is on at first.
///
/// The result is a real matrix of the rows and columns of the values, whose real data is read as doubles whatever its
/// class; where there is less data than that, zeros are read. Raises as quantizeThroughWords.
class FiStaticQuantizenumeric final : public OMMethodInfo {
 public:
    explicit FiStaticQuantizenumeric(const char* name);
    void invokeMethod(OMMethodSignature* signature, int* resultCount, void** results, int argumentCount,
                      void** arguments) override;

 private:
    bool mIsParallel = true;
};

/// Of class "quantizer": the object and the values. Raises as quantizeNumeric.
class QuantizerQuantizeNumericMI final : public PlainMethodInfo {
 public:
    explicit QuantizerQuantizeNumericMI(const char* name);
};
