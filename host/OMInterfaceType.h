// A data type whose values are handles: of one class and its descendants, or, as "handle", of any class.
//
// Its arrays are 1-by-1 object arrays that hold a reference. An empty array of numbers or logicals stands for the null
// handle, which becomes an empty array of numbers.
#pragma once

#include "host/OMDataType.h"

class OMClass;

class TOLVANE_HOST_API OMInterfaceType : public OMDataType {
 public:
    /// Takes null for the handles of any class.
    OMInterfaceType(std::string name, OMClass* objectClass);

    /// Returns null for "handle" and for a class that is gone.
    OMClass* getClass() const { return mClass; }
    void releaseValue(void* value) const override;

 private:
    friend class OMTypeRepository;
    hvArray* convertToVelmar(const void* value) const override;
    void* convertFromVelmar(const hvArray* array) const override;

    OMClass* mClass;
    bool mIsAnyClass;
};
