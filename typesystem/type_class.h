// The class of a type, for rules about classes that this layer does not know, such as the numeric one.
#pragma once

namespace EmbeddedTypeSystem {

class Type;

/// Returns whether the type is a NumericType.
bool isNumericType(Type& type);

}  // namespace EmbeddedTypeSystem
