// The methods of arrays by name: each gives what its name says, in its type. Values at all types and modes are tested
// without the host (tests/fi); here a row tells a method from those of the same signatures, and one kind of operand
// from another.
#include <cmath>
#include <limits>

#include "tests/binding/session_support.h"

namespace {

using FiMethods = BindingTest;

TEST_F(FiMethods, GiveWhatTheirNamesSay) {
    constexpr double kInf = std::numeric_limits<double>::infinity();
    const Value a = s16(Numbers{0.5, -0.25, 0.125, -1.0});
    const Value u = fi(0.75, type(false, 8, 7));
    const Value z = s16(Value::complex(0.5, 0.25));
    const Value row = s8(Numbers{1, 2, 3});
    const Value column = s8(matrix(3, {1, 2, 3}));
    const Value tens = s8(Numbers{1, 10});
    const Value iz = s8(Value::complex(1, 2));
    const Value wide = fi(Numbers{0.5, 0.25, 0.0, -1}, type(true, 100, 60));
    const Value unit = fi(Numbers{0.5, -0.25}, type(true, 8, 7));
    const Value bytes = fi(Numbers{5, 6, 255}, type(false, 8, 0));
    const Value signs = s8(Numbers{12, -1});
    const Value block = s8(matrix(2, {1, 2, 3, 4, 5, 6}));
    const Value pair = s8(Numbers{1, 2});
    const Value floors = fi(Numbers{2, 9}, type(true, 16, 8), rules({{"RoundMode", "floor"}}));
    const Value up = rules({{"RoundMode", "ceil"}});
    const Value quotients = type(true, 16, 8);
    const Value u80 = type(false, 8, 0);
    // clang-format off
    const struct {
        const char* method;
        std::vector<Value> arguments;
        Value wanted;
        const char* type = "";  // none of an array of the host
    } rows[] = {
        // A partner made of an array keeps word length and sign, and takes the binary point that its values need.
        {"plus", {a, a}, Numbers{1, -0.5, 0.25, -2}, "s17,15"},
        {"plus", {a, 1.5}, Numbers{2, 1.25, 1.625, 0.5}, "s18,15"},
        {"plus", {u, Numbers{0.5, -0.25}}, Numbers{1.25, 0.75}, "u10,8"},  // -0.25 has no place in an unsigned word
        {"minus", {u, a}, Numbers{0.25, 1, 0.625, 1.75}, "s17,15"},
        {"minus", {1.5, a}, Numbers{1, 1.75, 1.375, 2.5}, "s18,15"},
        {"minus", {z, Value::complex(0.25, 0.5)}, Value::complex(0.25, -0.25), "s17,15"},
        {"times", {row, row}, Numbers{1, 4, 9}, "s16,0"},
        {"times", {1.5, row}, Numbers{1.5, 3, 4.5}, "s16,6"},
        {"times", {iz, iz}, Value::complex(-3, 4), "s17,0"},
        {"mtimes", {column, tens}, matrix(3, {1, 2, 3, 10, 20, 30}), "s16,0"},
        {"mtimes", {row, column}, 14, "s18,0"},
        {"mtimes", {row, 1.5}, Numbers{1.5, 3, 4.5}, "s16,6"},
        {"convF", {row, tens}, Numbers{1, 12, 23, 30}, "s17,0"},
        {"convS", {row, tens}, Numbers{12, 23, 30}, "s17,0"},
        {"convV", {row, tens}, Numbers{12, 23}, "s17,0"},
        {"leadingdimension_sum", {column}, 6, "s10,0"},

        {"eq", {a, wide}, Numbers{1, 0, 0, 1}},
        {"ne", {a, wide}, Numbers{0, 1, 1, 0}},
        {"gt", {a, wide}, Numbers{0, 0, 1, 0}},
        {"ge", {a, wide}, Numbers{1, 0, 1, 1}},
        {"lt", {a, wide}, Numbers{0, 1, 0, 0}},
        {"le", {wide, a}, Numbers{1, 0, 1, 1}},
        {"lt", {0.0, a}, Numbers{1, 0, 1, 0}},
        {"ge", {a, Numbers{0.25, 0.25, 0.125, 0}}, Numbers{1, 0, 1, 0}},
        {"binaryop_isequal", {a, wide}, 0},
        {"binaryop_isequal", {a, Numbers{0.5, -0.25, 0.125, -1}}, 1},
        {"binaryop_isequal", {s16(Value::complex(0.5, 0)), s16(0.5)}, 0},
        // The number becomes a word of 8 bits at its own best precision, which isn't the one of the array.
        {"gt", {0.3, fi(0.3, type(true, 8, 7))}, 1},
        {"binary_max", {a, 0.25}, Numbers{0.5, 0.25, 0.25, 0.25}, "s16,15"},
        {"binary_max", {u, 7}, 2 - 0x1p-7, "u8,7"},  // an extreme takes the very type of the array
        {"binary_min", {7, a}, Numbers{0.5, -0.25, 0.125, -1}, "s16,15"},
        {"unary_max", {block}, Numbers{2, 4, 6}, "s8,0"},
        {"unary_min", {block}, Numbers{1, 3, 5}, "s8,0"},
        {"stridesort", {row, false, 1, 3}, Numbers{3, 2, 1}, "s8,0"},
        {"stridesort", {s8(Numbers{4, 3, 2, 1, 6, 5}), true, 3.9, 2.9}, Numbers{1, 3, 2, 4, 6, 5}, "s8,0"},
        {"stridesort", {row, false, -1, 3}, Numbers{1, 2, 3}, "s8,0"},
        {"stridesort", {row, false, NAN, 1e300}, Numbers{1, 2, 3}, "s8,0"},
        {"get_element", {bytes, 3.75}, 255, "u8,0"},
        {"get_element", {z, 1}, Value::complex(0.5, 0.25), "s16,15"},

        {"realmax", {unit}, 0.9921875, "s8,7"},
        {"upperbound", {unit}, 0.9921875, "s8,7"},
        {"lowerbound", {unit}, -1, "s8,7"},
        {"realmin", {unit}, 0.0078125, "s8,7"},
        {"fieps", {unit}, 0.0078125, "s8,7"},
        {"intmax", {unit}, 127, "s8,0"},
        {"intmin", {unit}, -128, "s8,0"},
        {"range", {unit}, Numbers{-1, 0.9921875}, "s8,7"},
        {"uminus", {unit}, Numbers{-0.5, 0.25}, "s8,7"},
        {"uminus", {bytes}, Numbers{0, 0, 0}, "u8,0"},
        {"conj", {z}, Value::complex(0.5, -0.25), "s16,15"},
        {"real", {z}, 0.5, "s16,15"},
        {"imag", {z}, 0.25, "s16,15"},
        {"sign", {unit}, Numbers{1, -1}},
        {"binaryop_complex", {u, 0.25}, Value::complex(0.75, 0.25), "u8,7"},
        {"binaryop_complex", {0.25, u}, Value::complex(0.25, 0.75), "u8,7"},
        {"binaryop_complex", {u, fi(1.5, type(true, 16, 4))}, Value::complex(0.75, 1.5), "u8,7"},
        {"stripscaling", {unit}, Numbers{64, -32}, "s8,0"},
        {"reinterpretcast", {unit, type(false, 8, 4)}, Numbers{4, 14}, "u8,4"},

        {"bitand", {signs, s8(6)}, Numbers{4, 6}, "s8,0"},
        {"bitor", {s8(-8), s8(Numbers{10, 5})}, Numbers{-6, -3}, "s8,0"},
        {"bitxor", {signs, s8(Numbers{10, 5})}, Numbers{6, -6}, "s8,0"},
        {"bitand", {signs, 127.0}, Numbers{12, 127}, "s8,0"},
        {"bitcmp", {signs}, Numbers{-13, 0}, "s8,0"},
        {"bitget", {bytes, Numbers{1, 3, 8}}, Numbers{1, 1, 1}},
        {"bitget", {bytes, s8(2)}, Numbers{0, 1, 1}},
        {"bitset", {bytes, Numbers{1, 3, 8}, Numbers{0, 0, 1}}, Numbers{4, 2, 255}, "u8,0"},
        {"bitset", {bytes, s8(Numbers{1, 3, 8}), Numbers{0, 0, 1}}, Numbers{4, 2, 255}, "u8,0"},
        {"bitset", {bytes, Numbers{1, 3, 8}, s8(Numbers{0, 0, 1})}, Numbers{4, 2, 255}, "u8,0"},
        {"bitset", {bytes, s8(Numbers{1, 3, 8}), s8(Numbers{0, 0, 1})}, Numbers{4, 2, 255}, "u8,0"},
        // Nearest by the rules of the array, 1.5 becomes 2; shifts cut.
        {"pow2", {s8(3), -1}, 2, "s8,0"},
        {"pow2", {s8(3), 2.9}, 12, "s8,0"},
        {"pow2", {s8(3), steps(4)}, 48, "s8,0"},
        {"pow2", {s8(3), kInf}, 127, "s8,0"},
        {"pow2", {s8(3), NAN}, 3, "s8,0"},
        {"pow2", {fi(3, type("Double")), -1}, 1.5, "Double"},
        {"bitshift", {s8(Numbers{3, -3}), -1}, Numbers{1, -2}, "s8,0"},
        {"bitshift", {s8(3), 1e9}, 127, "s8,0"},
        {"bitshift", {s8(3), steps(4)}, 48, "s8,0"},
        // Stored integers shift, and slope and bias stay.
        {"bitshift", {steps(1.5 * -7 + 1), -1}, 1.5 * -4 + 1, "Fixed-point: slope and bias scaling"},

        {"transpose", {block}, matrix(3, {1, 3, 5, 2, 4, 6}), "s8,0"},
        {"ctranspose", {iz}, Value::complex(1, -2), "s8,0"},
        {"fi_reshape", {block, Numbers{3, 2}}, matrix(3, {1, 2, 3, 4, 5, 6}), "s8,0"},
        {"squeeze", {session.call("fi_reshape", {block, Numbers{1, 2, 3}})}, matrix(2, {1, 2, 3, 4, 5, 6}), "s8,0"},
        {"diag", {block}, matrix(2, {1, 4}), "s8,0"},
        {"diag", {block, s8(Numbers{1, 9})}, matrix(2, {3, 6}), "s8,0"},  // the first of many
        {"diag", {block, steps(-0.5)}, matrix(2, {1, 4}), "s8,0"},
        {"diag", {block, steps(1)}, matrix(2, {3, 6}), "s8,0"},
        {"diag", {block, kInf}, Value::matrix(0, 1, Numbers{}), "s8,0"},
        {"diag", {pair, 1.9}, matrix(3, {0, 0, 0, 1, 0, 0, 0, 2, 0}), "s8,0"},
        {"tril", {block}, matrix(2, {1, 2, 0, 4, 0, 0}), "s8,0"},
        {"tril", {block, 1}, matrix(2, {1, 2, 3, 4, 0, 6}), "s8,0"},
        {"triu", {block}, matrix(2, {1, 0, 3, 4, 5, 6}), "s8,0"},
        {"triu", {block, s8(1)}, matrix(2, {0, 0, 3, 0, 5, 6}), "s8,0"},
        {"toeplitz", {pair, Numbers{1, 0.5}}, matrix(2, {1, 2, 1, 1}), "s8,0"},
        {"toeplitz", {Numbers{1, 300}, pair}, matrix(2, {1, 127, 2, 1}), "s8,0"},
        {"hankel", {pair, Numbers{2, 5, 6}}, matrix(2, {1, 2, 2, 5, 5, 6}), "s8,0"},

        {"divide", {quotients, row, s8(4)}, Numbers{0.25, 0.5, 0.75}, "s16,8"},
        {"divide", {quotients, row, 512.0}, Numbers{0.00390625, 0.00390625, 0.0078125}, "s16,8"},
        {"divide", {quotients, Numbers{3, 5, 6}, row}, Numbers{3, 2.5, 2}, "s16,8"},
        {"sqrt", {floors}, Numbers{1.375, 3}, "s8,4"},
        {"sqrt", {floors, quotients}, Numbers{1.4140625, 3}, "s16,8"},
        {"sqrt", {floors, up}, Numbers{1.4375, 3}, "s8,4"},
        {"sqrt", {floors, quotients, up}, Numbers{1.41796875, 3}, "s16,8"},
        {"realabs", {fi(Numbers{-1.25, 2}, quotients)}, Numbers{1.25, 2}, "s16,8"},
        {"realabs", {fi(Numbers{-1.25, 2}, quotients), u80}, Numbers{1, 2}, "u8,0"},
        {"realabs", {s8(-128), rules({{"OverflowMode", "wrap"}})}, -128, "s8,0"},
        {"realabs", {fi(-1.25, quotients), u80, up}, 2, "u8,0"},
    };
    // clang-format on
    for (const auto& given : rows) {
        SCOPED_TRACE(testing::Message() << given.method << " row " << &given - rows);
        const Value result = session.call(given.method, given.arguments);
        if (*given.type == '\0') {
            EXPECT_EQ(result.toDoubles(), given.wanted.toDoubles());
        } else {
            EXPECT_EQ(result.get("double"), given.wanted);
            EXPECT_EQ(typeOf(result), given.type);
        }
    }
    EXPECT_EQ(reports(), "");
    for (const Value& object : {a, row, unit, bytes, block}) {
        EXPECT_EQ(session.call("noperations", {object}), Value(0));
    }
    EXPECT_EQ(valuesOf(bytes), (Numbers{5, 6, 255}));
    // Of 1/2 the global rules make 1.
    const Value one = fi(1, type(true, 8, 0), false);
    const Value floorOne = fi(1, type(true, 8, 0), rules({{"RoundMode", "floor"}}));
    const struct {
        const char* method;
        Values arguments;
        const char* roundMode;
        bool hasOwnRules;
    } ruled[] = {
        {"plus", {floors, 0.25}, "floor", true},         {"plus", {0.25, floors}, "floor", true},
        {"plus", {one, 0.25}, "nearest", false},         {"divide", {u80, floorOne, 2.0}, "floor", true},
        {"divide", {u80, 0.5, floorOne}, "floor", true}, {"divide", {u80, 0.5, one}, "nearest", false},
        {"convF", {row, tens}, "nearest", false},        {"mtimes", {row, 2}, "nearest", true},
    };
    for (const auto& given : ruled) {
        SCOPED_TRACE(testing::Message() << given.method << " ruled " << &given - ruled);
        const Value result = session.call(given.method, given.arguments);
        EXPECT_EQ(result.get("RoundMode").toText(), given.roundMode);
        EXPECT_EQ(session.call("isfimathlocal", {result}).toBool(), given.hasOwnRules);
        if (std::string(given.method) == "divide") {
            EXPECT_EQ(valuesOf(result), Numbers{given.hasOwnRules ? 0.0 : 1.0});
        }
    }
    EXPECT_EQ(session.call("sign", {unit}).className(), "int8");
    EXPECT_EQ(session.call("eq", {a, wide}).className(), "logical");
    EXPECT_EQ(session.call("bitget", {bytes, 2}).className(), "uint8");
    const Value shifted = session.call("bitshift", {steps(4), -1});
    EXPECT_EQ(shifted.get("Slope").toDouble() + shifted.get("Bias").toDouble(), 2.5);
    EXPECT_TRUE(session.call("isreal", {session.call("real", {z})}).toBool());
}

TEST_F(FiMethods, WriteOneElement) {
    const Value a = s16(Numbers{0.5, -0.25, 0.125});
    const std::pair<Values, Numbers> rows[] = {
        {{2, 0.75}, {0.5, 0.75, 0.125}},
        {{3, fi(0.30078125, type(true, 20, 12))}, {0.5, 0.75, 0.30078125}},
        {{1, -9.0}, {-1.0, 0.75, 0.30078125}},
        {{3, a}, {-1.0, 0.75, -1.0}},
    };
    for (const auto& [written, wanted] : rows) {
        session.call(0, "set_element", {a, written[0], written[1]});
        EXPECT_EQ(valuesOf(a), wanted);
    }
}

TEST_F(FiMethods, GiveAsManyResultsAsAreWanted) {
    const Value block = s8(matrix(2, {4, 1, 2, 3, 6, 5}));
    const struct {
        const char* method;
        std::vector<Value> arguments;
        Value first;
        Value second;
    } rows[] = {{"unary_max", {block}, Numbers{4, 3, 6}, Numbers{1, 2, 1}},
                {"unary_min", {block}, Numbers{1, 2, 5}, Numbers{2, 1, 2}},
                {"stridesort2", {block, true, 3, 2}, matrix(2, {3, 1, 2, 4, 6, 5}), matrix(2, {2, 1, 1, 1, 2, 2})},
                {"range", {block}, -128, 127}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.method);
        const std::vector<Value> both = session.call(2, row.method, row.arguments);
        ASSERT_EQ(both.size(), 2U);
        EXPECT_EQ(both[0].get("double"), row.first);
        EXPECT_EQ(typeOf(both[0]), "s8,0");
        EXPECT_EQ(both[1].isObject() ? both[1].get("double") : both[1], row.second);
        EXPECT_EQ(session.call(1, row.method, row.arguments).size(), 1U);
    }
}

}  // namespace
