// Variables through a file and back, by the host alone: arrays of every class, and objects of classes made here.
#include <sys/stat.h>

#include <cmath>
#include <limits>
#include <map>
#include <random>

#include "host/om.h"
#include "host/reference/Session.h"
#include "tests/support/files.h"
#include "tests/support/saved_files.h"
#include "tests/support/thrown.h"

namespace {

namespace fs = std::filesystem;
using hostref::Session;
using hostref::SharedState;
using hostref::Value;
using hostref::Variable;

// A class whose objects hold a number and anything, and share a switch.

struct Box {
    Box() { ++sAlive; }
    ~Box() { --sAlive; }
    Box(const Box&) = delete;
    Box& operator=(const Box&) = delete;

    double number = 0.0;
    double room = 1.0;  // holds numbers below itself only
    hvArrayOwner anything{hvCreateDoubleMatrix(0, 0)};

    static inline int sAlive = 0;
    static inline double sShared = 0.0;
    static inline std::string sSets;
};

class BoxProperty : public OMPropInfoTemplate {
 public:
    using Get = void* (*)(Box&);
    using Set = void (*)(Box&, const void*);
    BoxProperty(const char* name, const char* type, Get get, Set set, const OMPropertyAccess& access = {})
        : OMPropInfoTemplate(name, OMTypeRepository::getType(type, true), access), mGet(get), mSet(set) {}
    void* getValue(OMDatabaseClient* /*client*/, OMInterface* interface) override {
        return mGet(*static_cast<Box*>(interface->getObject()));
    }
    void setValue(OMDatabaseClient* /*client*/, OMInterface* interface, const void* value) override {
        Box::sSets += getName();
        mSet(*static_cast<Box*>(interface->getObject()), value);
    }

 private:
    Get mGet;
    Set mSet;
};

/// A number without room for which a foreign exception is thrown.
constexpr double kHostile = 55.0;

double asDouble(const void* value) {
    return *static_cast<const double*>(value);
}

class BoxClass : public OMClass {
 public:
    BoxClass() {
        setName("box", true);
        const auto add = [this](auto... parts) { addProperty(std::make_unique<BoxProperty>(parts...)); };
        add(
            "N", "double", [](Box& box) -> void* { return new double(box.number); },
            [](Box& box, const void* value) {
                if (asDouble(value) >= 1000.0) {
                    raiseError("test:tooGreat", "No box holds that.");
                }
                if (asDouble(value) == kHostile && box.room <= kHostile) {
                    throw 42;
                }
                // Only room that comes later in the order lets it in.
                box.number = asDouble(value) < box.room ? asDouble(value) : box.number;
            });
        add(
            "A", "VELMAR array",
            [](Box& box) -> void* {
                if (box.number == kHostile + 1.0) {
                    throw 42;
                }
                return hvCreateSharedDataCopy(box.anything.get());
            },
            [](Box& box, const void* value) {
                box.anything.reset(hvCreateSharedDataCopy(static_cast<const hvArray*>(value)));
            });
        add(
            "S", "double", [](Box&) -> void* { return new double(Box::sShared); },
            [](Box&, const void* value) { Box::sShared = asDouble(value); },
            OMPropertyAccess{.isExternalSetAccess = false});
        add(
            "R", "double", [](Box& box) -> void* { return new double(box.room); },
            [](Box& box, const void* value) { box.room = asDouble(value); });
        add(
            "Passing", "double", [](Box&) -> void* { return new double(7.0); }, [](Box&, const void*) {},
            OMPropertyAccess{.isSerializeAccess = false});
    }
    using OMClass::createClassSpecificObject;
    OMInterface* createClassSpecificObject(OMInterface* /*interface*/, void** /*arguments*/, int /*count*/) override {
        return new OMInterface(new Box, this, nullptr);
    }
    void destroyObject(OMInterface* interface) override { delete static_cast<Box*>(interface->getObject()); }
};

class SavedObjects : public testing::Test {
 protected:
    static void SetUpTestSuite() {
        auto package = std::make_unique<OMApplication>("saved", true);
        package->addLocalClass(new BoxClass);
        OMApplicationManager::addApplication(std::move(package));
    }
    static void TearDownTestSuite() {
        OMApplicationManager::removeApplication(OMApplicationManager::getApplication("saved"));
    }
    void TearDown() override {
        Box::sShared = 0.0;
        EXPECT_EQ(Box::sAlive, 0) << "an object outlives its values";
    }

    Value box(double number, const Value& anything = Value(), double room = 100.0) {
        const Value made = session.construct("saved.box");
        made.set("R", room);
        made.set("N", number);
        made.set("A", anything);
        return made;
    }
    Value roundTrip(const Value& value) {
        session.save(file, {{"x", value}});
        return session.load(file, "x");
    }
    Raised failureToSave(const Value& value) {
        return thrownBy([&] { session.save(file, {{"x", value}}); });
    }
    Bytes savedBytes() {
        const std::string text = readText(file);
        const auto* const data = reinterpret_cast<const std::byte*>(text.data());
        return {data, data + text.size()};
    }
    Raised failureToLoad(const Bytes& bytes, SharedState shared = SharedState::keep) {
        const std::string other = folder.file("other");
        writeText(other, {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
        return thrownBy([&] { session.load(other, shared); });
    }

    Session session{hostref::Module{"none", [] {}, [] {}}};
    TemporaryFolder folder;
    std::string file = folder.file("work.h5");
    std::mt19937 random{7};
};

// Arrays

using Sizes = std::vector<std::size_t>;

/// Random values in cells and structs, down to a depth. Bits are any, so that NaN and -0 come in all their forms.
class RandomValues {
 public:
    explicit RandomValues(std::mt19937& random) : mRandom(random) {}

    Value any(int depth) {
        const int kind = below(depth > 0 ? 14 : 12);
        const Sizes sizes = someSizes();
        if (kind == 12) {
            hvArrayOwner cells(hvCreateCellArray(sizes.size(), sizes.data()));
            for (std::size_t i = 0; i < hvGetNumberOfElements(cells.get()); ++i) {
                if (below(5) > 0) {
                    hvSetCell(cells.get(), i, any(depth - 1).toArray().release());
                }
            }
            return Value(std::move(cells));
        }
        if (kind == 13) {
            static constexpr const char* kNames[] = {"a", "", ".", "b/c", "100%", "..", "%2F", "\xC3\xA4"};
            hvArrayOwner array(hvCreateStructArray(sizes.size(), sizes.data(), below(9), kNames));
            for (std::size_t i = 0; i < hvGetNumberOfElements(array.get()); ++i) {
                for (int field = 0; field < hvGetNumberOfFields(array.get()); ++field) {
                    if (below(5) > 0) {
                        hvSetFieldByNumber(array.get(), i, field, any(depth - 1).toArray().release());
                    }
                }
            }
            return Value(std::move(array));
        }
        if (kind == 11) {
            hvArrayOwner bits(hvCreateLogicalArray(sizes.size(), sizes.data()));
            for (hvLogical& bit : hvGetTypedData<hvLogical>(bits.get())) {
                bit = static_cast<hvLogical>(below(2));
            }
            return Value(std::move(bits));
        }
        if (kind == 10) {
            const Sizes shape = below(2) == 0 ? sizes : Sizes{1, static_cast<std::size_t>(below(40))};
            const int codes = below(2) == 0 ? 128 : 65536;
            hvArrayOwner text(hvCreateCharArray(shape.size(), shape.data()));
            for (hvChar& character : hvGetTypedData<hvChar>(text.get())) {
                character = static_cast<hvChar>(below(codes));
            }
            return Value(std::move(text));
        }
        hvArrayOwner array(hvCreateNumericArray(sizes.size(), sizes.data(),
                                                static_cast<hvClassID>(hvDOUBLE_CLASS + kind),
                                                below(3) == 0 ? hvCOMPLEX : hvREAL));
        fill(hvGetData(array.get()), array.get());
        fill(hvGetImagData(array.get()), array.get());
        return Value(std::move(array));
    }

 private:
    int below(int end) { return std::uniform_int_distribution<int>(0, end - 1)(mRandom); }
    Sizes someSizes() {
        Sizes sizes(static_cast<std::size_t>(2 + below(3)));
        for (std::size_t& size : sizes) {
            size = static_cast<std::size_t>(below(4));
        }
        return sizes;
    }
    void fill(void* data, const hvArray* array) {
        auto* const bytes = static_cast<unsigned char*>(data);
        for (std::size_t i = 0; data != nullptr && i < hvGetNumberOfElements(array) * hvGetElementSize(array); ++i) {
            bytes[i] = static_cast<unsigned char>(below(256));
        }
    }

    std::mt19937& mRandom;
};

TEST_F(SavedObjects, BringBackRandomArraysOfEveryClassBitForBit) {
    RandomValues values(random);
    for (int run = 0; run < 300; ++run) {
        const std::vector<Variable> variables = {{"a", values.any(3)}, {"b/%.", values.any(0)}, {".", Value()}};
        const Bytes bytes = hostref::savedBytes(variables);
        const auto again = hostref::loadedVariables(bytes, SharedState::keep);
        ASSERT_EQ(again, variables) << "run " << run;
        // The same bytes, so also the forms of NaN and -0, which compare as equal.
        ASSERT_TRUE(hostref::savedBytes(again) == bytes) << "run " << run;
    }
}

TEST_F(SavedObjects, TakeLongTextsManyElementsAndDeepNesting) {
    hvArrayOwner large(hvCreateNumericMatrix(300, 1000, hvINT16_CLASS));
    std::ranges::generate(hvGetTypedData<std::int16_t>(large.get()),
                          [&] { return static_cast<std::int16_t>(random()); });
    const std::vector<Value> many(2000, Value(1.5));
    for (const Value& value : {Value(std::string(16384, 'x')), Value(std::string(100000, 'x')), Value(std::move(large)),
                               Value::cells(many)}) {
        EXPECT_TRUE(roundTrip(value) == value) << value;
    }
    Value deep;
    for (int depth = 0; depth < 200; ++depth) {
        deep = Value::cells(std::array{deep});
    }
    EXPECT_TRUE(roundTrip(deep) == deep);
    EXPECT_EQ(failureToSave(Value::cells(std::array{deep})).id, "VELMAR:save:tooDeep");
    Sizes sizes(33, 1);
    sizes.back() = 2;
    EXPECT_EQ(failureToSave(Value(hvArrayOwner(hvCreateLogicalArray(sizes.size(), sizes.data())))).id,
              "VELMAR:save:tooManyDimensions");
}

TEST_F(SavedObjects, AreVariablesInTheirOrder) {
    session.save(file, {{"b", 1.0}, {"a", "text"}, {"c/d", true}});
    EXPECT_EQ(session.namesIn(file), (std::vector<std::string>{"b", "a", "c/d"}));
    EXPECT_EQ(session.load(file), (std::vector<Variable>{{"b", 1.0}, {"a", "text"}, {"c/d", true}}));
    EXPECT_EQ(session.load(file, "c/d"), Value(true));
    EXPECT_EQ(thrownBy([&] { session.load(file, "d"); }),
              (Raised{"VELMAR:load:noVariable", "The file holds no variable 'd'."}));
    EXPECT_EQ(thrownBy([&] { session.save(file, {{"", 1.0}}); }).id, "VELMAR:save:badName");
    EXPECT_EQ(thrownBy([&] { session.save(file, {{"a", 1.0}, {"a", 2.0}}); }).id, "VELMAR:save:badName");
    session.save(file, {});
    EXPECT_TRUE(session.load(file).empty());
}

TEST_F(SavedObjects, AreConstructedAndSetInTheOrderOfTheClass) {
    const Value original = box(5.0, "inside", 6.0);
    Box::sSets.clear();
    const Value again = roundTrip(original);
    // The number finds no room at first and is set once more behind it.
    EXPECT_EQ(Box::sSets, "NASRN");
    EXPECT_FALSE(again == original);
    EXPECT_EQ(again.className(), "saved.box");
    EXPECT_EQ(again.get("N"), Value(5.0));
    EXPECT_EQ(again.get("A"), Value("inside"));
}

TEST_F(SavedObjects, BearPropertiesThatThrowAnything) {
    // The setter throws until there is room; the getter leaves its property without a value.
    EXPECT_EQ(roundTrip(box(kHostile, "inside")).get("N"), Value(kHostile));
    const Value again = roundTrip(box(kHostile + 1.0, "inside"));
    again.set("N", 1.0);
    EXPECT_EQ(again.get("A"), Value());
}

TEST_F(SavedObjects, StayOneObjectWhereverTheyAreHeld) {
    const Value inner = box(1.0);
    const Value outer = box(2.0, Value::cells(std::array{inner, Value("x"), inner}));
    session.save(file, {{"outer", outer}, {"inner", inner}, {"cells", Value::cells(std::array{outer, inner})}});
    const auto again = session.load(file);
    again[1].value.set("N", 42.0);
    EXPECT_EQ(again[0].value.get("A").cell(2).get("N"), Value(42.0));
    EXPECT_TRUE(again[2].value.cell(0) == again[0].value && again[2].value.cell(1) == again[1].value);
    EXPECT_EQ(inner.get("N"), Value(1.0));
    // Alone, too: what it holds comes with it.
    EXPECT_EQ(session.load(file, "cells").cell(0).get("A").cell(0).get("N"), Value(1.0));
    inner.set("A", outer);
    EXPECT_EQ(failureToSave(inner).id, "VELMAR:save:cycle");
    inner.set("A", Value());
}

TEST_F(SavedObjects, KeepOrRestoreWhatTheyShare) {
    Box::sShared = 3.0;
    session.save(file, {{"x", box(1.0)}, {"y", box(2.0)}});
    Box::sShared = 4.0;
    session.load(file);
    EXPECT_EQ(Box::sShared, 4.0);
    session.load(file, SharedState::restore);
    EXPECT_EQ(Box::sShared, 3.0);
    // A failure keeps it in any case: the second number is refused when the first object is there already.
    Box::sShared = 5.0;
    Bytes bytes = savedBytes();
    ASSERT_TRUE(
        replaceIn(bytes, std::string_view("\0\0\0\0\0\0\0\x40", 8), std::string_view("\0\0\0\0\0\x40\x8F\x40", 8)));
    signHeaders(bytes);
    hostref::setHeading(bytes);
    EXPECT_EQ(failureToLoad(bytes, SharedState::restore), (Raised{"test:tooGreat", "No box holds that."}));
    EXPECT_EQ(Box::sShared, 5.0);
}

TEST_F(SavedObjects, OfAnOlderFormAreMadeByLoadobj) {
    session.save(file, {{"x", box(5.0)}});
    Bytes bytes = savedBytes();
    // The property "R" was "Q" once.
    ASSERT_TRUE(replaceIn(bytes, std::string_view("\x01R", 2), std::string_view("\x01Q", 2)));
    signHeaders(bytes);
    hostref::setHeading(bytes);
    EXPECT_EQ(failureToLoad(bytes).id, "VELMAR:load:otherProperties");
    session.addMethod("saved.box", "loadobj", [this](int, std::span<const hvArray* const> arguments) {
        const Value properties = Value::share(arguments[0]);
        std::vector<hvArrayOwner> results;
        results.push_back(properties.field("Q").toDouble() == 100.0
                              ? box(properties.field("N").toDouble() + 1.0).toArray()
                              : Value("none").toArray());
        return results;
    });
    OMClass& boxes = *box(0.0).interface()->getClass();
    EXPECT_EQ(failureToLoad(bytes).id, "VELMAR:load:otherProperties") << "only a static method is called without one";
    boxes.getMethod("loadobj")->setStatic(true);
    EXPECT_EQ(failureToLoad(bytes).id, "");
    EXPECT_EQ(session.load(folder.file("other"), "x").get("N"), Value(6.0));
    session.addMethod("saved.box", "loadobj", [](int, auto) {
        std::vector<hvArrayOwner> results;
        results.push_back(Value("none").toArray());
        return results;
    });
    boxes.getMethod("loadobj")->setStatic(true);
    EXPECT_EQ(failureToLoad(bytes).id, "VELMAR:load:badLoadobj");
}

TEST_F(SavedObjects, RefuseFilesThatAreCutOrChangedAnywhere) {
    session.save(file, {{"x", box(5.0, Value::cells(std::array{Value("text"), Value(true)}))}, {"y", 2.0}});
    const Bytes good = savedBytes();
    const std::set<std::string> ids = {"VELMAR:load:foreign", "VELMAR:load:damaged"};
    for (std::size_t i = 0; i < good.size(); i += 7) {
        const Bytes cut(good.begin(), good.begin() + static_cast<std::ptrdiff_t>(i));
        ASSERT_TRUE(ids.contains(failureToLoad(cut).id)) << "cut at " << i;
        Bytes changed = good;
        changed[i] ^= std::byte{1} << i % 8;
        ASSERT_TRUE(ids.contains(failureToLoad(changed).id)) << "changed at " << i;
    }
    Bytes longer = good;
    longer.push_back(std::byte{0});
    EXPECT_EQ(failureToLoad(longer).id, "VELMAR:load:damaged");
}

TEST_F(SavedObjects, RefuseFilesThatWereMadeToHarm) {
    static constexpr const char* kFields[] = {"a", "b"};
    session.save(file, {{"x", box(5.0, Value::cells(std::array{Value("text"), Value(true), Value(7.0)}))},
                        {"y", 2.0},
                        {"z", Value(hvArrayOwner(hvCreateStructMatrix(1, 1, 2, kFields)))}});
    const Bytes good = savedBytes();
    const std::string one("\x01\0\0\0", 4);
    const std::string integer("\x10\x08\0\0\x04\0\0\0\0\0\x20\0\x02\0\0\0", 16);
    const std::string two("\x02\0\0\0", 4);
    using std::string_literals::operator""s;
    const std::string newer =
        " was saved in version 2, which is newer than version 1 that is known here. A newer system can load it.";
    const std::string damaged = "The file is damaged: ";
    const std::string twice = damaged + "two parts of it have one name.";
    const struct {
        std::string old, replacement, message;
        std::string id = "damaged";
    } rows[] = {
        {"format\0"s + integer + one, "format\0"s + integer + two, "The file" + newer, "newerVersion"},
        {"version\0"s + integer + one, "version\0"s + integer + two, "An object of class 'saved.box'" + newer,
         "newerVersion"},
        {"logical", "integer", damaged + "its elements are of another kind."},
        {"\x03\0\x01\0\x01"s, "\x03\0\x01\0\x02"s, damaged + "a logical element is none."},
        {"\0013", "\0014", damaged + "the elements of a cell array are out of order."},
        {"\x01y", "\x01x", twice},
        {"\x01R", "\x01N", twice},
        {"\001b", "\001a", twice},
        {"\x01R", "\x01.", damaged + "a property is none."},
        {"\x01R", "\x01\0"s, damaged + "it isn't built as saved files are."},
        {"dimensions\0"s, "dimentions\0"s, damaged + "a part of it can't be read."},
    };
    const auto failureWith = [&](const std::string& old, const std::string& replacement) {
        Bytes bytes = good;
        EXPECT_TRUE(replaceIn(bytes, old, replacement)) << replacement;
        signHeaders(bytes);
        hostref::setHeading(bytes);
        return failureToLoad(bytes);
    };
    for (const auto& row : rows) {
        EXPECT_EQ(failureWith(row.old, row.replacement), (Raised{"VELMAR:load:" + row.id, row.message}));
    }
    EXPECT_EQ(failureWith("saved.box", "saved.bug").id, "VELMAR:class:unknown");
    // Any byte at all, past the digest and the checksums: a value or a refusal.
    std::map<std::string, int> outcomes;
    for (std::size_t i = hostref::kHeadingBytes; i < good.size(); i += 3) {
        Bytes bytes = good;
        bytes[i] = static_cast<std::byte>(random());
        if (i % 2 == 0) {
            signHeaders(bytes);
        }
        hostref::setHeading(bytes);
        ++outcomes[failureToLoad(bytes).id];
    }
    EXPECT_GT(outcomes["VELMAR:load:damaged"], 100);
    EXPECT_GT(outcomes[""], 10) << "some bytes are values";
}

TEST_F(SavedObjects, RefuseWhatIsNoSavedFile) {
    fs::create_directory(folder.file("folder"));
    ASSERT_EQ(::mkfifo(folder.file("pipe").c_str(), 0600), 0);
    writeText(folder.file("text"), "Velmar saved nothing");
    writeText(folder.file("empty"), "");
    const std::pair<const char*, const char*> rows[] = {{"none", "VELMAR:load:notRead"},
                                                        {"folder", "VELMAR:load:notRead"},
                                                        {"pipe", "VELMAR:load:notRead"},
                                                        {"text", "VELMAR:load:foreign"},
                                                        {"empty", "VELMAR:load:foreign"}};
    for (const auto& [name, id] : rows) {
        const std::string place = folder.file(name);
        EXPECT_EQ(thrownBy([&] { session.load(place); }).id, id) << name;
        EXPECT_EQ(thrownBy([&] { session.namesIn(place); }).id, id) << name;
    }
    // An HDF5 file alone.
    session.save(file, {{"x", 1.0}});
    writeText(folder.file("text"), readText(file).substr(hostref::kHeadingBytes));
    EXPECT_EQ(thrownBy([&] { session.load(folder.file("text")); }).id, "VELMAR:load:foreign");
}

TEST_F(SavedObjects, LeaveTheOldFileWhenSavingFails) {
    session.save(file, {{"x", 1.0}});
    fs::permissions(file, fs::perms(0640));
    const std::string old = readText(file);
    const Value circle = box(1.0);
    circle.set("A", circle);
    EXPECT_EQ(failureToSave(circle).id, "VELMAR:save:cycle");
    circle.set("A", Value());
    EXPECT_EQ(readText(file), old);
    EXPECT_EQ(folder.entryCount(), 1U) << "nothing is left beside it";
    for (const std::string& place : {folder.file("no/file"), folder.file(""), std::string("/dev/null")}) {
        EXPECT_EQ(thrownBy([&] { session.save(place, {{"x", 1.0}}); }).id, "VELMAR:save:notWritten") << place;
    }
    // A link goes on naming the file, which keeps its access.
    fs::create_symlink("work.h5", folder.file("link"));
    session.save(folder.file("link"), {{"x", 2.0}});
    EXPECT_EQ(session.load(file, "x"), Value(2.0));
    EXPECT_TRUE(fs::is_symlink(folder.file("link")));
    EXPECT_EQ(fs::status(file).permissions(), fs::perms(0640));
    EXPECT_EQ(folder.entryCount(), 2U);
}

}  // namespace
