// Types as the host sees them: signs as arrays, texts, and the events of a handle.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "host/hv.h"
#include "host/om.h"
#include "tests/support/errors.h"
#include "tests/support/objects.h"
#include "tests/support/types.h"

namespace {

Raised badSign(const std::string& name) {
    return {"fixedpoint:" + name + ":signed:InvalidValue",
            "The SIGNED property of the " + name + " object must be 1 (true) or 0 (false)."};
}

TEST(NumericTypeSigns, GoToTheHostAsLogicals) {
    NumericType type;
    for (const bool isSigned : {true, false}) {
        type.setSigned(isSigned);
        for (hvArray* made : {type.getSignednessBool(), type.getSignednessBoolAsHvArray(),
                              type.getSignedEnumAsHvArray(), type.getSpecifiedSignAsHvArray()}) {
            const hvArrayOwner array(made);
            EXPECT_TRUE(hvIsLogical(array.get()) && hvIsScalar(array.get()));
            EXPECT_EQ(hvGetScalar(array.get()), isSigned ? 1.0 : 0.0);
        }
        EXPECT_EQ(type.getSpecifiedSign(), isSigned);
        EXPECT_EQ(hvArray2String(hvArrayOwner(type.getSignednessAsHvArray()).get()), isSigned ? "Signed" : "Unsigned");
    }
    type.setSignedness(TypeSign::Auto);
    const hvArrayOwner open(type.getSignednessBool());
    EXPECT_TRUE(hvIsLogical(open.get()));
    EXPECT_EQ(hvGetM(open.get()) + hvGetN(open.get()), 0u);
    for (const std::function<void()>& get :
         std::vector<std::function<void()>>{[&] { type.getSpecifiedSign(); }, [&] { type.getSpecifiedSignedness(); },
                                            [&] { hvDestroyArray(type.getSpecifiedSignAsHvArray()); },
                                            [] { NumericType::errorIfUnspecifiedSign(TypeSign::Auto); }}) {
        EXPECT_EQ(raisedBy(get), badSign("NUMERICTYPE"));
    }
}

TEST(NumericTypeSigns, ComeFromTheHostAsZeroOrOne) {
    const Raised badBool{"fixedpoint:FI:SignednessBool:InvalidValue",
                         "The SignednessBool property of the FI object must be 1 (true), 0 (false), or [] "
                         "(unspecified)."};
    struct Row {
        const char* what;
        hvArray* array;
        Raised asSign, asBool;
        TypeSign sign = TypeSign::Auto;  // as SignednessBool
    };
    const Row rows[] = {
        {"absent", nullptr, badSign("FI"), {}},
        {"empty", hvCreateDoubleMatrix(0, 0), badSign("FI"), {}},
        {"empty text", hvCreateString(""), badSign("FI"), {}},
        {"text", hvCreateString("1"), badSign("FI"), badBool},
        {"cell", hvCreateCellMatrix(1, 1), badSign("FI"), badBool},
        {"two", hvCreateDoubleScalar(2), badSign("FI"), badSign("FI")},
        {"NaN", hvCreateDoubleScalar(std::nan("")), badSign("FI"), badSign("FI")},
        {"complex", hvCreateComplexScalar(1, 0), badSign("FI"), badSign("FI")},
        {"vector", hvCreateLogicalMatrix(1, 2), badSign("FI"), badSign("FI")},
        {"one", hvCreateDoubleScalar(1), {}, {}, TypeSign::Signed},
        {"minus zero", hvCreateDoubleScalar(-0.0), {}, {}, TypeSign::Unsigned},
        {"true", hvCreateLogicalScalar(true), {}, {}, TypeSign::Signed},
        {"int8 zero", hvCreateNumericMatrix(1, 1, hvINT8_CLASS), {}, {}, TypeSign::Unsigned},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        const hvArrayOwner owner(row.array);
        NumericType type(TypeData::Fixed, TypeScaling::BinaryPoint, TypeSign::Auto, 16, 1, 0, 0);
        EXPECT_EQ(raisedBy([&] { type.setSpecifiedSign(row.array, "FI"); }), row.asSign);
        EXPECT_EQ(type.getSignedness(), row.asSign == Raised{} ? row.sign : TypeSign::Auto);
        type.setSigned(true);
        EXPECT_EQ(raisedBy([&] { type.setSignednessBool(row.array, "FI"); }), row.asBool);
        EXPECT_EQ(type.getSignedness(), row.asBool == Raised{} ? row.sign : TypeSign::Signed);
    }
    // A name of any length is cut with its message.
    const Raised cut = raisedBy([] { NumericType::throwSignednessBoolException(std::string(1000, 'n').c_str()); });
    EXPECT_EQ(cut.id.size(), 299u);
    EXPECT_EQ(cut.message.size(), 299u);
}

TEST(NumericTypeDialog, SetsFromWhatATextEvaluatesTo) {
    using Setter = void (NumericType::*)(const char*);
    struct Row {
        Setter set;
        const char* text;
        int word, exponent;
        double slope, bias;
        std::size_t warnings = 0;
    };
    const NumericType start(TypeMode::FixedSlopeBias, true, 12, 1.25, -3, 0.5);
    const double slope = start.getSlope();
    const Row rows[] = {
        {&NumericType::setWordLengthString, "8*4", 32, -3, slope, 0.5},
        {&NumericType::setWordLengthString, "20.9", 20, -3, slope, 0.5},
        {&NumericType::setWordLengthString, "1e300", 12, -3, slope, 0.5, 1},
        {&NumericType::setWordLengthString, "-1e300", 12, -3, slope, 0.5, 1},
        {&NumericType::setWordLengthString, "no such thing (", 12, -3, slope, 0.5},
        {&NumericType::setFractionLengthString, "7", 12, -7, 1.25 / 128, 0.5},
        {&NumericType::setFractionLengthString, "-2.5", 12, 2, 5, 0.5},
        {&NumericType::setFractionLengthString, "-1e300", 12, INT_MAX, HUGE_VAL, 0.5},
        {&NumericType::setSlopeString, "2^-4", 12, -4, 0.0625, 0.5},
        {&NumericType::setSlopeString, "", 12, -3, slope, 0.5},
        {&NumericType::setBiasString, "-1/4", 12, -3, slope, -0.25},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.text);
        NumericType type(start);
        const HostCapture capture;
        EXPECT_EQ(raisedBy([&] { (type.*row.set)(row.text); }), Raised{});
        EXPECT_EQ(type.getWordLength(), row.word);
        EXPECT_EQ(type.getFixedExponent(), row.exponent);
        EXPECT_EQ(type.getSlope(), row.slope);
        EXPECT_EQ(type.getBias(), row.bias);
        EXPECT_EQ(capture.warnings.size(), row.warnings);
        EXPECT_EQ(capture.printed, "");
    }
    NumericType type(start);
    EXPECT_EQ(raisedBy([&] { type.setSlopeString("-1"); }).id, "TolvaneKit:numerictype:InvalidSetting");

    // The error mode is the caller's again, whatever the text did.
    const int mode = hvSetErrorMode(3);
    type.setBiasString("also not (");
    EXPECT_EQ(hvSetErrorMode(mode), 3);
}

// The events of numbers are heard through the host (binding/numerictype).
TEST(NumericTypeEvents, CarryTheNewValueInTheShapeOfTheProperty) {
    OMClass typeClass;
    typeClass.setName("numerictype", true);
    for (const auto& [name, dataType] : {std::pair("Signed", "VELMAR array"), {"PrivDLGSigned", "bool"}}) {
        typeClass.addProperty(std::make_unique<ValuelessProperty>(name, OMTypeRepository::getType(dataType, true)));
    }
    const NumericType type;
    OMInterface* const handle = new OMInterface(nullptr, &typeClass, nullptr);
    const EventTexts seen(handle);
    NumericType::NotifySignedPropEvent(handle, false);
    NumericType::NotifyPrivDLGSignedPropEvent(handle, &type);
    EXPECT_EQ(seen.get(), (std::vector<std::string>{"SignedPostSet array of false", "PrivDLGSignedPostSet true"}));
    OMInterface::operator delete(handle);

    // A class without the property has nobody to tell.
    OMClass bare;
    OMInterface* const bareHandle = new OMInterface(nullptr, &bare, nullptr);
    bareHandle->getListenerManager()->addListener([](OMDatabaseClient*, const OMEvent&) { FAIL(); });
    NumericType::NotifyWordLengthPropEvent(bareHandle, 9);
    NumericType::NotifySignedPropEvent(bareHandle, true);
    OMInterface::operator delete(bareHandle);
}

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
