// What an HDF5 file may consist of to be read here: a check of its raw bytes, made before the HDF5 library sees them.
//
// That library trusts much of what a file says, and a file that was made to harm can stop the process in it. Saving
// writes few of the format's structures: headers that hold all there is to know of a group or a dataset, links and
// marks included, and plain blocks of elements. Only these are let through, each with sizes and addresses that fit the
// file. The format is told in version 3.0 of HDF5's document of its file format; names here are those of its messages.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "host/export.h"

namespace hostref {

/// Raises "VELMAR:load:damaged", with what is wrong as the end of a sentence.
[[noreturn]] void raiseDamaged(const std::string& what);

/// Raises "VELMAR:load:damaged" for a file that saving did not write.
void checkStructure(std::span<const std::byte> hdf5File);

/// The checksum behind the format's headers: lookup3 of Bob Jenkins, which is in the public domain, by its bytes.
TOLVANE_HOST_API std::uint32_t hdf5Checksum(std::span<const std::byte> bytes);

}  // namespace hostref
