// The data type "real point": a std::array<double, 2>; as an array, a double row of two elements.
#pragma once

#include "host/OMDataType.h"

class TOLVANE_HOST_API RealPointType : public OMDataType {
 public:
    RealPointType();
    void releaseValue(void* value) const override;

 private:
    hvArray* convertToVelmar(const void* value) const override;
    void* convertFromVelmar(const hvArray* array) const override;
};
