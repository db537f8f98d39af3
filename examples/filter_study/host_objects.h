// Words and rules as objects of the host.
#pragma once

#include "examples/filter_study/Arithmetic.h"
#include "host/reference/Session.h"

namespace filterstudy {

/// Makes an object of class "embedded.numerictype".
hostref::Value typeOf(hostref::Session& session, Word word);

/// Makes rules for quantizing operands: nearest, saturate.
hostref::Value quantizingRules(hostref::Session& session);

/// Sets the product and sum properties of local or global rules to those of the arithmetic.
void setRules(const hostref::Value& rules, const Arithmetic& arithmetic);

}  // namespace filterstudy
