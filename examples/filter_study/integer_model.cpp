#include "examples/filter_study/integer_model.h"

#include <algorithm>
#include <cstddef>

#include "examples/filter_study/low_pass.h"
#include "examples/studies/stored_word.h"

namespace filterstudy {
namespace {

__extension__ using Wide = __int128;

/// Divides by 2^bits, 0 to 120, and rounds.
Wide roundedShift(Wide value, int bits, Round round) {
    if (bits == 0) {
        return value;
    }
    const Wide floor = value >> bits;
    const Wide rest = value - (floor << bits);
    const Wide half = Wide{1} << (bits - 1);
    switch (round) {
        case Round::Floor:
            return floor;
        case Round::Ceil:
            return floor + (rest != 0);
        case Round::Fix:
            return floor + (rest != 0 && value < 0);
        case Round::Nearest:
            return floor + (rest >= half);
        case Round::Round:
            return floor + (rest > half || (rest == half && value > 0));
        case Round::Convergent:
            return floor + (rest > half || (rest == half && (floor & 1) != 0));
    }
    return floor;
}

/// A place where values are quantized to a word.
class Place {
 public:
    Place(Word word, Round round, Overflow overflow)
        : mFraction(word.fraction),
          mRound(round),
          mWraps(overflow == Overflow::Wrap),
          mHigh(Wide{1} << (word.bits - 1)) {}

    std::int64_t take(Wide value, int fraction) {
        value =
            fraction < mFraction ? value << (mFraction - fraction) : roundedShift(value, fraction - mFraction, mRound);
        if (value < -mHigh || value >= mHigh) {
            ++mOverflows;
            // Adding half the range makes the wrapped value the low bits.
            value = mWraps ? ((value + mHigh) & (2 * mHigh - 1)) - mHigh : value < 0 ? -mHigh : mHigh - 1;
        }
        return static_cast<std::int64_t>(value);
    }
    int fraction() const { return mFraction; }
    std::uint64_t overflows() const { return mOverflows; }

 private:
    int mFraction;
    Round mRound;
    bool mWraps;
    Wide mHigh;
    std::uint64_t mOverflows = 0;
};

}  // namespace

std::vector<std::int64_t> storedIntegers(std::span<const double> values, Word word) {
    const study::Format format{study::Kind::Signed, word.bits, word.fraction, 0, Round::Nearest, Overflow::Saturate};
    std::vector<std::int64_t> integers;
    integers.reserve(values.size());
    const int unused = 64 - word.bits;
    for (const double value : values) {
        integers.push_back(static_cast<std::int64_t>(study::storedWord(value, format) << unused) >> unused);
    }
    return integers;
}

ModelOutput integerFilter(std::span<const std::int64_t> data, std::span<const std::int64_t> coefficients,
                          const Arithmetic& arithmetic) {
    const std::size_t terms = std::min(data.size(), coefficients.size());
    const int fullFraction = arithmetic.coefficient.fraction + arithmetic.data.fraction;
    Place product(productWord(arithmetic), arithmetic.round, arithmetic.overflow);
    Place sum(sumWord(arithmetic, terms), arithmetic.round, arithmetic.overflow);
    const int finest = std::max(product.fraction(), sum.fraction());
    const int productShift = finest - product.fraction();
    const int sumShift = finest - sum.fraction();

    ModelOutput output;
    output.words.reserve(data.size());
    for (std::size_t i = 0; i < data.size(); ++i) {
        const Terms span = termsOf(i, data.size(), coefficients.size());
        std::int64_t total = 0;
        for (std::size_t j = span.first; j < span.end; ++j) {
            const Wide exact = Wide{data[j]} * coefficients[span.whole - j];
            const Wide term = product.take(exact, fullFraction);
            total = sum.take((Wide{total} << sumShift) + (term << productShift), finest);
        }
        output.words.push_back(total);
        output.loggedSumOverflows += sum.overflows();
    }
    output.productOverflows = product.overflows();
    output.sumOverflows = sum.overflows();
    return output;
}

}  // namespace filterstudy
