#include "binding/filogOMClass.h"

#include "binding/EmbeddedFiSetMethodInfo.h"

void filogOMClass::fill() {
    addMethod(std::make_unique<EmbeddedFiSetMethodInfo>("FILOG"));
}

OMInterface* filogOMClass::createClassSpecificObject(OMInterface* /*interface*/, void** /*arguments*/, int count) {
    errorIfMoreThan(0, count);
    return wrap(std::make_unique<filog>());
}
