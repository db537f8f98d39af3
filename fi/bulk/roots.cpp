#include "fi/bulk/roots.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <limits>

#include "fi/bulk/lane_loops.h"
#include "fi/bulk/root_loops.h"

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

/// Elements and roots in steps of the root's type.
struct Steps {
    explicit Steps(const arrayroots::Types& types)
        : bits(valueBits(types.root)),
          toRoot(std::ldexp(1.0, types.root.getFixedExponent())),
          toSquare(std::ldexp(1.0, 2 * types.root.getFixedExponent())),
          greatest(std::ldexp(1.0, bits) - 1.0),
          scales{std::ldexp(1.0, -2 * types.root.getFixedExponent()),
                 greatest,
                 toRoot,
                 toSquare,
                 std::ldexp(1.0, -types.square.getFixedExponent()),
                 std::ldexp(1.0, 2 * types.root.getFixedExponent() - types.square.getFixedExponent())} {}

    int bits;
    double toRoot;
    double toSquare;
    double greatest;
    rootloops::Scales scales;
};

/// Values of which only the bounds matter.
struct Range {
    void add(double x) {
        least = std::min(least, x);
        greatest = std::max(greatest, x);
    }
    void add(const Range& other) {
        least = std::min(least, other.least);
        greatest = std::max(greatest, other.greatest);
    }
    double least = std::numeric_limits<double>::infinity();
    double greatest = -std::numeric_limits<double>::infinity();
};

Range rangeOf(std::span<const double> values) {
    const Tally extremes = laneloops::extremes(values.data(), values.size());
    return {extremes.least, extremes.greatest};
}

using Block = std::array<double, kBlock>;

/// Copies those values of a block for whose index `isWanted` holds, without branches, which would be mispredicted.
template <class IsWanted>
std::span<double> pick(std::span<const double> values, Block& into, const IsWanted& isWanted) {
    std::size_t count = 0;
    for (std::size_t i = 0; i < values.size(); ++i) {
        into[count] = values[i];
        count += isWanted(i) ? 1U : 0U;
    }
    return {into.data(), count};
}

/// The tally of values that don't overflow or underflow, whose zeros are positive.
Tally tallyOf(std::uint64_t count, const Range& range, double unit) {
    Tally result;
    result.values = count;
    if (count > 0) {
        result.greatest = range.greatest * unit;
        result.least = range.least * unit;
        result.greatestZeros = result.greatest == 0.0 ? Tally::plus : Tally::none;
        result.leastZeros = result.least == 0.0 ? Tally::plus : Tally::none;
    }
    return result;
}

/// What the statistics follow from, in whole roots.
struct Notes {
    Tally elements;
    std::uint64_t searches = 0;  // one for each element that isn't zero
    std::uint64_t ones = 0;      // bits of roots rounded down: the trials that are stored
    std::uint64_t raised = 0;
    std::uint64_t neighbours = 0;  // one for each root rounded down that may be raised
    Range searched;                // roots rounded down, of elements that aren't zero
    Range judged;                  // roots rounded down that may be raised
    Range firstStored;             // roots rounded down, where anything but zero is found
    Range lastStored;
    Tally below;
    Tally above;

    // Each takes a block of roots rounded down, and their range.
    void noteSearches(std::span<const double> in, std::span<const double> floors, const Range& range);
    void noteJudged(std::span<const double> floors, const Range& range, double greatest);
    void noteStored(std::span<const double> floors, const Range& range, std::span<const double> found);
    arrayroots::Tallies tallies(const Steps& steps, bool hasDistances, bool casts) const;
};

/// The sign of a log's first zero, where each element gives what it was cast to, a square and a distance in this order.
struct Distances {
    std::span<const double> cast;
    std::span<const double> squares;
    std::span<const double> values;

    double firstZero(bool casts) const {
        for (std::size_t i = 0; i < values.size(); ++i) {
            if (casts && cast[i] == 0.0) {
                return cast[i];
            }
            if (casts && squares[i] == 0.0) {
                return squares[i];
            }
            if (values[i] == 0.0) {
                return values[i];
            }
        }
        return 0.0;
    }
};

/// Sums within words, which compilers turn into vector code; std::popcount is a call for each value where the processor
/// need not have an instruction for it.
std::uint64_t countOnes(std::span<const double> floors) {
    std::uint32_t result = 0;
    for (const double x : floors) {
        auto bits = static_cast<std::uint32_t>(static_cast<std::int32_t>(x));
        bits -= (bits >> 1) & 0x55555555U;
        bits = (bits & 0x33333333U) + ((bits >> 2) & 0x33333333U);
        bits = (bits + (bits >> 4)) & 0x0F0F0F0FU;
        bits += bits >> 8;
        result += (bits + (bits >> 16)) & 0x3FU;
    }
    return result;
}

void Notes::noteSearches(std::span<const double> in, std::span<const double> floors, const Range& range) {
    Tally extremes = laneloops::extremes(in.data(), in.size());
    if (extremes.least == 0.0) {
        extremes.settle(*std::ranges::find(in, 0.0));
        Block picked;
        const auto ofSearches = pick(floors, picked, [in](std::size_t i) { return in[i] != 0.0; });
        searches += ofSearches.size();
        searched.add(rangeOf(ofSearches));
    } else {
        searches += in.size();
        searched.add(range);
    }
    elements.append(extremes);
    ones += countOnes(floors);
}

void Notes::noteJudged(std::span<const double> floors, const Range& range, double greatest) {
    if (range.greatest < greatest) {
        neighbours += floors.size();
        judged.add(range);
        return;
    }
    Block picked;
    const auto ofJudged = pick(floors, picked, [&](std::size_t i) { return floors[i] < greatest; });
    neighbours += ofJudged.size();
    judged.add(rangeOf(ofJudged));
}

void Notes::noteStored(std::span<const double> floors, const Range& range, std::span<const double> found) {
    const Range last = rangeOf(found);
    lastStored.add(last);
    raised += static_cast<std::uint64_t>(laneloops::sumExact(found.data(), found.size()) -
                                         laneloops::sumExact(floors.data(), floors.size()));
    if (last.least > 0.0) {
        firstStored.add(range.least);
        return;
    }
    Block picked;
    firstStored.add(rangeOf(pick(floors, picked, [found](std::size_t i) { return found[i] > 0.0; })));
}

std::uint64_t whole(double x) {
    return static_cast<std::uint64_t>(x);
}

/// The greatest trial of a search, which is the first that is refused, if any is: the leading ones of the root found
/// and one more. It grows with the root.
double greatestTrial(double root, int bits) {
    const std::uint64_t zeros = ~whole(root) & ((std::uint64_t{1} << bits) - 1);
    if (zeros == 0) {
        return root;
    }
    const std::uint64_t refused = std::bit_floor(zeros);
    return static_cast<double>((whole(root) | refused) & ~(refused - 1));
}

/// The least trial of a search, the one that sets the first bit of the root found, and the first that is stored; of a
/// search that finds zero, its last.
double leastTrial(double root) {
    return static_cast<double>(std::bit_floor(std::max(whole(root), std::uint64_t{1})));
}

Range squared(const Range& x) {
    return {x.least * x.least, x.greatest * x.greatest};
}

Range shifted(const Range& x) {
    return {x.least + 1.0, x.greatest + 1.0};
}

arrayroots::Tallies Notes::tallies(const Steps& steps, bool hasDistances, bool casts) const {
    arrayroots::Tallies result;
    result.elements = elements;
    const std::uint64_t tried = searches * static_cast<std::uint64_t>(steps.bits);
    Range trials;
    Range tops;
    if (tried > 0) {
        // The first trial starts from zero, the last from the root without its last bit.
        trials.add(0.0);
        trials.add(static_cast<double>(whole(searched.greatest) & ~std::uint64_t{1}));
        tops.add(leastTrial(searched.least));
        tops.add(greatestTrial(searched.greatest, steps.bits));
    }
    if (neighbours > 0) {
        trials.add(judged);
        tops.add(judged);
    }
    result.trials = tallyOf(tried + neighbours, trials, steps.toRoot);
    result.squares = tallyOf(tried + neighbours, squared(tops), steps.toSquare);
    if (ones + raised > 0) {
        result.roots = tallyOf(ones + raised, {leastTrial(firstStored.least), lastStored.greatest}, steps.toRoot);
    }
    // Each is the root, one step, which may be cast, and their sum.
    Range upper = judged;
    upper.add(shifted(judged));
    if (casts) {
        upper.add(1.0);
    }
    result.neighbours = tallyOf(neighbours * (casts ? 3 : 2), upper, steps.toRoot);
    if (hasDistances) {
        result.neighbourSquares = tallyOf(neighbours, squared(shifted(judged)), steps.toSquare);
        result.below = below;
        result.above = above;
    }
    return result;
}

/// The distances of an element from the squares below and above it decide; each is held in the type of the squares, and
/// noted.
class NearestSquare {
 public:
    NearestSquare(const fimath& rules, const Steps& steps, const quantizer& distances)
        : mSteps(steps), mQuantizer(distances), mCastsFirst(rules.getCastBeforeSum()) {}

    /// Raises those whole roots by one whose upper neighbour is nearer.
    void apply(std::span<const double> elements, std::span<double> roots, Notes& notes) {
        if (rangeOf(roots).greatest < mSteps.greatest) {
            raise(elements, roots, notes);
            return;
        }
        // The greatest root has no upper neighbour, and nothing is computed that could be noted.
        const auto isBelowGreatest = [&](std::size_t i) { return roots[i] < mSteps.greatest; };
        const auto kept = pick(elements, mKept, isBelowGreatest);
        raise(kept, pick(roots, mKeptRoots, isBelowGreatest), notes);
        std::size_t count = 0;
        for (std::size_t i = 0; i < roots.size(); ++i) {
            const bool isKept = isBelowGreatest(i);
            roots[i] = isKept ? mKeptRoots[count] : roots[i];
            count += isKept ? 1U : 0U;
        }
    }

 private:
    void raise(std::span<const double> elements, std::span<double> roots, Notes& notes) {
        const std::size_t count = roots.size();
        if (count == 0) {
            return;
        }
        const std::span<double> low(mLow.data(), count);
        const std::span<double> high(mHigh.data(), count);
        const std::span<double> cast(mCast.data(), count);
        const std::span<double> squares(mSquares.data(), count);
        const std::span<double> nextSquares(mNextSquares.data(), count);
        Tally ofCast;
        Tally ofLow;
        Tally ofHigh;
        if (mCastsFirst) {
            mQuantizer.quantizeAndTally(elements, cast, &ofCast);
        } else {
            std::ranges::copy(elements, cast.begin());
        }
        for (std::size_t i = 0; i < count; ++i) {
            squares[i] = roots[i] * roots[i] * mSteps.toSquare;
            nextSquares[i] = (roots[i] + 1.0) * (roots[i] + 1.0) * mSteps.toSquare;
            low[i] = cast[i] - squares[i];
            high[i] = nextSquares[i] - cast[i];
        }
        mQuantizer.quantizeAndTally(low, low, &ofLow);
        mQuantizer.quantizeAndTally(high, high, &ofHigh);
        notes.below.append(joined(ofCast, ofLow, {cast, squares, low}));
        notes.above.append(joined(ofCast, ofHigh, {cast, nextSquares, high}));
        for (std::size_t i = 0; i < count; ++i) {
            roots[i] += high[i] < low[i] ? 1.0 : 0.0;
        }
    }
    Tally joined(const Tally& ofCast, const Tally& ofDistances, const Distances& distances) const {
        Tally result = ofDistances;
        if (mCastsFirst) {
            result.join(ofCast);
            result.join(laneloops::extremes(distances.squares.data(), distances.squares.size()));
        }
        if (result.greatestZeros == Tally::both || result.leastZeros == Tally::both) {
            result.settle(distances.firstZero(mCastsFirst));
        }
        return result;
    }

    const Steps& mSteps;
    const quantizer& mQuantizer;
    bool mCastsFirst;
    Block mLow;
    Block mHigh;
    Block mCast;
    Block mSquares;
    Block mNextSquares;
    Block mKept;
    Block mKeptRoots;
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
    rootloops::find(Steps(types).scales, rules.getRoundMode(), rules.getCastBeforeSum(), elements.data(), roots.data(),
                    elements.size());
}

arrayroots::Tallies arrayroots::findAndTally(std::span<const double> elements, std::span<double> roots,
                                             const Types& types, const fimath& rules, const quantizer& distances) {
    const Steps steps(types);
    const Round mode = rules.getRoundMode();
    NearestSquare nearest(rules, steps, distances);
    Notes notes;
    Block floored;
    for (std::size_t begin = 0; begin < elements.size(); begin += kBlock) {
        const std::size_t count = std::min(kBlock, elements.size() - begin);
        const auto in = elements.subspan(begin, count);
        const auto out = roots.subspan(begin, count);
        const std::span<double> floors(floored.data(), count);
        rootloops::findFloors(steps.scales, in.data(), floors.data(), count);
        std::ranges::copy(floors, out.begin());
        const Range range = rangeOf(floors);
        notes.noteSearches(in, floors, range);
        if (!arrayroots::roundsDown(mode)) {
            notes.noteJudged(floors, range, steps.greatest);
        }
        if (mode == Round::Ceil) {
            for (std::size_t i = 0; i < count; ++i) {
                out[i] += out[i] < steps.greatest && out[i] * out[i] * steps.toSquare < in[i] ? 1.0 : 0.0;
            }
        } else if (!arrayroots::roundsDown(mode)) {
            nearest.apply(in, out, notes);
        }
        notes.noteStored(floors, range, out);
        for (double& root : out) {
            root *= steps.toRoot;
        }
    }
    return notes.tallies(steps, !arrayroots::roundsDown(mode) && mode != Round::Ceil, rules.getCastBeforeSum());
}
