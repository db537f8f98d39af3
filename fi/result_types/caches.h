// What few arrays need: a copy of the current element, and the factors for types with slope and bias, each with the
// types for which it was computed.
#pragma once

#include <memory>

#include "fi/fi.h"

struct fi::Caches {
    std::unique_ptr<fi> element;
    std::unique_ptr<NumericType> plusOperandType;
    std::unique_ptr<NumericType> plusResultType;
    std::unique_ptr<NumericType> equalsSourceType;
    std::unique_ptr<NumericType> timesResultType;
    std::unique_ptr<NumericType> worstCaseLeftType;
    std::unique_ptr<NumericType> worstCaseRightType;
    std::unique_ptr<fi> worstCaseA;
    std::unique_ptr<fi> worstCaseB;
    double bnetForEquals = 0.0;
    double bnetForPlus = 0.0;
    double bnetForMinus = 0.0;
    double fsxForEquals = 0.0;
    double fsaForPlus = 0.0;
    double fsbForPlus = 0.0;
    double fscForTimes = 0.0;
    double timesNetSlope = 0.0;
};
