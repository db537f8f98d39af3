#include "host/bs_md5.h"

#include <openssl/evp.h>

#include <new>

#include "host/ErrorIdException.h"

namespace {

void require(int status) {
    if (status != 1) {
        raiseError("bs:md5:unavailable", "The process offers no MD5.");
    }
}

}  // namespace

struct bs_md5ChecksumRec::State {
    State() {
        if (context == nullptr) {
            throw std::bad_alloc();
        }
    }
    ~State() { EVP_MD_CTX_free(context); }
    State(const State&) = delete;
    State& operator=(const State&) = delete;

    EVP_MD_CTX* context = EVP_MD_CTX_new();
};

bs_md5ChecksumRec::bs_md5ChecksumRec() : mState(std::make_unique<State>()) {
    reset();
}

bs_md5ChecksumRec::bs_md5ChecksumRec(const bs_md5ChecksumRec& other) : mState(std::make_unique<State>()) {
    require(EVP_MD_CTX_copy_ex(mState->context, other.mState->context));
}

bs_md5ChecksumRec& bs_md5ChecksumRec::operator=(const bs_md5ChecksumRec& other) {
    if (this != &other) {
        bs_md5ChecksumRec copy(other);
        std::swap(mState, copy.mState);
    }
    return *this;
}

bs_md5ChecksumRec::~bs_md5ChecksumRec() = default;

void bs_md5ChecksumRec::addn(const unsigned char* bytes, std::size_t count) {
    if (count > 0) {
        require(EVP_DigestUpdate(mState->context, bytes, count));
    }
}

bs_md5ChecksumRec::Digest bs_md5ChecksumRec::getDigest() const {
    // Finishing ends a context, so a copy is finished.
    const bs_md5ChecksumRec copy(*this);
    Digest digest;
    require(EVP_DigestFinal_ex(copy.mState->context, digest.data(), nullptr));
    return digest;
}

std::string bs_md5ChecksumRec::getHexDigest() const {
    constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    for (const unsigned char byte : getDigest()) {
        text += kDigits[byte >> 4U];
        text += kDigits[byte & 0xFU];
    }
    return text;
}

void bs_md5ChecksumRec::reset() {
    require(EVP_DigestInit_ex(mState->context, EVP_md5(), nullptr));
}
