// Methods of quantizers, and of class "fi" on values without an array object: "quantizenumeric" quantizes whole numeric
// host arrays to double arrays; words are written as text and read.
#pragma once

#include "binding/frame/methods.h"
#include "host/OMMethodInfo.h"

/// Of class "fi", without an object: values, sign, word length, fraction length, round mode; then an overflow mode
/// (default saturate); then whether to work in parallel, which also applies to later calls and is initially on.
///
/// The result is a real matrix with the rows and columns of the values. Their real data is read as doubles whatever its
/// class; missing data is read as zeros. Raises as quantizeThroughWords.
class FiStaticQuantizenumeric final : public OMMethodInfo {
 public:
    explicit FiStaticQuantizenumeric(const char* name);
    void invokeMethod(OMMethodSignature* signature, int* resultCount, void** results, int argumentCount,
                      void** arguments) override;

 private:
    bool mIsParallel = true;
};

/// Of class "quantizer": the object and the values. Raises as quantizeNumeric.
class QuantizerQuantizeNumericMI final : public tolvane::detail::PlainMethodInfo {
 public:
    explicit QuantizerQuantizeNumericMI(const char* name);
};

namespace tolvane::detail {

/// "num2base": quantizes doubles and writes each as a row of digits, in the width that any word needs.
void writeWordsInBase(const MethodCall& call);
/// "base2num": reads each row of a text as a word; returns a column of doubles.
void readWordsInBase(const MethodCall& call);

}  // namespace tolvane::detail
