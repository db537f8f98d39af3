// The properties and methods of class "fimath", added in the order of their tables.
#pragma once

class OMClass;

namespace tolvane::detail {

void addFimathProperties(OMClass& objectClass);
void addFimathMethods(OMClass& objectClass);
/// The methods with arrays, which are added last.
void addFimathFiMethods(OMClass& objectClass);

}  // namespace tolvane::detail
