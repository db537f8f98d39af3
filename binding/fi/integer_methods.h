// Methods of class "fi" that give stored integers to the host, or take them.
#pragma once

#include "binding/frame/methods.h"
#include "fi/fi.h"

/// The chunks, and with two results how many an element has: 1 unless the type is fixed.
inline constexpr SignatureColumn fiToIntArray[] = {takes(datatypes::object<fi>).to(datatypes::array),
                                                   takes(datatypes::object<fi>).to(datatypes::array, datatypes::array)};
void giveIntArray(const MethodCall& call);

/// Makes an array of a type from the data of the block diagram companion.
inline constexpr SignatureColumn typeAndArrayToFi[] = {
    takes(datatypes::object<fi::NumericType>, datatypes::array).to(datatypes::object<fi>)};
void giveSimFi(const MethodCall& call);
