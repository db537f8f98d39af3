#include "program/packed_words.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <optional>
#include <utility>

namespace tolvane::detail {

namespace {

constexpr int kLimbBits = WordGrid::kLimbBits;

constexpr mp_limb_t maskOf(int bits) {
    return bits >= kLimbBits ? ~mp_limb_t{0} : (mp_limb_t{1} << bits) - 1;
}
constexpr std::size_t limbOf(int bit) {
    return static_cast<std::size_t>(bit / kLimbBits);
}

/// Adds the low bits of a word to another one, in which they are zero.
void deposit(const mp_limb_t* word, int bits, mp_limb_t* out, int offset) {
    for (int done = 0; done < bits; done += kLimbBits) {
        const mp_limb_t limb = word[limbOf(done)] & maskOf(bits - done);
        const int shift = (offset + done) % kLimbBits;
        mp_limb_t* const at = out + limbOf(offset + done);
        at[0] |= limb << shift;
        if (shift + std::min(bits - done, kLimbBits) > kLimbBits) {
            at[1] |= limb >> (kLimbBits - shift);
        }
    }
}

/// The low bits of a limb, as many as the grid has, with the sign or zeros above.
mp_limb_t extended(mp_limb_t limb, const WordGrid& grid) {
    const int unused = kLimbBits - grid.bits;
    limb <<= unused;
    return grid.isSigned ? static_cast<mp_limb_t>(static_cast<std::int64_t>(limb) >> unused) : limb >> unused;
}

/// Takes a word out of another one and extends its sign.
void extract(const mp_limb_t* from, const WordPart& part, mp_limb_t* out) {
    const int bits = part.grid.bits;
    for (int done = 0; done < bits; done += kLimbBits) {
        const int left = std::min(bits - done, kLimbBits);
        const int shift = (part.offset + done) % kLimbBits;
        const mp_limb_t* const at = from + limbOf(part.offset + done);
        mp_limb_t limb = at[0] >> shift;
        if (shift + left > kLimbBits) {
            limb |= at[1] << (kLimbBits - shift);
        }
        out[limbOf(done)] = extended(limb, {0, left, part.grid.isSigned});
    }
}

// The digits of each byte.

template <int digitBits>
using ByteDigits = std::array<char, static_cast<std::size_t>(8 / digitBits)>;

template <int digitBits>
constexpr std::array<ByteDigits<digitBits>, 256> makeByteTable() {
    std::array<ByteDigits<digitBits>, 256> table{};
    for (std::size_t byte = 0; byte < table.size(); ++byte) {
        for (std::size_t i = 0; i < 8 / digitBits; ++i) {
            table[byte][i] =
                "0123456789abcdef"[byte >> (8 - digitBits * static_cast<int>(i + 1)) & ((1U << digitBits) - 1)];
        }
    }
    return table;
}
template <int digitBits>
constexpr std::array kByteTable = makeByteTable<digitBits>();

unsigned byteOf(const mp_limb_t* word, int byte) {
    return static_cast<unsigned>(word[static_cast<std::size_t>(byte) / 8] >> (byte % 8 * 8) & 0xFFU);
}

template <int digitBits>
char* writeByBytes(const mp_limb_t* word, int bits, char* out) {
    constexpr std::size_t kPerByte = 8 / digitBits;
    int byte = (bits - 1) / 8;
    const std::size_t first = digitsOf(bits - 8 * byte, digitBits);
    const ByteDigits<digitBits>& top = kByteTable<digitBits>[byteOf(word, byte)];
    out = std::copy(top.end() - static_cast<std::ptrdiff_t>(first), top.end(), out);
    while (byte-- > 0) {
        std::memcpy(out, kByteTable<digitBits>[byteOf(word, byte)].data(), kPerByte);
        out += kPerByte;
    }
    return out;
}

unsigned bitsAt(const mp_limb_t* word, std::size_t limbs, int bit, int count) {
    const std::size_t limb = limbOf(bit);
    const int shift = bit % kLimbBits;
    mp_limb_t found = word[limb] >> shift;
    if (shift + count > kLimbBits && limb + 1 < limbs) {
        found |= word[limb + 1] << (kLimbBits - shift);
    }
    return static_cast<unsigned>(found & maskOf(count));
}

// Characters.

constexpr bool endsWord(unsigned kind) {
    return kind == kSpace || kind == kComment || kind == kAddress;
}

/// Eight binary digits, or nothing if there are other characters.
std::optional<unsigned> eightBinaryDigits(const char* at) {
    std::uint64_t characters = 0;
    std::memcpy(&characters, at, sizeof characters);
    characters ^= 0x3030303030303030U;
    if ((characters & 0xFEFEFEFEFEFEFEFEU) != 0) {
        return std::nullopt;
    }
    // The bit of byte i comes to 63 - i, and no two bits to one place.
    return static_cast<unsigned>(characters * 0x8040201008040201U >> 56);
}

/// A word of one limb.
template <int digitBits>
DigitsRead readShort(const char* begin, const char* end, int bits, mp_limb_t* word) {
    const char* at = begin;
    mp_limb_t value = 0;
    std::size_t digits = 0;
    const std::size_t most = digitsOf(bits, digitBits);
    if constexpr (digitBits == 1 && std::endian::native == std::endian::little) {
        while (end - at >= 8 && digits + 8 <= most) {
            const std::optional<unsigned> eight = eightBinaryDigits(at);
            if (!eight) {
                break;
            }
            value = value << 8 | *eight;
            at += 8;
            digits += 8;
        }
    }
    for (; at != end; ++at) {
        const unsigned kind = kKinds[static_cast<unsigned char>(*at)];
        if (kind < (1U << digitBits)) {
            if (digits == most) {
                return {at, DigitFault::tooManyDigits};
            }
            value = value << digitBits | kind;
            ++digits;
        } else if (endsWord(kind)) {
            break;
        } else if (kind != kUnderscore || digits == 0) {
            return {at, kind == kUnknown ? DigitFault::unknown : DigitFault::notADigit};
        }
    }
    *word = value;
    // Bits that a limb has no place for are those of a digit too many, or of the top digit of octal numbers.
    const bool isBeyond = digits == most && digitBits == 3 && bits == kLimbBits
                              ? kKinds[static_cast<unsigned char>(*begin)] > 1
                              : (value & ~maskOf(bits)) != 0;
    return isBeyond ? DigitsRead{begin, DigitFault::tooManyBits} : DigitsRead{at, DigitFault::none};
}

DigitsRead readLong(const char* begin, const char* end, int bits, int digitBits, mp_limb_t* word) {
    const std::size_t limbs = limbOf(bits - 1) + 1;
    std::fill_n(word, limbs, 0);
    const char* stop = begin;
    std::size_t digits = 0;
    const std::size_t most = digitsOf(bits, digitBits);
    for (; stop != end; ++stop) {
        const unsigned kind = kKinds[static_cast<unsigned char>(*stop)];
        if (endsWord(kind)) {
            break;
        }
        if (kind < (1U << digitBits)) {
            if (++digits > most) {
                return {stop, DigitFault::tooManyDigits};
            }
        } else if (kind != kUnderscore || digits == 0) {
            return {stop, kind == kUnknown ? DigitFault::unknown : DigitFault::notADigit};
        }
    }
    int place = 0;
    for (const char* at = stop; at != begin;) {
        const mp_limb_t digit = kKinds[static_cast<unsigned char>(*--at)];
        if (digit == kUnderscore) {
            continue;
        }
        if (place + digitBits > bits && digit >> (bits - place) != 0) {
            return {at, DigitFault::tooManyBits};
        }
        deposit(&digit, std::min(digitBits, bits - place), word, place);
        place += digitBits;
    }
    return {stop, DigitFault::none};
}

}  // namespace

void WordLayout::add(const fixed_type& type, bool isComplex) {
    for (WordPart& part : mParts) {
        part.offset += type.bits * (isComplex ? 2 : 1);
    }
    if (isComplex) {
        mParts.push_back({gridOf(type), type.bits});
    }
    mParts.push_back({gridOf(type), 0});
    mBits += type.bits * (isComplex ? 2 : 1);
}

WordPacker::WordPacker(std::span<const fixed_array> arrays) : mCount(arrays.empty() ? 0 : arrays.front().size()) {
    for (const fixed_array& array : arrays) {
        if (array.size() != mCount) {
            throw error("tolvane:words:arrays", "Arrays side by side need equal sizes; the first has " +
                                                    std::to_string(mCount) + " elements, and another one " +
                                                    std::to_string(array.size()) + ".");
        }
        mLayout.add(array.type(), array.is_complex());
        if (array.is_complex()) {
            mLimbs.push_back(ArrayAccess::imag(array)->span().limbs);
        }
        mLimbs.push_back(ArrayAccess::real(array)->span().limbs);
    }
}

void WordPacker::pack(std::size_t begin, std::size_t count, mp_limb_t* out) const {
    const std::size_t limbs = mLayout.limbs();
    if (mLimbs.size() == 1 && limbs == 1) {
        const mp_limb_t mask = maskOf(mLayout.bits());
        std::transform(mLimbs[0] + begin, mLimbs[0] + begin + count, out, [&](mp_limb_t limb) { return limb & mask; });
        return;
    }
    std::fill_n(out, count * limbs, 0);
    for (std::size_t k = 0; k < mLimbs.size(); ++k) {
        const WordPart& part = mLayout.parts()[k];
        const std::size_t step = part.grid.limbs();
        for (std::size_t i = 0; i < count; ++i) {
            deposit(mLimbs[k] + (begin + i) * step, part.grid.bits, out + i * limbs, part.offset);
        }
    }
}

std::vector<fixed_array> unpacked(std::span<const mp_limb_t> words, const WordLayout& layout,
                                  std::span<const PackedFormat> formats) {
    const std::size_t limbs = layout.limbs();
    const std::size_t count = limbs == 0 ? 0 : words.size() / limbs;
    auto part = layout.parts().begin();
    const auto next = [&] {
        wordarray made = detail::makeWords(count, part->grid);
        const std::size_t step = part->grid.limbs();
        if (layout.parts().size() == 1 && limbs == 1) {
            std::ranges::transform(words, made.limbs(),
                                   [grid = part->grid](mp_limb_t word) { return extended(word, grid); });
        }
        noteWork(count);
        for (std::size_t i = 0; i < count && (layout.parts().size() > 1 || limbs > 1); ++i) {
            extract(words.data() + i * limbs, *part, made.limbs() + i * step);
        }
        ++part;
        return made;
    };
    std::vector<fixed_array> arrays;
    for (const PackedFormat& row : formats) {
        std::optional<wordarray> imag;
        if (row.isComplex) {
            imag = next();
        }
        arrays.push_back(ArrayAccess::make(row.format.type(), {count}, next(), std::move(imag), row.format.name()));
    }
    return arrays;
}

char* writeDigits(const mp_limb_t* word, int bits, int digitBits, char* out) {
    switch (digitBits) {
        case 1:
            return writeByBytes<1>(word, bits, out);
        case 4:
            return writeByBytes<4>(word, bits, out);
        default:
            for (std::size_t k = digitsOf(bits, digitBits); k-- > 0;) {
                const int bit = static_cast<int>(k) * digitBits;
                *out++ =
                    static_cast<char>('0' + bitsAt(word, limbOf(bits - 1) + 1, bit, std::min(digitBits, bits - bit)));
            }
            return out;
    }
}

DigitsRead readDigits(const char* begin, const char* end, int bits, int digitBits, mp_limb_t* word) {
    if (bits > kLimbBits) {
        return readLong(begin, end, bits, digitBits, word);
    }
    switch (digitBits) {
        case 1:
            return readShort<1>(begin, end, bits, word);
        case 4:
            return readShort<4>(begin, end, bits, word);
        default:
            return readShort<3>(begin, end, bits, word);
    }
}

std::string explained(DigitFault fault, std::string_view text, char character, int bits, int digitBits) {
    constexpr std::size_t kMostShown = 40;
    const std::string word =
        "\"" + std::string(text.substr(0, kMostShown)) + (text.size() > kMostShown ? "..." : "") + "\" ";
    const std::string kind = digitBits == 1 ? "binary" : digitBits == 3 ? "octal" : "hexadecimal";
    switch (fault) {
        case DigitFault::unknown:
            return word + "has unknown bits ('" + character + "'), which are no number.";
        case DigitFault::tooManyDigits:
            return word + "has more than the " + std::to_string(digitsOf(bits, digitBits)) + " " + kind +
                   " digits of a word of " + std::to_string(bits) + " bits.";
        case DigitFault::tooManyBits:
            return word + "is beyond a word of " + std::to_string(bits) + " bits.";
        default: {
            const auto code = static_cast<unsigned char>(character);
            const bool isPlain = code > ' ' && code < 127;
            return word + "is no " + kind +
                   " word: " + (isPlain ? std::string("'") + character + "'" : "the byte " + std::to_string(code)) +
                   " doesn't belong there.";
        }
    }
}

}  // namespace tolvane::detail
