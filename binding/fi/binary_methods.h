// The records of class "fi" for methods with two operands. A family is a template over an operation; its frame, which
// makes partners, checks operands and reports, is in FiBinaryOperation.h.
#pragma once

#include <cstdint>
#include <memory>

#include "binding/fi/FiBinaryOperation.h"
#include "fi/fi.h"
#include "host/hv.h"
#include "logging/reports.h"

namespace tolvane::detail {

// Sums: "plus" and "minus".

/// The differences between sums: the operation, and its name in reports.
struct SumOperation {
    fi& (fi::*compute)(const fi& other) const;
    const char* symbol;
};

/// Counts the operations of the result and adds overflows to the session's log of sums.
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

inline constexpr SumOperation kPlusOperation{&fi::plus, "+"};
inline constexpr SumOperation kMinusOperation{&fi::minus, "-"};
using FiPlusMethodInfo = FiSumMethodInfo<kPlusOperation>;
using FiMinusMethodInfo = FiSumMethodInfo<kMinusOperation>;

// Products: "times", "mtimes", "convF", "convS" and "convV".

/// The differences between products: the operation, how its operations are counted, and its name in reports.
struct ProductOperation {
    fi& (fi::*compute)(const fi& other) const;
    OperationCounts (*count)(const fi& a, const fi& b, bool castsBeforeSum);
    const char* symbol;
};

/// Counts the operations of the result and reports products and sums separately, from the registers of the left
/// operand.
template <const ProductOperation& operation>
class FiProductMethodInfo final : public FiBinaryOperationFiOutputNoBooleanInput {
 public:
    using FiBinaryOperationFiOutputNoBooleanInput::FiBinaryOperationFiOutputNoBooleanInput;
    std::unique_ptr<fi> computeResult(const fi& a, const fi& b) override {
        return std::unique_ptr<fi>(&(a.*operation.compute)(b));
    }
    void logResult(const fi& a, const fi& b, const fi& result) override {
        if (!fi::getLogging()) {
            return;  // reading the logs would make the register
        }
        reports::reportProductAndSum({a.getproductQlogger(), a.getproductregsumQlogger()},
                                     {fi::getProductlog(), fi::getSumlog()}, result.getQlogger(),
                                     operation.count(a, b, result.getFimath().getCastBeforeSum()), operation.symbol);
    }
};

namespace productcounts {

template <OperationCounts (*count)(operationcounts::Operand, operationcounts::Operand, bool)>
OperationCounts ofOperands(const fi& a, const fi& b, bool castsBeforeSum) {
    const auto operand = [](const fi& x) { return operationcounts::Operand{x.getM(), x.getN(), x.iscomplex()}; };
    return count(operand(a), operand(b), castsBeforeSum);
}

template <std::uint64_t (*products)(std::uint64_t, std::uint64_t)>
OperationCounts ofConvolution(const fi& a, const fi& b, bool castsBeforeSum) {
    return operationcounts::ofConvolution(products(a.numel(), b.numel()), a.iscomplex(), b.iscomplex(), castsBeforeSum);
}

}  // namespace productcounts

inline constexpr ProductOperation kTimesOperation{&fi::times, productcounts::ofOperands<operationcounts::ofTimes>,
                                                  ".*"};
inline constexpr ProductOperation kMtimesOperation{&fi::mtimes,
                                                   productcounts::ofOperands<operationcounts::ofMatrixProduct>, "*"};
inline constexpr ProductOperation kFullConvolution{
    &fi::convF, productcounts::ofConvolution<operationcounts::productsOfFull>, "conv"};
inline constexpr ProductOperation kCentralConvolution{
    &fi::convS, productcounts::ofConvolution<operationcounts::productsOfCentral>, "conv"};
inline constexpr ProductOperation kValidConvolution{
    &fi::convV, productcounts::ofConvolution<operationcounts::productsOfValid>, "conv"};
using FiTimesMethodInfo = FiProductMethodInfo<kTimesOperation>;
using FiMtimesMethodInfo = FiProductMethodInfo<kMtimesOperation>;
using FiConvFMethodInfo = FiProductMethodInfo<kFullConvolution>;
using FiConvSMethodInfo = FiProductMethodInfo<kCentralConvolution>;
using FiConvVMethodInfo = FiProductMethodInfo<kValidConvolution>;

// Comparisons and extremes

/// The methods "eq" to "ne" and "binaryop_isequal".
template <hvArray* (fi::*compare)(const fi&) const>
class FiComparisonMethodInfo final : public FiBinaryOperationHvArrayOutput {
 public:
    using FiBinaryOperationHvArrayOutput::FiBinaryOperationHvArrayOutput;
    hvArray* computeResult(const fi& a, const fi& b) override { return (a.*compare)(b); }
};

struct ExtremeOperation {
    fi& (fi::*compute)(const fi& other) const;
    void (fi::*computeOfColumns)(fi*& values, hvArray*& rows) const;
    const char* name;
};
inline constexpr ExtremeOperation kMaxOperation{&fi::max, &fi::unary_max, "max"};
inline constexpr ExtremeOperation kMinOperation{&fi::min, &fi::unary_min, "min"};

/// The methods "binary_max" and "binary_min".
template <const ExtremeOperation& operation>
class FiExtremeMethodInfo final : public FiBinaryOperationFiOutputStrictNumericType {
 public:
    using FiBinaryOperationFiOutputStrictNumericType::FiBinaryOperationFiOutputStrictNumericType;
    std::unique_ptr<fi> computeResult(const fi& a, const fi& b) override {
        return std::unique_ptr<fi>(&(a.*operation.compute)(b));
    }
    void logResult(const fi& a, const fi& b, const fi& result) override;
};
using FiMaxMethodInfo = FiExtremeMethodInfo<kMaxOperation>;
using FiMinMethodInfo = FiExtremeMethodInfo<kMinOperation>;

// Bits, complex arrays and matrices of shifted rows

/// "bitand", "bitor" and "bitxor".
template <fi& (fi::*operation)(const fi& other) const>
class FiBitwiseMethodInfo final : public FiBinaryOperationFiOutputFixedInputOnly {
 public:
    using FiBinaryOperationFiOutputFixedInputOnly::FiBinaryOperationFiOutputFixedInputOnly;
    std::unique_ptr<fi> computeResult(const fi& a, const fi& b) override {
        return std::unique_ptr<fi>(&(a.*operation)(b));
    }
};

/// Reports overflows of the imaginary parts in the conversion to the type of the real ones.
class FiComplexMethodInfo final : public FiBinaryOperationFiOutputStrictNumericType {
 public:
    using FiBinaryOperationFiOutputStrictNumericType::FiBinaryOperationFiOutputStrictNumericType;
    std::unique_ptr<fi> computeResult(const fi& a, const fi& b) override;
    void logResult(const fi& a, const fi& b, const fi& result) override;
};

/// "toeplitz" and "hankel" of a column and a row.
template <fi* (fi::*operation)(const fi& row) const>
class FiTwoVectorMethodInfo final : public FiBinaryOperationFiOutputStrictNumericType {
 public:
    using FiBinaryOperationFiOutputStrictNumericType::FiBinaryOperationFiOutputStrictNumericType;
    std::unique_ptr<fi> computeResult(const fi& a, const fi& b) override {
        a.errorIfBadSource(b);
        return std::unique_ptr<fi>((a.*operation)(b));
    }
};

}  // namespace tolvane::detail

// The records that the host knows by these names.
using tolvane::detail::FiMaxMethodInfo;
using tolvane::detail::FiPlusMethodInfo;
using tolvane::detail::FiTimesMethodInfo;
