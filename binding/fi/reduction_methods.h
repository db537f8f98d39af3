// Methods of class "fi" that reduce a dimension.
#pragma once

#include "binding/frame/methods.h"

/// Sums along the first dimension and reports what the sums overflowed.
void giveLeadingDimensionSum(const MethodCall& call);
