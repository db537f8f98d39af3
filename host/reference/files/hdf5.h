// HDF5 for saving and loading: owners of its identifiers, and the representation of array elements and of the marks of
// a file. Only saving.cpp and loading.cpp include this.
#pragma once

#include <hdf5.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <new>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "host/hv.h"
#include "host/reference/file_bytes.h"
#include "host/reference/saved_objects.h"

namespace hostref::parts {

/// As in saved_objects.h, but with room for the heading instead of it.
FileBytes savedBytes(std::span<const Variable> variables);

}  // namespace hostref::parts

namespace hostref::hdf5 {

/// Owns an identifier that a function of the library closes; a negative one means a failed call.
template <herr_t (*close)(hid_t)>
class Owned {
 public:
    Owned() = default;
    explicit Owned(hid_t id) : mId(id) {}
    Owned(Owned&& other) noexcept : mId(std::exchange(other.mId, H5I_INVALID_HID)) {}
    Owned& operator=(Owned other) noexcept {
        std::swap(mId, other.mId);
        return *this;
    }
    ~Owned() {
        if (mId >= 0) {
            close(mId);
        }
    }
    hid_t get() const { return mId; }

 private:
    hid_t mId = H5I_INVALID_HID;
};

using File = Owned<H5Fclose>;
using Object = Owned<H5Oclose>;  // a group or a dataset
using Space = Owned<H5Sclose>;
using Type = Owned<H5Tclose>;
using Attribute = Owned<H5Aclose>;
using Properties = Owned<H5Pclose>;

/// Whether the last call failed because it found no memory.
inline bool lacksMemory() {
    bool lacks = false;
    const auto look = [](unsigned /*depth*/, const H5E_error2_t* error, void* found) -> herr_t {
        if (error->maj_num == H5E_RESOURCE || error->min_num == H5E_NOSPACE || error->min_num == H5E_CANTALLOC) {
            *static_cast<bool*>(found) = true;
        }
        return 0;
    };
    H5Ewalk2(H5E_DEFAULT, H5E_WALK_UPWARD, look, &lacks);
    return lacks;
}

/// Finds out whether there is memory for work with variables or a file of so many bytes. The library can't be relied on
/// to survive a lack of it, so it isn't entered without.
inline void requireMemory(std::size_t bytes) {
    // What the library takes when it starts, and for each byte that is written or read.
    constexpr std::size_t kForItself = std::size_t{4} << 20U;
    constexpr std::size_t kForEachByte = 4;
    void* const memory = std::malloc(kForItself + kForEachByte * bytes);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    std::free(memory);
}

/// During its lifetime the library prints no errors (the caller reports them itself) and loads no external code. Its
/// destructor restores the settings of the process. If an error for lack of memory leaves, the library is closed and
/// opened again, unless the process uses it for files of its own.
class Quiet {
 public:
    Quiet() {
        if (H5open() < 0) {
            throw std::bad_alloc();
        }
        H5Eget_auto2(H5E_DEFAULT, &mPrint, &mPrintData);
        H5Eset_auto2(H5E_DEFAULT, nullptr, nullptr);
        H5PLget_loading_state(&mPlugins);
        H5PLset_loading_state(0);
    }
    ~Quiet() {
        if (std::uncaught_exceptions() > mExceptions && lacksMemory() &&
            H5Fget_obj_count(static_cast<hid_t>(H5F_OBJ_ALL), H5F_OBJ_ALL) == 0) {
            H5close();
            H5open();
        }
        H5PLset_loading_state(mPlugins);
        H5Eset_auto2(H5E_DEFAULT, mPrint, mPrintData);
    }
    Quiet(const Quiet&) = delete;
    Quiet& operator=(const Quiet&) = delete;

 private:
    H5E_auto2_t mPrint = nullptr;
    void* mPrintData = nullptr;
    unsigned mPlugins = 0;
    int mExceptions = std::uncaught_exceptions();
};

/// A file in memory outside the library's own: through its callbacks the library works in these bytes, after the
/// heading, without copying them.
class Image {
 public:
    /// Takes the bytes of a file to read, or none for one to write.
    explicit Image(std::span<const std::byte> hdf5File = {}) : mRead(hdf5File) {}
    Image(const Image&) = delete;
    Image& operator=(const Image&) = delete;

    /// Redirects file access to the bytes; returns whether that succeeded.
    bool attachTo(hid_t accessSettings) {
        H5FD_file_image_callbacks_t callbacks = {};
        callbacks.image_malloc = [](std::size_t, H5FD_file_image_op_t, void* image) { return of(image).readable(); };
        callbacks.image_memcpy = [](void* target, const void*, std::size_t, H5FD_file_image_op_t, void*) {
            return target;
        };
        callbacks.image_realloc = [](void*, std::size_t size, H5FD_file_image_op_t, void* image) {
            return of(image).resized(size);
        };
        callbacks.image_free = [](void*, H5FD_file_image_op_t, void*) -> herr_t { return 0; };
        callbacks.udata_copy = [](void* image) { return image; };
        callbacks.udata_free = [](void*) -> herr_t { return 0; };
        callbacks.udata = this;
        constexpr std::size_t kStep = 65536;
        return H5Pset_fapl_core(accessSettings, kStep, false) >= 0 &&
               H5Pset_file_image_callbacks(accessSettings, &callbacks) >= 0 &&
               (mRead.empty() || H5Pset_file_image(accessSettings, readable(), mRead.size()) >= 0);
    }

    /// The written bytes, with room for the heading, once the file is closed.
    FileBytes take() {
        // The superblock holds the end of the file; the bytes extend to the next step.
        constexpr std::size_t kEndAt = 28;
        std::uint64_t end = 0;
        std::memcpy(&end, mWritten.data() + kHeadingBytes + kEndAt, sizeof end);
        mWritten.resize(kHeadingBytes + end);
        return std::move(mWritten);
    }

 private:
    static Image& of(void* image) { return *static_cast<Image*>(image); }
    /// The library takes the bytes to read as non-const.
    void* readable() const { return const_cast<std::byte*>(mRead.data()); }
    void* resized(std::size_t size) {
        if (!mRead.empty()) {
            return nullptr;
        }
        try {
            mWritten.resize(kHeadingBytes + size, std::byte{});
            return mWritten.data() + kHeadingBytes;
        } catch (const std::exception&) {
            H5Epush2(H5E_DEFAULT, __FILE__, __func__, __LINE__, H5E_ERR_CLS, H5E_RESOURCE, H5E_NOSPACE, "no memory");
            return nullptr;
        }
    }

    std::span<const std::byte> mRead;
    FileBytes mWritten;
};

/// The representation of elements in the file and in memory.
struct ElementType {
    hid_t inFile;
    hid_t inMemory;
};

/// Returns the types of the elements of a class with plain data; logical elements are bytes, characters UTF-16 units.
inline ElementType elementType(hvClassID classId) {
    switch (classId) {
        case hvDOUBLE_CLASS:
            return {H5T_IEEE_F64LE, H5T_NATIVE_DOUBLE};
        case hvSINGLE_CLASS:
            return {H5T_IEEE_F32LE, H5T_NATIVE_FLOAT};
        case hvINT8_CLASS:
            return {H5T_STD_I8LE, H5T_NATIVE_INT8};
        case hvLOGICAL_CLASS:
        case hvUINT8_CLASS:
            return {H5T_STD_U8LE, H5T_NATIVE_UINT8};
        case hvINT16_CLASS:
            return {H5T_STD_I16LE, H5T_NATIVE_INT16};
        case hvCHAR_CLASS:
        case hvUINT16_CLASS:
            return {H5T_STD_U16LE, H5T_NATIVE_UINT16};
        case hvINT32_CLASS:
            return {H5T_STD_I32LE, H5T_NATIVE_INT32};
        case hvUINT32_CLASS:
            return {H5T_STD_U32LE, H5T_NATIVE_UINT32};
        case hvINT64_CLASS:
            return {H5T_STD_I64LE, H5T_NATIVE_INT64};
        case hvUINT64_CLASS:
            return {H5T_STD_U64LE, H5T_NATIVE_UINT64};
        default:
            return {H5I_INVALID_HID, H5I_INVALID_HID};
    }
}

// The marks of a file.
inline constexpr const char* kFormat = "format";          // of the root: version of the layout
inline constexpr const char* kClass = "class";            // of everything whose type doesn't tell it
inline constexpr const char* kVersion = "version";        // of an object: version of the form of its properties
inline constexpr const char* kDimensions = "dimensions";  // of cells and structs
inline constexpr const char* kNull = "null";              // class of an element that was never set
inline constexpr const char* kReal = "real";              // the parts of a complex array
inline constexpr const char* kImaginary = "imaginary";
inline constexpr int kFormatVersion = 1;
inline constexpr int kObjectVersion = 1;
/// Cells, structs and objects within one another.
inline constexpr int kDeepest = 200;
inline constexpr std::size_t kMostDimensions = H5S_MAX_RANK;
/// A char row that is a text of at most this many bytes is written as text.
inline constexpr std::size_t kLongestText = 65536;

/// Elements of a cell array in one group: one link each if they are few, otherwise in groups of ranges, since the time
/// for a group grows with the square of its number of links.
struct ElementRange {
    std::size_t first = 0;
    std::size_t count = 0;

    static constexpr std::size_t kMost = 64;
    /// The number of elements that each link of the group represents.
    std::size_t step() const {
        std::size_t step = 1;
        while (step < count / kMost + (count % kMost == 0 ? 0 : 1)) {
            step *= kMost;
        }
        return step;
    }
    ElementRange part(std::size_t i) const {
        const std::size_t begin = i * step();
        return {first + begin, std::min(step(), count - begin)};
    }
    /// "7", or "65-128"; counted from 1.
    std::string name() const {
        return count == 1 ? std::to_string(first + 1) : std::to_string(first + 1) + "-" + std::to_string(first + count);
    }
};

/// The name of a link for a variable or a field: a link can't hold "/", be ".", or be empty.
inline std::string linkName(const std::string& name) {
    static constexpr char kDigits[] = "0123456789ABCDEF";
    std::string link;
    for (const char character : name) {
        const auto code = static_cast<unsigned char>(character);
        if (code == '/' || code == '%' || code == 0 || (code == '.' && link.empty())) {
            link += {'%', kDigits[code >> 4U], kDigits[code & 0xFU]};
        } else {
            link += character;
        }
    }
    return link.empty() ? "%" : link;
}

/// The name that a link represents.
inline std::string nameOfLink(const std::string& link) {
    std::string name;
    for (std::size_t i = 0; i < link.size(); ++i) {
        if (link[i] == '%' && i + 2 < link.size()) {
            const auto digit = [&link](std::size_t place) {
                const char c = link[place];
                return static_cast<unsigned>(c <= '9' ? c - '0' : c - 'A' + 10) & 0xFU;
            };
            name += static_cast<char>(digit(i + 1) << 4U | digit(i + 2));
            i += 2;
        } else if (link[i] != '%') {
            name += link[i];
        }
    }
    return name;
}

}  // namespace hostref::hdf5
