// The methods "plus" and "minus".
#pragma once

#include <memory>

#include "binding/fi/FiBinaryOperation.h"
#include "logging/reports.h"

/// What tells one sum from another: the operation, and its name in reports.
struct SumOperation {
    fi& (fi::*compute)(const fi& other) const;
    const char* symbol;
};

/// Counts the operations of the result and adds what overflowed to the session's log of sums.
template <const SumOperation& operation>
class FiSumMethodInfo final : public FiBinaryOperationFiOutputNoBooleanInput {
 public:
    using FiBinaryOperationFiOutputNoBooleanInput::FiBinaryOperationFiOutputNoBooleanInput;
    std::unique_ptr<fi> computeResult(const fi& a, const fi& b) override {
        return std::unique_ptr<fi>(&(a.*operation.compute)(b));
    }
    void logResult(const fi& /*a*/, const fi& /*b*/, const fi& result) override {
        reports::reportWithTotal(
            result.getQlogger(), fi::getSumlog(),
            operationcounts::ofSum(result.numel(), result.iscomplex(), result.getFimath().getCastBeforeSum()),
            operation.symbol);
    }
};

inline constexpr SumOperation plusOperation{&fi::plus, "+"};
inline constexpr SumOperation minusOperation{&fi::minus, "-"};
using FiPlusMethodInfo = FiSumMethodInfo<plusOperation>;
using FiMinusMethodInfo = FiSumMethodInfo<minusOperation>;
