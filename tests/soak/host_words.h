// Arrays of the host's class made of the model's words, and read as such.
#pragma once

#include <memory>
#include <vector>

#include "fi/fi.h"
#include "host/hv.h"
#include "tests/soak/arrays.h"

namespace soak {

struct HostMode {
    rounding model;
    embedded::RoundModeEnum host;
};
inline constexpr HostMode kHostModes[] = {
    {rounding::ceil, embedded::RoundModeEnum(0)},        {rounding::convergent, embedded::RoundModeEnum(1)},
    {rounding::toward_zero, embedded::RoundModeEnum(2)}, {rounding::floor, embedded::RoundModeEnum(3)},
    {rounding::nearest, embedded::RoundModeEnum(4)},     {rounding::nearest_away, embedded::RoundModeEnum(5)}};

inline std::size_t chunksPerWord(const fixed_type& type) {
    return static_cast<std::size_t>(type.bits + 31) / 32;
}

inline fixed_type typeOf(const fi& array) {
    return {array.isSigned(), array.getWordLength(), array.getFractionLength()};
}

inline std::unique_ptr<fi> zerosOf(const fixed_type& type, std::size_t count, const fimath& rules) {
    return std::make_unique<fi>(count, 1, fi::NumericType(type.is_signed, type.bits, type.fraction), rules, false, "",
                                true, embedded::OperationTypeEnum::Assignment, 0U);
}

inline std::unique_ptr<fi> arrayOfWords(const Operand<mpz_class>& operand, const fimath& rules) {
    std::unique_ptr<fi> array = zerosOf(operand.type, operand.size(), rules);
    const std::size_t each = chunksPerWord(operand.type);
    std::vector<std::uint32_t> chunks(operand.size() * each);
    for (std::size_t i = 0; i < operand.size(); ++i) {
        const mpz_class pattern = patternOf<mpz_class>(operand.at(i), operand.type);
        mpz_export(chunks.data() + i * each, nullptr, -1, sizeof chunks[0], 0, 0, pattern.get_mpz_t());
    }
    array->set32BitChunkIntArray(chunks.data(), nullptr, static_cast<int>(each), true);
    return array;
}

inline std::vector<mpz_class> wordsOf(const fi& array) {
    const fixed_type type = typeOf(array);
    const std::size_t each = chunksPerWord(type);
    const hvArrayOwner values(
        array.getIntArrayHvArray(fi::IntArrayChunkMode::Natural, fi::IntArrayDimensionMode::First));
    const auto chunks = hvGetTypedData<std::uint32_t>(static_cast<const hvArray*>(values.get()));
    std::vector<mpz_class> words;
    for (std::size_t i = 0; i < array.numel(); ++i) {
        mpz_class pattern;
        mpz_import(pattern.get_mpz_t(), each, -1, sizeof chunks[0], 0, 0, chunks.data() + i * each);
        words.push_back(wordOf<mpz_class>(pattern, type));
    }
    return words;
}

}  // namespace soak
