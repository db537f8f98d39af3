#include "examples/studies/write_beside.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <memory>
#include <system_error>

#include "examples/studies/StudyError.h"

namespace study {
namespace {

namespace fs = std::filesystem;

struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

/// Removes a file at its end; an empty path names none.
struct RemoveFile {
    RemoveFile() = default;
    RemoveFile(const RemoveFile&) = delete;
    RemoveFile& operator=(const RemoveFile&) = delete;
    ~RemoveFile() {
        std::error_code ignored;
        if (!path.empty()) {
            fs::remove(path, ignored);
        }
    }
    fs::path path;
};

[[noreturn]] void refuse(const std::string& path, const std::string& why) {
    throw StudyError(ExitCode::NotWritten, path + ": cannot be written: " + why);
}

/// A new file beside the one that it is to replace, open for writing; it is removed unless it is renamed.
class NewFile {
 public:
    explicit NewFile(const std::string& path) : mTarget(path) {
        if (path.empty()) {
            refuse(path, "the name is empty");
        }
        // A file that doesn't exist yet is no error, so these codes are ignored.
        std::error_code ignored;
        if (fs::is_symlink(mTarget, ignored)) {
            mTarget = fs::weakly_canonical(mTarget, ignored);
        }
        mOld = fs::status(mTarget, ignored);
        if (fs::is_directory(mOld)) {
            refuse(path, "it is a directory");
        }
        if (fs::exists(mOld) && !fs::is_regular_file(mOld)) {
            refuse(path, "it is not a regular file");
        }
        mBeside = mTarget;
        mBeside += ".new-" + std::to_string(getpid());
        file.reset(std::fopen(mBeside.c_str(), "wbx"));
        if (!file) {
            refuse(path, std::strerror(errno));
        }
        mCleanup.path = mBeside;
    }

    const fs::path& place() const { return mBeside; }
    std::error_code rename() const {
        std::error_code error;
        if (fs::exists(mOld)) {
            fs::permissions(mBeside, mOld.permissions(), error);
        }
        if (!error) {
            fs::rename(mBeside, mTarget, error);
        }
        return error;
    }

    File file;

 private:
    fs::path mTarget;
    fs::file_status mOld;
    fs::path mBeside;
    RemoveFile mCleanup;
};

}  // namespace

void requireWritable(const std::string& path) {
    const NewFile made(path);
}

void writeBeside(const std::string& path, const std::function<void(std::FILE*)>& write,
                 const std::function<void(std::FILE*)>& check) {
    NewFile made(path);
    write(made.file.get());
    const bool failed = std::ferror(made.file.get()) != 0;
    if (std::fclose(made.file.release()) != 0 || failed) {
        refuse(path, std::strerror(errno));
    }
    if (check) {
        const File written(std::fopen(made.place().c_str(), "rb"));
        if (!written) {
            refuse(path, std::strerror(errno));
        }
        check(written.get());
    }
    if (const std::error_code error = made.rename()) {
        refuse(path, error.message());
    }
}

void writeTextBeside(const std::string& path, const std::string& text) {
    writeBeside(path, [&text](std::FILE* file) { std::fwrite(text.data(), 1, text.size(), file); }, {});
}

}  // namespace study
