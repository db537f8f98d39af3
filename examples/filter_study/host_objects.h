// Words and rules as objects of the host.
#pragma once

#include "examples/filter_study/Arithmetic.h"
#include "host/reference/Session.h"

namespace filterstudy {

/// Makes an object of class "embedded.numerictype".
hostref::Value typeOf(hostref::Session& session, Word word);

/// Makes rules by which operands become words: to nearest, saturated.
hostref::Value quantizingRules(hostref::Session& session);

/// Sets local or global rules to take products and sums as the arithmetic does.
void setRules(const hostref::Value& rules, const Arithmetic& arithmetic);

}  // namespace filterstudy
