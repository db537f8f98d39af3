// What a user does with the bits of an array.
#include <cmath>
#include <limits>

#include "tests/binding/session_support.h"

namespace {

class BitMethods : public BindingTest {
 protected:
    Value s8(const Value& value) { return fi(value, type(true, 8, 0)); }
    Value slopeBias(double value) {
        return fi(value, made("embedded.numerictype", {{"DataTypeMode", "Fixed-point: slope and bias scaling"},
                                                       {"WordLength", 8},
                                                       {"Slope", 1.5},
                                                       {"Bias", 1.0}}));
    }
    static Raised notAllowed(const std::string& method, const std::string& dataType) {
        return {"fixedpoint:fi:" + method + ":" + dataType + ":notallowed",
                "Function '" + method + "' is not defined for FI objects of data type '" + dataType + "'."};
    }
};

TEST_F(BitMethods, PowersRefuseWhatIsNoExponent) {
    const Value three = s8(3);
    struct Row {
        std::vector<Value> arguments;
        Raised raised;
    };
    const Raised notScalar = {"fixedpoint:fi:pow2:notscalar", "K must be scalar in POW2(A,K) when A is a FI object."};
    const Row rows[] = {
        {{three}, {"fixedpoint:fi:pow2:notsupported", "POW2(A) is not supported when A is a FI object."}},
        {{fi(true, type("Boolean")), "x"}, notAllowed("pow2", "boolean")},
        {{slopeBias(4.0), "x"},
         {"fixedpoint:fi:pow2:binarypointonly",
          "pow2(A,K) can only be calculated for FI object A when the scaling of A has a fractional slope of 1 and 0 "
          "bias (binary-point only scaling)."}},
        {{three, "x"}, {"fixedpoint:fi:pow2:notnumeric", "K must be numeric in POW2(A,K) when A is a FI object."}},
        {{three, true}, {"fixedpoint:fi:pow2:notnumeric", "K must be numeric in POW2(A,K) when A is a FI object."}},
        {{three, std::vector<double>{1, 2}}, notScalar},
        {{three, Value()}, notScalar},
        {{three, s8(std::vector<double>{1, 2})}, notScalar},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(thrownBy([&] { session.call("pow2", row.arguments); }), row.raised);
    }
}

TEST_F(BitMethods, ShiftsAndPowersTellWhatOverflowed) {
    logging(true);
    const Value a = s8(std::vector<double>{100, 1, 0});
    const Value down = fi(std::vector<double>{100, 1, 0}, type(true, 8, 0), rules({{"RoundMode", "fix"}}));
    session.takeWarnings();
    for (const std::string method : {"bitshift", "pow2"}) {
        session.call(method, {a, 2});
        EXPECT_EQ(session.takeWarnings(),
                  (std::vector<Warning>{{"fi:overflow", "1 overflow occurred in the fi " + method + " operation."}}));
        session.call(method, {down, -1});
        EXPECT_EQ(session.takeWarnings(),
                  (std::vector<Warning>{{"fi:underflow", "1 underflow occurred in the fi " + method + " operation."}}));
    }
}

TEST_F(BitMethods, ShiftsRefuseWhatIsNoCount) {
    const Value three = s8(3);
    const Raised notNumeric = {"fixedpoint:fi:bitshift:notbuiltinnumeric",
                               "K must be a builtin numeric type in BITSHIFT(A,K) when A is a FI object."};
    const Raised notScalar = {"fixedpoint:fi:bitshift:notscalar",
                              "K must be scalar in BITSHIFT(A,K) when A is a FI object."};
    const Raised notReal = {"fixedpoint:fi:bitshift:notreal", "K must be real in BITSHIFT(A,K) when A is a FI object."};
    const Raised notInteger = {"fixedpoint:fi:bitshift:notinteger",
                               "K must be an integer in BITSHIFT(A,K) when A is a FI object."};
    const double infinity = std::numeric_limits<double>::infinity();
    struct Row {
        Value a, k;
        Raised raised;
    };
    const Row rows[] = {
        {fi(1.0, type("Double")), "x", notAllowed("bitshift", "double")},
        {fi(true, type("Boolean")), 1, notAllowed("bitshift", "boolean")},
        {three, "x", notNumeric},
        {three, true, notNumeric},
        {three, std::vector<double>{1, 2}, notScalar},
        {three, Value(), notScalar},
        {three, s8(std::vector<double>{1, 2}), notScalar},
        {three, Value::complex(1, 1), notReal},
        {three, fi(Value::complex(1, 1), type(true, 8, 0)), notReal},
        {three, 1.5, notInteger},
        {three, std::nan(""), notInteger},
        {three, infinity, notInteger},
        {three, -1e10, notInteger},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(thrownBy([&] { session.call("bitshift", {row.a, row.k}); }), row.raised) << row.k;
    }
}

}  // namespace
