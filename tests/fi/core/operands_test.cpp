// What all operations on two arrays, element by element, have in common: sizes, and whose rules and tag the result has.
#include <gtest/gtest.h>

#include "tests/support/arrays_of_fi.h"
#include "tests/support/random_arrays_of_fi.h"
#include "tests/support/rules.h"

namespace {

const NumericType kType = fixedType(true, 16, 4);

const struct {
    const char* name;
    fi& (*call)(const fi&, const fi&);
    double (*onValues)(double, double);
    bool hasTag;
} kOperations[] = {
    {"plus", [](const fi& a, const fi& b) -> fi& { return a.plus(b); }, [](double x, double y) { return x + y; }, true},
    {"minus", [](const fi& a, const fi& b) -> fi& { return a.minus(b); }, [](double x, double y) { return x - y; },
     true},
    {"times", [](const fi& a, const fi& b) -> fi& { return a.times(b); }, [](double x, double y) { return x * y; },
     true},
    {"over", [](const fi& a, const fi& b) -> fi& { return a.over(b, kType); }, [](double x, double y) { return x / y; },
     true},
    {"bitor", [](const fi& a, const fi& b) -> fi& { return a.fibitor(b); },
     [](double x, double y) { return static_cast<double>(static_cast<int>(x) | static_cast<int>(y)); }, false},
};

TEST(Operands, MeetElementByElementOrAsAScalarAndKeepTheShapeOfTheOther) {
    const Sizes cube{2, 1, 3};
    const Sizes none{0, 5, 2};
    const Sizes deep{1, 1, 1};
    const std::vector<double> left = {2, 4, 8, 16, 32, 64};
    const std::vector<double> right = {1, 2, 2, 4, 4, 8};
    const fi one = scalar(2.0, kType);
    for (const auto& operation : kOperations) {
        SCOPED_TRACE(operation.name);
        const auto check = [&](const fi& a, const fi& b, const Sizes& sizes) {
            std::vector<double> wanted;
            for (std::size_t i = 0; i < (a.numel() == 1 ? b : a).numel(); ++i) {
                wanted.push_back(
                    operation.onValues(a.realdouble(a.numel() == 1 ? 0 : i), b.realdouble(b.numel() == 1 ? 0 : i)));
            }
            const FiOwner result(&operation.call(a, b));
            EXPECT_EQ(sizesOf(*result), sizes);
            EXPECT_EQ(realParts(*result), wanted);
        };
        check(arrayOf(cube, left, kType), arrayOf(cube, right, kType), cube);
        check(arrayOf(cube, left, kType), one, cube);
        check(scalar(64.0, kType), arrayOf(cube, right, kType), cube);
        check(zeros(none, kType), zeros(none, kType), none);
        check(zeros(none, kType), one, none);
        check(one, zeros(none, kType), none);
        // Two scalars: the result has the dimensions of the right one.
        check(one, arrayOf(deep, {1.0}, kType), deep);
        check(arrayOf(deep, {4.0}, kType), one, {1, 1});
    }
}

// The result has local rules if an operand has: those of the left one if it is local, else those of the right one.
TEST(Operands, GiveTheirLocalRulesAndTheLeftTag) {
    fimath sides[2] = {rulesOf(Rounding::floor, true), rulesOf(Rounding::floor, true)};
    const GlobalRules global(rulesOf(Rounding::ceil, false));
    for (const auto& operation : kOperations) {
        for (int locals = 0; locals < 4; ++locals) {
            for (const bool isScalar : {false, true}) {
                SCOPED_TRACE(testing::Message() << operation.name << ' ' << locals);
                const bool isLocal[] = {(locals & 1) != 0, (locals & 2) != 0};
                // Only local rules must agree.
                sides[0].setRoundMode(locals == 3 && !operation.hasTag ? embedded::RoundModeEnum::Fix
                                                                       : embedded::RoundModeEnum::Floor);
                fi a = column(isScalar ? std::vector<double>{1.0} : std::vector<double>{1.0, 2.0}, kType, sides[0],
                              isLocal[0]);
                a.setTag("left");
                const fi b = column({4.0, 8.0}, kType, sides[1], isLocal[1]);
                const FiOwner result(&operation.call(a, b));
                EXPECT_EQ(result->getFimathIsLocal(), locals != 0);
                const fimath& wanted = isLocal[0] ? sides[0] : isLocal[1] ? sides[1] : fimath::getGlobalFimath();
                EXPECT_EQ(fieldsOf(result->getFimath()), fieldsOf(wanted));
                EXPECT_EQ(result->getAssignmentQuantizer().getRoundMode(), wanted.getRoundMode());
                EXPECT_EQ(result->getTag(), operation.hasTag ? "left" : result->getTag());
            }
        }
    }
}

}  // namespace
