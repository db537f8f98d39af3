#include "typesystem/ScalarType.h"

namespace EmbeddedTypeSystem {

std::uint64_t ScalarType::getWidth() const {
    return 1;
}
unsigned ScalarType::isScalar() const {
    return 1;
}
unsigned ScalarType::isComplex() const {
    return 0;
}
unsigned ScalarType::isStructure() const {
    return 0;
}
unsigned ScalarType::isMatrix() const {
    return 0;
}
unsigned ScalarType::isVoid() const {
    return 0;
}
unsigned ScalarType::isPointer() const {
    return 0;
}
bool ScalarType::isComplete() const {
    return true;
}

}  // namespace EmbeddedTypeSystem
