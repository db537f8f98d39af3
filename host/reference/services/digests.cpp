// Digests by OpenSSL's libcrypto.
#include <openssl/evp.h>

#include <array>
#include <new>

#include "host/ErrorIdException.h"
#include "host/reference/parts/opener.h"

namespace hostref::parts {

namespace {

void require(int status) {
    if (status != 1) {
        raiseError("bs:md5:unavailable", "The process offers no MD5.");
    }
}

class EvpMd5 final : public Md5 {
 public:
    EvpMd5() { require(EVP_DigestInit_ex(mContext.get(), EVP_md5(), nullptr)); }
    EvpMd5(const EvpMd5& other) : Md5(other) { require(EVP_MD_CTX_copy_ex(mContext.get(), other.mContext.get())); }
    EvpMd5& operator=(const EvpMd5&) = delete;
    std::unique_ptr<Md5> clone() const override { return std::make_unique<EvpMd5>(*this); }
    void add(std::span<const unsigned char> bytes) override {
        require(EVP_DigestUpdate(mContext.get(), bytes.data(), bytes.size()));
    }
    bs_md5ChecksumRec::Digest digest() const override {
        // Finishing ends a context, so a copy is finished.
        const EvpMd5 copy(*this);
        bs_md5ChecksumRec::Digest digest;
        require(EVP_DigestFinal_ex(copy.mContext.get(), digest.data(), nullptr));
        return digest;
    }

 private:
    struct Free {
        void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
    };
    static EVP_MD_CTX* made() {
        EVP_MD_CTX* const context = EVP_MD_CTX_new();
        if (context == nullptr) {
            throw std::bad_alloc();
        }
        return context;
    }

    std::unique_ptr<EVP_MD_CTX, Free> mContext{made()};
};

std::unique_ptr<Md5> newMd5() {
    return std::make_unique<EvpMd5>();
}

std::string sha256(std::span<const std::byte> bytes) {
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest;
    unsigned size = 0;
    std::string text;
    if (EVP_Digest(bytes.data(), bytes.size(), digest.data(), &size, EVP_sha256(), nullptr) != 1) {
        return text;
    }
    for (unsigned i = 0; i < size; ++i) {
        constexpr char kDigits[] = "0123456789abcdef";
        text += kDigits[digest[i] >> 4U];
        text += kDigits[digest[i] & 0xFU];
    }
    return text;
}

constexpr Digests kTable = {newMd5, sha256};

}  // namespace

}  // namespace hostref::parts

TOLVANE_HOST_PART(hostref::parts::kTable)
