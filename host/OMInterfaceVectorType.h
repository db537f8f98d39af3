// The data type "handle vector": a std::vector<OMInterface*> that holds a reference on each; as an array, a cell column
// of object arrays.
#pragma once

#include "host/OMDataType.h"

class TOLVANE_HOST_API OMInterfaceVectorType : public OMDataType {
 public:
    OMInterfaceVectorType();
    void releaseValue(void* value) const override;

 private:
    hvArray* convertToVelmar(const void* value) const override;
    void* convertFromVelmar(const hvArray* array) const override;
};
