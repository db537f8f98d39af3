// The static "quantizenumeric" of class "fi" as a user of the host calls it.
#include <cmath>
#include <limits>

#include "tests/binding/session_support.h"

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

class Quantizenumeric : public BindingTest {
 protected:
    Value quantized(const std::vector<Value>& arguments) {
        return session.callStatic("embedded.fi", "quantizenumeric", arguments);
    }
};

TEST_F(Quantizenumeric, OfFiTellsTheTypeByNumbersAndTheModesByName) {
    struct Row {
        std::vector<Value> arguments;
        Numbers result;
        const char* why;
    };
    const Numbers edges = {1.0, -1.0, NAN, kInfinity, -kInfinity, 0.1};
    const Numbers halves = {0.75, 0.5, 1.5, 2.5, -0.5};
    const Row rows[] = {
        {{edges, true, 8, 7, "floor"}, {127 / 128.0, -1, 0, 127 / 128.0, -1, 12 / 128.0}, "saturates by itself"},
        {{edges, 1, 8, 7, "ceil", "wrap"}, {-1, -1, 0, 0, 0, 13 / 128.0}, "infinity wraps to 0"},
        {{edges, 0, 8.9, 7.9, "floor", "saturate"}, {1, 0, 0, 255 / 128.0, 0, 12 / 128.0}, "lengths are truncated"},
        {{edges, 1, 8, 7, "ceil", "wrap", 0}, {-1, -1, 0, 0, 0, 13 / 128.0}, "serially"},
        {{edges, 1, 8, 7, "ceil", "wrap", true}, {-1, -1, 0, 0, 0, 13 / 128.0}, "in parallel"},
        {{halves, true, 8, 0, "convergent"}, {1, 0, 2, 2, 0}, "ties to even"},
        {{halves, true, 8, 0, "nearest"}, {1, 1, 2, 3, 0}, "ties up"},
        {{halves, true, 8, 0, "round"}, {1, 1, 2, 3, -1}, "ties away from zero"},
        {{halves, true, 8, 0, "fix"}, {0, 0, 1, 2, 0}, "toward zero"},
        {{-1, true, 40, 0, "floor"}, {-1}, "two chunks"},
        {{-1, false, 40, 0, "floor", "wrap"}, {0x1p40 - 1}, "two chunks without a sign"},
        {{-1, false, 64, 0, "floor", "wrap"}, {0x1p64}, "the top bit of a chunk is no sign"},
        {{kInfinity, 7, 65535, 65530, "floor"}, {16}, "the longest word"},
        {{columnOf<std::int64_t>({0x3FE8000000000000}), true, 8, 7, "floor"}, {0.75}, "bytes are read as doubles"},
        {{columnOf<std::int8_t>({1, 2, 3}), true, 8, 7, "floor"}, {0, 0, 0}, "and missing ones as zeros"},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(quantized(row.arguments).toDoubles(), row.result) << row.why;
    }
    EXPECT_EQ(thrownBy([&] { quantized({1, true, 0, 0, "floor"}); }).id, "fixedpoint:quantizer:wordlengthtoosmall");
    EXPECT_EQ(thrownBy([&] { quantized({1, true, NAN, 0, "floor"}); }).id, "fixedpoint:quantizer:wordlengthtoosmall");
    EXPECT_EQ(thrownBy([&] { quantized({1, true, 1e99, 0, "floor"}); }).id, "fixedpoint:quantizer:wordlengthtoobig");
    EXPECT_THROW(quantized({1, true, 8, 0}), HostError);
    EXPECT_THROW(quantized({1, true, 8, 0, "up"}), HostError);
    const Value complex = Value(hvArrayOwner(hvCreateComplexScalar(0.3, 0.3)));
    EXPECT_EQ(quantized({complex, true, 8, 1, "floor"}), Value(0.0));
    // A third dimension counts among the columns.
    const std::size_t dims[] = {2, 3, 4};
    const Value cube = Value(hvArrayOwner(hvCreateNumericArray(3, dims, hvDOUBLE_CLASS)));
    EXPECT_EQ(quantized({cube, true, 8, 1, "floor"}), Value::matrix(2, 12, Numbers(24)));
}

}  // namespace
