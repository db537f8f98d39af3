#include "draw.h"

namespace hardware {

using tolvane::exact_value;
using tolvane::fixed_type;

int highOf(const fixed_type& type) {
    return type.bits - 1 - type.fraction;
}
int lowOf(const fixed_type& type) {
    return -type.fraction;
}
fixed_type typeOfRange(bool isSigned, int high, int low) {
    return {isSigned, high - low + 1, -low};
}

int Draw::between(int least, int most) {
    return least + static_cast<int>(mBits() % static_cast<std::uint64_t>(most - least + 1));
}

int Draw::bits() {
    constexpr int kMost[] = {12, 70, 200};
    return between(2, of(kMost));
}

fixed_type Draw::type(bool isSigned) {
    const int length = bits();
    return {isSigned, length, oneIn(4) ? between(-30, length + 30) : between(0, length)};
}

fixed_type Draw::typeNear(const fixed_type& from, bool isSigned) {
    while (!oneIn(8)) {
        const int low = lowOf(from) + between(-8, from.bits + 3);
        const int high = oneIn(3) ? low + bits() - 1 : highOf(from) + between(-from.bits, 4);
        if (high - low >= 1 && high - low < 200) {
            return typeOfRange(isSigned, high, low);
        }
    }
    return type(isSigned);
}

exact_value Draw::value(const fixed_type& type, const fixed_type& target) {
    const int length = type.bits;
    std::vector<bool> word(static_cast<std::size_t>(length));
    const auto fill = [&](int from, int to, bool bit) {
        for (int i = std::max(from, 0); i < std::min(to, length); ++i) {
            word[static_cast<std::size_t>(i)] = bit;
        }
    };
    for (int i = 0; i < length; i += 64) {
        std::uint64_t limb = mBits();
        for (int j = i; j < std::min(i + 64, length); ++j, limb >>= 1) {
            fill(j, j + 1, (limb & 1) != 0);
        }
    }
    // Below the last place of the target, or any other: nothing, a tie, or the word before or after one.
    if (oneIn(2)) {
        const int place = oneIn(3) ? between(0, length) : lowOf(target) - lowOf(type);
        const int kind = between(0, 4);
        fill(0, place - 1, kind == 1);
        fill(place - 1, place, kind >= 2);
        if (kind == 4) {
            fill(0, 1, true);
        }
    }
    // Equal bits above the first place of the target: values within it or just beyond.
    if (oneIn(2)) {
        const int place = oneIn(3) ? between(0, length) : highOf(target) - lowOf(type) + between(0, 2);
        fill(place, length, oneIn(2));
    }
    if (oneIn(12)) {
        const bool bit = oneIn(2);
        fill(0, length, bit);
        fill(length - 1, length, oneIn(2) ? bit : !bit);
    }
    std::vector<std::uint64_t> limbs(static_cast<std::size_t>(length) / 64 + 1);
    const bool isNegative = type.is_signed && word.back();
    for (std::size_t i = 0; i < limbs.size() * 64; ++i) {
        if (i < word.size() ? word[i] : isNegative) {
            limbs[i / 64] |= std::uint64_t{1} << (i % 64);
        }
    }
    return exact_value::from_words(limbs.data(), limbs.size(), type.is_signed, -type.fraction);
}

std::vector<exact_value> Draw::values(const fixed_type& type, const fixed_type& target, std::size_t count) {
    std::vector<exact_value> all;
    for (std::size_t i = 0; i < count; ++i) {
        all.push_back(value(type, target));
    }
    return all;
}

}  // namespace hardware
