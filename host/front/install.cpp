#include <cstdint>
#include <string>
#include <vector>

#include "host/front/front.h"
#include "host/hsc.h"

namespace front {

namespace {

using Results = std::vector<Value>;

// The host's standard errors by their numbers.
constexpr int kTooManyInputs = 1;
constexpr int kNotEnoughInputs = 2;
constexpr int kTooManyOutputs = 3;

/// Whether an argument is given and isn't the empty array, which means an omitted argument.
bool isGiven(Values arguments, std::size_t place) {
    return place < arguments.size() && (arguments[place].isObject() || !arguments[place].isEmpty());
}

WantedDimension dimensionIn(Values arguments, std::size_t place) {
    return isGiven(arguments, place) ? WantedDimension(dimensionAt(arguments[place])) : std::nullopt;
}

template <auto compute>
Results ofAll(Session& session, int /*resultCount*/, Values arguments) {
    return {compute(session, arguments)};
}

template <auto compute>
Results ofTwo(Session& session, int /*resultCount*/, Values arguments) {
    return {compute(session, arguments[0], arguments[1])};
}

template <TruthRule rule>
Results ofTruths(Session& session, int /*resultCount*/, Values arguments) {
    return {joinTruths(session, rule, arguments[0], arguments[1])};
}

/// An array, a type and rules; the last two may be omitted.
template <auto compute>
Results byTypeAndRules(Session& session, int /*resultCount*/, Values arguments) {
    const bool hasType = arguments.size() > 1 && isObjectOf(arguments[1], kTypeClass);
    const std::size_t rulesPlace = hasType ? 2 : 1;
    if (arguments.size() > rulesPlace + 1 ||
        (arguments.size() > rulesPlace && !isObjectOf(arguments[rulesPlace], kRulesClass))) {
        throw hostref::HostError("fixedpoint:fi:abs:badArgument",
                                 "A type and rules, in this order, can follow the array.");
    }
    return {compute(session, arguments[0], hasType ? arguments[1] : Value(),
                    arguments.size() > rulesPlace ? arguments[rulesPlace] : Value())};
}

Results catCall(Session& session, int /*resultCount*/, Values arguments) {
    return {cat(session, dimensionAt(arguments[0]), arguments.subspan(1))};
}

Results sumCall(Session& session, int /*resultCount*/, Values arguments) {
    return {sum(session, arguments[0], dimensionIn(arguments, 1))};
}

/// "max(a, b)", or "max(a)" and "max(a, [], dimension)" with the positions as second result.
template <auto ofTwoArrays, auto along>
Results extremes(Session& session, int resultCount, Values arguments) {
    if (arguments.size() == 2) {
        if (resultCount > 1) {
            hvErrMsg(kTooManyOutputs);
        }
        return {ofTwoArrays(session, arguments[0], arguments[1])};
    }
    if (isGiven(arguments, 1)) {
        throw hostref::HostError("fixedpoint:fi:max:arraysAndDimension",
                                 "Two arrays are compared element by element, not along a dimension.");
    }
    const Extremes found = along(session, arguments[0], dimensionIn(arguments, 2));
    return {found.values, found.places};
}

Results convCall(Session& session, int /*resultCount*/, Values arguments) {
    return {conv(session, arguments[0], arguments[1], arguments.size() > 2 ? arguments[2].toText() : "full")};
}

Results complexCall(Session& session, int /*resultCount*/, Values arguments) {
    return {arguments.size() == 1 ? complex(session, arguments[0]) : complex(session, arguments[0], arguments[1])};
}

Results reshapeCall(Session& session, int /*resultCount*/, Values arguments) {
    return {reshape(session, arguments[0], arguments.subspan(1))};
}

Results firstobjCall(Session& /*session*/, int /*resultCount*/, Values arguments) {
    return {firstobj(arguments)};
}

/// Shows values, type, rules and tag, as the class does without such a method. It prints, so it exists only as a
/// method: a session collects the printed text of its calls.
Results dispCall(Session& session, int /*resultCount*/, Values arguments) {
    const Value& array = arguments[0];
    if (isEmpty(session, array)) {
        hscPrintf("     []\n");
    } else {
        session.call(0, "disp", {session.call("double", {array})});
    }
    for (const char* const part : {"numerictype", "fimath"}) {
        hscPrintf("\n");
        session.call(0, "disp", {session.call(part, {array})});
    }
    hscPrintf("\n\n                   Tag: %s\n", array.get("Tag").toText().c_str());
    return {};
}

// "help", "methods" and "properties"

/// Prints the text, or returns it if a result is requested.
Results shown(int resultCount, const std::string& text) {
    if (resultCount == 0) {
        hscPrintf("%s", text.c_str());
        return {};
    }
    return {Value(text)};
}

/// Of the class of an object, or that a text names.
ClassHelp classIn(const Value& value) {
    return classHelp(value.isObject() ? value.className() : value.toText());
}

Results helpCall(Session& /*session*/, int resultCount, Values arguments) {
    if (arguments.empty()) {
        return shown(resultCount, helpText());
    }
    return shown(resultCount,
                 helpText(classIn(arguments[0]), arguments.size() > 1 ? arguments[1].toText() : std::string()));
}

template <std::string (*text)(const ClassHelp&)>
Results listCall(Session& /*session*/, int resultCount, Values arguments) {
    return shown(resultCount, text(classIn(arguments[0])));
}

using Implementation = Results (*)(Session& session, int resultCount, Values arguments);

struct Row {
    const char* name;
    std::size_t fewest;  // arguments
    std::size_t most;
    int mostResults;
    Implementation implementation;
};

constexpr std::size_t kAny = SIZE_MAX;

constexpr bool isAnd(bool a, bool b) {
    return a && b;
}
constexpr bool isOr(bool a, bool b) {
    return a || b;
}
constexpr bool isXor(bool a, bool b) {
    return a != b;
}

constexpr Row kFunctions[] = {
    {"fi", 0, kAny, 1, ofAll<fiOf>},
    {"help", 0, 2, 1, helpCall},
    {"methods", 1, 1, 1, listCall<methodsText>},
    {"properties", 1, 1, 1, listCall<propertiesText>},
};
constexpr Row kPropertiesEqual = {"ispropequal", 2, 2, 1, ofTwo<ispropequal>};

constexpr Row kMethods[] = {
    {"abs", 1, 3, 1, byTypeAndRules<front::abs>},
    {"and", 2, 2, 1, ofTruths<isAnd>},
    {"cat", 1, kAny, 1, catCall},
    {"complex", 1, 2, 1, complexCall},
    {"computeDivideType", 2, 2, 1, ofTwo<computeDivideType>},
    {"conv", 2, 3, 1, convCall},
    {"disp", 1, 1, 1, dispCall},
    {"emptyfirstobj", 1, kAny, 1, ofAll<emptyfirstobj>},
    {"firstobj", 1, kAny, 1, firstobjCall},
    {"horzcat", 1, kAny, 1, ofAll<horzcat>},
    {"isequal", 2, kAny, 1, ofAll<isequal>},
    kPropertiesEqual,
    {"max", 1, 3, 2, extremes<max, maxAlong>},
    {"min", 1, 3, 2, extremes<min, minAlong>},
    {"mrdivide", 2, 2, 1, ofTwo<mrdivide>},
    {"or", 2, 2, 1, ofTruths<isOr>},
    {"rdivide", 2, 2, 1, ofTwo<rdivide>},
    {"reshape", 2, kAny, 1, reshapeCall},
    {"sum", 1, 2, 1, sumCall},
    {"todoublecell", 1, kAny, 1, ofAll<todoublecell>},
    {"vertcat", 1, kAny, 1, ofAll<vertcat>},
    {"xor", 2, 2, 1, ofTruths<isXor>},
};

/// The function with a check of its counts.
hostref::SessionFunction functionOf(const Row& row) {
    return [&row](Session& session, int resultCount, Values arguments) {
        if (arguments.size() < row.fewest) {
            hvErrMsg(kNotEnoughInputs);
        }
        if (arguments.size() > row.most) {
            hvErrMsg(kTooManyInputs);
        }
        if (resultCount > row.mostResults) {
            hvErrMsg(kTooManyOutputs);
        }
        return row.implementation(session, resultCount, arguments);
    };
}

}  // namespace

void install(Session& session) {
    for (const Row& row : kFunctions) {
        session.addFunction(row.name, functionOf(row));
    }
    for (const Row& row : kMethods) {
        session.addMethod(kArrayClass, row.name, functionOf(row));
    }
    for (const char* const className : {kTypeClass, kRulesClass}) {
        session.addMethod(className, kPropertiesEqual.name, functionOf(kPropertiesEqual));
    }
}

}  // namespace front
