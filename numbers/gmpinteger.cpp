#include "numbers/gmpinteger.h"

#include <algorithm>
#include <bit>
#include <cctype>
#include <utility>
#include <vector>

namespace tolvane::detail {

namespace {

constexpr mp_bitcnt_t kLimbBits = gmpinteger::kLimbBits;

std::size_t sizeOf(mpz_srcptr value) {
    return mpz_size(value);
}

std::size_t longerOf(mpz_srcptr a, mpz_srcptr b) {
    return std::max(sizeOf(a), sizeOf(b));
}

}  // namespace

gmpinteger& gmpinteger::operator=(const gmpinteger& other) {
    if (this != &other) {
        mpz_set(withRoom(other.limbs()), other);
    }
    return *this;
}

gmpinteger& gmpinteger::operator=(gmpinteger&& other) noexcept {
    if (this == &other) {
        return *this;
    }
    if (other.mOutside) {
        place(other.mValue->_mp_d, static_cast<std::size_t>(other.mValue->_mp_alloc));
        mValue->_mp_size = other.mValue->_mp_size;
        mOutside = std::move(other.mOutside);
        other.place(other.mInside, kInsideLimbs);
    } else {
        // No memory is smaller than that inside.
        mpz_set(mValue, other);
    }
    other.mValue->_mp_size = 0;
    return *this;
}

void gmpinteger::grow(std::size_t limbs) {
    HostMemory<mp_limb_t> larger(static_cast<mp_limb_t*>(allocateHostBytes(limbs * sizeof(mp_limb_t))));
    std::copy_n(mValue->_mp_d, this->limbs(), larger.get());
    place(larger.get(), limbs);
    mOutside = std::move(larger);
}

void setUnits(gmpinteger& out, std::size_t count, std::size_t unitBytes, const void* units) {
    mpz_import(out.withRoomForBits(count * unitBytes * 8), count, -1, unitBytes, 0, 0, units);
}

void add(gmpinteger& out, mpz_srcptr a, mpz_srcptr b) {
    mpz_add(out.withRoom(longerOf(a, b) + 1), a, b);
}

void subtract(gmpinteger& out, mpz_srcptr a, mpz_srcptr b) {
    mpz_sub(out.withRoom(longerOf(a, b) + 1), a, b);
}

void multiply(gmpinteger& out, mpz_srcptr a, mpz_srcptr b) {
    mpz_mul(out.withRoom(sizeOf(a) + sizeOf(b)), a, b);
}

void shiftLeft(gmpinteger& out, mpz_srcptr a, mp_bitcnt_t bits) {
    mpz_mul_2exp(out.withRoom(sizeOf(a) + bits / kLimbBits + 1), a, bits);
}

void shiftRight(gmpinteger& out, mpz_srcptr a, mp_bitcnt_t bits) {
    mpz_tdiv_q_2exp(out.withRoom(sizeOf(a) + 1), a, bits);
}

void lowBits(gmpinteger& out, mpz_srcptr a, mp_bitcnt_t bits) {
    mpz_tdiv_r_2exp(out.withRoom(std::min(sizeOf(a), bits / kLimbBits + 1) + 1), a, bits);
}

void lowBitsFromZero(gmpinteger& out, mpz_srcptr a, mp_bitcnt_t bits) {
    const std::size_t limbs = mpz_sgn(a) < 0 ? bits / kLimbBits + 1 : std::min(sizeOf(a), bits / kLimbBits + 1);
    mpz_fdiv_r_2exp(out.withRoom(limbs + 1), a, bits);
}

void setBit(gmpinteger& out, mp_bitcnt_t bit) {
    mpz_setbit(out.withRoom(std::max(out.limbs(), bit / kLimbBits + 1) + 1), bit);
}

void clearBit(gmpinteger& out, mp_bitcnt_t bit) {
    mpz_clrbit(out.withRoom(std::max(out.limbs(), bit / kLimbBits + 1) + 1), bit);
}

void divideExactly(gmpinteger& out, mpz_srcptr a, mpz_srcptr divisor) {
    mpz_divexact(out.withRoom(sizeOf(a) + 1), a, divisor);
}

void divideDown(gmpinteger& out, mpz_srcptr a, mpz_srcptr divisor) {
    mpz_fdiv_q(out.withRoom(sizeOf(a) + 2), a, divisor);
}

void power(gmpinteger& out, unsigned long base, unsigned long exponent) {
    mpz_ui_pow_ui(out.withRoom(std::bit_width(base) * exponent / kLimbBits + 8), base, exponent);
}

// Long texts are halved at powers of the base, down to lengths that GMP converts without memory.

namespace {

constexpr std::size_t kLeafLimbs = gmpinteger::kShortLimbs;

bool isPowerOfTwo(int base) {
    return std::has_single_bit(static_cast<unsigned>(base));
}

/// Digits that surely fit into the limbs of a leaf.
std::size_t leafDigits(int base) {
    return kLeafLimbs * kLimbBits / static_cast<std::size_t>(std::bit_width(static_cast<unsigned>(base)));
}

/// base^(leafDigits * 2^k) for k from 0 on.
class Powers {
 public:
    explicit Powers(int base) : mBase(base) {
        power(mPowers.emplace_back(), static_cast<unsigned long>(base), leafDigits(base));
    }
    std::size_t count() const { return mPowers.size(); }
    const gmpinteger& operator[](std::size_t k) const { return mPowers[k]; }
    std::size_t digits(std::size_t k) const { return leafDigits(mBase) << k; }
    void addSquare() {
        gmpinteger square;
        multiply(square, mPowers.back(), mPowers.back());
        mPowers.push_back(std::move(square));
    }

 private:
    int mBase;
    std::vector<gmpinteger> mPowers;
};

/// Writes the digits of a leaf; returns how many.
std::size_t writeLeaf(char* out, const gmpinteger& value, int base) {
    mpz_get_str(out, base, value);
    return std::char_traits<char>::length(out);
}

/// Writes exactly `width` digits of a value below the square of power k - 1.
void writeDigits(char* out, std::size_t width, const gmpinteger& value, int base, const Powers& powers, std::size_t k) {
    if (k == 0) {
        char digits[kLeafLimbs * kLimbBits + 2];
        const std::size_t count = writeLeaf(digits, value, base);
        std::fill_n(out, width - count, '0');
        std::copy_n(digits, count, out + (width - count));
        return;
    }
    const gmpinteger& divisor = powers[k - 1];
    gmpinteger high;
    gmpinteger low;
    if (mpz_cmp(value, divisor) < 0) {
        low = value;
    } else {
        mpz_tdiv_qr(high.withRoom(value.limbs() - divisor.limbs() + 1), low.withRoom(divisor.limbs()), value, divisor);
    }
    const std::size_t lowWidth = powers.digits(k - 1);
    writeDigits(out, width - lowWidth, high, base, powers, k - 1);
    writeDigits(out + (width - lowWidth), lowWidth, low, base, powers, k - 1);
}

void setLeaf(gmpinteger& out, std::span<const std::uint8_t> digits, int base) {
    mp_limb_t limbs[kLeafLimbs + 2];
    const auto count = digits.empty() ? 0 : mpn_set_str(limbs, digits.data(), digits.size(), base);
    setUnits(out, static_cast<std::size_t>(count), sizeof(mp_limb_t), limbs);
}

void joinDigits(gmpinteger& out, std::span<const std::uint8_t> digits, int base, const Powers& powers, std::size_t k) {
    if (k == 0) {
        setLeaf(out, digits, base);
        return;
    }
    const std::size_t lowCount = std::min(digits.size(), powers.digits(k - 1));
    joinDigits(out, digits.last(lowCount), base, powers, k - 1);
    if (lowCount < digits.size()) {
        gmpinteger high;
        joinDigits(high, digits.first(digits.size() - lowCount), base, powers, k - 1);
        multiply(high, high, powers[k - 1]);
        add(out, out, high);
    }
}

/// The value of a digit, or one that no base has.
int valueOf(char character, int base) {
    if (character >= '0' && character <= '9') {
        return character - '0';
    }
    if (character >= 'A' && character <= 'Z') {
        return character - 'A' + 10;
    }
    if (character >= 'a' && character <= 'z') {
        return character - 'a' + (base > 36 ? 36 : 10);
    }
    return 255;
}

bool isSpace(char character) {
    return std::isspace(static_cast<unsigned char>(character)) != 0;
}

}  // namespace

std::string digitsOf(const gmpinteger& value, int base) {
    gmpinteger magnitude(value);
    magnitude.makePositive();
    // One more than it may have at most, and one for the end of the text.
    std::string digits(mpz_sizeinbase(magnitude, base) + 2, '\0');
    if (isPowerOfTwo(base) || magnitude.limbs() <= kLeafLimbs) {
        digits.resize(writeLeaf(digits.data(), magnitude, base));
        return digits;
    }
    Powers powers(base);
    while (powers.digits(powers.count() - 1) * 2 < digits.size()) {
        powers.addSquare();
    }
    std::string padded(powers.digits(powers.count() - 1) * 2, '\0');
    writeDigits(padded.data(), padded.size(), magnitude, base, powers, powers.count());
    return padded.substr(std::min(padded.find_first_not_of('0'), padded.size() - 1));
}

void setDigits(gmpinteger& out, std::span<const std::uint8_t> digits, int base) {
    if (digits.size() <= leafDigits(base)) {
        setLeaf(out, digits, base);
    } else if (isPowerOfTwo(base)) {
        const auto bits = digits.size() * static_cast<std::size_t>(std::bit_width(static_cast<unsigned>(base)));
        const mpz_ptr value = out.withRoomForBits(bits);
        const mp_size_t limbs = mpn_set_str(value->_mp_d, digits.data(), digits.size(), base);
        value->_mp_size = static_cast<int>(limbs);
    } else {
        Powers powers(base);
        while (powers.digits(powers.count() - 1) * 2 < digits.size()) {
            powers.addSquare();
        }
        joinDigits(out, digits, base, powers, powers.count());
    }
}

bool readDigits(gmpinteger& out, std::string_view text, int base) {
    const auto next = [&text] {
        const char character = text.empty() ? '\0' : text.front();
        text.remove_prefix(text.empty() ? 0 : 1);
        return character;
    };
    char character = next();
    while (isSpace(character)) {
        character = next();
    }
    const bool isNegative = character == '-';
    if (isNegative) {
        character = next();
    }
    if (valueOf(character, base) >= (base == 0 ? 10 : base)) {
        return false;
    }
    if (base == 0) {
        base = 10;
        if (character == '0') {
            base = 8;
            character = next();
            const bool isHex = character == 'x' || character == 'X';
            if (isHex || character == 'b' || character == 'B') {
                base = isHex ? 16 : 2;
                character = next();
            }
        }
    }
    while (character == '0' || isSpace(character)) {
        character = next();
    }
    std::vector<std::uint8_t> digits;
    digits.reserve(text.size() + 1);
    for (; character != '\0'; character = next()) {
        if (isSpace(character)) {
            continue;
        }
        const int digit = valueOf(character, base);
        if (digit >= base) {
            return false;
        }
        digits.push_back(static_cast<std::uint8_t>(digit));
    }
    setDigits(out, digits, base);
    if (isNegative) {
        out.negate();
    }
    return true;
}

}  // namespace tolvane::detail
