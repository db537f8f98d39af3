// A data type whose values are handles: of one class and its descendants, or, as "handle", of any class.
//
// Its arrays are 1-by-1 object arrays that hold a reference. An empty numeric or logical array means the null handle,
// which is converted to an empty numeric array.
#pragma once

#include "host/OMDataType.h"

class OMClass;

class TOLVANE_HOST_API OMInterfaceType : public OMDataType {
 public:
    /// A null class means handles of any class.
    OMInterfaceType(std::string name, OMClass* objectClass);

    /// Returns null for "handle" and for a destroyed class.
    OMClass* getClass() const { return mClass; }
    void releaseValue(void* value) const override;

 private:
    friend class OMTypeRepository;
    hvArray* convertToVelmar(const void* value) const override;
    void* convertFromVelmar(const hvArray* array) const override;

    OMClass* mClass;
    bool mIsAnyClass;
};
