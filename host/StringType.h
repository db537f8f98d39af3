// The data type "string": a text from bsMalloc, null for the empty one; as an array, a char row.
#pragma once

#include "host/OMDataType.h"

class TOLVANE_HOST_API StringType : public OMDataType {
 public:
    StringType();
    void releaseValue(void* value) const override;

 private:
    hvArray* convertToVelmar(const void* value) const override;
    void* convertFromVelmar(const hvArray* array) const override;
};
