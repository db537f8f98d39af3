// Texts for errors about an unknown name or value: the possible ones, and the one that was probably meant.
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "host/export.h"

class EnumStringType;
struct hvArray;

namespace hostref {

/// Returns " Did you mean 'WordLength'?" for the first of the names nearest to a given one; empty if none is near. A
/// name is near if it differs in at most a third of the letters, by letters that are omitted, added, changed or swapped
/// with their neighbour; case is ignored.
TOLVANE_HOST_API std::string suggestion(std::string_view given, std::span<const std::string> names);

/// Raises "VELMAR:datatype:badValue".
[[noreturn]] void raiseBadValue(const std::string& message);

/// Returns "one of 'saturate', 'wrap'." and a suggestion for the value that isn't one of them; `given` is null for an
/// object.
std::string choicesInstead(const EnumStringType& enumeration, const hvArray* given);

}  // namespace hostref
