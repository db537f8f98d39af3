// printf formatting into a string of any length, and the way from there to the listeners.
#pragma once

#include <cstdarg>
#include <string>

namespace hostref {

/// Formats without a length limit; a format the C library refuses stands as it is.
std::string formatText(const char* format, va_list arguments);

/// Sends a text to the print listener, in one call.
void print(const std::string& text);
/// Sends a warning to the listener unless it is switched off.
void warn(const std::string& id, const std::string& text);

}  // namespace hostref
