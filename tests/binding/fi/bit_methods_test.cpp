// What a user does with the bits of an array.
#include <array>
#include <cmath>
#include <limits>

#include "tests/binding/session_support.h"

namespace {

class BitMethods : public BindingTest {
 protected:
    Value s8(const Value& value) { return fi(value, type(true, 8, 0)); }
    Value u8(const Value& value) { return fi(value, type(false, 8, 0)); }
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

TEST_F(BitMethods, CombineAndComplement) {
    const Value a = s8(std::vector<double>{12, -1});
    const Value b = s8(std::vector<double>{10, 5});
    struct Row {
        const char* method;
        std::vector<Value> operands;
        std::vector<double> values;
    };
    const Row rows[] = {
        {"bitand", {a, b}, {8, 5}},     {"bitor", {a, b}, {14, -1}},      {"bitxor", {a, b}, {6, -6}},
        {"bitand", {a, s8(6)}, {4, 6}}, {"bitor", {s8(-8), b}, {-6, -3}}, {"bitcmp", {a}, {-13, 0}},
        {"bitcmp", {u8(5)}, {250}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.method);
        const Value result = session.call(row.method, row.operands);
        EXPECT_EQ(valuesOf(result), row.values);
        EXPECT_EQ(typeOf(result), typeOf(row.operands[0]));
    }
    EXPECT_EQ(valuesOf(a), (std::vector<double>{12, -1}));
    // An array takes the binary point that its values need, which is the same only for values as large.
    EXPECT_EQ(valuesOf(session.call("bitand", {a, 127.0})), (std::vector<double>{12, 127}));
    EXPECT_EQ(
        thrownBy([&] {
            session.call("bitand", {a, 3.0});
        }),
        (Raised{"fixedpoint:fi:bitAndXorOr:mixedNumericTypes", "Bit AND/OR/XOR must have matching operand types."}));
}

TEST_F(BitMethods, CombineFixedPointAloneAsFarAsTheDecidingOperandTells) {
    const Value fixed = s8(1);
    const Value real = fi(1.0, type("Double"));
    const Value boolean = fi(true, type("Boolean"));
    for (const std::string method : {"bitand", "bitor", "bitxor"}) {
        EXPECT_EQ(thrownBy([&] { session.call(method, {real, fixed}); }), notAllowed(method, "double"));
        EXPECT_EQ(thrownBy([&] { session.call(method, {boolean, fixed}); }), notAllowed(method, "boolean"));
        EXPECT_EQ(thrownBy([&] { session.call(method, {1.0, real}); }), notAllowed(method, "double"));
        EXPECT_EQ(thrownBy([&] {
                      session.call(method, {fixed, real});
                  }).id,
                  "fixedpoint:fi:bitAndXorOr:mixedNumericTypes");
    }
}

TEST_F(BitMethods, ReadAndSetSingleBits) {
    const Value a = u8(std::vector<double>{5, 6, 255});
    const Value positions = std::vector<double>{1, 3, 8};
    const Value values = std::vector<double>{0, 0, 1};
    for (const Value& bit : {positions, u8(positions)}) {
        const Value bits = session.call("bitget", {a, bit});
        EXPECT_EQ(bits.className(), "uint8");
        EXPECT_EQ(bits.toDoubles(), (std::vector<double>{1, 1, 1}));
        for (const Value& value : {values, u8(values)}) {
            const Value set = session.call("bitset", {a, bit, value});
            EXPECT_EQ(valuesOf(set), (std::vector<double>{4, 2, 255}));
            EXPECT_EQ(typeOf(set), "u8,0");
        }
    }
    EXPECT_EQ(session.call("bitget", {a, 2}).toDoubles(), (std::vector<double>{0, 1, 1}));
    EXPECT_EQ(valuesOf(session.call("bitset", {s8(0), 8, true})), std::vector<double>{-128});
    EXPECT_EQ(valuesOf(a), (std::vector<double>{5, 6, 255}));
    EXPECT_EQ(thrownBy([&] { session.call("bitget", {a, Value()}); }).id, "fixedpoint:fi:bitget:sizeMismatch");
    EXPECT_EQ(thrownBy([&] { session.call("bitset", {a, Value(), 1}); }).id, "fixedpoint:fi:bitset:BITOutOfRange");
    EXPECT_EQ(thrownBy([&] { session.call("bitget", {a, "x"}); }).id, "fixedpoint:fi:bitget:indexMustBeNumeric");
}

TEST_F(BitMethods, MultiplyByPowersOfTwo) {
    const Value three = s8(3);
    EXPECT_EQ(valuesOf(session.call("pow2", {three, 2})), std::vector<double>{12});
    EXPECT_EQ(valuesOf(session.call("pow2", {three, 2.9})), std::vector<double>{12});
    EXPECT_EQ(valuesOf(session.call("pow2", {three, s8(2)})), std::vector<double>{12});
    EXPECT_EQ(valuesOf(session.call("pow2", {three, slopeBias(4.0)})), std::vector<double>{48});
    EXPECT_EQ(valuesOf(session.call("pow2", {three, std::numeric_limits<double>::infinity()})),
              std::vector<double>{127});
    EXPECT_EQ(valuesOf(session.call("pow2", {three, std::nan("")})), std::vector<double>{3});
    // Nearest by the rules of the array: 1.5 becomes 2.
    EXPECT_EQ(valuesOf(session.call("pow2", {three, -1})), std::vector<double>{2});
    EXPECT_EQ(valuesOf(session.call("pow2", {fi(3, type("Double")), -1})), std::vector<double>{1.5});

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

TEST_F(BitMethods, ShiftDownInEveryRoundMode) {
    for (const char* mode : {"ceil", "convergent", "fix", "floor", "nearest", "round"}) {
        const Value a = fi(std::vector<double>{3, -3}, type(true, 8, 0), rules({{"RoundMode", mode}}));
        EXPECT_EQ(valuesOf(session.call("bitshift", {a, -1})), (std::vector<double>{1, -2})) << mode;
        EXPECT_EQ(session.call("bitshift", {a, -1}).get("RoundMode").toText(), mode);
    }
    const Value three = s8(3);
    EXPECT_EQ(valuesOf(session.call("bitshift", {three, 4})), std::vector<double>{48});
    EXPECT_EQ(valuesOf(session.call("bitshift", {three, s8(4)})), std::vector<double>{48});
    EXPECT_EQ(valuesOf(session.call("bitshift", {three, slopeBias(4.0)})), std::vector<double>{48});
    EXPECT_EQ(valuesOf(session.call("bitshift", {three, 1e9})), std::vector<double>{127});
}

/// Stored integers shift, and slope and bias stay: 1.5 k + 1.
TEST_F(BitMethods, ShiftTheIntegersUnderSlopeAndBias) {
    for (const auto& [integer, shift, shifted] :
         {std::array{7, -1, 3}, std::array{-7, -1, -4}, std::array{7, 3, 56}, std::array{7, 5, 127}}) {
        const Value a = slopeBias(1.5 * integer + 1.0);
        const Value result = session.call("bitshift", {a, shift});
        EXPECT_EQ(valuesOf(result), std::vector<double>{1.5 * shifted + 1.0}) << integer << " by " << shift;
        EXPECT_EQ(result.get("Slope").toDouble(), 1.5);
        EXPECT_EQ(result.get("SlopeAdjustmentFactor").toDouble(), 1.5);
        EXPECT_EQ(result.get("Bias").toDouble(), 1.0);
        EXPECT_EQ(result.get("WordLength").toDouble(), 8.0);
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
