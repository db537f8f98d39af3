#include "typesystem/HandleReference.h"

#include <new>
#include <vector>

#include "host/OMInterface.h"

namespace EmbeddedTypeSystem {

HandleReference HandleReference::to(OMInterface* handle) {
    return HandleReference(handle == nullptr ? nullptr : handle->getReference());
}

void HandleReference::giveUp(OMInterface* handle) noexcept {
    if (handle == nullptr) {
        return;
    }
    static std::vector<OMInterface*>* sPending = nullptr;
    if (sPending != nullptr) {
        try {
            sPending->push_back(handle);
        } catch (const std::bad_alloc&) {
            OMInterface::operator delete(handle);
        }
        return;
    }
    std::vector<OMInterface*> pending;
    sPending = &pending;
    OMInterface::operator delete(handle);
    while (!pending.empty()) {
        OMInterface* const next = pending.back();
        pending.pop_back();
        OMInterface::operator delete(next);
    }
    sPending = nullptr;
}

}  // namespace EmbeddedTypeSystem
