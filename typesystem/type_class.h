// Which class a type is of, for rules about classes that this layer does not know, such as the numeric one.
#pragma once

namespace EmbeddedTypeSystem {

class Type;

/// Answers whether the type is a NumericType.
bool isNumericType(Type& type);

}  // namespace EmbeddedTypeSystem
