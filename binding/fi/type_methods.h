// Static methods of class "fi" that tell the types of results, for which no values are needed.
#pragma once

#include "binding/frame/methods.h"
#include "descriptors/NumericType.h"
#include "descriptors/fimath.h"

inline constexpr DataTypeColumn typeColumn = datatypes::object<EmbeddedTypeSystem::NumericType>;
inline constexpr DataTypeColumn rulesColumn = datatypes::object<fimath>;

inline constexpr SignatureColumn twoTypesAndRulesToType[] = {takes(typeColumn, typeColumn, rulesColumn).to(typeColumn)};
/// Types of operands and rules to the type of what `plus` and `minus`, or `times` gives. Raise as the type functions of
/// `fi`.
void giveTypeForPlus(const MethodCall& call);
void giveTypeForTimes(const MethodCall& call);

/// Of `mtimes`, for a sum of one product or of the given number of them.
inline constexpr SignatureColumn matrixTypesToType[] = {
    takes(typeColumn, typeColumn, rulesColumn).to(typeColumn),
    takes(typeColumn, typeColumn, rulesColumn, datatypes::int32).to(typeColumn)};
void giveTypeForMatrixTimes(const MethodCall& call);

/// The type of the sum of two products, of an element alone, or of a column of the given number of elements.
inline constexpr SignatureColumn summedTypesToType[] = {
    takes(typeColumn, typeColumn, rulesColumn).to(typeColumn), takes(typeColumn, rulesColumn).to(typeColumn),
    takes(typeColumn, rulesColumn, datatypes::int32).to(typeColumn)};
void giveTypeForSum(const MethodCall& call);

/// The type with the best precision for the values of an array. Raises as NumericType::setBestPrecision.
inline constexpr SignatureColumn typeAndArrayToType[] = {takes(typeColumn, datatypes::array).to(typeColumn)};
void giveBestPrecision(const MethodCall& call);
