// The body of an hvArray. Data is in counted buffers that copies share; a writer first makes its buffer unshared.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstring>
#include <memory>
#include <new>
#include <span>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "host/ErrorIdException.h"
#include "host/bs.h"
#include "host/hv.h"
#include "host/reference/values/caught_error.h"
#include "host/reference/values/turn.h"

namespace hostref {

[[noreturn]] void raiseNoMemory();

/// Runs an action that allocates; running out of memory becomes "VELMAR:nomem".
template <class Action>
decltype(auto) withMemory(Action&& action) {
    try {
        return std::forward<Action>(action)();
    } catch (const std::bad_alloc&) {
        raiseNoMemory();
    } catch (const std::length_error&) {
        raiseNoMemory();
    }
}

/// A counted block of plain bytes, shared by copies. An empty one has no block.
class Buffer {
 public:
    Buffer() = default;
    /// Makes zeroed bytes, by bsCalloc, so that a large fresh array costs no pass over its memory.
    static Buffer zeros(std::size_t bytes) {
        return bytes == 0 ? Buffer() : Buffer(bsCalloc(1, sizeof(Block) + bytes));
    }
    /// Makes uninitialised bytes; the caller sets each before reading it.
    static Buffer unset(std::size_t bytes) { return bytes == 0 ? Buffer() : Buffer(bsMalloc(sizeof(Block) + bytes)); }

    Buffer(const Buffer& other) : mBlock(other.mBlock) {
        if (mBlock != nullptr) {
            mBlock->owners.fetch_add(1, std::memory_order_relaxed);
        }
    }
    Buffer(Buffer&& other) noexcept : mBlock(std::exchange(other.mBlock, nullptr)) {}
    Buffer& operator=(Buffer other) noexcept {
        std::swap(mBlock, other.mBlock);
        return *this;
    }
    ~Buffer() {
        if (mBlock != nullptr && mBlock->owners.fetch_sub(1, std::memory_order_acq_rel) == 1) {
            bsFree(mBlock);
        }
    }

    void* data() const { return mBlock == nullptr ? nullptr : mBlock + 1; }

    /// Replaces a shared block by a copy of its `bytes`.
    void makeOwn(std::size_t bytes) {
        if (mBlock != nullptr && mBlock->owners.load(std::memory_order_acquire) > 1) {
            Buffer copy = unset(bytes);
            std::memcpy(copy.data(), data(), bytes);
            *this = std::move(copy);
        }
    }

 private:
    struct alignas(std::max_align_t) Block {
        std::atomic<std::size_t> owners;
    };

    /// Takes ownership of the new memory of a block, null if there was none.
    explicit Buffer(void* memory) {
        if (memory == nullptr) {
            raiseNoMemory();
        }
        mBlock = new (memory) Block{1};
    }

    Block* mBlock = nullptr;
};

/// The contents of cells and structs. A struct keeps the fields of one element together.
struct Children {
    std::vector<std::string> fieldNames;
    std::vector<hvArrayOwner> values;
};

/// The one reference that object arrays share.
struct SharedHandle {
    std::string className;
    void* handle = nullptr;
    const hvHandleOperations* operations = nullptr;

    SharedHandle() = default;
    SharedHandle(const SharedHandle&) = delete;
    SharedHandle& operator=(const SharedHandle&) = delete;
    ~SharedHandle() {
        if (handle != nullptr && operations != nullptr && operations->release != nullptr) {
            const Turn turn;
            withoutErrors([this] { operations->release(handle); });
        }
    }
};

struct ClassTraits {
    const char* name;
    std::size_t elementBytes;
    bool isNumeric;
};
/// Indexed by class id.
inline constexpr std::array<ClassTraits, 19> kClassTraits{{
    {"unknown", 0, false}, {"cell", 0, false},     {"struct", 0, false}, {"logical", 1, false}, {"char", 2, false},
    {"void", 0, false},    {"double", 8, true},    {"single", 4, true},  {"int8", 1, true},     {"uint8", 1, true},
    {"int16", 2, true},    {"uint16", 2, true},    {"int32", 4, true},   {"uint32", 4, true},   {"int64", 8, true},
    {"uint64", 8, true},   {"function", 0, false}, {"opaque", 0, false}, {"object", 0, false},
}};
/// The traits of a class; an invalid id is treated as unknown.
inline const ClassTraits& classTraits(hvClassID classId) {
    const auto index = static_cast<std::size_t>(classId);
    return index < kClassTraits.size() ? kClassTraits[index] : kClassTraits[0];
}

}  // namespace hostref

struct hvArray {
    hvClassID classId = hvUNKNOWN_CLASS;
    bool isComplex = false;
    std::size_t elementCount = 0;
    std::vector<std::size_t> dimensions;
    hostref::Buffer real;
    hostref::Buffer imaginary;
    std::shared_ptr<hostref::Children> children;
    std::shared_ptr<const hostref::SharedHandle> handle;
    /// Links arrays that wait for destruction, so that destroying deep nesting needs neither stack nor memory.
    hvArray* nextToDestroy = nullptr;

    std::size_t partBytes() const { return elementCount * hostref::classTraits(classId).elementBytes; }
    /// Unshares cells or fields; each of them keeps sharing its own data.
    void ownChildren();
    void ownData() {
        real.makeOwn(partBytes());
        imaginary.makeOwn(partBytes());
    }
};

namespace hostref {

/// At least two dimensions, without trailing ones beyond the second.
TOLVANE_HOST_API std::vector<std::size_t> normalizedDimensions(std::span<const std::size_t> given);
/// The product of the dimensions; "VELMAR:nomem" if it overflows. Dimensions beside a zero are checked as well, so that
/// each partial product, such as the number of columns, fits.
TOLVANE_HOST_API std::size_t checkedCount(const std::vector<std::size_t>& dimensions);

enum class Contents { zeros, unset };

/// Makes an array of zeros, false, or null elements. `unset` leaves plain data uninitialised; the caller sets it before
/// reading it.
TOLVANE_HOST_API hvArrayOwner makeArray(std::span<const std::size_t> dimensions, hvClassID classId,
                                        hvComplexity complexity = hvREAL, Contents contents = Contents::zeros);

}  // namespace hostref
