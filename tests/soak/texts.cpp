// Words and values as texts, beside GMP's own texts, and files of words: as they are written, and with changes.
#include <algorithm>
#include <string>
#include <vector>

#include "tests/soak/arrays.h"

namespace soak {
namespace {

using tolvane::fixed_array;
using Strings = std::vector<std::string>;

std::string padded(const std::string& digits, std::size_t width) {
    return std::string(width - std::min(width, digits.size()), '0') + digits;
}

std::string digitsOf(const mpz_class& word, const fixed_type& type, int digitBits) {
    return padded(patternOf<mpz_class>(word, type).get_str(1 << digitBits),
                  static_cast<std::size_t>((type.bits + digitBits - 1) / digitBits));
}

/// word * 2^-fraction, exactly.
std::string decimalOf(const mpz_class& word, int fraction) {
    if (fraction <= 0) {
        return timesPower<mpz_class>(word, -fraction).get_str();
    }
    mpz_class fives;
    mpz_ui_pow_ui(fives.get_mpz_t(), 5, static_cast<unsigned long>(fraction));
    std::string text = padded(mpz_class(abs(word) * fives).get_str(), static_cast<std::size_t>(fraction) + 1);
    text.insert(text.size() - static_cast<std::size_t>(fraction), ".");
    text.erase(text.find_last_not_of('0') + 1);
    if (text.back() == '.') {
        text.pop_back();
    }
    return word < 0 ? "-" + text : text;
}

Outcome texts(const Case& oneCase) {
    Draw draw(oneCase.seed);
    const std::size_t size = static_cast<std::size_t>(draw.between(1, 40));
    const std::size_t first = oneCase.window.begin(size);
    const fixed_type type = drawnType<mpz_class>(draw, 600);
    const Operand<mpz_class> x(type, draw.bits(), first, oneCase.window.end(size) - first);
    const Strings written[] = {to_bin(x.array), to_oct(x.array), to_hex(x.array), to_decimal(x.array)};
    Strings expected[4];
    for (std::size_t i = 0; i < x.size(); ++i) {
        expected[0].push_back(digitsOf(x.at(i), type, 1));
        expected[1].push_back(digitsOf(x.at(i), type, 3));
        expected[2].push_back(digitsOf(x.at(i), type, 4));
        expected[3].push_back(decimalOf(x.at(i), type.fraction));
    }
    for (std::size_t k = 0; k < std::size(written); ++k) {
        for (std::size_t i = 0; i < x.size(); ++i) {
            if (written[k][i] != expected[k][i]) {
                return mismatch(first + i, "text ", k, " of ", x.describe(i), " is ", written[k][i], ", expected ",
                                expected[k][i]);
            }
        }
    }
    const fixed_array read[] = {tolvane::from_bin(expected[0], type), tolvane::from_oct(expected[1], type),
                                tolvane::from_hex(expected[2], type), tolvane::from_decimal(expected[3], type)};
    for (const fixed_array& again : read) {
        if (again != x.array || again.type() != type) {
            return mismatch(first, "text ", &again - read, " of ", type, " isn't read back; first ", x.describe(0));
        }
    }
    // Decimal numbers of any kind, each rounded once.
    const fixed_format format(type, draw.of(kRoundings), draw.of(kOverflows));
    const int power = draw.between(-30, 30);
    Strings decimals;
    std::vector<mpz_class> numbers;
    for (std::size_t i = first; i < oneCase.window.end(size); ++i) {
        Draw own(oneCase.seed + i * 1000003);
        const fixed_type digits{true, own.between(2, type.bits + 8), 0};
        numbers.push_back(drawnWord<mpz_class>(digits, own.bits()));
        const std::string text = mpz_class(abs(numbers.back())).get_str();
        const std::size_t point = static_cast<std::size_t>(own.between(0, static_cast<int>(text.size())));
        decimals.push_back((numbers.back() < 0 ? "-" : "") + text.substr(0, point) + "." + text.substr(point) + "e" +
                           std::to_string(power + static_cast<int>(text.size() - point)));
    }
    const fixed_array rounded = tolvane::from_decimal(decimals, format);
    mpz_class tens;
    mpz_ui_pow_ui(tens.get_mpz_t(), 10, static_cast<unsigned long>(std::abs(power)));
    const Words<mpz_class> words(type, format.overflow());
    Outcome outcome = withRounding(format.rounding(), [&](auto rule) {
        return compared<mpz_class>(
            rounded, type.fraction, decimals.size(), first,
            [&](std::size_t i) {
                mpz_class dividend = timesPower<mpz_class>(numbers[i], std::max(type.fraction, 0));
                mpz_class divisor = timesPower<mpz_class>(mpz_class(1), std::max(-type.fraction, 0));
                (power >= 0 ? dividend : divisor) *= tens;
                return words.forced(roundedRatio<decltype(rule)::value, mpz_class>(dividend, divisor));
            },
            [&](std::size_t i) { return decimals[i] + " in " + format.text(); });
    });
    outcome.checked = x.size() * 9;
    return outcome;
}

/// Files of words are read back; changed ones are refused with an id, or read, and then written and read again.
Outcome wordFiles(const Case& oneCase) {
    Draw draw(oneCase.seed);
    tolvane::word_options options;
    options.style = static_cast<tolvane::word_style>(draw.between(0, 3));
    options.values = draw.oneIn(3);
    options.describe = draw.oneIn(2);
    options.fill_gaps = draw.oneIn(2);
    options.address_every = draw.oneIn(3) ? static_cast<std::size_t>(draw.between(1, 7)) : 0;
    const bool isMemory =
        options.style == tolvane::word_style::memory_hex || options.style == tolvane::word_style::memory_bin;
    options.first_address = isMemory && draw.oneIn(3) ? static_cast<std::uint64_t>(draw.between(0, 300)) : 0;
    const std::size_t size = static_cast<std::size_t>(draw.between(1, 12));
    std::vector<fixed_array> arrays;
    std::vector<tolvane::word_signal> signals;
    std::vector<Operand<mpz_class>> operands;
    for (int count = draw.between(1, 3); count > 0; --count) {
        const fixed_type type = drawnType<mpz_class>(draw, 140);
        operands.emplace_back(type, draw.bits(), 0, size);
        const std::string name = std::string(1, static_cast<char>('a' + count));
        arrays.push_back(operands.back().array.named(name));
        signals.push_back({fixed_format(type).named(name)});
    }
    const std::string text = words_text(arrays, options);
    const auto named = [&](const char* what) { return mismatch(0, what, ":\n", text); };
    if (options.style == tolvane::word_style::memory_hex && !options.values) {
        // All arrays in one word of a line, the first on top.
        std::string expected;
        int bits = 0;
        for (const auto& operand : operands) {
            bits += operand.type.bits;
        }
        for (std::size_t i = 0; i < size; ++i) {
            mpz_class word;
            for (const auto& operand : operands) {
                word =
                    timesPower<mpz_class>(word, operand.type.bits) + patternOf<mpz_class>(operand.at(i), operand.type);
            }
            expected += digitsOf(word, {false, bits, 0}, 4) + "\n";
        }
        std::string lines;
        for (std::size_t begin = 0; begin < text.size(); begin = text.find('\n', begin) + 1) {
            const std::string line = text.substr(begin, text.find('\n', begin) + 1 - begin);
            lines += line[0] == '/' || line[0] == '@' ? "" : line;
        }
        if (lines != expected) {
            return named("words of a memory");
        }
    }
    if (words_from_text(text, signals, options) != arrays) {
        return named("not read back");
    }
    constexpr int kChanges = 8;
    for (int change = 0; change < kChanges; ++change) {
        std::string changed = text;
        for (int count = draw.between(1, 4); count > 0 && !changed.empty(); --count) {
            static constexpr char kCharacters[] = "0123456789abcdefABCDEFxz_@/*\n\t ,{}-+.;\"\r#";
            const auto at = static_cast<std::size_t>(draw.between(0, static_cast<int>(changed.size()) - 1));
            const auto length = std::min(changed.size() - at, static_cast<std::size_t>(draw.between(1, 9)));
            switch (draw.between(0, 3)) {
                case 0:
                    changed[at] = kCharacters[draw.bits() % (sizeof kCharacters - 1)];
                    break;
                case 1:
                    changed.erase(at, length);
                    break;
                case 2:
                    changed.insert(
                        at,
                        changed.substr(static_cast<std::size_t>(draw.between(0, static_cast<int>(changed.size()) - 1)),
                                       length));
                    break;
                default:
                    changed[at] = static_cast<char>(draw.bits());
            }
        }
        std::vector<fixed_array> read;
        try {
            read = words_from_text(changed, signals, options);
        } catch (const tolvane::error& e) {
            if (!std::string(e.id()).starts_with("tolvane:words:")) {
                return mismatch(0, "refused by ", e.id(), ":\n", changed);
            }
            continue;
        }
        const bool isWritable = std::all_of(read.begin(), read.end(), [&](const fixed_array& array) {
            return array.size() == read.front().size() && array.size() != 0 && array.size() < 10000;
        });
        if (isWritable && words_from_text(words_text(read, options), signals, options) != read) {
            return mismatch(0, "not read back after a change:\n", changed);
        }
    }
    return {kChanges + 1, {}, 0};
}

}  // namespace

std::span<const Unit> textUnits() {
    static constexpr Unit kUnits[] = {
        {"texts", "texts", 0.5, texts},
        {"word-files", "files of words", 0.5, wordFiles},
    };
    return kUnits;
}

}  // namespace soak
