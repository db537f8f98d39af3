// The host's display of values (`ho` family).
#pragma once

#include "host/export.h"

struct hvArray;

/// Prints a numeric, logical or char array in a compact form, in one call of the print listener: a line for each row,
/// columns aligned, pages of an array of more than two dimensions under a heading. An empty array prints "     []\n".
/// A class without plain data raises "VELMAR:array:notNumericClass".
TOLVANE_HOST_API void hoPrintMatrixCompact(const hvArray* array);
