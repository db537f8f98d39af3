#include "binding/TypeOMClasses.h"

#include "host/OMApplicationManager.h"

void setLorimerSuperClass(OMClass& objectClass) {
    if (const OMApplication* const lorimer = OMApplicationManager::getApplication("Lorimer")) {
        objectClass.setSuperClass(lorimer->getLocalClass("Object"));
    }
}
