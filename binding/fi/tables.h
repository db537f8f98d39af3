// The properties and methods of class "fi", each added in the order of its table.
#pragma once

class OMClass;

void addFiProperties(OMClass& objectClass);
void addFiMethods(OMClass& objectClass);
