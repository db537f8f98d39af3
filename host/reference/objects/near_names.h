// What an error says about a name or a value that there is not: what there is, and which was probably meant.
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "host/export.h"

class EnumStringType;
struct hvArray;

namespace hostref {

/// Returns " Did you mean 'WordLength'?" for the first of the names nearest to a given one; empty when none is near.
/// Near is what differs in at most a third of the letters, by letters that are left out, added, changed or exchanged
/// with their neighbour; upper and lower case are the same.
TOLVANE_HOST_API std::string suggestion(std::string_view given, std::span<const std::string> names);

/// Raises "VELMAR:datatype:badValue".
[[noreturn]] void raiseBadValue(const std::string& message);

/// Returns "one of 'saturate', 'wrap'." and a suggestion for the value that was none of them; null for an object.
std::string choicesInstead(const EnumStringType& enumeration, const hvArray* given);

}  // namespace hostref
