// The HDF5 files that can be read here: a check of a file's raw bytes, made before the HDF5 library sees them.
//
// That library trusts much of a file's contents, and a malicious file can crash the process in it. Saving writes few of
// the format's structures: headers with the full description of a group or a dataset, including links and marks, and
// plain blocks of elements. Only these are accepted, each with sizes and addresses that fit the file. The format is
// that of HDF5's file format document, version 3.0; names here are those of its messages.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "host/export.h"

namespace hostref {

/// Raises "VELMAR:load:damaged", with what is wrong as the end of a sentence.
[[noreturn]] TOLVANE_HOST_API void raiseDamaged(const std::string& what);

/// Raises "VELMAR:load:damaged" for a file that saving did not write.
TOLVANE_HOST_API void checkStructure(std::span<const std::byte> hdf5File);

/// The checksum of the format's headers: lookup3 of Bob Jenkins, which is in the public domain, by its bytes.
TOLVANE_HOST_API std::uint32_t hdf5Checksum(std::span<const std::byte> bytes);

}  // namespace hostref
