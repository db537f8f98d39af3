// The surface of class "fi": constructors, every property by its access, the methods, and the life of handles.
#include <cmath>
#include <map>
#include <random>
#include <sstream>

#include "tests/binding/session_support.h"

namespace {

class FiSurface : public BindingTest {};

// Constructors

TEST_F(FiSurface, ConstructorShapes) {
    const Value empty = session.construct("embedded.fi");
    EXPECT_TRUE(session.call("isempty", {empty}).toBool());
    EXPECT_FALSE(session.call("isfimathlocal", {empty}).toBool());
    const Value one = session.construct("embedded.fi", {M_PI});
    EXPECT_EQ(typeOf(one), "s16,15");
    EXPECT_EQ(valuesOf(one), Numbers{1.0 - 0x1p-15});
    EXPECT_TRUE(session.call("isfimathlocal", {one}).toBool());
    EXPECT_EQ(typeOf(fi(M_PI, type(true, 20, 4))), "s20,4");
    EXPECT_EQ(typeOf(fi(M_PI, type("Fixed-point: unspecified scaling"))), "s16,13");
    EXPECT_EQ(fi(1, type(true, 8, 0), rules({{"OverflowMode", "wrap"}})).get("OverflowMode").toText(), "wrap");
    EXPECT_FALSE(session.call("isfimathlocal", {fi(1, type(true, 8, 0), false)}).toBool());
    EXPECT_TRUE(session.call("isfimathlocal", {fi(1, type(true, 8, 0), true)}).toBool());

    const Value t = type(true, 8, 0);
    EXPECT_EQ(makingRefusal("embedded.fi", {1, t, true, 1}),
              (Raised{"fixedpoint:fi:nargchk:tooManyInputs", "Too many input arguments"}));
    EXPECT_EQ(makingRefusal("embedded.fi", {"text"}),
              (Raised{"fixedpoint:fi:constructor:numeric", "FI constructor only valid for numeric data"}));
    EXPECT_EQ(thrownBy([&] { fi(1, 2); }).id, "fixedpoint:numerictype:notnumerictype");
    EXPECT_EQ(thrownBy([&] { fi(NAN, t); }).id, "fixedpoint:nofixednan");
    for (const char* const name : {"numerictype", "fimath", "globalfimath", "qlogger", "filog"}) {
        const std::string owner = std::string(name) == "globalfimath" ? "fimath" : name;
        EXPECT_EQ(makingRefusal("embedded." + std::string(name), {1}),
                  (Raised{"fixedpoint:" + owner + ":nargchk:tooManyInputs", "Too many input arguments"}));
        EXPECT_EQ(session.construct("embedded." + std::string(name)).className(), "embedded." + std::string(name));
    }
    EXPECT_EQ(session.construct("embedded.quantizer", {t, 1}).className(), "embedded.quantizer");
    EXPECT_EQ(makingRefusal("embedded.quantizer", {t}).id, "fixedpoint:quantizer:constructor:badsignature");
    EXPECT_EQ(makingRefusal("embedded.type").id, "VELMAR:class:notConstructible");
}

TEST_F(FiSurface, WithoutTheFeatureAnEmptyArrayHasRulesOfItsOwn) {
    session.setFeature("FimathLessFis", 0);
    EXPECT_TRUE(session.call("isfimathlocal", {session.construct("embedded.fi")}).toBool());
    session.setFeature("FimathLessFis", 1);
}

// Properties

template <class T>
Value hostScalar(T value) {
    hvArrayOwner made(hvCreateNumericMatrix(1, 1, hvClassOf<T>));
    hvGetTypedData<T>(made.get())[0] = value;
    return Value(std::move(made));
}

TEST_F(FiSurface, TheWordIsReadInManyForms) {
    const std::pair<const char*, Value> rows[] = {{"double", 0.5},
                                                  {"int", hostScalar<std::int16_t>(16384)},
                                                  {"intarray", hostScalar<std::int16_t>(16384)},
                                                  {"dravelinarray", hostScalar<std::int16_t>(16384)},
                                                  {"bin", "0100000000000000"},
                                                  {"oct", "040000"},
                                                  {"dec", "16384"},
                                                  {"hex", "4000"}};
    for (const auto& [name, value] : rows) {
        EXPECT_EQ(s16(0.5).get(name), value) << name;
        EXPECT_EQ(session.call(name, {s16(0.5)}), value) << name;
    }
}

TEST_F(FiSurface, AWriteLeavesItsOrdinal) {
    const std::pair<const char*, std::pair<Value, int>> rows[] = {{"RoundMode", {"fix", 13}},
                                                                  {"OverflowMode", {"wrap", 14}},
                                                                  {"ProductMode", {"KeepMSB", 16}},
                                                                  {"SumWordLength", {12, 21}},
                                                                  {"CastBeforeSum", {true, 24}},
                                                                  {"double", {0.5, 25}},
                                                                  {"data", {0.5, 26}},
                                                                  {"int", {3, 27}},
                                                                  {"intarray", {3, 28}},
                                                                  {"dravelinarray", {3, 29}},
                                                                  {"SumFixedExponent", {-3, 35}},
                                                                  {"ProductBias", {1, 42}},
                                                                  {"SumSlopeAdjustmentFactor", {1.5, 37}},
                                                                  {"Tag", {"x", 47}}};
    for (const auto& [name, written] : rows) {
        const Value object = s16(0.5);
        object.set(name, written.first);
        EXPECT_EQ(session.call("LastPropertySet", {object}).toDouble(), written.second) << name;
    }
    const Value object = s16(0.5);
    const std::int32_t wordLength = 70;
    setInternally(object, "WordLength", &wordLength);
    EXPECT_EQ(object.get("WordLength").toDouble(), 70.0);
    EXPECT_EQ(session.call("LastPropertySet", {object}).toDouble(), 5.0);
    setInternally(object, "WordLength", nullptr);
    EXPECT_EQ(object.get("WordLength").toDouble(), 70.0);
    setInternally(object, "numerictype", type(false, 9, 3).interface());
    EXPECT_EQ(typeOf(object), "u9,3");
}

TEST_F(FiSurface, AWriteToTheRulesGivesTheArrayRulesOfItsOwn) {
    const Value object = fi(0.5, type(true, 16, 15), false);
    object.set("SumMode", "KeepLSB");
    EXPECT_TRUE(object.get("fimathislocal").toBool());
    EXPECT_EQ(fi(0.5, type(true, 16, 15), false).get("SumMode").toText(), "FullPrecision");
    object.set("fimath", Value());
    EXPECT_FALSE(object.get("fimathislocal").toBool());
    EXPECT_EQ(object.get("SumMode").toText(), "FullPrecision");
    object.set("fimath", rules({{"RoundMode", "ceil"}}));
    EXPECT_EQ(object.get("fimath").get("RoundMode").toText(), "ceil");
    EXPECT_EQ(session.call("fimath", {object}).get("RoundMode").toText(), "ceil");

    const Value real = fi(0.5, type("Double"), false);
    real.set("RoundMode", "floor");
    EXPECT_FALSE(real.get("fimathislocal").toBool());
    EXPECT_EQ(real.get("RoundMode").toText(), "nearest");
}

/// What an array is, with its rules, its logs and those of its registers, as far as a user sees it.
std::vector<Value> stateOf(Session& session, const Value& object) {
    std::vector<Value> state = {session.call("LastPropertySet", {object}), session.call("isfimathlocal", {object})};
    for (OMPropInfo* const property : object.interface()->getClass()->getProperties()) {
        if (property->isExternalGetAccess()) {
            const Value read = object.get(property->getName());
            state.push_back(read.isObject() ? read.call("tostring") : read);
        }
    }
    for (const int place : {0, 1, 2}) {
        const Value log = session.call("getqloggerstruct", {object, place});
        for (const char* const name : {"Max", "Min", "NOverflows", "NUnderflows", "NOperations"}) {
            state.push_back(log.get(name));
        }
    }
    return state;
}

/// Writes a property as a user, or as the system where users may not; returns the id of the error or the warning.
std::string answerTo(Session& session, const Value& object, const char* name, const Value& value) {
    OMPropInfo& property = *object.interface()->getClass()->getProperty(name);
    session.takeWarnings();
    if (property.isExternalSetAccess()) {
        const std::string id = thrownBy([&] { object.set(name, value); }).id;
        const std::vector<Warning> warnings = session.takeWarnings();
        return warnings.empty() ? id : warnings.front().id;
    }
    const HostCapture capture;
    OMDataType* const type = property.getDataType();
    void* const shape = omdtConvertFromVelmar(type, value.toArray().get());
    const std::string id =
        raisedBy([&] { property.setValue(OMDatabaseClient::getInternalClient(), object.interface(), shape); }).id;
    type->releaseValue(shape);
    return capture.warnings.empty() ? id : capture.warnings.front().id;
}

TEST_F(FiSurface, AWriteThatIsRefusedOrDoesNothingLeavesTheArrayAsItWas) {
    const char* const setting = "TolvaneKit:fimathInvalidSetting";
    const char* const inType = "TolvaneKit:numerictype:InvalidSetting";
    const Value scaled =
        made("embedded.numerictype",
             {{"DataTypeMode", "Fixed-point: slope and bias scaling"}, {"Slope", 0.1875}, {"Bias", 2}});
    using Pair = std::vector<double>;
    const Pair two = {0.5, 0.25};
    const std::map<std::string, std::function<Value()>> objects = {
        {"words", [&] { return fi(two, type(true, 16, 15), false); }},
        {"words with rules",
         [&] {
             return fi(two, type(true, 16, 15), rules({{"SumMode", "KeepLSB"}}));
         }},
        {"slope", [&] { return fi(two, scaled, false); }},
        {"double", [&] { return fi(two, type("Double"), false); }},
        {"double with rules", [&] { return fi(two, type("Double")); }},
        {"NaN",
         [&] {
             return fi(Pair{NAN, 1}, type("Double"));
         }},
        {"complex", [&] { return fi(Value::complex(0.5, 1), type(true, 16, 15), false); }},
        // Entries of more bits than the word has.
        {"precise",
         [&] {
             return session.call("realabs", {fi(two, type(true, 100, 90), false), type(false, 60, 50)});
         }},
        {"local without rules", [&] { return fi(two, type(true, 16, 15), true); }},
    };
    struct Row {
        const char* property;
        Value value;
        const char* answer;  // the id of the error or of the warning
        std::vector<const char*> objects;
    };
    const std::vector<const char*> words = {"words",   "words with rules", "slope",
                                            "complex", "precise",          "local without rules"};
    const std::vector<const char*> doubles = {"double", "double with rules", "NaN"};
    const std::vector<const char*> binary = {"words", "words with rules", "complex", "local without rules"};
    const Row rows[] = {
        {"ProductSlopeAdjustmentFactor", 7, setting, words},
        {"SumSlopeAdjustmentFactor", NAN, setting, words},
        {"SumSlopeAdjustmentFactor", 0.5, setting, {"double with rules"}},
        {"CStyle", 0, "", words},
        {"CStyle", false, "", words},
        {"CStyle", 0, "", {"double with rules"}},
        {"CStyle", "text", "fixedpoint:fimath:cstyle:badvalue", words},
        {"CStyle", -1, "fixedpoint:fimath:NonPositiveProductWordLength", words},
        {"ProductWordLength", 0, "fixedpoint:fimath:NonPositiveProductWordLength", words},
        {"MaxProductWordLength", -1, "fixedpoint:fimath:NonPositiveMaxProductWordLength", words},
        {"SumWordLength", 70000, "fixedpoint:fimath:TooBigSumWordLength", words},
        {"MaxSumWordLength", 65536, "fixedpoint:fimath:TooBigMaxSumWordLength", words},
        {"ProductSlope", 0, setting, words},
        {"SumSlope", -1, setting, words},
        {"RoundMode", "sideways", "VELMAR:datatype:badValue", words},
        {"RoundMode", "floor", "", {"double"}},
        {"CastBeforeSum", false, "", {"double"}},
        {"CStyle", 32, "", {"double"}},
        {"SumSlopeAdjustmentFactor", 7, "", {"double"}},
        {"ProductWordLength", 0, "", {"double"}},
        {"fimath", "unknown tag", "VELMAR:class:MustBeHandle", words},
        {"fimath", 1, "VELMAR:class:WrongObjectType", words},
        {"double", "text", "fixedpoint:fi:constructor:numeric", words},
        {"data", Pair{1, NAN}, "fixedpoint:nofixednan", words},
        {"data", Value::complex(1, 1), "fixedpoint:fi:nocomplexslopebias", {"slope"}},
        {"int", "text", "fixedpoint:fi:int:notnumeric", words},
        {"int", Value::complex(1, 1), "fixedpoint:fi:nocomplexslopebias", {"slope"}},
        {"intarray", Pair{1, INFINITY}, "fixedpoint:nofixedinf", binary},
        {"intarray", Pair{1, 2}, "fixedpoint:fi:intarray:not_32or64BitInt", {"precise"}},
        {"dravelinarray", "text", "fixedpoint:fi:int:notnumeric", binary},
        {"bin", "01x", "fixedpoint:fi:base2num:InvalidElement", words},
        {"oct", 5, "fixedpoint:fi:base2num:NotCharArray", words},
        {"dec", "", "fixedpoint:fi:base2num:EmptyInput", words},
        {"numerictype", type("Boolean"), "fixedpoint:nologicalcomplex", {"complex"}},
        {"numerictype", type(true, 8, 0), "fixedpoint:nofixednan", {"NaN"}},
        {"DataTypeMode", "Boolean", "fixedpoint:nologicalcomplex", {"complex"}},
        {"DataTypeMode", "Fixed-point: binary point scaling", "fixedpoint:nofixednan", {"NaN"}},
        {"DataTypeMode", "Fixed-point: unspecified scaling", "", binary},
        {"DataType", "ScaledDouble", "fixedpoint:nofixednan", {"NaN"}},
        {"DataTypeModeNoWarning", "Boolean", "", words},
        {"Scaling", "Unused", inType, words},
        {"Scaling", "SlopeBias", inType, doubles},
        {"Signed", 3, "fixedpoint:FI:signed:InvalidValue", words},
        {"Signed", false, inType, doubles},
        {"Signedness", "Unsigned", inType, doubles},
        {"SignednessBool", 3, "fixedpoint:FI:signed:InvalidValue", words},
        {"WordLength", 0, inType, words},
        {"WordLength", 65536, inType, words},
        {"WordLength", 8, inType, doubles},
        {"FractionLength", 3, inType, doubles},
        {"BinaryPoint", 3, inType, doubles},
        {"FixedExponent", 3, inType, doubles},
        {"Slope", 2, inType, doubles},
        {"Slope", 0.75, inType, binary},
        {"SlopeAdjustmentFactor", 1.5, inType, binary},
        {"SlopeAdjustmentFactor", 2.5, inType, {"slope"}},
        {"Bias", 1, inType, binary},
        {"Bias", 1, inType, doubles},
        {"LastPropertySet", 51, "fixedpoint:fi:setLastPropertySet:BadEnum", words},
    };
    logging(true);
    for (const Row& row : rows) {
        for (const char* const name : row.objects) {
            SCOPED_TRACE(testing::Message() << row.property << " = " << row.value << " of " << name);
            const Value object = objects.at(name)();
            // Their registers stay, too; slopes have none under these rules.
            refusal("plus", {object, object});
            refusal("times", {object, object});
            const std::vector<Value> before = stateOf(session, object);
            session.takeWarnings();
            EXPECT_EQ(answerTo(session, object, row.property, row.value), row.answer);
            EXPECT_EQ(stateOf(session, object), before);
        }
    }
    // The type that an array has, written once more, is the property set last, and else nothing.
    for (const char* const property :
         {"numerictype", "DataTypeMode", "DataType", "Scaling", "Signed", "Signedness", "SignednessBool", "WordLength",
          "FractionLength", "FixedExponent", "Slope", "SlopeAdjustmentFactor", "Bias"}) {
        for (const auto& [name, make] : objects) {
            SCOPED_TRACE(testing::Message() << property << " of " << name);
            const Value object = make();
            std::vector<Value> before = stateOf(session, object);
            EXPECT_EQ(answerTo(session, object, property, object.get(property)), "");
            before.front() = session.call("LastPropertySet", {object});
            EXPECT_EQ(stateOf(session, object), before);
        }
    }
}

TEST_F(FiSurface, DataTakesSizeAndComplexityAndKeepsTheType) {
    const Value object = s16(0.5);
    object.set("data", Value::matrix(1, 3, Numbers{1, -3, 0.5}, Numbers{0, 0, 0.75}));
    EXPECT_EQ(object.get("data"), Value::matrix(1, 3, Numbers{1.0 - 0x1p-15, -1, 0.5}, Numbers{0, 0, 0.75}));
    object.set("double", 0.25);
    EXPECT_EQ(object.get("double"), Value(0.25));
    EXPECT_EQ(typeOf(object), "s16,15");
}

TEST_F(FiSurface, OnlyUsersAreWarnedOfTheDataTypeMode) {
    const Value object = s16(0.5);
    session.takeWarnings();
    object.get("DataTypeMode");
    const auto warnings = session.takeWarnings();
    ASSERT_EQ(warnings.size(), 1U);
    EXPECT_EQ(warnings[0].id, "fi:getdatatypemode");
    EXPECT_EQ(warnings[0].text.substr(0, 60), "The values returned by the DataTypeMode property have change");
    object.get("DataTypeModeNoWarning");
    // Who sees all properties uses none.
    for (const Value& shown : {object, object.get("numerictype")}) {
        session.display(shown);
        EXPECT_NE(session.takePrinted().find("Fixed-point: binary point scaling"), std::string::npos);
        EXPECT_EQ(session.call("get", {shown}).field("DataTypeMode"), Value("Fixed-point: binary point scaling"));
    }
    EXPECT_EQ(reports(), "");
    session.call("get", {object, "DataTypeMode"});
    session.index(object, {hostref::dot("DataTypeMode")});
    EXPECT_EQ(session.takeWarnings().size(), 2U);
    session.setFeature("FiWarnForDataTypeMode", 0);
    object.get("DataTypeMode");
    session.setFeature("FiWarnForDataTypeMode", 1);
    EXPECT_EQ(reports(), "");
}

// Methods

/// The types told beforehand are those of results.
TEST_F(FiSurface, TellsTheTypesOfResults) {
    constexpr unsigned seed = 5;
    std::mt19937 random(seed);
    const auto anyOf = [&random](int first, int last) {
        return first + static_cast<int>(random() % static_cast<unsigned>(last - first + 1));
    };
    const auto told = [this](const char* what, const std::vector<Value>& of) {
        return session.callStatic("embedded.fi", "GetNumericTypeFor" + std::string(what), of).call("tostring").toText();
    };
    const auto typeOfResult = [this](const char* operation, const std::vector<Value>& operands) {
        return session.call("numerictype", {session.call(operation, operands)}).call("tostring").toText();
    };
    const char* const modes[] = {"FullPrecision", "KeepLSB", "KeepMSB", "SpecifyPrecision"};
    for (int i = 0; i < 100; ++i) {
        SCOPED_TRACE(testing::Message() << "seed " << seed << " case " << i);
        const Value t = type(random() % 2 == 0, anyOf(2, 40), anyOf(-5, 50));
        const Value u = type(random() % 2 == 0, anyOf(2, 40), anyOf(-5, 50));
        const Value by = rules({{"ProductMode", modes[random() % 4]},
                                {"ProductWordLength", anyOf(2, 60)},
                                {"ProductFractionLength", anyOf(-9, 60)},
                                {"MaxProductWordLength", 300},
                                {"SumMode", modes[random() % 4]},
                                {"SumWordLength", anyOf(2, 60)},
                                {"SumFractionLength", anyOf(-9, 60)},
                                {"MaxSumWordLength", 300}});
        const int n = anyOf(2, 9);
        const Numbers ones(static_cast<std::size_t>(n), 0.0);
        const Value row = fi(Value::matrix(1, ones.size(), ones), t, by);
        const Value column = fi(Value::matrix(ones.size(), 1, ones), u, by);
        const Value i1 = fi(Value::complex(0, 0), t, by);
        const Value i2 = fi(Value::complex(0, 0), u, by);
        EXPECT_EQ(told("Plus", {t, u, by}), typeOfResult("plus", {fi(0, t, by), fi(0, u, by)}));
        EXPECT_EQ(told("Times", {t, u, by}), typeOfResult("times", {fi(0, t, by), fi(0, u, by)}));
        EXPECT_EQ(told("MatrixTimes", {t, u, by, n}), typeOfResult("mtimes", {row, column}));
        EXPECT_EQ(told("MatrixTimes", {t, u, by}), told("MatrixTimes", {t, u, by, 1}));
        EXPECT_EQ(told("Sum", {t, u, by}), typeOfResult("times", {i1, i2}));
        EXPECT_EQ(told("Sum", {u, by, n}), typeOfResult("leadingdimension_sum", {column}));
        EXPECT_EQ(told("Sum", {u, by}), told("Sum", {u, by, 1}));
    }
    const Value t = type(true, 8, 3);
    const Value plain = rules({});
    EXPECT_EQ(told("Plus", {type("Double"), type("Double"), plain}), "numerictype('double')");
    EXPECT_EQ(thrownBy([&] { told("Times", {type("Boolean"), t, plain}); }).id, "fixedpoint:fi:nobooleanmath");
    EXPECT_EQ(thrownBy([&] { told("Sum", {t, plain, -1}); }).id, "fixedpoint:fi:termCount");
    EXPECT_EQ(thrownBy([&] { told("Plus", {t, Value(), plain}); }).id, "fixedpoint:method:noObject");
    const auto best = [&](const Value& values) {
        return session.callStatic("embedded.fi", "GetBestPrecisionForHvArray", {t, values}).call("tostring").toText();
    };
    EXPECT_EQ(best(Numbers{0.1, -3}), "numerictype(true,8,5)");
    EXPECT_EQ(best(hostScalar<std::uint16_t>(9)), "numerictype(false,16,0)");
    EXPECT_EQ(thrownBy([&] { best("text"); }).id, "fixedpoint:fi:setBestPrecision:mustbenumeric");
    EXPECT_EQ(t.call("tostring").toText(), "numerictype(true,8,3)");
}

TEST_F(FiSurface, QuestionsOfTypeAndShape) {
    const Value matrix = s16(Value::matrix(2, 3, Numbers(6, 0.5)));
    const Value row = fi(Numbers{1, 2}, type("Double"));
    const Value scaled = fi(1, type("Scaled double: binary point scaling"));
    const Value empty = session.construct("embedded.fi");
    // A digit for each of the four.
    const std::pair<const char*, const char*> rows[] = {
        {"numberofelements", "6210"},
        {"length", "3210"},
        {"ndims", "2222"},
        {"isfi isreal", "1111"},
        {"isdouble isfloat", "0100"},
        {"isfixed", "1001"},
        {"isscalingbinarypoint isscaledtype", "1011"},
        {"isscaleddouble isscalar iscolumn", "0010"},
        {"isempty", "0001"},
        {"isrow isvector", "0110"},
        {"issingle isboolean isscalingslopebias isscalingunspecified", "0000"},
    };
    for (const auto& [methods, answers] : rows) {
        std::istringstream names(methods);
        for (std::string method; names >> method;) {
            std::string given;
            for (const Value& object : {matrix, row, scaled, empty}) {
                given += std::to_string(count(method.c_str(), object));
            }
            EXPECT_EQ(given, answers) << method;
        }
    }
    EXPECT_FALSE(session.callStatic("embedded.fi", "Is64BitPlatform").toBool());
}

TEST_F(FiSurface, SizeGivesAsManyResultsAsAreWanted) {
    const std::size_t dims[] = {2, 3, 4};
    const Value cube = s16(Value(hvArrayOwner(hvCreateNumericArray(3, dims, hvDOUBLE_CLASS))));
    EXPECT_EQ(session.call("size", {cube}).toDoubles(), (Numbers{2, 3, 4}));
    const std::vector<std::vector<double>> wanted = {{2, 12}, {2, 3, 4}, {2, 3, 4, 1}};
    for (const auto& sizes : wanted) {
        Numbers given;
        for (const Value& size : session.call(static_cast<int>(sizes.size()), "size", {cube})) {
            given.push_back(size.toDouble());
        }
        EXPECT_EQ(given, sizes);
    }
    EXPECT_EQ(session.call("size", {cube, 3}).toDouble(), 4.0);
    EXPECT_EQ(session.call("size", {cube, 9}).toDouble(), 1.0);
    for (const Value& bad : {Value(0), Value(1.5), Value(NAN), Value(Numbers{1, 2}), Value("a")}) {
        EXPECT_EQ(refusal("size", {cube, bad}),
                  (Raised{"fixedpoint:fi:size:dimensionMustBePositiveInteger",
                          "Dimension argument must be a positive integer scalar within indexing range."}));
    }
    EXPECT_EQ(refusal("size", {cube, 1}, 2),
              (Raised{"fixedpoint:fi:size:tooManyOutputs", "Too many output arguments."}));
    for (const std::vector<Value>& tooMany : {Values{cube, 1, 2}, {cube, 1, "a", cube}}) {
        EXPECT_EQ(thrownBy([&, &arguments = tooMany] { session.call("size", arguments); }),
                  (Raised{"fixedpoint:fi:size:tooManyInputs", "Too many input arguments."}));
    }
    EXPECT_EQ(session.call("numel", {cube}), Value(24));
    EXPECT_EQ(session.call("numel", {s16(Value())}), Value(0));
    EXPECT_EQ(session.call("numel", {cube.get("numerictype")}), Value(1));
}

TEST_F(FiSurface, SetListsAndChangesNothing) {
    const Value object = s16(0.5);
    EXPECT_EQ(refusal("set", {object, "RoundMode", "floor"}),
              (Raised{"fixedpoint:set:InvalidUse",
                      "You cannot use SET to change the properties of a FI object; use dot notation instead."}));
    EXPECT_EQ(idOf("set", {object, 1}), "fixedpoint:set:InvalidUse");
    EXPECT_EQ(idOf("set", {object, "NoSuchProperty"}), "fixedpoint:set:builtinerror");
    EXPECT_EQ(refusal("set", {object, "RoundMode"}), Raised{});
    EXPECT_EQ(object.get("RoundMode").toText(), "nearest");
}

TEST_F(FiSurface, HostFunctionsMayFindAnArrayAtAnyPlace) {
    inOwnProcess([this] {
        int calls = 0;
        for (const char* const name : {"plot", "zlim", "and", "plotless"}) {
            session.addMethod("embedded.fi", name, [&calls](int, std::span<const hvArray* const>) {
                ++calls;
                return std::vector<hvArrayOwner>{};
            });
        }
        const Value object = s16(0.5);
        for (const char* const name : {"plot", "zlim", "and"}) {
            session.call(0, name, {1, object});
        }
        EXPECT_EQ(calls, 3);
        EXPECT_NE(idOf("plotless", {1, object}, 0), "");
        EXPECT_EQ(idOf("colon", {1, object}), "fixedpoint:fi:colon:NotDefined");
    });
}

// Handles

TEST_F(FiSurface, CopiesAreApartAndValuesShare) {
    const Value object = s16(0.5);
    const Value same = object;
    const Value copy = session.call("copy", {object});
    const Value type = session.call("numerictype", {object});
    object.set("double", 0.25);
    type.set("WordLength", 9);
    EXPECT_EQ(valuesOf(same), Numbers{0.25});
    EXPECT_EQ(valuesOf(copy), Numbers{0.5});
    EXPECT_EQ(typeOf(object), "s16,15");
}

}  // namespace
