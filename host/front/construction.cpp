#include "host/front/construction.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <iterator>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "host/om.h"
#include "host/reference/objects/near_names.h"

namespace front {

namespace {

[[noreturn]] void fail(const char* id, const std::string& text) {
    throw hostref::HostError(id, text);
}

/// Returns whether a user may set the property.
bool hasSetting(const Value& object, const std::string& name) {
    const OMPropInfo* const property = object.interface()->getClass()->getProperty(name.c_str());
    return property != nullptr && property->isExternalSetAccess();
}

/// The error of an unknown setting, with a suggestion from the known ones.
[[noreturn]] void failForUnknown(const std::string& name, const std::string& made, std::span<const Value> objects) {
    std::vector<std::string> names;
    for (const Value& object : objects) {
        for (const OMPropInfo* const property : object.interface()->getClass()->getProperties()) {
            if (property->isExternalSetAccess()) {
                names.emplace_back(property->getName());
            }
        }
    }
    fail("fixedpoint:fi:constructor:unknownProperty",
         "'" + name + "' is no property that " + made + " can be made with." + hostref::suggestion(name, names));
}

/// Compares the stored value with the given one; a value of another kind was converted.
bool isSame(const Value& kept, const Value& given) {
    if (given.isObject() || given.isEmpty() || hvIsChar(kept.array()) != hvIsChar(given.array())) {
        return true;
    }
    return hvIsChar(kept.array()) ? kept.toText() == given.toText() : kept.toDouble() == given.toDouble();
}

/// Sets a property of a type or of rules, which may refuse it without an error.
void setOrThrow(Session& session, const Value& object, const Setting& setting) {
    session.set(object, setting.name, setting.value);
    // Reading the mode would warn.
    const std::string readName = setting.name == "DataTypeMode" ? "DataTypeModeNoWarning" : setting.name;
    const OMPropInfo* const property = object.interface()->getClass()->getProperty(readName.c_str());
    if (property->isExternalGetAccess() && !isSame(session.get(object, readName), setting.value)) {
        fail("fixedpoint:fi:constructor:refusedSetting",
             "The value of '" + setting.name + "' doesn't go with the rest of the type or the rules.");
    }
}

/// The defining properties of a type, each after those that it depends on.
constexpr const char* kTypeProperties[] = {"DataTypeMode",          "Signedness", "WordLength",      "FixedExponent",
                                           "SlopeAdjustmentFactor", "Bias",       "DataTypeOverride"};

Value copyOfType(Session& session, const Value& type) {
    Value copy = session.construct(kTypeClass);
    for (const char* const property : kTypeProperties) {
        const char* const readName = std::string_view(property) == "DataTypeMode" ? "DataTypeModeNoWarning" : property;
        // A type refuses properties determined by its mode, even if nothing would change.
        if (const Value value = session.get(type, readName); session.get(copy, readName) != value) {
            session.set(copy, property, value);
        }
    }
    return copy;
}

Value globalRules(Session& session) {
    return session.construct(kArrayClass).get("fimath");
}

Value copyOfRules(Session& session, const Value& rules) {
    return session.construct(kArrayClass, {Value(), session.construct(kTypeClass), rules}).get("fimath");
}

const Value& requireObject(const Value& value, const char* className) {
    if (!isObjectOf(value, className)) {
        fail("fixedpoint:fi:constructor:badArgument", std::string("An object of class ") + className + " is expected.");
    }
    return value;
}

/// Properties that determine the scaling of a type, and the ones that binary-point scaling doesn't have.
constexpr std::string_view kScalingProperties[] = {"DataTypeMode",          "Scaling", "FractionLength",
                                                   "BinaryPoint",           "Slope",   "FixedExponent",
                                                   "SlopeAdjustmentFactor", "Bias"};
constexpr std::string_view kSlopeBiasProperties[] = {"Slope", "SlopeAdjustmentFactor", "Bias"};

bool isOneOf(std::span<const std::string_view> names, std::string_view name) {
    return std::ranges::find(names, name) != names.end();
}

/// Settings of an array that give it no elements.
bool isMark(const Setting& setting) {
    return setting.name == "Tag" || setting.name == "fimathislocal";
}

/// The known properties of an array to be made.
class Recipe {
 public:
    explicit Recipe(Session& session) : mSession(session) {}

    void takeValues(const Value& values) { mValues = asNumbers(values); }
    void takeNewType() { mType = mSession.construct(kTypeClass); }
    void takeType(const Value& type);
    void takeRules(const Value& rules) { mRules = copyOfRules(mSession, requireObject(rules, kRulesClass)); }
    void take(const Setting& setting);
    Value make();

 private:
    bool isMadeOfFi() const { return mValues && isFi(*mValues); }
    bool isMadeOfWords() const { return isMadeOfFi() && mSession.call("isscaledtype", {*mValues}).toBool(); }
    Value emptyOf(const Value& type) const;
    Value madeOfFi();
    Value madeOfNumbers();
    /// The type so far: initially that of a given `fi`, otherwise the default one without its scaling.
    const Value& type();
    Value rules() const;

    Session& mSession;
    std::optional<Value> mValues;
    std::optional<Value> mType;
    bool mHasScaling = false;
    std::optional<Value> mRules;
    Settings mOfArray;
};

void Recipe::takeType(const Value& type) {
    mType = copyOfType(mSession, requireObject(type, kTypeClass));
    mHasScaling = true;
}

const Value& Recipe::type() {
    if (!mType) {
        mType = isMadeOfFi() ? mValues->get("numerictype") : mSession.construct(kTypeClass);
        mHasScaling = isMadeOfFi();
    }
    return *mType;
}

Value Recipe::rules() const {
    if (mRules) {
        return *mRules;
    }
    const bool hasOwn = isMadeOfFi() && mSession.call("isfimathlocal", {*mValues}).toBool();
    return hasOwn ? mValues->get("fimath") : Value(false);
}

void Recipe::take(const Setting& setting) {
    if (setting.name == "data" || setting.name == "double") {
        takeValues(setting.value);
    } else if (setting.name == "numerictype") {
        takeType(setting.value);
    } else if (setting.name == "fimath") {
        takeRules(setting.value);
    } else if (hasSetting(type(), setting.name)) {
        if (!mHasScaling && isOneOf(kSlopeBiasProperties, setting.name)) {
            type().set("Scaling", "SlopeBias");
        }
        setOrThrow(mSession, type(), setting);
        mHasScaling = mHasScaling || isOneOf(kScalingProperties, setting.name);
    } else if (const Value anyRules = mSession.construct(kRulesClass); hasSetting(anyRules, setting.name)) {
        if (!mRules) {
            mRules = globalRules(mSession);
        }
        setOrThrow(mSession, *mRules, setting);
    } else if (const Value anyArray = mSession.construct(kArrayClass); hasSetting(anyArray, setting.name)) {
        mOfArray.push_back(setting);
    } else {
        failForUnknown(setting.name, "an array", std::array{type(), anyRules, anyArray});
    }
}

int wordLengthOf(const Value& type) {
    return static_cast<int>(type.get("WordLength").toDouble());
}

/// Returns whether a double holds the greatest magnitude of an array exactly.
bool isInDoubles(const Value& values) {
    double greatest = 0;
    for (const std::vector<double>& part : {values.toDoubles(), values.toImaginaries()}) {
        for (const double value : part) {
            // NaN is taken, since it fails the comparison.
            greatest = std::fabs(value) <= greatest ? greatest : std::fabs(value);
        }
    }
    return std::isnormal(greatest);
}

/// The type with its scaling: the best precision for host numbers if it has none.
Value withScaling(Session& session, const Value& type, const Value& values) {
    const bool isOpen = session.call("isscalingunspecified", {type}).toBool();
    return isOpen ? session.callStatic(kArrayClass, "GetBestPrecisionForHvArray", {type, values}) : type;
}

/// As above for a `fi` of words. For words beyond doubles as well, values beyond doubles are examined with other
/// exponents.
Value withScalingForWords(Session& session, const Value& type, const Value& array) {
    if (!session.call("isscalingunspecified", {type}).toBool()) {
        return type;
    }
    constexpr int kMostBitsInDoubles = 52;
    const Value direct = array.get("double");
    if (isInDoubles(direct) || direct.isEmpty()) {
        return withScaling(session, type, direct);
    }
    const Value cast = array.get("numerictype");
    if (wordLengthOf(type) > kMostBitsInDoubles && cast.get("SlopeAdjustmentFactor").toDouble() == 1.0 &&
        cast.get("Bias").toDouble() == 0.0) {
        // From the longest word downward: what is 0 in one step is in the range of doubles in a later one.
        constexpr int kStep = 2000;
        const double exponent = cast.get("FixedExponent").toDouble();  // of any int32, as that of the result must be
        for (int shifted = 1023 - wordLengthOf(cast); shifted < 1023; shifted += kStep) {
            cast.set("FixedExponent", shifted);
            const Passing moved(session, session.call("reinterpretcast", {array, cast}));
            if (const Value values = session.get(moved, "double"); isInDoubles(values)) {
                Value best = withScaling(session, type, values);
                best.set("FixedExponent", best.get("FixedExponent").toDouble() + exponent - shifted);
                return best;
            }
        }
    }
    const auto isFinite = [](double value) { return std::isfinite(value); };
    if (!std::ranges::all_of(direct.toDoubles(), isFinite) || !std::ranges::all_of(direct.toImaginaries(), isFinite)) {
        // Infinity and NaN are refused as in a host array.
        session.construct(kArrayClass, {direct, type});
    }
    return withScaling(session, type, direct);
}

Value Recipe::make() {
    if (const Value& known = type(); !mHasScaling && mSession.call("isscaledtype", {known}).toBool()) {
        if (!mValues && !std::ranges::all_of(mOfArray, isMark)) {
            fail("fixedpoint:fi:constructor:scalingNeeded", "Words need a scaling, such as a FractionLength.");
        }
        known.set("Scaling", "Unspecified");
    }
    Value made = mSession.call("isdouble", {type()}).toBool() || !isMadeOfFi() ? madeOfNumbers() : madeOfFi();
    for (const Setting& setting : mOfArray) {
        mSession.set(made, setting.name, setting.value);
    }
    return made;
}

/// An array without elements that already has its tag, so that overflows of the elements are reported with it.
Value Recipe::emptyOf(const Value& type) const {
    Value made = mSession.construct(kArrayClass, {Value(), type, rules()});
    for (const Setting& setting : mOfArray) {
        if (setting.name == "Tag") {
            mSession.set(made, setting.name, setting.value);
        }
    }
    return made;
}

/// Elements are quantized as they are, by the rules, since doubles don't hold all words.
Value Recipe::madeOfFi() {
    Value made = emptyOf(isMadeOfWords() ? withScalingForWords(mSession, type(), *mValues)
                                         : withScaling(mSession, type(), mValues->get("double")));
    mSession.call("copydata", {made, *mValues});
    return made;
}

Value Recipe::madeOfNumbers() {
    const Value values = isMadeOfFi() ? mValues->get("double") : mValues.value_or(Value());
    const bool hasTag = std::ranges::any_of(mOfArray, [](const Setting& setting) { return setting.name == "Tag"; });
    if (!hasTag || !isNumbers(values)) {
        return mSession.construct(kArrayClass, {values, type(), rules()});
    }
    Value made = emptyOf(withScaling(mSession, type(), values));
    const bool hasRules = rules().isObject();
    if (!hasRules) {
        // Like the class's construction from numbers, regardless of the global rules.
        mSession.set(made, "RoundMode", "nearest");
        mSession.set(made, "OverflowMode", "saturate");
    }
    mSession.set(made, "data", values);
    if (!hasRules) {
        mSession.set(made, "fimathislocal", false);
    }
    return made;
}

Value set(Session& session, const Value& object, const Settings& settings) {
    for (const Setting& setting : settings) {
        if (!hasSetting(object, setting.name)) {
            failForUnknown(setting.name, "an object of class " + object.className(), std::span(&object, 1));
        }
        setOrThrow(session, object, setting);
    }
    return object;
}

bool isText(const Value& value) {
    return value.isArray() && hvIsChar(value.array());
}

// The meaning of numbers after the values, by their count.
constexpr const char* kPositions[][5] = {
    {},
    {"SignednessBool"},
    {"SignednessBool", "WordLength"},
    {"SignednessBool", "WordLength", "FractionLength"},
    {"SignednessBool", "WordLength", "Slope", "Bias"},
    {"SignednessBool", "WordLength", "SlopeAdjustmentFactor", "FixedExponent", "Bias"},
};

}  // namespace

Value fi(Session& session, const Value& values, const Settings& settings) {
    Recipe recipe(session);
    recipe.takeValues(values);
    std::ranges::for_each(settings, [&](const Setting& setting) { recipe.take(setting); });
    return recipe.make();
}

Value fi(Session& session, const Value& values, bool isSigned, int wordLength, int fractionLength,
         const Settings& settings) {
    Settings all = {{"numerictype", numerictype(session, {{"SignednessBool", isSigned},
                                                          {"WordLength", wordLength},
                                                          {"FractionLength", fractionLength}})}};
    all.insert(all.end(), settings.begin(), settings.end());
    return fi(session, values, all);
}

Value fiWith(Session& session, const Settings& settings) {
    Recipe recipe(session);
    std::ranges::for_each(settings, [&](const Setting& setting) { recipe.take(setting); });
    return recipe.make();
}

Value fiOf(Session& session, std::span<const Value> arguments) {
    Recipe recipe(session);
    std::size_t next = 0;
    if (!arguments.empty() && !isText(arguments[0])) {
        recipe.takeValues(arguments[next++]);
    }
    if (next > 0) {
        const auto end = std::find_if(arguments.begin() + 1, arguments.end(),
                                      [](const Value& value) { return value.isObject() || isText(value); });
        const auto numbers = std::span(arguments.begin() + 1, end);
        if (numbers.size() >= std::size(kPositions)) {
            fail("fixedpoint:fi:constructor:badArgument", "At most five numbers can follow the values.");
        }
        if (!numbers.empty()) {
            recipe.takeNewType();
        }
        for (std::size_t i = 0; i < numbers.size(); ++i) {
            recipe.take({kPositions[numbers.size()][i], numbers[i]});
        }
        next += numbers.size();
        if (numbers.empty() && next < arguments.size() && isObjectOf(arguments[next], kTypeClass)) {
            recipe.takeType(arguments[next++]);
        }
        if (next < arguments.size() && !isText(arguments[next])) {
            recipe.takeRules(arguments[next++]);
        }
    }
    for (; next < arguments.size(); next += 2) {
        if (!isText(arguments[next])) {
            fail("fixedpoint:fi:constructor:badArgument", "The name of a property is expected.");
        }
        if (next + 1 == arguments.size()) {
            fail("fixedpoint:fi:constructor:pairIncomplete", "A value must follow the name of a property.");
        }
        recipe.take({arguments[next].toText(), arguments[next + 1]});
    }
    return recipe.make();
}

Value numerictype(Session& session, const Settings& settings) {
    return set(session, session.construct(kTypeClass), settings);
}

Value fimath(Session& session, const Settings& settings) {
    return set(session, globalRules(session), settings);
}

}  // namespace front
