// Methods of class "fi" that compare, choose and sort elements, and read and write one by its number.
#pragma once

#include <memory>

#include "binding/fi/FiBinaryOperation.h"
#include "binding/frame/methods.h"

/// The methods "eq" to "ne" and "binaryop_isequal".
template <hvArray* (fi::*compare)(const fi&) const>
class FiComparisonMethodInfo final : public FiBinaryOperationHvArrayOutput {
 public:
    using FiBinaryOperationHvArrayOutput::FiBinaryOperationHvArrayOutput;
    hvArray* computeResult(const fi& a, const fi& b) override { return (a.*compare)(b); }
};

struct ExtremeOperation {
    fi& (fi::*compute)(const fi& other) const;
    void (fi::*computeOfColumns)(fi*& values, hvArray*& rows) const;
    const char* name;
};
inline constexpr ExtremeOperation maxOperation{&fi::max, &fi::unary_max, "max"};
inline constexpr ExtremeOperation minOperation{&fi::min, &fi::unary_min, "min"};

/// The methods "binary_max" and "binary_min".
template <const ExtremeOperation& operation>
class FiExtremeMethodInfo final : public FiBinaryOperationFiOutputStrictNumericType {
 public:
    using FiBinaryOperationFiOutputStrictNumericType::FiBinaryOperationFiOutputStrictNumericType;
    std::unique_ptr<fi> computeResult(const fi& a, const fi& b) override {
        return std::unique_ptr<fi>(&(a.*operation.compute)(b));
    }
    void logResult(const fi& a, const fi& b, const fi& result) override;
};
using FiMaxMethodInfo = FiExtremeMethodInfo<maxOperation>;
using FiMinMethodInfo = FiExtremeMethodInfo<minOperation>;

/// With two results, the values and their rows.
inline constexpr SignatureColumn fiToExtremes[] = {
    takes(datatypes::object<fi>).to(datatypes::object<fi>),
    takes(datatypes::object<fi>).to(datatypes::object<fi>, datatypes::array)};
template <const ExtremeOperation& operation>
void giveExtremes(const MethodCall& call);

// An array, whether to sort upward, the distance of the elements of a column, and their number.
inline constexpr SignatureColumn fiToSorted[] = {
    takes(datatypes::object<fi>, datatypes::boolean, datatypes::real, datatypes::real).to(datatypes::object<fi>)};
void giveSorted(const MethodCall& call);
/// The second result is an array of the places where the elements stood.
inline constexpr SignatureColumn fiToSortedWithPlaces[] = {
    takes(datatypes::object<fi>, datatypes::boolean, datatypes::real, datatypes::real)
        .to(datatypes::object<fi>, datatypes::array)};
void giveSortedWithPlaces(const MethodCall& call);

// One element by its number, which counts from 1. Both raise as fi::checkSignedIndex, and the second for a value that
// the type hasn't.
inline constexpr SignatureColumn elementToFi[] = {
    takes(datatypes::object<fi>, datatypes::real).to(datatypes::object<fi>)};
void giveElement(const MethodCall& call);
inline constexpr SignatureColumn elementAndValue[] = {
    takes(datatypes::object<fi>, datatypes::real, datatypes::object<fi>),
    takes(datatypes::object<fi>, datatypes::real, datatypes::real)};
void setElement(const MethodCall& call);
