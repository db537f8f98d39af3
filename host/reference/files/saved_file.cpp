// The bytes of a saved file: its heading, and how a file is read and replaced as a whole.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <future>
#include <string_view>
#include <system_error>
#include <utility>

#include "host/ErrorIdException.h"
#include "host/reference/files/hdf5_check.h"
#include "host/reference/parts/opener.h"
#include "host/reference/saved_objects.h"

namespace hostref {

namespace {

constexpr std::string_view kBeginning = "Velmar saved objects\nsha256 ";

/// The heading that holds a digest; empty means that there is none.
std::string headingWith(const std::string& digest) {
    if (digest.empty()) {
        raiseError("VELMAR:save:failed", "The process offers no SHA-256.");
    }
    std::string heading = std::string(kBeginning) + digest + "\n";
    heading.resize(kHeadingBytes, '\n');
    return heading;
}

std::string headingOf(std::span<const std::byte> hdf5File) {
    return headingWith(parts::get<parts::Digests>().sha256(hdf5File));
}

/// The digest that another thread computes, if the file is so large that this takes longer than starting the thread.
std::future<std::string> digestBeside(std::span<const std::byte> hdf5File) {
    constexpr std::size_t kLarge = std::size_t{1} << 18;
    const parts::Digests& digests = parts::get<parts::Digests>();
    return std::async(hdf5File.size() >= kLarge ? std::launch::async | std::launch::deferred : std::launch::deferred,
                      digests.sha256, hdf5File);
}

class Descriptor {
 public:
    explicit Descriptor(int number) : mNumber(number) {}
    ~Descriptor() { close(); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(mNumber, other.mNumber);
        return *this;
    }
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

bool writeAll(int descriptor, std::span<const std::byte> bytes, std::size_t offset) {
    while (!bytes.empty()) {
        const ssize_t written = ::pwrite(descriptor, bytes.data(), bytes.size(), static_cast<off_t>(offset));
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            return false;
        }
        offset += static_cast<std::size_t>(written);
        bytes = bytes.subspan(static_cast<std::size_t>(written));
    }
    return true;
}

/// A new file under a temporary name beside its target, removed unless it takes the target's place.
class FileBeside {
 public:
    explicit FileBeside(std::filesystem::path target) : mTarget(std::move(target)) {}
    ~FileBeside() {
        if (!mName.empty()) {
            ::unlink(mName.c_str());
        }
    }
    FileBeside(const FileBeside&) = delete;
    FileBeside& operator=(const FileBeside&) = delete;
    // Each leaves the reason in errno if it fails.
    bool open() {
        std::string name = mTarget.string() + ".XXXXXX";
        mOpened = Descriptor(::mkostemp(name.data(), O_CLOEXEC));
        if (mOpened.get() >= 0) {
            mName = std::move(name);
        }
        return mOpened.get() >= 0;
    }
    int get() const { return mOpened.get(); }
    bool replaceTarget() {
        const bool isReplaced = mOpened.close() && ::rename(mName.c_str(), mTarget.c_str()) == 0;
        if (isReplaced) {
            mName.clear();
        }
        return isReplaced;
    }

 private:
    std::filesystem::path mTarget;
    std::string mName;
    Descriptor mOpened{-1};
};

/// Starts to write to the disk what was written to a file, where the system can.
void startSynchronising([[maybe_unused]] int descriptor) {
#if defined(__linux__)
    static_cast<void>(::sync_file_range(descriptor, 0, 0, SYNC_FILE_RANGE_WRITE));
#endif
}

/// Writes beside the file and renames, so that the name always refers to the old bytes or the new ones.
void replaceFile(const std::filesystem::path& file, std::span<const std::byte> hdf5File) {
    namespace fs = std::filesystem;
    std::error_code ignored;
    // A symbolic link keeps its target.
    const fs::path target = fs::is_symlink(file, ignored) ? fs::weakly_canonical(file, ignored) : file;
    const fs::file_status old = fs::status(target, ignored);
    if (fs::exists(old) && !fs::is_regular_file(old)) {
        raiseNotWritten(file, "it is no regular file");
    }
    std::future<std::string> digest = digestBeside(hdf5File);
    FileBeside beside(target);
    // As for a new file, or as the old one.
    const mode_t mask = ::umask(0);
    ::umask(mask);
    const mode_t mode = fs::exists(old) ? static_cast<mode_t>(old.permissions()) & 0777U : 0666U & ~mask;
    if (!beside.open() || ::fchmod(beside.get(), mode) != 0 || !writeAll(beside.get(), hdf5File, kHeadingBytes)) {
        raiseNotWritten(file, std::strerror(errno));
    }
    startSynchronising(beside.get());
    const std::string heading = headingWith(digest.get());
    if (!writeAll(beside.get(), std::as_bytes(std::span(heading)), 0) || ::fsync(beside.get()) != 0 ||
        !beside.replaceTarget()) {
        raiseNotWritten(file, std::strerror(errno));
    }
    // The new name is safe once its folder is; a folder that can't be synchronised leaves the old file or the new one.
    const fs::path folder = target.has_parent_path() ? target.parent_path() : fs::path(".");
    const Descriptor openedFolder(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (openedFolder.get() >= 0) {
        ::fsync(openedFolder.get());
    }
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

FileBytes readFile(const std::filesystem::path& file) {
    // Without waiting for a writer if this is a pipe.
    const Descriptor opened(::open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat status = {};
    if (opened.get() < 0 || ::fstat(opened.get(), &status) != 0) {
        raiseNotRead(file, std::strerror(errno));
    }
    if (!S_ISREG(status.st_mode)) {
        raiseNotRead(file, "it is no regular file");
    }
    FileBytes bytes(static_cast<std::size_t>(status.st_size));
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

void saveFile(const std::filesystem::path& file, std::span<const Variable> variables) {
    const FileBytes bytes = parts::get<parts::Files>().savedBytes(variables);
    replaceFile(file, std::span(bytes).subspan(kHeadingBytes));
}

std::vector<std::byte> savedBytes(std::span<const Variable> variables) {
    const FileBytes saved = parts::get<parts::Files>().savedBytes(variables);
    std::vector<std::byte> bytes(saved.begin(), saved.end());
    setHeading(bytes);
    return bytes;
}

std::vector<Variable> loadedVariables(std::span<const std::byte> bytes, SharedState shared,
                                      const std::optional<std::string>& name) {
    return parts::get<parts::Files>().loadedVariables(bytes, shared, name);
}

std::vector<std::string> namesIn(std::span<const std::byte> bytes) {
    return parts::get<parts::Files>().namesIn(bytes);
}

}  // namespace hostref
