#include "typesystem/EmbeddedTypeVisitor.h"

namespace EmbeddedTypeSystem {

EmbeddedTypeVisitor::~EmbeddedTypeVisitor() = default;

}  // namespace EmbeddedTypeSystem
