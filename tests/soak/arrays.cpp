#include "tests/soak/soak.h"
namespace soak {
std::span<const Unit> arrayUnits() {
    return {};
}
}  // namespace soak
