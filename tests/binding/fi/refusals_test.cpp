// What methods of arrays refuse, and what they make of empty arrays of the host.
#include <cmath>
#include <limits>
#include <sstream>

#include "tests/binding/session_support.h"

namespace {

using FiRefusals = BindingTest;

TEST_F(FiRefusals, HaveTheirErrors) {
    constexpr double kInf = std::numeric_limits<double>::infinity();
    const Value none;
    const Value truth = fi(true, type("Boolean"));
    const Value real = fi(0.5, type("Double"));
    const Value word = s8(1);
    const Value pair = s8(Numbers{1, 2});
    const Value square = s8(matrix(2, {1, 2, 3, 4}));
    const Value floors = fi(1, type(true, 8, 0), rules({{"RoundMode", "floor"}}));
    const Value z = fi(Value::complex(1, 1), type(true, 8, 0));
    const Value noSign = made("embedded.numerictype", {{"Signedness", "Auto"}});
    const Value noScaling = type("Fixed-point: unspecified scaling");
    const Value noWord = s8(none);
    const std::string math = "plus minus times mtimes convF convS convV";
    const std::string bits = "bitand bitor bitxor";
    const std::string comparisons = "eq ne gt ge lt le";
    const std::string elements = "get_element set_element";
    // clang-format off
    const struct {
        std::string methods;
        Values arguments;
        std::string id;  // below "fixedpoint:fi:", with % for the name of the method
        std::string text = "";  // where no other test sees it
    } rows[] = {
        // Of two operands, the deciding one is asked for its data type first.
        {math, {truth, word}, "%:boolean:notallowed"},
        {math, {truth, 1.0}, "%:boolean:notallowed"},
        {math, {1.0, truth}, "%:boolean:notallowed"},
        {"plus minus", {truth, none}, "%:boolean:notallowed"},
        {"plus minus", {none, truth}, "%:boolean:notallowed"},
        {math, {word, truth}, "nobooleanmath"},
        {math, {real, truth}, "nobooleanmath"},
        {math, {real, word}, "mixedmath"},
        {"plus minus times mtimes", {floors, word}, "fimathmismatch"},
        {"plus minus times", {pair, s8(Numbers{1, 2, 3})}, "dimagree"},
        {comparisons, {pair, Numbers{1, 2, 3}}, "dimagree"},
        {"plus binary_max", {pair, none}, "dimagree"},
        {"mtimes", {pair, none}, "=fixedpoint:fi:innerdim"},
        {bits, {real, word}, "%:double:notallowed"},
        {bits, {truth, word}, "%:boolean:notallowed"},
        {bits, {1.0, real}, "%:double:notallowed"},
        {bits, {word, real}, "bitAndXorOr:mixedNumericTypes"},
        {bits, {word, 3.0}, "bitAndXorOr:mixedNumericTypes", "Bit AND/OR/XOR must have matching operand types."},

        {"plus", {word, true}, "setBestPrecision:mustbenumeric"},
        {"plus", {word, NAN}, "nonan"},
        {"plus", {word}, "=VELMAR:method:noSignature"},
        {"binary_min", {pair, fi(1, type(true, 9, 0))}, "min:numerictypemismatch",
         "NUMERICTYPE of both operands must be equal."},
        {"binary_max", {pair, floors}, "max:fimathmismatch"},

        {elements, {pair, 0, 0.5}, "badsubscript"},
        {elements, {pair, 0.5, 0.5}, "badsubscript"},
        {elements, {pair, -3, 0.5}, "badsubscript"},
        {elements, {pair, NAN, 0.5}, "badsubscript"},
        {elements, {pair, 3, 0.5}, "badindex"},
        {elements, {pair, 1e300, 0.5}, "badindex"},
        {"get_element", {noWord, 1}, "badindex"},
        {"set_element", {pair, 1, noWord}, "badindex"},
        {"set_element", {pair, 1, none}, "=fixedpoint:method:noObject"},

        {"pow2", {word}, "pow2:notsupported", "POW2(A) is not supported when A is a FI object."},
        {"pow2 bitshift", {truth, "x"}, "%:boolean:notallowed"},
        {"pow2", {steps(4), "x"}, "pow2:binarypointonly"},
        {"pow2", {word, "x"}, "pow2:notnumeric", "K must be numeric in POW2(A,K) when A is a FI object."},
        {"pow2", {word, true}, "pow2:notnumeric"},
        {"pow2", {word, Numbers{1, 2}}, "pow2:notscalar", "K must be scalar in POW2(A,K) when A is a FI object."},
        {"bitshift", {fi(1.0, type("Double")), "x"}, "%:double:notallowed",
         "Function 'bitshift' is not defined for FI objects of data type 'double'."},
        {"bitshift", {word, "x"}, "%:notbuiltinnumeric",
         "K must be a builtin numeric type in BITSHIFT(A,K) when A is a FI object."},
        {"bitshift", {word, true}, "%:notbuiltinnumeric"},
        {"bitshift", {word, Numbers{1, 2}}, "%:notscalar", "K must be scalar in BITSHIFT(A,K) when A is a FI object."},
        {"pow2 bitshift", {word, none}, "%:notscalar"},
        {"pow2 bitshift", {word, pair}, "%:notscalar"},
        {"bitshift", {word, Value::complex(1, 1)}, "%:notreal", "K must be real in BITSHIFT(A,K) when A is a FI object."},
        {"bitshift", {word, z}, "%:notreal"},
        {"bitshift", {word, 1.5}, "%:notinteger", "K must be an integer in BITSHIFT(A,K) when A is a FI object."},
        {"bitshift", {word, NAN}, "%:notinteger"},
        {"bitshift", {word, kInf}, "%:notinteger"},
        {"bitshift", {word, -1e10}, "%:notinteger"},

        {"diag", {pair, -kInf}, "diag:kthDiagInputNotFinite",
         "K-th diagonal input must be finite for the vector input form of DIAG."},
        {"diag", {pair, fi(kInf, type("Double"))}, "diag:kthDiagInputNotFinite"},
        {"diag", {pair, 1e19}, "diag:pmaxsize"},
        {"diag tril triu", {square, fi(NAN, type("Double"))}, "diag:kthDiagInputNotInteger"},
        {"tril", {square, kInf}, "=VELMAR:badsubscript"},
        {"fi_reshape", {square, "ab"}, "reshape:siz_not_double"},
        {"toeplitz", {square, none}, "toeplitz:emptynotallowed"},
        {"reinterpretcast", {word, type(true, 9, 0)}, "reinterpretcast:wrongwordlength"},

        {"divide", {noSign, word, none}, "divide:nounspecifiedsign",
         "DIVIDE(T,A,B) is only supported when the SIGNEDNESS of NUMERICTYPE object T is SIGNED or UNSIGNED."},
        {"divide", {noSign, word, word}, "divide:nounspecifiedsign"},
        {"divide", {noSign, word, 2.0}, "divide:nounspecifiedsign"},
        {"divide", {noScaling, word, none}, "divide:nounspecifiedscaling",
         "divide(T,A,B) is not supported when numerictype T has unspecified scaling."},
        {"divide", {noScaling, word, word}, "divide:nounspecifiedscaling"},
        {"divide", {noScaling, word, 2.0}, "divide:nounspecifiedscaling"},
        {"divide", {type(true, 8, 0), 1.0, 2.0}, "=VELMAR:method:noSignature"},
        {"divide", {type(true, 8, 0), truth, word}, "nobooleanmath"},
        {"divide", {type(true, 8, 0), pair, none}, "dimagree"},
        {"divide", {type(true, 8, 0), none, pair}, "dimagree"},
        {"divide", {type(true, 8, 0), none, Numbers{1, 2}}, "dimagree"},
    };
    // clang-format on
    for (const auto& row : rows) {
        std::istringstream names(row.methods);
        for (std::string method; names >> method;) {
            SCOPED_TRACE(method + " row " + std::to_string(&row - rows));
            const std::string id = row.id.starts_with('%') ? method + row.id.substr(1) : row.id;
            Values arguments = row.arguments;
            if (method == "get_element") {
                arguments.resize(2);
            }
            const Raised raised = refusal(method, arguments, method == "set_element" ? 0 : 1);
            EXPECT_EQ(raised.id, id.starts_with('=') ? id.substr(1) : "fixedpoint:fi:" + id);
            EXPECT_TRUE(row.text.empty() || raised.message == row.text) << raised;
        }
    }
    for (const std::string method : {"diag", "tril", "triu"}) {
        for (const Value& k : {Value(NAN), Value("a"), Value(true), none, Value(Numbers{1, 2}), noWord, noSign}) {
            EXPECT_EQ(idOf(method, {square, k}),
                      "fixedpoint:fi:" + (method == "diag" ? method : "tril") + ":kthDiagInputNotInteger");
        }
    }
    EXPECT_NE(idOf("plus", {word, "text"}), "");
    EXPECT_NE(idOf("plus", {word, Value::cells(Values{1})}), "");
    for (const Values& operands : {Values{none, none}, {none, 1.0}, {1.0, none}}) {
        EXPECT_EQ(staticRefusal("embedded.fi", "plus", operands),
                  (Raised{"fixedpoint:fi:binaryop:signaturenotfound", "Signature not found."}));
    }
    for (const char* const method : {"unary_max", "unary_min"}) {
        EXPECT_EQ(staticRefusal("embedded.fi", method, {none}).id, "fixedpoint:method:noObject");
    }
    EXPECT_EQ(valuesOf(truth), Numbers{1});
    EXPECT_EQ(valuesOf(word), Numbers{1});
    EXPECT_EQ(valuesOf(pair), (Numbers{1, 2}));
}

TEST_F(FiRefusals, AreNotForEmptyArraysBesideAScalar) {
    const Value none;
    const Value a = s16(0.5);
    const Value floors = fi(0.5, type(true, 16, 15), rules({{"RoundMode", "floor"}}));
    const Value quotients = type(true, 16, 8);
    const struct {
        std::string methods;
        Values arguments;
        const char* type = "";  // none of an array of the host
    } rows[] = {
        {"plus minus", {a, none}, "s17,15"},
        {"plus minus", {none, a}, "s17,15"},
        {"times mtimes", {a, none}, "s32,30"},
        {"eq ne gt ge lt le", {a, none}},
        {"eq ne gt ge lt le", {none, a}},
        {"binary_max", {a, none}, "s16,15"},
        {"divide", {quotients, floors, none}, "s16,8"},
        {"divide", {quotients, none, floors}, "s16,8"},
        {"divide", {quotients, none, none}},
        {"divide", {quotients, none, 2.0}},
        {"divide", {quotients, 2.0, none}},
    };
    for (const auto& row : rows) {
        std::istringstream names(row.methods);
        for (std::string method; names >> method;) {
            SCOPED_TRACE(method + " row " + std::to_string(&row - rows));
            const Value result = session.call(method, row.arguments);
            if (*row.type == '\0') {
                EXPECT_EQ(result.dimensions(), (std::vector<std::size_t>{0, 0}));
                continue;
            }
            EXPECT_EQ(sizeOf(result), (Numbers{0, 0}));
            EXPECT_EQ(typeOf(result), row.type);
            EXPECT_EQ(result.get("RoundMode").toText(), method == "divide" ? "floor" : "nearest");
        }
    }
    EXPECT_FALSE(session.call("isreal", {session.call("plus", {s16(Value::complex(0.5, 0.25)), none})}).toBool());
    EXPECT_EQ(sizeOf(session.call("convF", {none, a})), (Numbers{1, 0}));
    EXPECT_TRUE(session.call("binaryop_isequal", {s16(none), none}).toBool());
    EXPECT_FALSE(session.call("binaryop_isequal", {a, none}).toBool());
}

}  // namespace
