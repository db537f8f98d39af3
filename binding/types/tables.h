// The properties and methods of the classes of C-like types.
#pragma once

class OMClass;

/// Adds the properties and methods that the class, known by its name, has of its own.
void fillTypeClass(OMClass& objectClass);
