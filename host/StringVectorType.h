// The data type "string vector": a std::vector<std::string>; as an array, a cell column of char rows.
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
