#include "host/hsc.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

#include "host/bs.h"
#include "host/hd.h"
#include "host/hf.h"
#include "host/hi.h"
#include "host/ho.h"
#include "host/hsv.h"
#include "host/om.h"
#include "host/reference/features.h"
#include "host/reference/modules.h"
#include "tests/support/arrays.h"
#include "tests/support/errors.h"
#include "tests/support/own_process.h"

namespace {

constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

/// The trap flag and the error mode as a fresh host has them, before and after each test.
class HostCalls : public ::testing::Test {
 protected:
    void SetUp() override { reset(); }
    void TearDown() override { reset(); }
    static void reset() {
        hscSetTrapFlag(0);
        hvSetErrorMode(0);
        hostref::setLastError({});
    }
};

TEST(Messages, ReachTheListenerWholeAndInOneCall) {
    std::vector<std::string> calls;
    const auto old = hostref::setPrintListener([&](const std::string& text) { calls.push_back(text); });
    const std::string longText(200000, 'y');
    EXPECT_EQ(hscPrintf("%s|%d\n", longText.c_str(), 5), 200003);
    EXPECT_EQ(bsPrintf("%s.%s\n", "embedded", "fi"), 12);
    EXPECT_EQ(hscPrintf("%s", ""), 0);
    hostref::setPrintListener(old);
    EXPECT_EQ(calls, (std::vector<std::string>{longText + "|5\n", "embedded.fi\n", ""}));
}

TEST(Messages, OfWarningsAreSwitchedByIdAndAllTogether) {
    HostCapture host;
    const auto warnBoth = [] {
        hscWarnMsgIdAndTxt("fi:overflow", "%d over", 3);
        hvWarningMsgIdAndTxt("fi:underflow", "%d under", 4);
        hscWarnMsgTxt("plain %d");
    };
    warnBoth();
    EXPECT_TRUE(hostref::setWarningEnabled("fi:overflow", false));
    warnBoth();
    EXPECT_TRUE(hostref::setWarningEnabled("all", false));
    EXPECT_FALSE(hostref::setWarningEnabled("fi:overflow", true));
    warnBoth();
    EXPECT_FALSE(hostref::setWarningEnabled("all", true));
    const HostCapture::Warning over{"fi:overflow", "3 over"};
    const HostCapture::Warning under{"fi:underflow", "4 under"};
    const HostCapture::Warning plain{"", "plain %d"};
    EXPECT_EQ(host.warnings, (std::vector<HostCapture::Warning>{over, under, plain, under, plain, over}));
}

TEST(Messages, OfErrorsCarryTheFormattedText) {
    EXPECT_EQ(raisedBy([] { hscErrMsgIdAndTxt("a:b", "%s=%d", "x", 2); }), (Raised{"a:b", "x=2"}));
}

TEST_F(HostCalls, WithoutTrapRaiseTheError) {
    hvArray* result = nullptr;
    EXPECT_EQ(raisedBy([&] { hscCallVELMAR(1, &result, 0, nullptr, "noSuchFunction"); }),
              (Raised{"VELMAR:UndefinedFunction", "Undefined function 'noSuchFunction'."}));
    EXPECT_EQ(result, nullptr);
    const hvArrayOwner nine = doubles(1, 1, {9});
    hvArray* arguments[] = {nine.get()};
    EXPECT_EQ(hscCallVELMAR(1, &result, 1, arguments, "sqrt"), 0);
    EXPECT_EQ(hvGetScalar(hvArrayOwner(result).get()), 3.0);
}

TEST_F(HostCalls, WithTrapReturnAStatusAndKeepTheLastError) {
    HostCapture host;
    hscSetTrapFlag(1);
    EXPECT_EQ(hvSetErrorMode(-1), 0);
    const hvArrayOwner id = text("my:id");
    const hvArrayOwner message = text("my text");
    hvArray* arguments[] = {id.get(), message.get()};
    EXPECT_NE(hscCallVELMAR(0, nullptr, 2, arguments, "error"), 0);
    EXPECT_EQ(host.printed, "") << "the quiet mode says nothing";

    std::array<hvArray*, 2> last{};
    EXPECT_EQ(hscCallVELMAR(2, last.data(), 0, nullptr, "lasterr"), 0);
    const hvArrayOwner lastMessage(last[0]);
    const hvArrayOwner lastId(last[1]);
    EXPECT_EQ(hvArray2String(lastMessage.get()), "my text");
    EXPECT_EQ(hvArray2String(lastId.get()), "my:id");

    EXPECT_EQ(hvSetErrorMode(0), -1);
    EXPECT_NE(hscCallVELMAR(0, nullptr, 2, arguments, "error"), 0);
    EXPECT_EQ(host.printed, "Error: my text\n");
    hscSetTrapFlag(0);
    EXPECT_EQ(raisedBy([&] { hscCallVELMAR(0, nullptr, 2, arguments, "error"); }), (Raised{"my:id", "my text"}));
}

TEST_F(HostCalls, TrapWhateverAFunctionThrows) {
    hvSetErrorMode(-1);
    EXPECT_FALSE(hostref::registerFunction(
        "throws", [](int, auto) -> std::vector<hvArrayOwner> { throw std::runtime_error("from outside"); }));
    EXPECT_NE(hiCallFcnWithTrap(0, nullptr, 0, nullptr, "throws"), 0);
    EXPECT_EQ(hostref::lastError().message, "from outside");
    hostref::registerFunction("throws", [](int, auto) -> std::vector<hvArrayOwner> { throw std::bad_alloc(); });
    EXPECT_NE(hiCallFcnWithTrap(0, nullptr, 0, nullptr, "throws"), 0);
    EXPECT_EQ(hostref::lastError().id, "VELMAR:nomem");
    const struct {
        void (*throwIt)();
        Raised error;
    } rows[] = {
        {[] { throw 42; }, {"VELMAR:internal", "A value of type 'int' was thrown."}},
        {[] { throw "text"; }, {"VELMAR:internal", "A value of type 'char const*' was thrown."}},
        {[] { throw nullptr; }, {"VELMAR:internal", "A value of type 'decltype(nullptr)' was thrown."}},
        {[] { throw ErrorIdException("by:value", "No pointer."); }, {"by:value", "No pointer."}},
    };
    for (const auto& row : rows) {
        hostref::registerFunction("throws", [&row](int, auto) {
            row.throwIt();
            return std::vector<hvArrayOwner>();
        });
        EXPECT_NE(hiCallFcnWithTrap(0, nullptr, 0, nullptr, "throws"), 0);
        EXPECT_EQ((Raised{hostref::lastError().id, hostref::lastError().message}), row.error);
        hostref::setLastError({});
        hscSetTrapFlag(1);
        EXPECT_NE(hscCallVELMAR(0, nullptr, 0, nullptr, "throws"), 0);
        hscSetTrapFlag(0);
        EXPECT_EQ(hostref::lastError().id, row.error.id);
        OMErrorStatus status;
        EXPECT_FALSE(omCallBuiltInMethod("throws", 0, nullptr, 0, nullptr, status));
        EXPECT_EQ(status.getLastError()->getTempStaticMessage(), row.error.message);
    }
    // Who is told of the error may throw as well.
    hvSetErrorMode(0);
    const auto old = hostref::setPrintListener([](const std::string&) { throw 7; });
    EXPECT_NE(hiCallFcnWithTrap(0, nullptr, 0, nullptr, "throws"), 0);
    hostref::setPrintListener(old);
    EXPECT_EQ(hostref::lastError().id, "by:value");
    hvSetErrorMode(-1);
    EXPECT_TRUE(hostref::registerFunction("throws", nullptr));
    EXPECT_NE(hiCallFcnWithTrap(0, nullptr, 0, nullptr, "throws"), 0);
    EXPECT_EQ(hostref::lastError().id, "VELMAR:UndefinedFunction");
}

TEST_F(HostCalls, TellWhetherAFunctionIsTheHostsOwn) {
    EXPECT_TRUE(hiIsOwnFunction("subsref"));
    EXPECT_FALSE(hiIsOwnFunction("no_such_function"));
    const hostref::Function own = hostref::registerFunction(
        "subsref", [](int, auto) { return resultsOf(hvCreateDoubleScalar(1), hvCreateDoubleScalar(2)); });
    EXPECT_FALSE(hiIsOwnFunction("subsref"));
    hostref::registerFunction("subsref", {});
    EXPECT_FALSE(hiIsOwnFunction("subsref"));
    hostref::registerFunction("subsref", own);
    EXPECT_TRUE(hiIsOwnFunction("subsref"));
}

TEST_F(HostCalls, CheckHowManyResultsAFunctionGives) {
    hostref::registerFunction("two",
                              [](int, auto) { return resultsOf(hvCreateDoubleScalar(1), hvCreateDoubleScalar(2)); });
    std::array<hvArray*, 3> results{};
    EXPECT_EQ(hscCallVELMAR(0, nullptr, 0, nullptr, "two"), 0);
    EXPECT_EQ(hscCallVELMAR(1, results.data(), 0, nullptr, "two"), 0);
    const hvArrayOwner first(results[0]);
    EXPECT_EQ(results[1], nullptr);
    results = {};
    EXPECT_EQ(raisedBy([&] { hscCallVELMAR(3, results.data(), 0, nullptr, "two"); }).id, "VELMAR:unassignedOutputs");
    EXPECT_EQ(results[0], nullptr);
    hostref::registerFunction("two", nullptr);
}

TEST_F(HostCalls, ByFevalTakeTheNameFromTheFirstArgument) {
    const hvArrayOwner name = text("numel");
    const hvArrayOwner value = doubles(2, 3, {1, 2, 3, 4, 5, 6});
    hvArray* arguments[] = {name.get(), value.get()};
    hvArray* result = nullptr;
    hiFullFevalFcn(1, &result, 2, arguments);
    EXPECT_EQ(hvGetScalar(hvArrayOwner(result).get()), 6.0);
    EXPECT_EQ(raisedBy([&] { hiFullFevalFcn(0, nullptr, 0, nullptr); }).id, "VELMAR:notEnoughInputs");
    EXPECT_EQ(raisedBy([&] { hiFullFevalFcn(0, nullptr, 1, arguments + 1); }).id, "VELMAR:array:notChar");
}

TEST_F(HostCalls, OfSmallFunctionsGiveTheirValues) {
    const hvArrayOwner values = doubles(1, 4, {-4, 2.5, -0.5, 9});
    const struct {
        const char* name;
        std::vector<double> expected;
    } rows[] = {
        {"abs", {4, 2.5, 0.5, 9}}, {"ceil", {-4, 3, -0.0, 9}},     {"floor", {-4, 2, -1, 9}}, {"fix", {-4, 2, -0.0, 9}},
        {"round", {-4, 3, -1, 9}}, {"double", {-4, 2.5, -0.5, 9}}, {"size", {1, 4}},          {"numel", {4}}};
    for (const auto& row : rows) {
        EXPECT_EQ(valuesOf(callHost(row.name, {values.get()})), row.expected) << row.name;
    }
    const hvArrayOwner root = callHost("sqrt", {values.get()});
    ASSERT_TRUE(hvIsComplex(root.get())) << "a negative value makes the whole result complex";
    EXPECT_EQ(hvGetPr(root.get())[0], 0.0);
    EXPECT_EQ(hvGetPi(root.get())[0], 2.0);
    EXPECT_EQ(hvGetPr(root.get())[3], 3.0);
    const std::size_t sizes[] = {1, 2};
    const hvArrayOwner integers(hvCreateNumericArray(2, sizes, hvINT64_CLASS));
    hvGetTypedData<std::int64_t>(integers.get())[0] = INT64_MIN + 1;
    for (const char* const name : {"ceil", "floor", "fix", "round"}) {
        const hvArrayOwner whole = callHost(name, {integers.get()});
        EXPECT_EQ(hvGetClassID(whole.get()), hvINT64_CLASS) << name;
        EXPECT_EQ(hvGetTypedData<std::int64_t>(whole.get())[0], INT64_MIN + 1) << "as a double it would be another one";
        EXPECT_EQ(raisedBy([&] { callHost(name, {text("A").get()}); }),
                  (Raised{"VELMAR:UndefinedFunction",
                          "Undefined function '" + std::string(name) + "' for an argument of class 'char'."}));
    }
    EXPECT_EQ(valuesOf(callHost("double", {text("A").get()})), (std::vector<double>{65}));
    EXPECT_EQ(hvArray2String(callHost("class", {text("A").get()}).get()), "char");
    EXPECT_EQ(hvGetScalar(callHost("isa", {values.get(), text("float").get()}).get()), 1.0);
    EXPECT_EQ(raisedBy([] { callHost("sqrt", {text("A").get()}); }).id, "VELMAR:UndefinedFunction");
    EXPECT_EQ(raisedBy([] { callHost("sqrt", {}); }).id, "VELMAR:notEnoughInputs");
    EXPECT_EQ(raisedBy([&] { callHost("sqrt", {values.get(), values.get()}); }).id, "VELMAR:tooManyInputs");
}

double gState = 0.0;
std::string gNotified;
void stateGateway(int resultCount, hvArray** results, int argumentCount, hvArray** arguments) {
    if (argumentCount > 1) {
        hvErrMsg(1);
    }
    if (argumentCount == 1) {
        gState = hvGetScalar(arguments[0]);
    }
    if (argumentCount == 0 || resultCount > 0) {
        results[0] = hvCreateDoubleScalar(gState);
    }
}

TEST(Features, AreRegisteredOnceAndRunByName) {
    inOwnProcess([] {
        hostref::clearFeatures();
        hfRegisterFeature(
            "First", 1, [](const char* name) { gNotified = name; }, stateGateway);
        hfRegisterFeature("Second", 0, nullptr, stateGateway);
        hfRegisterFeature("First", 0, nullptr, nullptr);
        const std::vector<hostref::Feature> features = hostref::registeredFeatures();
        ASSERT_EQ(features.size(), 2u);
        EXPECT_EQ(features[0].name, "First");
        EXPECT_EQ(features[0].defaultValue, 1);
        EXPECT_EQ(features[1].name, "Second");

        const hvArrayOwner seven = doubles(1, 1, {7});
        hvArray* arguments[] = {seven.get(), seven.get()};
        EXPECT_EQ(hostref::runFeature("First", 0, {arguments, 1}), nullptr);
        EXPECT_EQ(gNotified, "First");
        gNotified.clear();
        EXPECT_EQ(hvGetScalar(hostref::runFeature("First", 1).get()), 7.0);
        EXPECT_EQ(gNotified, "") << "reading notifies nobody";
        EXPECT_EQ(raisedBy([&] { hostref::runFeature("Second", 0, {arguments, 2}); }).id, "VELMAR:tooManyInputs");
        EXPECT_EQ(raisedBy([] { hostref::runFeature("Third", 0); }).id, "VELMAR:feature:unknown");
        hostref::clearFeatures();
        EXPECT_TRUE(hostref::registeredFeatures().empty());
    });
}

TEST(Modules, ArePresentWhenAProgramSaysSo) {
    EXPECT_TRUE(hdLoadModuleForPackageOrClass("Lorimer"));
    EXPECT_FALSE(hdLoadModuleForPackageOrClass("Dravelin"));
    EXPECT_FALSE(hdLoadModuleForPackageOrClass(nullptr));
    hostref::setModulePresent("Dravelin", true);
    EXPECT_TRUE(hdLoadModuleForPackageOrClass("Dravelin"));
    hostref::setModulePresent("Dravelin", false);
    EXPECT_FALSE(hdLoadModuleForPackageOrClass("Dravelin"));
}

TEST(NumberText, IsTheShortestThatReadsBackTheSame) {
    const struct {
        double value;
        const char* text;
    } rows[] = {{0.1, "0.1"},
                {1.0, "1"},
                {-0.0, "-0"},
                {1.0 / 3.0, "0.3333333333333333"},
                {1e22, "1e+22"},
                {0x1p-1074, "5e-324"},
                {bsGetRealMax(), "1.7976931348623157e+308"},
                {kNaN, "NaN"},
                {kInf, "Inf"},
                {-kInf, "-Inf"}};
    for (const auto& row : rows) {
        EXPECT_EQ(hsv_dtoa_tolvane(row.value), row.text);
        if (std::isfinite(row.value)) {
            EXPECT_EQ(std::strtod(row.text, nullptr), row.value);
        }
    }
}

hvArrayOwner complexColumn(const std::vector<double>& re, const std::vector<double>& im) {
    hvArrayOwner array = doubles(re.size(), 1, re);
    hvSetComplexity(array.get(), hvCOMPLEX);
    std::ranges::copy(im, hvGetPi(array.get()));
    return array;
}

TEST(CompactDisplay, AlignsColumnsInOneFormat) {
    const hvArrayOwner pages = doubles(2, 2, {1, 2, 3, 4});
    const std::array<std::size_t, 3> threeDimensions{1, 2, 2};
    hvSetDimensions(pages.get(), 3, threeDimensions.data());
    const std::array<std::size_t, 2> twoByTwo{2, 2};
    const hvArrayOwner rowsOfText(hvCreateCharArray(2, twoByTwo.data()));
    const std::u16string letters = u"acbd";
    std::copy(letters.begin(), letters.end(), hvGetTypedData<hvChar>(rowsOfText.get()).begin());
    const struct {
        hvArrayOwner array;
        const char* text;
    } rows[] = {
        {doubles(2, 2, {1, -20, 3, 400}), "     1     3\n   -20   400\n"},
        {doubles(1, 2, {0.5, -10}), "     0.5000   -10.0000\n"},
        {doubles(1, 2, {1e-10, 1}), "   1.0000e-10   1.0000e+00\n"},
        {doubles(1, 3, {kNaN, kInf, -kInf}), "    NaN    Inf   -Inf\n"},
        {doubles(1, 1, {-0.0}), "   0\n"},
        {hvArrayOwner(hvCreateComplexScalar(1, -2)), "   1 - 2i\n"},
        {complexColumn({1, -20}, {-300, 4}), "     1 - 300i\n   -20 +   4i\n"},
        {complexColumn({0.5, 1}, {kNaN, -0.0}), "   0.5000 +    NaNi\n   1.0000 - 0.0000i\n"},
        {hvArrayOwner(hvCreateDoubleMatrix(0, 3)), "     []\n"},
        {hvArrayOwner(hvCreateLogicalScalar(true)), "   1\n"},
        {hvArrayOwner(hvDuplicateArray(pages.get())), "(:,:,1) =\n   1   2\n(:,:,2) =\n   3   4\n"},
        {hvArrayOwner(hvDuplicateArray(rowsOfText.get())), "ab\ncd\n"},
    };
    for (const auto& row : rows) {
        HostCapture host;
        hoPrintMatrixCompact(row.array.get());
        EXPECT_EQ(host.printed, row.text);
    }
    EXPECT_EQ(raisedBy([] { hoPrintMatrixCompact(hvArrayOwner(hvCreateCellMatrix(1, 1)).get()); }).id,
              "VELMAR:array:notNumericClass");
}

}  // namespace
