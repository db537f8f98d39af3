// The feature registry behind hfRegisterFeature.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "host/export.h"
#include "host/hv.h"

namespace hostref {

struct Feature {
    std::string name;
    int defaultValue;
};

/// The registered features in the order of registration.
TOLVANE_HOST_API std::vector<Feature> registeredFeatures();

/// Runs the gateway of a feature as a user's command would, and returns the result that it stored (null if none). An
/// unknown name raises "VELMAR:feature:unknown".
TOLVANE_HOST_API hvArrayOwner runFeature(const std::string& name, int resultCount,
                                         std::span<hvArray* const> arguments = {});

/// Removes all features, like a newly started host.
TOLVANE_HOST_API void clearFeatures();

}  // namespace hostref
