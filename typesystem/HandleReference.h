// One counted reference to a host handle, released with this object.
//
// Releasing the last reference destroys an object that may release references in turn. Such a chain of parts, whatever
// its length, is processed by a loop, not by recursion.
#pragma once

#include <utility>

#include "host/export.h"

class OMInterface;

namespace EmbeddedTypeSystem {

class TOLVANE_API HandleReference {
 public:
    HandleReference() = default;
    /// Takes over the caller's reference.
    static HandleReference adopt(OMInterface* handle) { return HandleReference(handle); }
    /// Adds a reference; null holds nothing.
    static HandleReference to(OMInterface* handle);
    HandleReference(HandleReference&& other) noexcept : mHandle(std::exchange(other.mHandle, nullptr)) {}
    /// Releases the old reference last, when this object is complete.
    HandleReference& operator=(HandleReference&& other) noexcept {
        OMInterface* const old = std::exchange(mHandle, std::exchange(other.mHandle, nullptr));
        giveUp(old);
        return *this;
    }
    ~HandleReference() { giveUp(mHandle); }

    OMInterface* get() const { return mHandle; }

 private:
    explicit HandleReference(OMInterface* handle) : mHandle(handle) {}
    static void giveUp(OMInterface* handle) noexcept;

    OMInterface* mHandle = nullptr;
};

}  // namespace EmbeddedTypeSystem
