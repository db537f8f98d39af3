// The texts of types and of structure elements: owned copies, empty while unset.
#pragma once

#include <string>

namespace EmbeddedTypeSystem {

/// Raises "embeddedtype:string:InvalidStringParam".
[[noreturn]] void raiseInvalidText();

/// Stores a copy; null and empty texts change nothing. Raises as raiseInvalidText for more than 128 characters.
void storeText(std::string& target, const char* text);

/// Returns the empty text for null.
inline const char* textOrEmpty(const char* text) {
    return text == nullptr ? "" : text;
}

}  // namespace EmbeddedTypeSystem
