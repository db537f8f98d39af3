#include "numbers/bases.h"

#include <cmath>

#include "numbers/services.h"

namespace tolvane::detail {

void requireBase(int base, int greatest, const std::string& id) {
    if (base < 2 || base > greatest) {
        raise(id, "Base value must be >= 2 and <= " + std::to_string(greatest));
    }
}

// The order of the operations decides where the quotient of the logarithms is above a whole number, which gives one
// digit more.
int digitCount(int wordBits, int base) {
    switch (base) {
        case 2:
            return wordBits;
        case 16:
            return static_cast<int>(std::ceil(wordBits * 0.25));
        default:
            return static_cast<int>(std::ceil(wordBits * services().log(2.0) / services().log(base)));
    }
}

}  // namespace tolvane::detail
