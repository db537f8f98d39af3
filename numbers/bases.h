// Bases of texts of digits: which are taken, and how many digits a word has in one.
#pragma once

#include <string>

/// Raises the error of that id unless the base is one of 2 to `greatest`.
void requireBase(int base, int greatest, const std::string& id);

/// Returns how many digits of a base, 2 to 36, any word of 1 to 65535 bits takes.
int digitCount(int wordBits, int base);
