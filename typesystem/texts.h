// The texts of types and of structure elements: owned copies, empty while unset.
#pragma once

#include <string>

#include "host/export.h"

namespace EmbeddedTypeSystem {

/// Raises "embeddedtype:string:InvalidStringParam".
[[noreturn]] TOLVANE_API void raiseInvalidText();

/// Stores a copy; null and empty texts change nothing. Raises as raiseInvalidText for more than 128 characters.
TOLVANE_API void storeText(std::string& target, const char* text);

/// Returns the empty text for null.
inline const char* textOrEmpty(const char* text) {
    return text == nullptr ? "" : text;
}

}  // namespace EmbeddedTypeSystem
