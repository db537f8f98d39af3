// Evaluation of expression texts.
#pragma once

#include <string>

#include "host/hv.h"

namespace hostref {

/// Evaluates an expression such as "2^-3" to a double scalar, or a bracketed list such as "[1 2; 3 4]" to a double
/// matrix. Any other text raises "VELMAR:eval:badExpression", rows of unequal length "VELMAR:eval:rowLengths".
hvArrayOwner evaluate(const std::string& text);

}  // namespace hostref
