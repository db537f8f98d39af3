// Methods of quantizers, and of class "fi" on values that need no array object: "quantizenumeric" takes whole host
// arrays of numbers into double arrays of quantized values; words are written as text and read.
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

/// "num2base": quantizes doubles and writes each as a row of digits, in the width that any word takes.
void writeWordsInBase(const MethodCall& call);
/// "base2num": reads each row of a text as a word; gives a column of doubles.
void readWordsInBase(const MethodCall& call);
