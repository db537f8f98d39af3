// Where array code may add in any order because doubles hold every partial sum: data at the bounds of what doubles and
// words hold and just beyond, against plain loops over doubles and over wide integers that take the steps in order.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <memory>
#include <utility>

#include "tests/support/logs_of_fi.h"
#include "tests/support/product_oracle.h"

namespace {

__extension__ using Wide = __int128;

/// A column-major matrix of whole numbers; `im` is empty for a real one.
struct Whole {
    std::size_t rows;
    std::size_t columns;
    std::vector<std::int64_t> re;
    std::vector<std::int64_t> im;
};

/// An array of these numbers times 2^exponent.
FiOwner arrayOf(const Whole& whole, const NumericType& type, const fimath& rules, unsigned precision = 0) {
    const Sizes sizes{whole.rows, whole.columns};
    auto made = std::make_unique<fi>(sizes.data(), 2, type, rules, !whole.im.empty(), "", true, Operation::Assignment,
                                     precision);
    const auto store = [&](const std::vector<std::int64_t>& from, const auto& entry) {
        for (std::size_t i = 0; i < from.size(); ++i) {
            const_cast<number&>(entry(i)).setvalue(std::ldexp(static_cast<double>(from[i]), type.getFixedExponent()));
        }
    };
    store(whole.re, [&](std::size_t i) -> const number& { return made->real(i); });
    store(whole.im, [&](std::size_t i) -> const number& { return made->imag(i); });
    made->setIndex(0);
    return made;
}

/// What the elements of a result are sums of: left elements beside right ones, in order.
using Terms = std::vector<std::pair<std::size_t, std::size_t>>;

Terms termsOfMatrices(const Whole& a, const Whole& b, std::size_t element) {
    Terms terms;
    for (std::size_t k = 0; k < a.columns; ++k) {
        terms.emplace_back(k * a.rows + element % a.rows, element / a.rows * b.rows + k);
    }
    return terms;
}
Terms termsOfConvolutions(const Whole& a, const Whole& b, std::size_t element) {
    Terms terms;
    for (std::size_t k = 0; k < a.re.size(); ++k) {
        if (k <= element && element - k < b.re.size()) {
            terms.emplace_back(k, element - k);
        }
    }
    return terms;
}

struct Form {
    const char* name;
    std::function<FiOwner(const fi& a, const fi& b)> operate;
    std::function<Terms(const Whole& a, const Whole& b, std::size_t element)> terms;
};
const Form kMatrices{"matrices", [](const fi& a, const fi& b) { return FiOwner(&a.mtimes(b)); }, termsOfMatrices};
const Form kConvolutions{"convolutions", [](const fi& a, const fi& b) { return FiOwner(&a.convF(b)); },
                         termsOfConvolutions};

/// The steps of an element in a number type, with the quantizer of each place.
template <class Number>
struct Steps {
    std::function<Number(Number)> product;
    std::function<Number(Number)> sum;
    bool casts;

    Number cast(Number x) const { return casts ? sum(x) : x; }
    std::pair<Number, Number> element(const Whole& a, const Whole& b, const Terms& terms, Number unit) const {
        std::pair<Number, Number> total{};
        const auto at = [unit](const std::vector<std::int64_t>& part, std::size_t i) {
            return static_cast<Number>(part[i]) * unit;
        };
        for (const auto& [i, k] : terms) {
            Number re = product(at(a.re, i) * at(b.re, k));
            Number im = 0;
            if (!a.im.empty() && !b.im.empty()) {
                const Number second = cast(product(at(a.im, i) * at(b.im, k)));
                re = sum(cast(re) - second);
                const Number first = cast(product(at(a.im, i) * at(b.re, k)));
                im = sum(first + cast(product(at(a.re, i) * at(b.im, k))));
            } else if (!a.im.empty()) {
                im = product(at(a.im, i) * at(b.re, k));
            } else if (!b.im.empty()) {
                im = product(at(a.re, i) * at(b.im, k));
            }
            total = {sum(total.first + cast(re)), sum(total.second + cast(im))};
        }
        return total;
    }
};

// Doubles.

/// Numbers in the upper eighth of a magnitude. The first has it all.
std::vector<std::int64_t> nearlyAll(Random& random, std::int64_t magnitude, std::size_t count) {
    std::vector<std::int64_t> values(count, magnitude);
    for (std::size_t i = 1; i < count; ++i) {
        values[i] -= static_cast<std::int64_t>(random.word() % static_cast<std::uint64_t>(magnitude / 8 + 1));
    }
    return values;
}

/// By how much, in sixteenths, the greatest possible sum exceeds 2^53. Up to 0 no order of additions rounds.
constexpr int kBeyond[] = {-8, 0, 1, 2, 4, 8, 15, 16, 17, 40};
/// Fixed exponents of the operands; the squares of the outer ones are outside the normal doubles, or nearly so.
constexpr int kExponents[] = {0, -4, 3, 399, 400, 401, 470, -400, -401, -530, -540};

/// Scaled doubles keep every value; words this short, and their products, lie in doubles.
NumericType keepingType(int exponent) {
    return scaledDouble(fixedType(true, 16, -exponent));
}

TEST(SumsOfDoubles, OfColumnsRoundInOrderFromTheBoundOn) {
    Random random(5701);
    for (const std::size_t rows : {2U, 16U, 64U, 100U, 128U, 333U}) {
        for (const int beyond : kBeyond) {
            for (const int exponent : kExponents) {
                const std::int64_t magnitude =
                    (std::int64_t{1} << 49) * (16 + beyond) / static_cast<std::int64_t>(rows);
                Whole whole{rows, 3, nearlyAll(random, magnitude, 3 * rows), {}};
                for (std::size_t i = rows; i < 3 * rows; ++i) {
                    whole.re[i] *= i < 2 * rows ? -1 : random.oneIn(2) ? -1 : 1;
                }
                const FiOwner result(&arrayOf(whole, keepingType(exponent), rulesOf())->leadingdimension_sum());
                for (std::size_t column = 0; column < 3; ++column) {
                    double wanted = 0.0;
                    Wide exact = 0;
                    for (std::size_t row = 0; row < rows; ++row) {
                        wanted += std::ldexp(static_cast<double>(whole.re[column * rows + row]), exponent);
                        exact += whole.re[column * rows + row];
                    }
                    ASSERT_TRUE(beyond > 0 || wanted == std::ldexp(static_cast<double>(exact), exponent));
                    ASSERT_EQ(result->realdouble(column), wanted)
                        << text(result->realdouble(column)) << ", not " << text(wanted) << ": " << rows << " rows, "
                        << beyond << " sixteenths beyond, exponent " << exponent;
                }
            }
        }
    }
}

/// Compares an operation on doubles with its steps; the greatest possible sum is `beyond` sixteenths beyond 2^53.
void expectSteps(Random& random, const Form& form, std::size_t rows, std::size_t inner, std::size_t columns, int beyond,
                 int exponent, bool isComplex) {
    // The magnitudes multiply to the part of 2^53 that falls to one of all products.
    const auto count = static_cast<double>(inner * (isComplex ? 2 : 1));
    const double each = std::ldexp(16.0 + beyond, 49) / count;
    const auto right = static_cast<std::int64_t>(std::sqrt(each));
    const auto left = static_cast<std::int64_t>(each / static_cast<double>(right));
    const auto operand = [&](std::int64_t magnitude, std::size_t m, std::size_t n) {
        Whole whole{m, n, nearlyAll(random, magnitude, m * n), {}};
        if (isComplex) {
            whole.im = nearlyAll(random, magnitude, m * n);
        }
        return whole;
    };
    const bool isConvolution = &form == &kConvolutions;
    const Whole a = isConvolution ? operand(left, rows, 1) : operand(left, rows, inner);
    const Whole b = isConvolution ? operand(right, inner, 1) : operand(right, inner, columns);
    const NumericType type = keepingType(exponent);
    const FiOwner result = form.operate(*arrayOf(a, type, rulesOf()), *arrayOf(b, type, rulesOf()));
    const auto keep = [](double x) { return x; };
    const Steps<double> steps{keep, keep, true};
    for (std::size_t i = 0; i < result->numel(); ++i) {
        const auto [re, im] = steps.element(a, b, form.terms(a, b, i), std::ldexp(1.0, exponent));
        ASSERT_TRUE(result->realdouble(i) == re && (!isComplex || result->imagdouble(i) == im))
            << form.name << " of " << rows << " by " << inner << " by " << columns << ", " << beyond
            << " sixteenths beyond, exponent " << exponent << (isComplex ? ", complex" : "") << ", element " << i
            << ": " << text(result->realdouble(i)) << ", not " << text(re);
    }
}

TEST(SumsOfDoubles, OfProductsRoundInOrderFromTheBoundOn) {
    Random random(5702);
    struct Row {
        const Form& form;
        std::size_t rows, inner, columns;
    };
    // The third is work for the matrix product of doubles, two have too few rows to fill the lanes.
    const Row rows[] = {{kMatrices, 5, 2, 3},       {kMatrices, 2, 24, 40},    {kMatrices, 20, 40, 20},
                        {kMatrices, 40, 3, 2},      {kConvolutions, 50, 7, 0}, {kConvolutions, 33, 40, 0},
                        {kConvolutions, 100, 64, 0}};
    for (const Row& row : rows) {
        for (const bool isComplex : {false, true}) {
            for (const int beyond : kBeyond) {
                for (const int exponent : kExponents) {
                    expectSteps(random, row.form, row.rows, row.inner, row.columns, beyond, exponent, isComplex);
                    if (HasFailure()) {
                        return;
                    }
                }
            }
        }
    }
}

// Words.

/// The word of an integer, saturated or modulo 2^bits.
struct Word {
    int bits;
    bool isSigned;
    bool wraps;
    std::uint64_t* overflows = nullptr;

    Wide least() const { return isSigned ? -(Wide{1} << (bits - 1)) : 0; }
    Wide greatest() const { return least() + (Wide{1} << bits) - 1; }
    Wide operator()(Wide x) const {
        if (overflows) {
            *overflows += x < least() || x > greatest() ? 1U : 0U;
        }
        if (!wraps) {
            return std::clamp(x, least(), greatest());
        }
        const Wide modulus = Wide{1} << bits;
        const Wide rest = (x - least()) % modulus;
        return least() + (rest < 0 ? rest + modulus : rest);
    }
};

/// A divisor of the number up to `greatest`.
std::int64_t divisor(Random& random, std::int64_t number, std::int64_t greatest) {
    std::vector<std::int64_t> found{1};
    for (std::int64_t candidate = 2; candidate <= std::min(number, greatest); ++candidate) {
        if (number % candidate == 0) {
            found.push_back(candidate);
        }
    }
    return random.pick(found);
}

// Sums and products that reach an end of their words exactly, or miss it by one; the proof that nothing overflows must
// tell these apart.
TEST(SumsOfWords, OverflowInOrderFromTheirEndsOn) {
    Random random(5703);
    for (int round = 0; round < 1500; ++round) {
        const Form* const form = random.oneIn(3) ? nullptr : random.oneIn(2) ? &kMatrices : &kConvolutions;
        const bool isSigned = !random.oneIn(3);
        const bool isNegative = isSigned && random.oneIn(2);
        const bool isComplex = form && random.oneIn(4);
        const int bits = random.oneIn(3) ? random.between(49, 52) : random.between(4, 20);
        const Word end{bits, isSigned, random.oneIn(2)};
        // What all products together, or one of them, come to at most.
        const auto whole =
            static_cast<std::int64_t>(isNegative ? -end.least() : end.greatest()) + random.between(-1, 1);
        const bool isOfSum = random.oneIn(2);
        const std::int64_t count = isOfSum ? divisor(random, whole, 40) : random.between(1, 40);
        const std::int64_t each = isOfSum ? whole / count : whole;
        const std::int64_t right = form ? divisor(random, each, 4000) : 1;
        const std::int64_t left = each / right;
        const auto terms =
            static_cast<std::size_t>(isComplex && isOfSum ? std::max<std::int64_t>(1, count / 2) : count);

        const auto operand = [&](std::int64_t value, std::size_t m, std::size_t n) {
            Whole made{m, n, {}, {}};
            const auto fill = [&](std::vector<std::int64_t>& part) {
                for (std::size_t i = 0; i < m * n; ++i) {
                    part.push_back(i > 0 && random.oneIn(30) ? 0 : value);
                }
            };
            fill(made.re);
            if (isComplex) {
                fill(made.im);
                for (std::int64_t& x : made.im) {
                    x *= isSigned && random.oneIn(2) ? -1 : 1;
                }
            }
            return made;
        };
        const auto one = [](std::int64_t n) { return static_cast<std::size_t>(n); };
        const Whole a = form == &kMatrices ? operand(isNegative ? -left : left, one(random.between(2, 40)), terms)
                                           : operand(isNegative ? -left : left, form ? terms + 30 : terms, 1);
        const Whole b = form == &kMatrices ? operand(right, terms, one(random.between(1, 40)))
                                           : operand(right, form ? terms : 1, 1);
        if (form && terms == 1) {
            continue;  // this is a product, not a sum
        }
        // The ends meet in one place alone, so the other has bits to spare.
        std::uint64_t productOverflows = 0;
        std::uint64_t sumOverflows = 0;
        const Word product{isOfSum ? 52 : bits, isSigned, end.wraps, &productOverflows};
        const Word sum{isOfSum ? bits : 52, isSigned, end.wraps, &sumOverflows};
        fimath rules = mathRules(kSpecify, kSpecify, product.bits, 0, sum.bits, 0);
        rules.setOverflowMode(end.wraps ? embedded::OverflowModeEnum::Wrap : embedded::OverflowModeEnum::Saturate);
        // These leave whole numbers alone; the other two add one half, which moves odd ones from 2^52 on.
        constexpr Rounding kWholeRoundings[] = {Rounding::ceil, Rounding::fix, Rounding::floor, Rounding::round};
        rules.setRoundMode(static_cast<embedded::RoundModeEnum>(random.pick(kWholeRoundings)));
        rules.setCastBeforeSum(random.oneIn(2));
        const GlobalRules global(rules);  // by which convolutions sum
        const NumericType type = fixedType(isSigned, 52, 0);
        const FiOwner x = arrayOf(a, type, rules);
        const bool isLogging = random.oneIn(2);
        fi::setLogging(isLogging);
        const FiOwner result = form ? form->operate(*x, *arrayOf(b, type, rules)) : FiOwner(&x->leadingdimension_sum());
        fi::setLogging(false);
        const Steps<Wide> steps{form ? std::function<Wide(Wide)>(product) : [](Wide v) { return v; }, sum,
                                rules.getCastBeforeSum()};
        for (std::size_t i = 0; i < result->numel(); ++i) {
            Terms of;
            for (std::size_t k = 0; !form && k < a.rows; ++k) {
                of.emplace_back(k, 0);
            }
            const auto [re, im] = steps.element(a, b, form ? form->terms(a, b, i) : of, Wide{1});
            ASSERT_TRUE(result->realdouble(i) == static_cast<double>(re) &&
                        (!isComplex || result->imagdouble(i) == static_cast<double>(im)))
                << "seed " << random.seed() << " round " << round << ", " << (form ? form->name : "column") << ' '
                << terms << " terms of " << left << " and " << right << (isNegative ? ", negative" : "")
                << (isComplex ? ", complex" : "") << ", into " << result->getNumericType().tostring("") << ", "
                << rules.toString() << ": " << result->realdouble(i) << ", not " << static_cast<double>(re);
        }
        if (isLogging) {
            // The log of the pairs is given those of the sums; of a convolution, the running counts.
            const std::uint64_t seen = !form                ? result->getNoverflows()
                                       : form == &kMatrices ? x->getproductregsumQlogger().getNoverflows()
                                                            : sumOverflows;
            EXPECT_EQ(form ? x->getproductQlogger().getNoverflows() : 0, productOverflows)
                << random.seed() << ' ' << round;
            EXPECT_EQ(seen, sumOverflows) << random.seed() << ' ' << round;
        }
    }
}

// One element of a result reaches an end of a place or the grid of its words, or passes it by one step, in each place
// alone. Operands are words of one fraction, products of words are words of twice that fraction. What proves that a
// step changes nothing must tell these apart. The same steps on multi-precision entries judge.
TEST(ProofsOfPlaces, HoldAtEachBoundAndNotOneStepBeyond) {
    enum class Place { product, pair, sum };
    constexpr std::size_t kCount = 24;
    constexpr std::size_t kAt = 17;
    const auto column = [](std::int64_t ones, std::initializer_list<std::int64_t> special) {
        Whole made{kCount, 1, std::vector<std::int64_t>(kCount, ones), {}};
        std::ranges::copy(special, made.re.begin() + kAt);
        return made;
    };
    const auto columns = [](std::size_t rows, std::size_t count, std::initializer_list<std::int64_t> special) {
        Whole made{rows, count, std::vector<std::int64_t>(rows * count, 1), {}};
        std::ranges::copy(special, made.re.begin() + static_cast<std::ptrdiff_t>(count == 1 ? 0 : kAt * rows));
        return made;
    };
    struct Work {
        const char* name;
        FiOwner (*operate)(const fi& a, const fi& b);
        Whole left;
        Whole right;
        int factors = 2;
    };
    const auto worksFor = [&](Place place, std::int64_t reach) {
        const std::int64_t first = reach / 2;
        const std::int64_t second = reach - first;
        std::vector<Work> works;
        const auto times = [](const fi& a, const fi& b) { return FiOwner(&a.times(b)); };
        const auto mtimes = [](const fi& a, const fi& b) { return FiOwner(&a.mtimes(b)); };
        const auto conv = [](const fi& a, const fi& b) { return FiOwner(&a.convF(b)); };
        if (place == Place::product) {
            works.push_back({"times", times, column(1, {reach}), column(1, {})});
            works.push_back({"mtimes", mtimes, columns(1, 3, {}), columns(3, kCount, {reach, 0, 0})});
            works.push_back({"conv", conv, column(1, {reach}), columns(1, 1, {})});
        } else if (place == Place::pair) {
            // One plus i times the element is their difference and their sum.
            Whole element = column(0, {first});
            element.im = column(0, {-second}).re;
            Whole ones = column(1, {});
            ones.im = ones.re;
            works.push_back({"complex times", times, element, ones});
            const Whole one{2, 1, {1, 0}, {1, 0}};
            works.push_back({"complex mtimes", mtimes, {kCount, 2, element.re, element.im}, one});
            Work& matrix = works.back();
            matrix.left.re.resize(2 * kCount);
            matrix.left.im.resize(2 * kCount);
            works.push_back({"complex conv", conv, element, {1, 1, {1}, {1}}});
        } else {
            works.push_back({"plus", [](const fi& a, const fi& b) { return FiOwner(&a.plus(b)); }, column(1, {first}),
                             column(1, {second}), 1});
            works.push_back({"mtimes", mtimes, columns(1, 3, {}), columns(3, kCount, {first, second, 0})});
            works.push_back({"conv", conv, column(0, {first, second}), columns(2, 1, {})});
            works.push_back({"columns", [](const fi& a, const fi&) { return FiOwner(&a.leadingdimension_sum()); },
                             columns(3, kCount, {first, second, 0}), columns(1, 1, {}), 1});
        }
        return works;
    };
    // The ends of eight bits, one beyond each, and what a coarser grid doesn't have.
    const std::int64_t reaches[] = {127, 128, -128, -129, 3};
    for (const Place place : {Place::product, Place::pair, Place::sum}) {
        const bool isProduct = place == Place::product;
        for (const std::int64_t reach : reaches) {
            for (const Work& work : worksFor(place, reach)) {
                for (int variant = 0; variant < 64; ++variant) {
                    const bool isFloor = (variant & 1) != 0;
                    const bool wraps = (variant & 2) != 0;
                    const int fraction = (variant & 16) != 0 ? 1 : 0;
                    const int grid = work.factors * fraction - ((variant & 32) != 0 ? 1 : 0);
                    fimath rules = mathRules(kSpecify, kSpecify, isProduct ? 8 : 30, isProduct ? grid : 4,
                                             isProduct ? 30 : 8, isProduct ? 4 : grid);
                    rules.setRoundMode(isFloor ? embedded::RoundModeEnum::Floor : embedded::RoundModeEnum::Convergent);
                    rules.setOverflowMode(wraps ? embedded::OverflowModeEnum::Wrap
                                                : embedded::OverflowModeEnum::Saturate);
                    rules.setCastBeforeSum((variant & 4) != 0);
                    const GlobalRules global(rules);
                    struct Seen {
                        std::vector<double> values;
                        std::vector<Counts> counts;
                    };
                    const auto seenWith = [&](unsigned precision) {
                        const NumericType type = fixedType(true, 20, fraction);
                        const FiOwner left = arrayOf(work.left, type, rules, precision);
                        const FiOwner right = arrayOf(work.right, type, rules, precision);
                        fi::setLogging((variant & 8) != 0);
                        const FiOwner result = work.operate(*left, *right);
                        fi::setLogging(false);
                        Seen seen{{}, {countsOf(*result)}};
                        for (std::size_t i = 0; i < result->numel(); ++i) {
                            seen.values.push_back(result->realdouble(i));
                            seen.values.push_back(result->iscomplex() ? result->imagdouble(i) : 0.0);
                        }
                        if (left->isProductRegisterInitialized()) {
                            seen.counts.push_back(countsOf(left->getproductQlogger()));
                            seen.counts.push_back(countsOf(left->getproductregsumQlogger()));
                        }
                        return seen;
                    };
                    const Seen judged = seenWith(80);
                    const Seen seen = seenWith(0);
                    ASSERT_TRUE(seen.values == judged.values && seen.counts == judged.counts)
                        << work.name << " reaches " << reach << ", variant " << variant;
                }
            }
        }
    }
}

}  // namespace
