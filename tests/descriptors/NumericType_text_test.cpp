// The text forms of types: dialog strings, display, expression and log name.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "tests/support/errors.h"
#include "tests/support/types.h"

namespace {

NumericType openSign(TypeData data, TypeScaling scaling) {
    return NumericType(data, scaling, TypeSign::Auto, 16, 1, -4, 0);
}

struct Row {
    NumericType type;
    const char* tostring;
    const char* qpointstr;
    const char* slope;
    const char* bias;
    const char* disp;  // after the mode line
};

const Row kRows[] = {
    {NumericType(), "T(true,16,15)", "s16,15", "2^-15", "0",
     "Fixed-point: binary point scaling\n            Signedness: Signed\n            WordLength: 16"
     "\n        FractionLength: 15\n"},
    {NumericType(false, 8, -3), "T(false,8,-3)", "u8,-3", "2^3", "0",
     "Fixed-point: binary point scaling\n            Signedness: Unsigned\n            WordLength: 8"
     "\n        FractionLength: -3\n"},
    {openSign(TypeData::Fixed, TypeScaling::BinaryPoint), "T([],16,4)", "UnspecifiedSign16,4", "2^-4", "0",
     "Fixed-point: binary point scaling\n            Signedness: Auto\n            WordLength: 16"
     "\n        FractionLength: 4\n"},
    {NumericType(TypeMode::FixedUnspecified, true, 16, 1, 0, 0), "T(true,16)", "s16", "2^0", "0",
     "Fixed-point: unspecified scaling\n            Signedness: Signed\n            WordLength: 16\n"},
    {NumericType(TypeMode::FixedSlopeBias, true, 12, 1.25, -3, 0.5), "T(true,12,0.15625,0.5)", "s12,0.15625,0.5",
     "0.15625", "0.5",
     "Fixed-point: slope and bias scaling\n            Signedness: Signed\n            WordLength: 12"
     "\n                 Slope: 0.15625\n                  Bias: 0.5\n"},
    {NumericType(TypeMode::FixedSlopeBias, true, 12, 1, -3, 0), "T(true,12,2^-3,0)", "s12,2^-3,0", "2^-3", "0",
     "Fixed-point: slope and bias scaling\n            Signedness: Signed\n            WordLength: 12"
     "\n                 Slope: 2^-3\n                  Bias: 0\n"},
    // With a bias a power of two is a number.
    {NumericType(TypeMode::FixedSlopeBias, true, 12, 1, -3, -0.1), "T(true,12,0.125,-0.1)", "s12,0.125,-0.1", "0.125",
     "-0.1",
     "Fixed-point: slope and bias scaling\n            Signedness: Signed\n            WordLength: 12"
     "\n                 Slope: 0.125\n                  Bias: -0.1\n"},
    {NumericType(TypeMode::ScaledDoubleBinaryPoint, true, 16, 1, -15, 0),
     "T('DataType','ScaledDouble','Signed',true,'WordLength',16,'Scaling','BinaryPoint','FractionLength',15)",
     "sflt16,15", "2^-15", "0",
     "Scaled double: binary point scaling\n            Signedness: Signed\n            WordLength: 16"
     "\n        FractionLength: 15\n"},
    {openSign(TypeData::ScaledDouble, TypeScaling::BinaryPoint),
     "T('DataType','ScaledDouble','Signed',[],'WordLength',16,'Scaling','BinaryPoint','FractionLength',4)", "uflt16,4",
     "2^-4", "0",
     "Scaled double: binary point scaling\n            Signedness: Auto\n            WordLength: 16"
     "\n        FractionLength: 4\n"},
    {NumericType(TypeMode::ScaledDoubleSlopeBias, false, 12, 1.25, -3, 0.5),
     "T('DataType','ScaledDouble','Signed',false,'WordLength',12,'Scaling','SlopeBias','Slope',0.15625,'Bias',0.5)",
     "uflt12,0.15625,0.5", "0.15625", "0.5",
     "Scaled double: slope and bias scaling\n            Signedness: Unsigned\n            WordLength: 12"
     "\n                 Slope: 0.15625\n                  Bias: 0.5\n"},
    {NumericType(TypeMode::ScaledDoubleUnspecified, true, 12, 1, 0, 0),
     "T('DataType','ScaledDouble','Signed',true,'WordLength',12,'Scaling','Unspecified')", "sflt12", "2^0", "0",
     "Scaled double: unspecified scaling\n            Signedness: Signed\n            WordLength: 12\n"},
    {typeOfMode(TypeMode::Double), "T('double')", "double", "2^0", "0", "Double\n"},
    {typeOfMode(TypeMode::Single), "T('single')", "single", "2^0", "0", "Single\n"},
    {typeOfMode(TypeMode::Boolean), "T('boolean')", "boolean", "2^0", "0", "Boolean\n"},
};

TEST(NumericTypeText, HasItsFourForms) {
    for (const Row& row : kRows) {
        SCOPED_TRACE(row.tostring);
        EXPECT_EQ(row.type.tostring("T"), row.tostring);
        EXPECT_EQ(row.type.qpointstr(), row.qpointstr);
        char buffer[31];
        row.type.getSlopeString(buffer);
        EXPECT_STREQ(buffer, row.slope);
        row.type.getBiasString(buffer);
        EXPECT_STREQ(buffer, row.bias);
        row.type.getWordLengthString(buffer);
        EXPECT_EQ(buffer, std::to_string(row.type.getWordLength()));
        row.type.getFractionLengthString(buffer);
        EXPECT_EQ(buffer, std::to_string(row.type.getFractionLength()));
        const HostCapture capture;
        row.type.disp();
        EXPECT_EQ(capture.printed, std::string("\n          DataTypeMode: ") + row.disp);
    }
}

TEST(NumericTypeText, FitsTheDialogBuffers) {
    NumericType type(TypeMode::FixedSlopeBias, true, 16, 1.1125369292536007, -1022, -2.2250738585072014e-308);
    char buffer[32];
    const auto length = [&](void (*write)(char*, const NumericType*)) {
        std::memset(buffer, '#', sizeof buffer);
        write(buffer, &type);
        return std::strlen(buffer) + 1;
    };
    EXPECT_LE(length(NumericType::GetSlopeString), 25u);
    EXPECT_EQ(std::stod(buffer), type.getSlope());
    EXPECT_LE(length(NumericType::GetBiasString), 31u);
    EXPECT_EQ(std::stod(buffer), type.getBias());
    type = NumericType(true, -2147483647, 2147483647);
    EXPECT_LE(length(NumericType::GetWordLengthString), 22u);
    EXPECT_LE(length(NumericType::GetFractionLengthString), 22u);
}

TEST(NumericTypeText, ShowsAnOverrideExceptForBooleans) {
    for (const TypeMode mode : {TypeMode::Double, TypeMode::Boolean, TypeMode::FixedBinaryPoint}) {
        NumericType type = typeOfMode(mode);
        type.setDataTypeOverride(fxpDataTypeDTOMode::Off);
        const HostCapture capture;
        type.disp();
        const bool isShown = capture.printed.ends_with("\n      DataTypeOverride: Off\n");
        EXPECT_EQ(isShown, mode != TypeMode::Boolean) << capture.printed;
    }
}

TEST(NumericTypeText, NamesSignAndDataType) {
    NumericType type;
    EXPECT_STREQ(type.getIsSignedString(), "true");
    EXPECT_STREQ(type.getSignednessString(), "Signed");
    EXPECT_STREQ(type.getDataTypeString(), "Fixed");
    type.setSigned(false);
    EXPECT_STREQ(type.getIsSignedString(), "false");
    EXPECT_STREQ(type.getSignednessString(), "Unsigned");
    type = openSign(TypeData::ScaledDouble, TypeScaling::BinaryPoint);
    EXPECT_STREQ(type.getIsSignedString(), "[]");
    EXPECT_STREQ(type.getSignednessString(), "Auto");
    EXPECT_STREQ(type.getDataTypeString(), "ScaledDouble");
}

}  // namespace
