#include "host/om.h"

#include <algorithm>
#include <array>
#include <limits>
#include <random>
#include <string_view>

#include "host/bs.h"
#include "host/hv.h"
#include "host/reference/modules.h"
#include "tests/support/errors.h"
#include "tests/support/objects.h"

namespace {

hvArrayOwner toArray(const char* typeName, const void* value) {
    return hvArrayOwner(omdtConvertToVelmar(OMTypeRepository::getType(typeName, true), value));
}

/// What the conversion of an array raises; a value that it yields is released.
Raised conversionError(const char* typeName, const hvArray* array) {
    const OMDataType* const type = OMTypeRepository::getType(typeName, true);
    return raisedBy([&] { type->releaseValue(omdtConvertFromVelmar(type, array)); });
}

Raised badValueOf(const std::string& typeName) {
    return {"VELMAR:datatype:badValue", "Value is not valid for data type '" + typeName + "'."};
}

using Handles = PackageTest;
using Classes = PackageTest;
using Types = PackageTest;
using Events = PackageTest;

TEST_F(Handles, SurviveAnyOrderOfArraysCopiesAndReferences) {
    CountedClass* const animal = addClass("animal");
    const OMDataType* const type = OMTypeRepository::getType("zoo.animal", true);
    dropReference(nullptr);
    constexpr unsigned seed = 20240611;
    std::mt19937 random(seed);
    for (int round = 0; round < 200; ++round) {
        OMInterface* const handle = animal->makeObject(round);
        std::vector<OMInterface*> references = {handle};
        std::vector<hvArrayOwner> arrays;
        for (int step = 0; step < 12; ++step) {
            switch (random() % 4) {
                case 0:
                    references.push_back(handle->getReference());
                    ASSERT_EQ(references.back(), handle);
                    break;
                case 1:
                    arrays.emplace_back(omdtConvertToVelmar(type, handle));
                    break;
                case 2:
                    handle->externalToInternal();
                    break;
                default:
                    if (!arrays.empty()) {
                        arrays.emplace_back(hvCreateSharedDataCopy(arrays[random() % arrays.size()].get()));
                        references.push_back(
                            static_cast<OMInterface*>(omdtConvertFromVelmar(type, arrays.back().get())));
                        ASSERT_EQ(references.back(), handle);
                    }
            }
        }
        while (!references.empty() || !arrays.empty()) {
            ASSERT_EQ(CountedObject::sAlive, 1) << "seed " << seed << ", round " << round;
            ASSERT_GE(handle->getNumberOfExternalReferences(), 0);
            ASSERT_LE(handle->getNumberOfExternalReferences(), handle->getNumberOfReferences());
            if (arrays.empty() || (!references.empty() && random() % 2 == 0)) {
                dropReference(references.back());
                references.pop_back();
            } else {
                arrays.erase(arrays.begin() + static_cast<std::ptrdiff_t>(random() % arrays.size()));
            }
        }
        ASSERT_EQ(CountedObject::sAlive, 0) << "seed " << seed << ", round " << round;
    }
}

TEST_F(Handles, GiveTheirMemoryBackWhenTheObjectCanNotBeMade) {
    CountedClass* const animal = addClass("animal");
    const auto makeFailing = []() -> CountedObject* { raiseError("test:make", "No object."); };
    EXPECT_EQ(raisedBy([&] { new OMInterface(makeFailing(), animal, nullptr); }).id, "test:make");
}

/// A class whose objects refer to their own handle while they end.
class SelfishClass : public OMClass {
 public:
    void destroyObject(OMInterface* interface) override {
        dropReference(interface->getReference());
        dropReference(interface);
        ++destroyed;
    }
    int destroyed = 0;
};

TEST(HandleAtItsEnd, IsEndedOnceThoughItsObjectGivesUpReferences) {
    SelfishClass selfish;
    dropReference(new OMInterface(nullptr, &selfish, nullptr));
    EXPECT_EQ(selfish.destroyed, 1);
}

TEST_F(Classes, AreFoundByNameAndRefusedTwice) {
    CountedClass* const animal = addClass("animal");
    EXPECT_EQ(mPackage->getLocalClass("animal"), animal);
    EXPECT_EQ(mPackage->getLocalClass("Animal"), nullptr);
    EXPECT_STREQ(animal->getFullName(), "zoo.animal");
    EXPECT_EQ(raisedBy([&] { addClass("animal"); }).id, "VELMAR:package:classExists");
    EXPECT_EQ(raisedBy([&] { mPackage->addLocalClass(animal); }).id, "VELMAR:package:classExists");
    EXPECT_EQ(raisedBy([&] { OMApplicationManager::addApplication(std::make_unique<OMApplication>("zoo", true)); }).id,
              "VELMAR:package:exists");

    animal->setName("beast", true);
    EXPECT_STREQ(animal->getFullName(), "zoo.beast");
    EXPECT_EQ(OMTypeRepository::getType("zoo.animal", true), nullptr);
    EXPECT_NE(OMTypeRepository::getType("zoo.beast", true), nullptr);
    CountedClass* const second = addClass("animal");
    EXPECT_EQ(raisedBy([&] { second->setName("beast", true); }).id, "VELMAR:package:classExists");
    EXPECT_STREQ(second->getName(), "animal");
}

TEST_F(Classes, LiveAsLongAsHandlesAndSubclassesNeedThem) {
    CountedClass* const animal = addClass("animal");
    CountedClass* const cat = addClass("cat", animal);
    Reference handle(cat->makeObject());
    OMApplicationManager::removeApplication(mPackage);
    EXPECT_EQ(OMApplicationManager::getApplication("zoo"), nullptr);
    EXPECT_EQ(CountedClass::sAlive, 2);
    EXPECT_TRUE(handle->getClass()->isDescendantOf(animal));
    EXPECT_EQ(OMTypeRepository::getType("zoo.cat", true), nullptr);
    handle.reset();
    EXPECT_EQ(CountedClass::sAlive, 0);
}

TEST_F(Classes, CanBeDeletedByWhoMadeThem) {
    CountedClass* const animal = addClass("animal");
    delete animal;
    EXPECT_EQ(mPackage->getLocalClass("animal"), nullptr);
    EXPECT_EQ(OMTypeRepository::getType("zoo.animal", true), nullptr);
    CountedClass* const next = addClass("animal");
    EXPECT_NE(OMTypeRepository::getType("zoo.animal", true), nullptr);
    mPackage->removeLocalClass(next);
    mPackage->removeLocalClass(nullptr);
    EXPECT_EQ(CountedClass::sAlive, 0);
}

TEST_F(Classes, RefuseToBeTheirOwnAncestor) {
    CountedClass* const animal = addClass("animal");
    CountedClass* const cat = addClass("cat", animal);
    EXPECT_EQ(raisedBy([&] { animal->setSuperClass(cat); }).id, "VELMAR:class:cyclicSuperclass");
    EXPECT_EQ(raisedBy([&] { animal->setSuperClass(animal); }).id, "VELMAR:class:cyclicSuperclass");
    EXPECT_EQ(animal->getSuperClass(), nullptr);
    cat->setSuperClass(nullptr);
    animal->setSuperClass(cat);
    EXPECT_TRUE(animal->isDescendantOf(cat));
}

TEST_F(Classes, ListInheritedPropertiesFirstAndOverridesInPlace) {
    CountedClass* const animal = addClass("animal");
    CountedClass* const cat = addClass("cat", animal);
    OMPropInfo* const length = animal->addProperty(std::make_unique<WidthPropInfo>("Length"));
    animal->addProperty(std::make_unique<WidthPropInfo>("Width"));
    OMPropInfo* const tail = cat->addProperty(std::make_unique<WidthPropInfo>("Tail"));
    OMPropInfo* const width = cat->addProperty(std::make_unique<WidthPropInfo>("Width"));
    EXPECT_EQ(cat->getProperties(), (std::vector<OMPropInfo*>{length, width, tail}));
    EXPECT_EQ(cat->getProperty("Length"), length);
    EXPECT_EQ(cat->getProperty("Width"), width);
    EXPECT_EQ(length->getClass(), animal);
    EXPECT_EQ(cat->getProperty("width"), nullptr);
    EXPECT_EQ(animal->getProperty("Tail"), nullptr);

    OMPropInfo* const again = cat->addProperty(std::make_unique<WidthPropInfo>("Tail"));
    EXPECT_EQ(cat->getProperties(), (std::vector<OMPropInfo*>{length, width, again}));
}

TEST_F(Classes, PublicPackagesAreFoundOnThePath) {
    EXPECT_EQ(omFindPackageOnPath("zoo"), mPackage);
    EXPECT_EQ(omFindPackageOnPath("no such package"), nullptr);
    OMApplication* const hidden =
        OMApplicationManager::addApplication(std::make_unique<OMApplication>("hidden", false));
    EXPECT_EQ(omFindPackageOnPath("hidden"), nullptr);
    EXPECT_EQ(OMApplicationManager::getApplication("hidden"), hidden);
    OMApplicationManager::removeApplication(hidden);
}

TEST(PropertyTemplate, HasItsDefaultsUnlessTheRecordWritesOthers) {
    WidthPropInfo plain;
    EXPECT_TRUE(plain.isExternalSetAccess() && plain.isExternalGetAccess() && plain.isInternalSetAccess() &&
                plain.isInternalGetAccess() && plain.isSerializeAccess() && plain.isCopyAccess() &&
                plain.isListenerAccess() && plain.isVisible());
    EXPECT_FALSE(plain.isInitAccess() || plain.isDefaultAccess() || plain.isResetAccess() || plain.isAbortSetAccess() ||
                 plain.isReadOnly());
    const WidthPropInfo locked("Locked", {.isExternalSetAccess = false, .isInternalSetAccess = false});
    EXPECT_TRUE(locked.isReadOnly());
    EXPECT_TRUE(locked.isExternalGetAccess());
    EXPECT_STREQ(locked.getName(), "Locked");
    EXPECT_STREQ(locked.getInternalEvent(OMPropertyEvent::Kind::PostSet)->getName(), "LockedPostSet");
}

TEST_F(Classes, PropertiesReportErrorsByStatusOrByException) {
    CountedClass* const animal = addClass("animal");
    OMPropInfo* const width = animal->addProperty(std::make_unique<WidthPropInfo>());
    const Reference handle(animal->makeObject(5));
    OMDatabaseClient* const client = OMDatabaseClient::getExternalClient();
    const std::int32_t bad = 0;
    EXPECT_EQ(raisedBy([&] { width->setValue(client, handle.get(), &bad); }).id, "test:width");
    OMErrorStatus status;
    EXPECT_EQ(status.getLastError(), nullptr);
    width->setValueE(client, handle.get(), &bad, status);
    ASSERT_EQ(status.getNumberOfErrors(), 1);
    EXPECT_STREQ(status.getLastError()->getId(), "test:width");
    EXPECT_STREQ(status.getLastError()->getTempStaticMessage(), "Width must be positive.");

    const std::int32_t good = 9;
    width->setValueE(client, handle.get(), &good, status);
    EXPECT_EQ(status.getNumberOfErrors(), 1);
    void* const value = width->getValue(client, handle.get());
    EXPECT_EQ(*static_cast<std::int32_t*>(value), 9);
    width->releaseValue(client, handle.get(), value);
}

// Events

struct Seen {
    std::string listener, event;
    int value;
    bool isInternal;
    bool operator==(const Seen&) const = default;
};

class EventLog {
 public:
    OMListenerManager::Listener as(std::string name) {
        return [this, name](OMDatabaseClient* client, const OMEvent& event) {
            const auto& property = dynamic_cast<const OMPropertyEvent&>(event);
            seen.push_back({name, event.getEventInfo()->getName(),
                            *static_cast<const std::int32_t*>(property.getNewValue()), client->isInternal()});
        };
    }
    std::vector<Seen> seen;
};

TEST_F(Events, ReachTheObjectThenItsClassThenTheAncestors) {
    CountedClass* const animal = addClass("animal");
    CountedClass* const cat = addClass("cat", animal);
    const OMPropInfo* const width = animal->addProperty(std::make_unique<WidthPropInfo>());
    const Reference tom(cat->makeObject());
    const Reference kitty(cat->makeObject());
    EventLog log;
    animal->getListenerManager()->addListener(log.as("animal"));
    const auto catListener = cat->getListenerManager()->addListener(log.as("cat"));
    tom->getListenerManager()->addListener(log.as("tom"));

    const WidthPropInfo silent("Silent", {.isListenerAccess = false});
    const auto send = [&](const Reference& object, std::int32_t value, OMDatabaseClient* client) {
        for (const OMPropInfo* const property : {width, static_cast<const OMPropInfo*>(&silent)}) {
            object->notifyPropEvent(client,
                                    OMPropertyEvent(property, OMPropertyEvent::Kind::PostSet, object.get(), &value));
        }
    };
    send(tom, 8, OMDatabaseClient::getInternalClient());
    cat->getListenerManager()->removeListener(catListener);
    send(kitty, 9, OMDatabaseClient::getExternalClient());
    EXPECT_EQ(log.seen, (std::vector<Seen>{{"tom", "WidthPostSet", 8, true},
                                           {"cat", "WidthPostSet", 8, true},
                                           {"animal", "WidthPostSet", 8, true},
                                           {"animal", "WidthPostSet", 9, false}}));
}

TEST_F(Events, AllowListenersToChangeTheListAndToDropTheObject) {
    CountedClass* const animal = addClass("animal");
    const OMPropInfo* const width = animal->addProperty(std::make_unique<WidthPropInfo>());
    Reference handle(animal->makeObject());
    OMListenerManager* const listeners = handle->getListenerManager();
    std::string trace;
    OMListenerManager::Id first = 0;
    OMListenerManager::Id third = 0;
    first = listeners->addListener([&](OMDatabaseClient*, const OMEvent&) {
        trace += '1';
        listeners->removeListener(first);
        listeners->removeListener(third);
        listeners->addListener([&trace](OMDatabaseClient*, const OMEvent&) { trace += '4'; });
    });
    listeners->addListener([&](OMDatabaseClient*, const OMEvent&) {
        trace += '2';
        handle.reset();
        EXPECT_EQ(CountedObject::sAlive, 1);
    });
    third = listeners->addListener([&](OMDatabaseClient*, const OMEvent&) { trace += '3'; });
    const std::int32_t value = 1;
    OMInterface* const raw = handle.get();
    raw->notifyPropEvent(OMDatabaseClient::getInternalClient(),
                         OMPropertyEvent(width, OMPropertyEvent::Kind::PostSet, raw, &value));
    EXPECT_EQ(trace, "12");
    EXPECT_EQ(CountedObject::sAlive, 0);
}

TEST(EnumStringTypes, LookUpBothWaysInTheOrderOfAdding) {
    EnumStringType* const colours = EnumStringType::findOrAdd("test colours", {{5, "red"}, {-1, "green"}, {0, "blue"}});
    EXPECT_EQ(EnumStringType::findOrAdd("test colours", {{1, "other"}}), colours);
    EXPECT_EQ(OMTypeRepository::getType("test colours", true), colours);
    std::string texts;
    for (const EnumStringType::Entry& entry : colours->getEntries()) {
        texts += std::to_string(entry.value) + entry.text + " ";
    }
    EXPECT_EQ(texts, "5red -1green 0blue ");
    EXPECT_STREQ(colours->getText(-1), "green");
    EXPECT_EQ(colours->getText(1), nullptr);
    std::int32_t value = 77;
    EXPECT_TRUE(colours->getValue("blue", value));
    EXPECT_EQ(value, 0);
    EXPECT_FALSE(colours->getValue("Blue", value));
    EXPECT_EQ(value, 0);
    EXPECT_EQ(raisedBy([&] { colours->addValue(9, "red"); }).id, "VELMAR:datatype:duplicateEnumValue");
    EXPECT_EQ(raisedBy([&] { colours->addValue(5, "grey"); }).id, "VELMAR:datatype:duplicateEnumValue");
    EXPECT_EQ(colours->getNumberOfValues(), 3U);
    EXPECT_EQ(raisedBy([] { EnumStringType::findOrAdd("int32", {}); }).id, "VELMAR:datatype:nameInUse");
}

TEST(EnumStringTypes, TypedOnesSpeakTheirEnumeration) {
    enum class Size { Small = 1, Large = 2 };
    TypedEnumStringType<Size> sizes("test sizes");
    sizes.addValue(Size::Small, "small");
    sizes.addValue(Size::Large, "large");
    EXPECT_STREQ(sizes.getText(Size::Large), "large");
    EXPECT_EQ(sizes.getValue("small"), Size::Small);
    EXPECT_EQ(sizes.getValue("huge"), std::nullopt);
}

TEST_F(Types, OfClassesAreThereFromTheirRecordOn) {
    EXPECT_EQ(OMTypeRepository::getType("zoo.animal", true), nullptr);
    CountedClass* const animal = addClass("animal");
    const auto* const type = dynamic_cast<OMInterfaceType*>(OMTypeRepository::getType("zoo.animal", true));
    ASSERT_NE(type, nullptr);
    EXPECT_EQ(type->getClass(), animal);
    EXPECT_EQ(OMTypeRepository::getType("zoo.animal", false), nullptr);
    for (const char* const name : {"VELMAR array", "int32", "int", "double", "bool", "string", "handle", "real point",
                                   "string vector", "handle vector"}) {
        const OMDataType* const builtIn = OMTypeRepository::getType(name, false);
        ASSERT_NE(builtIn, nullptr) << name;
        EXPECT_STREQ(builtIn->getName(), name);
    }
    EXPECT_EQ(raisedBy([] { OMTypeRepository::addType(std::make_unique<BooleanDataType>()); }).id,
              "VELMAR:datatype:nameInUse");
}

TEST_F(Types, ConvertNumbersExactlyOrRefuse) {
    constexpr double inf = std::numeric_limits<double>::infinity();
    constexpr double lowest = -2147483648.0;
    const struct {
        const char* type;
        std::vector<double> accepted, refused;
    } rows[] = {{"int32", {lowest, -1 - lowest}, {-lowest, lowest - 1, 1.5, bsGetNaN(), -inf}},
                {"int", {lowest}, {1.5}},
                {"double", {-0.75, inf}, {}},
                {"bool", {0.0, 3.0}, {bsGetNaN()}}};
    for (const auto& row : rows) {
        OMDataType* const type = OMTypeRepository::getType(row.type, true);
        for (const double number : row.accepted) {
            void* const value = omdtConvertFromVelmar(type, hvArrayOwner(hvCreateDoubleScalar(number)).get());
            const hvArrayOwner back = toArray(row.type, value);
            EXPECT_EQ(hvGetScalar(back.get()), hvIsLogical(back.get()) ? double(number != 0.0) : number);
            type->releaseValue(value);
        }
        for (const double number : row.refused) {
            EXPECT_EQ(conversionError(row.type, hvArrayOwner(hvCreateDoubleScalar(number)).get()), badValueOf(row.type))
                << number;
        }
    }
    const hvArrayOwner text(hvCreateString("x"));
    const hvArrayOwner pair(hvCreateDoubleMatrix(1, 2));
    const hvArrayOwner complex(hvCreateComplexScalar(1.0, 1.0));
    for (const char* const type : {"int32", "double", "bool", "real point"}) {
        for (const hvArray* const array : {text.get(), pair.get(), complex.get(), static_cast<hvArray*>(nullptr)}) {
            const bool isAccepted = array == pair.get() && std::string_view(type) == "real point";
            EXPECT_EQ(conversionError(type, array), isAccepted ? Raised{} : badValueOf(type));
        }
    }
    for (const std::size_t height : {1U, 2U}) {
        const hvArrayOwner whole(hvCreateNumericMatrix(height, 2 / height, hvINT16_CLASS));
        hvGetTypedData<std::int16_t>(whole.get())[1] = -7;
        OMDataType* const points = OMTypeRepository::getType("real point", true);
        void* const point = omdtConvertFromVelmar(points, whole.get());
        const hvArrayOwner back = toArray("real point", point);
        points->releaseValue(point);
        EXPECT_EQ(hvGetM(back.get()), 1U);
        EXPECT_TRUE(std::ranges::equal(hvGetTypedData<double>(back.get()), std::array{0.0, -7.0}));
    }
    const hvArrayOwner triple(hvCreateDoubleMatrix(1, 3));
    EXPECT_EQ(conversionError("real point", triple.get()), badValueOf("real point"));
}

TEST_F(Types, ConvertTextsAndEnumerations) {
    EnumStringType::findOrAdd("test colours", {{5, "red"}, {-1, "green"}, {0, "blue"}});
    const hvArrayOwner green(hvCreateString("green"));
    OMDataType* const colours = OMTypeRepository::getType("test colours", true);
    void* const colour = omdtConvertFromVelmar(colours, green.get());
    EXPECT_EQ(*static_cast<std::int32_t*>(colour), -1);
    EXPECT_EQ(hvArray2String(toArray("test colours", colour).get()), "green");
    colours->releaseValue(colour);
    const std::int32_t unknown = 4;
    EXPECT_EQ(raisedBy([&] { toArray("test colours", &unknown); }), badValueOf("test colours"));
    const hvArrayOwner empty(hvCreateString(""));
    const hvArrayOwner capital(hvCreateString("Green"));
    const hvArrayOwner tooFar(hvCreateDoubleScalar(7));
    const std::string choices = " is not valid for data type 'test colours'; it is one of 'red', 'green', 'blue'.";
    for (const auto& [array, text] : {std::pair(empty.get(), "Value ''" + choices),
                                      {capital.get(), "Value 'Green'" + choices + " Did you mean 'green'?"},
                                      {tooFar.get(), "Value 7" + choices}}) {
        EXPECT_EQ(conversionError("test colours", array), (Raised{"VELMAR:datatype:badValue", text}));
    }

    OMDataType* const strings = OMTypeRepository::getType("string", true);
    EXPECT_EQ(omdtConvertFromVelmar(strings, empty.get()), nullptr);
    EXPECT_TRUE(hvIsChar(toArray("string", nullptr).get()));
    void* const text = omdtConvertFromVelmar(strings, green.get());
    EXPECT_STREQ(static_cast<char*>(text), "green");
    strings->releaseValue(text);

    const std::vector<std::string> words = {"a", "", "long word"};
    const hvArrayOwner cells = toArray("string vector", &words);
    OMDataType* const vectors = OMTypeRepository::getType("string vector", true);
    void* const back = omdtConvertFromVelmar(vectors, cells.get());
    EXPECT_EQ(*static_cast<std::vector<std::string>*>(back), words);
    vectors->releaseValue(back);
    const hvArrayOwner badCells(hvCreateCellMatrix(1, 2));
    EXPECT_EQ(conversionError("string vector", badCells.get()), badValueOf("string vector"));
}

TEST_F(Types, HandlesTravelThroughArraysOfTheirClass) {
    CountedClass* const animal = addClass("animal");
    CountedClass* const cat = addClass("cat", animal);
    CountedClass* const stone = addClass("stone");
    const Reference tom(cat->makeObject());
    const Reference rock(stone->makeObject());
    const hvArrayOwner tomArray = toArray("zoo.animal", tom.get());
    const hvArrayOwner rockArray = toArray("handle", rock.get());
    EXPECT_TRUE(hvIsOpaque(tomArray.get()));
    EXPECT_STREQ(hvGetClassName(tomArray.get()), "zoo.cat");
    EXPECT_TRUE(hvIsA(tomArray.get(), "zoo.cat"));
    EXPECT_TRUE(hvIsA(tomArray.get(), "zoo.animal"));
    EXPECT_FALSE(hvIsA(tomArray.get(), "zoo.stone"));
    EXPECT_FALSE(hvIsA(tomArray.get(), "cat"));

    const hvArrayOwner empty(hvCreateDoubleMatrix(0, 0));
    const hvArrayOwner number(hvCreateDoubleScalar(1.0));
    EXPECT_EQ(conversionError("zoo.animal", rockArray.get()), badValueOf("zoo.animal"));
    EXPECT_EQ(conversionError("zoo.animal", number.get()), badValueOf("zoo.animal"));
    EXPECT_EQ(conversionError("handle", rockArray.get()), Raised{});
    EXPECT_EQ(raisedBy([&] { toArray("zoo.animal", rock.get()); }), badValueOf("zoo.animal"));
    EXPECT_EQ(omdtConvertFromVelmar(OMTypeRepository::getType("zoo.animal", true), empty.get()), nullptr);
    const hvArrayOwner noLogicals(hvCreateLogicalMatrix(2, 0));
    EXPECT_EQ(omdtConvertFromVelmar(OMTypeRepository::getType("zoo.animal", true), noLogicals.get()), nullptr);
    const hvArrayOwner noText(hvCreateString(""));
    EXPECT_EQ(conversionError("zoo.animal", noText.get()), badValueOf("zoo.animal"));
    EXPECT_TRUE(hvIsEmpty(toArray("handle", nullptr).get()));

    const std::vector<OMInterface*> both = {tom.get(), rock.get()};
    const hvArrayOwner cells = toArray("handle vector", &both);
    OMDataType* const vectors = OMTypeRepository::getType("handle vector", true);
    void* const back = omdtConvertFromVelmar(vectors, cells.get());
    EXPECT_EQ(*static_cast<std::vector<OMInterface*>*>(back), both);
    vectors->releaseValue(back);
    hvSetCell(cells.get(), 1, hvCreateDoubleScalar(1.0));
    EXPECT_EQ(conversionError("handle vector", cells.get()), badValueOf("handle vector"));
    EXPECT_EQ(tom->getNumberOfReferences(), 3);
}

}  // namespace
