// Products of arrays against element steps: `times`, `mtimes`, convolutions and column sums of whole arrays, and the
// element operators fed one element after the other, must agree in every bit, count and extreme.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <sstream>

#include "tests/support/errors.h"
#include "tests/support/logs_of_fi.h"

namespace {

using Mode = fimath::ArithmeticModeEnum;
using FiOwner = std::unique_ptr<fi>;

constexpr Mode kModes[] = {Mode::FullPrecision, Mode::KeepLSB, Mode::KeepMSB, Mode::SpecifyPrecision};

/// Wide words are left out for scaled doubles: cells of other precisions, which only the library reaches, round these.
fimath randomRules(Random& random, bool allowsWideWords) {
    const auto wordBits = [&] {
        return allowsWideWords && random.oneIn(12) ? random.between(53, 70) : random.between(1, 52);
    };
    fimath rules = rulesOf(random.pick(kRoundings), random.oneIn(2));
    rules.setProductMode(random.pick(kModes));
    rules.setProductWordLength(wordBits());
    rules.setProductFractionLength(random.between(-8, 40));
    rules.setSumMode(random.pick(kModes));
    rules.setSumWordLength(wordBits());
    rules.setSumFractionLength(random.between(-8, 40));
    rules.setCastBeforeSum(!random.oneIn(3));
    return rules;
}

struct Types {
    NumericType left;
    NumericType right;
    bool areFixed() const { return left.isFixed() && right.isFixed(); }
};

Types randomTypes(Random& random) {
    const bool isWide = random.oneIn(12);
    const int maxBits = isWide ? 60 : 26;
    Types types{randomFixedType(random, maxBits, false), randomFixedType(random, maxBits, false)};
    switch (isWide ? -1 : random.between(0, 15)) {
        case 0:
            types.left = types.right = plainType(random.oneIn(4) ? TypeMode::Double : TypeMode::Single);
            break;
        case 1:
            types.left = scaledDouble(types.left);
            break;
        case 2:
            types.right = scaledDouble(types.right);
            break;
        default:
            break;
    }
    return types;
}

/// The element steps of an operation, with copies of its operands so that no register or log is shared with it.
struct Steps {
    Steps(const fi& a, const fi& b, const fi& made)
        : left(a),
          right(b),
          rules(left.getFimath(right)),
          isSwapped(a.isreal() && b.iscomplex()),
          result(made.dims(), made.ndims(), made.getNumericType(), rules, made.iscomplex(), "", made.getFimathIsLocal(),
                 made.getQlogger().getOperationType(), precisionOf(made)) {}

    static unsigned bits(const fi& x) { return static_cast<unsigned>(std::max(x.getWordLength(), 0)); }
    unsigned precisionOf(const fi& made) const {
        return made.getQlogger().getOperationType() == Operation::Assignment ? bits(left) + bits(right) : 0;
    }
    /// The operand whose registers do the work.
    const fi& worker() const { return isSwapped ? right : left; }
    void makeRegisters(const NumericType& product, const fimath& registerRules) {
        worker().initializeProductRegister(result.getNumericType(), product, registerRules, bits(left) + bits(right));
    }
    const fi& product() const { return isSwapped ? right * left : left * right; }

    fi left;
    fi right;
    fimath rules;
    bool isSwapped;
    fi result;
};

void expectSameValues(const fi& seen, const fi& wanted, const std::string& what) {
    ASSERT_EQ(sizesOf(seen), sizesOf(wanted)) << what;
    ASSERT_EQ(seen.iscomplex(), wanted.iscomplex()) << what;
    for (std::uint64_t i = 0; i < seen.numel(); ++i) {
        ASSERT_TRUE(sameElement(seen.real(i), wanted.real(i)))
            << what << ", element " << i << ": " << text(seen.realdouble(i)) << ", not " << text(wanted.realdouble(i));
        ASSERT_TRUE(sameElement(seen.imag(i), wanted.imag(i)))
            << what << ", imaginary element " << i << ": " << text(seen.imagdouble(i)) << ", not "
            << text(wanted.imagdouble(i));
    }
}

void expectSameLogs(const fi& seen, const fi& left, const Steps& steps, const std::string& what) {
    EXPECT_EQ(logOf(seen.getQlogger()), logOf(steps.result.getQlogger())) << what;
    EXPECT_EQ(logOf(left.getproductQlogger()), logOf(steps.worker().getproductQlogger())) << what << ", products";
    EXPECT_EQ(logOf(left.getproductregsumQlogger()), logOf(steps.worker().getproductregsumQlogger()))
        << what << ", sums of products";
}

std::string describe(const Random& random, int round, const fi& a, const fi& b, const fi& result, const fimath& rules) {
    std::ostringstream what;
    const auto sizes = [](const fi& x) { return ::testing::PrintToString(sizesOf(x)); };
    what << "seed " << random.seed() << " round " << round << ": " << a.getNumericType().tostring("") << " and "
         << b.getNumericType().tostring("") << " into " << result.getNumericType().tostring("") << ", sizes "
         << sizes(a) << " and " << sizes(b) << (a.iscomplex() ? ", left complex" : "")
         << (b.iscomplex() ? ", right complex" : "") << (fi::getLogging() ? ", logging" : "") << ", rules "
         << rules.toString();
    return what.str();
}

using Operate = std::function<fi&(const fi& a, const fi& b)>;
using Step = std::function<void(Steps& steps, const NumericType& product)>;

/// Runs an operation on random arrays and compares it with its steps. `sizes` makes sizes that fit together.
void expectSteps(unsigned seed, int rounds, const std::function<std::pair<Sizes, Sizes>(Random&)>& sizes,
                 const Operate& operate, const Step& step) {
    Random random(seed);
    int arraysDone = 0;
    for (int round = 0; round < rounds; ++round) {
        const Types types = randomTypes(random);
        const fimath rules = randomRules(random, types.areFixed());
        const GlobalRules global(random.oneIn(6) ? rulesOf(random.pick(kRoundings), random.oneIn(2)) : rules);
        const auto [leftSizes, rightSizes] = sizes(random);
        const FiOwner a = anyArray(random, types.left, rules, random.oneIn(2), leftSizes, true);
        const FiOwner b = anyArray(random, types.right, rules, random.oneIn(2), rightSizes, true);
        fi::setLogging(random.oneIn(3));
        FiOwner result;
        const Raised raised = raisedBy([&] { result.reset(&operate(*a, *b)); });
        if (!result) {
            fi::setLogging(false);
            ASSERT_TRUE(raised.id == "fixedpoint:fi:MaxSumWordLengthExceeded" ||
                        raised.id == "fixedpoint:fi:MaxProductWordLengthExceeded")
                << raised;
            continue;
        }
        ++arraysDone;
        const std::string what = describe(random, round, *a, *b, *result, rules);
        Steps steps(*a, *b, *result);
        step(steps, steps.left.getProductTypeForMpyOp(steps.right));
        const std::uint64_t cursor = result->getIndex();
        EXPECT_EQ(cursor, steps.result.getIndex()) << what;
        EXPECT_EQ(a->getIndex(), steps.left.getIndex()) << what;
        expectSameValues(*result, steps.result, what);
        if (fi::getLogging()) {
            expectSameLogs(*result, *a, steps, what);
        }
        fi::setLogging(false);
        if (testing::Test::HasFailure()) {
            return;
        }
    }
    EXPECT_GT(arraysDone, rounds * 2 / 3);
}

TEST(ArrayProducts, OfElementsAgreeWithTheElementSteps) {
    const auto sizes = [](Random& random) {
        constexpr std::uint64_t kCounts[] = {0, 1, 2, 3, 7, 16, 100, 1023, 1024, 1025, 2100};
        const std::uint64_t count = random.oneIn(4) ? random.pick(kCounts) : random.pick(std::span(kCounts).first(7));
        const int shape = random.between(0, 3);
        return std::pair(Sizes{shape == 0 ? 1 : count, 1}, Sizes{shape == 1 ? 1 : count, 1});
    };
    expectSteps(
        5301, 2500, sizes, [](const fi& a, const fi& b) -> fi& { return a.times(b); },
        [](Steps& steps, const NumericType& product) {
            steps.makeRegisters(product, steps.rules);
            for (std::uint64_t i = 0; i < steps.result.numel(); ++i) {
                steps.left.setIndex(steps.left.numel() == 1 ? 0 : i);
                steps.right.setIndex(steps.right.numel() == 1 ? 0 : i);
                steps.result.setIndex(i);
                steps.result = steps.product();
            }
        });
}

TEST(ArrayProducts, OfMatricesAgreeWithTheElementSteps) {
    const auto sizes = [](Random& random) {
        const auto size = [&] {
            return static_cast<std::uint64_t>(random.oneIn(6) ? random.between(15, 70) : random.between(0, 9));
        };
        const std::uint64_t inner = size();
        Sizes left{size(), inner};
        Sizes right{inner, size()};
        // One element is the case of `times`.
        left[0] += left[0] * left[1] == 1 ? 1U : 0U;
        right[1] += right[0] * right[1] == 1 ? 1U : 0U;
        return std::pair(left, right);
    };
    expectSteps(
        5302, 1500, sizes, [](const fi& a, const fi& b) -> fi& { return a.mtimes(b); },
        [](Steps& steps, const NumericType& product) {
            steps.makeRegisters(product, steps.rules);
            steps.result.initializeSumRegister(steps.result.getNumericType(), steps.rules, 0);
            const std::uint64_t rows = steps.left.getM();
            const std::uint64_t inner = steps.left.getN();
            for (std::uint64_t column = 0; column < steps.right.getN(); ++column) {
                for (std::uint64_t k = 0; k < inner; ++k) {
                    steps.right.setIndex(column * inner + k);
                    for (std::uint64_t row = 0; row < rows; ++row) {
                        steps.left.setIndex(k * rows + row);
                        steps.result.setIndex(column * rows + row);
                        if (steps.isSwapped) {
                            steps.result += steps.product();
                        } else {
                            steps.result = steps.result + steps.product();
                        }
                    }
                }
            }
            if (fi::getLogging()) {
                const qlogger& sum = steps.isSwapped ? steps.result.getQlogger() : steps.result.getsumQlogger();
                steps.result.getQlogger().copyMinMax(sum);
                steps.worker().getproductregsumQlogger().addtoOverflows(sum.getNoverflows());
            }
        });
}

TEST(ArrayProducts, OfConvolutionsAgreeWithTheElementSteps) {
    const auto sizes = [](Random& random) {
        const auto size = [&] {
            return static_cast<std::uint64_t>(random.oneIn(4) ? random.between(30, 150) : random.between(1, 9));
        };
        Sizes left{size(), 1};
        Sizes right{size(), 1};
        return std::pair(left, right);
    };
    struct Form {
        fi& (fi::*operation)(const fi&) const;
        std::function<std::uint64_t(std::uint64_t rightCount)> offset;
    };
    const Form forms[] = {{&fi::convF, [](std::uint64_t) { return std::uint64_t{0}; }},
                          {&fi::convS, [](std::uint64_t count) { return count / 2; }},
                          {&fi::convV, [](std::uint64_t count) { return count - 1; }}};
    unsigned seed = 5303;
    for (const Form& form : forms) {
        expectSteps(
            seed++, 500, sizes, [&](const fi& a, const fi& b) -> fi& { return (a.*form.operation)(b); },
            [&](Steps& steps, const NumericType& product) {
                const fimath& rules = steps.left.getFimathIsLocal() ? steps.left.getFimath() : steps.right.getFimath();
                const std::uint64_t leftCount = steps.left.numel();
                const std::uint64_t rightCount = steps.right.numel();
                steps.makeRegisters(product, rules);
                steps.result.initializeSumRegister(steps.result.getNumericType(), rules, 0);
                // The sum register of the result, which only the library reaches.
                fi sum(0.0, steps.result.getNumericType(), rules, Steps::bits(steps.result), "",
                       steps.result.getFimathIsLocal(), Operation::Sum);
                sum.coordinateComplexity(steps.result.iscomplex(), Steps::bits(steps.result));
                sum.resetLogging();
                for (std::uint64_t n = 0; n < steps.result.numel(); ++n) {
                    const std::uint64_t k = n + form.offset(rightCount) + 1;
                    sum.setvalue(0.0);
                    for (std::uint64_t j = rightCount < k + 1 ? k + 1 - rightCount : 1; j <= std::min(k, leftCount);
                         ++j) {
                        steps.right.setIndex(k - j);
                        steps.left.setIndex(j - 1);
                        sum += steps.product();
                    }
                    steps.result.setIndex(n);
                    steps.result = sum;
                    if (fi::getLogging() && !steps.isSwapped) {
                        steps.worker().getproductregsumQlogger().addtoOverflows(sum.getNoverflows());
                    }
                }
                if (fi::getLogging() && steps.isSwapped) {
                    steps.worker().getproductregsumQlogger().addtoOverflows(steps.result.getNoverflows());
                }
            });
        if (HasFailure()) {
            return;
        }
    }
}

TEST(ArrayProducts, OfColumnSumsAgreeWithTheElementSteps) {
    Random random(5306);
    for (int round = 0; round < 1500; ++round) {
        const NumericType type = randomTypes(random).left;
        const fimath rules = randomRules(random, type.isFixed());
        const GlobalRules global(rules);
        const auto size = [&] {
            return static_cast<std::uint64_t>(random.oneIn(6) ? random.between(30, 300) : random.between(1, 9));
        };
        const FiOwner a = anyArray(random, type, rules, random.oneIn(2), {size(), size()}, true);
        fi::setLogging(random.oneIn(3));
        FiOwner result;
        raisedBy([&] { result.reset(&a->leadingdimension_sum()); });
        if (result) {
            const std::string what = describe(random, round, *a, *a, *result, rules);
            fi wanted(result->dims(), 2, result->getNumericType(), a->getFimath(), a->iscomplex(), "",
                      a->getFimathIsLocal(), Operation::Assignment, 0U);
            for (std::uint64_t i = 0; i < a->numel(); ++i) {
                a->setIndex(i);
                wanted.setIndex(i / a->getM());
                wanted += *a;
            }
            EXPECT_EQ(result->getIndex(), wanted.getIndex()) << what;
            EXPECT_EQ(logOf(result->getQlogger()), logOf(wanted.getQlogger())) << what;
            expectSameValues(*result, wanted, what);
        }
        fi::setLogging(false);
        if (HasFailure()) {
            return;
        }
    }
}

// A zero becomes an extreme with the sign of the first zero of all steps, in the order of the steps.
TEST(ArrayProducts, KeepTheSignOfAZeroExtreme) {
    const LoggingOn logging;
    fimath rules = rulesOf(Rounding::ceil, false);
    rules.setProductMode(Mode::SpecifyPrecision);
    rules.setProductWordLength(8);
    rules.setProductFractionLength(0);
    const NumericType type = fixedType(true, 16, 4);
    const auto extreme = [&](const std::vector<double>& re, const std::vector<double>& im) {
        const fi left = column(re, im, type, rules);
        const FiOwner result(&left.times(scalar(0.25, type, rules)));
        return result->getQlogger().getMax().todouble();
    };
    // -0.25 rounds up to a negative zero, in the real part before it is met in the imaginary one, and after.
    EXPECT_TRUE(sameBits(extreme({-1.0, -8.0}, {-8.0, 0.0}), -0.0));
    EXPECT_TRUE(sameBits(extreme({-8.0, -1.0}, {0.0, -8.0}), 0.0));
}

}  // namespace
