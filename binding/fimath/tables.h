// The properties and methods of class "fimath", each added in the order of its table.
#pragma once

class OMClass;

void addFimathProperties(OMClass& objectClass);
void addFimathMethods(OMClass& objectClass);
/// The methods with arrays, which come last.
void addFimathFiMethods(OMClass& objectClass);
