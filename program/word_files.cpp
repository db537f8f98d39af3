#include "program/word_files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <istream>
#include <iterator>
#include <memory>
#include <ostream>
#include <utility>

#include "program/word_codecs.h"

namespace tolvane {

namespace {

using detail::SourceText;
using detail::TextSink;

[[noreturn]] void refuseFile(const std::string& path, const char* what, int code) {
    throw error("tolvane:words:file", "\"" + path + "\" can't be " + what + ": " + std::strerror(code) + ".");
}

/// An open file.
class OpenFile {
 public:
    explicit OpenFile(int descriptor) : mDescriptor(descriptor) {}
    ~OpenFile() { close(); }
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;
    int descriptor() const { return mDescriptor; }
    bool isOpen() const { return mDescriptor >= 0; }
    bool write(std::string_view text) {
        while (!text.empty()) {
            const ssize_t done = ::write(mDescriptor, text.data(), text.size());
            if (done < 0 && errno != EINTR) {
                return false;
            }
            text.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(done, 0)));
        }
        return true;
    }
    bool close() {
        const int open = std::exchange(mDescriptor, -1);
        return open < 0 || ::close(open) == 0;
    }

 private:
    int mDescriptor;
};

/// A file that takes the place of another one when it is complete, and otherwise vanishes. What isn't a file but a
/// device or a pipe is written to directly.
class Replacement {
 public:
    explicit Replacement(const std::string& path) : mPath(path), mTarget(path) {
        struct stat old {};
        const bool exists = ::stat(path.c_str(), &old) == 0;
        if (exists && !S_ISREG(old.st_mode)) {
            mFile = std::make_unique<OpenFile>(::open(path.c_str(), O_WRONLY | O_CLOEXEC));
        } else {
            // A link stays one.
            const std::unique_ptr<char, void (*)(void*)> real(::realpath(path.c_str(), nullptr), &std::free);
            mTarget = real ? std::string(real.get()) : path;
            constexpr int kTries = 100;
            for (int i = 0; i < kTries && (!mFile || (!mFile->isOpen() && errno == EEXIST)); ++i) {
                mBeside = mTarget + "." + std::to_string(::getpid()) + "-" + std::to_string(i) + ".new";
                mFile = std::make_unique<OpenFile>(::open(mBeside.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC,
                                                          S_IRUSR | S_IWUSR | S_IRGRP | S_IWGRP | S_IROTH | S_IWOTH));
            }
        }
        if (!mFile->isOpen()) {
            const int code = errno;
            mBeside.clear();
            refuseFile(mPath, "written", code);
        }
        if (exists && !mBeside.empty()) {
            // The permissions of the old file; a file system that has none is no reason to fail.
            (void)::fchmod(mFile->descriptor(), old.st_mode & (S_IRWXU | S_IRWXG | S_IRWXO));
        }
    }
    ~Replacement() {
        if (!mBeside.empty()) {
            ::unlink(mBeside.c_str());
        }
    }
    Replacement(const Replacement&) = delete;
    Replacement& operator=(const Replacement&) = delete;

    void write(std::string_view text) {
        if (!mFile->write(text)) {
            refuseFile(mPath, "written", errno);
        }
    }
    void finish() {
        if (!mFile->close() || (!mBeside.empty() && ::rename(mBeside.c_str(), mTarget.c_str()) != 0)) {
            refuseFile(mPath, "written", errno);
        }
        mBeside.clear();
    }

 private:
    std::string mPath;
    std::string mTarget;
    std::string mBeside;  // empty if there is nothing to remove
    std::unique_ptr<OpenFile> mFile;
};

std::string contentsOf(const std::string& path) {
    OpenFile file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!file.isOpen()) {
        refuseFile(path, "read", errno);
    }
    std::string text;
    struct stat state {};
    std::size_t used = 0;
    constexpr std::size_t kPiece = 1 << 16;
    if (::fstat(file.descriptor(), &state) == 0 && state.st_size > 0) {
        text.resize(static_cast<std::size_t>(state.st_size) + 1);  // and the read that finds the end
    }
    for (;;) {
        if (used == text.size()) {
            text.resize(std::max(2 * text.size(), kPiece));
        }
        const ssize_t got = ::read(file.descriptor(), text.data() + used, text.size() - used);
        if (got == 0) {
            break;
        }
        if (got < 0 && errno != EINTR) {
            refuseFile(path, "read", errno);
        }
        used += static_cast<std::size_t>(std::max<ssize_t>(got, 0));
    }
    text.resize(used);
    return text;
}

word_options withStyle(const word_options& options, std::string_view path) {
    word_options chosen = options;
    if (!chosen.style) {
        const auto ends = [&](std::string_view ending) { return path.ends_with(ending); };
        chosen.style = ends(".h")                      ? word_style::c_header
                       : ends(".csv")                  ? word_style::csv
                       : ends(".bin") || ends(".memb") ? word_style::memory_bin
                                                       : word_style::memory_hex;
    }
    return chosen;
}

/// A name of C for a path: its last part without the ending.
std::string nameOf(const std::string& path) {
    std::string name = std::filesystem::path(path).stem().string();
    std::ranges::replace_if(
        name, [](unsigned char c) { return c > 127 || std::isalnum(c) == 0; }, '_');
    const bool isName = !name.empty() && std::isalpha(static_cast<unsigned char>(name.front())) != 0;
    return isName ? name : word_options().name + "_" + name;
}

/// `guard` is for a C header of several arrays.
void writeTo(std::span<const fixed_array> arrays, const word_options& options, const std::string& guard,
             TextSink& sink) {
    if (arrays.empty()) {
        throw error("tolvane:words:arrays", "There are no arrays to write.");
    }
    switch (options.style.value_or(word_style::memory_hex)) {
        case word_style::memory_hex:
            writeMemory(arrays, options, 4, sink);
            break;
        case word_style::memory_bin:
            writeMemory(arrays, options, 1, sink);
            break;
        case word_style::c_header:
            writeHeader(arrays, options, guard, sink);
            break;
        case word_style::csv:
            writeTable(arrays, options, sink);
            break;
    }
    sink.flush();
}

std::vector<fixed_array> readFrom(SourceText source, std::span<const word_signal> signals,
                                  const word_options& options) {
    if (signals.empty()) {
        throw error("tolvane:words:arrays", "There are no signals to read.");
    }
    constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
    if (source.text.starts_with(kByteOrderMark)) {
        source.text.remove_prefix(kByteOrderMark.size());
    }
    switch (options.style.value_or(word_style::memory_hex)) {
        case word_style::memory_bin:
            return readMemory(source, signals, options, 1);
        case word_style::c_header:
            return readHeader(source, signals);
        case word_style::csv:
            return readTable(source, signals);
        default:
            return readMemory(source, signals, options, 4);
    }
}

}  // namespace

void write_words(const std::string& path, const std::vector<fixed_array>& arrays, const word_options& options) {
    // It is opened with the first piece, which comes after all that may be wrong with the arrays.
    std::unique_ptr<Replacement> file;
    TextSink sink([&](std::string_view text) {
        if (!file) {
            file = std::make_unique<Replacement>(path);
        }
        file->write(text);
    });
    writeTo(arrays, withStyle(options, path), options.name == word_options().name ? nameOf(path) : options.name, sink);
    file->finish();
}

void write_words(const std::string& path, const fixed_array& array, const word_options& options) {
    write_words(path, std::vector<fixed_array>{array}, options);
}

void write_words(std::ostream& out, const std::vector<fixed_array>& arrays, const word_options& options) {
    TextSink sink([&](std::string_view text) {
        out.write(text.data(), static_cast<std::streamsize>(text.size()));
        if (!out) {
            throw error("tolvane:words:file", "The stream takes no more text.");
        }
    });
    writeTo(arrays, options, options.name, sink);
}

void write_words(std::ostream& out, const fixed_array& array, const word_options& options) {
    write_words(out, std::vector<fixed_array>{array}, options);
}

std::string words_text(const std::vector<fixed_array>& arrays, const word_options& options) {
    std::string all;
    if (!arrays.empty()) {
        // As many digits as a memory has, or fewer in others, and what parts them.
        const auto style = options.style.value_or(word_style::memory_hex);
        int bits = 0;
        for (const fixed_array& array : arrays) {
            bits += array.type().bits * (array.is_complex() ? 2 : 1);
        }
        const int digitBits = style == word_style::memory_bin ? 1 : style == word_style::memory_hex ? 4 : 2;
        all.reserve(arrays.front().size() * (detail::digitsOf(bits, digitBits) + 1));
    }
    TextSink sink([&](std::string_view text) { all += text; });
    writeTo(arrays, options, options.name, sink);
    return all;
}

std::string words_text(const fixed_array& array, const word_options& options) {
    return words_text(std::vector<fixed_array>{array}, options);
}

std::vector<fixed_array> read_words(const std::string& path, const std::vector<word_signal>& signals,
                                    const word_options& options) {
    const std::string text = contentsOf(path);
    return readFrom({text, path}, signals, withStyle(options, path));
}

std::vector<fixed_array> read_words(std::istream& in, const std::vector<word_signal>& signals,
                                    const word_options& options) {
    std::string text;
    constexpr std::size_t kPiece = 1 << 16;
    std::vector<char> piece(kPiece);
    while (in) {
        in.read(piece.data(), static_cast<std::streamsize>(piece.size()));
        text.append(piece.data(), static_cast<std::size_t>(in.gcount()));
    }
    if (in.bad() || text.empty()) {
        if (in.bad() || !in.eof()) {
            throw error("tolvane:words:file", "The stream can't be read.");
        }
    }
    return readFrom({text, {}}, signals, options);
}

std::vector<fixed_array> words_from_text(std::string_view text, const std::vector<word_signal>& signals,
                                         const word_options& options) {
    return readFrom({text, {}}, signals, options);
}

// What the styles share.

namespace detail {

void SourceText::refuse(const char* at, const std::string& why, const char* id) const {
    const std::string_view before(begin(), static_cast<std::size_t>(at - begin()));
    const std::string line = std::to_string(std::ranges::count(before, '\n') + 1);
    const std::size_t lineBegin = before.rfind('\n') + 1;  // 0 if there is none
    const std::string column = std::to_string(before.size() - lineBegin + 1);
    throw error(id,
                (file.empty() ? "Line " + line + ", column " + column : file + ":" + line + ":" + column) + ": " + why);
}

const char* SourceText::skipComment(const char* slash) const {
    const char* const next = slash + 1;
    const std::string_view rest(slash, static_cast<std::size_t>(end() - slash));
    if (next != end() && *next == '/') {
        return std::find(next, end(), '\n');
    }
    if (next == end() || *next != '*') {
        refuse(slash, "A single \"/\" begins no comment.");
    }
    const std::size_t close = rest.find("*/", 2);
    if (close == std::string_view::npos) {
        refuse(slash, "This comment has no end.");
    }
    return slash + close + 2;
}

std::string_view SourceText::wordAt(const char* at) const {
    const char* const stop = std::find_if(at, end(), [](char c) {
        return kindOf(c) == kSpace || c == ',' || c == ';' || c == '/' || c == '@' || c == '}';
    });
    return {at, static_cast<std::size_t>(stop - at)};
}

std::vector<std::string> namesOf(std::span<const fixed_array> arrays, const word_options& options) {
    std::vector<std::string> names;
    for (const fixed_array& array : arrays) {
        const std::string numbered =
            arrays.size() == 1 ? options.name : options.name + "_" + std::to_string(names.size());
        const std::string& name = array.name().empty() ? numbered : array.name();
        if (std::ranges::find(names, name) != names.end()) {
            throw error("tolvane:words:name", "Two arrays have the name \"" + name + "\"; named() gives another one.");
        }
        names.push_back(name);
    }
    return names;
}

std::string asComments(std::string_view text) {
    std::string lines;
    while (!text.empty()) {
        const std::size_t size = std::min(text.find('\n'), text.size());
        std::string line(text.substr(0, size));
        text.remove_prefix(std::min(size + 1, text.size()));
        std::ranges::replace_if(
            line, [](char c) { return static_cast<unsigned char>(c) < ' '; }, ' ');
        // A backslash would make the next line a comment, too.
        lines += "// " + line + (line.ends_with('\\') ? ".\n" : "\n");
    }
    return lines;
}

std::string describe(std::span<const fixed_array> arrays, const word_options& options) {
    std::string text = asComments(options.comment);
    for (std::size_t i = 0; options.describe && i < arrays.size(); ++i) {
        std::string name = arrays[i].name();
        std::ranges::replace(name, '\n', ' ');
        text += asComments((name.empty() ? "" : name + ": ") + arrays[i].type().text() +
                           (arrays[i].is_complex() ? " complex, {imag, real}" : ""));
    }
    return text;
}

}  // namespace detail

}  // namespace tolvane
