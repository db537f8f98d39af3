// What a user does with the shape of an array.
#include <cmath>
#include <limits>

#include "tests/binding/session_support.h"

namespace {

class ShapeMethods : public BindingTest {
 protected:
    static Value matrix(std::size_t rows, const std::vector<double>& values) {
        return Value::matrix(rows, values.size() / rows, values);
    }
    Value s8(const Value& value) { return fi(value, type(true, 8, 0)); }
    Value doubles(const Value& array) { return session.call("double", {array}); }
};

TEST_F(ShapeMethods, GiveNewArraysOfTheSameType) {
    const Value array = s8(matrix(2, {1, 2, 3, 4, 5, 6}));
    const Value vector = s8(matrix(1, {1, 2}));
    const Value slopeBias =
        fi(-1.0, made("embedded.numerictype", {{"DataTypeMode", "Fixed-point: slope and bias scaling"},
                                               {"WordLength", 8},
                                               {"Slope", 1.5},
                                               {"Bias", 0.5}}));
    const struct {
        const char* method;
        std::vector<Value> arguments;
        Value result;
    } rows[] = {
        {"transpose", {array}, matrix(3, {1, 3, 5, 2, 4, 6})},
        {"ctranspose", {array}, matrix(3, {1, 3, 5, 2, 4, 6})},
        {"fi_reshape", {array, matrix(1, {3, 2})}, matrix(3, {1, 2, 3, 4, 5, 6})},
        {"squeeze", {array}, matrix(2, {1, 2, 3, 4, 5, 6})},
        {"diag", {array}, matrix(2, {1, 4})},
        {"diag", {array, 1}, matrix(2, {3, 6})},
        {"diag", {array, s8(-1)}, matrix(1, {2})},
        {"diag", {array, slopeBias}, matrix(1, {2})},
        {"diag", {array, s8(matrix(1, {1, 9}))}, matrix(2, {3, 6})},  // the first of many
        {"diag", {array, std::numeric_limits<double>::infinity()}, Value::matrix(0, 1, std::vector<double>{})},
        {"diag", {vector, 1.9}, matrix(3, {0, 0, 0, 1, 0, 0, 0, 2, 0})},
        {"tril", {array}, matrix(2, {1, 2, 0, 4, 0, 0})},
        {"tril", {array, 1}, matrix(2, {1, 2, 3, 4, 0, 6})},
        {"triu", {array}, matrix(2, {1, 0, 3, 4, 5, 6})},
        {"triu", {array, s8(1)}, matrix(2, {0, 0, 3, 0, 5, 6})},
        {"toeplitz", {vector, vector}, matrix(2, {1, 2, 2, 1})},
        {"toeplitz", {vector, matrix(1, {1, 0.5})}, matrix(2, {1, 2, 1, 1})},
        {"toeplitz", {matrix(1, {1, 300}), vector}, matrix(2, {1, 127, 2, 1})},
        {"hankel", {vector, matrix(1, {2, 5, 6})}, matrix(2, {1, 2, 2, 5, 5, 6})},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.method);
        const Value result = session.call(row.method, row.arguments);
        EXPECT_EQ(typeOf(result), "s8,0");
        EXPECT_EQ(doubles(result), row.result);
    }
    EXPECT_TRUE(session.takeWarnings().empty());
    EXPECT_EQ(doubles(array), matrix(2, {1, 2, 3, 4, 5, 6}));
    const Value solid = session.call("fi_reshape", {array, matrix(1, {2, 1, 3})});
    EXPECT_EQ(session.call("size", {solid}).toDoubles(), (std::vector<double>{2, 1, 3}));
    EXPECT_EQ(doubles(session.call("squeeze", {solid})), matrix(2, {1, 2, 3, 4, 5, 6}));
}

TEST_F(ShapeMethods, TellOfAConflict) {
    const Value array = s8(matrix(1, {1, 2}));
    session.call("toeplitz", {array, matrix(1, {2, 2})});
    session.call("hankel", {array, array});
    const std::vector<Warning> warnings = session.takeWarnings();
    ASSERT_EQ(warnings.size(), 2u);
    EXPECT_EQ(warnings[0].id, "fixedpoint:fi:toeplitz:DiagonalConflict");
    EXPECT_EQ(warnings[1].id, "VELMAR:hankel:AntiDiagonalConflict");
}

TEST_F(ShapeMethods, RefuseDiagonalsThatAreNone) {
    const double inf = std::numeric_limits<double>::infinity();
    const Value array = s8(matrix(2, {1, 2, 3, 4}));
    const Value vector = s8(matrix(1, {1, 2}));
    for (const std::string method : {"diag", "tril", "triu"}) {
        const Raised noInteger = {
            std::string("fixedpoint:fi:") + (method == "diag" ? "diag" : "tril") + ":kthDiagInputNotInteger",
            "K-th diagonal input must be an integer scalar."};
        for (const Value& k : {Value(std::nan("")), Value("a"), Value(true), Value(), matrix(1, {1, 2}), s8(Value()),
                               type(true, 8, 0)}) {
            EXPECT_EQ(thrownBy([&] { session.call(method, {array, k}); }), noInteger) << method;
        }
        EXPECT_EQ(thrownBy([&] {
                      session.call(method, {array, fi(std::nan(""), type("Double"))});
                  }).id,
                  "fixedpoint:fi:diag:kthDiagInputNotInteger");
    }
    EXPECT_EQ(thrownBy([&] {
                  session.call("diag", {vector, -inf});
              }),
              (Raised{"fixedpoint:fi:diag:kthDiagInputNotFinite",
                      "K-th diagonal input must be finite for the vector input form of DIAG."}));
    EXPECT_EQ(thrownBy([&] {
                  session.call("diag", {vector, fi(inf, type("Double"))});
              }).id,
              "fixedpoint:fi:diag:kthDiagInputNotFinite");
    EXPECT_EQ(thrownBy([&] { session.call("diag", {vector, 1e19}); }).id, "fixedpoint:fi:diag:pmaxsize");
    EXPECT_EQ(thrownBy([&] { session.call("tril", {array, inf}); }).id, "VELMAR:badsubscript");
    EXPECT_EQ(thrownBy([&] { session.call("fi_reshape", {array, "ab"}); }).id, "fixedpoint:fi:reshape:siz_not_double");
    EXPECT_EQ(thrownBy([&] {
                  session.call("toeplitz", {array, Value()});
              }).id,
              "fixedpoint:fi:toeplitz:emptynotallowed");
}

TEST_F(ShapeMethods, ReportWhatAConjugateTransposeOverflowsAndNothingElse) {
    const Value array = s8(Value::matrix(1, 2, std::vector<double>{1, 2}, std::vector<double>{-128, 5}));
    const Value wide = fi(matrix(1, {1, 300, 0.25}), type(true, 16, 2));
    logging(true);
    session.takeWarnings();
    const Value result = session.call("ctranspose", {array});
    EXPECT_EQ(doubles(result), Value::matrix(2, 1, std::vector<double>{1, 2}, std::vector<double>{127, -5}));
    EXPECT_EQ(session.takeWarnings(),
              (std::vector<Warning>{{"fi:overflow", "1 overflow occurred in the fi conjugate transpose operation."}}));
    EXPECT_EQ(integer(session.call("noverflows", {result})), 1);
    const Value toeplitz = session.call("toeplitz", {s8(matrix(1, {1, 2})), wide});
    EXPECT_TRUE(session.takeWarnings().empty());
    EXPECT_EQ(integer(session.call("noverflows", {toeplitz})), 2);
    EXPECT_EQ(integer(session.call("nunderflows", {toeplitz})), 1);
    // An array becomes one of the type first, and what that loses counts too.
    EXPECT_EQ(
        integer(session.call("noverflows", {session.call("toeplitz", {s8(matrix(1, {1})), matrix(1, {1, 300})})})), 1);
}

}  // namespace
