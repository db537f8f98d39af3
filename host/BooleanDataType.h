// The data type "bool": a byte, 0 or 1; as an array, a logical scalar.
#pragma once

#include "host/OMDataType.h"

class TOLVANE_HOST_API BooleanDataType : public OMDataType {
 public:
    BooleanDataType();
    void releaseValue(void* value) const override;

 private:
    hvArray* convertToVelmar(const void* value) const override;
    void* convertFromVelmar(const hvArray* array) const override;
};
