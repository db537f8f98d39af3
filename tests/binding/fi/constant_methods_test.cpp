// What a user asks an array for: constants of its type, its sign, its parts.
#include "tests/binding/session_support.h"

namespace {

using ConstantMethods = BindingTest;

TEST_F(ConstantMethods, ComplexTakesArraysInTheTypeOfTheOther) {
    const Value a = fi(0.5, type(true, 8, 7));
    EXPECT_EQ(session.call("binaryop_complex", {a, 0.25}).get("double"), Value::complex(0.5, 0.25));
    EXPECT_EQ(session.call("binaryop_complex", {0.25, a}).get("double"), Value::complex(0.25, 0.5));
    const Value both = session.call("binaryop_complex", {a, fi(0.75, type(true, 16, 4))});
    EXPECT_EQ(both.get("double"), Value::complex(0.5, 0.75));
    EXPECT_EQ(typeOf(both), "s8,7");
    logging(true);
    session.takeWarnings();
    const Value wide = fi(std::vector<double>{3, -3}, type(true, 8, 4));
    EXPECT_TRUE(session.takeWarnings().empty());
    session.call("binaryop_complex", {a, wide});
    EXPECT_EQ(session.takeWarnings(),
              (std::vector<Warning>{{"fi:overflow", "2 overflows occurred in the fi complex operation."}}));
    // The array overflows where it becomes an operand, which is counted and told with the rest.
    EXPECT_EQ(session.call("noverflows", {session.call("binaryop_complex", {a, 3.0})}).toDouble(), 1.0);
    EXPECT_EQ(session.takeWarnings(),
              (std::vector<Warning>{{"fi:overflow", "1 overflow occurred in the fi complex operation."}}));
}

TEST_F(ConstantMethods, NewSignsTellWhatOverflowed) {
    const Value u = fi(std::vector<double>{3, 0, 200}, type(false, 8, 0));
    const Value lowest = fi(Value::complex(-1, -1), type(true, 8, 7));
    struct Row {
        const char* method;
        Value argument;
        std::vector<Warning> told;
    };
    const Row rows[] = {
        {"uminus", u, {{"fi:overflow", "2 overflows occurred in the fi unary minus operation."}}},
        {"uminus", lowest, {{"fi:overflow", "2 overflows occurred in the fi unary minus operation."}}},
        {"conj", lowest, {{"fi:overflow", "1 overflow occurred in the fi conjugation operation."}}},
        {"conj", u, {}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.method);
        logging(false);
        session.call(row.method, {row.argument});
        EXPECT_TRUE(session.takeWarnings().empty());
        logging(true);
        session.call(row.method, {row.argument});
        EXPECT_EQ(session.takeWarnings(), row.told);
    }
}

}  // namespace
