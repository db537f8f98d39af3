// The host's MD5 accumulator (`bs` family): it takes bytes in pieces of any size and returns the digest of all of them.
#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <string>

#include "host/export.h"

class TOLVANE_HOST_API bs_md5ChecksumRec {
 public:
    using Digest = std::array<unsigned char, 16>;

    /// Raises "bs:md5:unavailable" if the process offers no MD5.
    bs_md5ChecksumRec();
    bs_md5ChecksumRec(const bs_md5ChecksumRec& other);
    bs_md5ChecksumRec& operator=(const bs_md5ChecksumRec& other);
    ~bs_md5ChecksumRec();

    void addn(const unsigned char* bytes, std::size_t count);
    /// The digest of the bytes added so far; more may be added afterwards.
    Digest getDigest() const;
    /// The digest as 32 lower-case hexadecimal digits.
    std::string getHexDigest() const;
    /// Discards all added bytes.
    void reset();

 private:
    struct State;
    std::unique_ptr<State> mState;
};
