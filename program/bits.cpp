// Everything but logic and counts is a move of bits: words are put together of runs of bits of other words.
#include "program/bits.h"

#include <algorithm>
#include <bit>
#include <initializer_list>
#include <string>
#include <utility>

#include "program/kernels.h"
#include "program/moves.h"
#include "program/shapes.h"

namespace tolvane {

using detail::ArrayAccess;
using detail::wordarray;
using detail::WordSpan;

namespace {

constexpr int kLimbBits = detail::WordGrid::kLimbBits;

/// So many bits from `from` on, which become those from `to` on.
struct Run {
    int from;
    int count;
    int to;
};

/// Up to 64 bits of a word from one on; beyond its limbs there are none.
mp_limb_t bitsAt(const mp_limb_t* word, std::size_t limbs, int from, int count) {
    const auto limb = static_cast<std::size_t>(from / kLimbBits);
    const int shift = from % kLimbBits;
    mp_limb_t bits = word[limb] >> shift;
    if (shift != 0 && limb + 1 < limbs) {
        bits |= word[limb + 1] << (kLimbBits - shift);
    }
    return count == kLimbBits ? bits : bits & ((mp_limb_t{1} << count) - 1);
}

/// Sets the bits of a run, which are zeros before.
void addRun(const mp_limb_t* from, std::size_t limbs, const Run& run, mp_limb_t* to) {
    for (int done = 0; done < run.count;) {
        const int at = run.to + done;
        const int count = std::min(run.count - done, kLimbBits - at % kLimbBits);
        to[at / kLimbBits] |= bitsAt(from, limbs, run.from + done, count) << at % kLimbBits;
        done += count;
    }
}

/// Sets bits, which are zeros before, to copies of those of a limb of one kind.
void fill(mp_limb_t* to, int begin, int end, mp_limb_t bits) {
    for (int at = begin; at < end;) {
        const int count = std::min(end - at, kLimbBits - at % kLimbBits);
        to[at / kLimbBits] |= (bits >> (kLimbBits - count)) << at % kLimbBits;
        at += count;
    }
}

bool bitOf(const mp_limb_t* word, int bit) {
    return (word[bit / kLimbBits] >> bit % kLimbBits & 1U) != 0;
}

/// Gives the bits above the top one what belongs there.
void extend(std::span<mp_limb_t> word, const fixed_type& type) {
    const int unused = static_cast<int>(word.size()) * kLimbBits - type.bits;
    const mp_limb_t top = word.back() << unused;
    word.back() = type.is_signed ? static_cast<mp_limb_t>(static_cast<std::int64_t>(top) >> unused) : top >> unused;
}

void requireReal(const fixed_array& x) {
    if (x.is_complex()) {
        throw error("tolvane:array:complex", "Bits are those of real numbers. Take real(x) or imag(x).");
    }
}

/// Makes words of a type, by `make(index, word)` from zeros.
template <class Make>
fixed_array wordsOf(const fixed_type& type, const array_shape& shape, const std::string& name, const Make& make) {
    const std::size_t count = detail::sizeOf(shape);
    wordarray words = detail::makeWords(count, detail::gridOf(type));
    const auto makeSlice = [&](std::uint64_t begin, std::uint64_t end) {
        for (std::size_t i = begin; i < end; ++i) {
            const std::span<mp_limb_t> word = words.word(i);
            make(i, word.data());
            extend(word, type);
        }
    };
    detail::inSlices(count, makeSlice, words.grid().limbs());
    return ArrayAccess::make(type, shape, std::move(words), std::nullopt, name);
}

/// Words put together of runs of the words of x. Above `signFrom`, if it is a bit of theirs, there are copies of the
/// top bit.
fixed_array rebuilt(const fixed_array& x, const fixed_type& type, std::initializer_list<Run> runs, int signFrom) {
    requireReal(x);
    const WordSpan from = ArrayAccess::real(x)->span();
    const std::size_t limbs = from.grid.limbs();
    const int top = x.type().bits - 1;
    return wordsOf(type, x.shape(), x.name(), [&](std::size_t i, mp_limb_t* to) {
        const mp_limb_t* const word = from.limbs + i * limbs;
        for (const Run& run : runs) {
            addRun(word, limbs, run, to);
        }
        fill(to, signFrom, type.bits, bitOf(word, top) ? ~mp_limb_t{0} : 0);
    });
}

fixed_array rebuilt(const fixed_array& x, const fixed_type& type, std::initializer_list<Run> runs) {
    return rebuilt(x, type, runs, type.bits);
}

/// The places of a shift that does something.
int placesOf(const fixed_array& x, int places) {
    if (places < 0) {
        throw error("tolvane:bits:range",
                    "Words can't be shifted by " + std::to_string(places) + " places. Shift the other way.");
    }
    return std::min(places, x.type().bits);
}

void requireBit(const fixed_array& x, int bit) {
    if (bit < 0 || bit >= x.type().bits) {
        throw error("tolvane:bits:range",
                    "Words of " + x.type().text() + " have no bit " + std::to_string(bit) + "; the lowest is bit 0.");
    }
}

void requireLength(const fixed_type& a, const fixed_type& b) {
    if (a.bits != b.bits) {
        throw error("tolvane:bits:length", "Words of " + a.text() + " and " + b.text() +
                                               " have different lengths. Cast or slice one of them.");
    }
}

template <class Operation>
fixed_array combined(const fixed_array& a, const fixed_array& b, const Operation& operation) {
    requireReal(a);
    requireReal(b);
    requireLength(a.type(), b.type());
    const array_shape shape = detail::commonShape(a.shape(), b.shape());
    const fixed_array left = broadcast_to(a, shape);
    const fixed_array right = broadcast_to(b, shape);
    const WordSpan x = ArrayAccess::real(left)->span();
    const WordSpan y = ArrayAccess::real(right)->span();
    const std::size_t limbs = x.grid.limbs();
    return wordsOf(a.type(), shape, {}, [&](std::size_t i, mp_limb_t* to) {
        for (std::size_t k = i * limbs; k < (i + 1) * limbs; ++k) {
            *to++ = operation(x.limbs[k], y.limbs[k]);
        }
    });
}

}  // namespace

fixed_array and_bits(const fixed_array& a, const fixed_array& b) {
    return combined(a, b, [](mp_limb_t x, mp_limb_t y) { return x & y; });
}

fixed_array or_bits(const fixed_array& a, const fixed_array& b) {
    return combined(a, b, [](mp_limb_t x, mp_limb_t y) { return x | y; });
}

fixed_array xor_bits(const fixed_array& a, const fixed_array& b) {
    return combined(a, b, [](mp_limb_t x, mp_limb_t y) { return x ^ y; });
}

fixed_array not_bits(const fixed_array& a) {
    return combined(a, a, [](mp_limb_t x, mp_limb_t) { return ~x; });
}

fixed_array slice_bits(const fixed_array& x, int high, int low) {
    requireBit(x, low);
    requireBit(x, high);
    if (high < low) {
        throw error("tolvane:bits:range", "The first bit of a slice is the highest; " + std::to_string(high) +
                                              " lies below " + std::to_string(low) + ".");
    }
    return rebuilt(x, ufix(high - low + 1, 0), {{low, high - low + 1, 0}});
}

fixed_array concat_bits(const std::vector<fixed_array>& parts) {
    int bits = 0;
    array_shape shape;
    for (const fixed_array& part : parts) {
        requireReal(part);
        bits += part.type().bits;
        shape = detail::commonShape(shape, part.shape());
    }
    if (parts.empty()) {
        throw error("tolvane:array:shape", "concat_bits needs an array at least.");
    }
    const fixed_type type = detail::grown({false, bits, 0}, parts.front(), parts.back());
    std::vector<fixed_array> whole;
    std::vector<WordSpan> spans;
    for (const fixed_array& part : parts) {
        whole.push_back(broadcast_to(part, shape));
        spans.push_back(ArrayAccess::real(whole.back())->span());
    }
    return wordsOf(type, shape, {}, [&](std::size_t i, mp_limb_t* to) {
        int top = bits;
        for (const WordSpan& from : spans) {
            const std::size_t limbs = from.grid.limbs();
            top -= from.grid.bits;
            addRun(from.limbs + i * limbs, limbs, {0, from.grid.bits, top}, to);
        }
    });
}

fixed_array concat_bits(const fixed_array& a, const fixed_array& b) {
    return concat_bits(std::vector<fixed_array>{a, b});
}

fixed_array get_bit(const fixed_array& x, int bit) {
    return slice_bits(x, bit, bit);
}

fixed_array set_bit(const fixed_array& x, int bit, bool value) {
    requireReal(x);
    requireBit(x, bit);
    const WordSpan from = ArrayAccess::real(x)->span();
    const std::size_t limbs = from.grid.limbs();
    const mp_limb_t mask = mp_limb_t{1} << bit % kLimbBits;
    return wordsOf(x.type(), x.shape(), x.name(), [&](std::size_t i, mp_limb_t* to) {
        std::copy_n(from.limbs + i * limbs, limbs, to);
        mp_limb_t& limb = to[bit / kLimbBits];
        limb = value ? limb | mask : limb & ~mask;
    });
}

fixed_array reinterpret(const fixed_array& x, const fixed_type& type) {
    const fixed_type checked = fixed_format(type).type();
    requireLength(x.type(), checked);
    return rebuilt(x, checked, {{0, checked.bits, 0}});
}

fixed_array shift_left(const fixed_array& x, int places) {
    const int moved = placesOf(x, places);
    return rebuilt(x, x.type(), {{0, x.type().bits - moved, moved}});
}

fixed_array shift_left(const fixed_array& x, int places, const fixed_format& format, const code_location& where) {
    if (places < 0) {
        placesOf(x, places);
    }
    return cast(scaled(x, places), format, where);
}

fixed_array shift_right(const fixed_array& x, int places) {
    const int moved = placesOf(x, places);
    const int kept = x.type().bits - moved;
    return rebuilt(x, x.type(), {{moved, kept, 0}}, x.type().is_signed ? kept : x.type().bits);
}

fixed_array shift_right_logical(const fixed_array& x, int places) {
    const int moved = placesOf(x, places);
    return rebuilt(x, x.type(), {{moved, x.type().bits - moved, 0}});
}

fixed_array rotate_bits(const fixed_array& x, int places) {
    const int bits = x.type().bits;
    const int up = (places % bits + bits) % bits;
    return rebuilt(x, x.type(), {{0, bits - up, up}, {bits - up, up, 0}});
}

namespace {

/// Calls `count(word, limbs, bits)` for each word, made of its bits alone.
template <class Count>
std::vector<int> countsOf(const fixed_array& x, const Count& count) {
    requireReal(x);
    const WordSpan from = ArrayAccess::real(x)->span();
    const std::size_t limbs = from.grid.limbs();
    const fixed_type plain{false, from.grid.bits, 0};
    std::vector<int> counts(from.count);
    std::vector<mp_limb_t> word(limbs);
    const auto countSlice = [&](std::uint64_t begin, std::uint64_t end) {
        for (std::size_t i = begin; i < end; ++i) {
            std::copy_n(from.limbs + i * limbs, limbs, word.data());
            extend(word, plain);
            counts[i] = count(std::span<mp_limb_t>(word), plain.bits);
        }
    };
    detail::inSlices(counts.size(), countSlice, limbs);
    return counts;
}

int leadingZeros(std::span<const mp_limb_t> word, int bits) {
    std::size_t used = word.size();
    while (used > 0 && word[used - 1] == 0) {
        --used;
    }
    return bits - (used == 0 ? 0 : static_cast<int>(used) * kLimbBits - std::countl_zero(word[used - 1]));
}

}  // namespace

std::vector<int> leading_zeros(const fixed_array& x) {
    return countsOf(x, leadingZeros);
}

std::vector<int> leading_signs(const fixed_array& x) {
    return countsOf(x, [](std::span<mp_limb_t> word, int bits) {
        if (bitOf(word.data(), bits - 1)) {
            std::ranges::transform(word, word.begin(), [](mp_limb_t limb) { return ~limb; });
            extend(word, {false, bits, 0});
        }
        return leadingZeros(word, bits) - 1;
    });
}

std::vector<int> trailing_zeros(const fixed_array& x) {
    return countsOf(x, [](std::span<const mp_limb_t> word, int bits) {
        const auto* const limb = std::ranges::find_if(word, [](mp_limb_t each) { return each != 0; }).base();
        const auto below = static_cast<int>(limb - word.data()) * kLimbBits;
        return limb == word.data() + word.size() ? bits : below + std::countr_zero(*limb);
    });
}

std::vector<int> count_ones(const fixed_array& x) {
    return countsOf(x, [](std::span<const mp_limb_t> word, int) {
        int ones = 0;
        for (const mp_limb_t limb : word) {
            ones += std::popcount(limb);
        }
        return ones;
    });
}

}  // namespace tolvane
