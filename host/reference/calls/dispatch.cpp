#include "host/reference/calls/dispatch.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <unordered_map>
#include <utility>

#include "host/om.h"
#include "host/reference/calls/boundary.h"
#include "host/reference/calls/builtins.h"
#include "host/reference/calls/running_call.h"
#include "host/reference/functions.h"
#include "host/reference/objects/generation.h"
#include "host/reference/objects/near_names.h"
#include "host/reference/objects/ominterfacearrays.h"
#include "host/reference/values/caught_error.h"
#include "host/reference/values/classnames.h"
#include "host/reference/values/texts.h"

namespace hostref {

std::uint64_t recordGeneration = 0;

Argument Argument::of(const hvArray* array) {
    return {array, OMInterfaceArrays::get(array)};
}

namespace {

// Data types

/// The kind of a data type, determined once for each type, so that a call needs no dynamic_cast.
struct TypeKind {
    enum Tag { array, handle, real, integer, boolean, text, enumeration, other };
    Tag tag = other;
    const OMInterfaceType* handles = nullptr;
    const EnumStringType* enumeration_ = nullptr;
    bool isAnyHandle = false;
};

TypeKind classify(const OMDataType* type) {
    const auto isNamed = [type](const char* name) { return OMTypeRepository::getType(name, false) == type; };
    if (const auto* const handles = dynamic_cast<const OMInterfaceType*>(type)) {
        return {TypeKind::handle, handles, nullptr, isNamed("handle")};
    }
    if (const auto* const enumeration = dynamic_cast<const EnumStringType*>(type)) {
        return {TypeKind::enumeration, nullptr, enumeration, false};
    }
    static constexpr std::pair<const char*, TypeKind::Tag> kBuiltIn[] = {{"VELMAR array", TypeKind::array},
                                                                         {"double", TypeKind::real},
                                                                         {"int32", TypeKind::integer},
                                                                         {"bool", TypeKind::boolean},
                                                                         {"string", TypeKind::text}};
    for (const auto& [name, tag] : kBuiltIn) {
        if (isNamed(name)) {
            return {tag, nullptr, nullptr, false};
        }
    }
    return {};
}

/// Types live as long as the process, so an entry stays valid.
const TypeKind& kindOf(const OMDataType* type) {
    static auto& kinds = *new std::unordered_map<const OMDataType*, TypeKind>;
    const auto found = kinds.find(type);
    return found != kinds.end() ? found->second : kinds.emplace(type, classify(type)).first->second;
}

bool isRealScalar(const hvArray* array) {
    return hvIsScalar(array) && (hvIsNumeric(array) || hvIsLogical(array)) && !hvIsComplex(array);
}

bool isInt32(double value) {
    return value >= std::numeric_limits<std::int32_t>::min() && value <= std::numeric_limits<std::int32_t>::max() &&
           value == std::trunc(value);
}

/// A value in the form of its data type, borrowed from the argument, stored here, or owned by its type.
class TypedValue {
 public:
    TypedValue() = default;
    TypedValue(const TypedValue&) = delete;
    TypedValue& operator=(const TypedValue&) = delete;
    ~TypedValue() { reset(); }

    void* get() { return mIsInPlace ? static_cast<void*>(&mPlace) : mPointer; }

    void borrow(const void* value) {
        reset();
        // A value is passed as a pointer to void in both directions.
        mPointer = const_cast<void*>(value);
    }
    void own(void* value, const OMDataType* type) {
        reset();
        mPointer = value;
        mOwner = type;
    }
    template <class T>
    void keep(T value) {
        reset();
        static_assert(sizeof(T) <= sizeof mPlace);
        *new (&mPlace) T = value;
        mIsInPlace = true;
    }
    /// Wraps a handle in a new array.
    void wrap(OMInterface* interface) {
        reset();
        mArray.reset(OMInterfaceArrays::create(interface));
        mPointer = mArray.get();
    }

 private:
    void reset() {
        if (mOwner != nullptr) {
            withoutErrors([this] { mOwner->releaseValue(mPointer); });
            mOwner = nullptr;
        }
        mIsInPlace = false;
        mPointer = nullptr;
        mArray.reset();
    }

    void* mPointer = nullptr;
    const OMDataType* mOwner = nullptr;
    hvArrayOwner mArray;
    alignas(double) std::byte mPlace[sizeof(double)];
    bool mIsInPlace = false;
};

/// Converts an argument to a data type; false when it can't be a value of it.
bool convert(const Argument& argument, const OMDataType* type, const TypeKind& kind, TypedValue& value) {
    if (kind.tag == TypeKind::array) {
        if (argument.array != nullptr) {
            value.borrow(argument.array);
        } else {
            value.wrap(argument.interface);
        }
        return true;
    }
    if (kind.tag == TypeKind::handle) {
        if (argument.interface == nullptr) {
            value.borrow(nullptr);
            return OMInterfaceArrays::isNull(argument.array);
        }
        const OMClass* const wanted = kind.handles->getClass();
        value.borrow(argument.interface);
        return kind.isAnyHandle || (wanted != nullptr && argument.interface->getClass()->isDescendantOf(wanted));
    }
    if (argument.array == nullptr && kind.tag != TypeKind::other) {
        return false;
    }
    switch (kind.tag) {
        case TypeKind::real:
            if (!isRealScalar(argument.array)) {
                return false;
            }
            value.keep(hvGetScalar(argument.array));
            return true;
        case TypeKind::integer:
            if (!isRealScalar(argument.array) || !isInt32(hvGetScalar(argument.array))) {
                return false;
            }
            value.keep(static_cast<std::int32_t>(hvGetScalar(argument.array)));
            return true;
        case TypeKind::boolean:
            if (!isRealScalar(argument.array) || std::isnan(hvGetScalar(argument.array))) {
                return false;
            }
            value.keep(static_cast<std::uint8_t>(hvGetScalar(argument.array) != 0.0));
            return true;
        case TypeKind::enumeration: {
            std::int32_t number = 0;
            if (hvIsChar(argument.array)) {
                if (!isText(argument.array) ||
                    !kind.enumeration_->getValue(hvArray2String(argument.array).c_str(), number)) {
                    return false;
                }
            } else {
                if (!isRealScalar(argument.array) || !isInt32(hvGetScalar(argument.array)) ||
                    !kind.enumeration_->isValue(static_cast<std::int32_t>(hvGetScalar(argument.array)))) {
                    return false;
                }
                number = static_cast<std::int32_t>(hvGetScalar(argument.array));
            }
            value.keep(number);
            return true;
        }
        case TypeKind::text:
            if (!isText(argument.array)) {
                return false;
            }
            value.own(omdtConvertFromVelmar(type, argument.array), type);
            // Null is not a value, but the empty text is.
            if (value.get() == nullptr) {
                value.keep('\0');
            }
            return true;
        default:
            break;
    }
    try {
        const hvArrayOwner wrapped(argument.array == nullptr ? OMInterfaceArrays::create(argument.interface) : nullptr);
        value.own(omdtConvertFromVelmar(type, wrapped ? wrapped.get() : argument.array), type);
        return true;
    } catch (ErrorIdException* raised) {
        const std::unique_ptr<ErrorIdException> error(raised);
        return false;
    }
}

/// Converts a typed value and destroys that through its owner, even if this raises.
template <class Release>
Value toValue(void* typed, const OMDataType* type, Release release) {
    const struct Owner {
        void* typed;
        Release release;
        ~Owner() {
            withoutErrors([this] { release(typed); });
        }
    } owner{typed, release};
    switch (kindOf(type).tag) {
        case TypeKind::array:
            return Value::share(static_cast<const hvArray*>(typed));
        case TypeKind::handle:
            return Value::hold(static_cast<OMInterface*>(typed));
        default:
            return Value(hvArrayOwner(omdtConvertToVelmar(type, typed)));
    }
}

/// As above for a value that the caller owns, such as a result.
Value takeValue(void* typed, const OMDataType* type) {
    switch (kindOf(type).tag) {
        case TypeKind::array:
            return Value(hvArrayOwner(static_cast<hvArray*>(typed)));
        case TypeKind::handle:
            return Value::adopt(static_cast<OMInterface*>(typed));
        default:
            return toValue(typed, type, [type](void* value) { type->releaseValue(value); });
    }
}

// Records by name

struct TextHash : std::hash<std::string_view> {
    using is_transparent = void;
};
template <class T>
using ByName = std::unordered_map<std::string, T, TextHash, std::equal_to<>>;

struct Signature {
    OMMethodSignature* record;
    std::vector<TypeKind> kinds;  // of its arguments
};

struct Method {
    OMMethodInfo* info;
    std::vector<Signature> signatures;
};

struct ClassEntry {
    ByName<std::shared_ptr<const Method>> methods;
    ByName<OMPropInfo*> properties;
};

/// The records of the class that were looked up so far, until any record changes.
ClassEntry& entryOf(const OMClass& objectClass) {
    struct Cache {
        std::uint64_t generation = 0;
        std::unordered_map<const OMClass*, ClassEntry> entries;
    };
    static Cache& cache = *new Cache;
    if (cache.generation != recordGeneration) {
        cache.entries.clear();
        cache.generation = recordGeneration;
    }
    return cache.entries[&objectClass];
}

/// Shared, because a running method may change records. Null if there is none; that isn't cached.
std::shared_ptr<const Method> findMethod(const OMClass& objectClass, std::string_view name) {
    auto& methods = entryOf(objectClass).methods;
    if (const auto found = methods.find(name); found != methods.end()) {
        return found->second;
    }
    std::string key(name);
    OMMethodInfo* const info = objectClass.getMethod(key.c_str());
    if (info == nullptr) {
        return nullptr;
    }
    auto method = std::make_shared<Method>();
    method->info = info;
    for (const auto& signature : info->getMethodSignatures()) {
        Signature& known = method->signatures.emplace_back(Signature{signature.get(), {}});
        for (const OMMethodSignature::Argument& argument : signature->getArguments()) {
            known.kinds.push_back(kindOf(argument.dataType));
        }
    }
    methods.emplace(std::move(key), method);
    return method;
}

// Selecting a signature and calling

constexpr std::size_t kFewArguments = 6;

/// The arguments of one call in the form of a signature.
class TypedArguments {
 public:
    /// Converts all, or returns false if they don't fit the signature.
    bool fill(const Signature& signature, std::span<const Argument> arguments) {
        const auto& parameters = signature.record->getArguments();
        const bool isRepeatable = signature.record->getNumberOfRepeatableArgs() > 0 && !parameters.empty();
        if (arguments.size() > parameters.size() && !isRepeatable) {
            return false;
        }
        for (std::size_t i = arguments.size(); i < parameters.size(); ++i) {
            if (parameters[i].defaultValue == nullptr) {
                return false;
            }
        }
        setCount(std::max(arguments.size(), parameters.size()));
        for (std::size_t i = 0; i < mCount; ++i) {
            const std::size_t place = std::min(i, parameters.size() - 1);
            if (i >= arguments.size()) {
                mValues[i].borrow(parameters[place].defaultValue);
            } else if (!convert(arguments[i], parameters[place].dataType, signature.kinds[place], mValues[i])) {
                return false;
            }
        }
        for (std::size_t i = 0; i < mCount; ++i) {
            mPointers[i] = mValues[i].get();
        }
        return true;
    }
    int count() const { return static_cast<int>(mCount); }
    void** pointers() { return mPointers; }

 private:
    void setCount(std::size_t count) {
        mCount = count;
        if (count > kFewArguments && count > mManyPointers.size()) {
            mManyValues = std::make_unique<TypedValue[]>(count);
            mManyPointers.resize(count);
            mValues = mManyValues.get();
            mPointers = mManyPointers.data();
        }
    }

    std::size_t mCount = 0;
    std::array<TypedValue, kFewArguments> mFewValues;
    std::array<void*, kFewArguments> mFewPointers = {};
    std::unique_ptr<TypedValue[]> mManyValues;
    std::vector<void*> mManyPointers;
    TypedValue* mValues = mFewValues.data();
    void** mPointers = mFewPointers.data();
};

enum class Fit { none, arguments, all };

bool givesEnough(const OMMethodSignature& signature, int wantedCount) {
    const int given = signature.getNumberOfReturnArgs();
    return given < 0 || given >= wantedCount;
}

/// Finds the first signature that accepts the arguments and returns the results, and converts for it.
Fit selectSignature(const Method& method, std::span<const Argument> arguments, int wantedCount, TypedArguments& typed,
                    OMMethodSignature*& selected) {
    Fit best = Fit::none;
    for (const Signature& signature : method.signatures) {
        // Conversion is the more expensive test, but decides which error is reported.
        if (typed.fill(signature, arguments)) {
            if (givesEnough(*signature.record, wantedCount)) {
                selected = signature.record;
                return Fit::all;
            }
            best = Fit::arguments;
        }
    }
    return best;
}

/// Results of a method, until they are taken.
class RawResults {
 public:
    RawResults(const OMMethodSignature& signature, int wantedCount)
        : mSignature(signature),
          mDeclared(signature.getNumberOfReturnArgs()),
          mWanted(wantedCount),
          mValues(static_cast<std::size_t>(std::max({wantedCount, mDeclared, 1}))) {}
    RawResults(const RawResults&) = delete;
    RawResults& operator=(const RawResults&) = delete;
    ~RawResults() {
        for (int i = mTaken; i < mCount; ++i) {
            withoutErrors([&] { typeOf(i)->releaseValue(mValues[static_cast<std::size_t>(i)]); });
        }
    }

    void receive(OMMethodInfo& method, OMMethodSignature* signature, TypedArguments& arguments) {
        int count = mWanted;
        method.invokeMethod(signature, &count, mValues.data(), arguments.count(), arguments.pointers());
        const int most = mDeclared < 0 ? static_cast<int>(mValues.size()) : mDeclared;
        mCount = std::clamp(count, 0, most);
        // A value without a type can be neither read nor destroyed.
        while (mCount > 0 && typeOf(mCount - 1) == nullptr) {
            --mCount;
        }
    }
    int count() const { return mCount; }
    Value take() {
        const int i = mTaken++;
        return takeValue(mValues[static_cast<std::size_t>(i)], typeOf(i));
    }

 private:
    const OMDataType* typeOf(int index) const { return mSignature.getReturnType(index); }

    // A single result needs no allocation.
    class Pointers {
     public:
        explicit Pointers(std::size_t count) : mSize(count) {
            if (count > mFew.size()) {
                mMany.resize(count);
            }
        }
        void** data() { return mMany.empty() ? mFew.data() : mMany.data(); }
        void*& operator[](std::size_t i) { return data()[i]; }
        std::size_t size() const { return mSize; }

     private:
        std::size_t mSize;
        std::array<void*, 4> mFew = {};
        std::vector<void*> mMany;
    };

    const OMMethodSignature& mSignature;
    int mDeclared;
    int mWanted;
    Pointers mValues;
    int mCount = 0;
    int mTaken = 0;
};

[[noreturn]] void raiseUnassigned(std::string_view name, std::size_t given, int wanted) {
    raiseError("VELMAR:unassignedOutputs", "Function '" + std::string(name) + "' returns " + std::to_string(given) +
                                               " values, and " + std::to_string(wanted) + " are asked for.");
}

std::vector<Value> invoke(const Method& method, OMMethodSignature* signature, TypedArguments& arguments,
                          std::span<const Argument> given, Wanted wanted) {
    RawResults raw(*signature, wanted.count);
    {
        const CallBoundary boundary;
        const RunningCall call(given);
        raw.receive(*method.info, signature, arguments);
    }
    const int returned = std::min(raw.count(), std::max(wanted.count, 1));
    if (returned < wanted.count && !wanted.isOneIfAny) {
        raiseUnassigned(method.info->getName(), static_cast<std::size_t>(returned), wanted.count);
    }
    std::vector<Value> results;
    results.reserve(static_cast<std::size_t>(returned));
    for (int i = 0; i < returned; ++i) {
        results.push_back(raw.take());
    }
    return results;
}

/// Calls one method record if its signatures fit. `fit` reports how far it got if there is no value.
std::optional<std::vector<Value>> tryMethod(const Method& method, std::span<const Argument> arguments, Wanted wanted,
                                            Fit& fit) {
    TypedArguments typed;
    OMMethodSignature* signature = nullptr;
    fit = selectSignature(method, arguments, wanted.count, typed, signature);
    if (fit == Fit::arguments && wanted.isOneIfAny) {
        wanted.count = 0;
        fit = selectSignature(method, arguments, 0, typed, signature);
    }
    if (fit != Fit::all) {
        return std::nullopt;
    }
    return invoke(method, signature, typed, arguments, wanted);
}

std::string typeNames(std::span<const Argument> arguments) {
    std::string names;
    for (const Argument& argument : arguments) {
        names += names.empty() ? "" : ", ";
        names += argument.interface != nullptr ? argument.interface->getClass()->getFullName()
                                               : hvGetClassName(argument.array);
    }
    return "(" + names + ")";
}

/// Shows an argument in an error.
std::string givenText(const Argument& argument) {
    return argument.interface != nullptr
               ? std::string("an object of class '") + argument.interface->getClass()->getFullName() + "'"
               : inlineText(argument.array, kLongestGivenText);
}

[[noreturn]] void raiseNoFit(const Method& method, Fit fit, std::span<const Argument> arguments) {
    if (fit == Fit::arguments) {
        hvErrMsg(3);
    }
    const OMClass* const objectClass = method.info->getClass();
    raiseError("VELMAR:method:noSignature", "Method '" + std::string(method.info->getName()) + "' of class '" +
                                                (objectClass == nullptr ? "" : objectClass->getFullName()) +
                                                "' can't be called with " + typeNames(arguments) + ".");
}

[[noreturn]] void raiseUnknownMethod(const OMClass& objectClass, std::string_view name) {
    std::vector<std::string> names;
    for (const OMMethodInfo* const method : objectClass.getMethods()) {
        names.emplace_back(method->getName());
    }
    raiseError("VELMAR:class:unknownMethod", "Class '" + std::string(objectClass.getFullName()) + "' has no method '" +
                                                 std::string(name) + "'." + suggestion(name, names));
}

}  // namespace

// Classes

OMClass* findClass(std::string_view name) {
    const std::string key(name);
    if (const auto* const type = dynamic_cast<OMInterfaceType*>(OMTypeRepository::getType(key.c_str(), true))) {
        return type->getClass();
    }
    return findClassByShortName(name);
}

OMClass& requireClass(std::string_view name) {
    OMClass* const objectClass = findClass(name);
    if (objectClass == nullptr) {
        raiseError("VELMAR:class:unknown", "There is no class '" + std::string(name) + "'.");
    }
    return *objectClass;
}

Value constructObject(OMClass& objectClass, std::span<const Argument> arguments) {
    const auto raiseNotConstructible = [&objectClass] {
        raiseError("VELMAR:class:notConstructible",
                   "Objects of class '" + std::string(objectClass.getFullName()) + "' can't be made.");
    };
    if (!objectClass.canBeConstructed()) {
        raiseNotConstructible();
    }
    std::vector<hvArrayOwner> wrapped;
    std::vector<void*> arrays;
    for (const Argument& argument : arguments) {
        if (argument.array == nullptr) {
            wrapped.push_back(hvArrayOwner(OMInterfaceArrays::create(argument.interface)));
        }
        // The class reads the arrays, which are passed as pointers to void.
        arrays.push_back(argument.array == nullptr ? wrapped.back().get() : const_cast<hvArray*>(argument.array));
    }
    const CallBoundary boundary;
    OMInterface* const made =
        objectClass.createClassSpecificObject(nullptr, arrays.data(), static_cast<int>(arrays.size()));
    if (made == nullptr) {
        raiseNotConstructible();
    }
    return Value::adopt(made);
}

// Methods

bool hasMethod(const OMClass& objectClass, std::string_view name) {
    return findMethod(objectClass, name) != nullptr;
}

std::optional<std::vector<Value>> callMethod(std::string_view name, std::span<const Argument> arguments,
                                             Wanted wanted) {
    std::shared_ptr<const Method> refused;
    Fit refusedFit = Fit::none;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        if (arguments[i].interface == nullptr) {
            continue;
        }
        const auto method = findMethod(*arguments[i].interface->getClass(), name);
        if (!method || (i > 0 && method->info->isDispatchedOnFirstArgument())) {
            continue;
        }
        Fit fit = Fit::none;
        if (auto results = tryMethod(*method, arguments, wanted, fit)) {
            return results;
        }
        if (!refused) {
            refused = method;
            refusedFit = fit;
        }
    }
    if (refused) {
        raiseNoFit(*refused, refusedFit, arguments);
    }
    return std::nullopt;
}

std::vector<Value> callMethodOfClass(OMClass& objectClass, std::string_view name, std::span<const Argument> arguments,
                                     Wanted wanted) {
    const auto method = findMethod(objectClass, name);
    if (!method) {
        raiseUnknownMethod(objectClass, name);
    }
    Fit fit = Fit::none;
    auto results = tryMethod(*method, arguments, wanted, fit);
    if (!results) {
        raiseNoFit(*method, fit, arguments);
    }
    return std::move(*results);
}

std::vector<Value> callByName(std::string_view name, std::span<const Argument> arguments, Wanted wanted) {
    if (auto results = callMethod(name, arguments, wanted)) {
        return std::move(*results);
    }
    if (!arguments.empty() && arguments[0].interface != nullptr && !hasTableFunction(name)) {
        raiseUnknownMethod(*arguments[0].interface->getClass(), name);
    }
    return callTableFunction(name, arguments, wanted);
}

std::vector<Value> callTableFunction(std::string_view name, std::span<const Argument> arguments, Wanted wanted) {
    std::vector<hvArrayOwner> wrapped;
    std::vector<const hvArray*> arrays;
    for (const Argument& argument : arguments) {
        if (argument.array == nullptr) {
            wrapped.push_back(hvArrayOwner(OMInterfaceArrays::create(argument.interface)));
        }
        arrays.push_back(argument.array == nullptr ? wrapped.back().get() : argument.array);
    }
    std::vector<hvArrayOwner> owners = runTableFunction(name, wanted.count, arrays);
    const auto most = static_cast<std::size_t>(std::max(wanted.count, 1));
    if (!wanted.isOneIfAny && owners.size() < static_cast<std::size_t>(std::max(wanted.count, 0))) {
        raiseUnassigned(name, owners.size(), wanted.count);
    }
    std::vector<Value> results;
    for (std::size_t i = 0; i < std::min(owners.size(), most); ++i) {
        results.emplace_back(std::move(owners[i]));
    }
    return results;
}

// Properties

namespace {

enum class AccessKind { get, set };

[[noreturn]] void raiseNoAccess(const OMClass& objectClass, const OMPropInfo& property, AccessKind kind) {
    const std::string place =
        "Property '" + std::string(property.getName()) + "' of class '" + objectClass.getFullName() + "' can't be ";
    if (kind == AccessKind::set) {
        raiseError("VELMAR:class:noSetAccess", place + "set.");
    }
    raiseError("VELMAR:class:noGetAccess", place + "read.");
}

/// Runs an access of a property; the class may change the error that it raises.
template <class Action>
void access(OMInterface& interface, OMPropInfo& property, Action&& action) {
    const CallBoundary boundary;
    const Argument object{nullptr, &interface};
    const RunningCall call(std::span(&object, 1));
    try {
        std::forward<Action>(action)();
    } catch (ErrorIdException* error) {
        throw interface.getClass()->filterPropAccessException(error, &property);
    }
}

void store(OMInterface& interface, OMPropInfo& property, OMDatabaseClient* client, const void* value) {
    OMClass& objectClass = *interface.getClass();
    access(interface, property, [&] {
        objectClass.prepareForPropertyChanges(&interface);
        property.setValue(client, &interface, value);
        objectClass.respondToPropertyChanges(&interface);
    });
}

[[noreturn]] void raiseBadValueFor(const OMClass& objectClass, const OMPropInfo& property, const Argument& argument) {
    const OMDataType* const type = property.getDataType();
    const EnumStringType* const enumeration = kindOf(type).enumeration_;
    raiseBadValue("Property '" + std::string(property.getName()) + "' of class '" + objectClass.getFullName() +
                  "' can't be " + givenText(argument) + "; it is " +
                  (enumeration != nullptr ? choicesInstead(*enumeration, argument.array)
                                          : "of data type '" + std::string(type->getName()) + "'."));
}

/// Converts for a property or raises "VELMAR:datatype:badValue".
void convertFor(const OMClass& objectClass, const OMPropInfo& property, const Argument& argument, TypedValue& typed) {
    const OMDataType* const type = property.getDataType();
    if (!convert(argument, type, kindOf(type), typed)) {
        raiseBadValueFor(objectClass, property, argument);
    }
}

void sendEvent(OMInterface& interface, const OMPropInfo& property, OMPropertyEvent::Kind kind, const void* value) {
    interface.notifyPropEvent(OMDatabaseClient::getExternalClient(),
                              OMPropertyEvent(&property, kind, &interface, value));
}

}  // namespace

Value readProperty(OMInterface& interface, OMPropInfo& property, OMDatabaseClient* client) {
    void* typed = nullptr;
    access(interface, property, [&] { typed = property.getValue(client, &interface); });
    return toValue(typed, property.getDataType(),
                   [&](void* value) { property.releaseValue(client, &interface, value); });
}

std::optional<Value> readOneOfAll(OMInterface& interface, const std::function<Value()>& read) {
    try {
        return read();
    } catch (...) {
        if (interface.getClass()->throwErrorOnGetOfAllProperties()) {
            throw;
        }
        // A property without a value isn't the same as one for which there is no memory.
        LastError error = caughtError();
        if (isLackOfMemory(error.id)) {
            raiseError(std::move(error.id), std::move(error.message));
        }
        return std::nullopt;
    }
}

OMInterface& requireObject(const Argument& argument) {
    if (argument.interface == nullptr) {
        raiseError("VELMAR:value:notObject",
                   std::string("An array of class '") + hvGetClassName(argument.array) + "' is no object.");
    }
    return *argument.interface;
}

namespace {

[[noreturn]] void raiseUnknownProperty(const OMClass& objectClass, const std::string& name) {
    std::vector<std::string> names;
    for (const OMPropInfo* const property : objectClass.getProperties()) {
        if (property->isExternalGetAccess() || property->isExternalSetAccess()) {
            names.emplace_back(property->getName());
        }
    }
    raiseError("VELMAR:class:unknownProperty", "Class '" + std::string(objectClass.getFullName()) +
                                                   "' has no property '" + name + "'." + suggestion(name, names));
}

}  // namespace

OMPropInfo& requireProperty(const OMClass& objectClass, std::string_view name) {
    auto& properties = entryOf(objectClass).properties;
    if (const auto found = properties.find(name); found != properties.end()) {
        return *found->second;
    }
    std::string key(name);
    OMPropInfo* const property = objectClass.getProperty(key.c_str());
    if (property == nullptr) {
        raiseUnknownProperty(objectClass, key);
    }
    properties.emplace(std::move(key), property);
    return *property;
}

namespace {

Value readWithEvents(OMInterface& interface, std::string_view name, OMDatabaseClient* client) {
    const Value hold = Value::hold(&interface);
    OMPropInfo& property = requireProperty(*interface.getClass(), name);
    if (!property.isExternalGetAccess()) {
        raiseNoAccess(*interface.getClass(), property, AccessKind::get);
    }
    sendEvent(interface, property, OMPropertyEvent::Kind::PreGet, nullptr);
    Value value = readProperty(interface, property, client);
    sendEvent(interface, property, OMPropertyEvent::Kind::PostGet, nullptr);
    return value;
}

}  // namespace

Value getProperty(OMInterface& interface, std::string_view name) {
    return readWithEvents(interface, name, OMDatabaseClient::getExternalClient());
}

Value listedProperty(OMInterface& interface, std::string_view name) {
    return readWithEvents(interface, name, OMDatabaseClient::getInternalClient());
}

void setProperty(OMInterface& interface, std::string_view name, const Argument& argument) {
    const Value hold = Value::hold(&interface);
    OMClass& objectClass = *interface.getClass();
    OMPropInfo& property = requireProperty(objectClass, name);
    if (!property.isExternalSetAccess()) {
        raiseNoAccess(objectClass, property, AccessKind::set);
    }
    const OMDataType* const type = property.getDataType();
    TypedValue typed;
    convertFor(objectClass, property, argument, typed);
    OMDatabaseClient* const client = OMDatabaseClient::getExternalClient();
    if (property.isAbortSetAccess()) {
        const Value wanted = toValue(typed.get(), type, [](void*) {});
        if (readProperty(interface, property, OMDatabaseClient::getInternalClient()) == wanted) {
            return;
        }
    }
    sendEvent(interface, property, OMPropertyEvent::Kind::PreSet, typed.get());
    store(interface, property, client, typed.get());
    sendEvent(interface, property, OMPropertyEvent::Kind::PostSet, typed.get());
}

void writeProperty(OMInterface& interface, OMPropInfo& property, OMDatabaseClient* client, const Argument& argument) {
    TypedValue typed;
    convertFor(*interface.getClass(), property, argument, typed);
    store(interface, property, client, typed.get());
}

// Entry from host functions

std::vector<hvArrayOwner> callFunction(const std::string& name, int resultCount,
                                       std::span<const hvArray* const> arrays) {
    if (std::none_of(arrays.begin(), arrays.end(), [](const hvArray* array) { return hvIsOpaque(array); })) {
        return callBuiltin(name, resultCount, arrays);
    }
    std::vector<Argument> arguments;
    for (const hvArray* const array : arrays) {
        arguments.push_back(Argument::of(array));
    }
    std::vector<hvArrayOwner> results;
    for (const Value& value : callByName(name, arguments, Wanted::exactly(resultCount))) {
        results.push_back(value.toArray());
    }
    return results;
}

std::vector<hvArrayOwner> callBuiltin(const std::string& name, int resultCount,
                                      std::span<const hvArray* const> arguments) {
    std::vector<hvArrayOwner> results = runTableFunction(name, resultCount, arguments);
    if (static_cast<std::size_t>(std::max(resultCount, 0)) > results.size()) {
        raiseUnassigned(name, results.size(), resultCount);
    }
    return results;
}

std::optional<Value> savedProperty(OMInterface& interface, OMPropInfo& property) {
    // Internal access if there is one: it gets fewer warnings, which only concern users.
    OMDatabaseClient* const client =
        property.isInternalGetAccess() ? OMDatabaseClient::getInternalClient() : OMDatabaseClient::getExternalClient();
    return readOneOfAll(interface, [&] { return readProperty(interface, property, client); });
}

}  // namespace hostref

bool omCallBuiltInMethod(const char* name, int resultCount, hvArray** results, int argumentCount, hvArray** arguments,
                         OMErrorStatus& status) {
    return status.collect([&] {
        const hostref::CallBoundary boundary;
        std::vector<hvArrayOwner> owners =
            hostref::callBuiltin(name, resultCount, {arguments, static_cast<std::size_t>(std::max(argumentCount, 0))});
        for (std::size_t i = 0; i < static_cast<std::size_t>(std::max(resultCount, 0)); ++i) {
            results[i] = owners[i].release();
        }
    });
}
