#include "binding/fi/methods.h"

#include <cstdint>
#include <memory>

#include "binding/numerictype/NumericTypeOMClass.h"
#include "fi/fi.h"
#include "host/ErrorIdException.h"

namespace tolvane::detail {

namespace {

using EmbeddedTypeSystem::NumericType;

/// An operand without elements, but with as many rows or columns as the rule requires.
fi operand(const NumericType& type, const fimath& rules, std::uint64_t rows = 0, std::uint64_t columns = 0) {
    return {rows, columns, type, rules, false, "", true, embedded::OperationTypeEnum::Assignment, 0};
}

void giveType(const MethodCall& call, const NumericType& type) {
    call.give(NumericTypeOMClass::wrap(std::make_unique<NumericType>(type)));
}

/// Reads the number of terms of a sum.
std::uint64_t termCount(const MethodCall& call, int index) {
    const auto count = Shape<int>::unbox(call.arguments[index]);
    if (count < 0) {
        raiseError("fixedpoint:fi:termCount", "The number of terms must not be negative.");
    }
    return static_cast<std::uint64_t>(count);
}

template <class Rule>
void giveTypeByRule(const MethodCall& call, Rule rule, std::uint64_t terms = 0) {
    const auto& rules = call.object<fimath>(2);
    const fi a = operand(call.object<NumericType>(0), rules, 0, terms);
    const fi b = operand(call.object<NumericType>(1), rules, terms, 0);
    giveType(call, rule(a, b));
}

}  // namespace

void giveTypeForPlus(const MethodCall& call) {
    giveTypeByRule(call, [](const fi& a, const fi& b) { return a.getNumericTypeForAddOp(b); });
}

void giveTypeForTimes(const MethodCall& call) {
    giveTypeByRule(call, [](const fi& a, const fi& b) { return a.getProductTypeForMpyOp(b); });
}

void giveTypeForMatrixTimes(const MethodCall& call) {
    giveTypeByRule(
        call,
        [](const fi& a, const fi& b) { return a.getSumNumericTypeForMatrixMultiply(b, a.getProductTypeForMpyOp(b)); },
        call.signature == 1 ? termCount(call, 3) : 0);
}

void giveTypeForSum(const MethodCall& call) {
    if (call.signature == 0) {
        giveTypeByRule(call,
                       [](const fi& a, const fi& b) { return a.getSumTypeForMpyOp(b, a.getProductTypeForMpyOp(b)); });
        return;
    }
    const std::uint64_t terms = call.signature == 2 ? termCount(call, 2) : 0;
    const fi column = operand(call.object<NumericType>(0), call.object<fimath>(1), terms);
    giveType(call, column.getNumericTypeForLeadingDimensionSum());
}

void giveBestPrecision(const MethodCall& call) {
    NumericType type(call.object<NumericType>(0));
    type.setBestPrecision(call.array(1));
    giveType(call, type);
}

}  // namespace tolvane::detail
