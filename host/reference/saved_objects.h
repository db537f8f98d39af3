// Conversion of variables to the bytes of a file, and back. docs/host.md describes the layout.
//
// A file is a heading, which holds a digest of the rest, and an HDF5 file with one link per variable. For any bytes,
// reading returns the variables or raises, and a reader that raises has changed nothing.
#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "host/export.h"
#include "host/reference/Value.h"
#include "host/reference/file_bytes.h"

namespace hostref {

/// A value under a name, which is not empty.
struct Variable {
    std::string name;
    Value value;
    bool operator==(const Variable&) const = default;
};

/// The treatment of state that all objects of a class share, such as a switch that each of them shows as its own
/// property: keep it, or restore it as saved.
enum class SharedState { keep, restore };

// Raised by pointer; ids begin with "VELMAR:save:" and "VELMAR:load:".

/// Raises for empty or repeated names, values of a class that can't be saved, objects that hold themselves, and nesting
/// deeper than 200.
TOLVANE_HOST_API std::vector<std::byte> savedBytes(std::span<const Variable> variables);

/// Restores the variables, or the one of a name, in the order in which they were saved.
TOLVANE_HOST_API std::vector<Variable> loadedVariables(std::span<const std::byte> bytes, SharedState shared,
                                                       const std::optional<std::string>& name = {});
TOLVANE_HOST_API std::vector<std::string> namesIn(std::span<const std::byte> bytes);

/// The size of the heading. HDF5 searches for its signature at 0, 512, 1024 ..., so its tools can read the file.
inline constexpr std::size_t kHeadingBytes = 512;
/// Writes the heading into the room before an HDF5 file, as would a tool that changed the file.
TOLVANE_HOST_API void setHeading(std::span<std::byte> bytes);
/// Returns the HDF5 file after the heading. Raises "VELMAR:load:foreign" and "VELMAR:load:damaged".
TOLVANE_HOST_API std::span<const std::byte> behindHeading(std::span<const std::byte> bytes);

// Files.

FileBytes readFile(const std::filesystem::path& file);
/// As `savedBytes`, to a file; its name always refers to the old bytes or the new ones.
void saveFile(const std::filesystem::path& file, std::span<const Variable> variables);

}  // namespace hostref
