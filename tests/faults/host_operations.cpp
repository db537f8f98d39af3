#include "tests/faults/operation.h"
namespace faults {
Operations hostOperations() {
    return {};
}
Operations fileOperations() {
    return {};
}
}  // namespace faults
