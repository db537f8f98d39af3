#include "typesystem/Type.h"

#include <cstring>

#include "numbers/owned_copy.h"
#include "numbers/services.h"
#include "typesystem/MD5CheckSumModEndian.h"
#include "typesystem/texts.h"

namespace EmbeddedTypeSystem {

using namespace tolvane::detail;

void raiseInvalidText() {
    raise("embeddedtype:string:InvalidStringParam", "Parameter must be a string less than 128 characters");
}

void storeText(std::string& target, const char* text) {
    if (text == nullptr || *text == '\0') {
        return;
    }
    constexpr std::size_t kMaxCharacters = 128;
    if (::strnlen(text, kMaxCharacters + 1) > kMaxCharacters) {
        raiseInvalidText();
    }
    target = text;
}

// Each object has its own handle and the two flags for its destruction.
Type::Type(const Type& other) : mTexts(copyOf(other.mTexts)), mReadOnly(other.mReadOnly), mVolatile(other.mVolatile) {}

Type& Type::operator=(const Type& other) {
    if (this != &other) {
        mTexts = copyOf(other.mTexts);
        mReadOnly = other.mReadOnly;
        mVolatile = other.mVolatile;
    }
    return *this;
}

Type::~Type() {
    // Releasing the handle may run the host's destroy operation, which must then leave this object alone.
    mBeingDeleted = true;
    if (mCanDeleteOMI && mInterface != nullptr) {
        services().releaseHandle(mInterface);
    }
}

unsigned Type::isOpaque() const {
    return 0;
}

bool Type::operator==(const Type& other) const {
    return mReadOnly == other.mReadOnly && mVolatile == other.mVolatile;
}

unsigned Type::hash() const {
    return 0;
}

unsigned char Type::compare(const Type* /*other*/) const {
    return 0;
}

bool Type::canBeConvertedTo(const Type* /*other*/) const {
    return true;
}

void Type::addCheckSum(MD5CheckSumModEndian& sum) const {
    sum.addInt32(mReadOnly ? 1 : 0);
    sum.addInt32(mVolatile ? 1 : 0);
}

Type::Texts& Type::texts() {
    if (!mTexts) {
        mTexts = std::make_unique<Texts>();
    }
    return *mTexts;
}

void Type::setIdentifier(const char* text) {
    storeText(texts().identifier, text);
}

void Type::setName(const char* text) {
    storeText(texts().name, text);
}

void* Type::operator new(std::size_t bytes) {
    return allocateOrRaise(bytes);
}
void* Type::operator new[](std::size_t bytes) {
    return allocateOrRaise(bytes);
}
void Type::operator delete(void* memory) noexcept {
    services().release(memory);
}
void Type::operator delete[](void* memory) noexcept {
    services().release(memory);
}

}  // namespace EmbeddedTypeSystem
