// A module with one class for each way in which the host meets one: "item" with every kind of argument, result and
// property, its subclass "special", and "abstract" and "hollow_...", which make no objects.
#include <cstdint>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "host/bs.h"
#include "host/hd.h"
#include "host/hf.h"
#include "host/hsc.h"
#include "host/hv.h"
#include "host/om.h"

#define JOINED(a, b) a##b
#define ENTRY_POINT(prefix, name) JOINED(prefix, name)
#define TEXT_OF(name) #name
#define TEXT(name) TEXT_OF(name)

namespace {

struct Item {
    Item() { ++sAlive; }
    Item(const Item&) = delete;
    Item& operator=(const Item&) = delete;
    ~Item() { --sAlive; }

    std::int32_t width = 1;
    double weight = 0.5;
    std::uint8_t isOn = 0;
    std::string tag;
    std::int32_t color = 5;
    hvArrayOwner data{hvCreateDoubleMatrix(0, 0)};
    std::unique_ptr<Item> partner;
    int sets = 0;

    static inline int sAlive = 0;
};

int unreleasedValues = 0;
bool failsNextStart = false;
bool isStarted = false;
bool isStopped = false;
OMApplication* package = nullptr;

OMDataType* type(const std::string& name) {
    const std::string full = name == "item" ? std::string(TEXT(MODULE_NAME)) + ".item" : name;
    OMDataType* const found = OMTypeRepository::getType(full.c_str(), true);
    if (found == nullptr) {
        raiseError("test:type", "No type " + full);
    }
    return found;
}

EnumStringType* colors() {
    return EnumStringType::findOrAdd("test module colors", {{5, "red"}, {-1, "green"}, {0, "blue"}});
}

Item& itemOf(void* handle) {
    return *static_cast<Item*>(static_cast<OMInterface*>(handle)->getObject());
}

// Methods

/// A new handle of an item of its own.
OMInterface* handleOf(std::unique_ptr<Item> item, OMClass* itemClass) {
    auto* const handle = new OMInterface(item.get(), itemClass, nullptr);
    static_cast<void>(item.release());
    return handle;
}
OMInterface* newItem(int width, OMClass* itemClass) {
    auto item = std::make_unique<Item>();
    item->width = width;
    return handleOf(std::move(item), itemClass);
}

class AnySignature : public OMMethodSignature {
 public:
    int getNumberOfReturnArgs() const override { return -1; }
    OMDataType* getReturnType(int /*index*/) const override { return type("VELMAR array"); }
};

/// What a method is called with, and where its results go.
struct Call {
    int signature;
    int* resultCount;
    void** results;
    int argumentCount;
    void** arguments;
    OMClass* itemClass;

    void give(int index, void* result) const {
        results[index] = result;
        *resultCount = index + 1;
    }
    void giveText(const std::string& text) const { give(0, hvCreateString(text)); }
    template <class T>
    T as(int index) const {
        return *static_cast<T*>(arguments[index]);
    }
};

using Types = std::vector<std::string>;
struct Signature {
    Types arguments, results;
};
using Body = std::function<void(const Call&)>;

class Method : public OMMethodInfo {
 public:
    Method(const char* name, const std::vector<Signature>& signatures, Body body)
        : OMMethodInfo(0), mBody(std::move(body)) {
        setName(name, true);
        for (const Signature& told : signatures) {
            std::unique_ptr<OMMethodSignature> made =
                told.results == Types{"any"} ? std::make_unique<AnySignature>() : std::make_unique<OMMethodSignature>();
            for (const std::string& argument : told.arguments) {
                static const double kSeven = 7.0;
                if (argument == "...") {
                    made->setNumberOfRepeatableArgs(1);
                } else if (argument == "double=7") {
                    made->addArgument(type("double"), &kSeven);
                } else {
                    made->addArgument(type(argument), nullptr);
                }
            }
            for (const std::string& result : told.results) {
                if (result != "any") {
                    made->addReturnType(type(result));
                }
            }
            addMethodSignature(std::move(made));
        }
    }
    void invokeMethod(OMMethodSignature* signature, int* resultCount, void** results, int argumentCount,
                      void** arguments) override {
        int index = 0;
        while (getMethodSignatures()[static_cast<std::size_t>(index)].get() != signature) {
            ++index;
        }
        OMClass* const itemClass = dynamic_cast<OMInterfaceType*>(type("item"))->getClass();
        mBody({index, resultCount, results, argumentCount, arguments, itemClass});
    }

 private:
    Body mBody;
};

std::string widthText(void* handle) {
    return handle == nullptr ? "null" : std::to_string(itemOf(handle).width);
}

/// Says which signature was called and with what, as its types tell.
Body describe(std::vector<Signature> signatures) {
    return [signatures = std::move(signatures)](const Call& call) {
        std::string text = std::to_string(call.signature) + ":";
        const Types& arguments = signatures[static_cast<std::size_t>(call.signature)].arguments;
        for (int i = 0; i < call.argumentCount; ++i) {
            const std::size_t place = std::min(static_cast<std::size_t>(i), arguments.size() - 1);
            const std::string& shape = arguments[place] == "..." ? arguments[place - 1] : arguments[place];
            void* const argument = call.arguments[i];
            text += " ";
            if (shape == "item" || shape == "handle") {
                text += shape + "=" + widthText(argument);
            } else if (shape == "VELMAR array") {
                text += std::string("array=") + hvGetClassName(static_cast<const hvArray*>(argument));
            } else if (shape == "string") {
                text += std::string("string=") + static_cast<const char*>(argument);
            } else if (shape == "bool") {
                text += "bool=" + std::to_string(call.as<std::uint8_t>(i));
            } else if (shape == "int32" || shape == "test module colors") {
                text += "int32=" + std::to_string(call.as<std::int32_t>(i));
            } else if (shape == "string vector") {
                text += "texts=" + std::to_string(static_cast<std::vector<std::string>*>(argument)->size());
            } else {
                text += "double=" + std::to_string(call.as<double>(i));
            }
        }
        call.giveText(text);
    };
}

OMMethodInfo* add(OMClass& target, const char* name, const std::vector<Signature>& signatures, Body body) {
    return target.addMethod(std::make_unique<Method>(name, signatures, std::move(body)));
}

OMMethodInfo* addDescriber(OMClass& target, const char* name, const std::vector<Signature>& signatures) {
    return add(target, name, signatures, describe(signatures));
}

/// A method of an item alone, without results.
void addAction(OMClass& target, const char* name, const Body& body) {
    add(target, name, {{{"item"}, {}}}, [body](const Call& call) {
        *call.resultCount = 0;
        body(call);
    });
}

void plus(const Call& call) {
    const auto widthOf = [&](int i, bool isArray) {
        if (isArray) {
            return static_cast<int>(hvGetScalar(static_cast<const hvArray*>(call.arguments[i])));
        }
        return call.arguments[i] == nullptr ? 0 : itemOf(call.arguments[i]).width;
    };
    call.give(0, newItem(widthOf(0, call.signature == 2) + widthOf(1, call.signature == 1), call.itemClass));
}

void callHostError() {
    const hvArrayOwner message(hvCreateString("Deep down."));
    const hvArrayOwner id(hvCreateString("test:deep"));
    hvArray* arguments[] = {id.get(), message.get()};
    hscCallVELMAR(0, nullptr, 2, arguments, "error");
}

void addItemMethods(OMClass& target) {
    const Signature both{{"item", "item"}, {"item"}};
    add(target, "plus", {both, {{"item", "VELMAR array"}, {"item"}}, {{"VELMAR array", "item"}, {"item"}}}, plus)
        ->setDispatchedOnFirstArgument(false);
    addDescriber(target, "choose",
                 {{{"item"}, {"VELMAR array"}},
                  {{"item", "double"}, {"VELMAR array"}},
                  {{"item", "test module colors"}, {"VELMAR array"}},
                  {{"item", "string"}, {"VELMAR array"}},
                  {{"item", "item"}, {"VELMAR array"}},
                  {{"item", "VELMAR array"}, {"VELMAR array"}}});
    static constexpr std::pair<const char*, const char*> kTakers[] = {{"takeInt", "int32"},
                                                                      {"takeDouble", "double"},
                                                                      {"takeBool", "bool"},
                                                                      {"takeText", "string"},
                                                                      {"takeColor", "test module colors"},
                                                                      {"takeItem", "item"},
                                                                      {"takeHandle", "handle"},
                                                                      {"takeTexts", "string vector"},
                                                                      {"takeDefault", "double=7"}};
    for (const auto& [name, shape] : kTakers) {
        addDescriber(target, name, {{{"item", shape}, {"VELMAR array"}}});
    }
    addDescriber(target, "takeMany", {{{"item", "double", "..."}, {"VELMAR array"}}});
    addDescriber(target, "second", {{{"VELMAR array", "item"}, {"VELMAR array"}}});
    add(target, "everything",
        {{{"item"}, {"int32", "double", "bool", "string", "test module colors", "VELMAR array", "item", "string"}}},
        [](const Call& call) {
            call.give(0, new std::int32_t(-3));
            call.give(1, new double(2.5));
            call.give(2, new std::uint8_t(1));
            call.give(3, bsStrdup("text"));
            call.give(4, new std::int32_t(-1));
            call.give(5, hvCreateDoubleMatrix(2, 3));
            call.give(6, newItem(9, call.itemClass));
            call.give(7, nullptr);
        });
    add(target, "range", {{{"item"}, {"item"}}, {{"item"}, {"item", "item"}}}, [](const Call& call) {
        call.give(0, newItem(10 + call.signature, call.itemClass));
        if (call.signature == 1) {
            call.give(1, newItem(20, call.itemClass));
        }
    });
    add(target, "nullItem", {{{"item"}, {"item"}}}, [](const Call& call) { call.give(0, nullptr); });
    add(target, "tooFew", {{{"item"}, {"VELMAR array", "VELMAR array"}}},
        [](const Call& call) { call.giveText("one"); });
    add(target, "size", {{{"item"}, {"any"}}}, [](const Call& call) {
        const int wanted = std::max(*call.resultCount, 1);
        for (int i = 0; i < wanted; ++i) {
            call.give(i, hvCreateDoubleScalar(i + 1));
        }
    });
    addAction(target, "fail", [](const Call&) { raiseError("test:fail", "It failed."); });
    addAction(target, "failOtherwise", [](const Call&) { throw std::runtime_error("Not ours."); });
    addAction(target, "failForeign", [](const Call&) { throw 42; });
    addAction(target, "callError", [](const Call&) { callHostError(); });
    addAction(target, "leaveTrapSet", [](const Call&) {
        hscSetTrapFlag(1);
        hvSetErrorMode(-1);
        callHostError();
    });
    addAction(target, "speak", [](const Call& call) {
        hscWarnMsgIdAndTxt("test:speak", "Width %d.", itemOf(call.arguments[0]).width);
        hscPrintf("spoken\n");
    });
    addAction(target, "addMethodWhileRunning", [](const Call& call) {
        addDescriber(*call.itemClass, "late", {{{"item"}, {"VELMAR array"}}});
    });
    addAction(target, "nothing", [](const Call&) {});
    add(target, "set", {{{"VELMAR array", "..."}, {"VELMAR array"}}}, [](const Call& call) {
        if (call.argumentCount > 2) {
            raiseError("test:set", "Use dot notation.");
        }
        OMErrorStatus status;
        std::vector<hvArray*> arrays;
        for (int i = 0; i < call.argumentCount; ++i) {
            arrays.push_back(static_cast<hvArray*>(call.arguments[i]));
        }
        hvArray* result = nullptr;
        if (!omCallBuiltInMethod("set", 1, &result, call.argumentCount, arrays.data(), status)) {
            raiseError("test:builtin", status.getLastError()->getTempStaticMessage());
        }
        call.give(0, result);
    });
    add(target, "alive", {{{}, {"double"}}}, [](const Call& call) {
        call.give(0, new double(Item::sAlive));
    })->setStatic(true);
    add(target, "unreleased", {{{}, {"int32"}}},
        [](const Call& call) { call.give(0, new std::int32_t(unreleasedValues)); });
}

// Properties

class Property : public OMPropInfoTemplate {
 public:
    using Get = std::function<void*(Item&)>;
    using Set = std::function<void(Item&, const void*)>;
    Property(const char* name, OMDataType* dataType, Get get, Set set, const OMPropertyAccess& access = {})
        : OMPropInfoTemplate(name, dataType, access), mGet(std::move(get)), mSet(std::move(set)) {}

    void* getValue(OMDatabaseClient* /*client*/, OMInterface* interface) override {
        void* const value = mGet(itemOf(interface));
        ++unreleasedValues;
        return value;
    }
    void setValue(OMDatabaseClient* /*client*/, OMInterface* interface, const void* value) override {
        if (value != nullptr) {
            mSet(itemOf(interface), value);
        }
    }
    void releaseValue(OMDatabaseClient* client, OMInterface* interface, void* value) override {
        --unreleasedValues;
        OMPropInfoTemplate::releaseValue(client, interface, value);
    }

 private:
    Get mGet;
    Set mSet;
};

template <class T>
void addField(OMClass& target, const char* name, OMDataType* dataType, T Item::*member,
              const OMPropertyAccess& access = {}) {
    target.addProperty(std::make_unique<Property>(
        name, dataType, [member](Item& item) { return new T(item.*member); },
        [member](Item& item, const void* value) {
            item.*member = *static_cast<const T*>(value);
            ++item.sets;
        },
        access));
}

/// A property that throws what is no error of the host, whatever is done with it; its value is given up with a throw.
class HostileProperty : public OMPropInfoTemplate {
 public:
    using OMPropInfoTemplate::OMPropInfoTemplate;
    void* getValue(OMDatabaseClient* /*client*/, OMInterface* interface) override {
        if (itemOf(interface).tag != "calm") {
            throw 42;
        }
        return &sValue;
    }
    void setValue(OMDatabaseClient* /*client*/, OMInterface* /*interface*/, const void* /*value*/) override {
        throw 42;
    }
    void releaseValue(OMDatabaseClient* /*client*/, OMInterface* /*interface*/, void* /*value*/) override { throw 42; }

 private:
    static inline std::int32_t sValue = 3;
};

void addItemProperties(OMClass& target) {
    target.addProperty(std::make_unique<Property>(
        "Width", type("int32"), [](Item& item) { return new std::int32_t(item.width); },
        [](Item& item, const void* value) {
            if (*static_cast<const std::int32_t*>(value) < 1) {
                raiseError("test:width", "Width must be positive.");
            }
            item.width = *static_cast<const std::int32_t*>(value);
        }));
    addField(target, "Weight", type("double"), &Item::weight);
    addField(target, "IsOn", type("bool"), &Item::isOn);
    addField(target, "Color", colors(), &Item::color);
    target.addProperty(std::make_unique<Property>(
        "Tag", type("string"), [](Item& item) { return item.tag.empty() ? nullptr : bsStrdup(item.tag.c_str()); },
        [](Item& item, const void* value) { item.tag = static_cast<const char*>(value); }));
    target.addProperty(std::make_unique<Property>(
        "Data", type("VELMAR array"), [](Item& item) { return hvCreateSharedDataCopy(item.data.get()); },
        [](Item& item, const void* value) {
            item.data.reset(hvCreateSharedDataCopy(static_cast<const hvArray*>(value)));
        }));
    OMClass* const itemClass = &target;
    target.addProperty(std::make_unique<Property>(
        "Partner", type("item"),
        [itemClass](Item& item) -> void* {
            if (!item.partner) {
                return nullptr;
            }
            return newItem(item.partner->width, itemClass);
        },
        [](Item& item, const void* value) {
            item.partner = std::make_unique<Item>();
            item.partner->width = itemOf(const_cast<void*>(value)).width;
        }));
    addField(target, "Sealed", type("int32"), &Item::width, {.isExternalSetAccess = false});
    addField(target, "Secret", type("int32"), &Item::width, {.isExternalGetAccess = false});
    addField(target, "Calm", type("double"), &Item::weight, {.isAbortSetAccess = true});
    addField(target, "Sets", type("int32"), &Item::sets, {.isExternalSetAccess = false});
    target.addProperty(std::make_unique<Property>(
        "Broken", type("int32"), [](Item&) -> void* { raiseError("test:broken", "No value."); },
        [](Item&, const void*) {}));
    target.addProperty(std::make_unique<HostileProperty>("Hostile", type("int32"), OMPropertyAccess{}));
}

// Classes

class ItemClass : public OMClass {
 public:
    explicit ItemClass(const char* name) { setName(name, true); }
    using OMClass::createClassSpecificObject;
    OMInterface* createClassSpecificObject(OMInterface* /*interface*/, void** arguments, int count) override {
        if (count > 2) {
            raiseError("test:nargchk", "Too many input arguments");
        }
        auto item = std::make_unique<Item>();
        if (count > 0) {
            item->width = static_cast<std::int32_t>(hvGetScalar(static_cast<const hvArray*>(arguments[0])));
        }
        if (count > 1 && hvIsA(static_cast<const hvArray*>(arguments[1]), TEXT(MODULE_NAME) ".item")) {
            item->tag = "has a partner";
        }
        return handleOf(std::move(item), this);
    }
    void destroyObject(OMInterface* interface) override {
        const std::unique_ptr<Item> item(static_cast<Item*>(interface->getObject()));
        if (item->tag == "calm") {
            throw 42;
        }
    }
    ErrorIdException* filterPropAccessException(ErrorIdException* error, OMPropInfo* property) override {
        if (std::string(error->getId()) != "test:broken") {
            return error;
        }
        const std::unique_ptr<ErrorIdException> owner(error);
        return new ErrorIdException("test:filtered", std::string(property->getName()) + ": " + error->getMessage());
    }
    void respondToMethodAddedFromVELMAR(OMMethodInfo* method) override {
        if (std::string(method->getName()) == "anywhere") {
            method->setDispatchedOnFirstArgument(false);
        }
    }
};

class AbstractClass : public OMClass {
 public:
    AbstractClass() { setName("abstract", true); }
    bool canBeConstructed() const override { return false; }
};

template <class Class, class... Arguments>
Class* addClass(Arguments... arguments) {
    auto made = std::make_unique<Class>(arguments...);
    package->addLocalClass(made.get());
    return made.release();
}

int featureState = 1;
void featureGateway(int resultCount, hvArray** results, int argumentCount, hvArray** arguments) {
    if (argumentCount > 0) {
        featureState = hvGetScalar(arguments[0]) != 0.0;
    }
    if (argumentCount == 0 || resultCount > 0) {
        results[0] = hvCreateDoubleScalar(featureState);
    }
}

}  // namespace

extern "C" {

TOLVANE_HOST_API void ENTRY_POINT(VLInitialize_, MODULE_NAME)();
TOLVANE_HOST_API void ENTRY_POINT(VLTerminate_, MODULE_NAME)();
TOLVANE_HOST_API void failNextStart();

void ENTRY_POINT(VLInitialize_, MODULE_NAME)() {
    if (isStarted) {
        return;
    }
    hdLoadModuleForPackageOrClass("Lorimer");
    if (package == nullptr) {
        package = OMApplicationManager::addApplication(std::make_unique<OMApplication>(TEXT(MODULE_NAME), true));
        auto* const item = addClass<ItemClass>("item");
        item->setSuperClass(OMApplicationManager::getApplication("Lorimer")->getLocalClass("Object"));
        auto* const special = addClass<ItemClass>("special");
        special->setSuperClass(item);
        addClass<AbstractClass>();
        auto* const hollow = addClass<OMClass>();
        hollow->setName("hollow_" TEXT(MODULE_NAME), true);
    }
    if (std::exchange(failsNextStart, false)) {
        raiseError("test:start", "The start failed.");
    }
    OMClass* const item = package->getLocalClass("item");
    colors();
    addItemProperties(*item);
    addItemMethods(*item);
    addAction(*package->getLocalClass("special"), "disp", [](const Call&) { hscPrintf("a special item\n"); });
    hfRegisterFeature("TestModule" TEXT(MODULE_NAME), 1, nullptr, featureGateway);
    isStarted = true;
}

void ENTRY_POINT(VLTerminate_, MODULE_NAME)() {
    if (isStopped) {
        return;
    }
    OMApplicationManager::removeApplication(std::exchange(package, nullptr));
    isStopped = true;
}

void failNextStart() {
    failsNextStart = true;
}
}
