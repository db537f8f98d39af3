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
inline constexpr SignatureColumn fiToExtremes[] = {
    takes(datatypes::object<fi>).to(datatypes::object<fi>),
    takes(datatypes::object<fi>).to(datatypes::object<fi>, datatypes::array)};
template <const ExtremeOperation& operation>
void giveExtremes(const MethodCall& call);

// An array, whether to sort in ascending order, the stride of the elements of a column, and their number.
inline constexpr SignatureColumn fiToSorted[] = {
    takes(datatypes::object<fi>, datatypes::boolean, datatypes::real, datatypes::real).to(datatypes::object<fi>)};
void giveSorted(const MethodCall& call);
/// The second result is an array of the elements' original positions.
inline constexpr SignatureColumn fiToSortedWithPlaces[] = {
    takes(datatypes::object<fi>, datatypes::boolean, datatypes::real, datatypes::real)
        .to(datatypes::object<fi>, datatypes::array)};
void giveSortedWithPlaces(const MethodCall& call);

// One element by its number, from 1. Both raise as fi::checkSignedIndex, and the second for a value that the type
// doesn't have.
inline constexpr SignatureColumn elementToFi[] = {
    takes(datatypes::object<fi>, datatypes::real).to(datatypes::object<fi>)};
void giveElement(const MethodCall& call);
inline constexpr SignatureColumn elementAndValue[] = {
    takes(datatypes::object<fi>, datatypes::real, datatypes::object<fi>),
    takes(datatypes::object<fi>, datatypes::real, datatypes::real)};
void setElement(const MethodCall& call);

// Constants of the type, and signs

/// With one result a row of both bounds, with two the lower and the upper one.
inline constexpr SignatureColumn fiToRange[] = {
    takes(datatypes::object<fi>).to(datatypes::object<fi>),
    takes(datatypes::object<fi>).to(datatypes::object<fi>, datatypes::object<fi>)};
void giveRange(const MethodCall& call);

/// "uminus" and "conj" report overflows caused by the new signs.
void negate(const MethodCall& call);
void conjugate(const MethodCall& call);

// Computed with a type and rules, both optional: "realabs" and "sqrt"

inline constexpr SignatureColumn fiToFiByTypeAndRules[] = {
    takes(datatypes::object<fi>).to(datatypes::object<fi>),
    takes(datatypes::object<fi>, datatypes::object<EmbeddedTypeSystem::NumericType>).to(datatypes::object<fi>),
    takes(datatypes::object<fi>, datatypes::object<fimath>).to(datatypes::object<fi>),
    takes(datatypes::object<fi>, datatypes::object<EmbeddedTypeSystem::NumericType>, datatypes::object<fimath>)
        .to(datatypes::object<fi>),
};
void giveRealAbs(const MethodCall& call);
void giveSqrt(const MethodCall& call);

// Bits of stored integers

/// "bitget" and "bitset" each take positions and values as host arrays or as a `fi`.
extern const SignatureColumn bitgetSignatures[2];
extern const SignatureColumn bitsetSignatures[4];
void getBits(const MethodCall& call);
void setBits(const MethodCall& call);

/// "pow2" and "bitshift" take the exponent likewise; "pow2" also has a signature without one, which only raises.
extern const SignatureColumn pow2Signatures[3];
extern const SignatureColumn bitshiftSignatures[2];
void scaleByPowerOfTwo(const MethodCall& call);
void shiftBits(const MethodCall& call);

// Shapes

inline constexpr SignatureColumn fiAndSizesToFi[] = {
    takes(datatypes::object<fi>, datatypes::array).to(datatypes::object<fi>)};
/// "fi_reshape"
void giveReshaped(const MethodCall& call);

/// "ctranspose"; reports overflows.
void giveConjugateTranspose(const MethodCall& call);

/// "diag", "tril" and "triu" take the number of a diagonal as a host array, which may hold a `fi`. Raise
/// "fixedpoint:fi:diag:kthDiagInputNotInteger" and "fixedpoint:fi:tril:kthDiagInputNotInteger" for something other than
/// a number, and "diag" "fixedpoint:fi:diag:kthDiagInputNotFinite".
inline constexpr SignatureColumn fiAndDiagonalToFi[] = {
    takes(datatypes::object<fi>).to(datatypes::object<fi>),
    takes(datatypes::object<fi>, datatypes::array).to(datatypes::object<fi>)};
void giveDiagonal(const MethodCall& call);
void giveLowerTriangle(const MethodCall& call);
void giveUpperTriangle(const MethodCall& call);

// Reading, assigning and deleting by subscripts

inline constexpr SignatureColumn fiAndArrayToArray[] = {
    takes(datatypes::object<fi>, datatypes::array).to(datatypes::array)};
inline constexpr SignatureColumn fiAndPlanToFi[] = {
    takes(datatypes::object<fi>, datatypes::array).to(datatypes::object<fi>)};
inline constexpr SignatureColumn fiPlanAndFiToFi[] = {
    takes(datatypes::object<fi>, datatypes::array, datatypes::object<fi>).to(datatypes::object<fi>)};
/// The left side may be an empty array of the host, so its data type isn't `fi`.
inline constexpr SignatureColumn threeArraysToArray[] = {
    takes(datatypes::array, datatypes::array, datatypes::array).to(datatypes::array)};

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

extern const SignatureColumn fiAndBaseToText[1];
extern const SignatureColumn fiTextAndBase[1];
void writeInBase(const MethodCall& call);
void readInBase(const MethodCall& call);

// Stored integers for the host

/// The chunks, and with two results also their number per element: 1 unless the type is fixed.
inline constexpr SignatureColumn fiToIntArray[] = {takes(datatypes::object<fi>).to(datatypes::array),
                                                   takes(datatypes::object<fi>).to(datatypes::array, datatypes::array)};
void giveIntArray(const MethodCall& call);

/// Makes an array of a type from the data of the block diagram companion.
inline constexpr SignatureColumn typeAndArrayToFi[] = {
    takes(datatypes::object<fi::NumericType>, datatypes::array).to(datatypes::object<fi>)};
void giveSimFi(const MethodCall& call);

// Types of results, without values; static

inline constexpr DataTypeColumn typeColumn = datatypes::object<EmbeddedTypeSystem::NumericType>;
inline constexpr DataTypeColumn rulesColumn = datatypes::object<fimath>;

inline constexpr SignatureColumn twoTypesAndRulesToType[] = {takes(typeColumn, typeColumn, rulesColumn).to(typeColumn)};
/// From types of operands and rules, the type of the result of `plus` and `minus`, or `times`. Raise as the type
/// functions of `fi`.
void giveTypeForPlus(const MethodCall& call);
void giveTypeForTimes(const MethodCall& call);

/// For `mtimes`: a sum of one product or of the given number of products.
inline constexpr SignatureColumn matrixTypesToType[] = {
    takes(typeColumn, typeColumn, rulesColumn).to(typeColumn),
    takes(typeColumn, typeColumn, rulesColumn, datatypes::int32).to(typeColumn)};
void giveTypeForMatrixTimes(const MethodCall& call);

/// The type of the sum of two products, of a single element, or of a column with the given number of elements.
inline constexpr SignatureColumn summedTypesToType[] = {
    takes(typeColumn, typeColumn, rulesColumn).to(typeColumn), takes(typeColumn, rulesColumn).to(typeColumn),
    takes(typeColumn, rulesColumn, datatypes::int32).to(typeColumn)};
void giveTypeForSum(const MethodCall& call);

/// The type with the best precision for the values of an array. Raises as NumericType::setBestPrecision.
inline constexpr SignatureColumn typeAndArrayToType[] = {takes(typeColumn, datatypes::array).to(typeColumn)};
void giveBestPrecision(const MethodCall& call);

}  // namespace tolvane::detail
