// The properties and methods of class "fi", added in the order of their tables.
#pragma once

class OMClass;

namespace tolvane::detail {

void addFiProperties(OMClass& objectClass);
void addFiMethods(OMClass& objectClass);

}  // namespace tolvane::detail
