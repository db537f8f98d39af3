// The check of a bit position that both kinds of number bodies make before they read or set a bit.
#pragma once

#include "numbers/services.h"

namespace tolvane::detail {

constexpr const char* kBitgetOutOfRange = "fixedpoint:fi:bitget:BITOutOfRange";
constexpr const char* kBitsetOutOfRange = "fixedpoint:fi:bitset:BITOutOfRange";

/// Raises the error `id`, one of the two, unless the position lies in 1 to wordlength.
inline void checkBitPosition(int bit, int wordlength, const char* id) {
    if (bit < 1 || bit > wordlength) {
        raise(id, "A bit position is not an integer in the appropriate range.");
    }
}

}  // namespace tolvane::detail
