// The steps of arithmetic (fi/bulk/steps.inl.h) for machines that need no instruction set of their own.
#pragma once

namespace tolvane::detail::steps {

#include "fi/bulk/steps.inl.h"

}  // namespace tolvane::detail::steps
