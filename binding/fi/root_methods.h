// Methods of class "fi" that compute by a type and by rules of which the user may leave out either: "realabs" and
// "sqrt".
#pragma once

#include "binding/frame/methods.h"
#include "descriptors/NumericType.h"
#include "descriptors/fimath.h"
#include "fi/fi.h"

inline constexpr SignatureColumn fiToFiByTypeAndRules[] = {
    takes(datatypes::object<fi>).to(datatypes::object<fi>),
    takes(datatypes::object<fi>, datatypes::object<EmbeddedTypeSystem::NumericType>).to(datatypes::object<fi>),
    takes(datatypes::object<fi>, datatypes::object<fimath>).to(datatypes::object<fi>),
    takes(datatypes::object<fi>, datatypes::object<EmbeddedTypeSystem::NumericType>, datatypes::object<fimath>)
        .to(datatypes::object<fi>),
};
void giveRealAbs(const MethodCall& call);
void giveSqrt(const MethodCall& call);
