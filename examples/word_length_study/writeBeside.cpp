#include "examples/word_length_study/writeBeside.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <memory>
#include <system_error>

#include "examples/word_length_study/StudyError.h"

namespace study {
namespace {

namespace fs = std::filesystem;

struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

struct RemoveFile {
    fs::path path;
    ~RemoveFile() {
        std::error_code ignored;
        fs::remove(path, ignored);
    }
};

}  // namespace

void writeBeside(const std::string& path, const std::function<void(std::FILE*)>& write,
                 const std::function<void(std::FILE*)>& check) {
    const auto refuse = [&path](const std::string& why) {
        throw StudyError(ExitCode::NotWritten, path + ": cannot be written: " + why);
    };
    if (path.empty()) refuse("the name is empty");
    // A file that isn't there yet is no error, so these codes tell nothing.
    std::error_code ignored;
    fs::path target = path;
    if (fs::is_symlink(target, ignored)) target = fs::weakly_canonical(target, ignored);
    const auto old = fs::status(target, ignored);
    if (fs::is_directory(old)) refuse("it is a directory");
    if (fs::exists(old) && !fs::is_regular_file(old)) refuse("it is not a regular file");

    fs::path beside = target;
    beside += ".new-" + std::to_string(getpid());
    File file(std::fopen(beside.c_str(), "wbx"));
    if (!file) refuse(std::strerror(errno));
    const RemoveFile cleanup{beside};
    write(file.get());
    const bool failed = std::ferror(file.get()) != 0;
    if (std::fclose(file.release()) != 0 || failed) refuse(std::strerror(errno));
    if (check) {
        const File written(std::fopen(beside.c_str(), "rb"));
        if (!written) refuse(std::strerror(errno));
        check(written.get());
    }
    std::error_code error;
    if (fs::exists(old)) fs::permissions(beside, old.permissions(), error);
    if (!error) fs::rename(beside, target, error);
    if (error) refuse(error.message());
}

}  // namespace study
