#include "host/reference/Session.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <random>

#include "host/bs.h"
#include "host/bs_md5.h"
#include "host/hsc.h"
#include "host/om.h"
#include "tests/support/arrays.h"
#include "tests/support/own_process.h"
#include "tests/support/thrown.h"

namespace {

using hostref::dot;
using hostref::HostError;
using hostref::Session;
using hostref::Value;
using hostref::Warning;

class SessionTest : public ::testing::Test {
 protected:
    void TearDown() override {
        EXPECT_EQ(session.callStatic("test_module.item", "unreleased"), unreleasedAtStart);
        EXPECT_EQ(session.callStatic("test_module.item", "alive"), aliveAtStart);
    }
    Raised failureOf(const char* method, const std::vector<Value>& arguments) {
        return thrownBy([&] { session.call(method, arguments); });
    }
    Value item(double width = 1.0) { return session.construct("test_module.item", {width}); }

    Session session{TEST_MODULE};
    Value unreleasedAtStart = session.callStatic("test_module.item", "unreleased");
    Value aliveAtStart = session.callStatic("test_module.item", "alive");
};

using Construction = SessionTest;
using Calls = SessionTest;
using Properties = SessionTest;
using Boundary = SessionTest;
using Paths = SessionTest;
using ObjectHandles = SessionTest;
using ObjectDisplay = SessionTest;

TEST(Modules, ThatCanNotBeLoadedAreToldApart) {
    EXPECT_EQ(thrownBy([] { Session("/nowhere/libnothing.so"); }).id, "VELMAR:module:notFound");
    EXPECT_EQ(thrownBy([] { Session(TEST_MODULE, "other"); }),
              (Raised{"VELMAR:module:noEntryPoint", "Module 'other' lacks VLInitialize_other or VLTerminate_other."}));
    EXPECT_EQ(thrownBy([] { Session(hostref::Module{"none"}); }).id, "VELMAR:module:noEntryPoint");
}

TEST(Modules, LiveFromAFailedStartToAStartAfterStop) {
    inOwnProcess([] {
        // This module leaves the host's symbols to the process, too.
        Session session(OPEN_MODULE, {}, Session::Start::later);
        EXPECT_EQ(session.moduleName(), "open_module");
        EXPECT_FALSE(session.hasClass("open_module.item"));
        reinterpret_cast<void (*)()>(session.entryPoint("failNextStart"))();
        EXPECT_EQ(thrownBy([&] { session.start(); }), (Raised{"test:start", "The start failed."}));
        EXPECT_TRUE(session.hasClass("open_module.item"));
        session.start();
        session.start();
        const Value kept = session.construct("open_module.item", {4});
        EXPECT_EQ(session.entryPoint("noSuchFunction"), nullptr);

        session.stop();
        session.stop();
        EXPECT_FALSE(session.hasClass("open_module.item"));
        EXPECT_EQ(thrownBy([&] { session.construct("open_module.item"); }),
                  (Raised{"VELMAR:class:unknown", "There is no class 'open_module.item'."}));
        // What is held stays whole, with its class.
        EXPECT_EQ(kept.get("Width").toDouble(), 4.0);
        session.start();
        EXPECT_FALSE(session.hasClass("open_module.item"));
    });
}

TEST(Modules, CanBeStartedAfterAnEarlyStop) {
    Session session(EARLY_MODULE, "early_module", Session::Start::later);
    session.stop();
    session.start();
    EXPECT_TRUE(session.hasClass("early_module.item"));
    session.stop();
    EXPECT_TRUE(session.hasClass("early_module.item"));
    // A short name is enough while only one class has it.
    const Session other(TEST_MODULE);
    EXPECT_TRUE(other.hasClass("hollow_early_module"));
    EXPECT_FALSE(other.hasClass("item"));
}

TEST(Modules, OfTheProgramItselfAreStartedByTheirFunctions) {
    inOwnProcess([] {
        static int started = 0;
        static int stopped = 0;
        Session session(hostref::Module{"own", [] { ++started; }, [] { ++stopped; }});
        EXPECT_EQ(started, 1);
        session.stop();
        EXPECT_EQ(stopped, 1);
        static int failures = 1;
        hostref::Module failing{"failing",
                                [] {
                                    if (failures-- > 0) {
                                        throw std::bad_alloc();
                                    }
                                },
                                [] {}};
        EXPECT_EQ(thrownBy([&] { Session{failing}; }).id, "VELMAR:nomem");
        EXPECT_EQ(thrownBy([&] { Session{failing}; }), Raised{});
    });
}

TEST(Modules, MayThrowAnythingAtTheirStartAndStop) {
    const Raised foreign{"VELMAR:internal", "A value of type 'int' was thrown."};
    EXPECT_EQ(thrownBy([] { Session(hostref::Module{"hostile", [] { throw 42; }, [] {}}); }), foreign);
    Session session(hostref::Module{"hostile", [] {}, [] { throw 42; }});
    EXPECT_EQ(thrownBy([&] { session.stop(); }), foreign);
    // At the end of the process, too, and other modules are stopped all the same.
    const auto endWithModules = [] {
        static const auto say = [] { std::fputs("stopped", stderr); };
        const Session quiet(hostref::Module{"quiet", [] {}, say});
        const Session hostile(hostref::Module{"hostile", [] {}, [] { throw 42; }});
        std::exit(7);
    };
    EXPECT_EXIT(endWithModules(), testing::ExitedWithCode(7), "stopped");
}

TEST_F(Construction, PassesArraysAndWrapsObjects) {
    EXPECT_EQ(session.construct("test_module.item").get("Width").toDouble(), 1.0);
    EXPECT_EQ(item(7).get("Width").toDouble(), 7.0);
    EXPECT_EQ(session.construct("test_module.item", {2, item()}).get("Tag").toText(), "has a partner");
    EXPECT_EQ(session.construct("test_module.item", {2, 1}).get("Tag").toText(), "");
    EXPECT_EQ(session.construct("test_module.special").className(), "test_module.special");
    EXPECT_TRUE(session.construct("test_module.special").isA("test_module.item"));
    EXPECT_TRUE(session.construct("test_module.special").isA("Lorimer.Object"));
}

TEST_F(Construction, RefusesWhatCanNotBeMade) {
    for (const char* const name : {"test_module.missing", "test_module", "", "double"}) {
        EXPECT_EQ(thrownBy([&] { session.construct(name); }),
                  (Raised{"VELMAR:class:unknown", "There is no class '" + std::string(name) + "'."}));
    }
    for (const char* const name : {"test_module.abstract", "hollow_test_module"}) {
        EXPECT_EQ(thrownBy([&] { session.construct(name); }).id, "VELMAR:class:notConstructible") << name;
    }
    const std::vector<Value> many = {1, 2, 3};
    EXPECT_EQ(thrownBy([&] { session.construct("test_module.item", many); }).id, "test:nargchk");
}

TEST_F(Calls, SelectTheFirstSignatureThatFits) {
    const Value own = item(3);
    const Value special = session.construct("test_module.special", {8});
    const Value noLogicals(hvArrayOwner(hvCreateLogicalMatrix(0, 3)));
    struct Row {
        const char* method;
        std::vector<Value> arguments;
        const char* outcome;
    };
    const Row rows[] = {
        {"choose", {own}, "0: item=3"},
        {"choose", {own, 2.5}, "1: item=3 double=2.500000"},
        {"choose", {own, true}, "1: item=3 double=1.000000"},
        {"choose", {own, "green"}, "2: item=3 int32=-1"},
        {"choose", {own, "Green"}, "3: item=3 string=Green"},
        {"choose", {own, ""}, "3: item=3 string="},
        {"choose", {own, special}, "4: item=3 item=8"},
        // An empty array is null where an object is meant, before it is an array.
        {"choose", {own, Value()}, "4: item=3 item=null"},
        {"choose", {own, noLogicals}, "4: item=3 item=null"},
        {"choose", {own, Value::cells({})}, "5: item=3 array=cell"},
        {"choose", {own, std::vector<double>{1, 2}}, "5: item=3 array=double"},
        {"choose", {own, Value::complex(1, 2)}, "5: item=3 array=double"},
        {"choose", {special, 1}, "1: item=8 double=1.000000"},
        {"takeInt", {own, 2147483647}, "0: item=3 int32=2147483647"},
        {"takeBool", {own, 0}, "0: item=3 bool=0"},
        {"takeBool", {own, -2.5}, "0: item=3 bool=1"},
        {"takeColor", {own, "blue"}, "0: item=3 int32=0"},
        {"takeColor", {own, 5}, "0: item=3 int32=5"},
        {"takeHandle", {own, special}, "0: item=3 handle=8"},
        {"takeHandle", {own, Value()}, "0: item=3 handle=null"},
        {"takeHandle", {own, noLogicals}, "0: item=3 handle=null"},
        {"takeTexts", {own, "one"}, "0: item=3 texts=1"},
        {"takeTexts", {own, Value::cells(std::vector<Value>{"one", "two"})}, "0: item=3 texts=2"},
        {"takeDefault", {own}, "0: item=3 double=7.000000"},
        {"takeDefault", {own, 1}, "0: item=3 double=1.000000"},
        {"takeMany", {own, 1}, "0: item=3 double=1.000000"},
        {"takeMany",
         {own, 1, 2, 3, 4, 5, 6, 7, 8},
         "0: item=3 double=1.000000 double=2.000000 double=3.000000 double=4.000000 double=5.000000 double=6.000000 "
         "double=7.000000 double=8.000000"}};
    for (const Row& row : rows) {
        EXPECT_EQ(session.call(row.method, row.arguments), Value(row.outcome)) << row.method;
    }
}

TEST_F(Calls, RefuseArgumentsThatFitNoSignature) {
    const Value own = item();
    const std::pair<const char*, std::vector<std::vector<Value>>> rows[] = {
        {"takeInt", {{own, 1.5}, {own, 2147483648.0}, {own, bsGetNaN()}, {own, "1"}, {own, own}, {own}, {own, 1, 2}}},
        {"takeDouble", {{own, std::vector<double>{1, 2}}, {own, Value::complex(1, 1)}, {own, Value()}}},
        {"takeBool", {{own, bsGetNaN()}}},
        {"takeText", {{own, 65}, {own, own}}},
        {"takeColor", {{own, "Blue"}, {own, 4}, {own, 0.5}}},
        {"takeItem", {{own, 1}, {own, ""}, {Value(), Value()}}},
        {"takeTexts", {{own, 1}, {own, own}}},
        {"takeMany", {{own}, {own, 1, "x"}}}};
    for (const auto& [method, refused] : rows) {
        for (const std::vector<Value>& arguments : refused) {
            EXPECT_EQ(failureOf(method, arguments).id,
                      arguments.front().isObject() ? "VELMAR:method:noSignature" : "VELMAR:UndefinedFunction")
                << method;
        }
    }
    EXPECT_EQ(failureOf("takeInt", {own, "x"}).message,
              "Method 'takeInt' of class 'test_module.item' can't be called with (test_module.item, char).");
    EXPECT_EQ(failureOf("fly", {own}),
              (Raised{"VELMAR:class:unknownMethod", "Class 'test_module.item' has no method 'fly'."}));
    EXPECT_EQ(failureOf("fly", {1, own}), (Raised{"VELMAR:UndefinedFunction", "Undefined function 'fly'."}));
}

TEST_F(Calls, DispatchOnTheFirstArgumentOrOnAnyAsTheMethodSays) {
    const Value own = item(3);
    const std::pair<std::vector<Value>, double> rows[] = {
        {{own, item(4)}, 7.0}, {{own, 10}, 13.0}, {{10, own}, 13.0}, {{own, Value()}, 3.0}, {{Value(), own}, 3.0}};
    for (const auto& [arguments, width] : rows) {
        EXPECT_EQ(session.call("plus", arguments).get("Width").toDouble(), width);
    }
    // "second" has an object at its second argument, and its dispatch attribute as records are made.
    EXPECT_EQ(failureOf("second", {1, own}).id, "VELMAR:UndefinedFunction");
    EXPECT_EQ(session.call("second", {own, own}).toText(), "0: array=test_module.item item=3");
}

TEST_F(Calls, ReachMethodsWrittenInTheHostsLanguage) {
    const auto countArguments = [](int, std::span<const hvArray* const> arguments) {
        return resultsOf(hvCreateDoubleScalar(static_cast<double>(arguments.size())), hvCreateDoubleScalar(-1.0));
    };
    session.addMethod("test_module.item", "anywhere", countArguments);
    session.addMethod("test_module.item", "first", countArguments);
    EXPECT_EQ(session.call("anywhere", {1, 2, item()}), Value(3));
    EXPECT_EQ(session.call("first", {item(), 2}), Value(2));
    EXPECT_EQ(failureOf("first", {2, item()}).id, "VELMAR:UndefinedFunction");
    EXPECT_EQ(session.call(2, "first", {item()}), (std::vector<Value>{1, -1}));
    EXPECT_EQ(thrownBy([&] { session.call(3, "first", {item()}); }).id, "VELMAR:unassignedOutputs");
    EXPECT_EQ(session.callStatic("test_module.item", "first"), Value(0));
}

TEST_F(Calls, ReachFunctionsThatAreWrittenOnTheSessionOfTheCall) {
    // The first session adds them and is gone when they run.
    const auto speak = [](Session& own, int, std::span<const Value> arguments) {
        own.call("speak", {arguments.front()});
        return std::vector<Value>{arguments.back(), arguments.front()};
    };
    auto first = std::make_unique<Session>(TEST_MODULE);
    first->addMethod("test_module.item", "speakTwice", speak);
    first->addFunction("test_speak", speak);
    first.reset();
    Session last(TEST_MODULE);
    for (const char* const name : {"speakTwice", "test_speak"}) {
        const Value own = item(3);
        EXPECT_EQ(session.call(2, name, {own, 7}), (std::vector<Value>{7, own}));
        EXPECT_EQ(session.takeWarnings().size(), 1U) << name;
        EXPECT_TRUE(last.takeWarnings().empty()) << name;
    }
    hostref::registerFunction("test_speak", {});
}

TEST_F(Calls, FindMethodsThatComeWhileTheSessionRuns) {
    inOwnProcess([this] {
        const Value own = item(3);
        EXPECT_EQ(failureOf("late", {own}).id, "VELMAR:class:unknownMethod");
        session.call("addMethodWhileRunning", {own});
        EXPECT_EQ(session.call("late", {own}).toText(), "0: item=3");
        session.addMethod("test_module.item", "late",
                          [](int, std::span<const hvArray* const>) { return resultsOf(hvCreateString("replaced")); });
        EXPECT_EQ(session.call("late", {own}).toText(), "replaced");
    });
}

TEST_F(Calls, GiveResultsOfEveryShape) {
    std::vector<Value> all = session.call(8, "everything", {item()});
    ASSERT_EQ(all.size(), 8U);
    EXPECT_EQ(all[0].className(), "int32");
    EXPECT_EQ(all[5].dimensions(), (std::vector<std::size_t>{2, 3}));
    EXPECT_EQ(all[6].get("Width").toDouble(), 9.0);
    all[0] = all[0].toDouble();
    all.erase(all.begin() + 5, all.begin() + 7);
    EXPECT_EQ(all, (std::vector<Value>{-3, 2.5, true, "text", "green", ""}));
    EXPECT_EQ(session.call("nullItem", {item()}), Value());
    // What nobody asked for is dropped.
    EXPECT_EQ(session.call(2, "everything", {item()}).size(), 2U);
}

TEST_F(Calls, SelectByTheWantedNumberOfResults) {
    const Value own = item();
    const auto widths = [&](int count) {
        std::vector<double> all;
        for (const Value& value : session.call(count, "range", {own})) {
            all.push_back(value.get("Width").toDouble());
        }
        return all;
    };
    EXPECT_EQ(widths(0), (std::vector<double>{10}));
    EXPECT_EQ(widths(1), (std::vector<double>{10}));
    EXPECT_EQ(widths(2), (std::vector<double>{11, 20}));
    const Raised tooMany{"VELMAR:tooManyOutputs", "Too many output arguments."};
    EXPECT_EQ(thrownBy([&] { session.call(3, "range", {own}); }), tooMany);
    EXPECT_EQ(thrownBy([&] { session.call(1, "nothing", {own}); }), tooMany);
    EXPECT_EQ(session.call("nothing", {own}), Value());
    EXPECT_TRUE(session.call(0, "nothing", {own}).empty());
    EXPECT_EQ(session.call(0, "size", {own}), (std::vector<Value>{1}));
    EXPECT_EQ(session.call(6, "size", {own}), (std::vector<Value>{1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(thrownBy([&] { session.call(2, "tooFew", {own}); }).id, "VELMAR:unassignedOutputs");
}

TEST_F(Calls, ReachHostFunctionsWhenNoObjectHasTheMethod) {
    EXPECT_EQ(session.call("sqrt", {9}), Value(3));
    EXPECT_EQ(session.call("class", {item()}), Value("test_module.item"));
    EXPECT_EQ(session.call("isa", {item(), "test_module.item"}), Value(true));
    EXPECT_EQ(session.call("numel", {session.construct("test_module.special")}), Value(1));
    EXPECT_EQ(thrownBy([&] { session.call("floor", {item()}); }),
              (Raised{"VELMAR:UndefinedFunction",
                      "Undefined function 'floor' for an argument of class 'test_module.item'."}));
    EXPECT_EQ(session.call("disp", {1}), Value());
    EXPECT_EQ(thrownBy([&] { session.call(1, "disp", {1}); }).id, "VELMAR:unassignedOutputs");
    EXPECT_EQ(thrownBy([&] { session.call("noSuchFunction"); }),
              (Raised{"VELMAR:UndefinedFunction", "Undefined function 'noSuchFunction'."}));
    // The other way round: host functions called by name reach methods.
    const hvArrayOwner object = item(5).toArray();
    const hvArrayOwner number(hvCreateDoubleScalar(2.0));
    const std::array<const hvArray*, 2> arguments = {number.get(), object.get()};
    const auto results = hostref::callFunction("plus", 1, arguments);
    EXPECT_EQ(Value::share(results.front().get()).get("Width").toDouble(), 7.0);
}

TEST_F(Calls, ThatAreStaticNeedNoObject) {
    const Value one = item();
    EXPECT_EQ(session.callStatic("test_module.item", "alive").toDouble(), aliveAtStart.toDouble() + 1.0);
    EXPECT_EQ(session.callStatic(2, "test_module.item", "everything", {one}).size(), 2U);
    EXPECT_EQ(thrownBy([&] { session.callStatic("test_module.item", "dead"); }),
              (Raised{"VELMAR:class:unknownMethod", "Class 'test_module.item' has no method 'dead'."}));
    EXPECT_EQ(thrownBy([&] { session.callStatic("test_module.none", "alive"); }).id, "VELMAR:class:unknown");
    EXPECT_EQ(thrownBy([&] { session.callStatic("test_module.item", "alive", {1}); }).id, "VELMAR:method:noSignature");
}

TEST_F(Properties, TravelInTheShapeOfTheirType) {
    const Value own = item();
    const Value partner = item(6);
    struct Row {
        const char* name;
        Value set, read;
    };
    const Row rows[] = {
        {"Weight", 2.25, 2.25},
        {"Weight", true, 1},
        {"IsOn", 1, true},
        {"IsOn", false, false},
        {"Color", "green", "green"},
        {"Color", 0, "blue"},
        {"Tag", "a tag", "a tag"},
        {"Tag", "", ""},
        {"Data", "any array", "any array"},
        {"Data", Value::matrix(2, 1, std::array{1.0, bsGetNaN()}), Value::matrix(2, 1, std::array{1.0, bsGetNaN()})},
        {"Data", partner, partner}};
    for (const Row& row : rows) {
        own.set(row.name, row.set);
        EXPECT_EQ(own.get(row.name), row.read) << row.name;
        EXPECT_EQ(session.get(own, row.name), row.read) << row.name;
    }
    own.set("Data", Value());
    EXPECT_EQ(own.get("Width").className(), "int32");
    own.set("Partner", partner);
    EXPECT_EQ(own.get("Partner").get("Width").toDouble(), 6.0);
    EXPECT_FALSE(own.get("Partner") == partner) << "the property holds a copy";
    // A null value is ignored.
    own.set("Partner", Value());
    EXPECT_TRUE(own.get("Partner").isObject());
    EXPECT_EQ(partner.get("Partner"), Value());
}

TEST_F(Properties, RefuseWhatAccessOrTypeForbids) {
    const Value own = item(2);
    const std::string colors = "; it is one of 'red', 'green', 'blue'.";
    const hvArrayOwner rows(hvCreateCharArray(2, std::array<std::size_t, 2>{2, 3}.data()));
    std::ranges::copy(std::u16string_view(u"grrede"), hvGetTypedData<hvChar>(rows.get()).begin());
    const struct {
        const char* name;
        Value value;
        std::string text;
    } badValues[] = {{"Width", 1.5, "1.5; it is of data type 'int32'."},
                     {"Width", "2", "'2'; it is of data type 'int32'."},
                     {"Width", own, "an object of class 'test_module.item'; it is of data type 'int32'."},
                     {"Weight", Value(), "[0-by-0 double]; it is of data type 'double'."},
                     {"IsOn", bsGetNaN(), "NaN; it is of data type 'bool'."},
                     {"Color", "mauve", "'mauve'" + colors},
                     {"Color", "Reed", "'Reed'" + colors + " Did you mean 'red'?"},
                     {"Color", 17, "17" + colors},
                     {"Color", own, "an object of class 'test_module.item'" + colors},
                     {"Color", std::string(100, 'x'), "[1-by-100 char]" + colors},
                     {"Color", Value::share(rows.get()), "[2-by-3 char]" + colors},
                     {"Tag", 1, "1; it is of data type 'string'."},
                     {"Tag", Value::share(rows.get()), "[2-by-3 char]; it is of data type 'string'."},
                     {"Partner", 1, "1; it is of data type 'test_module.item'."}};
    const std::string place = " of class 'test_module.item' can't be ";
    for (const auto& [name, value, text] : badValues) {
        EXPECT_EQ(thrownBy([&, &property = name, &given = value] { own.set(property, given); }),
                  (Raised{"VELMAR:datatype:badValue", std::string("Property '") + name + "'" + place + text}));
    }
    EXPECT_EQ(thrownBy([&] { own.set("Sealed", 3); }),
              (Raised{"VELMAR:class:noSetAccess", "Property 'Sealed'" + place + "set."}));
    EXPECT_EQ(thrownBy([&] { own.get("Secret"); }),
              (Raised{"VELMAR:class:noGetAccess", "Property 'Secret'" + place + "read."}));
    const std::string unknown = "Class 'test_module.item' has no property '";
    const std::pair<std::string, std::string> names[] = {{"width", "Width"},
                                                         {"Widht", "Width"},
                                                         {"Wdth", "Width"},
                                                         {"Wideth", "Width"},
                                                         {"colour", "Color"},
                                                         {"SEALED", "Sealed"},
                                                         {"Wi", ""},
                                                         {"Breadth", ""},
                                                         {"", ""},
                                                         {"Paartner", "Partner"}};
    for (const auto& [given, near] : names) {
        const std::string text = unknown + given + "'." + (near.empty() ? "" : " Did you mean '" + near + "'?");
        EXPECT_EQ(thrownBy([&, &name = given] { own.get(name); }), (Raised{"VELMAR:class:unknownProperty", text}));
        EXPECT_EQ(thrownBy([&, &name = given] { own.set(name, 3); }).message, text);
    }
    EXPECT_EQ(thrownBy([&] { own.call("Range"); }).message,
              "Class 'test_module.item' has no method 'Range'. Did you mean 'range'?");
    EXPECT_EQ(thrownBy([&] { own.set("Width", 0); }), (Raised{"test:width", "Width must be positive."}));
    EXPECT_EQ(own.get("Sealed").toDouble(), 2.0) << "nothing changed";
    own.set("Secret", 4);
    EXPECT_EQ(own.get("Width").toDouble(), 4.0);
    EXPECT_EQ(thrownBy([&] { own.get("Broken"); }), (Raised{"test:filtered", "Broken: No value."}));
    EXPECT_EQ(thrownBy([&] { Value(1).get("Width"); }),
              (Raised{"VELMAR:value:notObject", "An array of class 'double' is no object."}));
    EXPECT_EQ(thrownBy([&] { own.toDouble(); }),
              (Raised{"VELMAR:value:notArray", "An object of class 'test_module.item' is no array."}));
}

TEST_F(Properties, OfTheSameValueAreNotSetAgainWhenTheyAskForThat) {
    const Value own = item();
    own.set("Calm", 3);
    own.set("Calm", 3);
    EXPECT_EQ(own.get("Sets").toDouble(), 1.0);
    own.set("Weight", 3);
    own.set("Weight", 3);
    EXPECT_EQ(own.get("Sets").toDouble(), 3.0);
}

TEST_F(Properties, SendTheirEventsToTheObjectsListeners) {
    const Value own = item(2);
    std::string seen;
    const auto id =
        own.interface()->getListenerManager()->addListener([&](OMDatabaseClient* client, const OMEvent& event) {
            seen += std::string(event.getEventInfo()->getName()) + (client->isInternal() ? "!" : " ");
            // The width by another property, which would send events as well.
            if (event.getEventInfo()->getName() == std::string("WidthPreSet") ||
                event.getEventInfo()->getName() == std::string("WidthPostSet")) {
                const auto& property = dynamic_cast<const OMPropertyEvent&>(event);
                seen += std::to_string(*static_cast<const std::int32_t*>(property.getNewValue())) + " ";
            }
        });
    own.set("Width", 9);
    own.get("Width");
    EXPECT_EQ(seen, "WidthPreSet 9 WidthPostSet 9 WidthPreGet WidthPostGet ");
    seen.clear();
    thrownBy([&] { own.set("Width", -1); });
    EXPECT_EQ(seen, "WidthPreSet -1 ");
    own.interface()->getListenerManager()->removeListener(id);
}

TEST_F(Boundary, TurnsWhatIsRaisedIntoErrors) {
    const Value own = item();
    EXPECT_EQ(failureOf("fail", {own}), (Raised{"test:fail", "It failed."}));
    EXPECT_EQ(hostref::lastError().id, "test:fail");
    EXPECT_EQ(failureOf("failOtherwise", {own}), (Raised{"VELMAR:internal", "Not ours."}));
    EXPECT_EQ(thrownBy([&] { own.call("callError"); }), (Raised{"test:deep", "Deep down."}));
    // Things that are no errors of anybody's, from each place that runs code of a module or of a program.
    const Raised foreign{"VELMAR:internal", "A value of type 'int' was thrown."};
    EXPECT_EQ(failureOf("failForeign", {own}), foreign);
    EXPECT_EQ(thrownBy([&] { own.set("Hostile", 1); }), foreign);
    EXPECT_EQ(thrownBy([&] { own.get("Hostile"); }), foreign);
    EXPECT_EQ(thrownBy([&] { session.call("get", {own}).field("Hostile"); }).id, "VELMAR:array:noField");
    const auto hostile = [](const auto&...) -> std::vector<Value> { throw 42; };
    session.addFunction("hostile", hostile);
    EXPECT_EQ(failureOf("hostile", {}), foreign);
    hostref::registerFunction("hostile", nullptr);
    auto& listeners = *own.interface()->getListenerManager();
    const auto id = listeners.addListener([](OMDatabaseClient*, const OMEvent&) { throw 42; });
    EXPECT_EQ(thrownBy([&] { own.set("Width", 2); }), foreign);
    listeners.removeListener(id);
    const auto old = hostref::setPrintListener([](const std::string&) { throw 42; });
    EXPECT_EQ(failureOf("speak", {own}), foreign);
    hostref::setPrintListener(old);
    OMErrorStatus status;
    OMPropInfo& property = *own.interface()->getClass()->getProperty("Hostile");
    EXPECT_EQ(property.getValueE(OMDatabaseClient::getExternalClient(), own.interface(), status), nullptr);
    EXPECT_STREQ(status.getLastError()->getTempStaticMessage(), foreign.message.c_str());
    OMMethodInfo& method = *own.interface()->getClass()->getMethod("failForeign");
    int count = 1;
    void* result = nullptr;
    void* argument = own.interface();
    method.invokeMethodE(method.getMethodSignatures()[0].get(), &count, &result, 1, &argument, status);
    EXPECT_EQ(status.getNumberOfErrors(), 2);
    EXPECT_EQ(count, 0);
    const OMClass& special = *session.construct("test_module.special").interface()->getClass();
    EXPECT_EQ(special.getMethods().front(), special.getSuperClass()->getMethods().front());
    for (const int index : {-1, 1}) {
        EXPECT_EQ(special.getMethod("plus")->getMethodSignatures()[0]->getReturnType(index), nullptr);
    }
    // Values and objects whose end throws.
    own.set("Tag", "calm");
    EXPECT_EQ(own.get("Hostile").toDouble(), 3.0);
}

TEST_F(Boundary, ForgetsTheTrapFlagThatACallLeftSet) {
    const Value own = item();
    for (int i = 0; i < 2; ++i) {
        session.call("leaveTrapSet", {own});
        EXPECT_EQ(hostref::lastError().id, "test:deep");
        EXPECT_EQ(failureOf("callError", {own}).id, "test:deep");
    }
    EXPECT_EQ(hvSetErrorMode(0), 0);
    // Also when code outside of any command left it.
    hscSetTrapFlag(1);
    EXPECT_EQ(failureOf("callError", {own}).id, "test:deep");
    EXPECT_EQ(raisedBy([] { hscCallVELMAR(0, nullptr, 0, nullptr, "noSuchFunction"); }).id, "VELMAR:UndefinedFunction");
    EXPECT_EQ(session.takePrinted(), "");
}

TEST_F(Boundary, CollectsWarningsAndPrintedText) {
    const Value own = item(3);
    session.call("speak", {own});
    own.call("speak");
    EXPECT_EQ(session.takeWarnings(), (std::vector<Warning>(2, {"test:speak", "Width 3."})));
    EXPECT_EQ(session.takePrinted(), "spoken\nspoken\n");
    EXPECT_TRUE(session.takeWarnings().empty());

    HostCapture capture;
    session.call("speak", {own});
    EXPECT_EQ(capture.printed, "spoken\n");
    EXPECT_EQ(capture.warnings.size(), 1U);
    hostref::setWarningEnabled("test:speak", false);
    session.call("speak", {own});
    hostref::setWarningEnabled("test:speak", true);
    EXPECT_EQ(session.takeWarnings().size(), 1U);
}

TEST_F(Boundary, KeepsSessionsApart) {
    const Value own = item();
    auto other = std::make_unique<Session>(TEST_MODULE);
    session.call("speak", {own});
    own.call("speak");
    EXPECT_EQ(session.takeWarnings().size(), 1U);
    EXPECT_EQ(other->takeWarnings().size(), 1U) << "operations of values count for the session opened last";
    session.addMethod("test_module.item", "speakThroughValue", [](int, std::span<const hvArray* const> arguments) {
        Value::share(arguments[0]).call("speak");
        return std::vector<hvArrayOwner>();
    });
    session.call("speakThroughValue", {own});
    EXPECT_EQ(session.takeWarnings().size(), 1U) << "what runs within a command belongs to that command";
    EXPECT_TRUE(other->takeWarnings().empty());
    other.reset();
    own.call("speak");
    EXPECT_EQ(session.takeWarnings().size(), 1U);
}

TEST_F(Boundary, EchoesWhenAskedTo) {
    session.setEcho(true);
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    session.call("speak", {item(3)});
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Warning: Width 3. [test:speak]\n");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "spoken\n");
    EXPECT_EQ(session.takePrinted(), "spoken\n");
}

TEST_F(Boundary, ReachesFeatures) {
    EXPECT_EQ(session.feature("TestModuletest_module"), Value(1));
    session.setFeature("TestModuletest_module", 0);
    EXPECT_EQ(session.feature("TestModuletest_module"), Value(0));
    session.setFeature("TestModuletest_module", 1);
    EXPECT_EQ(thrownBy([&] { session.feature("NoSuchFeature"); }).id, "VELMAR:feature:unknown");
}

TEST_F(Paths, ReachPropertiesAndMethods) {
    const Value own = item(3);
    own.set("Partner", item(6));
    EXPECT_EQ(session.index(own, {dot("Width")}).toDouble(), 3.0);
    EXPECT_EQ(session.index(own, {dot("Partner"), dot("Width")}).toDouble(), 6.0);
    EXPECT_EQ(session.index(own, {dot("plus"), {"()", {4}}, dot("Width")}).toDouble(), 7.0);
    EXPECT_EQ(session.index(own, {dot("nothing")}), Value());
    EXPECT_TRUE(session.assign(own, {dot("Color")}, "blue") == own);
    EXPECT_EQ(own.get("Color"), Value("blue"));
    session.assign(own, {dot("Partner"), dot("Width")}, 8);
    EXPECT_EQ(own.get("Partner").get("Width").toDouble(), 8.0);
}

TEST_F(Paths, ThatLeadNowhereAreErrors) {
    const Value own = item(3);
    const std::pair<std::vector<hostref::Subscript>, const char*> rows[] = {
        {{dot("Length")}, "VELMAR:class:unknownProperty"},
        {{{"()", {1}}}, "VELMAR:subs:notSupported"},
        {{dot("Width"), dot("x")}, "VELMAR:subs:notSupported"},
        {{}, "VELMAR:subs:badPath"}};
    for (const auto& row : rows) {
        EXPECT_EQ(thrownBy([&] { session.index(own, row.first); }).id, row.second);
    }
    EXPECT_EQ(failureOf("subsref", {own, 1}).id, "VELMAR:subs:badPath");
    EXPECT_EQ(thrownBy([&] { session.assign(own, {dot("Sealed")}, 1); }).id, "VELMAR:class:noSetAccess");
    EXPECT_EQ(thrownBy([&] { session.assign(1, {dot("x")}, 1); }).id, "VELMAR:subs:notSupported");
    EXPECT_EQ(failureOf("subsasgn", {own}).id, "VELMAR:notEnoughInputs");
}

TEST_F(Paths, GoPastMethodsThroughBuiltin) {
    session.addMethod("test_module.special", "subsref",
                      [](int, std::span<const hvArray* const>) { return resultsOf(hvCreateString("own way")); });
    const Value special = session.construct("test_module.special", {5});
    EXPECT_EQ(session.index(special, {dot("Width")}), Value("own way"));
    static constexpr const char* kFields[] = {"type", "subs"};
    hvArrayOwner path(hvCreateStructMatrix(1, 1, 2, kFields));
    hvSetField(path.get(), 0, "type", hvCreateString("."));
    hvSetField(path.get(), 0, "subs", hvCreateString("Width"));
    EXPECT_EQ(session.call("builtin", {"subsref", special, Value(std::move(path))}).toDouble(), 5.0);
}

// get, set and display of the host

TEST_F(ObjectDisplay, ListsPropertiesAndTheirPossibleValues) {
    const Value own = item(3);
    const Value all = session.call("get", {own});
    EXPECT_EQ(all.field("Color"), Value("red"));
    EXPECT_EQ(all.field("Width").toDouble(), 3.0);
    EXPECT_EQ(thrownBy([&] { all.field("Secret"); }).id, "VELMAR:array:noField");
    EXPECT_EQ(thrownBy([&] { all.field("Broken"); }).id, "VELMAR:array:noField");
    EXPECT_EQ(session.call("get", {own, "Weight"}), Value(0.5));

    const Value colors = Value::cells(std::vector<Value>{"red", "green", "blue"});
    EXPECT_EQ(session.call("set", {own, "Color"}), colors);
    EXPECT_EQ(session.call("set", {own}).field("Color"), colors);
    EXPECT_EQ(thrownBy([&] { session.call("set", {own}).field("Sealed"); }).id, "VELMAR:array:noField");
    EXPECT_EQ(failureOf("set", {own, "Color", "blue"}), (Raised{"test:set", "Use dot notation."}));
    EXPECT_EQ(failureOf("set", {own, "Nothing"}),
              (Raised{"test:builtin", "Class 'test_module.item' has no property 'Nothing'."}));
    session.call("builtin", {"set", own, "Color", "blue", "Width", 4});
    EXPECT_EQ(own.get("Color"), Value("blue"));
    EXPECT_EQ(own.get("Width").toDouble(), 4.0);
    session.call(0, "builtin", {"set", own, "Color"});
    EXPECT_EQ(session.takePrinted(), "{ red | green | blue }\n");
}

TEST_F(ObjectDisplay, UsesTheClassesMethodElseTheHostsForm) {
    session.display(session.construct("test_module.special"));
    EXPECT_EQ(session.takePrinted(), "a special item\n");
    session.display(item(3));
    const std::string shown = session.takePrinted();
    EXPECT_EQ(shown.substr(0, shown.find('\n')), "    test_module.item");
    for (const char* const line : {"      Width: 3\n", "      Color: 'red'\n", "       Data: [0-by-0 double]\n",
                                   "       IsOn: false\n", "     Weight: 0.5\n"}) {
        EXPECT_NE(shown.find(line), std::string::npos) << shown << line;
    }
    EXPECT_EQ(shown.find("Secret"), std::string::npos);
    session.display(std::vector<double>{1, 2});
    EXPECT_EQ(session.takePrinted(), "   1   2\n");
    session.display(Value::cells(std::vector<Value>{1, "x", item()}));
    EXPECT_EQ(session.takePrinted(), "    {1,1}: 1\n    {1,2}: 'x'\n    {1,3}: [1-by-1 test_module.item]\n");
    // What is shown ends its last line, though who prints it doesn't.
    const hostref::Function disp = hostref::registerFunction("disp", [](int, std::span<const hvArray* const>) {
        hscPrintf("one line\nand a half");
        return std::vector<hvArrayOwner>();
    });
    session.display(1);
    hostref::registerFunction("disp", disp);
    session.display(2);
    EXPECT_EQ(session.takePrinted(), "one line\nand a half\n   2\n");
}

TEST_F(ObjectHandles, AreCountedThroughCopiesArraysAndCells) {
    Value first = item(3);
    OMInterface* const handle = first.interface();
    EXPECT_EQ(handle->getNumberOfReferences(), 1);
    EXPECT_EQ(handle->getNumberOfExternalReferences(), 1);
    Value second = first;
    EXPECT_TRUE(second == first);
    second.set("Width", 5);
    EXPECT_EQ(first.get("Width").toDouble(), 5.0);
    const Value inCell = Value::cells(std::vector<Value>{first});
    EXPECT_EQ(handle->getNumberOfReferences(), 3);
    EXPECT_EQ(inCell.cell(0).interface(), handle);
    first = Value();
    second = std::move(first);
    EXPECT_EQ(inCell.cell(0).get("Width").toDouble(), 5.0);
}

TEST(Values, AreEqualWhenTheirContentsAre) {
    const Value nan = bsGetNaN();
    EXPECT_EQ(nan, nan);
    EXPECT_EQ(Value(0.0), Value(-0.0));
    EXPECT_EQ(Value(), Value::matrix(0, 0, {}));
    const std::vector<std::pair<Value, Value>> different = {
        {1, 2},
        {1, true},
        {"a", "b"},
        {"a", 97},
        {Value(), ""},
        {nan, 0},
        {std::vector<double>{1, 2}, Value::matrix(2, 1, std::array{1.0, 2.0})},
        {Value::complex(1, 0), 1},
        {Value::complex(1, 2), Value::complex(1, 3)},
        {Value::cells(std::vector<Value>{1, 2}), Value::cells(std::vector<Value>{1, 3})},
        {Value::cells(std::vector<Value>{Value::cells(std::vector<Value>{"deep"})}),
         Value::cells(std::vector<Value>{Value::cells(std::vector<Value>{"deeper"})})}};
    for (const auto& [a, b] : different) {
        EXPECT_FALSE(a == b) << a << ' ' << b;
        EXPECT_EQ(a, a);
        EXPECT_EQ(b, Value(b.toArray()));
    }
    const auto structOf = [](const char* first, const char* second) {
        const char* const names[] = {first, second};
        hvArrayOwner made(hvCreateStructMatrix(1, 1, 2, names));
        hvSetField(made.get(), 0, "x", hvCreateDoubleScalar(1.0));
        return Value(std::move(made));
    };
    EXPECT_EQ(structOf("x", "y"), structOf("y", "x"));
    EXPECT_FALSE(structOf("x", "y") == structOf("x", "z"));
}

TEST(Values, ReadAsOrdinaryData) {
    const Value matrix = Value::matrix(2, 2, std::array{1.0, 2.0, 3.0, 4.0}, std::array{0.0, 0.0, 0.0, -1.0});
    EXPECT_EQ(matrix.toDoubles(), (std::vector<double>{1, 2, 3, 4}));
    EXPECT_EQ(matrix.toImaginaries(), (std::vector<double>{0, 0, 0, -1}));
    EXPECT_TRUE(matrix.isComplex());
    EXPECT_EQ(matrix.rows(), 2U);
    EXPECT_TRUE(std::ranges::equal(matrix.doubles(), matrix.toDoubles()));
    EXPECT_TRUE(std::ranges::equal(matrix.imaginaries(), matrix.toImaginaries()));
    EXPECT_TRUE(Value(1.0).imaginaries().empty());
    EXPECT_EQ(thrownBy([] { Value(true).doubles(); }).id, "VELMAR:array:wrongClass");
    EXPECT_EQ(Value("ab").toDoubles(), (std::vector<double>{97, 98}));
    EXPECT_EQ(Value(true).toDoubles(), (std::vector<double>{1}));
    EXPECT_TRUE(std::isnan(Value().toDouble()));
    EXPECT_FALSE(Value().toBool());
    EXPECT_TRUE(Value(-1).toBool());
    EXPECT_EQ(thrownBy([] { Value(1).toText(); }).id, "VELMAR:array:notChar");
    EXPECT_EQ(thrownBy([] { Value(1).toLines(); }).id, "VELMAR:array:notChar");
    const struct {
        std::vector<std::size_t> sizes;
        std::u16string characters;
        std::vector<std::string> lines;
    } texts[] = {{{1, 3}, u"a\u00e9c", {"a\u00e9c"}},
                 {{2, 2}, u"acbd", {"ab", "cd"}},
                 {{3, 1}, u"abc", {"a", "b", "c"}},
                 {{1, 2, 2}, u"abcd", {"ab", "cd"}},
                 {{0, 0}, u"", {}},
                 {{0, 4}, u"", {}},
                 {{2, 0}, u"", {"", ""}}};
    for (const auto& [sizes, characters, lines] : texts) {
        hvArrayOwner array(hvCreateCharArray(sizes.size(), sizes.data()));
        std::ranges::copy(characters, hvGetTypedData<hvChar>(array.get()).begin());
        const Value text(std::move(array));
        EXPECT_EQ(text.toLines(), lines);
        if (lines.size() < 2) {
            EXPECT_EQ(text.toText(), lines.empty() ? "" : lines[0]);
        } else {
            EXPECT_EQ(thrownBy([&] { text.toText(); }).id, "VELMAR:array:severalRows");
        }
    }
    EXPECT_EQ(thrownBy([] { Value(1).cell(0); }).id, "VELMAR:array:notCell");
    EXPECT_EQ(thrownBy([] { Value::cells({}).toDoubles(); }).id, "VELMAR:array:notNumericClass");
    EXPECT_EQ(thrownBy([] { Value::matrix(2, 2, std::array{1.0}); }).id, "VELMAR:array:dimensions");
    EXPECT_EQ(thrownBy([] { Value::matrix(1, 1, std::array{1.0}, {}); }).id, "VELMAR:array:dimensions");
    EXPECT_EQ(thrownBy([] { Value::matrix(SIZE_MAX, 2, {}); }).id, "VELMAR:nomem");
}

TEST(Values, WriteThemselvesInOneLine) {
    const std::pair<Value, const char*> rows[] = {{0.1, "0.1"},
                                                  {Value::complex(1, -2.5), "1 - 2.5i"},
                                                  {std::vector<double>{1, -HUGE_VAL}, "[1 -Inf]"},
                                                  {"text", "'text'"},
                                                  {"", "''"},
                                                  {Value(), "[0-by-0 double]"},
                                                  {true, "true"},
                                                  {Value::matrix(2, 1, std::array{1.0, 2.0}), "[2-by-1 double]"},
                                                  {Value::cells(std::vector<Value>{1, 2, 3}), "[1-by-3 cell]"}};
    for (const auto& [value, text] : rows) {
        std::ostringstream out;
        out << value;
        EXPECT_EQ(out.str(), text);
    }
}

TEST(Md5, GivesThePublishedDigestsInPiecesOfAnySize) {
    // From the test suite in RFC 1321.
    const std::pair<std::string, const char*> rows[] = {
        {"", "d41d8cd98f00b204e9800998ecf8427e"},
        {"abc", "900150983cd24fb0d6963f7d28e17f72"},
        {"message digest", "f96b697d7cb7938d525a2f31aaf161d0"},
        {"12345678901234567890123456789012345678901234567890123456789012345678901234567890",
         "57edf4a22be3c955ac49da2e2107b67a"}};
    for (const auto& [text, digest] : rows) {
        const auto* const bytes = reinterpret_cast<const unsigned char*>(text.data());
        bs_md5ChecksumRec pieces;
        for (std::size_t i = 0; i < text.size(); ++i) {
            pieces.addn(bytes + i, 1);
            pieces.getDigest();
        }
        bs_md5ChecksumRec copy(pieces);
        copy.addn(bytes, text.size());
        copy = pieces;
        EXPECT_EQ(copy.getHexDigest(), digest);
        copy.reset();
        copy.addn(bytes, text.size());
        EXPECT_EQ(copy.getHexDigest(), digest);
    }
}

}  // namespace
