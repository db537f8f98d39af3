// One counted reference on a host handle, given up with this object.
//
// Giving up the last reference ends an object that may give up references in turn. However long such a chain of parts
// is, it is worked off by a loop and not by recursion.
#pragma once

#include <utility>

#include "host/export.h"

class OMInterface;

namespace EmbeddedTypeSystem {

class TOLVANE_API HandleReference {
 public:
    HandleReference() = default;
    /// Takes over a reference of the caller.
    static HandleReference adopt(OMInterface* handle) { return HandleReference(handle); }
    /// Adds a reference; null holds nothing.
    static HandleReference to(OMInterface* handle);
    HandleReference(HandleReference&& other) noexcept : mHandle(std::exchange(other.mHandle, nullptr)) {}
    /// Gives up the old reference last, when this object is whole.
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
