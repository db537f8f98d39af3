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
