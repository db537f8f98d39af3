// Methods of class "fi" that read, assign and delete by subscripts.
#pragma once

#include "binding/frame/methods.h"
#include "fi/fi.h"

inline constexpr SignatureColumn fiAndArrayToArray[] = {
    takes(datatypes::object<fi>, datatypes::array).to(datatypes::array)};
inline constexpr SignatureColumn fiAndPlanToFi[] = {
    takes(datatypes::object<fi>, datatypes::array).to(datatypes::object<fi>)};
inline constexpr SignatureColumn fiPlanAndFiToFi[] = {
    takes(datatypes::object<fi>, datatypes::array, datatypes::object<fi>).to(datatypes::object<fi>)};
/// The left side may be an empty array of the host, so it is no `fi` by its data type.
inline constexpr SignatureColumn threeArraysToArray[] = {
    takes(datatypes::array, datatypes::array, datatypes::array).to(datatypes::array)};

void subscript(const MethodCall& call);
void subscriptAndAssign(const MethodCall& call);
void takeByPlan(const MethodCall& call);
/// Reports what was counted as a concatenation, for which the host's code calls it.
void growByPlan(const MethodCall& call);
