// Methods of class "fi" on the bits of its stored integers.
#pragma once

#include <memory>

#include "binding/fi/FiBinaryOperation.h"
#include "binding/frame/methods.h"

/// "bitand", "bitor" and "bitxor".
template <fi& (fi::*operation)(const fi& other) const>
class FiBitwiseMethodInfo final : public FiBinaryOperationFiOutputFixedInputOnly {
 public:
    using FiBinaryOperationFiOutputFixedInputOnly::FiBinaryOperationFiOutputFixedInputOnly;
    std::unique_ptr<fi> computeResult(const fi& a, const fi& b) override {
        return std::unique_ptr<fi>(&(a.*operation)(b));
    }
};

/// "bitget" and "bitset" take positions and values as host arrays or as a `fi` each.
extern const SignatureColumn bitgetSignatures[2];
extern const SignatureColumn bitsetSignatures[4];
void getBits(const MethodCall& call);
void setBits(const MethodCall& call);

/// "pow2" and "bitshift" take the exponent likewise; "pow2" also stands alone, only to say that it needs one.
extern const SignatureColumn pow2Signatures[3];
extern const SignatureColumn bitshiftSignatures[2];
void scaleByPowerOfTwo(const MethodCall& call);
void shiftBits(const MethodCall& call);
