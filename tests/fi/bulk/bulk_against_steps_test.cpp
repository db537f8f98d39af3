// Whole arrays against element steps: sums, products, quotients, convolutions and column sums of arrays, and the
// element operators fed one element after the other, must agree in every bit, count and extreme.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <memory>
#include <sstream>
#include <utility>

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
    void makeRegisters(const fimath& registerRules) {
        const NumericType product(left.getProductTypeForMpyOp(right));
        worker().initializeProductRegister(result.getNumericType(), product, registerRules, bits(left) + bits(right));
    }
    const fi& product() const { return isSwapped ? right * left : left * right; }

    fi left;
    fi right;
    fimath rules;
    bool isSwapped;
    fi result;
    const qlogger* log = nullptr;  // the one that the steps write, if not the result's
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
    EXPECT_EQ(logOf(seen.getQlogger()), logOf(steps.log ? *steps.log : steps.result.getQlogger())) << what;
    if (left.isProductRegisterInitialized()) {
        EXPECT_EQ(logOf(left.getproductQlogger()), logOf(steps.worker().getproductQlogger())) << what << ", products";
        EXPECT_EQ(logOf(left.getproductregsumQlogger()), logOf(steps.worker().getproductregsumQlogger()))
            << what << ", sums of products";
    }
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
using Step = std::function<void(Steps& steps)>;

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
        step(steps);
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

/// Columns of some elements, beside one another or beside a scalar; the code for arrays works in blocks of 1024.
std::pair<Sizes, Sizes> columnSizes(Random& random) {
    constexpr std::uint64_t kCounts[] = {0, 1, 2, 3, 7, 16, 100, 1023, 1024, 1025, 2100};
    const std::uint64_t count = random.oneIn(4) ? random.pick(kCounts) : random.pick(std::span(kCounts).first(7));
    const int shape = random.between(0, 3);
    return {Sizes{shape == 0 ? 1 : count, 1}, Sizes{shape == 1 ? 1 : count, 1}};
}

TEST(ArraySums, AgreeWithTheElementSteps) {
    for (const bool subtracts : {false, true}) {
        expectSteps(
            5201U + (subtracts ? 1U : 0U), 1250, columnSizes,
            [&](const fi& a, const fi& b) -> fi& { return subtracts ? a.minus(b) : a.plus(b); },
            [&](Steps& steps) {
                steps.left.setFimath(steps.rules);
                steps.left.initializeSumRegister(steps.result.getNumericType(), steps.rules, Steps::bits(steps.right));
                steps.log = &steps.left.getsumQlogger();
                for (std::uint64_t i = 0; i < steps.result.numel(); ++i) {
                    steps.left.setIndex(steps.left.numel() == 1 ? 0 : i);
                    steps.right.setIndex(steps.right.numel() == 1 ? 0 : i);
                    steps.result.setIndex(i);
                    steps.result.setvalue(subtracts ? steps.left - steps.right : steps.left + steps.right);
                }
            });
    }
}

// Values that are not the type's own are quantized, though the types say that nothing can change.
TEST(ArraySums, QuantizeWhatATypeChangeLeftBehind) {
    fi a = column(std::vector<double>(3000, 0.40625), fixedType(true, 16, 8));
    const fi b = column(std::vector<double>(3000, 0.25), fixedType(true, 16, 2));
    a.setFractionLength(2);
    const FiOwner result(&a.plus(b));
    EXPECT_EQ(result->getFractionLength(), 2);
    EXPECT_EQ(realParts(*result), std::vector<double>(3000, 0.75));
}

TEST(ArrayProducts, OfElementsAgreeWithTheElementSteps) {
    expectSteps(
        5301, 2500, columnSizes, [](const fi& a, const fi& b) -> fi& { return a.times(b); },
        [](Steps& steps) {
            steps.makeRegisters(steps.rules);
            for (std::uint64_t i = 0; i < steps.result.numel(); ++i) {
                steps.left.setIndex(steps.left.numel() == 1 ? 0 : i);
                steps.right.setIndex(steps.right.numel() == 1 ? 0 : i);
                steps.result.setIndex(i);
                steps.result = steps.product();
            }
        });
}

void expectMatrixSteps(unsigned seed, int rounds) {
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
        seed, rounds, sizes, [](const fi& a, const fi& b) -> fi& { return a.mtimes(b); },
        [](Steps& steps) {
            steps.makeRegisters(steps.rules);
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

TEST(ArrayProducts, OfMatricesAgreeWithTheElementSteps) {
    expectMatrixSteps(5302, 1500);
}

TEST(ArrayProducts, OfMatricesByBlasAgreeWithTheElementSteps) {
    // BLAS is opened once products without it have taken some milliseconds.
    const fi large = zeros({600, 600}, fixedType(true, 8, 0), fimath());
    const FiOwner square(&large.mtimes(large));
    expectMatrixSteps(5312, 500);
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
            [&](Steps& steps) {
                const fimath& rules = steps.left.getFimathIsLocal() ? steps.left.getFimath() : steps.right.getFimath();
                const std::uint64_t leftCount = steps.left.numel();
                const std::uint64_t rightCount = steps.right.numel();
                steps.makeRegisters(rules);
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

// Quotients.

TEST(ArrayQuotients, AgreeWithTheElementSteps) {
    Random random(5502);
    for (int round = 0; round < 1200; ++round) {
        const fimath rules = rulesOf(random.pick(kRoundings), random.oneIn(2));
        const GlobalRules global(rules);
        const auto randomType = [&] {
            const NumericType type = randomFixedType(random, 26, false);
            const int kind = random.between(0, 9);
            return kind == 0 ? plainType(TypeMode::Single) : kind == 1 ? scaledDouble(type) : type;
        };
        const auto [leftSizes, rightSizes] = columnSizes(random);
        const NumericType type = randomType();
        const FiOwner a = anyArray(random, randomType(), rules, random.oneIn(2), leftSizes);
        const FiOwner b = anyArray(random, randomType(), rules, random.oneIn(2), rightSizes);
        const FiOwner wide = withWideEntries(*a);
        fi::setLogging(random.oneIn(2));
        HostCapture host;
        const FiOwner fast(&a->over(*b, type));
        const auto ofFast = std::exchange(host.warnings, {});
        const std::uint64_t indexOfRight = b->getIndex();
        const FiOwner steps(&wide->over(*b, type));
        const std::string what = describe(random, round, *a, *b, *fast, rules);
        fi::setLogging(false);
        EXPECT_EQ(indexOfRight, b->getIndex()) << what;
        EXPECT_EQ(a->getIndex(), wide->getIndex()) << what;
        EXPECT_EQ(fast->getIndex(), steps->getIndex()) << what;
        EXPECT_EQ(ofFast, host.warnings) << what;
        ASSERT_EQ(logOf(fast->getQlogger()), logOf(steps->getQlogger())) << what;
        for (std::uint64_t i = 0; i < fast->numel(); ++i) {
            // Which bound NaN by zero gives depends on the sign of that NaN, which nobody sets in a wide work number.
            const std::uint64_t left = a->isscalar() ? 0 : i;
            const std::uint64_t right = b->isscalar() ? 0 : i;
            if (b->realdouble(right) == 0.0 && b->imagdouble(right) == 0.0 &&
                !(std::isfinite(a->realdouble(left)) && std::isfinite(a->imagdouble(left)))) {
                continue;
            }
            ASSERT_TRUE(sameElement(fast->real(i), steps->real(i)) && sameElement(fast->imag(i), steps->imag(i)))
                << what << ", element " << i << ": " << text(fast->realdouble(i)) << " + i "
                << text(fast->imagdouble(i)) << ", not " << text(steps->realdouble(i)) << " + i "
                << text(steps->imagdouble(i));
        }
    }
}

// A zero becomes an extreme with the sign of the first zero of all steps, in the order of the steps.
TEST(ArrayExtremes, KeepTheSignOfAZero) {
    const LoggingOn logging;
    fimath rules = rulesOf(Rounding::ceil, false);
    rules.setProductMode(Mode::SpecifyPrecision);
    rules.setProductWordLength(8);
    rules.setProductFractionLength(0);
    rules.setSumMode(Mode::SpecifyPrecision);
    rules.setSumWordLength(8);
    rules.setSumFractionLength(0);
    const NumericType type = fixedType(true, 16, 4);
    const auto maxOf = [](fi& result) { return FiOwner(&result)->getQlogger().getMax().todouble(); };
    // -0.25 rounds up to a negative zero, in the real part before it is met in the imaginary one, and after.
    const auto ofProduct = [&](const std::vector<double>& re, const std::vector<double>& im) {
        return maxOf(column(re, im, type, rules).times(scalar(0.25, type, rules)));
    };
    EXPECT_TRUE(sameBits(ofProduct({-1.0, -8.0}, {-8.0, 0.0}), -0.0));
    EXPECT_TRUE(sameBits(ofProduct({-8.0, -1.0}, {0.0, -8.0}), 0.0));
    // A quotient by zero isn't met, so its bound is no extreme.
    const auto ofQuotient = [&](const std::vector<double>& re, const std::vector<double>& im) {
        return maxOf(column(re, im, type, rules).over(column({4.0, 0.0, 4.0}, type, rules), fixedType(true, 8, 0)));
    };
    EXPECT_TRUE(sameBits(ofQuotient({-1.0, 1.0, -8.0}, {-8.0, 1.0, 0.0}), -0.0));
    EXPECT_TRUE(sameBits(ofQuotient({-8.0, 1.0, -1.0}, {0.0, 1.0, -8.0}), 0.0));
    // It casts up to one, too.
    const auto ofSum = [&](const std::vector<double>& left, const std::vector<double>& right) {
        return maxOf(column(left, type, rules).plus(column(right, type, rules)));
    };
    EXPECT_TRUE(sameBits(ofSum({-3.0, -3.0, 0.0}, {-2.0, -0.25, -4.0}), -0.0));
    EXPECT_TRUE(sameBits(ofSum({-3.0, 0.0, -1.0}, {-2.0, -5.0, -0.25}), 0.0));
}

// Vectors run across the columns of a matrix of few rows, while the steps take one column after the other.
TEST(ArrayExtremes, KeepTheSignOfAZeroInTheOrderOfColumns) {
    const LoggingOn logging;
    const NumericType type = fixedType(true, 16, 4);
    std::vector<double> entries(32);
    for (std::size_t column = 0; column < 16; ++column) {
        entries[2 * column] = column == 8 ? 0.0 : 2.0;
        entries[2 * column + 1] = column == 0 ? 0.0 : -1.0;
    }
    const fi row = arrayOf({1, 2}, {1.0, -1.0}, type);
    const FiOwner product(&row.mtimes(arrayOf({2, 16}, entries, type)));
    EXPECT_TRUE(sameBits(row.getproductQlogger().getMin().todouble(), -0.0));
}

}  // namespace
