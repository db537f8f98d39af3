// The output of a case, as lines of text or as one number.
//
// Both builds of the driver write the same calls into a transcript. For speed a run keeps only a hash of every case; a
// case whose hashes differ is run again as text. All NaNs are treated as one value: their sign and payload are
// unspecified.
#pragma once

#include <bit>
#include <cinttypes>
#include <concepts>
#include <cstdint>
#include <cstdio>
#include <span>
#include <string_view>
#include <type_traits>

class Transcript {
 public:
    /// Writes text if `isText`, otherwise only hashes.
    explicit Transcript(bool isText) : mIsText(isText) {}

    bool isText() const { return mIsText; }
    std::uint64_t hash() const { return mHash; }
    /// Shows a line: a label, which is only text, and values.
    template <class... T>
    void operator()(const char* label, const T&... values) {
        if (mIsText) {
            std::fputs(label, stdout);
            (put(values), ...);
            std::fputc('\n', stdout);
        } else {
            mix(sizeof...(values));
            (put(values), ...);
        }
    }
    /// Makes sure that the text is written even if the process dies.
    void flush() const {
        if (mIsText) {
            std::fflush(stdout);
        }
    }

 private:
    void mix(std::uint64_t value) {
        mHash = (mHash ^ value) * 0x9E3779B97F4A7C15U;
        mHash ^= mHash >> 29U;
    }
    void put(double value) {
        if (mIsText) {
            value != value ? std::fputs(" nan", stdout) : std::printf(" %a", value);
        } else {
            mix(value != value ? 0x7FF8000000000000U : std::bit_cast<std::uint64_t>(value));
        }
    }
    void put(float value) { put(static_cast<double>(value)); }
    template <std::integral T>
    void put(T value) {
        if (!mIsText) {
            mix(static_cast<std::uint64_t>(value));
        } else if constexpr (std::is_signed_v<T>) {
            std::printf(" %" PRId64, static_cast<std::int64_t>(value));
        } else {
            std::printf(" %" PRIu64, static_cast<std::uint64_t>(value));
        }
    }
    template <class T>
    requires std::is_enum_v<T>
    void put(T value) { put(static_cast<std::int64_t>(value)); }
    void put(std::string_view text) {
        if (mIsText) {
            std::printf(" \"%.*s\"", static_cast<int>(text.size()), text.data());
        } else {
            mix(text.size());
            for (const char letter : text) {
                mix(static_cast<unsigned char>(letter));
            }
        }
    }
    void put(const char* text) { put(std::string_view(text == nullptr ? "(null)" : text)); }
    template <class T, std::size_t n>
    void put(std::span<const T, n> values) {
        put(values.size());
        for (const T& value : values) {
            put(value);
        }
    }

    bool mIsText;
    std::uint64_t mHash = 0;
};
