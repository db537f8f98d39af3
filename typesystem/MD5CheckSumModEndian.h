// The host's MD5 accumulator, with the bytes of numbers added in big-endian order, so that a sum does not depend on the
// machine. Texts are added raw, by `addn`.
#pragma once

#include <cstdint>

#include "host/bs_md5.h"
#include "host/export.h"

namespace EmbeddedTypeSystem {

class TOLVANE_API MD5CheckSumModEndian : public bs_md5ChecksumRec {
 public:
    void addUInt32(unsigned value);
    void addInt32(int value);
    /// Adds the eight bytes of the IEEE value.
    void addReal64(double value);
    /// Adds the characters without a terminator; null means empty.
    void addText(const char* text);
    /// Returns the value whose bytes on this machine are those of the given value on a little-endian one.
    static unsigned getUniformedUInt32(unsigned value);

 protected:
    /// The byte order of this machine: 0 unknown yet, 1 little-endian, 2 big-endian.
    static int machByteOrder;

 private:
    static std::uint32_t htonl_int32(std::uint32_t value);
    static std::uint64_t htonl_real64(double value);
    static bool isLittleEndian();
};

}  // namespace EmbeddedTypeSystem
