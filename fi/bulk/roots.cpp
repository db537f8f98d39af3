#include "fi/bulk/roots.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "quantization/quantizer.h"

using namespace tolvane::detail;

namespace {

using EmbeddedTypeSystem::NumericType;
using Round = embedded::RoundModeEnum;

constexpr std::size_t kBlock = 512;
/// Elements of at most so many bits have roots that doubles tell from whole ones.
constexpr int kExactBits = 52;

int valueBits(const NumericType& type) {
    return type.getWordLength() - (type.isSigned() ? 1 : 0);
}

/// Elements and roots in steps of the root's type: `squared` of an element has the unit of a squared root.
struct Steps {
    explicit Steps(const NumericType& root)
        : exponent(root.getFixedExponent()),
          toRoot(std::ldexp(1.0, exponent)),
          toSquare(std::ldexp(1.0, 2 * exponent)),
          fromElement(std::ldexp(1.0, -2 * exponent)),
          greatest(std::ldexp(1.0, valueBits(root)) - 1.0) {}

    /// The greatest whole root whose square is not above `squared`.
    ///
    /// Rounding never lifts a floating-point root to a whole number r above the true one: an element of at most 52
    /// bits below the square of r is below it by more than 2^-52 of itself, its root below r by more than 2^-53 of
    /// itself, and that is half the distance of doubles there or more.
    double floorRoot(double squared) const {
        return static_cast<double>(static_cast<std::int64_t>(std::sqrt(std::min(squared, greatest * greatest))));
    }

    int exponent;
    double toRoot;
    double toSquare;
    double fromElement;
    double greatest;
};

/// The distances of an element from the squares below and above it decide; each is held in the type of the squares.
class NearestSquare {
 public:
    NearestSquare(const arrayroots::Types& types, const fimath& rules, const Steps& steps)
        : mSteps(steps),
          mQuantizer(types.square, rules.getRoundMode(), rules.getOverflowMode(), "",
                     embedded::OperationTypeEnum::Unspecified, false),
          mIsExact(types.element.getFixedExponent() >= types.square.getFixedExponent()),
          mCastsFirst(rules.getCastBeforeSum()) {}

    /// Raises those whole roots by one whose upper neighbour is nearer.
    void apply(std::span<const double> elements, std::span<double> roots) {
        const std::size_t count = roots.size();
        const std::span<double> low(mLow.data(), count);
        const std::span<double> high(mHigh.data(), count);
        const std::span<double> cast(mCast.data(), count);
        if (mIsExact || !mCastsFirst) {
            std::ranges::copy(elements, cast.begin());
        } else {
            mQuantizer.quantize(elements, cast);
        }
        for (std::size_t i = 0; i < count; ++i) {
            low[i] = cast[i] - roots[i] * roots[i] * mSteps.toSquare;
            high[i] = (roots[i] + 1.0) * (roots[i] + 1.0) * mSteps.toSquare - cast[i];
        }
        if (!mIsExact) {
            mQuantizer.quantize(low, low);
            mQuantizer.quantize(high, high);
        }
        for (std::size_t i = 0; i < count; ++i) {
            roots[i] += roots[i] < mSteps.greatest && high[i] < low[i] ? 1.0 : 0.0;
        }
    }

 private:
    const Steps& mSteps;
    quantizer mQuantizer;
    bool mIsExact;
    bool mCastsFirst;
    std::array<double, kBlock> mLow;
    std::array<double, kBlock> mHigh;
    std::array<double, kBlock> mCast;
};

}  // namespace

bool arrayroots::areSquaresExact(const Types& types, const fimath& rules) {
    constexpr int kFarExponent = 200;
    const auto isNear = [](const NumericType& type) {
        return type.getWordLength() <= kExactBits && std::abs(type.getFixedExponent()) <= kFarExponent &&
               !type.isSlopeBiasScaled();
    };
    if (!isNear(types.element) || !isNear(types.root) || !isNear(types.square) || rules.isSumSlopeBiasScaled() ||
        rules.isProductSlopeBiasScaled()) {
        return false;
    }
    const int step = 2 * types.root.getFixedExponent();
    return 2 * valueBits(types.root) < kExactBits && types.square.getFixedExponent() <= step &&
           valueBits(types.square) + types.square.getFixedExponent() >= 2 * valueBits(types.root) + step;
}

void arrayroots::find(std::span<const double> elements, std::span<double> roots, const Types& types,
                      const fimath& rules) {
    const Steps steps(types.root);
    const Round mode = rules.getRoundMode();
    const bool isDown = mode == Round::Floor || mode == Round::Fix;
    NearestSquare nearest(types, rules, steps);
    for (std::size_t begin = 0; begin < elements.size(); begin += kBlock) {
        const std::size_t count = std::min(kBlock, elements.size() - begin);
        const auto in = elements.subspan(begin, count);
        const auto out = roots.subspan(begin, count);
        for (std::size_t i = 0; i < count; ++i) {
            out[i] = steps.floorRoot(in[i] * steps.fromElement);
        }
        if (mode == Round::Ceil) {
            for (std::size_t i = 0; i < count; ++i) {
                out[i] += out[i] < steps.greatest && out[i] * out[i] < in[i] * steps.fromElement ? 1.0 : 0.0;
            }
        } else if (!isDown) {
            nearest.apply(in, out);
        }
        for (double& root : out) {
            root *= steps.toRoot;
        }
    }
}
