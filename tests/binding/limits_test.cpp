// The memory that a session allows its commands: what is beyond raises before it is taken, and what is usual passes.
#include <algorithm>
#include <cstring>

#include "tests/binding/session_support.h"
#include "tests/support/files.h"
#include "tests/support/saved_files.h"

namespace {

constexpr std::uint64_t kMebibyte = std::uint64_t{1} << 20;

class SessionLimits : public BindingTest {
 protected:
    Raised loadError() {
        return thrownBy([&] { session.load(file, "x"); });
    }
    Value loaded() { return session.load(file, "x"); }

    TemporaryFolder folder;
    std::string file = folder.file("work.h5");
};

TEST_F(SessionLimits, OfResultsAreRaisedBeforeMemoryIsTaken) {
    session.setLimits({.resultBytes = kMebibyte});
    const Value row(Numbers(1000, 0.5));
    const Value long_ = type(true, 65535, 10);
    const Raised seen = thrownBy([&] { fi(row, long_); });
    EXPECT_EQ(seen.id, "VELMAR:session:tooLarge");
    EXPECT_NE(seen.message.find("more than the 1048576 allowed"), std::string::npos) << seen.message;
    EXPECT_EQ(session.call("lasterr").toText(), seen.message);

    // A refused operation leaves its operands as they were, and smaller ones pass.
    const Value a = fi(Value(Numbers(100000, 0.5)), type(true, 16, 15));
    session.setLimits({.resultBytes = 500000});
    EXPECT_EQ(thrownBy([&] { session.call("plus", {a, a}); }).id, "VELMAR:session:tooLarge");
    EXPECT_EQ(a.get("numerictype").get("WordLength").toDouble(), 16);
    session.setLimits({.resultBytes = kMebibyte});
    EXPECT_EQ(valuesOf(session.call("plus", {a, a})), Numbers(100000, 1.0));

    session.setLimits({});
    EXPECT_EQ(sizeOf(fi(row, long_)), (Numbers{1, 1000}));
}

TEST_F(SessionLimits, OfLoadsCatchWhatAFileMakesOfFewBytes) {
    constexpr std::size_t kCount = 20000;
    session.save(file, {{"x", fi(Value(Numbers(kCount, 0.5)),
                                 made("embedded.numerictype", {{"DataTypeMode", "Scaled double: binary point scaling"},
                                                               {"WordLength", 37}}))}});
    EXPECT_EQ(sizeOf(loaded()), (Numbers{1, kCount}));

    // The word length becomes the greatest one.
    const std::string text = readText(file);
    Bytes bytes(text.size());
    std::memcpy(bytes.data(), text.data(), text.size());
    const std::int32_t lengths[] = {37, 65535};
    int changed = 0;
    for (std::size_t i = hostref::kHeadingBytes; i + sizeof lengths[0] <= bytes.size(); ++i) {
        if (std::memcmp(bytes.data() + i, &lengths[0], sizeof lengths[0]) == 0) {
            std::memcpy(bytes.data() + i, &lengths[1], sizeof lengths[1]);
            ++changed;
        }
    }
    ASSERT_EQ(changed, 1);
    signHeaders(bytes);
    hostref::setHeading(bytes);
    writeText(file, std::string(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
    const Raised seen = loadError();
    EXPECT_EQ(seen.id, "VELMAR:load:tooLarge");
    EXPECT_NE(seen.message.find("raise loadBytes"), std::string::npos) << seen.message;
    session.setLimits({.resultBytes = kMebibyte});
    EXPECT_EQ(loadError().id, "VELMAR:session:tooLarge");
    // 20000 words of 8 KiB.
    session.setLimits({.loadBytes = 1000 * kMebibyte});
    EXPECT_EQ(loaded().get("WordLength").toDouble(), 65535);
}

TEST_F(SessionLimits, OfLoadsLeaveRoomForWhatIsUsual) {
    struct Row {
        const char* what;
        Value value;
    };
    const std::size_t count = 4 * kMebibyte;
    const Row rows[] = {
        {"words of one bit", fi(Value(Numbers(count, 1.0)), type(false, 1, 0))},
        {"words of 16 bits", fi(Value(Numbers(count, 0.25)), type(true, 16, 15))},
        {"words of 70 bits", fi(Value(Numbers(count / 8, 0.25)), type(true, 70, 60))},
        {"booleans", fi(Value(Numbers(count, 1.0)), type("Boolean"))},
        {"doubles", Value(Numbers(count / 8, 0.5))},
    };
    for (const Row& row : rows) {
        session.save(file, {{"x", row.value}});
        EXPECT_EQ(loadError().id, "") << row.what;
        session.setLimits({.loadBytes = 1});
        EXPECT_EQ(loadError().id, "VELMAR:load:tooLarge") << row.what;
        session.setLimits({});
    }
}

}  // namespace
