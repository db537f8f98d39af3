// The global object and the dictionary of a session.
#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include "descriptors/fimath.h"
#include "numbers/services.h"

using namespace tolvane::detail;

constinit std::unique_ptr<fimath> fimath::sGlobalFimath;
constinit std::uint32_t fimath::sGlobalFimathReferenceCount = 0;
fimath::FimathMap fimath::sFimathMap;

namespace {

// Arrays of any thread read the object, which the first one makes. Whoever replaces it while others use it breaks their
// references, as the contract says.
constinit std::atomic<fimath*> sInForce = nullptr;
constinit std::recursive_mutex sChanging;

}  // namespace

fimath& fimath::getGlobalFimath() {
    if (fimath* const made = sInForce.load(std::memory_order_acquire)) {
        return *made;
    }
    const std::lock_guard lock(sChanging);
    if (sGlobalFimath == nullptr) {
        setGlobalFimath(fimath(Factory{}));
    }
    return *sGlobalFimath;
}

void fimath::setGlobalFimath(const fimath& source) {
    const std::lock_guard lock(sChanging);
    if (sGlobalFimath != nullptr && sGlobalFimathReferenceCount != 0) {
        sGlobalFimath->set(source);
        return;
    }
    // Copied before the old object is destroyed, which may be the source.
    auto replacement = std::make_unique<fimath>(source);
    resetGlobalFimath();
    sGlobalFimath = std::move(replacement);
    sInForce.store(sGlobalFimath.get(), std::memory_order_release);
}

void fimath::resetGlobalFimath() {
    const std::lock_guard lock(sChanging);
    if (sGlobalFimathReferenceCount == 0) {
        sInForce.store(nullptr, std::memory_order_release);
        sGlobalFimath.reset();
    } else {
        resetGlobalFimathToFactory();
    }
}

void fimath::resetGlobalFimathToFactory() {
    const std::lock_guard lock(sChanging);
    if (sGlobalFimath != nullptr) {
        sGlobalFimath->set(fimath(Factory{}));
    }
}

void fimath::decGlobalFimathRefCount() {
    if (sGlobalFimathReferenceCount != 0) {
        --sGlobalFimathReferenceCount;
    }
}

namespace {

[[noreturn]] void raiseInvalidKey() {
    raise("fixedpoint:fimath:InvalidFimathKey", "The fimath dictionary does not contain a fimath with that tag.");
}

}  // namespace

const fimath::FimathMap* fimath::getFimathMap() {
    return &sFimathMap;
}

bool fimath::fimathMapKeyExists(const std::string& tag) {
    return sFimathMap.contains(tag);
}

void fimath::addToFimathMap(const std::string& tag, const fimath& source) {
    if (!sFimathMap.try_emplace(tag, source).second) {
        raise("fixedpoint:fimath:FimathKeyExists",
              "The fimath dictionary already contains a fimath with the tag: " + tag);
    }
}

void fimath::replaceInFimathMap(const std::string& tag, const fimath& source) {
    const auto entry = sFimathMap.find(tag);
    if (entry == sFimathMap.end()) {
        raiseInvalidKey();
    }
    entry->second.set(source);
}

fimath& fimath::getFromFimathMap(const std::string& tag) {
    const auto entry = sFimathMap.find(tag);
    if (entry == sFimathMap.end()) {
        // Callers compare this text, so it stays different from those of the other operations.
        raise("VELMAR:class:MustBeHandle", "Parameter must be a handle.");
    }
    return entry->second;
}

void fimath::eraseFromFimathMap(const std::string& tag) {
    const auto entry = sFimathMap.find(tag);
    if (entry == sFimathMap.end()) {
        raiseInvalidKey();
    }
    sFimathMap.erase(entry);
}
