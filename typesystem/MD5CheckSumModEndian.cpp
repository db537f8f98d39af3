#include "typesystem/MD5CheckSumModEndian.h"

#include <bit>
#include <cstring>

#include "numbers/services.h"

namespace EmbeddedTypeSystem {

namespace {

int one = 1;

enum ByteOrder { kUnknown = 0, kLittleEndian = 1, kBigEndian = 2 };

unsigned char firstByteOf(const int& value) {
    unsigned char first = 0;
    std::memcpy(&first, &value, 1);
    return first;
}

/// The one place that reverses bytes.
template <class Word>
Word swappedIf(bool isSwapped, Word word) {
    if (!isSwapped) {
        return word;
    }
    Word swapped = 0;
    for (std::size_t byte = 0; byte < sizeof(Word); ++byte) {
        swapped = static_cast<Word>(swapped << 8U) | static_cast<Word>(word & 0xFFU);
        word >>= 8U;
    }
    return swapped;
}

template <class Word>
void add(bs_md5ChecksumRec& sum, Word word) {
    unsigned char bytes[sizeof(Word)];
    std::memcpy(bytes, &word, sizeof(Word));
    tolvane::detail::services().addToDigest(sum, bytes, sizeof(Word));
}

}  // namespace

int MD5CheckSumModEndian::machByteOrder = kUnknown;

bool MD5CheckSumModEndian::isLittleEndian() {
    if (machByteOrder == kUnknown) {
        machByteOrder = firstByteOf(one) == 1 ? kLittleEndian : kBigEndian;
    }
    return machByteOrder == kLittleEndian;
}

std::uint32_t MD5CheckSumModEndian::htonl_int32(std::uint32_t value) {
    return swappedIf(isLittleEndian(), value);
}

std::uint64_t MD5CheckSumModEndian::htonl_real64(double value) {
    return swappedIf(isLittleEndian(), std::bit_cast<std::uint64_t>(value));
}

unsigned MD5CheckSumModEndian::getUniformedUInt32(unsigned value) {
    return swappedIf(!isLittleEndian(), value);
}

void MD5CheckSumModEndian::addUInt32(unsigned value) {
    add(*this, htonl_int32(value));
}

void MD5CheckSumModEndian::addInt32(int value) {
    add(*this, htonl_int32(static_cast<unsigned>(value)));
}

void MD5CheckSumModEndian::addReal64(double value) {
    add(*this, htonl_real64(value));
}

void MD5CheckSumModEndian::addText(const char* text) {
    if (text != nullptr) {
        tolvane::detail::services().addToDigest(*this, reinterpret_cast<const unsigned char*>(text), std::strlen(text));
    }
}

}  // namespace EmbeddedTypeSystem
