// Changes to saved files that get past their digest and HDF5's own checksums.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>
#include <vector>

#include "host/reference/files/hdf5_check.h"
#include "host/reference/saved_objects.h"

using Bytes = std::vector<std::byte>;

inline void sign(Bytes& file, std::size_t start, std::size_t size) {
    if (start + size + 4 <= file.size()) {
        const std::uint32_t sum = hostref::hdf5Checksum(std::span(file).subspan(start, size));
        std::memcpy(file.data() + start + size, &sum, sizeof sum);
    }
}

/// Corrects the checksums of the superblock and of the headers for their current contents.
inline void signHeaders(Bytes& file) {
    sign(file, hostref::kHeadingBytes, 44);
    for (std::size_t i = hostref::kHeadingBytes; i + 16 < file.size(); ++i) {
        if (std::memcmp(file.data() + i, "OHDR", 4) == 0) {
            const auto flags = std::to_integer<unsigned>(file[i + 5]);
            const std::size_t sizeAt = i + 6 + ((flags & 0x20U) != 0 ? 16 : 0) + ((flags & 0x10U) != 0 ? 4 : 0);
            std::uint64_t size = 0;
            const std::size_t sizeBytes = std::size_t{1} << (flags & 3U);
            if (sizeAt + sizeBytes < file.size()) {
                std::memcpy(&size, file.data() + sizeAt, sizeBytes);
            }
            if (size < file.size()) {
                sign(file, i, sizeAt + sizeBytes + size - i);
            }
        } else if (std::memcmp(file.data() + i, "OCHK", 4) == 0) {
            // The size of a continuation follows its address.
            std::array<std::byte, 8> address{};
            const std::uint64_t place = i - hostref::kHeadingBytes;
            std::memcpy(address.data(), &place, sizeof place);
            const auto found = std::search(file.begin(), file.end(), address.begin(), address.end());
            std::uint64_t size = 0;
            if (file.end() - found >= 16) {
                std::memcpy(&size, &*found + 8, sizeof size);
            }
            if (size > 4 && size < file.size()) {
                sign(file, i, size - 4);
            }
        }
    }
}

/// Replaces a text that occurs once in the file; returns whether it did.
inline bool replaceIn(Bytes& file, std::string_view old, std::string_view replacement) {
    const std::span place(reinterpret_cast<const std::byte*>(old.data()), old.size());
    const auto found = std::search(file.begin(), file.end(), place.begin(), place.end());
    if (found == file.end() || old.size() != replacement.size()) {
        return false;
    }
    std::memcpy(&*found, replacement.data(), replacement.size());
    return true;
}
