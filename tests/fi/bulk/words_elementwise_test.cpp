// Operations on single elements of wide arrays, held as words and as floats: comparisons, extremes, signs, shifts and
// bits must agree in values, signs of zeros, logs and cursors.
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <new>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "numbers/mpnumber.h"
#include "tests/support/blocks.h"
#include "tests/support/errors.h"
#include "tests/support/wide_arrays_of_fi.h"

namespace {

using FiOwner = std::unique_ptr<fi>;

std::string shown(const fi& x) {
    std::ostringstream out;
    show(out, x);
    return out.str();
}

using Operation2 = std::function<std::string(const fi& a, const fi& b)>;
struct Row {
    const char* name;
    Operation2 run;
};

std::string flagsOf(hvArray* flags) {
    std::ostringstream out;
    show(out, flags);
    return out.str();
}
std::string arrayOf(fi* made) {
    return shown(*FiOwner(made));
}

const Row kComparisons[] = {
    {"eq", [](const fi& a, const fi& b) { return flagsOf(a.eq(b)); }},
    {"ne", [](const fi& a, const fi& b) { return flagsOf(a.ne(b)); }},
    {"lt", [](const fi& a, const fi& b) { return flagsOf(a.lt(b)); }},
    {"le", [](const fi& a, const fi& b) { return flagsOf(a.le(b)); }},
    {"gt", [](const fi& a, const fi& b) { return flagsOf(a.gt(b)); }},
    {"ge", [](const fi& a, const fi& b) { return flagsOf(a.ge(b)); }},
    {"isequal", [](const fi& a, const fi& b) { return flagsOf(a.isequal(b)); }},
};

/// Positions of bits, one for each element, and whether to set them.
struct Positions {
    hvArrayOwner positions;
    hvArrayOwner values;
    explicit Positions(const fi& x)
        : positions(hvCreateNumericArray(x.ndims(), x.dims(), hvDOUBLE_CLASS, hvREAL)),
          values(hvCreateNumericArray(x.ndims(), x.dims(), hvDOUBLE_CLASS, hvREAL)) {
        for (std::uint64_t i = 0; i < x.numel(); ++i) {
            // A multiple of 5 apart from the last, so that the top bit takes its turn.
            const auto bits = static_cast<std::uint64_t>(x.getWordLength());
            hvGetPr(positions.get())[i] = static_cast<double>((bits - 1 + 5 * i) % bits + 1);
            hvGetPr(values.get())[i] = static_cast<double>(i % 3 == 0);
        }
    }
};
/// The same position for all elements: 1, the middle, the top, and one beyond.
template <class Use>
std::string atPositions(const fi& x, const Use& use) {
    std::string all;
    for (const int position : {1, x.getWordLength() / 2, x.getWordLength(), x.getWordLength() + 1}) {
        for (const double value : {0.0, 1.0}) {
            const hvArrayOwner where(hvCreateDoubleScalar(position));
            const hvArrayOwner what(hvCreateDoubleScalar(value));
            const Raised error = raisedBy([&] { all += use(where.get(), what.get()); });
            all += error.id;
        }
    }
    return all;
}
std::string extremesOf(const fi& x, void (fi::*find)(fi*&, hvArray*&) const) {
    fi* values = nullptr;
    hvArray* places = nullptr;
    (x.*find)(values, places);
    return arrayOf(values) + flagsOf(places);
}
NumericType otherSign(const fi& x) {
    return fixedType(!x.isSigned(), x.getWordLength(), 7);
}

const Row kChanges[] = {
    {"max", [](const fi& a, const fi& b) { return arrayOf(&a.max(b)); }},
    {"min", [](const fi& a, const fi& b) { return arrayOf(&a.min(b)); }},
    {"max of columns", [](const fi& a, const fi&) { return extremesOf(a, &fi::unary_max); }},
    {"min of columns", [](const fi& a, const fi&) { return extremesOf(a, &fi::unary_min); }},
    {"uminus", [](const fi& a, const fi&) { return arrayOf(a.uminus()); }},
    {"conj", [](const fi& a, const fi&) { return arrayOf(a.conj()); }},
    {"sign", [](const fi& a, const fi&) { return flagsOf(a.sign()); }},
    {"realabs", [](const fi& a, const fi&) { return arrayOf(a.realabs()); }},
    {"realabs of a type", [](const fi& a, const fi&) { return arrayOf(a.realabs(fixedType(true, 58, 20))); }},
    {"pow2", [](const fi& a, const fi&) { return arrayOf(&a.pow2(-3, false)) + arrayOf(&a.pow2(70, false)); }},
    {"shifts", [](const fi& a, const fi&) { return arrayOf(&a.pow2(5, true)) + arrayOf(&a.pow2(-66, true)); }},
    {"far shifts", [](const fi& a, const fi&) { return arrayOf(&a.pow2(900, true)) + arrayOf(&a.pow2(-900, false)); }},
    {"stripscaling", [](const fi& a, const fi&) { return arrayOf(&a.stripscaling()); }},
    {"reinterpretcast", [](const fi& a, const fi&) { return arrayOf(&a.reinterpretcast(otherSign(a))); }},
    {"bitand", [](const fi& a, const fi& b) { return arrayOf(&a.fibitand(b)); }},
    {"bitor", [](const fi& a, const fi& b) { return arrayOf(&a.fibitor(b)); }},
    {"bitxor", [](const fi& a, const fi& b) { return arrayOf(&a.bitxor(b)); }},
    {"bitcmp", [](const fi& a, const fi&) { return arrayOf(&a.bitcmp()); }},
    {"negated bitcmp", [](const fi& a, const fi&) { return arrayOf(FiOwner(&a.bitcmp())->uminus()); }},
    {"bitset",
     [](const fi& a, const fi&) {
         return atPositions(a,
                            [&](const hvArray* bit, const hvArray* value) { return arrayOf(&a.bitset(bit, value)); });
     }},
    {"bitset of each",
     [](const fi& a, const fi&) {
         const Positions all(a);
         return arrayOf(&a.bitset(all.positions.get(), all.values.get()));
     }},
    {"bitget",
     [](const fi& a, const fi&) {
         return atPositions(a, [&](const hvArray* bit, const hvArray*) { return flagsOf(a.bitget(bit)); });
     }},
    {"bitget of each", [](const fi& a, const fi&) { return flagsOf(a.bitget(Positions(a).positions.get())); }},
    {"sort", [](const fi& a, const fi&) { return arrayOf(&a.stridesort(true, 1, a.getM())); }},
};

NumericType randomWideType(Random& random) {
    constexpr int kEdges[] = {53, 63, 64, 65, 127, 128, 129, 192};
    const int bits = random.oneIn(2) ? random.pick(kEdges) : random.between(53, 300);
    return fixedType(!random.oneIn(3), bits, random.between(-20, bits + 20));
}
fimath randomRules(Random& random) {
    return rulesOf(random.pick(kRoundings), random.oneIn(2));
}
Sizes randomSizes(Random& random) {
    const auto length = static_cast<std::uint64_t>(random.between(1, random.oneIn(3) ? 200 : 20));
    return random.oneIn(2) ? Sizes{length, 1} : Sizes{length, static_cast<std::uint64_t>(random.between(1, 3))};
}

/// The outcome of an operation: what it gives, or its error, and what it leaves behind.
std::string outcome(const Operation2& run, const fi& a, const fi& b) {
    std::string result;
    const Raised error = raisedBy([&] { result = run(a, b); });
    return error.id + result + "\nleft " + shown(a) + "\nright " + shown(b);
}

/// Runs operations on random operands. Right ones are of the left type if `areAlike`, copies with some other elements
/// at times, and scalars at times.
template <std::size_t rows>
void expectTheSame(unsigned seed, int rounds, const Row (&table)[rows], bool areAlike) {
    Random random(seed);
    int wordsSeen = 0;
    for (int round = 0; round < rounds; ++round) {
        const NumericType type = randomWideType(random);
        const fimath rules = randomRules(random);
        const Sizes sizes = randomSizes(random);
        const bool isComplex = random.oneIn(3);
        FiOwner a = arrayOfWords(random, type, rules, sizes, isComplex);
        const NumericType other = areAlike || random.oneIn(2) ? type
                                  : random.oneIn(3)           ? randomFixedType(random, 50, false)
                                                              : randomWideType(random);
        FiOwner b = arrayOfWords(random, other, rules, random.oneIn(4) ? Sizes{1, 1} : sizes,
                                 random.oneIn(4) ? !isComplex : isComplex);
        if (other == type && random.oneIn(3)) {
            b = std::make_unique<fi>(*a);
            if (random.oneIn(2)) {
                const auto place = static_cast<std::uint64_t>(random.between(0, static_cast<int>(a->numel()) - 1));
                const_cast<number&>(b->real(place)).setvalue(0.0);
                b->setIndex(0);
            }
        }
        if (random.oneIn(5)) {
            std::swap(a, b);
        }
        wordsSeen += a->real().asWords() && b->real().asWords() ? 1 : 0;
        fi::setLogging(random.oneIn(2));
        for (const Row& row : table) {
            const fi left(*a);
            const fi right(*b);
            const std::string seen = outcome(row.run, left, right);
            const fi leftFloats(*a);
            const fi rightFloats(*b);
            turnIntoFloats(leftFloats);
            turnIntoFloats(rightFloats);
            const std::string wanted = outcome(row.run, leftFloats, rightFloats);
            ASSERT_EQ(seen, wanted) << row.name << ", seed " << random.seed() << " round " << round << ", rules "
                                    << rules.toString() << (fi::getLogging() ? ", logging" : "") << ", left "
                                    << shown(*a) << ", right " << shown(*b);
        }
        fi::setLogging(false);
    }
    EXPECT_GT(wordsSeen, rounds / 3);
}

TEST(WordsElementwise, CompareLikeFloats) {
    expectTheSame(6101, 500, kComparisons, false);
}

TEST(WordsElementwise, ChangeLikeFloats) {
    expectTheSame(6102, 250, kChanges, true);
}

TEST(WordsElementwise, RaiseOneErrorAndChangeNothingWithoutMemory) {
    Random random(6103);
    constexpr int kBits = 1000;
    fimath rules = rulesOf(Rounding::nearest, false);
    rules.setMaxProductWordLength(4 * kBits);
    rules.setMaxSumWordLength(4 * kBits);
    const FiOwner a = arrayOfWords(random, fixedType(true, kBits, 40), rules, {200, 10}, false);
    const FiOwner b = arrayOfWords(random, fixedType(true, kBits - 100, 10), rules, {200, 10}, false);
    const FiOwner squares(b->realabs());
    const hvArrayOwner integers(hvCreateNumericArray(a->ndims(), a->dims(), hvINT16_CLASS, hvREAL));
    const std::pair<const char*, std::function<void(fi&)>> changes[] = {
        {"plus", [&](fi& x) { FiOwner(&x.plus(*b)); }},
        {"times", [&](fi& x) { FiOwner(&x.times(*b)); }},
        {"sums", [&](fi& x) { FiOwner(&x.leadingdimension_sum()); }},
        {"roots", [&](fi&) { FiOwner(squares->sqrtBisection()); }},
        {"lt", [&](fi& x) { hvArrayOwner(x.lt(*b)); }},
        {"copydata", [&](fi& x) { x.copydata(*b); }},
        {"quantizeAll", [](fi& x) { x.quantizeAll(true); }},
        {"set integers", [&](fi& x) { x.setIntHvArray(integers.get()); }},
        {"set doubles", [&](fi& x) { x.setDoubleHvArray(integers.get()); }},
    };
    const auto shown = [](const fi& x) {
        std::ostringstream out;
        show(out, x);
        return out.str();
    };
    for (const auto& [name, change] : changes) {
        fi x(*a);
        x.setFractionLength(39);
        const std::string before = shown(x);
        Raised error;
        {
            const FailingBlocks none(3500);
            try {
                error = raisedBy([&change = change, &x] { change(x); });
            } catch (const std::bad_alloc&) {
                error.id = "std::bad_alloc";
            }
        }
        EXPECT_EQ(error.id, "fixedpoint:fi:outofmemory") << name;
        x.setIndex(0);
        EXPECT_TRUE(shown(x) == before) << name;
        EXPECT_EQ(raisedBy([&change = change, &x] { change(x); }).id, "") << name;
    }
}

}  // namespace
