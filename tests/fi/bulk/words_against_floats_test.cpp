// Arrays of wide words against the same arrays as floats: array code takes words by blocks of integers, and leaves
// floats to the element steps, so that values with the signs of zeros, counts and extremes must agree.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/errors.h"
#include "tests/support/wide_arrays_of_fi.h"

namespace {

using Mode = fimath::ArithmeticModeEnum;
using FiOwner = std::unique_ptr<fi>;

constexpr Mode kModes[] = {Mode::FullPrecision, Mode::KeepLSB, Mode::KeepMSB, Mode::SpecifyPrecision};

NumericType randomType(Random& random, bool mayBeInDoubles) {
    const int bits = mayBeInDoubles && random.oneIn(3) ? random.between(20, 52)
                     : random.oneIn(4)                 ? random.between(120, 300)
                                                       : random.between(53, 72);
    // The bounds of short words may be no doubles.
    const int beyondDoubles = mayBeInDoubles && bits < 53 && random.oneIn(10) ? (random.oneIn(2) ? -1070 : 1070) : 0;
    const bool isSigned = random.oneIn(2);
    return fixedType(isSigned, bits, beyondDoubles + random.between(-3, bits + 3));
}

fimath randomRules(Random& random) {
    fimath rules = rulesOf(random.pick(kRoundings), random.oneIn(2));
    rules.setMaxProductWordLength(4096);
    rules.setMaxSumWordLength(4096);
    rules.setProductMode(random.pick(kModes));
    rules.setProductWordLength(random.between(30, 140));
    rules.setProductFractionLength(random.between(-4, 140));
    rules.setSumMode(random.pick(kModes));
    rules.setSumWordLength(random.between(30, 140));
    rules.setSumFractionLength(random.between(-4, 140));
    rules.setCastBeforeSum(!random.oneIn(3));
    return rules;
}

FiOwner randomArray(Random& random, const fimath& rules, const Sizes& sizes) {
    const NumericType type = randomType(random, true);
    FiOwner array = arrayOfWords(random, type, rules, sizes, random.oneIn(3));
    if (array->real().asDouble() && array->numel() == 1) {
        // A double has all its bits whatever precision it was made with.
        const double value = array->real().todouble();
        array->real().resize(1, static_cast<unsigned>(random.between(5, 51))).setvalue(value);
    }
    array->setIndex(0);
    array->resetLogging();
    return array;
}

/// The same array, which no array code takes.
FiOwner asFloats(const fi& array) {
    FiOwner copy = array.getWordLength() < 53 ? withWideEntries(array) : std::make_unique<fi>(array);
    turnIntoFloats(*copy);
    copy->setIndex(0);
    copy->resetLogging();
    return copy;
}

void expectSame(const fi& seen, const fi& wanted, const std::string& what) {
    ASSERT_EQ(differenceOf(seen, wanted), "") << what;
}

void expectSameRegisters(const fi& seen, const fi& wanted, const std::string& what) {
    ASSERT_EQ(seen.isProductRegisterInitialized(), wanted.isProductRegisterInitialized()) << what;
    if (seen.isProductRegisterInitialized()) {
        EXPECT_EQ(logOf(seen.getproductQlogger()), logOf(wanted.getproductQlogger())) << what << ", products";
        EXPECT_EQ(logOf(seen.getproductregsumQlogger()), logOf(wanted.getproductregsumQlogger()))
            << what << ", sums of products";
    }
}

struct Row {
    const char* name;
    std::function<fi*(const fi& a, const fi& b)> operate;
    enum class Shape { columns, matrices, vectors } shape;
};

std::pair<Sizes, Sizes> sizesFor(Row::Shape shape, Random& random) {
    const auto size = [&] {
        return static_cast<std::uint64_t>(random.oneIn(4) ? random.between(60, 140) : random.between(1, 9));
    };
    const std::uint64_t count = size();
    switch (shape) {
        case Row::Shape::columns:
            return {{random.oneIn(5) ? 1 : count, 1}, {random.oneIn(5) ? 1 : count, 1}};
        case Row::Shape::matrices:
            return {{size(), count}, {count, static_cast<std::uint64_t>(random.between(2, 7))}};
        default:
            return {{count, 1}, {size(), 1}};
    }
}

TEST(WordsAgainstFloats, OperationsAgree) {
    const Row rows[] = {
        {"plus", [](const fi& a, const fi& b) { return &a.plus(b); }, Row::Shape::columns},
        {"minus", [](const fi& a, const fi& b) { return &a.minus(b); }, Row::Shape::columns},
        {"times", [](const fi& a, const fi& b) { return &a.times(b); }, Row::Shape::columns},
        {"mtimes", [](const fi& a, const fi& b) { return &a.mtimes(b); }, Row::Shape::matrices},
        {"convF", [](const fi& a, const fi& b) { return &a.convF(b); }, Row::Shape::vectors},
        {"convS", [](const fi& a, const fi& b) { return &a.convS(b); }, Row::Shape::vectors},
        {"sum", [](const fi& a, const fi&) { return &a.leadingdimension_sum(); }, Row::Shape::matrices},
        {"over", [](const fi& a, const fi& b) { return &a.over(b, b.getNumericType()); }, Row::Shape::columns},
        {"copydata",
         [](const fi& a, const fi& b) {
             auto target = std::make_unique<fi>(a.dims(), a.ndims(), b.getNumericType(), b.getFimath(), false, "", true,
                                                Operation::Assignment, 0U);
             target->copydata(a);
             return target.release();
         },
         Row::Shape::columns},
        {"change of rules",
         [](const fi& a, const fi& b) {
             auto target = std::make_unique<fi>(a);
             target->setFractionLength(b.getFractionLength());
             target->quantizeAll(true);
             return target.release();
         },
         Row::Shape::columns},
    };
    const HostCapture host;
    for (const Row& row : rows) {
        Random random(9106);
        int done = 0;
        for (int round = 0; round < 400; ++round) {
            const fimath rules = randomRules(random);
            const GlobalRules global(rules);
            const auto [leftSizes, rightSizes] = sizesFor(row.shape, random);
            const FiOwner a = randomArray(random, rules, leftSizes);
            const FiOwner b = randomArray(random, rules, rightSizes);
            // Conversions of doubles round by the rules of doubles.
            const bool isConversion = &row - rows >= 8;
            if (isConversion && a->getWordLength() < 53) {
                continue;
            }
            const FiOwner floatsA = asFloats(*a);
            const FiOwner floatsB = asFloats(*b);
            a->setIndex(0);
            b->setIndex(0);
            const bool logs = random.oneIn(2);
            std::ostringstream what;
            what << row.name << " round " << round << ": " << a->getNumericType().tostring("") << " and "
                 << b->getNumericType().tostring("") << ", " << a->numel() << " and " << b->numel()
                 << (a->iscomplex() ? ", left complex" : "") << (b->iscomplex() ? ", right complex" : "")
                 << (logs ? ", logging " : " ") << rules.toString();
            fi::setLogging(logs);
            FiOwner seen;
            FiOwner wanted;
            // Logs are made in the default precision of the moment.
            const unsigned precision = random.oneIn(2) ? 52 : static_cast<unsigned>(random.between(40, 100));
            const auto run = [&](FiOwner& result, const fi& left, const fi& right) {
                number::setDefaultPrecision(precision, false);
                return raisedBy([&] { result.reset(row.operate(left, right)); });
            };
            const Raised ofWords = run(seen, *a, *b);
            const Raised ofFloats = run(wanted, *floatsA, *floatsB);
            number::setDefaultPrecision(52, false);
            fi::setLogging(false);
            ASSERT_EQ(ofWords.id, ofFloats.id) << what.str();
            if (!seen) {
                continue;
            }
            ++done;
            expectSame(*seen, *wanted, what.str());
            expectSameRegisters(*a, *floatsA, what.str());
            ASSERT_EQ(a->getIndex(), floatsA->getIndex()) << what.str();
            if (HasFailure()) {
                return;
            }
        }
        EXPECT_GT(done, 200) << row.name;
    }
}

// The least quotient's absolute value is a word of no type as long.
TEST(WordsAgainstFloats, LeastWordsByMinusOne) {
    for (const int bits : {53, 62, 63, 64, 65, 127, 128, 129, 300}) {
        for (const int fraction : {-1, 0, 1, 2}) {
            const fimath rules = rulesOf(kRoundings[0], true);
            const NumericType type = fixedType(true, bits, 0);
            const Sizes sizes{3, 1};
            const auto arrayOf = [&](int lowest) {
                auto array = std::make_unique<fi>(sizes.data(), sizes.size(), type, rules, false, "", true,
                                                  Operation::Assignment, 0U);
                for (std::uint64_t i = 0; i < sizes[0]; ++i) {
                    array->real()[i].setvalue(-std::ldexp(1.0, lowest));
                }
                return array;
            };
            const FiOwner a = arrayOf(bits - 1);
            const FiOwner b = arrayOf(0);
            const NumericType quotient = fixedType(true, bits, fraction);
            const FiOwner seen(&a->over(*b, quotient));
            const FiOwner wanted(&asFloats(*a)->over(*asFloats(*b), quotient));
            expectSame(*seen, *wanted, std::to_string(bits) + " " + std::to_string(fraction));
        }
    }
}

// Doubles are rounded in one step.
TEST(WordsAgainstFloats, ConstructionsAgree) {
    Random random(7200);
    for (int round = 0; round < 2000; ++round) {
        const NumericType type = randomType(random, false);
        const fimath rules = randomRules(random);
        std::vector<double> values(static_cast<std::size_t>(random.between(2, 140)));
        for (double& value : values) {
            const int size = random.between(-70, 70) - type.getFractionLength() / 2;
            value = random.oneIn(12) ? -0.0 : random.oneIn(20) ? random.anyDouble() : random.real(size - 5, size);
            value = std::isfinite(value) ? value : 0.0;
        }
        const Sizes sizes{values.size(), 1};
        fi::setLogging(random.oneIn(2));
        // Logs are made in the default precision of the moment, which constructions change.
        number::setDefaultPrecision(52, false);
        const fi seen(values.data(), sizes.data(), 2, type, rules, "", true, Operation::Assignment);
        number::setDefaultPrecision(52, false);
        fi wanted(sizes.data(), 2, type, rules, false, "", true, Operation::Assignment, 0U);
        for (std::size_t i = 0; i < values.size(); ++i) {
            number cell(0.0, wanted.real().getprecision(), false);
            cell.setvalue(values[i]);
            wanted.real()[i].setvalue(wanted.getAssignmentQuantizer().quantize(cell));
        }
        fi::setLogging(false);
        wanted.setIndex(seen.getIndex());
        expectSame(seen, wanted, "round " + std::to_string(round) + ": " + type.tostring("") + " " + rules.toString());
        if (HasFailure()) {
            return;
        }
    }
}

}  // namespace
