#include "binding/QloggerOMClass.h"

#include "binding/EmbeddedFiSetMethodInfo.h"

void QloggerOMClass::fill() {
    addMethod(std::make_unique<EmbeddedFiSetMethodInfo>("QLOGGER"));
}

OMInterface* QloggerOMClass::createClassSpecificObject(OMInterface* /*interface*/, void** /*arguments*/, int count) {
    errorIfMoreThan(0, count);
    return wrap(std::make_unique<qlogger>(false));
}
