// Assignments of whole arrays against `operator=` on one element after the other: both must agree in every bit, count
// and extreme, and leave the same elements current.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <numeric>
#include <optional>
#include <sstream>
#include <utility>
#include <vector>

#include "fi/FiColumnReference.h"
#include "tests/support/arrays.h"
#include "tests/support/errors.h"
#include "tests/support/logs_of_fi.h"

namespace {

using FiOwner = std::unique_ptr<fi>;
using Plan = std::vector<double>;

constexpr int kZeroRates[] = {2, 40, 1000};
constexpr int kBlockCounts[] = {511, 512, 513, 1030, 1600};
constexpr int kRunLengths[] = {1, 3, 200, 5000};

NumericType randomType(Random& random) {
    const NumericType type = randomFixedType(random, random.oneIn(10) ? 60 : 26, false);
    switch (random.between(0, 9)) {
        case 0:
            return plainType(random.oneIn(6) ? TypeMode::Double : TypeMode::Single);
        case 1:
        case 2:
            return scaledDouble(type);
        default:
            return type;
    }
}

/// Zeros of both signs become extremes in arrays of one sign, far from the start if they are few.
void makeOneSided(Random& random, fi& array) {
    const bool isNegative = random.oneIn(2);
    const int zeros = random.pick(kZeroRates);
    const auto change = [&](const number& entry) {
        const double magnitude = std::fabs(entry.todouble());
        const double value = random.oneIn(zeros) ? 0.0 : magnitude == 0.0 ? 1.0 : magnitude;
        const bool hasSign = value == 0.0 ? random.oneIn(2) : isNegative;
        const_cast<number&>(entry).setvalue(hasSign ? -value : value);
    };
    for (std::uint64_t i = 0; i < array.numel(); ++i) {
        change(array.real(i));
        if (array.iscomplex()) {
            change(array.imag(i));
        }
    }
    array.setIndex(0);
}

FiOwner randomArray(Random& random, const NumericType& type, const fimath& rules, const Sizes& sizes) {
    FiOwner made = anyArray(random, type, rules, random.oneIn(2), sizes, true);
    if (random.oneIn(2)) {
        makeOneSided(random, *made);
    }
    made->getQlogger().setAlwaysLog(random.oneIn(4));
    return made;
}

int randomCount(Random& random) {
    return random.oneIn(4) ? random.pick(kBlockCounts) : random.between(1, 40);
}

/// Values that name elements of either side in runs or singly, or none.
Plan randomPlan(Random& random, std::uint64_t count, std::uint64_t leftCount, std::uint64_t rightCount) {
    Plan plan(count);
    const int runLength = random.pick(kRunLengths);
    const auto anyOf = [&](std::uint64_t elements) { return random.between(1, static_cast<int>(elements)); };
    int side = 0;
    for (double& value : plan) {
        side = &value == plan.data() || random.oneIn(runLength) ? random.between(-2, 3) : side;
        const int left = leftCount > 0 ? anyOf(leftCount) : 0;
        value = side == 0 ? 0.0 : side < 0 && left > 0 ? left : -anyOf(rightCount);
        if (random.oneIn(4000)) {
            value *= 1.0 + 0x1p-40;
        }
    }
    return plan;
}

/// The two sides and the target after an assignment.
struct Outcome {
    FiOwner result;
    std::uint64_t currentOfLeft;
    std::uint64_t currentOfRight;
    Log session;
};

void expectSame(const Outcome& seen, const Outcome& wanted, bool comparesCurrent, const std::string& what) {
    const fi& a = *seen.result;
    const fi& b = *wanted.result;
    ASSERT_EQ(sizesOf(a), sizesOf(b)) << what;
    ASSERT_EQ(a.iscomplex(), b.iscomplex()) << what;
    EXPECT_EQ(logOf(a.getQlogger()), logOf(b.getQlogger())) << what;
    EXPECT_EQ(seen.session, wanted.session) << what;
    if (comparesCurrent) {
        EXPECT_EQ(a.getIndex(), b.getIndex()) << what;
        EXPECT_EQ(seen.currentOfLeft, wanted.currentOfLeft) << what;
        EXPECT_EQ(seen.currentOfRight, wanted.currentOfRight) << what;
    }
    for (std::uint64_t i = 0; i < a.numel(); ++i) {
        ASSERT_TRUE(sameElement(a.real(i), b.real(i)) && sameElement(a.imag(i), b.imag(i)))
            << what << ", element " << i << ": " << text(a.realdouble(i)) << " + i " << text(a.imagdouble(i))
            << ", not " << text(b.realdouble(i)) << " + i " << text(b.imagdouble(i));
    }
}

void putElements(const Plan& plan, const fi* left, const fi& right, fi& target) {
    for (std::size_t k = 0; k < plan.size(); ++k) {
        const fi* const source = plan[k] >= 1.0 ? left : plan[k] <= -1.0 ? &right : nullptr;
        if (source != nullptr) {
            const Log before = logOf(target.getQlogger());
            source->setIndex(static_cast<std::uint64_t>(std::fabs(plan[k])) - 1);
            target.setIndex(k);
            target = *source;
            if (plan[k] >= 1.0) {
                target.getQlogger().setNoverflows(before.overflows);
                target.getQlogger().setNunderflows(before.underflows);
            }
        }
    }
}

/// What an assignment does, and its element steps on copies of both sides.
struct Form {
    const char* name;
    std::function<FiOwner(const Plan&, fi& left, fi& right)> whole;
    std::function<FiOwner(const Plan&, fi& left, fi& right)> steps;
    bool grows = false;
};

void updateSession(const fi& array) {
    if (fi::getLogging()) {
        fi::updateAssignlog(array.getQlogger());
    }
}

constexpr std::uint64_t kStartOfView = 3;

const Form kForms[] = {
    {"overwrite",
     [](const Plan& plan, fi& left, fi& right) {
         left.subscriptedOverwriteAssignment(doubles(plan.size(), 1, plan).get(), right);
         return FiOwner();
     },
     [](const Plan& plan, fi& left, fi& right) {
         putElements(plan, nullptr, right, left);
         updateSession(left);
         return FiOwner();
     }},
    {"overwrite of a part through a view",
     [](const Plan& plan, fi& left, fi& right) {
         const std::uint64_t start = std::min(kStartOfView, left.numel());
         FiColumnReference view(left, start, left.numel() - start);
         view.subscriptedOverwriteAssignment(
             doubles(view.numel(), 1, {plan.begin(), plan.end() - static_cast<std::ptrdiff_t>(start)}).get(), right);
         return FiOwner();
     },
     [](const Plan& plan, fi& left, fi& right) {
         const std::uint64_t start = std::min(kStartOfView, left.numel());
         Plan shifted(start);
         shifted.insert(shifted.end(), plan.begin(), plan.end() - static_cast<std::ptrdiff_t>(start));
         putElements(shifted, nullptr, right, left);
         updateSession(left);
         return FiOwner();
     }},
    {"growth",
     [](const Plan& plan, fi& left, fi& right) {
         return FiOwner(left.subscriptedGrowAssignment(doubles(plan.size(), 1, plan).get(), right));
     },
     [](const Plan& plan, fi& left, fi& right) {
         updateSession(left);
         const std::uint64_t dims[] = {plan.size(), 1};
         auto result = std::make_unique<fi>(dims, 2, left.getNumericType(), left.getFimath(),
                                            left.iscomplex() || right.iscomplex(), left.getAssignmentQuantizer(),
                                            left.getFimathIsLocal());
         putElements(plan, &left, right, *result);
         updateSession(*result);
         return result;
     },
     true},
    {"copydata",
     [](const Plan&, fi& left, fi& right) {
         left.copydata(right);
         return FiOwner();
     },
     [](const Plan&, fi& left, fi& right) {
         left.resizeAndZero(right.dims(), right.ndims(), right.numel(), left.getNumericType(), left.getFimath(),
                            right.iscomplex());
         Plan all(right.numel());
         std::iota(all.rbegin(), all.rend(), -static_cast<double>(right.numel()));
         putElements(all, nullptr, right, left);
         return FiOwner();
     }},
};

TEST(ArrayStores, AgreeWithAssignmentsOfElements) {
    Random random(5611);
    for (int round = 0; round < 3000; ++round) {
        const Form& form = random.pick(kForms);
        const fimath rules = rulesOf(random.pick(kRoundings), random.oneIn(2));
        const GlobalRules global(rulesOf(random.pick(kRoundings), random.oneIn(2)));
        const NumericType type = randomType(random);
        const NumericType typeOfRight = random.oneIn(3) ? type : randomType(random);
        const auto count = static_cast<std::uint64_t>(randomCount(random));
        const auto countOfRight = random.oneIn(5) ? 1 : static_cast<std::uint64_t>(randomCount(random));
        const FiOwner left = randomArray(random, type, rules, {count, 1});
        const FiOwner right = randomArray(random, typeOfRight, rules, {countOfRight, 1});
        const bool sharesSides = form.grows && random.oneIn(8);
        const FiOwner leftOfSteps = std::make_unique<fi>(*left);
        const FiOwner rightOfSteps = std::make_unique<fi>(*right);
        for (const bool isLogging : {random.oneIn(2), random.oneIn(2)}) {
            const Plan plan =
                randomPlan(random, form.grows ? count + static_cast<std::uint64_t>(random.between(1, 600)) : count,
                           form.grows ? count : 0, sharesSides ? count : countOfRight);
            std::ostringstream what;
            what << "seed " << random.seed() << " round " << round << ": " << form.name << ", "
                 << typeOfRight.tostring("") << (right->iscomplex() ? " complex" : "") << " of " << countOfRight
                 << " into " << type.tostring("") << (left->iscomplex() ? " complex" : "") << " of " << count
                 << (isLogging ? ", logging" : "") << (sharesSides ? ", into itself" : "") << ", rules "
                 << rules.toString();
            const bool isEqualType = sharesSides || type.isequivalent(typeOfRight);
            fi::setLogging(isLogging);
            const auto outcome = [&](const auto& assign, fi& a, fi& b) {
                fi::getAssignlog().reset();
                a.setIndex(0);
                b.setIndex(0);
                FiOwner made = assign(plan, a, sharesSides ? a : b);
                const std::uint64_t currentOfLeft = a.getIndex();
                if (made == nullptr) {
                    made = std::make_unique<fi>(a);
                    made->setIndex(currentOfLeft);
                }
                return Outcome{std::move(made), currentOfLeft, b.getIndex(), logOf(fi::getAssignlog())};
            };
            const Outcome seen = outcome(form.whole, *left, *right);
            const Outcome wanted = outcome(form.steps, *leftOfSteps, *rightOfSteps);
            fi::setLogging(false);
            // Moves of equal types that nothing counts leave the current elements.
            const bool isMove = std::string(form.name) != "copydata" && isEqualType && !isLogging;
            expectSame(seen, wanted, !isMove && std::string(form.name).find("view") == std::string::npos, what.str());
            if (HasFailure()) {
                return;
            }
        }
    }
    fi::getAssignlog().reset();
}

TEST(ArrayStores, AgreeWithAssignmentsOfTheRowOfAHankelOrToeplitzMatrix) {
    Random random(5612);
    const HostCapture conflicts;
    for (int round = 0; round < 400; ++round) {
        const bool isHankel = random.oneIn(2);
        const GlobalRules global(rulesOf(random.pick(kRoundings), random.oneIn(2)));
        const fimath rules = rulesOf(random.pick(kRoundings), random.oneIn(2));
        const NumericType type = randomType(random);
        const auto rows = static_cast<std::uint64_t>(random.between(1, 40));
        const auto columns = static_cast<std::uint64_t>(random.between(1, 40));
        const FiOwner left = randomArray(random, type, rules, {rows, 1});
        const FiOwner row = randomArray(random, random.oneIn(3) ? type : randomType(random), rules, {1, columns});
        fi::setLogging(random.oneIn(4) ? false : true);
        const Outcome seen{
            FiOwner(isHankel ? left->hankel(*row) : left->toeplitz(*row)), left->getIndex(), row->getIndex(), {}};
        Outcome wanted{std::make_unique<fi>(rows, columns, left->getNumericType(), left->getFimath(),
                                            left->iscomplex() || row->iscomplex(), "", left->getFimathIsLocal(),
                                            Operation::Assignment, 0U),
                       0,
                       0,
                       {}};
        for (std::uint64_t c = 0; c < columns; ++c) {
            for (std::uint64_t r = 0; r < rows; ++r) {
                const bool isOfLeft = isHankel ? r + c < rows : r >= c;
                wanted.result->setIndex(c * rows + r);
                if (isOfLeft) {
                    left->setIndex(isHankel ? r + c : r - c);
                    wanted.result->setvalue(*left);
                } else {
                    row->setIndex(isHankel ? r + c - rows + 1 : c - r);
                    *wanted.result = *row;
                }
            }
        }
        const std::string what = "seed 5612 round " + std::to_string(round) +
                                 (isHankel ? ": hankel, " : ": toeplitz, ") + row->getNumericType().tostring("") +
                                 " into " + type.tostring("");
        fi::setLogging(false);
        expectSame(seen, wanted, false, what);
        if (HasFailure()) {
            return;
        }
    }
}

}  // namespace
