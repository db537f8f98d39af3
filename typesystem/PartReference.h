// How a type or an element of a structure holds a type that it is made from.
//
// A part with a host handle is kept alive by a reference on that handle, whatever other holders do. A part without one
// is borrowed: its creator keeps it for as long as it is used. Exactly the reference that was taken is released, even
// if the part got a handle, or another one, in between.
#pragma once

#include "typesystem/HandleReference.h"
#include "typesystem/Type.h"

namespace EmbeddedTypeSystem {

class PartReference {
 public:
    PartReference() = default;
    explicit PartReference(Type* part)
        : mPart(part), mHandle(HandleReference::to(part == nullptr ? nullptr : part->getOMIWithoutCreating())) {}

    Type* get() const { return mPart; }
    /// The handle that keeps the part alive; null for a borrowed one.
    OMInterface* getHandle() const { return mHandle.get(); }

 private:
    Type* mPart = nullptr;
    HandleReference mHandle;
};

}  // namespace EmbeddedTypeSystem
