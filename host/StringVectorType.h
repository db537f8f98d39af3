// The data type "string vector": a std::vector<std::string>; a cell column of char rows in arrays.
#pragma once

#include "host/OMDataType.h"

class TOLVANE_HOST_API StringVectorType : public OMDataType {
 public:
    StringVectorType();
    void releaseValue(void* value) const override;

 private:
    hvArray* convertToVelmar(const void* value) const override;
    void* convertFromVelmar(const hvArray* array) const override;
};
