// Reads files of words with any contents. What is accepted is written again, and must read back as the same words.
#include <cstdint>
#include <cstdlib>
#include <string_view>
#include <vector>

#include "program/tolvane.h"

using namespace tolvane;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    static const std::vector<word_signal> kSignals[] = {
        {{"s5,0"}}, {{"u64,3"}}, {{"s100,7"}}, {{fixed_format("u3,0", "a"), true}, {fixed_format("s70,0", "b")}}};
    const unsigned choice = data[0];
    word_options options;
    options.style = static_cast<word_style>(choice % 4);
    options.fill_gaps = (choice >> 4 & 1U) != 0;
    const std::vector<word_signal>& signals = kSignals[choice >> 2 & 3U];
    const std::string_view text(reinterpret_cast<const char*>(data) + 1, size - 1);
    std::vector<fixed_array> arrays;
    try {
        arrays = words_from_text(text, signals, options);
    } catch (const error& e) {
        if (!std::string_view(e.id()).starts_with("tolvane:words:")) {
            std::abort();
        }
        return 0;
    }
    const bool isHeader = options.style == word_style::c_header;
    for (const fixed_array& array : arrays) {
        if ((isHeader && array.size() == 0) || array.size() != arrays.front().size() || array.size() > 100000) {
            return 0;  // no file of this style holds them, or a large one
        }
    }
    if (words_from_text(words_text(arrays, options), signals, options) != arrays) {
        std::abort();
    }
    return 0;
}
