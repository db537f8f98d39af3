#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "quantization/quantizer.h"
#include "tests/support/errors.h"
#include "tests/support/quantizers.h"

namespace {

std::string written(const quantizer& q, const number& x, int length, int base) {
    std::string out(static_cast<std::size_t>(length), '?');
    q.num2base(out.data(), length, x, base);
    return out;
}

}  // namespace

TEST(Show, PrintsWhatTheModeHas) {
    struct Row {
        Description q;
        std::string mode;
        std::string rules;
        std::string format;
    };
    const auto rules = [](const std::string& round, const std::string& overflow) {
        return "       RoundMode = " + round + "\n" + (overflow.empty() ? "" : "    OverflowMode = " + overflow + "\n");
    };
    const Row rows[] = {
        {{Mode::Double, 16, 15}, "double", "", "[64  11]"},
        {{Mode::Float, 16, 5, Rounding::convergent}, "float", rules("convergent", ""), "[16  5]"},
        {{Mode::Fixed, 8, -7, Rounding::fix, true}, "fixed", rules("fix", "wrap"), "[8  -7]"},
        {{Mode::Single, 8, 7}, "single", "", "[32  8]"},
        {{Mode::Ufixed, 8, 7, Rounding::nearest}, "ufixed", rules("nearest", "saturate"), "[8  7]"},
        {{Mode::None, 8, 7}, "none", "", ""},
        {{Mode::Boolean, 8, 7}, "boolean", "", "[1  0]"},
        {{Mode::ScaledDouble, 8, 7, Rounding::ceil}, "ScaledDouble", rules("ceil", "saturate"), "[8  7]"},
    };
    for (const Row& row : rows) {
        const quantizer q = row.q.make();
        const std::string format = row.format.empty() ? "" : "          Format = " + row.format + "\n";
        HostCapture capture;
        q.disp();
        EXPECT_EQ(std::exchange(capture.printed, ""), "\n        DataMode = " + row.mode + "\n" + row.rules + format);
        q.fidisp();
        EXPECT_EQ(capture.printed, "            Mode = " + row.mode + "\n" + format);
    }
    quantizer tagged = Description{Mode::None}.make();
    tagged.setTag("here");
    embedded::setFeatureFiTagLogging(true);
    HostCapture capture;
    tagged.disp();
    embedded::setFeatureFiTagLogging(false);
    EXPECT_EQ(capture.printed, "\n        DataMode = none\n             Tag = here\n");
    EXPECT_STREQ(quantizer::getVelmarPackageClassName(), "embedded.quantizer");
    EXPECT_STREQ(quantizer::getVelmarClassName(), "quantizer");
    EXPECT_EQ(quantizer::getVersion(), 2);
}

TEST(Digits, GoOutAndComeBack) {
    struct Row {
        Description q;
        double value;
        int base;
        const char* digits;
    };
    const Row rows[] = {
        {{Mode::Fixed, 8, 7}, -1.0, 2, "10000000"},
        {{Mode::Fixed, 8, 7}, 0.5, 2, "01000000"},
        {{Mode::Fixed, 8, 7}, -1.0 / 128, 16, "ff"},
        {{Mode::Fixed, 8, -2}, 12.0, 16, "03"},
        {{Mode::Ufixed, 8, 8}, 255.0 / 256, 16, "ff"},
        {{Mode::Ufixed, 8, 0}, 200.0, 10, "200"},
        {{Mode::Boolean, 8, 0}, 1.0, 2, "1"},
        {{Mode::Float, 16, 5}, 1.0, 16, "3c00"},
        {{Mode::Float, 16, 5}, -2.0, 16, "c000"},
        {{Mode::Float, 16, 5}, 0x1p-24, 16, "0001"},
        {{Mode::Single, 8, 7}, -1.5, 16, "bfc00000"},
        {{Mode::Double, 8, 7}, 1.0, 16, "3ff0000000000000"},
        {{Mode::Fixed, 64, 0}, -1.0, 16, "ffffffffffffffff"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::Message() << row.q << ' ' << row.value);
        const quantizer q = row.q.make();
        for (const unsigned precision : {52u, 64u}) {
            const number x(row.value, precision, false);
            EXPECT_EQ(written(q, x, static_cast<int>(std::string(row.digits).size()), row.base), row.digits);
            number back(0.0, precision, false);
            EXPECT_EQ(&q.base2num(row.digits, row.base, back), &back);
            EXPECT_EQ(back.todouble(), row.value);
        }
    }
}

TEST(Digits, OfTheSignBitAreNegativeInSignedWordsAlone) {
    const auto read = [](Mode mode) {
        number x(0.0, 52, false);
        return Description{mode, 8, 0}.make().base2num("80", 16, x).todouble();
    };
    EXPECT_EQ(read(Mode::Fixed), -128.0);
    EXPECT_EQ(read(Mode::Ufixed), 128.0);
}

TEST(SignedDecimal, IsAlignedRightInItsField) {
    const quantizer q = Description{Mode::Fixed, 8, 7}.make();
    char field[8] = "#######";
    q.num2sdec(field, 6, number(-0.5, 52, false));
    EXPECT_STREQ(field, "   -64#");
    q.num2sdec(field, -1, number(0.5, 52, false));
    EXPECT_STREQ(field, "   -64#");
}

TEST(Texts, AreRefusedWhereTheModeHasNone) {
    struct Row {
        Mode mode;
        bool decimal;
        bool base;
    };
    const Row rows[] = {
        {Mode::Double, false, true}, {Mode::Float, false, true},         {Mode::Fixed, true, true},
        {Mode::Single, false, true}, {Mode::Ufixed, true, true},         {Mode::None, false, false},
        {Mode::Boolean, true, true}, {Mode::ScaledDouble, false, false}, {Mode::UnsignedScaledDouble, false, false}};
    const Raised none;
    for (const Row row : rows) {
        SCOPED_TRACE(static_cast<int>(row.mode));
        const quantizer q = Description{row.mode, 16, 5}.make();
        char field[80];
        number x(0.0, 52, false);
        EXPECT_EQ(raisedBy([&] { q.num2sdec(field, 80, x); }),
                  row.decimal ? none
                              : (Raised{"fixedpoint:quantizer:sdec:fixedonly",
                                        "Num2sdec not defined for float, double or single."}));
        EXPECT_EQ(raisedBy([&] { q.num2base(field, 80, x, 2); }),
                  row.base ? none
                           : (Raised{"fixedpoint:quantizer:num2base:notdefined",
                                     "Num2base is not defined for this quantizer mode."}));
        EXPECT_EQ(raisedBy([&] { q.base2num("0", 2, x); }),
                  row.base ? none
                           : (Raised{"fixedpoint:quantizer:base2num:notdefined",
                                     "Base2num is not defined for this quantizer mode."}));
    }
}
