#include "fi/fi.h"
#include "host/EnumStringType.h"

EnumStringType* fi::getSquareRootMethodEnum() {
    static EnumStringType* const kType =
        EnumStringType::findOrAdd("SquareRootMethodEnum", {{0, "Bisection"}, {1, "NewtonRaphson"}});
    return kType;
}
