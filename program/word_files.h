// Files of words, for simulators of hardware, C programs and spreadsheets.
//
//     write_words("taps.hex", h);                                one hexadecimal word a line, for $readmemh
//     write_words("taps.h", h);                                  int16_t taps[64] = {...};
//     write_words("bus.hex", {x, valid});                        two arrays in one word, x on top
//     fixed_array y = read_words("result.hex", "s16,15");        what a simulator wrote
//
// A path is a text; std::filesystem::path becomes one. Words of memories and C arrays are those of the type, not
// values.
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/export.h"
#include "program/fixed_array.h"

namespace tolvane {

enum class word_style : std::uint8_t {
    memory_hex,  // Verilog's $readmemh
    memory_bin,  // Verilog's $readmemb
    c_header,
    csv,
};

/// How words are written and read. A memory's word holds an element of each array: the first array on top, and {imag,
/// real} of complex ones. A C header has an array for each, of the shortest integers that hold the words; longer words
/// than 64 bits are arrays of uint32_t with the sign extended, the lowest first, and complex elements are {real, imag}.
/// A CSV file has a column of decimal words for each, under its name, and two for complex ones, "x.re" and "x.im".
struct word_options {
    /// If missing, by the end of the path: ".h" is a C header, ".csv" a table, ".bin" and ".memb" a binary memory.
    /// Other paths, streams and texts are hexadecimal memories.
    std::optional<word_style> style = std::nullopt;
    /// The address of the first element of a memory. Written as "@address" unless it is 0.
    std::uint64_t first_address = 0;
    /// Writes "@address" once for so many words, if it isn't 0.
    std::size_t address_every = 0;
    /// Writes the value of each word behind it, as a comment; memories only.
    bool values = false;
    /// Reading: addresses of a memory without words are zeros; else they raise "tolvane:words:gap".
    bool fill_gaps = false;
    /// Lines at the top of memories and C headers, as comments; then, unless it is switched off, the names and types.
    std::string comment = {};
    bool describe = true;
    /// For an array without a name, as a C array or a column. The include guard of a C header is made of the name of
    /// its only array, or of this, or of the path if this is left as it is.
    std::string name = "words";
};

/// What a file holds of each element. Of the format the type and the name matter. Signals with names are found by them
/// in a CSV file or a C header; those without follow one another.
struct word_signal {
    fixed_format format;
    bool is_complex = false;
};

// Writing. A failed write leaves the file as it was: a new file is written beside it, and then takes its name. Errors:
// "tolvane:words:file" if the file can't be written, with the reason; "tolvane:words:arrays" if arrays of memories and
// tables differ in size, or there are none; "tolvane:words:name" for names that C doesn't have or that occur twice.

TOLVANE_API void write_words(const std::string& path, const std::vector<fixed_array>& arrays,
                             const word_options& options = {});
TOLVANE_API void write_words(const std::string& path, const fixed_array& array, const word_options& options = {});
TOLVANE_API void write_words(std::ostream& out, const std::vector<fixed_array>& arrays,
                             const word_options& options = {});
TOLVANE_API void write_words(std::ostream& out, const fixed_array& array, const word_options& options = {});
/// The text that a file would have.
TOLVANE_API std::string words_text(const std::vector<fixed_array>& arrays, const word_options& options = {});
TOLVANE_API std::string words_text(const fixed_array& array, const word_options& options = {});

// Reading, into arrays of one dimension. Texts may have line ends of all systems, comments of both kinds, addresses in
// any order, underscores within numbers, and digits of either case. Unknown bits ("x" and "z"), bad digits, more digits
// than the word has and bits beyond it, and words out of place raise "tolvane:words:text" with line and column; missing
// addresses "tolvane:words:gap"; missing columns or arrays "tolvane:words:name"; and files that can't be read
// "tolvane:words:file".

TOLVANE_API std::vector<fixed_array> read_words(const std::string& path, const std::vector<word_signal>& signals,
                                                const word_options& options = {});
TOLVANE_API std::vector<fixed_array> read_words(std::istream& in, const std::vector<word_signal>& signals,
                                                const word_options& options = {});
TOLVANE_API std::vector<fixed_array> words_from_text(std::string_view text, const std::vector<word_signal>& signals,
                                                     const word_options& options = {});
// The same for one real array.
template <std::convertible_to<fixed_format> Format>
fixed_array read_words(const std::string& path, const Format& format, const word_options& options = {}) {
    return read_words(path, std::vector<word_signal>{{format, false}}, options).front();
}
template <std::convertible_to<fixed_format> Format>
fixed_array read_words(std::istream& in, const Format& format, const word_options& options = {}) {
    return read_words(in, std::vector<word_signal>{{format, false}}, options).front();
}
template <std::convertible_to<fixed_format> Format>
fixed_array words_from_text(std::string_view text, const Format& format, const word_options& options = {}) {
    return words_from_text(text, std::vector<word_signal>{{format, false}}, options).front();
}

}  // namespace tolvane
