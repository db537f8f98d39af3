// Objects of every class through a file and back: a user saves them, and finds them again as they were.
#include <algorithm>
#include <random>
#include <sstream>

#include "tests/binding/class_objects.h"
#include "tests/support/files.h"

namespace {

using hostref::SharedState;

class SavedObjects : public ObjectsOfClasses {
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
    Value saved(const Value& value, SharedState shared = SharedState::keep) {
        session.save(file, {{"x", value}});
        return session.load(file, "x", shared);
    }
    TemporaryFolder folder;
    std::string file = folder.file("work.h5");
    std::mt19937 random{20240229};
};

TEST_F(SavedObjects, ComeBackAsTheyWereWhateverWasWrittenToThem) {
    for (int round = 0; round < 4; ++round) {
        for (const std::string name : classes) {
            const Values objects = objectsOf("embedded." + name);
            for (const Value& object : objects) {
                for (OMPropInfo* const property : object.interface()->getClass()->getProperties()) {
                    const Values values = valuesOf(property->getDataType(), object.className());
                    // Half of the properties stay; what is refused leaves the object as it was. A quantizer that
                    // changes its mode may keep an exponent for which its word is too short; each mode has an object.
                    const bool isMode =
                        property->getName() == std::string("mode") || property->getName() == std::string("datamode");
                    if (!isMode && between(0, 1) == 1) {
                        const Value& value = values[static_cast<std::size_t>(between(0, int(values.size()) - 1))];
                        thrownBy([&] { object.set(property->getName(), value); });
                    }
                }
                SCOPED_TRACE(testing::Message() << name << ' ' << &object - objects.data() << " round " << round);
                const std::string before = stateOf(object);
                session.takeWarnings();
                Value again;
                ASSERT_EQ(thrownBy([&] { again = saved(object); }), Raised()) << before;
                ASSERT_EQ(stateOf(again), before);
                EXPECT_EQ(reports(), "");
            }
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
    for (const auto& [name, value] : Settings{{"RoundMode", "fix"}, {"SumMode", "KeepLSB"}, {"ProductBias", 3}}) {
        global.set(name, value);
    }
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
