// The errors common to operations on arrays, and a body for the rows of a table of refusals.
#pragma once

#include <string>

#include "tests/support/arrays_of_fi.h"
#include "tests/support/errors.h"

/// The error with the id under "fixedpoint:fi:".
inline Raised fiError(const std::string& id, const std::string& message) {
    return {"fixedpoint:fi:" + id, message};
}

inline const Raised kNoBooleanMath =
    fiError("nobooleanmath", "Math operations are not allowed on FI objects with boolean data type.");
inline const Raised kMixedMath =
    fiError("mixedmath", "Math operations are not allowed on FI objects with different data types.");
inline const Raised kRulesDiffer = fiError("fimathmismatch", "FIMATH of both operands must be equal.");
inline const Raised kSizesDiffer = fiError("dimagree", "Matrix dimensions must agree.");
inline const Raised kBinaryPointMath =
    fiError("onlybinarypointmath", "Math is supported only for binary-point scaling.");
inline const Raised kNoComplexSlopeBias =
    fiError("nocomplexslopebias", "Complex FI objects must have an integer power of 2 slope, and a bias of 0.");
inline const Raised kNoComplexResult =
    fiError("noopleadingtocomplexslopebias",
            "All complex FI objects created by Tolvane Kit operations must have an integer power of 2 slope, and a "
            "bias of 0.");

inline const Raised kNotUint32 =
    fiError("intarray:not_uint32", "Integer array must be uint32 when wordLength is greater than 32.");

inline Raised notDivisibleBy(int count) {
    return fiError("intarray:leadingdim",
                   "First dimension of integer array must be divisible by " + std::to_string(count) + ".");
}
inline Raised modeNotDefined(const std::string& mode) {
    return fiError("mathmodeslopebiasnotdefined",
                   "Math is only supported for slope-bias FIs when the " + mode + " is SpecifyPrecision.");
}
inline Raised complexNotDefined(const std::string& name) {
    return fiError("complexslopebiasnotdefined",
                   "Function '" + name +
                       "' is only supported for complex-value FI objects that have an integer power of 2 slope, and a "
                       "bias of 0.");
}
inline Raised tooFewBits(const std::string& what, int maxBits, int bits) {
    const bool isSum = what == "Sum";
    return fiError("Max" + what + "WordLengthExceeded",
                   "Max" + what + "WordLength is " + std::to_string(maxBits) + " bits and a minimum word length of " +
                       std::to_string(bits) + " bits is necessary to guarantee that this " +
                       (isSum ? "sum or difference" : "product") + " can be computed with no loss of precision.  " +
                       "Increase Max" + what + "WordLength if you want the " + (isSum ? "sum" : "product") +
                       " to grow to a larger word length.");
}
inline Raised scaledDoubleOn(const std::string& name) {
    return fiError(name + ":ScaledDoubleOn", name + " is not supported when the DataType is 'ScaledDouble'.");
}
