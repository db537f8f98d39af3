// The methods that multiply: "times", "mtimes", "convF", "convS" and "convV".
#pragma once

#include <cstdint>
#include <memory>

#include "binding/fi/FiBinaryOperation.h"
#include "logging/reports.h"

/// What tells one product from another: the operation, how its operations are counted, and its name in reports.
struct ProductOperation {
    fi& (fi::*compute)(const fi& other) const;
    OperationCounts (*count)(const fi& a, const fi& b, bool castsBeforeSum);
    const char* symbol;
};

/// Counts the operations of the result and reports products and sums apart, from the registers of the left operand.
template <const ProductOperation& operation>
class FiProductMethodInfo final : public FiBinaryOperationFiOutputNoBooleanInput {
 public:
    using FiBinaryOperationFiOutputNoBooleanInput::FiBinaryOperationFiOutputNoBooleanInput;
    std::unique_ptr<fi> computeResult(const fi& a, const fi& b) override {
        return std::unique_ptr<fi>(&(a.*operation.compute)(b));
    }
    void logResult(const fi& a, const fi& b, const fi& result) override {
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

inline constexpr ProductOperation timesOperation{&fi::times, productcounts::ofOperands<operationcounts::ofTimes>, ".*"};
inline constexpr ProductOperation mtimesOperation{&fi::mtimes,
                                                  productcounts::ofOperands<operationcounts::ofMatrixProduct>, "*"};
inline constexpr ProductOperation fullConvolution{
    &fi::convF, productcounts::ofConvolution<operationcounts::productsOfFull>, "conv"};
inline constexpr ProductOperation centralConvolution{
    &fi::convS, productcounts::ofConvolution<operationcounts::productsOfCentral>, "conv"};
inline constexpr ProductOperation validConvolution{
    &fi::convV, productcounts::ofConvolution<operationcounts::productsOfValid>, "conv"};
using FiTimesMethodInfo = FiProductMethodInfo<timesOperation>;
using FiMtimesMethodInfo = FiProductMethodInfo<mtimesOperation>;
using FiConvFMethodInfo = FiProductMethodInfo<fullConvolution>;
using FiConvSMethodInfo = FiProductMethodInfo<centralConvolution>;
using FiConvVMethodInfo = FiProductMethodInfo<validConvolution>;
