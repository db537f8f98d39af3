// Random types and words for the operations, from a seed: alike on every machine.
#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

#include "program/tolvane.h"

namespace hardware {

class Draw {
 public:
    explicit Draw(std::uint64_t seed) : mBits(seed) {}

    /// From `least` to `most`, both included.
    int between(int least, int most);
    bool oneIn(int n) { return between(1, n) == 1; }
    template <class Values>
    const auto& of(const Values& values) {
        return *(std::begin(values) + between(0, static_cast<int>(std::size(values)) - 1));
    }

    /// Of 2 to 200 bits, many of them short.
    int bits();
    /// With its point anywhere, inside the word or far from it.
    tolvane::fixed_type type(bool isSigned);
    /// What words of `from` can be cast into with some of them rounded and some of them too great, or, now and then,
    /// all.
    tolvane::fixed_type typeNear(const tolvane::fixed_type& from, bool isSigned);
    /// Values of a type: any, bounds, and those beside ties and bounds of `target`.
    std::vector<tolvane::exact_value> values(const tolvane::fixed_type& type, const tolvane::fixed_type& target,
                                             std::size_t count);

 private:
    tolvane::exact_value value(const tolvane::fixed_type& type, const tolvane::fixed_type& target);
    std::mt19937_64 mBits;
};

/// The place of the first bit of a word and of the last, as ranges of VHDL's fixed-point types have them.
int highOf(const tolvane::fixed_type& type);
int lowOf(const tolvane::fixed_type& type);
tolvane::fixed_type typeOfRange(bool isSigned, int high, int low);

}  // namespace hardware
