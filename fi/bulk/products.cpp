#include "fi/bulk/products.h"

#include <algorithm>
#include <optional>

#include "fi/bulk/blocks.h"
#include "fi/bulk/product_loops.h"

namespace tolvane::detail::arrayproducts {

namespace {

using arrayblocks::Block;
using arrayblocks::kBlock;
using arrayblocks::LogState;
using arrayblocks::Source;
using productloops::Factors;
using productloops::Sign;
using Values = std::span<const double>;

/// Computes blocks; while nothing is counted it tries to do so without quantizing, as long as that goes well.
class Multiplication {
 public:
    Multiplication(const Quantizers& quantizers, bool isComplexByComplex, bool counts)
        : mQuantizers(quantizers), mCounts(counts) {
        const quantizer& product = quantizers.product;
        const quantizer& sum = quantizers.sum;
        if (counts) {
            return;
        }
        mFormats = {product.getDoubleLimits(), sum.getDoubleLimits()};
        mRule = productloops::ruleOf(product);
        mHasLoops = product.hasFixedKernel();
        mTriesProof = hasMembership(product);
        if (isComplexByComplex) {
            // Products are values of their type, and casting leaves them alone in a type that has all of those.
            mCasts = quantizers.castsBeforeSum && !covers(sum, product);
            mHasLoops = mHasLoops && sum.hasFixedKernel() && mRule == productloops::ruleOf(sum);
            mTriesProof = mTriesProof && hasMembership(sum) && !mCasts;
        }
        if (mTriesProof) {
            mProductType = membershipOf(product);
            mSumType = isComplexByComplex ? membershipOf(sum) : Membership();
        }
    }

    /// Computes products.
    void run(Values left, Values right, std::span<double> out) {
        const Factors factors{left.data(), right.data()};
        if (mTriesProof) {
            if (productloops::multiply(factors, out.data(), out.size(), &mProductType)) {
                return;
            }
            // What one block does not hold the next will hardly hold.
            mTriesProof = false;
        }
        if (mHasLoops) {
            productloops::multiplyQuantized(mRule, mFormats, factors, out.data(), out.size());
            return;
        }
        productloops::multiply(factors, out.data(), out.size(), nullptr);
        mQuantizers.product.quantize(out, out);
    }

    /// Computes sums or differences of two products.
    void run(Sign sign, Factors first, Factors second, std::span<double> out) {
        const std::size_t count = out.size();
        if (mTriesProof) {
            if (productloops::combine(sign, first, second, out.data(), count, mProductType, mSumType)) {
                return;
            }
            mTriesProof = false;
        }
        if (mHasLoops) {
            productloops::combineQuantized(mRule, mFormats, mCasts, sign, first, second, out.data(), count);
            return;
        }
        const std::span<double> other(mOther.data(), count);
        productloops::multiply(first, out.data(), count, nullptr);
        productloops::multiply(second, other.data(), count, nullptr);
        mQuantizers.product.quantize(out, out);
        mQuantizers.product.quantize(other, other);
        if (mQuantizers.castsBeforeSum) {
            mQuantizers.sum.quantize(out, out);
            mQuantizers.sum.quantize(other, other);
        }
        for (std::size_t i = 0; i < count; ++i) {
            out[i] = sign == Sign::plus ? out[i] + other[i] : out[i] - other[i];
        }
        mQuantizers.sum.quantize(out, out);
    }

    /// Logs a block in the result, as a store of values of the result's own type does.
    void store(std::span<double> values) const {
        if (!mCounts || !qlogger::getLogging()) {
            return;
        }
        const auto firstOfEqual = [values](double extreme) {
            return extreme == 0.0 ? *std::find(values.begin(), values.end(), 0.0) : extreme;
        };
        const productloops::Extremes seen = productloops::extremes(values.data(), values.size());
        mQuantizers.result.getQlogger().addArrayStatistics(values.size(), 0, 0, firstOfEqual(seen.greatest),
                                                           firstOfEqual(seen.least));
        if (mQuantizers.result.getNumericType().isScaledDouble()) {
            mQuantizers.result.quantize(values, values);
        }
    }

 private:
    const Quantizers& mQuantizers;
    bool mCounts;
    bool mTriesProof = false;
    bool mHasLoops = false;
    bool mCasts = false;
    productloops::Formats mFormats;
    productloops::Rule mRule{};
    Membership mProductType;
    Membership mSumType;
    Block mOther;
};

/// The three logs before a block.
class LogStates {
 public:
    explicit LogStates(const Quantizers& quantizers)
        : mStates{LogState(quantizers.product.getQlogger()), LogState(quantizers.sum.getQlogger()),
                  LogState(quantizers.result.getQlogger())} {}
    bool restoreIfExtremeBecameZero() const {
        if (std::ranges::none_of(mStates, &LogState::extremeBecameZero)) {
            return false;
        }
        std::ranges::for_each(mStates, &LogState::restore);
        return true;
    }
    static bool mayMeetZero(const Quantizers& quantizers) {
        return LogState::mayMeetZero(quantizers.product.getQlogger()) ||
               LogState::mayMeetZero(quantizers.sum.getQlogger()) ||
               LogState::mayMeetZero(quantizers.result.getQlogger());
    }

 private:
    LogState mStates[3];
};

}  // namespace

void multiply(const Operand& left, const Operand& right, std::span<double> real, std::span<double> imag,
              const Quantizers& quantizers,
              const std::function<void(std::uint64_t begin, std::uint64_t end)>& byElements) {
    const std::size_t count = real.size();
    const bool isComplexByComplex = left.imag && right.imag;
    const bool counts = quantizers.product.getQlogger().isLogging() || quantizers.sum.getQlogger().isLogging() ||
                        quantizers.result.getQlogger().isLogging();
    Multiplication multiplication(quantizers, isComplexByComplex, counts);
    const Source leftReal(left.real, left.isScalar, count);
    const Source rightReal(right.real, right.isScalar, count);
    const Source leftImag(left.imag, left.isScalar, left.imag ? count : 0);
    const Source rightImag(right.imag, right.isScalar, right.imag ? count : 0);
    const qlogger& productLog = quantizers.product.getQlogger();

    for (std::size_t begin = 0; begin < count; begin += kBlock) {
        const std::size_t length = std::min(kBlock, count - begin);
        const std::span<double> re = real.subspan(begin, length);
        const Values ar = leftReal.block(begin, length);
        const Values br = rightReal.block(begin, length);
        const auto runBlock = [&] {
            if (isComplexByComplex) {
                const std::span<double> im = imag.subspan(begin, length);
                const Values ai = leftImag.block(begin, length);
                const Values bi = rightImag.block(begin, length);
                multiplication.run(Sign::minus, {ar.data(), br.data()}, {ai.data(), bi.data()}, re);
                multiplication.run(Sign::plus, {ai.data(), br.data()}, {ar.data(), bi.data()}, im);
                multiplication.store(re);
                multiplication.store(im);
                return;
            }
            multiplication.run(ar, br, re);
            multiplication.store(re);
            if (left.imag) {
                const std::span<double> im = imag.subspan(begin, length);
                multiplication.run(leftImag.block(begin, length), br, im);
                multiplication.store(im);
            }
        };
        if (!counts) {
            runBlock();
            continue;
        }
        std::optional<LogStates> before;
        if (LogStates::mayMeetZero(quantizers)) {
            before.emplace(quantizers);
        }
        runBlock();
        if (before && before->restoreIfExtremeBecameZero()) {
            byElements(begin, begin + length);
        } else if (qlogger::getLogging() && !isComplexByComplex) {
            productLog.setNMathOperations(productLog.getNMathoperations() + length);
        }
    }
}

}  // namespace tolvane::detail::arrayproducts
