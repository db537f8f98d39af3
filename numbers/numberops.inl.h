// The case of two doubles.
#pragma once

#include "numbers/TolvaneKit.h"
#include "numbers/numberops.h"

void numberops::plusequals(numberrepbody& a, const numberrepbody& b) {
    if (bothDouble(a, b)) {
        element(a) += element(b);
    } else {
        mixedPlus(a, b);
    }
}
void numberops::minusequals(numberrepbody& a, const numberrepbody& b) {
    if (bothDouble(a, b)) {
        element(a) -= element(b);
    } else {
        mixedMinus(a, b);
    }
}
void numberops::timesequals(numberrepbody& a, const numberrepbody& b) {
    if (bothDouble(a, b)) {
        element(a) *= element(b);
    } else {
        mixedTimes(a, b);
    }
}
void numberops::divideequals(numberrepbody& a, const numberrepbody& b) {
    if (bothDouble(a, b)) {
        element(a) /= element(b);
    } else {
        mixedDivide(a, b);
    }
}
void numberops::mod(numberrepbody& a, const numberrepbody& b) {
    if (bothDouble(a, b)) {
        element(a) = TolvaneKit::mod(element(a), element(b));
    } else {
        mixedMod(a, b);
    }
}
bool numberops::lessthan(const numberrepbody& a, const numberrepbody& b) {
    return bothDouble(a, b) ? element(a) < element(b) : mixedLess(a, b);
}
bool numberops::lessthanorequal(const numberrepbody& a, const numberrepbody& b) {
    return bothDouble(a, b) ? element(a) <= element(b) : mixedLessOrEqual(a, b);
}
bool numberops::equal(const numberrepbody& a, const numberrepbody& b) {
    return bothDouble(a, b) ? element(a) == element(b) : mixedEqual(a, b);
}
void numberops::setvalue(numberrepbody& target, const numberrepbody& source) {
    if (bothDouble(target, source)) {
        element(target) = element(source);
    } else {
        mixedSetvalue(target, source);
    }
}
