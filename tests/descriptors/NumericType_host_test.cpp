// Types as the host sees them: signs as arrays, dialog texts and the events of a handle.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
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

}  // namespace
