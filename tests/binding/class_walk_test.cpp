// A walk through the tables of all classes: each property is read and written, each method called by each of its
// signatures, on objects in many states and with values of all kinds. Whatever comes is answered in the type that the
// tables tell, or refused by an error that docs/errors.md lists and that leaves every object as it was.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <limits>
#include <map>
#include <random>
#include <regex>
#include <set>

#include "tests/binding/class_objects.h"
#include "tests/binding/class_tables.h"
#include "tests/binding/session_support.h"

namespace {

/// The identifiers of a document; "%s" and "..." in them stand for any text.
bool isListed(const std::string& id) {
    static const auto listed = [] {
        std::pair<std::set<std::string>, std::vector<std::regex>> ids;
        std::ifstream document(ERROR_LIST);
        const std::regex quoted("`([A-Za-z]+:[^` ]+)`");
        for (std::string line; std::getline(document, line);) {
            for (std::sregex_iterator found(line.begin(), line.end(), quoted), end; found != end; ++found) {
                const std::string text = (*found)[1];
                const std::regex open("%s|\\.\\.\\.");
                if (std::regex_search(text, open)) {
                    ids.second.emplace_back(std::regex_replace(text, open, ".+"));
                } else {
                    ids.first.insert(text);
                }
            }
        }
        return ids;
    }();
    return listed.first.contains(id) ||
           std::ranges::any_of(listed.second, [&id](const std::regex& open) { return std::regex_match(id, open); });
}

/// A value in the shape of a data type.
using Typed = std::unique_ptr<void, std::function<void(void*)>>;
Typed typed(const OMDataType* type, const Value& value) {
    return {omdtConvertFromVelmar(type, value.toArray().get()), [type](void* shape) { type->releaseValue(shape); }};
}
Value taken(const OMDataType* type, void* shape) {
    const Value value(hvArrayOwner(omdtConvertToVelmar(type, shape)));
    type->releaseValue(shape);
    return value;
}

bool isOfType(const Value& value, const OMDataType* type) {
    if (const auto* const classType = dynamic_cast<const OMInterfaceType*>(type)) {
        return value.isObject() && (classType->getClass() == nullptr || value.isA(classType->getName()));
    }
    if (const auto* const enumeration = dynamic_cast<const EnumStringType*>(type)) {
        std::int32_t found = 0;
        return value.className() == "char" && enumeration->getValue(value.toText().c_str(), found);
    }
    static const std::map<std::string, std::string> classes = {
        {"int32", "int32"}, {"int", "int32"}, {"double", "double"}, {"bool", "logical"}, {"string", "char"}};
    const auto found = classes.find(type->getName());
    return found == classes.end() ||
           (value.className() == found->second && (value.numberOfElements() == 1 || found->second == "char"));
}

/// Reads as the system's own code does.
Value readInternally(OMPropInfo& property, const Value& object) {
    return taken(property.getDataType(), property.getValue(OMDatabaseClient::getInternalClient(), object.interface()));
}

/// All that can be read of objects, at all depths.
Values stateOf(const Values& objects) {
    const HostCapture quiet;
    Values state;
    for (const Value& object : objects) {
        if (!object.isObject()) {
            continue;
        }
        for (OMPropInfo* const property : object.interface()->getClass()->getProperties()) {
            Value read;
            const Raised raised = raisedBy([&] { read = readInternally(*property, object); });
            if (!raised.id.empty()) {
                EXPECT_TRUE(isListed(raised.id)) << property->getName() << " " << raised;
                state.emplace_back(raised.id);
            } else if (read.isObject()) {
                std::ranges::copy(stateOf({read}), std::back_inserter(state));
            } else {
                state.push_back(read);
            }
        }
    }
    return state;
}

/// Equal as far as a user can see: integers travel as doubles, and an object by its copy.
bool isSame(const Value& a, const Value& b) {
    const auto plain = [](const Value& value) {
        return value.className() == "int32" ? Value(value.toDoubles()) : value;
    };
    return a.isObject() && b.isObject() ? stateOf({a}) == stateOf({b}) : plain(a) == plain(b);
}

class ClassWalk : public ObjectsOfClasses {
 protected:
    const Value& anyOf(const Values& values) { return values[random() % values.size()]; }

    /// An error is a listed one, and the objects are as they were.
    static void expectRefusal(const Raised& raised, const Values& objects, const Values& state) {
        EXPECT_TRUE(isListed(raised.id)) << raised;
        EXPECT_TRUE(stateOf(objects) == state) << raised;
    }

    /// No word that saturates is NaN, by whatever road it came; infinities wrap to NaN, and a bias may be one.
    static void expectNoNaNWords(const Values& objects) {
        for (const Value& object : objects) {
            if (object.isObject() && object.isA("embedded.fi") && object.get("DataType") == Value("Fixed") &&
                object.get("OverflowMode") == Value("saturate") && std::isfinite(object.get("Bias").toDouble())) {
                const Value values = object.get("double");
                for (const Numbers& part : {values.toDoubles(), values.toImaginaries()}) {
                    EXPECT_TRUE(std::ranges::none_of(part, [](double x) { return std::isnan(x); })) << values;
                }
            }
        }
    }

    /// Writes values to a property of an object as a user does, and as the system where users may not. Returns whether
    /// one was kept.
    bool write(OMPropInfo& property, const Value& object, const Values& values) {
        bool isKept = false;
        for (const Value& value : values) {
            SCOPED_TRACE(testing::Message() << "written " << value);
            const Values state = stateOf({object});
            Value before;
            const bool isRead =
                property.isExternalGetAccess() && thrownBy([&] { before = object.get(property.getName()); }).id.empty();
            session.takeWarnings();
            const Raised raised = thrownBy([&] { object.set(property.getName(), value); });
            for (const Warning& warning : session.takeWarnings()) {
                EXPECT_TRUE(isListed(warning.id)) << warning.id;
            }
            if (!raised.id.empty()) {
                expectRefusal(raised, {object}, state);
            } else if (isRead && !isSame(before, value)) {
                isKept = isKept || isSame(object.get(property.getName()), value);
            }
            if (!property.isExternalSetAccess()) {
                EXPECT_EQ(raised.id, "VELMAR:class:noSetAccess");
                const HostCapture quiet;
                const Raised internal = raisedBy(
                    [&] { setInternally(object, property.getName(), typed(property.getDataType(), value).get()); });
                if (!internal.id.empty()) {
                    expectRefusal(internal, {object}, state);
                }
            }
            expectNoNaNWords({object});
        }
        return isKept;
    }

    void callEveryMethod();

    std::mt19937 random{20};
};

// In class_tables.txt letters stand for access as lettersOf() gives them; "of" names the parent, A and B are flags.
TEST_F(ClassWalk, AClassHasThePropertiesAndMethodsOfItsTableInTheirOrder) {
    std::string given;
    for (const OMClass* const objectClass : OMApplicationManager::getApplication("embedded")->getLocalClasses()) {
        given += (given.empty() ? "" : "\n") + classText(*objectClass);
    }
    std::ifstream table(CLASS_TABLES);
    EXPECT_EQ(given, std::string(std::istreambuf_iterator<char>(table), {}));
}

TEST_F(ClassWalk, APropertyKeepsWhatIsWrittenOrTheObjectStaysAsItWas) {
    /// Told to be writable; what is written follows from the format and is dropped.
    const std::set<std::string> derived = {"precision",   "denormalmax",  "denormalmin", "eps",     "exponentmin",
                                           "exponentmax", "exponentbias", "realmax",     "realmin", "version"};
    for (const std::string shortClass : classes) {
        const std::string name = "embedded." + shortClass;
        const Values objects = objectsOf(name);
        for (OMPropInfo* const property : objects.front().interface()->getClass()->getProperties()) {
            const OMDataType* const type = property->getDataType();
            Values values = valuesOf(type, name);
            const HostCapture quiet;
            for (const Value& object : objects) {
                raisedBy([&] { values.push_back(readInternally(*property, object)); });
            }
            bool isKept = false;
            const Values fresh = objectsOf(name);
            for (const Value& object : fresh) {
                SCOPED_TRACE(testing::Message()
                             << property->getName() << " of " << name << " " << &object - fresh.data());
                Value read;
                const Raised raised = thrownBy([&] { read = object.get(property->getName()); });
                if (!property->isExternalGetAccess()) {
                    EXPECT_EQ(raised.id, "VELMAR:class:noGetAccess");
                } else {
                    EXPECT_TRUE(raised.id.empty() ? isOfType(read, type) : isListed(raised.id)) << raised;
                }
                isKept = write(*property, object, values) || isKept;
                std::ranges::shuffle(values, random);
                values.resize(std::min<std::size_t>(values.size(), 12));
            }
            if (property->isExternalSetAccess() && property->isExternalGetAccess()) {
                EXPECT_NE(isKept, shortClass == "quantizer" && derived.contains(property->getName()))
                    << name << " " << property->getName();
            }
        }
    }
}

void ClassWalk::callEveryMethod() {
    constexpr int cases = 40;
    session.callStatic("embedded.fimath", "SetGlobalFimath", {rules({}), "walk"});
    const Values paths = {path("()", {1}), path("()", {":"}), path("()", {2, 1}), path("()", {9}),
                          path("()", {}),  path("{}", {1}),   path(".", {"Tag"})};
    Values tags;
    for (int i = 0; i < 200; ++i) {
        tags.emplace_back("tag " + std::to_string(i));
    }
    /// Arrays that methods hardly ever answer without, by their places.
    const std::map<std::string, std::vector<Values>> special = {
        {"subsref", {{}, paths}},
        {"subsasgn", {objectsOf("embedded.fi"), paths}},
        {"base2num", {{}, {"0000000000000001", "0101", "7f"}, {2, 10, 16}}},
        {"bitand", {{0.5}, {0.5}}},
        {"bitor", {{0.5}, {0.5}}},
        {"bitxor", {{0.5}, {0.5}}},
        {"bitset", {{}, {1, 2}, {1}}},
        {"size", {{}, {1, 2, 3}}},
        {"SetGlobalFimath", {{"walk"}, tags}},
        {"GetFromFimathDictionary", {{"walk"}}}};
    // clang-format off
    /// These exist to refuse.
    const std::set<std::string> refusing = {
        "pow2(fi) fi", "colon(array, array) array", "colon(array, array, array) array", "_colonobj(array, array) array",
        "_colonobj(array, array, array) array", "transpose(array) array", "ctranspose(array) array"};
    /// These change their first argument, or count what they did in it.
    const std::set<std::string> changing = {
        "set_element", "copydata", "resetlog", "resetlogging", "subsasgn", "base2num", "consolidatelocalfilogs",
        "initializestates", "quantizenumeric", "num2base", "SetBestFractionLength"};
    // clang-format on
    /// Their products may leave the doubles, and differences of infinities are NaN.
    const std::set<std::string> multiplying = {"times", "mtimes", "convF", "convS", "convV", "mpy", "pow2"};
    for (const std::string shortClass : classes) {
        const std::string name = "embedded." + shortClass;
        const Values objects = objectsOf(name);
        for (OMMethodInfo* const method : objects.front().interface()->getClass()->getMethods()) {
            const auto found = special.find(method->getName());
            const std::vector<Values> own = found == special.end() ? std::vector<Values>() : found->second;
            for (const auto& signature : method->getMethodSignatures()) {
                const auto& parameters = signature->getArguments();
                const bool isList = signature->getNumberOfRepeatableArgs() > 0;
                const std::string shape = method->getName() + signatureText(*signature);
                std::vector<Values> pools;
                for (std::size_t i = 0; i < parameters.size() + (isList ? 2 : 0); ++i) {
                    pools.push_back(isList && i == 0
                                        ? objects
                                        : valuesOf(parameters[std::min(i, parameters.size() - 1)].dataType, name));
                }
                int answers = 0;
                const int most = refusing.contains(shape) ? cases : 20 * cases;
                for (int i = 0; i < cases || (answers == 0 && i < most); ++i) {
                    const std::size_t count = parameters.size() + (isList ? random() % 3 : 0);
                    Values arguments;
                    std::vector<Typed> shapes;
                    std::vector<void*> pointers;
                    std::ostringstream told;
                    for (std::size_t place = 0; place < count; ++place) {
                        const OMDataType* const type = parameters[std::min(place, parameters.size() - 1)].dataType;
                        const bool isSpecial =
                            place < own.size() && !own[place].empty() && shortName(type) == "array" && random() % 4 > 0;
                        arguments.push_back(anyOf(isSpecial ? own[place] : pools[place]));
                        shapes.push_back(typed(type, arguments.back()));
                        pointers.push_back(shapes.back().get());
                        told << " " << arguments.back();
                    }
                    SCOPED_TRACE(testing::Message() << shortClass << " " << shape << " of" << told.str());
                    logging(random() % 2 == 0);
                    const Values state = stateOf(arguments);
                    const HostCapture capture;
                    const int declared = signature->getNumberOfReturnArgs();
                    const int wanted = declared < 0 ? static_cast<int>(random() % 4) : declared;
                    int given = wanted;
                    void* results[4] = {};
                    const Raised raised = raisedBy([&] {
                        method->invokeMethod(signature.get(), &given, results, static_cast<int>(count),
                                             pointers.data());
                    });
                    if (!raised.id.empty()) {
                        expectRefusal(raised, arguments, state);
                    } else {
                        ++answers;
                        EXPECT_EQ(given, declared < 0 ? std::max(wanted, 1) : declared);
                        for (int r = 0; r < given; ++r) {
                            OMDataType* const type = signature->getReturnType(r);
                            // The quotient of nothing is nothing.
                            if (results[r] == nullptr) {
                                EXPECT_TRUE(shape.starts_with("divide("));
                                continue;
                            }
                            const Value result = taken(type, results[r]);
                            EXPECT_TRUE(isOfType(result, type));
                            if (!multiplying.contains(method->getName())) {
                                expectNoNaNWords({result});
                            }
                        }
                        expectNoNaNWords(arguments);
                        EXPECT_TRUE(changing.contains(method->getName()) || stateOf(arguments) == state);
                    }
                    // The same arguments as a user gives them, who leaves it to the host which signature is taken.
                    const Raised again = thrownBy([&] {
                        method->isStatic() ? session.callStatic(wanted, name, method->getName(), arguments)
                                           : session.call(wanted, method->getName(), arguments);
                    });
                    EXPECT_TRUE(again.id.empty() || isListed(again.id)) << again;
                    for (const HostCapture::Warning& warning : capture.warnings) {
                        EXPECT_TRUE(isListed(warning.id)) << warning;
                    }
                }
                EXPECT_NE(answers > 0, refusing.contains(shape)) << name << " " << shape;
            }
        }
    }
}

// It fills the dictionary of rules and sets the global ones.
TEST_F(ClassWalk, AMethodAnswersInTheToldTypesOrRefusesAndTheArgumentsStayAsTheyWere) {
    inOwnProcess([this] { callEveryMethod(); });
}

}  // namespace
