// The life of the module: what is there after which calls, in which order. Each body has a process of its own.
#include <algorithm>
#include <cstdint>

#include "binding/module.h"
#include "host/reference/features.h"
#include "host/reference/modules.h"
#include "tests/binding/session_support.h"

namespace {

using Names = std::vector<std::string>;
using Start = Session::Start;

const Names typeSystem = {"type",     "scalartype", "pointertype", "complextype",   "voidtype", "opaquetype",
                          "chartype", "matrixtype", "structtype",  "structelement", "enumtype"};
const Names mainClasses = {"numerictype", "quantizer", "fimath", "globalfimath", "fi", "qlogger", "filog"};

const OMApplication* package() {
    return OMApplicationManager::getApplication("embedded");
}

Names classNames() {
    Names names;
    if (package() != nullptr) {
        for (const OMClass* const objectClass : package()->getLocalClasses()) {
            names.emplace_back(objectClass->getName());
        }
    }
    return names;
}

Names joined(Names first, const Names& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

Names featureNames() {
    Names names;
    for (const auto& feature : hostref::registeredFeatures()) {
        names.push_back(feature.name);
    }
    return names;
}

/// Calls an exported function of the module that takes and gives nothing.
void callExport(const Session& session, const char* mangledName) {
    void* const address = session.entryPoint(mangledName);
    ASSERT_NE(address, nullptr) << mangledName;
    // An exception of the module passes through here.
    reinterpret_cast<void (*)()>(address)();
}
constexpr char declareOMClasses[] = "_ZN7Tolvane16declareOMClassesEv";
constexpr char registerOMClasses[] = "_ZN7Tolvane17registerOMClassesEv";

bool isFilled(const char* className) {
    const OMClass* const objectClass = package()->getLocalClass(className);
    return objectClass != nullptr && !objectClass->getMethods().empty();
}

TEST(Module, StartBuildsTheClassesInOrderAndOnlyOnce) {
    inOwnProcess([] {
        Session session(TOLVANE_MODULE, "tolvane", Start::later);
        EXPECT_EQ(package(), nullptr);
        session.start();
        EXPECT_EQ(classNames(), joined(typeSystem, mainClasses));
        const auto before = package()->getLocalClasses();
        const Names features = {
            "FiTagLogging",        "FiStackTraceLogging", "Fi33PlusMemoryFootprint", "NumerictypeUnspecifiedSign",
            "FiRealOnlySlopeBias", "FimathLessFis",       "FiWarnForDataTypeMode"};
        EXPECT_EQ(featureNames(), features);
        session.start();
        EXPECT_EQ(package()->getLocalClasses(), before);
        EXPECT_EQ(featureNames(), features);
    });
}

TEST(Module, OffersAnEmptyListOfFunctionsInEveryState) {
    inOwnProcess([] {
        Session session(TOLVANE_MODULE, "tolvane", Start::later);
        const auto check = [&session] {
            const auto table =
                reinterpret_cast<const VLFunctionTable* (*)()>(session.entryPoint("QueryVLFcnTable_tolvane"))();
            const auto list =
                reinterpret_cast<const VLFunctionList* (*)()>(session.entryPoint("QueryVLFcns_tolvane"))();
            EXPECT_EQ(table->functions, list);
            EXPECT_EQ(table->stamps[0], 0x345F20F1U);
            EXPECT_EQ(table->stamps[1], 0x4C3BC66EU);
            EXPECT_EQ(table->end, 0U);
            EXPECT_EQ(list->words[0], 0U);
        };
        check();
        EXPECT_EQ(package(), nullptr);
        session.start();
        check();
        session.stop();
        check();
    });
}

TEST(Module, StopEndsThePackageForGood) {
    inOwnProcess([] {
        Session session(TOLVANE_MODULE, "tolvane");
        const Value kept = session.construct("embedded.fi", {0.5});
        session.stop();
        EXPECT_EQ(package(), nullptr);
        EXPECT_EQ(kept.get("double").toDouble(), 0.5);
        EXPECT_EQ(thrownBy([&] { kept.get("numerictype"); }).id, "fixedpoint:module:stopped");
        session.start();
        EXPECT_EQ(package(), nullptr);
        session.stop();
        EXPECT_EQ(kept.get("WordLength").toDouble(), 16.0);
    });
}

TEST(Module, StopBeforeStartUsesUpTheStop) {
    inOwnProcess([] {
        Session session(TOLVANE_MODULE, "tolvane", Start::later);
        session.stop();
        EXPECT_EQ(package(), nullptr);
        session.start();
        EXPECT_EQ(classNames(), joined(typeSystem, mainClasses));
        EXPECT_EQ(session.construct("embedded.fi", {0.5}).get("double").toDouble(), 0.5);
        session.stop();
        EXPECT_EQ(classNames(), joined(typeSystem, mainClasses));
    });
}

TEST(Module, StartsWithoutThePackageOfTheRootClass) {
    inOwnProcess([] {
        hostref::setModulePresent("Lorimer", false);
        const Session session(TOLVANE_MODULE, "tolvane");
        EXPECT_EQ(classNames(), joined(typeSystem, mainClasses));
    });
}

/// A stranger in the package takes the name of a class, so that the start fails at that class.
class Stranger {
 public:
    explicit Stranger(const char* name) {
        if (package() == nullptr) {
            OMApplicationManager::addApplication(std::make_unique<OMApplication>("embedded", true));
        }
        mPackage = OMApplicationManager::getApplication("embedded");
        mClass = new OMClass;
        mClass->setName(name, true);
        mPackage->addLocalClass(mClass);
    }
    void leave() { mPackage->removeLocalClass(mClass); }

 private:
    OMApplication* mPackage;
    OMClass* mClass;
};

TEST(Module, AStartThatFailedGoesOnWithTheNextCall) {
    inOwnProcess([] {
        Stranger stranger("qlogger");
        Session session(TOLVANE_MODULE, "tolvane", Start::later);
        EXPECT_EQ(thrownBy([&] { session.start(); }).id, "VELMAR:package:classExists");
        EXPECT_EQ(
            classNames(),
            joined({"qlogger"}, joined(typeSystem, {"numerictype", "quantizer", "fimath", "globalfimath", "fi"})));
        EXPECT_FALSE(isFilled("fi"));
        EXPECT_TRUE(featureNames().empty());
        EXPECT_EQ(thrownBy([&] { session.start(); }).id, "VELMAR:package:classExists");
        const OMClass* const array = package()->getLocalClass("fi");
        stranger.leave();
        session.start();
        EXPECT_EQ(classNames(), joined(typeSystem, mainClasses));
        EXPECT_EQ(package()->getLocalClass("fi"), array);
        EXPECT_EQ(session.construct("embedded.fi", {0.5}).get("double").toDouble(), 0.5);
    });
}

TEST(Module, AStopAfterAFailedStartLeavesRoomForANewOne) {
    inOwnProcess([] {
        const Stranger stranger("filog");
        Session session(TOLVANE_MODULE, "tolvane", Start::later);
        EXPECT_EQ(thrownBy([&] { session.start(); }).id, "VELMAR:package:classExists");
        session.stop();
        EXPECT_EQ(package(), nullptr);
        session.start();
        EXPECT_EQ(classNames(), joined(typeSystem, mainClasses));
        EXPECT_EQ(session.construct("embedded.fi", {0.5}).get("double").toDouble(), 0.5);
    });
}

TEST(Module, TheOlderEntriesDeclareSixClassesAndFillThem) {
    inOwnProcess([] {
        Session session(TOLVANE_MODULE, "tolvane", Start::later);
        callExport(session, declareOMClasses);
        const Names six = {"numerictype", "quantizer", "fimath", "fi", "qlogger", "globalfimath"};
        EXPECT_EQ(classNames(), six);
        EXPECT_FALSE(isFilled("fi"));
        callExport(session, registerOMClasses);
        EXPECT_TRUE(isFilled("fi"));
        // What comes in the second step of a class is its last.
        EXPECT_STREQ(package()->getLocalClass("fimath")->getMethods().back()->getName(), "sub");
        EXPECT_STREQ(package()->getLocalClass("numerictype")->getMethods().back()->getName(), "divide");
        EXPECT_EQ(package()->getLocalClass("filog"), nullptr);
        const auto properties = package()->getLocalClass("fi")->getProperties();
        const auto methods = package()->getLocalClass("fi")->getMethods();
        session.start();
        EXPECT_TRUE(isFilled("filog"));
        EXPECT_EQ(package()->getLocalClass("fi")->getProperties(), properties);
        EXPECT_EQ(package()->getLocalClass("fi")->getMethods(), methods);
        Names names = classNames();
        Names wanted = joined(typeSystem, mainClasses);
        std::ranges::sort(names);
        std::ranges::sort(wanted);
        EXPECT_EQ(names, wanted);
    });
}

TEST(Module, AFillThatFailedIsRunAgainFromItsStart) {
    inOwnProcess([] {
        Session session(TOLVANE_MODULE, "tolvane", Start::later);
        callExport(session, declareOMClasses);
        OMApplication* const declared = OMApplicationManager::getApplication("embedded");
        declared->removeLocalClass(declared->getLocalClass("qlogger"));
        // A method of "fi" gives a "qlogger", whose type is gone.
        const Raised missing = raisedBy([&] { callExport(session, registerOMClasses); });
        EXPECT_EQ(missing.id, "fixedpoint:binding:unknownType");
        EXPECT_NE(missing.message.find("'embedded.qlogger'"), std::string::npos);
        session.start();
        EXPECT_EQ(package()->getLocalClass("fi")->getConstructorSignatures().size(), 4U);
        EXPECT_EQ(session.construct("embedded.fi", {0.5}).call("getqloggerstruct", {0}).className(),
                  "embedded.qlogger");
    });
}

}  // namespace
