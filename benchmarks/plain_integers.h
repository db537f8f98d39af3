// Integers of any length in plain memory and as GMP's, and arrays with the same words.
#pragma once

#include <gmp.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <random>
#include <vector>

#include "benchmarks/known_arrays.h"
#include "fi/fi.h"
#include "host/hv.h"

__extension__ typedef __int128 Wide;
__extension__ typedef unsigned __int128 Unsigned;

inline std::size_t limbsFor(int bits) {
    return static_cast<std::size_t>(bits + 63) / 64;
}

inline mp_size_t sizeOf(std::size_t limbs) {
    return static_cast<mp_size_t>(limbs);
}

inline mp_limb_t signOf(mp_limb_t top) {
    return static_cast<mp_limb_t>(static_cast<std::int64_t>(top) >> 63);
}

/// Integers in two's complement, `width` limbs each; fresh memory, which is not cleared.
struct Integers {
    Integers(std::size_t integers, std::size_t limbsEach)
        : count(integers), width(limbsEach), limbs(std::make_unique_for_overwrite<mp_limb_t[]>(count * width)) {}
    mp_limb_t* at(std::size_t i) const { return limbs.get() + i * width; }
    std::int64_t* words() const { return reinterpret_cast<std::int64_t*>(limbs.get()); }
    mp_limb_t top(std::size_t i) const { return at(i)[width - 1]; }
    bool isNegative(std::size_t i) const { return signOf(top(i)) != 0; }
    /// For up to two limbs.
    Wide wide(std::size_t i) const {
        const mp_limb_t* const x = at(i);
        return static_cast<Wide>(static_cast<Unsigned>(width == 1 ? signOf(x[0]) : x[1]) << 64 | x[0]);
    }
    void set(std::size_t i, Wide value) const {
        at(i)[0] = static_cast<mp_limb_t>(value);
        if (width == 2) {
            at(i)[1] = static_cast<mp_limb_t>(value >> 64);
        }
    }
    bool operator==(const Integers& other) const {
        return count == other.count && width == other.width &&
               std::equal(limbs.get(), limbs.get() + count * width, other.limbs.get());
    }

    std::size_t count;
    std::size_t width;
    std::unique_ptr<mp_limb_t[]> limbs;
};

/// Random words of a length, with their signs above.
inline Integers randomWords(int bits, unsigned seed, std::size_t count) {
    std::mt19937_64 random(seed);
    Integers words(count, limbsFor(bits));
    std::generate_n(words.limbs.get(), count * words.width, [&] { return random(); });
    const auto unused = static_cast<unsigned>(sizeOf(words.width) * 64 - bits);
    for (std::size_t i = 0; i < count; ++i) {
        mp_limb_t& top = words.at(i)[words.width - 1];
        top = static_cast<mp_limb_t>(static_cast<std::int64_t>(top << unused) >> unused);
    }
    return words;
}

/// Integers of GMP.
class Bigs {
 public:
    explicit Bigs(std::size_t count) : mValues(count) {
        for (auto& value : mValues) {
            mpz_init(&value);
        }
    }
    explicit Bigs(const Integers& words) : Bigs(words.count) {
        for (std::size_t i = 0; i < words.count; ++i) {
            // ~x = -1 - x isn't negative if x is.
            const mp_limb_t sign = signOf(words.top(i));
            std::vector<mp_limb_t> magnitude(words.at(i), words.at(i) + words.width);
            for (mp_limb_t& limb : magnitude) {
                limb ^= sign;
            }
            mpz_import(mValues.data() + i, words.width, -1, sizeof(mp_limb_t), 0, 0, magnitude.data());
            if (sign != 0) {
                mpz_com(mValues.data() + i, mValues.data() + i);
            }
        }
    }
    ~Bigs() {
        for (auto& value : mValues) {
            mpz_clear(&value);
        }
    }
    Bigs(const Bigs&) = delete;
    Bigs& operator=(const Bigs&) = delete;
    std::size_t size() const { return mValues.size(); }
    mpz_ptr operator[](std::size_t i) { return mValues.data() + i; }
    mpz_srcptr operator[](std::size_t i) const { return mValues.data() + i; }
    Integers words(std::size_t width) const {
        Integers made(size(), width);
        mpz_t value;
        mpz_init(value);
        for (std::size_t i = 0; i < size(); ++i) {
            mpz_fdiv_r_2exp(value, (*this)[i], width * 64);
            for (std::size_t limb = 0; limb < width; ++limb) {
                made.at(i)[limb] = mpz_getlimbn(value, sizeOf(limb));
            }
        }
        mpz_clear(value);
        return made;
    }

 private:
    std::vector<__mpz_struct> mValues;
};

/// A column, or a matrix with `rows`, of those words; complex if there are imaginary parts.
inline FiOwner arrayOf(const Integers& re, const Integers* im, int bits, int fraction, const fimath& rules,
                       std::size_t rows = 0) {
    const std::size_t chunks = static_cast<std::size_t>(bits + 31) / 32;
    const unsigned used = static_cast<unsigned>(bits - 1) % 32 + 1;
    const auto chunksOf = [&](const Integers& words) {
        std::vector<std::uint32_t> values(words.count * chunks);
        for (std::size_t i = 0; i < values.size(); ++i) {
            const std::size_t chunk = i % chunks;
            const auto value = static_cast<std::uint32_t>(words.at(i / chunks)[chunk / 2] >> (chunk % 2 * 32));
            values[i] = chunk + 1 == chunks ? value & UINT32_MAX >> (32 - used) : value;
        }
        return values;
    };
    const std::uint64_t sizes[] = {rows == 0 ? re.count : rows, rows == 0 ? 1 : re.count / rows};
    auto array = std::make_unique<fi>(sizes, 2, EmbeddedTypeSystem::NumericType(true, bits, fraction), rules,
                                      im != nullptr, "", true, embedded::OperationTypeEnum::Assignment, 0U);
    const std::vector<std::uint32_t> real = chunksOf(re);
    const std::vector<std::uint32_t> imaginary = im ? chunksOf(*im) : std::vector<std::uint32_t>();
    array->set32BitChunkIntArray(real.data(), im ? imaginary.data() : nullptr, static_cast<int>(chunks), true);
    return array;
}

/// The words of an array, real parts first, read through its 32-bit chunks.
inline Integers wordsOf(const fi& array) {
    const hvArrayOwner chunks(
        array.getIntArrayHvArray(fi::IntArrayChunkMode::Natural, fi::IntArrayDimensionMode::First));
    const int bits = array.getWordLength();
    const std::size_t each = static_cast<std::size_t>(bits + 31) / 32;
    const std::size_t count = array.numel();
    Integers words(array.iscomplex() ? 2 * count : count, limbsFor(bits));
    const auto unused = static_cast<unsigned>(sizeOf(words.width) * 64 - bits);
    for (std::size_t i = 0; i < words.count; ++i) {
        const std::uint32_t* const from = (i < count ? hvGetTypedData<std::uint32_t>(chunks.get()).data()
                                                     : hvGetTypedImagData<std::uint32_t>(chunks.get()).data()) +
                                          i % count * each;
        std::fill_n(words.at(i), words.width, 0);
        for (std::size_t chunk = 0; chunk < each; ++chunk) {
            words.at(i)[chunk / 2] |= static_cast<mp_limb_t>(from[chunk]) << (chunk % 2 * 32);
        }
        mp_limb_t& top = words.at(i)[words.width - 1];
        top = static_cast<mp_limb_t>(static_cast<std::int64_t>(top << unused) >> unused);
    }
    return words;
}
