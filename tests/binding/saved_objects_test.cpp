// Objects of every class through a file and back: a user saves them, and finds them again as they were.
#include <algorithm>
#include <array>
#include <cmath>
#include <random>
#include <sstream>

#include "tests/binding/session_support.h"
#include "tests/support/files.h"

namespace {

using hostref::SharedState;

class SavedObjects : public BindingTest {
 protected:
    /// Whatever properties a user can read, in text; stored integers rather than the sign of a zero, which words lack.
    static std::string stateOf(const Value& object) {
        std::ostringstream out;
        out.precision(17);
        for (const OMPropInfo* const property : object.interface()->getClass()->getProperties()) {
            const std::string name = property->getName();
            // Simulation data of a word tells -0 apart, and a text form of 1000 bits is slow; others say the same.
            const bool isOtherForm = name == "DataTypeMode" || name == "int" || name == "dravelinarray" ||
                                     name == "oct" || name == "dec" || name == "bin";
            if (!property->isExternalGetAccess() || isOtherForm) {
                continue;
            }
            out << name << ": ";
            // An extreme is set less the bias and over the slope, which takes it back up to the last bits.
            out.precision(name == "maxlog" || name == "minlog" ? 12 : 17);
            try {
                const Value value = object.get(name);
                out << value.className();
                if (value.isObject()) {
                    out << "\n" << stateOf(value);
                    continue;
                }
                out << (value.isComplex() ? " complex" : "");
                for (const std::size_t size : value.dimensions()) {
                    out << ' ' << size;
                }
                for (const std::vector<double>& part : {value.toDoubles(), value.toImaginaries()}) {
                    for (const double number : part) {
                        out << ' ' << number + 0.0;
                    }
                }
            } catch (const HostError& error) {
                out << error.id();
            }
            out << "\n";
        }
        return out.str();
    }

    int between(int low, int high) { return std::uniform_int_distribution<int>(low, high)(random); }
    bool maybe() { return between(0, 1) == 1; }
    template <std::size_t N>
    const char* oneOf(const char* const (&texts)[N]) {
        return texts[between(0, static_cast<int>(N) - 1)];
    }
    /// Sets a property to what it may refuse.
    static void attempt(const Value& object, const std::string& property, const Value& value) {
        try {
            object.set(property, value);
        } catch (const HostError&) {
        }
    }

    Value randomType(bool withSign = false) {
        const Value type = session.construct("embedded.numerictype");
        type.set("DataTypeMode", oneOf({"Fixed-point: binary point scaling", "Fixed-point: binary point scaling",
                                        "Fixed-point: slope and bias scaling", "Fixed-point: unspecified scaling",
                                        "Scaled double: binary point scaling", "Scaled double: slope and bias scaling",
                                        "Scaled double: unspecified scaling", "Double", "Single", "Boolean"}));
        attempt(type, "WordLength", between(1, 3) == 1 ? between(1, 1000) : between(1, 70));
        attempt(type, "Signedness", withSign || maybe() ? oneOf({"Signed", "Unsigned"}) : "Auto");
        attempt(type, "FixedExponent", between(-30, 30));
        attempt(type, "SlopeAdjustmentFactor", 1 + between(0, 15) / 16.0);
        attempt(type, "Bias", between(-30, 30) / 4.0);
        attempt(type, "DataTypeOverride", oneOf({"Inherit", "Off"}));
        return type;
    }
    void randomize(const Value& rules) {
        rules.set("RoundMode", oneOf({"ceil", "convergent", "fix", "floor", "nearest", "round"}));
        rules.set("OverflowMode", oneOf({"wrap", "saturate"}));
        for (const std::string what : {"Product", "Sum"}) {
            rules.set(what + "Mode", oneOf({"FullPrecision", "KeepLSB", "KeepMSB", "SpecifyPrecision"}));
            rules.set(what + "WordLength", between(1, 65535));
            rules.set("Max" + what + "WordLength", between(1, 65535));
            rules.set(what + "FixedExponent", between(-90, 90));
            rules.set(what + "SlopeAdjustmentFactor", 1 + between(0, 15) / 16.0);
            rules.set(what + "Bias", between(-30, 30) / 4.0);
        }
        rules.set("CastBeforeSum", maybe());
    }
    Value randomRules() {
        const Value made = session.construct("embedded.fimath");
        randomize(made);
        return made;
    }
    Value randomNumbers(bool isComplex) {
        std::vector<std::size_t> sizes(static_cast<std::size_t>(between(2, 4)));
        for (std::size_t& size : sizes) {
            size = static_cast<std::size_t>(between(0, 3));
        }
        hvArrayOwner numbers(
            hvCreateNumericArray(sizes.size(), sizes.data(), hvDOUBLE_CLASS, isComplex ? hvCOMPLEX : hvREAL));
        for (const auto part : {hvGetTypedData<double>(numbers.get()), hvGetTypedImagData<double>(numbers.get())}) {
            for (double& number : part) {
                number = std::ldexp(between(-1000000, 1000000), between(-30, 3));
            }
        }
        return Value(std::move(numbers));
    }
    /// An array of any type with or without rules of its own and a history in its log.
    Value randomArray() {
        const Value type = randomType(true);
        const std::string mode = type.get("DataTypeModeNoWarning").toText();
        const bool maybeComplex = mode != "Boolean" && mode.find("slope") == std::string::npos;
        logging(maybe());
        const Value array =
            session.construct("embedded.fi", {randomNumbers(maybeComplex && maybe()), type, randomRules()});
        logging(false);
        if (maybe()) {
            array.set("fimath", Value());
        }
        array.set("Tag", oneOf({"", "signal", "\xC3\xA4"}));
        return array;
    }
    Value saved(const Value& value, SharedState shared = SharedState::keep) {
        session.save(file, {{"x", value}});
        return session.load(file, "x", shared);
    }
    void expectComesBack(const Value& object, int run) {
        const std::string before = stateOf(object);
        session.takeWarnings();
        Value again;
        ASSERT_EQ(thrownBy([&] { again = saved(object); }), Raised()) << "run " << run << "\n" << before;
        EXPECT_EQ(stateOf(again), before) << "run " << run << " of " << object.className();
        EXPECT_EQ(reports(), "") << "run " << run << " of " << object.className();
    }

    TemporaryFolder folder;
    std::string file = folder.file("work.h5");
    std::mt19937 random{20240229};
};

TEST_F(SavedObjects, ComeBackEqualInRandomStates) {
    for (int run = 0; run < 60 && !HasFailure(); ++run) {
        expectComesBack(randomType(), run);
        expectComesBack(randomRules(), run);
        expectComesBack(randomArray(), run);
    }
}

TEST_F(SavedObjects, AreQuantizersAndLogsInRandomStates) {
    for (int run = 0; run < 60 && !HasFailure(); ++run) {
        const Value quantizer = session.construct("embedded.quantizer");
        quantizer.set("mode", oneOf({"none", "double", "float", "fixed", "single", "ufixed", "boolean", "ScaledDouble",
                                     "UnsignedScaledDouble"}));
        const int wordLength = between(2, 1000);
        attempt(quantizer, "format", Numbers{1.0 * wordLength, 1.0 * between(1, std::min(wordLength, 11))});
        attempt(quantizer, "roundmode", oneOf({"ceil", "convergent", "fix", "floor", "nearest", "round"}));
        attempt(quantizer, "overflowmode", oneOf({"wrap", "saturate"}));
        const Value log = session.construct("embedded.qlogger");
        const Value record = session.construct("embedded.filog");
        for (const auto& [object, names] :
             {std::pair(quantizer, std::array{"max", "min", "noverflows", "nunderflows", "noperations", "Tag"}),
              std::pair(log, std::array{"Max", "Min", "NOverflows", "NUnderflows", "NOperations", "Tag"})}) {
            attempt(object, names[0], std::ldexp(between(0, 1000), between(-20, 20)));
            attempt(object, names[1], std::ldexp(between(-1000, 0), between(-20, 20)));
            for (const std::size_t count : {2U, 3U, 4U}) {
                object.set(names[count], between(0, 1 << 30));
            }
            object.set(names[5], oneOf({"", "tag"}));
        }
        attempt(record, "Key", oneOf({"", "key"}));
        attempt(record, "Tag", oneOf({"", "tag"}));
        for (const Value& object : {quantizer, log, record}) {
            expectComesBack(object, run);
        }
    }
}

TEST_F(SavedObjects, AreArraysOfWordsToTheLastBit) {
    for (const int wordLength : {1, 8, 31, 32, 33, 40, 53, 64, 65, 128, 129, 1000}) {
        for (const bool isSigned : {false, true}) {
            // All bits at random, as hexadecimal text.
            const Value array = fi(0.0, type(isSigned, wordLength, 7));
            std::string digits;
            for (int bit = (wordLength + 3) / 4 * 4; bit > 0; bit -= 4) {
                const int most = bit > wordLength ? (1 << (wordLength % 4)) - 1 : 15;
                digits += "0123456789abcdef"[between(0, most)];
            }
            array.set("hex", digits);
            const Value again = saved(array);
            EXPECT_EQ(again.get("hex").toText(), digits) << wordLength;
            EXPECT_TRUE(session.call("eq", {again, array}).toBool()) << wordLength;
        }
    }
}

TEST_F(SavedObjects, KeepWhetherRulesAreTheirOwn) {
    const Value global = session.construct("embedded.globalfimath");
    global.set("RoundMode", "ceil");
    const Value own = s16(0.5);
    const Value none = s16(0.25);
    none.set("fimath", Value());
    const Value floating = session.construct("embedded.fi", {0.1, type("Double"), rules({{"SumMode", "KeepLSB"}})});
    session.save(file, {{"own", own}, {"none", none}, {"floating", floating}});
    // Other global rules than those in force when the file was written.
    global.set("RoundMode", "fix");
    global.set("SumMode", "KeepMSB");
    const auto again = session.load(file);
    EXPECT_EQ(again[0].value.get("RoundMode"), own.get("RoundMode"));
    EXPECT_EQ(again[1].value.get("fimathislocal"), Value(false));
    EXPECT_EQ(again[1].value.get("RoundMode"), Value("fix"));
    EXPECT_EQ(again[2].value.get("fimathislocal"), Value(true));
    EXPECT_EQ(again[2].value.get("SumMode"), Value("KeepLSB"));
    EXPECT_EQ(global.get("SumMode"), Value("KeepMSB"));
    global.call("reset");
}

TEST_F(SavedObjects, LeaveTheSwitchesOfTheSystemAlone) {
    const Value global = session.construct("embedded.globalfimath");
    randomize(global);
    const std::string rulesThen = stateOf(global);
    logging(true);
    session.save(file, {{"array", s16(0.5)}, {"global", global}});
    logging(false);
    global.call("reset");
    const std::string rulesNow = stateOf(global);
    for (const SharedState shared : {SharedState::keep, SharedState::restore}) {
        const auto again = session.load(file, shared);
        const bool isRestored = shared == SharedState::restore;
        EXPECT_EQ(s16(0.0).get("Logging"), Value(isRestored));
        EXPECT_EQ(stateOf(global), isRestored ? rulesThen : rulesNow);
        EXPECT_EQ(stateOf(again[1].value), stateOf(global)) << "it is the same object";
    }
    global.call("reset");
}

}  // namespace
