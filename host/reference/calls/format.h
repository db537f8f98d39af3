// printf formatting to a string of any length, and output to the listeners.
#pragma once

#include <cstdarg>
#include <string>

namespace hostref {

/// Formats without a length limit; a format that the C library refuses is returned unchanged.
std::string formatText(const char* format, va_list arguments);

/// Sends a text to the print listener, in one call.
void print(const std::string& text);
/// Sends a warning to the listener unless it is switched off.
void warn(const std::string& id, const std::string& text);

}  // namespace hostref
