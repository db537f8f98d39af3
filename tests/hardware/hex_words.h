// Words as hexadecimal digits, as $readmemh, $fwrite, hread and hwrite have them: two's complement, as many digits as
// hold the bits.
#pragma once

#include <string>
#include <string_view>

#include "program/tolvane.h"

namespace hardware {

/// The word of a value that the type holds.
std::string hexWord(const tolvane::exact_value& value, const tolvane::fixed_type& type);
/// The value of a word. Digits that aren't hexadecimal, and words beyond the type, raise std::runtime_error.
tolvane::exact_value valueOfWord(std::string_view digits, const tolvane::fixed_type& type);

}  // namespace hardware
