#include "descriptors/embedded.h"

#include <array>
#include <boost/make_shared.hpp>
#include <limits>
#include <optional>
#include <typeinfo>

#include "descriptors/LocalFxpClient.h"
#include "descriptors/fimath.h"
#include "descriptors/fxpProdHardware.h"
#include "host/bs.h"
#include "host/hf.h"
#include "host/hsc.h"
#include "host/hv.h"
#include "host/om.h"
#include "host/reference/features.h"
#include "host/reference/functions.h"
#include "tests/support/arrays.h"
#include "tests/support/errors.h"
#include "tests/support/objects.h"
#include "tests/support/types.h"

namespace {

/// Puts all switches back when a test ends.
class Features : public ::testing::Test {
 protected:
    void TearDown() override {
        embedded::setFeatureFiTagLogging(false);
        embedded::setFeatureFiStackTraceLogging(false);
        embedded::setFeatureFi33PlusMemoryFootprint(true);
        embedded::setFeatureNumericTypeUnspecifiedSign(true);
        embedded::setFeatureFiRealOnlySlopeBias(true);
        embedded::setFeatureFimathLessFis(true);
        hostref::clearFeatures();
    }
};

using Getter = bool (*)();
using Setter = void (*)(bool);
struct Switch {
    const char* name;
    int registeredDefault;
    Getter get;
    Setter set;
};
constexpr Switch switches[] = {
    {"FiTagLogging", 0, &embedded::getFeatureFiTagLogging, &embedded::setFeatureFiTagLogging},
    {"FiStackTraceLogging", 0, &embedded::getFeatureFiStackTraceLogging, &embedded::setFeatureFiStackTraceLogging},
    {"Fi33PlusMemoryFootprint", 1, &embedded::getFeatureFi33PlusMemoryFootprint,
     &embedded::setFeatureFi33PlusMemoryFootprint},
    {"NumerictypeUnspecifiedSign", 1, &embedded::getFeatureNumericTypeUnspecifiedSign,
     &embedded::setFeatureNumericTypeUnspecifiedSign},
    {"FiRealOnlySlopeBias", 1, &embedded::getFeatureFiRealOnlySlopeBias, &embedded::setFeatureFiRealOnlySlopeBias},
    {"FimathLessFis", 1, &embedded::getFeatureFimathLessFis, &embedded::setFeatureFimathLessFis},
    {"FiWarnForDataTypeMode", 1, &embedded::getFeatureFiWarnForDataTypeMode,
     &embedded::setFeatureFiWarnForDataTypeMode},
};

/// Runs a feature as a user would; returns the state it gives, or NaN when it gives none.
double run(const char* name, const hvArray* setting = nullptr, int resultCount = 1) {
    std::vector<hvArray*> arguments;
    const hvArrayOwner copy(setting == nullptr ? nullptr : hvCreateSharedDataCopy(setting));
    if (copy) {
        arguments.push_back(copy.get());
    }
    const hvArrayOwner result = hostref::runFeature(name, resultCount, arguments);
    if (!result) {
        return bsGetNaN();
    }
    EXPECT_TRUE(hvIsDouble(result.get()) && hvIsScalar(result.get()));
    return hvGetScalar(result.get());
}

TEST_F(Features, AreRegisteredInOrderWithTheirDefaultsAsTheyStart) {
    embedded::registerFeatures();
    embedded::registerFeatures();
    const std::vector<hostref::Feature> registered = hostref::registeredFeatures();
    ASSERT_EQ(registered.size(), std::size(switches));
    for (std::size_t i = 0; i < std::size(switches); ++i) {
        EXPECT_EQ(registered[i].name, switches[i].name);
        EXPECT_EQ(registered[i].defaultValue, switches[i].registeredDefault) << switches[i].name;
        EXPECT_EQ(switches[i].get(), switches[i].registeredDefault != 0) << switches[i].name;
        EXPECT_EQ(run(switches[i].name), switches[i].registeredDefault) << switches[i].name;
    }
}

TEST_F(Features, CommandsMoveTheirOwnSwitchAndOnlyThat) {
    embedded::registerFeatures();
    const hvArrayOwner zero(hvCreateDoubleScalar(0.0));
    const hvArrayOwner one(hvCreateDoubleScalar(1.0));
    for (const Switch& moved : switches) {
        for (const Switch& each : switches) {
            each.set(true);
        }
        EXPECT_EQ(run(moved.name, zero.get()), 0.0);
        for (const Switch& each : switches) {
            const bool isShared =
                std::string(moved.name).starts_with("Fim") || std::string(moved.name).starts_with("FiW");
            const bool isSharing =
                std::string(each.name).starts_with("Fim") || std::string(each.name).starts_with("FiW");
            const bool isMoved = each.name == moved.name || (isShared && isSharing);
            EXPECT_EQ(each.get(), !isMoved) << moved.name << " against " << each.name;
        }
        EXPECT_EQ(run(moved.name, one.get()), 1.0);
        EXPECT_TRUE(moved.get());
    }
}

TEST_F(Features, CommandsReadEveryKindOfSetting) {
    const Raised mustBe01{"VELMAR:mustBe01OffOn", "Value must be 0, 1, off, or on."};
    const Raised wrongClass{"VELMAR:doubleOrCharArgRequired", "Double or Character argument required."};
    using Settings = std::vector<std::pair<hvArray*, const char*>>;
    const auto number = [](double value) { return hvCreateDoubleScalar(value); };
    const Settings on = {
        {number(1.0), "1"},           {number(1.75), "truncated"},  {hvCreateLogicalScalar(true), "true"},
        {hvCreateString("ON"), "ON"}, {hvCreateString("oN"), "oN"}, {hvCreateString("1"), "text 1"}};
    const Settings off = {{number(0.0), "0"},
                          {number(0.99), "truncated"},
                          {number(-0.99), "truncated towards zero"},
                          {hvCreateLogicalScalar(false), "false"},
                          {hvCreateString("Off"), "Off"},
                          {hvCreateString("0"), "text 0"}};
    const Settings unfit = {{number(2.0), "2"},
                            {number(-1.0), "-1 is not the default"},
                            {number(1e300), "no int"},
                            {number(4294967296.0), "0 in 32 bits"},
                            {number(bsGetNaN()), "NaN"},
                            {number(bsGetMinusInf()), "-Inf"},
                            {hvCreateDoubleMatrix(0, 0), "empty"},
                            {hvCreateString("2"), "text 2"},
                            {hvCreateString("on "), "blank"},
                            {hvCreateString(""), "empty text"}};
    const Settings strange = {{hvCreateCellMatrix(1, 1), "cell"},
                              {hvCreateNumericMatrix(1, 1, hvSINGLE_CLASS), "single"},
                              {hvCreateNumericMatrix(1, 1, hvINT32_CLASS), "int32"}};
    embedded::registerFeatures();
    const auto check = [](const Settings& settings, std::optional<bool> state, const Raised& error) {
        for (const auto& [setting, why] : settings) {
            const hvArrayOwner owner(setting);
            for (const bool before : {false, true}) {
                embedded::setFeatureFiTagLogging(before);
                EXPECT_EQ(raisedBy([&, array = setting] { run("FiTagLogging", array); }), error) << why;
                EXPECT_EQ(embedded::getFeatureFiTagLogging(), state.value_or(before)) << why;
            }
        }
    };
    check(on, true, {});
    check(off, false, {});
    check(unfit, std::nullopt, mustBe01);
    check(strange, std::nullopt, wrongClass);
}

TEST_F(Features, CommandsCountTheirArguments) {
    const hvArrayOwner zero(hvCreateDoubleScalar(0.0));
    std::array<hvArray*, 2> inputs = {zero.get(), zero.get()};
    std::array<hvArray*, 2> outputs = {nullptr, nullptr};
    const auto call = [&](int outputCount, int inputCount) {
        return raisedBy([&] { embedded::setFimathLessFis(outputCount, outputs.data(), inputCount, inputs.data()); });
    };
    EXPECT_EQ(call(2, 1), raisedBy([] { hvErrMsg(3); }));
    EXPECT_EQ(call(2, 2), raisedBy([] { hvErrMsg(3); }));
    EXPECT_EQ(call(0, 2), raisedBy([] { hvErrMsg(1); }));
    EXPECT_EQ(call(0, -1), raisedBy([] { hvErrMsg(2); }));
    EXPECT_NE(call(2, 0), call(0, 2));
    EXPECT_NE(call(0, 2), call(0, -1));
    EXPECT_TRUE(embedded::getFeatureFimathLessFis());
    EXPECT_EQ(outputs[0], nullptr);

    EXPECT_EQ(call(0, 1), Raised{});
    EXPECT_FALSE(embedded::getFeatureFimathLessFis());
    EXPECT_EQ(outputs[0], nullptr);
    EXPECT_EQ(call(0, 0), Raised{});
    const hvArrayOwner state(outputs[0]);
    EXPECT_EQ(hvGetScalar(state.get()), 0.0);
}

TEST(Enumerations, HaveTheirNamesAndValuesInTheOrderOfAdding) {
    struct Row {
        EnumStringType* (*get)();
        const char* name;
        const char* values;
    };
    const Row rows[] = {
        {&embedded::getQuantizerModeEnum, "quantizer Mode",
         "5 none,0 double,1 float,2 fixed,3 single,4 ufixed,6 boolean,7 ScaledDouble,8 UnsignedScaledDouble,"},
        {&embedded::getRoundModeEnum, "quantizer Round Mode", "0 ceil,1 convergent,2 fix,3 floor,4 nearest,5 round,"},
        {&embedded::getOverflowModeEnum, "quantizer Overflow Mode", "0 saturate,1 wrap,"},
        {&embedded::getScalingEnum, "quantizer Scaling", "0 BinaryPoint,1 SlopeBias,"},
        {&embedded::getOperationTypeEnum, "embedded OperationTypeEnum",
         "0 Unspecified,1 Assignment,2 Product,3 Sum,4 Difference,"},
        {&fimath::getPrecisionModeEnum, "fimathPrecisionModeEnum", "0 Arbitrary,1 Stepped,"},
        {&fimath::getArithmeticModeEnum, "fimathArithmeticModeEnum",
         "0 FullPrecision,1 KeepLSB,2 KeepMSB,3 SpecifyPrecision,"},
        {&NumericType::getDataTypeModeEnum, "NumericTypeDataTypeModeEnum",
         "0 Boolean,1 Single,2 Double,3 Fixed-point: unspecified scaling,4 Fixed-point: binary point scaling,"
         "5 Fixed-point: slope and bias scaling,7 Scaled double: unspecified scaling,"
         "8 Scaled double: binary point scaling,9 Scaled double: slope and bias scaling,"},
        {&NumericType::getDataTypeEnum, "NumericTypeDataTypeEnum",
         "0 Fixed,4 boolean,2 double,3 single,1 ScaledDouble,"},
        {&NumericType::getScalingEnum, "NumericTypeScalingEnum", "0 BinaryPoint,1 SlopeBias,2 Unspecified,3 Unused,"},
        {&NumericType::getSignednessEnum, "embedded numerictype Signedness", "1 Signed,0 Unsigned,2 Auto,"},
        {&NumericType::getDataTypeOverrideEnum, "DataTypeOverride", "0 Inherit,1 Off,"},
    };
    for (const Row& row : rows) {
        EnumStringType* const type = row.get();
        std::string values;
        for (const EnumStringType::Entry& entry : type->getEntries()) {
            values += std::to_string(entry.value) + ' ' + entry.text + ',';
        }
        EXPECT_EQ(values, row.values);
        EXPECT_STREQ(type->getName(), row.name);
        EXPECT_EQ(OMTypeRepository::getType(row.name, true), type);
        EXPECT_EQ(row.get(), type);
    }
    EXPECT_STREQ(embedded::getRoundModeEnum()->getText(static_cast<int>(embedded::RoundModeEnum::Nearest)), "nearest");
    EXPECT_STREQ(
        embedded::getQuantizerModeEnum()->getText(static_cast<int>(embedded::QuantizerModeEnum::UnsignedScaledDouble)),
        "UnsignedScaledDouble");
}

TEST(EmbeddedPackage, IsMadeOnceAndLetGo) {
    OMApplication* const package = embedded::getEmbeddedPackage();
    EXPECT_EQ(embedded::getEmbeddedPackage(), package);
    EXPECT_EQ(OMApplicationManager::getApplication("embedded"), package);
    package->addLocalClass(new CountedClass("thing"));
    EXPECT_EQ(CountedClass::sAlive, 1);
    embedded::terminateEmbeddedPackage();
    embedded::terminateEmbeddedPackage();
    EXPECT_EQ(CountedClass::sAlive, 0);
    EXPECT_EQ(OMApplicationManager::getApplication("embedded"), nullptr);
}

/// A host function "test_fail" that raises what a test asks for, and quiet errors.
class LastErrors : public ::testing::Test {
 protected:
    void SetUp() override {
        hostref::registerFunction("test_fail", [this](int, std::span<const hvArray* const>) {
            raiseError(mError.id, mError.message);
            return std::vector<hvArrayOwner>();
        });
    }
    void TearDown() override {
        hscSetTrapFlag(0);
        hostref::registerFunction("test_fail", {});
    }
    Raised mError;
};

TEST_F(LastErrors, OfTrappedCallsAreRaisedAgain) {
    struct Row {
        Raised error, raised;
    };
    const Row rows[] = {
        {{"zoo:cat:gone", "The cat is gone."}, {"zoo:cat:gone", "The cat is gone."}},
        {{"", "No identifier."}, {"fixedpoint:embedded:throw_last_error", "No identifier."}},
        {{"zoo:quiet", ""}, {"zoo:quiet", ""}},
        {{"", ""}, {"fixedpoint:embedded:throw_last_error", ""}},
    };
    HostCapture capture;
    constexpr int loudMode = 0;
    const int oldMode = hvSetErrorMode(loudMode);
    for (const Row& row : rows) {
        mError = row.error;
        EXPECT_NE(embedded::call_VELMAR_with_trap(0, nullptr, 0, nullptr, "test_fail"), 0);
        EXPECT_EQ(raisedBy([] { embedded::throw_last_error(); }), row.raised);
    }
    EXPECT_EQ(hvSetErrorMode(oldMode), loudMode);
    EXPECT_EQ(capture.printed, "");

    EXPECT_NE(embedded::call_VELMAR_with_trap(0, nullptr, 0, nullptr, "no such function"), 0);
    EXPECT_NE(raisedBy([] { embedded::throw_last_error(); }), Raised{});
}

using ObjectsInValues = PackageTest;

TEST_F(ObjectsInValues, AreCheckedAgainstAClassTree) {
    CountedClass* const animal = addClass("animal");
    CountedClass* const cat = addClass("cat", animal);
    const std::pair<const char*, CountedClass*> classes[] = {
        {"animal", animal}, {"cat", cat}, {"tiger", addClass("tiger", cat)}, {"stone", addClass("stone")}};
    for (const auto& [objectName, objectClass] : classes) {
        const Reference object(objectClass->makeObject());
        for (const auto& [name, itsClass] : classes) {
            // In the order of the table each but the stone descends from those before it.
            const bool expected = objectClass == itsClass || (&itsClass < &objectClass && objectName[0] != 's');
            EXPECT_EQ(embedded::checkIsa(object.get(), "zoo", name), expected) << objectName << " a " << name;
        }
        EXPECT_FALSE(embedded::checkIsa(object.get(), "zoo", "unicorn"));
        EXPECT_FALSE(embedded::checkIsa(object.get(), "no such package", objectName));
        EXPECT_EQ(object->getNumberOfReferences(), 1);
    }
    EXPECT_FALSE(embedded::checkIsa(nullptr, "zoo", "cat"));
}

TEST_F(ObjectsInValues, GiveTheirClassAndTheirInternalReference) {
    CountedClass* const cat = addClass("cat");
    Reference tom(cat->makeObject());
    hvArrayOwner value(omdtConvertToVelmar(OMTypeRepository::getType("zoo.cat", true), tom.get()));
    EXPECT_EQ(embedded::hvArray2OMClass(value.get()), cat);
    const hvArrayOwner number(hvCreateDoubleScalar(1.0));
    EXPECT_EQ(embedded::hvArray2OMClass(number.get()), nullptr);
    EXPECT_EQ(embedded::hvArray2OMClass(nullptr), nullptr);

    hvArrayOwner internal(embedded::external_to_internal_reference(value.get()));
    EXPECT_EQ(embedded::hvArray2OMClass(internal.get()), cat);
    EXPECT_EQ(tom->getNumberOfReferences(), 3);
    EXPECT_EQ(tom->getNumberOfExternalReferences(), 1);
    value.reset();
    tom.reset();
    EXPECT_EQ(CountedObject::sAlive, 1);
    internal.reset();
    EXPECT_EQ(CountedObject::sAlive, 0);
    const hvArrayOwner nothing(embedded::external_to_internal_reference(number.get()));
    EXPECT_TRUE(hvIsEmpty(nothing.get()));
}

TEST(ScalarImag, IsReadByClass) {
    const auto check = [](hvArray* made, double imaginary, const char* what) {
        const hvArrayOwner array(made);
        EXPECT_EQ(embedded::getScalarImag(array.get()), imaginary) << what;
    };
    check(hvCreateComplexScalar(1.0, -2.5), -2.5, "double");
    check(hvCreateDoubleScalar(7.0), 0.0, "real");
    check(hvCreateString("i"), 0.0, "char");
    check(hvCreateLogicalScalar(true), 0.0, "logical");
    check(hvCreateCellMatrix(1, 1), 0.0, "cell");
    check(hvCreateDoubleMatrix(0, 0, hvCOMPLEX), 0.0, "empty");
    for (int id = hvDOUBLE_CLASS; id <= hvUINT64_CLASS; ++id) {
        hvDispatchClass(static_cast<hvClassID>(id), [&]<class T>(std::type_identity<T>) {
            hvArray* const array = hvCreateNumericMatrix(1, 2, hvClassOf<T>, hvCOMPLEX);
            hvGetTypedImagData<T>(array)[0] = std::numeric_limits<T>::lowest() + T{3};
            check(array, static_cast<double>(std::numeric_limits<T>::lowest() + T{3}), typeid(T).name());
        });
    }
}

TEST(FxpClient, SharesItsHardwareWithCopies) {
    const auto hardware =
        boost::make_shared<fxpProdHardware>(ProdHWDeviceType::ASIC, 8, 16, 32, 64, FxpHardwareRounding::Floor);
    const auto bits = [&] {
        return std::array{hardware->getBitPerChar(), hardware->getBitPerShort(), hardware->getBitPerInt(),
                          hardware->getBitPerLong()};
    };
    EXPECT_EQ(bits(), (std::array{8, 16, 32, 64}));
    hardware->setMicropcessorWithContainerSizes(9, 18, 27, 36);
    EXPECT_EQ(bits(), (std::array{9, 18, 27, 36}));
    EXPECT_EQ(static_cast<int>(hardware->getHWDeviceType()), 0);
    EXPECT_EQ(hardware->getHWIntDivRndMode(), FxpHardwareRounding::Floor);
    const LocalFxpClient client(hardware);
    {
        const LocalFxpClient copy(client);
        EXPECT_EQ(copy.getProdHardware(), hardware.get());
        EXPECT_EQ(hardware.use_count(), 3);
    }
    EXPECT_EQ(hardware.use_count(), 2);
}

}  // namespace
