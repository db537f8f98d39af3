#include "host/bs_md5.h"

#include <utility>

#include "host/reference/parts/opener.h"

using hostref::parts::Digests;
using hostref::parts::Md5;

struct bs_md5ChecksumRec::State {
    explicit State(std::unique_ptr<Md5> sum) : md5(std::move(sum)) {}
    std::unique_ptr<Md5> md5;
};

bs_md5ChecksumRec::bs_md5ChecksumRec() : mState(std::make_unique<State>(hostref::parts::get<Digests>().newMd5())) {}

bs_md5ChecksumRec::bs_md5ChecksumRec(const bs_md5ChecksumRec& other)
    : mState(std::make_unique<State>(other.mState->md5->clone())) {}

bs_md5ChecksumRec& bs_md5ChecksumRec::operator=(const bs_md5ChecksumRec& other) {
    if (this != &other) {
        mState->md5 = other.mState->md5->clone();
    }
    return *this;
}

bs_md5ChecksumRec::~bs_md5ChecksumRec() = default;

void bs_md5ChecksumRec::addn(const unsigned char* bytes, std::size_t count) {
    if (count > 0) {
        mState->md5->add({bytes, count});
    }
}

bs_md5ChecksumRec::Digest bs_md5ChecksumRec::getDigest() const {
    return mState->md5->digest();
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
    mState->md5 = hostref::parts::get<Digests>().newMd5();
}
