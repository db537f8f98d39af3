// What a user of the host does: every property of the classes is read and written, every method called by each of its
// signatures, on objects in many states; and paths, displays and files.
#include <random>
#include <sstream>

#include "tests/binding/class_objects.h"
#include "tests/binding/class_tables.h"
#include "tests/faults/operation.h"

namespace faults {

namespace {

constexpr int kDraws = 200;

class Host : public ObjectsOfClasses {
 public:
    void TestBody() override {}
    using BindingTest::fi;
    using BindingTest::rules;
    using BindingTest::s16;
    using BindingTest::session;
    using BindingTest::type;
    using ObjectsOfClasses::objectsOf;
    using ObjectsOfClasses::valuesOf;

    /// Objects of a class and values of a data type, made once in a process.
    const Values& objects(const std::string& name) {
        Values& made = mObjects[name];
        if (made.empty()) {
            made = objectsOf(name);
        }
        return made;
    }
    const Values& values(const OMDataType* dataType, const std::string& name) {
        Values& made = mValues[{dataType, name}];
        if (made.empty()) {
            made = valuesOf(dataType, name);
        }
        return made;
    }
    void forget() {
        mObjects.clear();
        mValues.clear();
    }

 private:
    std::map<std::string, Values> mObjects;
    std::map<std::pair<const OMDataType*, std::string>, Values> mValues;
};

Host& host() {
    static Host& made = *new Host;
    return made;
}

/// All that can be seen of a value, at all depths.
void tell(std::ostream& out, const Value& value, int depth) {
    if (value.isArray()) {
        out << value.className();
        for (const std::size_t size : value.dimensions()) {
            out << ' ' << size;
        }
        const std::string name = value.className();
        if (name == "cell" || name == "struct" || name == "function_handle") {
            out << ' ' << value;
            return;
        }
        for (const std::vector<double>& part : {value.toDoubles(), value.toImaginaries()}) {
            for (const double number : part) {
                out << ' ' << number;
            }
        }
        return;
    }
    out << value.className() << '{';
    for (OMPropInfo* const property : value.interface()->getClass()->getProperties()) {
        const std::string name = property->getName();
        // Text forms say the same as the values, and take their time.
        if (!property->isExternalGetAccess() || name == "oct" || name == "dec" || name == "hex" || name == "Path") {
            continue;
        }
        out << name << ':';
        try {
            const Value read = value.get(name);
            if (read.isObject() && depth == 0) {
                out << read.className();
            } else {
                tell(out, read, depth - 1);
            }
        } catch (const HostError& error) {
            out << error.id();
        }
        out << ' ';
    }
    out << '}';
}

std::string told(const Values& values) {
    std::ostringstream out;
    out.precision(17);
    for (const Value& value : values) {
        tell(out, value, 2);
        out << '\n';
    }
    return out.str();
}

using Action = std::function<Values(Host& host, const Values& operands, const std::string& folder)>;

class HostState : public State {
 public:
    HostState(Values operands, Action action) : mOperands(std::move(operands)), mAction(std::move(action)) {
        // Room for results, which isn't the operation's.
        mResults.reserve(8);
    }
    Folder& folder() { return mFolder; }

    void reset() override { mFolder.reset(); }
    void run() override { mResults = mAction(host(), mOperands, mFolder.path()); }
    std::string result() override { return takeOutput() + tellQuietly(mResults); }
    void drop() override { mResults = Values(); }
    std::string operands() override { return tellQuietly(mOperands) + mFolder.text(); }
    void settle() override {
        thrownBy([] { host().session.call("no such function of the host", {1.0}); });
        host().session.takeWarnings();
        host().session.takePrinted();
    }
    bool mayRaise(const std::string& id) const override {
        // A class may say in its own words that something inside has failed; none of these is a user's fault.
        return id.find(':') != std::string::npos && id != "VELMAR:internal" && id != "VELMAR:load:damaged" &&
               id != "VELMAR:save:failed";
    }

 private:
    static std::string takeOutput() {
        std::string text = host().session.takePrinted();
        for (const Warning& warning : host().session.takeWarnings()) {
            text += warning.id + warning.text;
        }
        return text;
    }
    /// Some properties warn when they are read.
    static std::string tellQuietly(const Values& values) {
        std::string text = told(values);
        takeOutput();
        return text;
    }

    Values mOperands;
    Action mAction;
    Folder mFolder;
    Values mResults;
};

std::unique_ptr<HostState> stateOf(Values operands, Action action) {
    return std::make_unique<HostState>(std::move(operands), std::move(action));
}

/// Arrays that methods hardly ever answer without, by their places.
std::vector<Values> specialFor(const std::string& method) {
    Host& h = host();
    const Values paths = {path("()", {1}), path("()", {":"}), path("()", {2, 1}), path(".", {"Tag"})};
    if (method == "subsref") {
        return {{}, paths};
    }
    if (method == "subsasgn") {
        return {h.objects("embedded.fi"), paths};
    }
    if (method == "base2num") {
        return {{}, {"0000000000000001", "0101", "7f"}, {2, 10, 16}};
    }
    if (method == "bitand" || method == "bitor" || method == "bitxor") {
        return {{0.5}, {0.5}};
    }
    if (method == "bitset") {
        return {{}, {1, 2}, {1}};
    }
    if (method == "size") {
        return {{}, {1, 2, 3}};
    }
    return {};
}

/// A call of a method with drawn arguments.
std::unique_ptr<State> methodCall(const std::string& className, const std::string& method, std::size_t signatureIndex,
                                  std::uint64_t draw) {
    Host& h = host();
    h.forget();
    std::mt19937_64 random(draw * 7919 + signatureIndex);
    const Values& objects = h.objects(className);
    OMMethodInfo* info = nullptr;
    for (OMMethodInfo* const each : objects.front().interface()->getClass()->getMethods()) {
        info = each->getName() == method ? each : info;
    }
    const OMMethodSignature& signature = *info->getMethodSignatures()[signatureIndex];
    const auto& parameters = signature.getArguments();
    const bool isList = signature.getNumberOfRepeatableArgs() > 0;
    const std::vector<Values> special = specialFor(method);
    const std::size_t count = parameters.size() + (isList ? random() % 3 : 0);
    Values arguments;
    for (std::size_t place = 0; place < count; ++place) {
        const OMDataType* const type = parameters[std::min(place, parameters.size() - 1)].dataType;
        const bool isSpecial =
            place < special.size() && !special[place].empty() && shortName(type) == "array" && random() % 4 > 0;
        const Values& pool = isSpecial ? special[place] : place == 0 && isList ? objects : h.values(type, className);
        arguments.push_back(pool[random() % pool.size()]);
    }
    const int declared = signature.getNumberOfReturnArgs();
    const int wanted = declared < 0 ? 1 : declared;
    const bool isStatic = info->isStatic();
    return stateOf(arguments, [=](Host& running, const Values& operands, const std::string&) {
        return isStatic ? running.session.callStatic(wanted, className, method, operands)
                        : running.session.call(wanted, method, operands);
    });
}

std::unique_ptr<State> propertyRead(const std::string& className, const std::string& property, std::uint64_t draw) {
    host().forget();
    const Values& objects = host().objects(className);
    return stateOf({objects[draw % objects.size()]}, [=](Host&, const Values& operands, const std::string&) {
        return Values{operands[0].get(property)};
    });
}

std::unique_ptr<State> propertyWrite(const std::string& className, const std::string& property, std::uint64_t draw) {
    Host& h = host();
    h.forget();
    const Values& objects = h.objects(className);
    std::mt19937_64 random(draw * 104729);
    const Value object = objects[random() % objects.size()];
    const Values& pool =
        h.values(object.interface()->getClass()->getProperty(property.c_str())->getDataType(), className);
    Value value = pool[random() % pool.size()];
    if (draw % 2 == 0) {
        thrownBy([&] { value = objects[random() % objects.size()].get(property); });
    }
    return stateOf({object, value}, [=](Host&, const Values& operands, const std::string&) {
        operands[0].set(property, operands[1]);
        return Values{};
    });
}

void addClasses(Operations& rows) {
    for (const std::string shortClass : classes) {
        const std::string name = "embedded." + shortClass;
        const Value object = host().objectsOf(name).front();
        const OMClass& objectClass = *object.interface()->getClass();
        for (const OMPropInfo* const property : objectClass.getProperties()) {
            const std::string propertyName = property->getName();
            if (property->isExternalGetAccess()) {
                rows.push_back({shortClass + " get", propertyName,
                                [=](std::uint64_t draw) { return propertyRead(name, propertyName, draw); }, 18});
            }
            if (property->isExternalSetAccess()) {
                rows.push_back({shortClass + " set", propertyName,
                                [=](std::uint64_t draw) { return propertyWrite(name, propertyName, draw); }, 60});
            }
        }
        for (const OMMethodInfo* const method : objectClass.getMethods()) {
            for (std::size_t i = 0; i < method->getMethodSignatures().size(); ++i) {
                const std::string methodName = method->getName();
                rows.push_back({shortClass + " call", methodName + signatureText(*method->getMethodSignatures()[i]),
                                [=](std::uint64_t draw) { return methodCall(name, methodName, i, draw); }, kDraws});
            }
        }
        rows.push_back({shortClass + " make", "", [=](std::uint64_t) {
                            return stateOf({}, [=](Host& h, const Values&, const std::string&) {
                                return Values{h.session.construct(name)};
                            });
                        }});
    }
}

struct Row {
    const char* name;
    std::function<Values(Host&)> operands;
    Action action;
};

Value longWords(Host& h, int bits) {
    return h.fi(Value::matrix(2, 2, Numbers{0.5, -0.25, 0.75, -1}), h.type(true, bits, bits - 1));
}

// clang-format off
const Row kRows[] = {
    {"make an array", [](Host& h) { return Values{h.type(true, 16, 12)}; },
     [](Host& h, const Values& o, const std::string&) { return Values{h.fi(Numbers{0.5, 1, 2}, o[0])}; }},
    {"index", [](Host& h) { return Values{h.s16(Value::matrix(2, 2, Numbers{1, 2, 3, 4}))}; },
     [](Host& h, const Values& o, const std::string&) { return Values{h.session.index(o[0], {hostref::paren(1, hostref::colon())})}; }},
    {"assign", [](Host& h) { return Values{h.s16(Value::matrix(2, 2, Numbers{1, 2, 3, 4})), h.s16(0.5)}; },
     [](Host& h, const Values& o, const std::string&) { return Values{h.session.assign(o[0], {hostref::paren(1, hostref::colon())}, o[1])}; }},
    {"assign, grow", [](Host& h) { return Values{longWords(h, 100), h.s16(0.5)}; },
     [](Host& h, const Values& o, const std::string&) { return Values{h.session.assign(o[0], {hostref::paren(4, 4)}, o[1])}; }},
    {"delete", [](Host& h) { return Values{h.s16(Value::matrix(2, 2, Numbers{1, 2, 3, 4}))}; },
     [](Host& h, const Values& o, const std::string&) { return Values{h.session.assign(o[0], {hostref::paren(1, hostref::colon())}, Value())}; }},
    {"display", [](Host& h) { return Values{h.s16(Value::matrix(2, 2, Numbers{1, 2, 3, 4}))}; },
     [](Host& h, const Values& o, const std::string&) { h.session.display(o[0]); return Values{}; }},
    {"bin, hex, dec of 16000 bits", [](Host& h) { return Values{longWords(h, 16000)}; },
     [](Host&, const Values& o, const std::string&) { return Values{o[0].get("bin"), o[0].get("hex"), o[0].get("dec")}; }},
    {"set bin of 16000 bits", [](Host& h) { const Value x = longWords(h, 16000); return Values{x, x.get("bin")}; },
     [](Host&, const Values& o, const std::string&) { o[0].set("bin", o[1]); return Values{}; }},
    {"set dec of 16000 bits", [](Host& h) { const Value x = longWords(h, 16000); return Values{x, x.get("dec")}; },
     [](Host&, const Values& o, const std::string&) { o[0].set("dec", o[1]); return Values{}; }},
    {"bitand of 16000 bits", [](Host& h) { return Values{longWords(h, 16000), longWords(h, 16000)}; },
     [](Host& h, const Values& o, const std::string&) { return Values{h.session.call("bitand", {o[0], o[1]})}; }},
    {"bitget, bitset, bitcmp of 16000 bits", [](Host& h) { return Values{longWords(h, 16000)}; },
     [](Host& h, const Values& o, const std::string&) { return Values{h.session.call("bitget", {o[0], 3}), h.session.call("bitset", {o[0], 3}), h.session.call("bitcmp", {o[0]})}; }},
    {"plus of 16000 bits", [](Host& h) { return Values{longWords(h, 16000), longWords(h, 15000)}; },
     [](Host& h, const Values& o, const std::string&) { return Values{h.session.call("plus", {o[0], o[1]})}; }},
    {"times of 16000 bits", [](Host& h) { return Values{longWords(h, 16000), longWords(h, 15000)}; },
     [](Host& h, const Values& o, const std::string&) { return Values{h.session.call("times", {o[0], o[1]})}; }},
    {"mtimes of 16000 bits", [](Host& h) { return Values{longWords(h, 16000), longWords(h, 15000)}; },
     [](Host& h, const Values& o, const std::string&) { return Values{h.session.call("mtimes", {o[0], o[1]})}; }},
    {"sqrt of 16000 bits", [](Host& h) { return Values{h.fi(Value::matrix(1, 2, Numbers{0.5, 0.25}), h.type(false, 16000, 15999))}; },
     [](Host& h, const Values& o, const std::string&) { return Values{h.session.call("sqrt", {o[0]})}; }},
    {"double of 16000 bits", [](Host& h) { return Values{longWords(h, 16000)}; },
     [](Host&, const Values& o, const std::string&) { return Values{o[0].get("double"), o[0].get("int")}; }},
    {"sort of 16000 bits", [](Host& h) { return Values{longWords(h, 16000)}; },
     [](Host& h, const Values& o, const std::string&) { return Values{h.session.call("sort", {o[0]})}; }},
};
// clang-format on

}  // namespace

Operations hostOperations() {
    Operations rows;
    addClasses(rows);
    for (const Row& row : kRows) {
        rows.push_back(
            {"session", row.name, [&row](std::uint64_t) { return stateOf(row.operands(host()), row.action); }});
    }
    return rows;
}

Operations fileOperations() {
    Operations rows;
    const auto variables = [](const Values& o) {
        return std::vector<hostref::Variable>{{"x", o[0]}, {"list", Value::cells(o)}, {"text", "some text"}};
    };
    const auto operands = [] {
        Host& h = host();
        return Values{h.s16(Numbers{0.5, 0.25}), h.fi(-3, h.type(true, 100, 40)), h.rules({{"SumMode", "KeepLSB"}}),
                      h.type(false, 12, 3), Numbers(300, 1.5)};
    };
    rows.push_back({"files", "save", [=](std::uint64_t) {
                        auto state = stateOf(operands(), [=](Host& h, const Values& o, const std::string& folder) {
                            h.session.save(folder + "/work.h5", variables(o));
                            return Values{};
                        });
                        const std::string file = state->folder().path() + "/work.h5";
                        host().session.save(file, {{"old", 7}});
                        state->folder().keep();
                        return state;
                    }});
    rows.push_back({"files", "load", [=](std::uint64_t) {
                        const Values saved = operands();
                        auto state = stateOf({}, [](Host& h, const Values&, const std::string& folder) {
                            Values results;
                            for (const hostref::Variable& variable : h.session.load(folder + "/work.h5")) {
                                results.push_back(variable.value);
                            }
                            return results;
                        });
                        const std::string file = state->folder().path() + "/work.h5";
                        host().session.save(file, variables(saved));
                        state->folder().keep();
                        return state;
                    }});
    return rows;
}

}  // namespace faults
