// The bytes of a saved file: its heading, and how a file is read and replaced as a whole.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string_view>
#include <system_error>

#include "host/ErrorIdException.h"
#include "host/reference/files/hdf5_check.h"
#include "host/reference/parts/opener.h"
#include "host/reference/saved_objects.h"

namespace hostref {

namespace {

constexpr std::string_view kBeginning = "Velmar saved objects\nsha256 ";

std::string digestOf(std::span<const std::byte> bytes) {
    std::string digest = parts::get<parts::Digests>().sha256(bytes);
    if (digest.empty()) {
        raiseError("VELMAR:save:failed", "The process offers no SHA-256.");
    }
    return digest;
}

std::string headingOf(std::span<const std::byte> hdf5File) {
    std::string heading = std::string(kBeginning) + digestOf(hdf5File) + "\n";
    heading.resize(kHeadingBytes, '\n');
    return heading;
}

class Descriptor {
 public:
    explicit Descriptor(int number) : mNumber(number) {}
    ~Descriptor() { close(); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int get() const { return mNumber; }
    bool close() { return mNumber < 0 || ::close(std::exchange(mNumber, -1)) == 0; }

 private:
    int mNumber;
};

[[noreturn]] void raiseFor(const char* id, const std::filesystem::path& file, const std::string& what) {
    raiseError(id, "'" + file.string() + "' " + what);
}

[[noreturn]] void raiseNotWritten(const std::filesystem::path& file, const std::string& why) {
    raiseFor("VELMAR:save:notWritten", file, "can't be written: " + why + ".");
}

[[noreturn]] void raiseNotRead(const std::filesystem::path& file, const std::string& why) {
    raiseFor("VELMAR:load:notRead", file, "can't be read: " + why + ".");
}

bool writeAll(int descriptor, std::span<const std::byte> bytes) {
    while (!bytes.empty()) {
        const ssize_t written = ::write(descriptor, bytes.data(), bytes.size());
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            return false;
        }
        bytes = bytes.subspan(static_cast<std::size_t>(written));
    }
    return true;
}

}  // namespace

void setHeading(std::span<std::byte> bytes) {
    const std::string heading = headingOf(bytes.subspan(kHeadingBytes));
    std::memcpy(bytes.data(), heading.data(), heading.size());
}

std::span<const std::byte> behindHeading(std::span<const std::byte> bytes) {
    const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    if (!text.starts_with(kBeginning)) {
        raiseError("VELMAR:load:foreign", "The file holds no saved objects.");
    }
    const auto rest = bytes.subspan(std::min(kHeadingBytes, bytes.size()));
    if (text.substr(0, kHeadingBytes) != headingOf(rest)) {
        raiseDamaged("its contents aren't those that were saved");
    }
    return rest;
}

std::vector<std::byte> readFile(const std::filesystem::path& file) {
    // Without waiting for a writer if this is a pipe.
    const Descriptor opened(::open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat status = {};
    if (opened.get() < 0 || ::fstat(opened.get(), &status) != 0) {
        raiseNotRead(file, std::strerror(errno));
    }
    if (!S_ISREG(status.st_mode)) {
        raiseNotRead(file, "it is no regular file");
    }
    std::vector<std::byte> bytes(static_cast<std::size_t>(status.st_size));
    std::size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t count = ::read(opened.get(), bytes.data() + done, bytes.size() - done);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            raiseNotRead(file, std::strerror(errno));
        }
        if (count == 0) {
            break;
        }
        done += static_cast<std::size_t>(count);
    }
    bytes.resize(done);
    return bytes;
}

void replaceFile(const std::filesystem::path& file, std::span<const std::byte> bytes) {
    namespace fs = std::filesystem;
    std::error_code ignored;
    // A symbolic link keeps its target.
    const fs::path target = fs::is_symlink(file, ignored) ? fs::weakly_canonical(file, ignored) : file;
    const fs::file_status old = fs::status(target, ignored);
    if (fs::exists(old) && !fs::is_regular_file(old)) {
        raiseNotWritten(file, "it is no regular file");
    }
    std::string beside = target.string() + ".XXXXXX";
    Descriptor opened(::mkostemp(beside.data(), O_CLOEXEC));
    if (opened.get() < 0) {
        raiseNotWritten(file, std::strerror(errno));
    }
    // As for a new file, or as the old one.
    const mode_t mask = ::umask(0);
    ::umask(mask);
    const mode_t mode = fs::exists(old) ? static_cast<mode_t>(old.permissions()) & 0777U : 0666U & ~mask;
    const bool isThere = ::fchmod(opened.get(), mode) == 0 && writeAll(opened.get(), bytes) &&
                         ::fsync(opened.get()) == 0 && opened.close() && ::rename(beside.c_str(), target.c_str()) == 0;
    if (!isThere) {
        const std::string why = std::strerror(errno);
        ::unlink(beside.c_str());
        raiseNotWritten(file, why);
    }
    // The new name is safe once its folder is; a folder that can't be synchronised leaves the old file or the new one.
    const fs::path folder = target.has_parent_path() ? target.parent_path() : fs::path(".");
    const Descriptor openedFolder(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (openedFolder.get() >= 0) {
        ::fsync(openedFolder.get());
    }
}

std::vector<std::byte> savedBytes(std::span<const Variable> variables) {
    return parts::get<parts::Files>().savedBytes(variables);
}

std::vector<Variable> loadedVariables(std::span<const std::byte> bytes, SharedState shared,
                                      const std::optional<std::string>& name) {
    return parts::get<parts::Files>().loadedVariables(bytes, shared, name);
}

std::vector<std::string> namesIn(std::span<const std::byte> bytes) {
    return parts::get<parts::Files>().namesIn(bytes);
}

}  // namespace hostref
