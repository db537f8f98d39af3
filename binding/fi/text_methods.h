// Methods and properties of class "fi" that show its words as text and read them.
#pragma once

#include <string>

#include "binding/frame/methods.h"
#include "fi/fi.h"
#include "host/hv.h"

/// "bin", "oct", "dec" and "hex", which name themselves in their errors.
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

/// Returns the whole part of a number, 0 for what no base is near; raises the error of that id for what is no number.
int takenBase(const hvArray* value, const std::string& idOfOthers);

extern const SignatureColumn fiAndBaseToText[1];
extern const SignatureColumn fiTextAndBase[1];
void writeInBase(const MethodCall& call);
void readInBase(const MethodCall& call);
