// Texts to char arrays and back: UTF-8 outside, UTF-16 code units inside.
#include <algorithm>
#include <cstring>

#include "host/bs.h"
#include "host/reference/values/array.h"
#include "host/reference/values/texts.h"

namespace {

constexpr char32_t kReplacement = 0xFFFD;

/// Takes one code point from the front; a byte that doesn't start a well-formed sequence is taken alone and replaced.
char32_t takeCodePoint(std::string_view& text) {
    const auto byteAt = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned lead = byteAt(0);
    // Length, smallest code point of that length (shorter ones are overlong), bits of the lead byte.
    const std::size_t length = lead < 0x80 ? 1 : lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    const char32_t smallest[] = {0, 0, 0x80, 0x800, 0x10000};
    char32_t code = length == 1 ? lead : lead & (0x7Fu >> length);
    bool isWellFormed = (lead < 0x80 || (lead >= 0xC0 && lead < 0xF8)) && length <= text.size();
    for (std::size_t i = 1; isWellFormed && i < length; ++i) {
        isWellFormed = (byteAt(i) & 0xC0u) == 0x80;
        code = (code << 6) | (byteAt(i) & 0x3Fu);
    }
    const bool isSurrogate = code >= 0xD800 && code <= 0xDFFF;
    if (!isWellFormed || code < smallest[length] || code > 0x10FFFF || isSurrogate) {
        text.remove_prefix(1);
        return kReplacement;
    }
    text.remove_prefix(length);
    return code;
}

std::u16string utf16From(std::string_view text) {
    std::u16string units;
    units.reserve(text.size());
    while (!text.empty()) {
        const char32_t code = takeCodePoint(text);
        if (code < 0x10000) {
            units.push_back(static_cast<char16_t>(code));
        } else {
            units.push_back(static_cast<char16_t>(0xD800 + ((code - 0x10000) >> 10)));
            units.push_back(static_cast<char16_t>(0xDC00 + ((code - 0x10000) & 0x3FF)));
        }
    }
    return units;
}

void appendUtf8(std::string& text, char32_t code) {
    if (code < 0x80) {
        text.push_back(static_cast<char>(code));
        return;
    }
    const int trailCount = code < 0x800 ? 1 : code < 0x10000 ? 2 : 3;
    const unsigned leadMarks[] = {0, 0xC0, 0xE0, 0xF0};
    text.push_back(static_cast<char>(leadMarks[trailCount] | (code >> (6 * trailCount))));
    for (int i = trailCount - 1; i >= 0; --i) {
        text.push_back(static_cast<char>(0x80u | ((code >> (6 * i)) & 0x3Fu)));
    }
}

std::string utf8From(std::span<const hvChar> units) {
    std::string text;
    text.reserve(units.size());
    const auto isHigh = [](char32_t unit) { return unit >= 0xD800 && unit < 0xDC00; };
    const auto isLow = [](char32_t unit) { return unit >= 0xDC00 && unit < 0xE000; };
    for (std::size_t i = 0; i < units.size(); ++i) {
        const char32_t unit = units[i];
        if (isHigh(unit) && i + 1 < units.size() && isLow(units[i + 1])) {
            const char32_t low = units[++i];
            appendUtf8(text, 0x10000 + ((unit - 0xD800) << 10) + (low - 0xDC00));
        } else {
            appendUtf8(text, isHigh(unit) || isLow(unit) ? kReplacement : unit);
        }
    }
    return text;
}

void requireChar(const hvArray* array) {
    if (!hvIsChar(array)) {
        raiseError("VELMAR:array:notChar",
                   std::string("An array of class '") + hvGetClassName(array) + "' is no text.");
    }
}

}  // namespace

namespace hostref {

bool isText(const hvArray* array) {
    const std::span<const std::size_t> dimensions = hvGetDims(array);
    const auto isAtMostOne = [](std::size_t size) { return size <= 1; };
    return hvIsChar(array) && isAtMostOne(dimensions[0]) &&
           std::all_of(dimensions.begin() + 2, dimensions.end(), isAtMostOne);
}

std::string charRow(const hvArray* array, std::size_t offset, std::size_t rows, std::size_t columns) {
    const std::span<const hvChar> data = hvGetTypedData<hvChar>(array);
    std::vector<hvChar> row(columns);
    for (std::size_t column = 0; column < columns; ++column) {
        row[column] = data[offset + column * rows];
    }
    return utf8From(row);
}

std::vector<std::string> textLines(const hvArray* array) {
    requireChar(array);
    const std::size_t rows = hvGetM(array);
    const std::size_t columns = hvGetDims(array)[1];
    const std::size_t pages = columns == 0 ? 1 : hvGetN(array) / columns;
    std::vector<std::string> lines;
    lines.reserve(pages * rows);
    for (std::size_t page = 0; page < pages; ++page) {
        for (std::size_t row = 0; row < rows; ++row) {
            lines.push_back(charRow(array, page * rows * columns + row, rows, columns));
        }
    }
    return lines;
}

}  // namespace hostref

hvArray* hvCreateString(const std::string& text) {
    return hostref::withMemory([&] {
        const std::u16string units = utf16From(text);
        const std::size_t dimensions[] = {units.empty() ? std::size_t{0} : std::size_t{1}, units.size()};
        hvArrayOwner array = hostref::makeArray(dimensions, hvCHAR_CLASS);
        if (!units.empty()) {
            std::memcpy(hvGetData(array.get()), units.data(), units.size() * sizeof(hvChar));
        }
        return array.release();
    });
}

hvArray* hvCreateString(const char* text) {
    return hostref::withMemory([&] { return hvCreateString(std::string(text == nullptr ? "" : text)); });
}

std::string hvArray2String(const hvArray* array) {
    requireChar(array);
    return hostref::withMemory([&] { return utf8From(hvGetTypedData<hvChar>(array)); });
}

char* hvArrayToString(const hvArray* array) {
    return hvIsChar(array) ? bsStrdup(hvArray2String(array).c_str()) : nullptr;
}
