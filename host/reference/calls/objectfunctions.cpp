// The host's own functions on objects: "get", "set", "disp", "builtin", "subsref" and "subsasgn".
#include <algorithm>
#include <utility>

#include "host/ho.h"
#include "host/om.h"
#include "host/reference/calls/builtins.h"
#include "host/reference/calls/dispatch.h"
#include "host/reference/calls/format.h"
#include "host/reference/objects/ominterfacearrays.h"
#include "host/reference/values/indexing.h"
#include "host/reference/values/texts.h"

namespace hostref {

namespace {

using Arguments = std::span<const hvArray* const>;
using Results = std::vector<hvArrayOwner>;

Results resultOf(const Value& value) {
    Results results;
    results.push_back(value.toArray());
    return results;
}

OMInterface& firstObject(Arguments arguments) {
    if (arguments.empty()) {
        hvErrMsg(2);
    }
    return requireObject(Argument::of(arguments[0]));
}

/// Name and text of one line of a display.
using Line = std::pair<std::string, std::string>;

std::string alignedLines(const std::vector<Line>& lines) {
    std::size_t width = 0;
    for (const Line& line : lines) {
        width = std::max(width, line.first.size());
    }
    std::string text;
    for (const Line& line : lines) {
        text += std::string(width + 4 - line.first.size(), ' ') + line.first + ": " + line.second + "\n";
    }
    return text;
}

/// The properties that a user may read, with their values; those that can't be read are omitted.
std::vector<std::pair<std::string, Value>> readableProperties(OMInterface& interface) {
    std::vector<std::pair<std::string, Value>> values;
    for (const OMPropInfo* const property : interface.getClass()->getProperties()) {
        if (!property->isVisible() || !property->isExternalGetAccess()) {
            continue;
        }
        const std::string name = property->getName();
        if (auto value = readOneOfAll(interface, [&] { return listedProperty(interface, name); })) {
            values.emplace_back(name, std::move(*value));
        }
    }
    return values;
}

Value structOf(const std::vector<std::pair<std::string, Value>>& fields) {
    std::vector<const char*> names;
    for (const auto& [name, value] : fields) {
        names.push_back(name.c_str());
    }
    hvArrayOwner made(hvCreateStructMatrix(1, 1, static_cast<int>(names.size()), names.data()));
    for (std::size_t i = 0; i < fields.size(); ++i) {
        hvArrayOwner element = fields[i].second.toArray();
        hvSetFieldByNumber(made.get(), 0, static_cast<int>(i), element.get());
        static_cast<void>(element.release());
    }
    return Value(std::move(made));
}

// "get" and "set"

/// "get(object)" returns a struct of all readable properties, "get(object, name)" one of them.
Results getFunction(int, Arguments arguments) {
    OMInterface& interface = firstObject(arguments);
    if (arguments.size() > 2) {
        hvErrMsg(1);
    }
    return resultOf(arguments.size() == 1 ? structOf(readableProperties(interface))
                                          : getProperty(interface, hvArray2String(arguments[1])));
}

/// The possible values of a property, if its type lists them.
std::vector<Value> possibleValues(const OMPropInfo& property) {
    std::vector<Value> values;
    if (const auto* const enumeration = dynamic_cast<const EnumStringType*>(property.getDataType())) {
        for (const EnumStringType::Entry& entry : enumeration->getEntries()) {
            values.emplace_back(entry.text);
        }
    }
    return values;
}

std::string listed(const std::vector<Value>& values) {
    std::string text;
    for (const Value& value : values) {
        text += (text.empty() ? "" : " | ") + value.toText();
    }
    return "{ " + text + " }";
}

/// "set(object)" lists the values of the properties that a user may set, "set(object, name)" those of one, as a result
/// or, if none is requested, printed; "set(object, name, value, ...)" sets.
Results setFunction(int resultCount, Arguments arguments) {
    OMInterface& interface = firstObject(arguments);
    const OMClass& objectClass = *interface.getClass();
    if (arguments.size() > 2) {
        if (arguments.size() % 2 == 0) {
            hvErrMsg(2);
        }
        for (std::size_t i = 1; i < arguments.size(); i += 2) {
            setProperty(interface, hvArray2String(arguments[i]), Argument::of(arguments[i + 1]));
        }
        return {};
    }
    if (arguments.size() == 2) {
        const std::vector<Value> values = possibleValues(requireProperty(objectClass, hvArray2String(arguments[1])));
        if (resultCount == 0) {
            print(listed(values) + "\n");
        }
        return resultOf(Value::cells(values));
    }
    std::vector<std::pair<std::string, Value>> fields;
    std::vector<Line> lines;
    for (const OMPropInfo* const property : objectClass.getProperties()) {
        if (property->isVisible() && property->isExternalSetAccess()) {
            const std::vector<Value> values = possibleValues(*property);
            fields.emplace_back(property->getName(), Value::cells(values));
            lines.emplace_back(property->getName(), values.empty() ? "{}" : listed(values));
        }
    }
    if (resultCount == 0) {
        print(alignedLines(lines));
    }
    return resultOf(structOf(fields));
}

// "disp"

std::string structText(const hvArray* array) {
    std::vector<Line> lines;
    for (int field = 0; field < hvGetNumberOfFields(array); ++field) {
        lines.emplace_back(hvGetFieldNameByNumber(array, field), inlineText(hvGetFieldByNumber(array, 0, field)));
    }
    return alignedLines(lines);
}

std::string cellText(const hvArray* array) {
    std::vector<Line> lines;
    const std::size_t rows = std::max<std::size_t>(hvGetM(array), 1);
    for (std::size_t i = 0; i < hvGetNumberOfElements(array); ++i) {
        lines.emplace_back("{" + std::to_string(i % rows + 1) + "," + std::to_string(i / rows + 1) + "}",
                           inlineText(hvGetCell(array, i)));
    }
    return alignedLines(lines);
}

std::string objectText(OMInterface& interface) {
    std::vector<Line> lines;
    for (const auto& [name, value] : readableProperties(interface)) {
        lines.emplace_back(name, inlineText(value.toArray().get()));
    }
    return "    " + std::string(interface.getClass()->getFullName()) + "\n" + alignedLines(lines);
}

Results dispFunction(int, Arguments arguments) {
    if (arguments.size() != 1) {
        hvErrMsg(arguments.empty() ? 2 : 1);
    }
    const hvArray* const array = arguments[0];
    if (OMInterface* const interface = OMInterfaceArrays::get(array)) {
        print(objectText(*interface));
    } else if (hvIsStruct(array)) {
        print(hvIsScalar(array) ? structText(array) : "    " + inlineText(array) + "\n");
    } else if (hvIsCell(array)) {
        print(cellText(array));
    } else {
        hoPrintMatrixCompact(array);
    }
    return {};
}

// "builtin", "subsref" and "subsasgn"

/// "builtin(name, ...)" calls a function even if there are methods of that name.
Results builtinFunction(int resultCount, Arguments arguments) {
    if (arguments.empty()) {
        hvErrMsg(2);
    }
    return runTableFunction(hvArray2String(arguments[0]), resultCount, arguments.subspan(1));
}

/// An access path in its callers' form: a struct array with the fields "type" and "subs".
class AccessPath {
 public:
    explicit AccessPath(const hvArray* steps) : mSteps(steps), mSize(hvGetNumberOfElements(steps)) {
        if (!hvIsStruct(steps) || mSize == 0 || hvGetFieldNumber(steps, "type") < 0 ||
            hvGetFieldNumber(steps, "subs") < 0) {
            raiseError("VELMAR:subs:badPath", "An access path is a struct array with the fields 'type' and 'subs'.");
        }
    }

    std::size_t size() const { return mSize; }
    bool isName(std::size_t i) const { return hvArray2String(hvGetField(mSteps, i, "type")) == "."; }
    bool isIndex(std::size_t i) const { return i < mSize && hvArray2String(hvGetField(mSteps, i, "type")) == "()"; }
    bool isContent(std::size_t i) const { return i < mSize && hvArray2String(hvGetField(mSteps, i, "type")) == "{}"; }
    std::string name(std::size_t i) const { return hvArray2String(hvGetField(mSteps, i, "subs")); }
    const hvArray* indices(std::size_t i) const { return hvGetField(mSteps, i, "subs"); }
    /// The individual indices, owned by the path. Raises "VELMAR:subs:badPath" if they aren't a cell.
    std::vector<const hvArray*> indexList(std::size_t i) const {
        const hvArray* const cell = indices(i);
        if (!hvIsCell(cell)) {
            raiseError("VELMAR:subs:badPath", "The subscripts of an access path are a cell array of indices.");
        }
        std::vector<const hvArray*> list(hvGetNumberOfElements(cell));
        for (std::size_t k = 0; k < list.size(); ++k) {
            list[k] = hvGetCell(cell, k);
        }
        return list;
    }

    /// The steps from one on.
    Value from(std::size_t first) const {
        static constexpr const char* kFields[] = {"type", "subs"};
        hvArrayOwner rest(hvCreateStructMatrix(1, mSize - first, 2, kFields));
        for (std::size_t i = first; i < mSize; ++i) {
            for (int field = 0; field < 2; ++field) {
                hvArrayOwner copy = Value::share(hvGetField(mSteps, i, kFields[field])).toArray();
                hvSetFieldByNumber(rest.get(), i - first, field, copy.get());
                static_cast<void>(copy.release());
            }
        }
        return Value(std::move(rest));
    }

 private:
    const hvArray* mSteps;
    std::size_t mSize;
};

/// The rest of a path continues in the value reached so far, by the method of its class if it has one.
Value follow(const Value& value, const AccessPath& path, std::size_t first) {
    if (first == path.size()) {
        return value;
    }
    if (!value.isObject()) {
        if (hvIsStruct(value.array()) && path.isName(first)) {
            return follow(value.field(path.name(first).c_str()), path, first + 1);
        }
        if (path.isIndex(first)) {
            return follow(Value(elementsAt(value.array(), path.indexList(first))), path, first + 1);
        }
        if (hvIsCell(value.array()) && path.isContent(first)) {
            const Value inner(elementsAt(value.array(), path.indexList(first)));
            if (inner.numberOfElements() != 1) {
                raiseError("VELMAR:subs:oneContent", "Braces must name one element of a cell array here.");
            }
            return follow(inner.cell(0), path, first + 1);
        }
        raiseNoIndexing(value.className());
    }
    const Value rest = path.from(first);
    const Argument arguments[] = {Argument::of(value), Argument::of(rest)};
    std::vector<Value> results = callByName("subsref", arguments, Wanted::exactly(1));
    return std::move(results.front());
}

/// "subsref(value, path)": for arrays by their elements; for objects the first step names a property, or a method that
/// takes the indices of a following "()".
Results subsrefFunction(int, Arguments arguments) {
    if (arguments.size() != 2) {
        hvErrMsg(arguments.size() < 2 ? 2 : 1);
    }
    const AccessPath path(arguments[1]);
    OMInterface* const interface = OMInterfaceArrays::get(arguments[0]);
    if (interface == nullptr) {
        return resultOf(follow(Value::share(arguments[0]), path, 0));
    }
    if (!path.isName(0)) {
        raiseNoIndexing(hvGetClassName(arguments[0]));
    }
    const std::string name = path.name(0);
    const OMClass& objectClass = *interface->getClass();
    if (objectClass.getProperty(name.c_str()) != nullptr || !hasMethod(objectClass, name)) {
        return resultOf(follow(getProperty(*interface, name), path, 1));
    }
    std::vector<Value> given;
    if (path.isIndex(1)) {
        const hvArray* const indices = path.indices(1);
        for (std::size_t i = 0; i < hvGetNumberOfElements(indices); ++i) {
            given.push_back(Value::share(hvGetCell(indices, i)));
        }
    }
    std::vector<Argument> all{Argument::of(arguments[0])};
    for (const Value& value : given) {
        all.push_back(Argument::of(value));
    }
    std::vector<Value> results = callByName(name, all, Wanted::oneIfAny());
    const std::size_t next = path.isIndex(1) ? 2 : 1;
    if (results.empty() && next == path.size()) {
        return {};
    }
    return resultOf(follow(results.empty() ? Value() : results.front(), path, next));
}

/// A 0-by-0 double array, which deletes the elements it is assigned to.
bool isNothing(const hvArray* value) {
    return hvIsDouble(value) && hvGetNumberOfDimensions(value) == 2 && hvGetM(value) == 0 && hvGetN(value) == 0;
}

/// Assigns to an array by one step of parentheses.
Value assigned(const hvArray* array, const AccessPath& path, const hvArray* value) {
    if (path.size() != 1 || !path.isIndex(0)) {
        raiseNoIndexing(hvGetClassName(array));
    }
    const std::vector<const hvArray*> indices = path.indexList(0);
    return Value(isNothing(value) ? withoutElements(array, indices) : withElements(array, indices, value));
}

/// "subsasgn(value, path, right)": for arrays returns a new one; along property names returns the object itself, which
/// is changed.
Results subsasgnFunction(int, Arguments arguments) {
    if (arguments.size() != 3) {
        hvErrMsg(arguments.size() < 3 ? 2 : 1);
    }
    const AccessPath path(arguments[1]);
    OMInterface* const interface = OMInterfaceArrays::get(arguments[0]);
    if (interface == nullptr) {
        // An assignment to nothing yields the assigned value.
        OMInterface* const right = hvIsEmpty(arguments[0]) ? OMInterfaceArrays::get(arguments[2]) : nullptr;
        if (right != nullptr && hasMethod(*right->getClass(), "subsasgn")) {
            const Argument all[] = {Argument::of(arguments[0]), Argument::of(arguments[1]), Argument::of(arguments[2])};
            return resultOf(callMethodOfClass(*right->getClass(), "subsasgn", all, Wanted::exactly(1)).front());
        }
        return resultOf(assigned(arguments[0], path, arguments[2]));
    }
    if (!path.isName(0)) {
        raiseNoIndexing(hvGetClassName(arguments[0]));
    }
    const std::string name = path.name(0);
    if (path.size() == 1) {
        setProperty(*interface, name, Argument::of(arguments[2]));
    } else {
        const Value inner = getProperty(*interface, name);
        const Value rest = path.from(1);
        const Argument steps[] = {Argument::of(inner), Argument::of(rest), Argument::of(arguments[2])};
        const Value changed = callByName("subsasgn", steps, Wanted::exactly(1)).front();
        setProperty(*interface, name, Argument::of(changed));
    }
    return resultOf(Value::share(arguments[0]));
}

}  // namespace

std::map<std::string, Function, std::less<>> objectFunctions() {
    return {
        {"builtin", builtinFunction}, {"disp", dispFunction},         {"get", getFunction},
        {"set", setFunction},         {"subsasgn", subsasgnFunction}, {"subsref", subsrefFunction},
    };
}

}  // namespace hostref
