// What a user does with objects of class "quantizer", checked against big integers and rationals.
#include <bit>
#include <cmath>
#include <limits>
#include <span>

#include "tests/binding/session_support.h"
#include "tests/support/rational.h"

namespace {

using Row = std::vector<double>;
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

// Formulas of the constants by word length w, fraction length f and exponent length e (-1 in words) alone.
TEST_F(QuantizerClass, ShowsTheConstantsOfEveryMode) {
    const struct {
        const char* mode;
        double first, second;
        int w, f, e;
        bool isPositive;
    } rows[] = {
        {"fixed", 8.9, -3.9, 8, -3, -1, false}, {"fixed", 100, 70, 100, 70, -1, false},
        {"ufixed", 52, 60, 52, 60, -1, true},   {"ScaledDouble", 12, 4, 12, 4, -1, false},
        {"boolean", 9, 3, 1, 0, -1, true},      {"UnsignedScaledDouble", 12, 4, 12, 4, -1, true},
        {"float", 80, 9, 80, 70, 9, false},     {"float", 20, 0, 20, 19, 0, false},
        {"single", 9, 3, 32, 23, 8, false},     {"double", 9, 3, 64, 52, 11, false},
        {"none", 9, 3, 64, 52, 11, false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.mode << ' ' << row.first << ' ' << row.second);
        const Value q = quantizer(row.mode, row.first, row.second);
        const bool isFloat = row.e >= 0;
        const int emax = isFloat ? static_cast<int>(std::ldexp(1, row.e - 1)) - 1 : 0;
        const int emin = isFloat ? 1 - emax : 0;
        const double step = std::ldexp(1, -row.f);
        const Rational range = twoTo(row.w - row.f - (row.isPositive ? 0 : 1));
        const Rational top = isFloat ? Rational((2 - twoTo(-row.f)) * twoTo(emax)) : Rational(range - twoTo(-row.f));
        const Rational low = isFloat ? Rational(-top) : row.isPositive ? Rational(0) : Rational(-range);
        const double realmin = isFloat ? std::ldexp(1, emin) : step;
        const double denormalmin = isFloat ? std::ldexp(1, emin - row.f) : step;
        const std::pair<const char*, double> wanted[] = {{"wordlength", row.w},
                                                         {"fractionlength", row.f},
                                                         {"exponentlength", std::max(row.e, 0)},
                                                         {"precision", isFloat          ? row.f
                                                                       : row.isPositive ? row.w + 1
                                                                                        : row.w},
                                                         {"eps", step},
                                                         {"realmin", realmin},
                                                         {"realmax", nearestDouble(top)},
                                                         {"denormalmin", denormalmin},
                                                         {"denormalmax", isFloat ? realmin - denormalmin : step},
                                                         {"exponentmax", emax},
                                                         {"exponentbias", emax},
                                                         {"exponentmin", emin},
                                                         {"version", 2}};
        for (const auto& [name, value] : wanted) {
            // Only the three lengths are more than shown.
            if (&value >= &wanted[3].second) {
                q.set(name, 7);
            }
            EXPECT_EQ(q.get(name).toDouble(), value) << name;
        }
        EXPECT_EQ(q.get("datamode"), Value(row.mode));
        EXPECT_EQ(q.get("format"), Value(Row{double(row.w), double(isFloat ? row.e : row.f)}));
        EXPECT_EQ(session.call("upperbound", {q}), Value(nearestDouble(top)));
        EXPECT_EQ(session.call("lowerbound", {q}), Value(nearestDouble(low)));
    }
    EXPECT_EQ(quantizer("fixed", 1, 0).get("eps"), Value(-1));
}

TEST_F(QuantizerClass, WritesTheWordsOfBigIntegersAndReadsThem) {
    Random random(20);
    for (int step = 0; step < 300; ++step) {
        const bool isSigned = random.oneIn(2);
        const bool wraps = random.oneIn(2);
        const int w = random.between(1, random.oneIn(3) ? 200 : 60);
        const int f = random.between(-20, w + 20);
        const Rounding rule = random.pick(kRoundings);
        const int base = random.between(2, 36);
        SCOPED_TRACE(testing::Message() << "seed " << random.seed() << " step " << step << (isSigned ? " s" : " u") << w
                                        << ',' << f << ' ' << nameOf(rule) << (wraps ? " wrap" : "") << " base "
                                        << base);
        const Value q = quantizer(isSigned ? "fixed" : "ufixed", w, f);
        q.set("roundmode", nameOf(rule));
        q.set("overflowmode", wraps ? "wrap" : "saturate");
        const Integer modulus(twoTo(w));
        const Integer low = isSigned ? Integer(-modulus / 2) : Integer(0);
        const Integer high = low + modulus - 1;
        // The fewest digits for every word; logarithms may tell one more in a base that is a power of 2.
        const std::size_t width = session.call("num2base", {q, 0.0, base}).columns();
        const std::size_t fewest = digits(modulus - 1, base, 0).size();
        EXPECT_TRUE(width == fewest || (width == fewest + 1 && (base == 4 || base == 8 || base == 32)));
        Row values, read;
        std::vector<std::string> words;
        double overflows = 0;
        for (int i = 0; i < 5; ++i) {
            values.push_back(random.oneIn(5) ? std::ldexp(random.between(-9, 9), -f - 1)
                                             : random.real(-f - 3, w - f, random.between(1, 53)));
            Integer word = rounded(scaled(Rational(values.back()), f), rule);
            if (word < low || word > high) {
                ++overflows;
                const Integer wrapped = word - modulus * floorOf(Rational(word - low) / Rational(modulus));
                word = wraps ? wrapped : word < low ? low : high;
            }
            words.push_back(digits(word < 0 ? Integer(word + modulus) : word, base, width));
            read.push_back(nearestDouble(scaled(Rational(word), -f)));
        }
        EXPECT_EQ(rowsOf(session.call("num2base", {q, values, base})), words);
        EXPECT_EQ(session.call("quantizenumeric", {q, values}), Value(read));
        overflows *= 2;
        EXPECT_EQ(session.call("base2num", {q, textOf(words), base + 0.9}), Value::matrix(5, 1, read));
        const double max = std::max(0.0, *std::ranges::max_element(read));
        EXPECT_EQ(q.get("noverflows"), Value(overflows));
        EXPECT_EQ(q.get("noperations"), Value(11));
        EXPECT_EQ(q.get("max"), Value(max));
        EXPECT_EQ(q.get("minlog"), Value(std::min(0.0, *std::ranges::min_element(read))));
        EXPECT_EQ(q.get("maxlog"), q.get("max"));
    }
    EXPECT_EQ(reports(), "");
}

TEST_F(QuantizerClass, WritesTheBitsOfFloatingPointNumbersAndReadsThem) {
    Random random(21);
    for (int step = 0; step < 200; ++step) {
        const int base = random.between(2, 36);
        const double wide = random.anyDouble();
        const float narrow = std::bit_cast<float>(static_cast<std::uint32_t>(random.word()));
        for (const auto& [mode, value, bits] :
             {std::tuple("double", wide, std::bit_cast<std::uint64_t>(wide)),
              std::tuple("single", double(narrow), std::uint64_t(std::bit_cast<std::uint32_t>(narrow)))}) {
            SCOPED_TRACE(testing::Message()
                         << "seed " << random.seed() << " step " << step << ' ' << mode << ' ' << value);
            const Value text = session.call("num2base", {quantizer(mode), value, base});
            const double read = session.call("base2num", {quantizer(mode), text, base}).toDouble();
            EXPECT_TRUE(std::isnan(value) ? std::isnan(read)
                                          : std::bit_cast<std::uint64_t>(read) == std::bit_cast<std::uint64_t>(value));
            if (!std::isnan(value)) {
                EXPECT_EQ(text.toText(), digits(Integer(std::to_string(bits)), base, text.columns()));
            }
        }
    }
    // A value has more bits than the 27 of the fraction, and is rounded by the quantizer alone.
    EXPECT_EQ(session.call("num2base", {quantizer("float", 40, 12), 2 - 0x1p-40, 16}), Value("3fffffffff"));
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
    const std::pair<Action, Raised> rows[] = {
        {set(q, "wordlength", 0.9), {"wordlengthtoosmall", "Wordlength cannot be negative or zero."}},
        {set(q, "wordlength", NAN), {"wordlengthtoosmall", "Wordlength cannot be negative or zero."}},
        {set(q, "wordlength", 1e300), {"wordlengthtoobig", "Word length cannot be greater than 65535."}},
        {set(real, "wordlength", 5),
         {"wordlengthlargerthanexponent", "Wordlength must be larger than exponentlength."}},
        {set(real, "fractionlength", 40), {"exponenttoobig", "Exponent length cannot be greater than 31."}},
        {set(real, "fractionlength", 16),
         {"exponentlargerthanwordlength", "Exponentlength must be less than wordlength."}},
        {set(real, "exponentlength", -1), {"exponenttoosmall", "Exponent length cannot be negative."}},
        {make(type(true, 8, 7), 2), {"constructor:badsignature", "QUANTIZER constructor signature not recognized."}},
        {make(type(true, 8, 7), "0"), {"constructor:badsignature", "QUANTIZER constructor signature not recognized."}},
        {call("num2base", scaled, "1", "2"), {"num2base:notdouble", "Value to convert must be a double array."}},
        {call("num2base", scaled, 1, "2"), {"num2base:basenotnumeric", "Base must be numeric."}},
        {call("num2base", scaled, 1, true), {"num2base:basenotnumeric", "Base must be numeric."}},
        {call("num2base", scaled, 1, 1.99), {"num2base:baseoutofrange", "Base value must be >= 2 and <= 36"}},
        {call("num2base", scaled, 1, 37), {"num2base:baseoutofrange", "Base value must be >= 2 and <= 36"}},
        {call("num2base", scaled, 1, 2), {"num2base:notdefined", "Num2base is not defined for this quantizer mode."}},
        {call("base2num", scaled, 1, "2"), {"base2num:notstring", "Base array must be string."}},
        {call("base2num", scaled, "1", "2"), {"base2num:basenotnumeric", "Base must be numeric."}},
        {call("base2num", scaled, "1", Row()), {"base2num:baseoutofrange", "Base value must be >= 2 and <= 36"}},
        {call("base2num", scaled, "1", 4294967298.0), {"base2num:baseoutofrange", "Base value must be >= 2 and <= 36"}},
        {call("base2num", scaled, "1", 2), {"base2num:notdefined", "Base2num is not defined for this quantizer mode."}},
    };
    for (const auto& [action, raised] : rows) {
        EXPECT_EQ(thrownBy(action), (Raised{"fixedpoint:quantizer:" + raised.id, raised.message}));
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
