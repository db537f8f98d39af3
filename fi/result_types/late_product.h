// A product register that waits to be made: what it is made from, and its log.
//
// Products of arrays in doubles need no register, only its format and its log. So a register waits until somebody asks
// for it, and then is as it would have been had it been made at once. The log is that of the register from the start;
// it is written to the log map when the register would have written it. Only registers wait whose making can't fail and
// doesn't depend on when it is done.
#pragma once

#include <optional>

#include "fi/fi.h"

struct fi::LateProduct {
    qlogger log;  // with the type of products and the tag
    NumericType sumType;
    std::optional<fimath> rules;  // of a local register
    unsigned precision;
    bool isComplex;
};
