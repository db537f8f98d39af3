// Files that appear complete or not at all, words that are compared after they were written, and sounds.
#include "examples/word_length_study/word_file.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <memory>

#include "examples/studies/Recording.h"
#include "examples/studies/StudyError.h"
#include "examples/studies/write_beside.h"
#include "tests/examples/sounds.h"

using namespace study;

namespace {

struct Failure {
    ExitCode code = ExitCode::Done;
    std::string message;
};

template <class Action>
Failure failureOf(Action&& action) {
    try {
        action();
    } catch (const StudyError& error) {
        return {error.code(), error.what()};
    }
    return {};
}

void nothing(std::FILE*) {}

}  // namespace

TEST(WriteBeside, ReplacesAFileOnceItIsComplete) {
    const TemporaryFolder folder;
    const std::string path = folder.file("a");
    writeText(path, "old");
    std::filesystem::permissions(path, std::filesystem::perms(0640));
    std::string seen;
    writeBeside(
        path,
        [&](std::FILE* file) {
            std::fputs("new", file);
            EXPECT_EQ(readText(path), "old");
        },
        [&](std::FILE* file) {
            for (int c = std::fgetc(file); c != EOF; c = std::fgetc(file)) {
                seen += static_cast<char>(c);
            }
            EXPECT_EQ(readText(path), "old");
        });
    EXPECT_EQ(seen, "new");
    EXPECT_EQ(readText(path), "new");
    EXPECT_EQ(std::filesystem::status(path).permissions(), std::filesystem::perms(0640));
    EXPECT_EQ(folder.entryCount(), 1U);
}

TEST(WriteBeside, KeepsTheOldFileWhenWritingOrCheckingFails) {
    const TemporaryFolder folder;
    const std::string path = folder.file("a");
    writeText(path, "old");
    const auto fail = [](std::FILE*) { throw StudyError(ExitCode::WordsDiffer, "no"); };
    EXPECT_EQ(failureOf([&] { writeBeside(path, fail, {}); }).code, ExitCode::WordsDiffer);
    EXPECT_EQ(failureOf([&] { writeBeside(path, nothing, fail); }).code, ExitCode::WordsDiffer);
    EXPECT_EQ(failureOf([] { writeBeside("", nothing, {}); }).message, ": cannot be written: the name is empty");
    EXPECT_EQ(readText(path), "old");
    EXPECT_EQ(folder.entryCount(), 1U);
}

TEST(WriteBeside, FollowsALinkToTheFileItNames) {
    const TemporaryFolder folder;
    writeText(folder.file("real"), "old");
    std::filesystem::create_symlink("real", folder.file("link"));
    writeBeside(folder.file("link"), [](std::FILE* file) { std::fputs("new", file); }, {});
    EXPECT_TRUE(std::filesystem::is_symlink(folder.file("link")));
    EXPECT_EQ(readText(folder.file("real")), "new");
}

TEST(CompareWords, FindsEveryKindOfDifference) {
    const TemporaryFolder folder;
    const std::vector<double> samples = {0.5, -1.0, 0.25};
    const Format format{Kind::Signed, 10, 9};
    const std::pair<const char*, const char*> cases[] = {
        {"100\n200\n080\n", ""},
        {"100\n200\n081\n", "word 2 (counted from 0) was read back as 081, but sample 0.25 stores 080"},
        {"100\n600\n080\n", "word 1"},  // a bit above the word
        {"100\n200\n", "word 2 (counted from 0) was read back as something that is no word"},
        {"100\n200\n080", "word 2"},
        {"100\n200\n80\n", "word 2"},
        {"100\n2000\n080\n", "word 1"},
        {"10G\n200\n080\n", "word 0"},
        {"100\n200\n080\n000\n", "word 3 (counted from 0) was read back as one too many"},
    };
    for (const auto& [text, reason] : cases) {
        writeText(folder.file("w"), text);
        const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(folder.file("w").c_str(), "rb"),
                                                                   std::fclose);
        ASSERT_TRUE(file);
        const Failure failure = failureOf([&] { compareWords(file.get(), "w", samples, format); });
        EXPECT_EQ(failure.code, *reason == '\0' ? ExitCode::Done : ExitCode::WordsDiffer) << text;
        EXPECT_NE(failure.message.find(reason), std::string::npos) << failure.message;
    }
}

TEST(SoundFile, TakesTheShortestEncodingThatLosesNothing) {
    const TemporaryFolder folder;
    const std::string path = folder.file("a.wav");
    const struct {
        std::vector<double> values;
        int subtype;
        const char* why;
    } rows[] = {
        {{0.0, -1.0, 0x7fffp-15}, SF_FORMAT_PCM_16, "both ends of 16 bits"},
        {{0x1p-16}, SF_FORMAT_PCM_24, "one bit below"},
        {{-1.0, 0x7fffffp-23}, SF_FORMAT_PCM_24, "both ends of 24 bits"},
        {{0x1p-24, -0x7fffffffp-31}, SF_FORMAT_PCM_32, "32 bits"},
        {{1.0}, SF_FORMAT_DOUBLE, "full scale itself"},
        {{0x1p-32}, SF_FORMAT_DOUBLE, "finer than 32 bits"},
        {{-1.5, 0x1p-52}, SF_FORMAT_DOUBLE, "beyond full scale"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.why);
        study::writeSound(path, row.values, 44100);
        SF_INFO info{};
        SNDFILE* const file = sf_open(path.c_str(), SFM_READ, &info);
        ASSERT_NE(file, nullptr);
        std::vector<double> read(row.values.size());
        EXPECT_EQ(sf_read_double(file, read.data(), static_cast<sf_count_t>(read.size())), info.frames);
        sf_close(file);
        EXPECT_EQ(read, row.values);
        EXPECT_EQ(info.format, SF_FORMAT_WAV | row.subtype);
        EXPECT_EQ(info.samplerate, 44100);
        EXPECT_EQ(info.channels, 1);
    }
    EXPECT_EQ(folder.entryCount(), 1U);
}
