// What a user asks for with "divide", "sqrt" and "realabs".
#include <cmath>

#include "tests/binding/session_support.h"

namespace {

class DivisionMethods : public BindingTest {
 protected:
    Value divide(const Value& type, const Value& a, const Value& b) { return session.call("divide", {type, a, b}); }
    static const std::vector<double>& two() {
        static const std::vector<double> values{1, -2};
        return values;
    }
};

TEST_F(DivisionMethods, DivideByTheRulesOfTheOperandThatHasAny) {
    const Value integers = type(true, 16, 0);
    const Value floors = fi(1.0, type(true, 8, 0), rules({{"RoundMode", "floor"}}));
    const Value global = fi(1.0, type(true, 8, 0), false);
    // Of 1/2 the global rules make 1.
    EXPECT_EQ(valuesOf(divide(integers, floors, 2.0)), std::vector<double>{0});
    EXPECT_EQ(valuesOf(divide(integers, 0.5, floors)), std::vector<double>{0});
    EXPECT_EQ(valuesOf(divide(integers, 0.5, global)), std::vector<double>{1});
    EXPECT_TRUE(session.call("isfimathlocal", {divide(integers, 0.5, floors)}).toBool());
    EXPECT_FALSE(session.call("isfimathlocal", {divide(integers, 0.5, global)}).toBool());
}

TEST_F(DivisionMethods, DivideTakesEmptyArrays) {
    const Value result = type(true, 16, 8);
    const Value one = fi(1.0, type(true, 8, 4), rules({{"RoundMode", "floor"}}));
    const Value several = fi(two(), type(true, 8, 4));
    for (const Value& quotient : {divide(result, one, Value()), divide(result, Value(), one)}) {
        EXPECT_EQ(session.call("size", {quotient}).toDoubles(), (std::vector<double>{0, 0}));
        EXPECT_EQ(typeOf(quotient), "s16,8");
        EXPECT_EQ(quotient.get("RoundMode").toText(), "floor");
    }
    const Raised sizes{"fixedpoint:fi:dimagree", "Matrix dimensions must agree."};
    EXPECT_EQ(thrownBy([&] { divide(result, several, Value()); }), sizes);
    EXPECT_EQ(thrownBy([&] { divide(result, Value(), several); }), sizes);
    EXPECT_EQ(thrownBy([&] { divide(result, Value(), two()); }), sizes);
    // Arrays alone give nothing.
    EXPECT_TRUE(divide(result, Value(), Value()).isEmpty());
    EXPECT_TRUE(divide(result, Value(), 2.0).isEmpty());
    EXPECT_TRUE(divide(result, 2.0, Value()).isEmpty());
}

TEST_F(DivisionMethods, DivideRefusesTypesThatAreNotSettled) {
    const Value a = fi(two(), type(true, 8, 4));
    const Value noSign = made("embedded.numerictype", {{"Signedness", "Auto"}});
    const Value noScaling = type("Fixed-point: unspecified scaling");
    const Raised sign{"fixedpoint:fi:divide:nounspecifiedsign",
                      "DIVIDE(T,A,B) is only supported when the SIGNEDNESS of NUMERICTYPE object T is SIGNED or "
                      "UNSIGNED."};
    const Raised scaling{"fixedpoint:fi:divide:nounspecifiedscaling",
                         "divide(T,A,B) is not supported when numerictype T has unspecified scaling."};
    for (const Value& b : {a, Value(2.0), Value()}) {
        EXPECT_EQ(thrownBy([&] { divide(noSign, a, b); }), sign);
        EXPECT_EQ(thrownBy([&] { divide(noScaling, a, b); }), scaling);
    }
    EXPECT_EQ(thrownBy([&] { divide(type(true, 8, 0), 1.0, 2.0); }).id, "VELMAR:method:noSignature");
    EXPECT_EQ(thrownBy([&] { divide(type(true, 8, 0), fi(true, type("Boolean")), a); }).id,
              "fixedpoint:fi:nobooleanmath");
    EXPECT_EQ(valuesOf(a), two());
}

TEST_F(DivisionMethods, DivideReportsWhatHappened) {
    const Value bytes = type(true, 8, 0);
    const Value a = fi(std::vector<double>{100, 100, 1}, type(true, 8, 0));
    logging(true);
    const Value quotient = divide(bytes, a, fi(std::vector<double>{0.25, 0.5, 4}, type(true, 8, 2)));
    EXPECT_EQ(session.takeWarnings(),
              (std::vector<Warning>{{"fi:overflow", "2 overflows occurred in the fi divide operation."},
                                    {"fi:underflow", "1 underflow occurred in the fi divide operation."}}));
    EXPECT_EQ(session.call("noverflows", {quotient}).toDouble(), 2.0);
    divide(bytes, a, 0.0);
    EXPECT_EQ(session.takeWarnings(),
              (std::vector<Warning>{{"fi:divideByZero", "Division by zero occurred. Quotient was saturated."}}));
    logging(false);
    divide(bytes, a, 0.25);
    EXPECT_TRUE(session.takeWarnings().empty());
}

}  // namespace
