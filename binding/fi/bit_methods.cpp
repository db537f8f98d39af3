#include "binding/fi/methods.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

#include "binding/fi/FiBinaryOperation.h"
#include "binding/fi/new_fi.h"
#include "host/ErrorIdException.h"

namespace tolvane::detail {

namespace {

constexpr DataTypeColumn kFiHandle = datatypes::kObject<fi>;
using datatypes::kArray;

}  // namespace

// A `fi` precedes an array, which could also hold one. The null handle of an empty array is treated as an empty array.
constexpr SignatureColumn kBitgetSignatures[2] = {takes(kFiHandle, kFiHandle).to(kArray),
                                                  takes(kFiHandle, kArray).to(kArray)};
constexpr SignatureColumn kBitsetSignatures[4] = {
    takes(kFiHandle, kFiHandle, kFiHandle).to(kFiHandle), takes(kFiHandle, kFiHandle, kArray).to(kFiHandle),
    takes(kFiHandle, kArray, kFiHandle).to(kFiHandle), takes(kFiHandle, kArray, kArray).to(kFiHandle)};
constexpr SignatureColumn kPow2Signatures[3] = {
    takes(kFiHandle).to(kFiHandle), takes(kFiHandle, kFiHandle).to(kFiHandle), takes(kFiHandle, kArray).to(kFiHandle)};
constexpr SignatureColumn kBitshiftSignatures[2] = {takes(kFiHandle, kFiHandle).to(kFiHandle),
                                                    takes(kFiHandle, kArray).to(kFiHandle)};

namespace {

/// The real-world values of an argument that is a host array or a `fi`; those of a `fi` live with this.
class ValuesArgument {
 public:
    ValuesArgument(const MethodCall& call, int index, bool isFi) : mValues(call.array(index)) {
        if (isFi) {
            mOwner.reset(call.arguments[index] == nullptr ? hvCreateDoubleMatrix(0, 0)
                                                          : call.object<fi>(index).getDoubleHvArray());
            mValues = mOwner.get();
        }
    }
    const hvArray* get() const { return mValues; }

 private:
    const hvArray* mValues;
    hvArrayOwner mOwner;
};

}  // namespace

// Single bits

void getBits(const MethodCall& call) {
    const ValuesArgument positions(call, 1, call.signature == 0);
    call.give(call.object<fi>(0).bitget(positions.get()));
}

void setBits(const MethodCall& call) {
    const ValuesArgument positions(call, 1, call.signature < 2);
    const ValuesArgument values(call, 2, call.signature == 0 || call.signature == 2);
    giveFi(call, owned(call.object<fi>(0).bitset(positions.get(), values.get())));
}

// Powers of two

namespace {

/// An exponent as it was given.
struct Exponent {
    bool isNumeric;
    bool isScalar;
    bool isComplex;
    double value;  // of a numeric scalar
};

Exponent exponentOf(const MethodCall& call, bool isFi) {
    const ValuesArgument given(call, 1, isFi);
    const bool isNumeric = hvIsNumeric(given.get());
    const bool isScalar = hvIsScalar(given.get());
    return {isNumeric, isScalar, hvIsComplex(given.get()), isNumeric && isScalar ? hvGetScalar(given.get()) : 0.0};
}

/// Truncates to an int; values beyond its range saturate, which no word is wide enough to distinguish, and NaN becomes
/// 0.
int truncated(double value) {
    using Limits = std::numeric_limits<int>;
    if (std::isnan(value)) {
        return 0;
    }
    return static_cast<int>(std::clamp(value, static_cast<double>(Limits::min()), static_cast<double>(Limits::max())));
}

}  // namespace

void scaleByPowerOfTwo(const MethodCall& call) {
    if (call.signature == 0) {
        raiseError("fixedpoint:fi:pow2:notsupported", "POW2(A) is not supported when A is a FI object.");
    }
    const fi& object = call.object<fi>(0);
    if (object.isBoolean()) {
        raiseNotAllowed("pow2", object);
    }
    if (object.isSlopeBiasScaled()) {
        raiseError("fixedpoint:fi:pow2:binarypointonly",
                   "pow2(A,K) can only be calculated for FI object A when the scaling of A has a fractional slope of "
                   "1 and 0 bias (binary-point only scaling).");
    }
    const Exponent exponent = exponentOf(call, call.signature == 1);
    if (!exponent.isNumeric) {
        raiseError("fixedpoint:fi:pow2:notnumeric", "K must be numeric in POW2(A,K) when A is a FI object.");
    }
    if (!exponent.isScalar) {
        raiseError("fixedpoint:fi:pow2:notscalar", "K must be scalar in POW2(A,K) when A is a FI object.");
    }
    giveReported(call, owned(object.pow2(truncated(exponent.value), false)), "pow2");
}

namespace {

int bitCountOf(const Exponent& exponent) {
    if (!exponent.isNumeric) {
        raiseError("fixedpoint:fi:bitshift:notbuiltinnumeric",
                   "K must be a builtin numeric type in BITSHIFT(A,K) when A is a FI object.");
    }
    if (!exponent.isScalar) {
        raiseError("fixedpoint:fi:bitshift:notscalar", "K must be scalar in BITSHIFT(A,K) when A is a FI object.");
    }
    if (exponent.isComplex) {
        raiseError("fixedpoint:fi:bitshift:notreal", "K must be real in BITSHIFT(A,K) when A is a FI object.");
    }
    const int count = truncated(exponent.value);
    if (exponent.value != static_cast<double>(count)) {
        raiseError("fixedpoint:fi:bitshift:notinteger", "K must be an integer in BITSHIFT(A,K) when A is a FI object.");
    }
    return count;
}

/// Shifts the stored integers of an array with slope and bias and restores its scale.
std::unique_ptr<fi> shiftedIntegers(const fi& object, int count) {
    const std::unique_ptr<fi> integers = owned(object.stripscaling());
    integers->setScaling(fi::ScalingEnum::SlopeBias);
    std::unique_ptr<fi> result = owned(integers->pow2(count, true));
    constexpr auto kNatural = fi::IntArrayChunkMode::Natural;
    constexpr auto kFirst = fi::IntArrayDimensionMode::First;
    const hvArrayOwner shifted(result->getIntArray(kNatural, kFirst));
    result->setSlope(object.getSlope());
    result->setBias(object.getBias());
    result->setSlopeAdjustmentFactor(object.getSlopeAdjustmentFactor());
    result->setIntArray(shifted.get(), kNatural, kFirst);
    return result;
}

}  // namespace

void shiftBits(const MethodCall& call) {
    const fi& object = call.object<fi>(0);
    if (!object.isFixed()) {
        raiseNotAllowed("bitshift", object);
    }
    const int count = bitCountOf(exponentOf(call, call.signature == 0));
    std::unique_ptr<fi> result =
        object.isSlopeBiasScaled() ? shiftedIntegers(object, count) : owned(object.pow2(count, true));
    giveReported(call, std::move(result), "bitshift");
}

}  // namespace tolvane::detail
