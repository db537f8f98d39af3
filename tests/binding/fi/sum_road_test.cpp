// The road of a + b from the host's call to a result: empty operands, what is refused, what is reported.
#include <cmath>

#include "tests/binding/session_support.h"

namespace {

using SumRoad = BindingTest;

TEST_F(SumRoad, AnEmptyArrayIsAnEmptyOperandOfTheOthersType) {
    const Value a = s16(0.5);
    for (const Value& sum : {session.call("plus", {a, Value()}), session.call("plus", {Value(), a}),
                             session.call("minus", {Value(), a})}) {
        EXPECT_EQ(session.call("size", {sum}).toDoubles(), (std::vector<double>{0, 0}));
        EXPECT_EQ(typeOf(sum), "s17,15");
    }
    const Value z = s16(Value::complex(0.5, 0.25));
    EXPECT_FALSE(session.call("isreal", {session.call("plus", {z, Value()})}).toBool());
    EXPECT_EQ(thrownBy([&] {
                  session.call("plus", {s16(std::vector<double>{0.5, 1}), Value()});
              }).id,
              "fixedpoint:fi:dimagree");
}

TEST_F(SumRoad, NeedsAnArrayOfTheClassAlsoWhenCalledByTheClass) {
    const std::vector<Value> rows[] = {{Value(), Value()}, {Value(), 1.0}, {1.0, Value()}};
    for (const std::vector<Value>& operands : rows) {
        EXPECT_EQ(thrownBy([&] { session.callStatic("embedded.fi", "plus", operands); }),
                  (Raised{"fixedpoint:fi:binaryop:signaturenotfound", "Signature not found."}))
            << operands.front() << " " << operands.back();
    }
}

TEST_F(SumRoad, TakesNumbersOnly) {
    const Value a = s16(0.5);
    EXPECT_EQ(thrownBy([&] {
                  session.call("plus", {a, true});
              }),
              (Raised{"fixedpoint:fi:setBestPrecision:mustbenumeric", "Data must be numeric."}));
    EXPECT_NE(thrownBy([&] { session.call("plus", {a, "text"}); }).id, "");
    EXPECT_NE(thrownBy([&] { session.call("plus", {a, Value::cells(std::vector<Value>{1})}); }).id, "");
    EXPECT_EQ(thrownBy([&] { session.call("plus", {a, NAN}); }).id, "fixedpoint:fi:nonan");
    EXPECT_EQ(thrownBy([&] { session.call("plus", {a}); }).id, "VELMAR:method:noSignature");
}

TEST_F(SumRoad, RulesAndTagOfTheResult) {
    const Value floor = fi(0.5, type(true, 16, 15), rules({{"RoundMode", "floor"}}));
    EXPECT_EQ(session.call("plus", {floor, 0.25}).get("RoundMode").toText(), "floor");
    EXPECT_EQ(session.call("plus", {0.25, floor}).get("RoundMode").toText(), "floor");
    const Value global = fi(0.5, type(true, 16, 15), false);
    EXPECT_FALSE(session.call("isfimathlocal", {session.call("plus", {global, 0.25})}).toBool());
}

TEST_F(SumRoad, WarnsOfWhatOverflowedAndCountsOperations) {
    const Value wrap = rules({{"SumMode", "SpecifyPrecision"},
                              {"SumWordLength", 8},
                              {"SumFractionLength", 7},
                              {"CastBeforeSum", true},
                              {"OverflowMode", "saturate"}});
    const Value a = fi(std::vector<double>{0.75, -0.75, 0.25}, type(true, 8, 7), wrap);
    EXPECT_EQ(valuesOf(session.call("plus", {a, a})), (std::vector<double>{0.9921875, -1.0, 0.5}));
    EXPECT_TRUE(session.takeWarnings().empty());

    logging(true);
    session.call("resetgloballog", {a});
    const Value sum = session.call("plus", {a, a});
    EXPECT_EQ(session.takeWarnings(),
              (std::vector<Warning>{{"fi:overflow", "2 overflows occurred in the fi + operation."}}));
    EXPECT_EQ(session.call("noverflows", {sum}).toDouble(), 2.0);
    EXPECT_EQ(session.call("noperations", {sum}).toDouble(), 9.0);
    EXPECT_EQ(session.call("nmathoperations", {sum}).toDouble(), 3.0);
    session.call("minus", {a, fi(-0.25, type(true, 8, 7), wrap)});
    EXPECT_EQ(session.takeWarnings(),
              (std::vector<Warning>{{"fi:overflow", "1 overflow occurred in the fi - operation."}}));
    session.call("displaygloballog", {a});
    EXPECT_NE(session.takePrinted().find("FI sum overflows        : 3\n"), std::string::npos);
    logging(false);
    session.call("plus", {a, a});
    EXPECT_TRUE(session.takeWarnings().empty());
}

}  // namespace
