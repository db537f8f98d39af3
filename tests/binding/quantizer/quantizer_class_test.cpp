// What a user does with objects of class "quantizer", and how its texts reach the host.
#include <bit>
#include <cmath>
#include <limits>
#include <span>

#include "tests/binding/session_support.h"
#include "tests/support/rational.h"

namespace {

using Row = Numbers;
using Action = std::function<void()>;

class QuantizerClass : public BindingTest {
 protected:
    Value quantizer(const Value& mode = "fixed", double first = 16, double second = 15) {
        return made("embedded.quantizer", {{"mode", mode}, {"format", Row{first, second}}});
    }
    /// The rows of a char matrix, and back.
    static std::vector<std::string> rowsOf(const Value& text) {
        std::vector<std::string> rows(text.rows());
        for (std::size_t i = 0; i < text.numberOfElements(); ++i) {
            rows[i % rows.size()] += static_cast<char>(hvGetTypedData<hvChar>(text.array())[i]);
        }
        return rows;
    }
    static Value textOf(const std::vector<std::string>& rows) {
        const std::size_t sizes[] = {rows.size(), rows[0].size()};
        hvArrayOwner text(hvCreateCharArray(2, sizes));
        for (std::size_t i = 0; i < sizes[0] * sizes[1]; ++i) {
            hvGetTypedData<hvChar>(text.get())[i] = static_cast<hvChar>(rows[i % sizes[0]][i / sizes[0]]);
        }
        return Value(std::move(text));
    }
    /// The digits of a number that isn't negative, zero-filled.
    static std::string digits(const Integer& word, int base, std::size_t width) {
        const std::string text = word.get_str(base);
        return std::string(width - std::min(width, text.size()), '0') + text;
    }
};

// The values themselves are tested without the host (tests/quantization).
TEST_F(QuantizerClass, ShowsTheConstantsUnderTheirNames) {
    const std::vector<std::string> names = {
        "wordlength",  "fractionlength", "exponentlength", "precision",    "eps",         "realmin", "realmax",
        "denormalmin", "denormalmax",    "exponentmax",    "exponentbias", "exponentmin", "version"};
    const struct {
        const char* mode;
        Row format;
        Row constants;  // in the order of the names
        Row shown;      // as format
        double low;
    } rows[] = {
        {"fixed", {8.9, -3.9}, {8, -3, 0, 8, 8, 8, 1016, 8, 8, 0, 0, 0, 2}, {8, -3}, -1024},
        {"ufixed", {8, 3}, {8, 3, 0, 9, 0.125, 0.125, 31.875, 0.125, 0.125, 0, 0, 0, 2}, {8, 3}, 0},
        {"float",
         {16, 5},
         {16, 10, 5, 10, 0x1p-10, 0x1p-14, 65504, 0x1p-24, 0x1p-14 - 0x1p-24, 15, 15, -14, 2},
         {16, 5},
         -65504},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.mode);
        const Value q = quantizer(row.mode, row.format[0], row.format[1]);
        for (std::size_t i = 0; i < names.size(); ++i) {
            // Only the three lengths are more than shown.
            if (i > 2) {
                q.set(names[i], 7);
            }
            EXPECT_EQ(q.get(names[i]).toDouble(), row.constants[i]) << names[i];
        }
        EXPECT_EQ(q.get("datamode"), Value(row.mode));
        EXPECT_EQ(q.get("format"), Value(row.shown));
        EXPECT_EQ(session.call("upperbound", {q}), Value(row.constants[6]));
        EXPECT_EQ(session.call("lowerbound", {q}), Value(row.low));
    }
    EXPECT_EQ(quantizer("fixed", 1, 0).get("eps"), Value(-1));
}

TEST_F(QuantizerClass, WritesWordsReadsThemAndCounts) {
    const struct {
        const char* mode;
        double first, second;
        const char* roundMode;
        const char* overflowMode;
        double base;
        Row values;
        std::vector<std::string> words;
        Row read;
        double overflows;  // of one pass over the values
    } rows[] = {
        {"fixed",
         8,
         4,
         "floor",
         "saturate",
         16.9,
         {1.5, -1.5, 100, -0.03125},
         {"18", "e8", "7f", "ff"},
         {1.5, -1.5, 7.9375, -0.0625},
         1},
        {"fixed", 8, 0, "nearest", "saturate", 8, {-128, 8, -300}, {"200", "010", "200"}, {-128, 8, -128}, 1},
        {"fixed", 80, 0, "fix", "saturate", 36, {-1, 35.9}, {"5gv2rma270x9hhj3", "000000000000000z"}, {-1, 35}, 0},
        {"ufixed",
         5,
         1,
         "convergent",
         "wrap",
         2,
         {0.25, 0.75, 16, -0.5, 15.5},
         {"00000", "00010", "00000", "11111", "11111"},
         {0, 1, 0, 15.5, 15.5},
         2},
        {"ufixed",
         66,
         0,
         "ceil",
         "wrap",
         10,
         {0x1p65 + 0x1p13, 0.5},
         {"36893488147419111424", "00000000000000000001"},
         {0x1p65 + 0x1p13, 1},
         0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.mode << " base " << row.base);
        const Value q = quantizer(row.mode, row.first, row.second);
        q.set("roundmode", row.roundMode);
        q.set("overflowmode", row.overflowMode);
        EXPECT_EQ(rowsOf(session.call("num2base", {q, row.values, row.base})), row.words);
        EXPECT_EQ(session.call("quantizenumeric", {q, row.values}), Value(row.read));
        EXPECT_EQ(session.call("base2num", {q, textOf(row.words), row.base}),
                  Value::matrix(row.read.size(), 1, row.read));
        EXPECT_EQ(q.get("noverflows"), Value(2 * row.overflows));
        EXPECT_EQ(q.get("noperations"), Value(2.0 * static_cast<double>(row.values.size())));
        EXPECT_EQ(q.get("max"), Value(*std::ranges::max_element(row.read)));
        EXPECT_EQ(q.get("minlog"), Value(*std::ranges::min_element(row.read)));
        EXPECT_EQ(q.get("maxlog"), q.get("max"));
    }
    EXPECT_EQ(reports(), "");
    // A value has more bits than the 27 of the fraction, and is rounded by the quantizer alone.
    EXPECT_EQ(session.call("num2base", {quantizer("float", 40, 12), 2 - 0x1p-40, 16}), Value("3fffffffff"));
    for (const double value : {0.0, -0.0, 1.5, -HUGE_VAL, 0x1p-1074}) {
        const std::uint64_t bits = std::bit_cast<std::uint64_t>(value);
        const Value text = session.call("num2base", {quantizer("double"), value, 10});
        EXPECT_EQ(text.toText(), digits(Integer(std::to_string(bits)), 10, 20));
        const double read = session.call("base2num", {quantizer("double"), text, 10}).toDouble();
        EXPECT_EQ(std::bit_cast<std::uint64_t>(read), bits);
    }
    EXPECT_EQ(session.call("num2base", {quantizer("single"), -1.5, 16}), Value("bfc00000"));
}

TEST_F(QuantizerClass, RefusesWhatDoesNotFitInOrderAndStaysAsItWas) {
    const Value q = quantizer("fixed", 16, 5), real = quantizer("float", 16, 5),
                scaled = quantizer("ScaledDouble", 16, 5);
    const auto set = [](const Value& object, const char* name, const Value& value) {
        return [=] { object.set(name, value); };
    };
    const auto call = [this](const char* name, const Value& object, const Value& value, const Value& base) {
        return [=, this] { session.call(name, {object, value, base}); };
    };
    const auto make = [this](const Value& first, const Value& second) {
        return [=, this] { session.construct("embedded.quantizer", {first, second}); };
    };
    const struct {
        Action action;
        const char* id;
        const char* text = "";  // where no other test sees it
    } rows[] = {
        {set(q, "wordlength", 0.9), "wordlengthtoosmall"},
        {set(q, "wordlength", NAN), "wordlengthtoosmall"},
        {set(q, "wordlength", 1e300), "wordlengthtoobig"},
        {set(real, "wordlength", 5), "wordlengthlargerthanexponent"},
        {set(real, "fractionlength", 40), "exponenttoobig"},
        {set(real, "fractionlength", 16), "exponentlargerthanwordlength"},
        {set(real, "exponentlength", -1), "exponenttoosmall"},
        {make(type(true, 8, 7), 2), "constructor:badsignature", "QUANTIZER constructor signature not recognized."},
        {make(type(true, 8, 7), "0"), "constructor:badsignature"},
        {call("num2base", scaled, "1", "2"), "num2base:notdouble", "Value to convert must be a double array."},
        {call("num2base", scaled, 1, "2"), "num2base:basenotnumeric", "Base must be numeric."},
        {call("num2base", scaled, 1, true), "num2base:basenotnumeric"},
        {call("num2base", scaled, 1, 1.99), "num2base:baseoutofrange", "Base value must be >= 2 and <= 36"},
        {call("num2base", scaled, 1, 37), "num2base:baseoutofrange"},
        {call("num2base", scaled, 1, 2), "num2base:notdefined"},
        {call("base2num", scaled, 1, "2"), "base2num:notstring", "Base array must be string."},
        {call("base2num", scaled, "1", "2"), "base2num:basenotnumeric"},
        {call("base2num", scaled, "1", Row()), "base2num:baseoutofrange"},
        {call("base2num", scaled, "1", 4294967298.0), "base2num:baseoutofrange"},
        {call("base2num", scaled, "1", 2), "base2num:notdefined"},
    };
    for (const auto& [action, id, text] : rows) {
        const Raised raised = thrownBy(action);
        EXPECT_EQ(raised.id, std::string("fixedpoint:quantizer:") + id);
        EXPECT_TRUE(*text == '\0' || raised.message == text) << raised;
        for (const Value& object : {q, real, scaled}) {
            EXPECT_EQ(object.get("format"), Value(Row{16, 5}));
            EXPECT_EQ(object.get("noperations"), Value(0));
        }
    }
    EXPECT_EQ(thrownBy(set(q, "format", Row{1, 2, 3})).id, "VELMAR:datatype:badValue");
    EXPECT_EQ(session.call("num2base", {q, Row(), 2}).columns(), 16U);
    EXPECT_EQ(session.call("base2num", {q, textOf({" 20 ", "zz  ", std::string("ffe\0", 4)}), 16}),
              Value::matrix(3, 1, Row{1, 0, 4094.0 / 32}));
}

TEST_F(QuantizerClass, IsComparedResetShownAndListed) {
    const Value q = session.construct("embedded.quantizer", {type(false, 12, 3), 1});
    const Value twin = quantizer("ufixed", 12, 3);
    EXPECT_EQ(session.call("isequal", {q, twin}), Value(false));
    twin.set("roundmode", "convergent");
    twin.set("overflowmode", "wrap");
    twin.set("noverflows", 0x1.8p63);
    twin.set("maxlog", 3.5);
    EXPECT_EQ(session.call("isequal", {q, twin}), Value(true));
    EXPECT_EQ(session.call("isequal", {q, type(false, 12, 3)}), Value(false));
    EXPECT_EQ(session.call("isquantizer", {q}), Value(true));
    for (const char* const reset : {"initializestates", "resetlog", "resetlogging"}) {
        twin.set("Tag", reset);
        EXPECT_TRUE(session.call(0, reset, {twin}).empty());
        EXPECT_EQ(twin.get("max"), Value(std::numeric_limits<double>::lowest()));
        EXPECT_EQ(twin.get("noverflows"), Value(0));
        EXPECT_EQ(twin.get("Tag"), Value(reset));
        twin.set("max", 3.5);
        twin.set("noverflows", 2.5);
        EXPECT_EQ(twin.get("noverflows"), Value(2));
    }
    session.display(session.construct("embedded.quantizer"));
    EXPECT_EQ(session.takePrinted(),
              "\n        DataMode = fixed\n       RoundMode = floor\n    OverflowMode = saturate\n"
              "          Format = [16  15]\n");
    EXPECT_EQ(refusal("set", {q, "mode", "fixed"}).message,
              "You cannot use SET to change the properties of a QUANTIZER object; use dot notation instead.");
}

// A class keeps what is added to it, so the other tests must not meet it.
TEST_F(QuantizerClass, MayStandAtAnyPlaceOfALogReport) {
    inOwnProcess([this] {
        session.addMethod("embedded.quantizer", "logreport",
                          [](int, std::span<const hvArray* const>) { return std::vector<hvArrayOwner>{}; });
        EXPECT_TRUE(session.call(0, "logreport", {1, quantizer()}).empty());
    });
}

}  // namespace
