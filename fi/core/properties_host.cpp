// Properties whose values are host arrays.
#include "fi/fi.h"
#include "host/hv.h"

void fi::setSignednessBool(const hvArray* value) {
    if (hvIsEmpty(value)) {
        setSignedness(Signedness::Signed);
    } else {
        NumericType type(getNumericType());
        type.setSignednessBool(value, "FI");
        applyNumericType(type);
    }
}

hvArray* fi::getCStyle() const {
    return getFimath().getCStyle();
}

void fi::setCStyle(const hvArray* value) {
    getFimath().setCStyle(value);
}
