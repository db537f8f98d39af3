#include "host/hf.h"

#include <algorithm>

#include "host/ErrorIdException.h"
#include "host/reference/features.h"

namespace {

struct Registration {
    hostref::Feature feature;
    hfFeatureNotifier notifier;
    hfFeatureGateway gateway;
};

std::vector<Registration>& registrations() {
    static std::vector<Registration>& all = *new std::vector<Registration>;
    return all;
}

Registration* find(const std::string& name) {
    auto& all = registrations();
    const auto found =
        std::find_if(all.begin(), all.end(), [&](const Registration& r) { return r.feature.name == name; });
    return found == all.end() ? nullptr : &*found;
}

}  // namespace

void hfRegisterFeature(const char* name, int defaultValue, hfFeatureNotifier notifier, hfFeatureGateway gateway) {
    if (find(name) == nullptr) {
        registrations().push_back({{name, defaultValue}, notifier, gateway});
    }
}

namespace hostref {

std::vector<Feature> registeredFeatures() {
    std::vector<Feature> features;
    for (const Registration& registration : registrations()) {
        features.push_back(registration.feature);
    }
    return features;
}

hvArrayOwner runFeature(const std::string& name, int resultCount, std::span<hvArray* const> arguments) {
    const Registration* found = find(name);
    if (found == nullptr) {
        raiseError("VELMAR:feature:unknown", "There is no feature '" + name + "'.");
    }
    // A copy, because the gateway may register features.
    const Registration registration = *found;
    std::vector<hvArray*> inputs(arguments.begin(), arguments.end());
    hvArray* result = nullptr;
    registration.gateway(resultCount, &result, static_cast<int>(inputs.size()), inputs.data());
    hvArrayOwner owner(result);
    if (registration.notifier != nullptr && !inputs.empty()) {
        registration.notifier(name.c_str());
    }
    return owner;
}

void clearFeatures() {
    registrations().clear();
}

}  // namespace hostref
