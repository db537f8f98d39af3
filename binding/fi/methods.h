// The signatures and functions named in the rows of class "fi", by the source that holds them.
#pragma once

#include "binding/frame/methods.h"
#include "descriptors/NumericType.h"
#include "descriptors/fimath.h"
#include "fi/fi.h"
#include "host/hv.h"

namespace tolvane::detail {

struct ExtremeOperation;

// Extremes, sorting and single elements by number

/// With two results, the values and their row numbers.
inline constexpr SignatureColumn kFiToExtremes[] = {
    takes(datatypes::kObject<fi>).to(datatypes::kObject<fi>),
    takes(datatypes::kObject<fi>).to(datatypes::kObject<fi>, datatypes::kArray)};
template <const ExtremeOperation& operation>
void giveExtremes(const MethodCall& call);

// An array, whether to sort in ascending order, the stride of the elements of a column, and their number.
inline constexpr SignatureColumn kFiToSorted[] = {
    takes(datatypes::kObject<fi>, datatypes::kBoolean, datatypes::kReal, datatypes::kReal).to(datatypes::kObject<fi>)};
void giveSorted(const MethodCall& call);
/// The second result is an array of the elements' original positions.
inline constexpr SignatureColumn kFiToSortedWithPlaces[] = {
    takes(datatypes::kObject<fi>, datatypes::kBoolean, datatypes::kReal, datatypes::kReal)
        .to(datatypes::kObject<fi>, datatypes::kArray)};
void giveSortedWithPlaces(const MethodCall& call);

// One element by its number, from 1. Both raise as fi::checkSignedIndex, and the second for a value that the type
// doesn't have.
inline constexpr SignatureColumn kElementToFi[] = {
    takes(datatypes::kObject<fi>, datatypes::kReal).to(datatypes::kObject<fi>)};
void giveElement(const MethodCall& call);
inline constexpr SignatureColumn kElementAndValue[] = {
    takes(datatypes::kObject<fi>, datatypes::kReal, datatypes::kObject<fi>),
    takes(datatypes::kObject<fi>, datatypes::kReal, datatypes::kReal)};
void setElement(const MethodCall& call);

// Constants of the type, and signs

/// With one result a row of both bounds, with two the lower and the upper one.
inline constexpr SignatureColumn kFiToRange[] = {
    takes(datatypes::kObject<fi>).to(datatypes::kObject<fi>),
    takes(datatypes::kObject<fi>).to(datatypes::kObject<fi>, datatypes::kObject<fi>)};
void giveRange(const MethodCall& call);

/// "uminus" and "conj" report overflows caused by the new signs.
void negate(const MethodCall& call);
void conjugate(const MethodCall& call);

// Computed with a type and rules, both optional: "realabs" and "sqrt"

inline constexpr SignatureColumn kFiToFiByTypeAndRules[] = {
    takes(datatypes::kObject<fi>).to(datatypes::kObject<fi>),
    takes(datatypes::kObject<fi>, datatypes::kObject<EmbeddedTypeSystem::NumericType>).to(datatypes::kObject<fi>),
    takes(datatypes::kObject<fi>, datatypes::kObject<fimath>).to(datatypes::kObject<fi>),
    takes(datatypes::kObject<fi>, datatypes::kObject<EmbeddedTypeSystem::NumericType>, datatypes::kObject<fimath>)
        .to(datatypes::kObject<fi>),
};
void giveRealAbs(const MethodCall& call);
void giveSqrt(const MethodCall& call);

// Bits of stored integers

/// "bitget" and "bitset" each take positions and values as host arrays or as a `fi`.
extern const SignatureColumn kBitgetSignatures[2];
extern const SignatureColumn kBitsetSignatures[4];
void getBits(const MethodCall& call);
void setBits(const MethodCall& call);

/// "pow2" and "bitshift" take the exponent likewise; "pow2" also has a signature without one, which only raises.
extern const SignatureColumn kPow2Signatures[3];
extern const SignatureColumn kBitshiftSignatures[2];
void scaleByPowerOfTwo(const MethodCall& call);
void shiftBits(const MethodCall& call);

// Shapes

inline constexpr SignatureColumn kFiAndSizesToFi[] = {
    takes(datatypes::kObject<fi>, datatypes::kArray).to(datatypes::kObject<fi>)};
/// "fi_reshape"
void giveReshaped(const MethodCall& call);

/// "ctranspose"; reports overflows.
void giveConjugateTranspose(const MethodCall& call);

/// "diag", "tril" and "triu" take the number of a diagonal as a host array, which may hold a `fi`. Raise
/// "fixedpoint:fi:diag:kthDiagInputNotInteger" and "fixedpoint:fi:tril:kthDiagInputNotInteger" for something other than
/// a number, and "diag" "fixedpoint:fi:diag:kthDiagInputNotFinite".
inline constexpr SignatureColumn kFiAndDiagonalToFi[] = {
    takes(datatypes::kObject<fi>).to(datatypes::kObject<fi>),
    takes(datatypes::kObject<fi>, datatypes::kArray).to(datatypes::kObject<fi>)};
void giveDiagonal(const MethodCall& call);
void giveLowerTriangle(const MethodCall& call);
void giveUpperTriangle(const MethodCall& call);

// Reading, assigning and deleting by subscripts

inline constexpr SignatureColumn kFiAndArrayToArray[] = {
    takes(datatypes::kObject<fi>, datatypes::kArray).to(datatypes::kArray)};
inline constexpr SignatureColumn kFiAndPlanToFi[] = {
    takes(datatypes::kObject<fi>, datatypes::kArray).to(datatypes::kObject<fi>)};
inline constexpr SignatureColumn kFiPlanAndFiToFi[] = {
    takes(datatypes::kObject<fi>, datatypes::kArray, datatypes::kObject<fi>).to(datatypes::kObject<fi>)};
/// The left side may be an empty array of the host, so its data type isn't `fi`.
inline constexpr SignatureColumn kThreeArraysToArray[] = {
    takes(datatypes::kArray, datatypes::kArray, datatypes::kArray).to(datatypes::kArray)};

void subscript(const MethodCall& call);
void subscriptAndAssign(const MethodCall& call);
void takeByPlan(const MethodCall& call);
/// Reports the counts as a concatenation, since the host's code calls it for that.
void growByPlan(const MethodCall& call);

// Words as text

/// "bin", "oct", "dec" and "hex", each named in its errors.
template <int base>
constexpr const char* nameOfBase() {
    static_assert(base == 2 || base == 8 || base == 10 || base == 16);
    return base == 2 ? "bin" : base == 8 ? "oct" : base == 10 ? "dec" : "hex";
}
template <int base>
hvArray* getDigits(const fi& object) {
    object.errorIfScaledDouble(nameOfBase<base>());
    return object.num2base(base);
}
template <int base>
void setDigits(fi& object, const hvArray* text) {
    object.errorIfScaledDouble(nameOfBase<base>());
    object.base2num(text, base);
}

extern const SignatureColumn kFiAndBaseToText[1];
extern const SignatureColumn kFiTextAndBase[1];
void writeInBase(const MethodCall& call);
void readInBase(const MethodCall& call);

// Stored integers for the host

/// The chunks, and with two results also their number per element: 1 unless the type is fixed.
inline constexpr SignatureColumn kFiToIntArray[] = {
    takes(datatypes::kObject<fi>).to(datatypes::kArray),
    takes(datatypes::kObject<fi>).to(datatypes::kArray, datatypes::kArray)};
void giveIntArray(const MethodCall& call);

/// Makes an array of a type from the data of the block diagram companion.
inline constexpr SignatureColumn kTypeAndArrayToFi[] = {
    takes(datatypes::kObject<fi::NumericType>, datatypes::kArray).to(datatypes::kObject<fi>)};
void giveSimFi(const MethodCall& call);

// Types of results, without values; static

inline constexpr DataTypeColumn kTypeColumn = datatypes::kObject<EmbeddedTypeSystem::NumericType>;
inline constexpr DataTypeColumn kRulesColumn = datatypes::kObject<fimath>;

inline constexpr SignatureColumn kTwoTypesAndRulesToType[] = {
    takes(kTypeColumn, kTypeColumn, kRulesColumn).to(kTypeColumn)};
/// From types of operands and rules, the type of the result of `plus` and `minus`, or `times`. Raise as the type
/// functions of `fi`.
void giveTypeForPlus(const MethodCall& call);
void giveTypeForTimes(const MethodCall& call);

/// For `mtimes`: a sum of one product or of the given number of products.
inline constexpr SignatureColumn kMatrixTypesToType[] = {
    takes(kTypeColumn, kTypeColumn, kRulesColumn).to(kTypeColumn),
    takes(kTypeColumn, kTypeColumn, kRulesColumn, datatypes::kInt32).to(kTypeColumn)};
void giveTypeForMatrixTimes(const MethodCall& call);

/// The type of the sum of two products, of a single element, or of a column with the given number of elements.
inline constexpr SignatureColumn kSummedTypesToType[] = {
    takes(kTypeColumn, kTypeColumn, kRulesColumn).to(kTypeColumn), takes(kTypeColumn, kRulesColumn).to(kTypeColumn),
    takes(kTypeColumn, kRulesColumn, datatypes::kInt32).to(kTypeColumn)};
void giveTypeForSum(const MethodCall& call);

/// The type with the best precision for the values of an array. Raises as NumericType::setBestPrecision.
inline constexpr SignatureColumn kTypeAndArrayToType[] = {takes(kTypeColumn, datatypes::kArray).to(kTypeColumn)};
void giveBestPrecision(const MethodCall& call);

}  // namespace tolvane::detail
