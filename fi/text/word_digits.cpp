#include "fi/text/word_digits.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cstring>
#include <string>

#include "numbers/gmpinteger.h"

namespace tolvane::detail {

namespace {

constexpr std::size_t kLimbBits = WordGrid::kLimbBits;

constexpr hvChar digitCharacter(mp_limb_t digit) {
    return static_cast<hvChar>(digit + (digit < 10 ? u'0' : u'a' - 10));
}

/// The characters of groups of digits, for each base.
template <std::size_t digitBits, std::size_t digits>
struct Groups {
    static constexpr std::size_t kBits = digitBits * digits;
    using Group = std::array<hvChar, digits>;
    static constexpr auto kAll = [] {
        std::array<Group, std::size_t{1} << kBits> all{};
        for (std::size_t bits = 0; bits < all.size(); ++bits) {
            for (std::size_t i = 0; i < digits; ++i) {
                all[bits][digits - 1 - i] = digitCharacter(bits >> (i * digitBits) & ((1U << digitBits) - 1));
            }
        }
        return all;
    }();
};

mp_limb_t lowMask(std::size_t bits) {
    return bits >= kLimbBits ? ~mp_limb_t{0} : (mp_limb_t{1} << bits) - 1;
}

/// Sets the bits of a word above its top bit.
void extend(const WordGrid& grid, std::span<mp_limb_t> word) {
    const auto unused = static_cast<unsigned>(word.size() * kLimbBits - static_cast<std::size_t>(grid.bits));
    if (grid.isSigned) {
        word.back() = static_cast<mp_limb_t>(static_cast<std::int64_t>(word.back() << unused) >> unused);
    }
}

bool isWithin(const WordGrid& grid, std::span<const mp_limb_t> word) {
    return (word.back() & ~lowMask(static_cast<std::size_t>(grid.bits) - (word.size() - 1) * kLimbBits)) == 0;
}

}  // namespace

int BinaryDigits::bitsOf(int base) {
    return base >= 2 && base <= 32 && std::has_single_bit(static_cast<unsigned>(base))
               ? std::countr_zero(static_cast<unsigned>(base))
               : 0;
}

BinaryDigits::BinaryDigits(const WordSpan& words, int base)
    : mWords(words),
      mLimbs(words.grid.limbs()),
      mWordBits(static_cast<std::size_t>(words.grid.bits)),
      mDigitBits(static_cast<std::size_t>(bitsOf(base))) {}

/// Some bits of a word, and zeros above its top bit.
mp_limb_t BinaryDigits::bits(std::uint64_t word, std::size_t low, std::size_t count) const {
    if (low >= mWordBits) {
        return 0;
    }
    const mp_limb_t* const limb = mWords.limbs + word * mLimbs + low / kLimbBits;
    const std::size_t shift = low % kLimbBits;
    mp_limb_t result = *limb >> shift;
    if (shift + count > kLimbBits && low / kLimbBits + 1 < mLimbs) {
        result |= limb[1] << (kLimbBits - shift);
    }
    return result & lowMask(std::min(count, mWordBits - low));
}

/// Writes groups of digits, the lowest first.
void BinaryDigits::writeOne(std::uint64_t word, std::size_t width, hvChar* out) const {
    std::size_t done = 0;
    const auto writeGroups = [&]<class Table>(Table) {
        constexpr std::size_t kDigits = std::tuple_size_v<typename Table::Group>;
        for (; done + kDigits <= width; done += kDigits) {
            const auto& group = Table::kAll[bits(word, done * mDigitBits, Table::kBits)];
            std::memcpy(out + width - done - kDigits, group.data(), sizeof(group));
        }
    };
    if (mDigitBits == 1) {
        writeGroups(Groups<1, 8>());
    } else if (mDigitBits == 3) {
        writeGroups(Groups<3, 2>());
    } else if (mDigitBits == 4) {
        writeGroups(Groups<4, 2>());
    }
    for (; done < width; ++done) {
        out[width - 1 - done] = digitCharacter(bits(word, done * mDigitBits, mDigitBits));
    }
}

void BinaryDigits::write(std::uint64_t first, std::size_t rows, std::size_t width, hvChar* out) const {
    if (rows == 1) {
        writeOne(first, width, out);
        return;
    }
    for (std::size_t top = 0; top < rows; top += kTile) {
        // Digits that don't cross them come from short units, of which vectors hold more.
        if (16 % mDigitBits == 0) {
            writeTile<std::uint16_t>(first + top, std::min(kTile, rows - top), rows, width, out + top);
        } else {
            writeTile<mp_limb_t>(first + top, std::min(kTile, rows - top), rows, width, out + top);
        }
    }
}

/// Writes a place for all rows, in vectors where their number is constant, before the next place.
template <class Unit>
void BinaryDigits::writeTile(std::uint64_t first, std::size_t count, std::size_t rows, std::size_t width,
                             hvChar* out) const {
    constexpr std::size_t kUnitBits = 8 * sizeof(Unit);
    std::array<Unit, kTile> units;
    const auto mask = static_cast<std::uint16_t>((1U << mDigitBits) - 1);
    std::size_t loaded = ~std::size_t{0};
    const auto forRows = [&](const auto& run) {
        constexpr std::size_t kStep = 16;
        std::size_t row = 0;
        for (; row + kStep <= count; row += kStep) {
            run(row, kStep);
        }
        run(row, count - row);
    };
    for (std::size_t place = 0; place < width; ++place) {
        const std::size_t low = place * mDigitBits;
        const std::size_t shift = low % kUnitBits;
        hvChar* const to = out + (width - 1 - place) * rows;
        if (low + mDigitBits > mWordBits || shift + mDigitBits > kUnitBits) {
            for (std::size_t row = 0; row < count; ++row) {
                to[row] = digitCharacter(bits(first + row, low, mDigitBits));
            }
            continue;
        }
        if (low / kUnitBits != loaded) {
            loaded = low / kUnitBits;
            const mp_limb_t* const words = mWords.limbs + first * mLimbs + low / kLimbBits;
            const std::size_t start = low % kLimbBits - shift;
            forRows([&](std::size_t begin, std::size_t number) {
                for (std::size_t row = begin; row < begin + number; ++row) {
                    units[row] = static_cast<Unit>(words[row * mLimbs] >> start);
                }
            });
        }
        forRows([&](std::size_t begin, std::size_t number) {
            for (std::size_t row = begin; row < begin + number; ++row) {
                const auto digit = static_cast<std::uint16_t>(units[row] >> shift & mask);
                to[row] = static_cast<hvChar>(digit + u'0' + (digit > 9 ? u'a' - u'0' - 10 : 0));
            }
        });
    }
}

DecimalDigits::DecimalDigits(const WordSpan& words)
    : mWords(words),
      mLimbs(words.grid.limbs()),
      mCopy(mLimbs + 1),
      mText(static_cast<std::size_t>(words.grid.bits) * 31 / 100 + 22, ' ') {}

bool DecimalDigits::isBelowZero(std::uint64_t word) const {
    return mWords.grid.isSigned && mWords.limbs[(word + 1) * mLimbs - 1] >> (kLimbBits - 1) != 0;
}

std::string_view DecimalDigits::ofPattern(std::uint64_t word) {
    std::copy_n(mWords.limbs + word * mLimbs, mLimbs, mCopy.begin());
    mCopy[mLimbs - 1] &= lowMask(static_cast<std::size_t>(mWords.grid.bits) - (mLimbs - 1) * kLimbBits);
    return ofLimbs();
}

std::string_view DecimalDigits::ofMagnitude(std::uint64_t word) {
    const mp_limb_t* const limbs = mWords.limbs + word * mLimbs;
    if (isBelowZero(word)) {
        mpn_neg(mCopy.data(), limbs, static_cast<mp_size_t>(mLimbs));
    } else {
        std::copy_n(limbs, mLimbs, mCopy.begin());
    }
    return ofLimbs();
}

std::string_view DecimalDigits::ofLimbs() {
    std::size_t used = mLimbs;
    while (used > 0 && mCopy[used - 1] == 0) {
        --used;
    }
    if (used <= 1) {
        const char* const end = std::to_chars(mText.data(), mText.data() + mText.size(), mCopy[0]).ptr;
        return {mText.data(), end};
    }
    if (used > gmpinteger::kShortLimbs) {
        gmpinteger integer;
        setUnits(integer, used, sizeof(mp_limb_t), mCopy.data());
        const std::string digits = digitsOf(integer, 10);
        std::ranges::copy(digits, mText.begin());
        return {mText.data(), digits.size()};
    }
    auto* const digits = reinterpret_cast<unsigned char*>(mText.data());
    const std::size_t count = mpn_get_str(digits, 10, mCopy.data(), static_cast<mp_size_t>(used));
    std::for_each(digits, digits + count,
                  [](unsigned char& digit) { digit = static_cast<unsigned char>(digit + '0'); });
    const std::string_view text(mText.data(), count);
    return text.substr(std::min(text.find_first_not_of('0'), count - 1));
}

WordReader::WordReader(const WordGrid& grid, int base)
    : mGrid(grid), mBase(base), mDigitBits(static_cast<std::size_t>(BinaryDigits::bitsOf(base))) {}

bool WordReader::read(std::span<const std::uint8_t> digits, std::span<mp_limb_t> word) {
    std::ranges::fill(word, mp_limb_t{0});
    const bool fits = mDigitBits != 0 ? readBits(digits, word) : readDigits(digits, word);
    if (!fits || !isWithin(mGrid, word)) {
        return false;
    }
    extend(mGrid, word);
    return true;
}

bool WordReader::readBits(std::span<const std::uint8_t> digits, std::span<mp_limb_t> word) const {
    if (kLimbBits % mDigitBits == 0) {
        const std::size_t digitsPerLimb = kLimbBits / mDigitBits;
        std::size_t end = digits.size();
        for (mp_limb_t& limb : word) {
            const std::size_t begin = end - std::min(end, digitsPerLimb);
            for (std::size_t i = begin; i < end; ++i) {
                limb = limb << mDigitBits | digits[i];
            }
            end = begin;
        }
        return std::all_of(digits.begin(), digits.begin() + static_cast<std::ptrdiff_t>(end),
                           [](std::uint8_t digit) { return digit == 0; });
    }
    std::size_t low = 0;
    for (std::size_t i = digits.size(); i-- > 0; low += mDigitBits) {
        const mp_limb_t digit = digits[i];
        const std::size_t limb = low / kLimbBits;
        const std::size_t shift = low % kLimbBits;
        if (limb >= word.size()) {
            if (digit != 0) {
                return false;
            }
            continue;
        }
        word[limb] |= digit << shift;
        const mp_limb_t above = shift + mDigitBits > kLimbBits ? digit >> (kLimbBits - shift) : 0;
        if (above != 0) {
            if (limb + 1 == word.size()) {
                return false;
            }
            word[limb + 1] = above;
        }
    }
    return true;
}

bool WordReader::readDigits(std::span<const std::uint8_t> digits, std::span<mp_limb_t> word) {
    const auto first = std::ranges::find_if(digits, [](std::uint8_t digit) { return digit != 0; });
    digits = digits.subspan(static_cast<std::size_t>(first - digits.begin()));
    if (digits.empty()) {
        return true;
    }
    constexpr std::size_t kDigitsInLimb = 12;
    if (digits.size() <= kDigitsInLimb) {
        for (const std::uint8_t digit : digits) {
            word[0] = word[0] * static_cast<mp_limb_t>(mBase) + digit;
        }
        return true;
    }
    gmpinteger integer;
    setDigits(integer, digits, mBase);
    const std::size_t used = integer.limbs();
    const std::span<const mp_limb_t> value(mpz_limbs_read(integer), used);
    std::copy_n(value.begin(), std::min(used, word.size()), word.begin());
    return std::all_of(value.begin() + static_cast<std::ptrdiff_t>(std::min(used, word.size())), value.end(),
                       [](mp_limb_t limb) { return limb == 0; });
}

}  // namespace tolvane::detail
