// The host's feature switches (`hf` family): settings that a user of the host reads and writes by name.
#pragma once

#include "host/export.h"

struct hvArray;

/// Reads or writes one feature, in the form of a host command: with an argument it sets the state; without an argument,
/// or if a result was requested, it stores the state in `results[0]`.
using hfFeatureGateway = void (*)(int resultCount, hvArray** results, int argumentCount, hvArray** arguments);
/// Called after a feature was run with an argument.
using hfFeatureNotifier = void (*)(const char* name);

/// Registers a feature; the notifier may be null. An already registered name is left unchanged.
TOLVANE_HOST_API void hfRegisterFeature(const char* name, int defaultValue, hfFeatureNotifier notifier,
                                        hfFeatureGateway gateway);
