// One way to call a method or a constructor: the data types of arguments and results, in order.
//
// The object's address is its identity: the host passes the selected signature to the method, which compares pointers.
#pragma once

#include <vector>

#include "host/export.h"

class OMDataType;

class TOLVANE_HOST_API OMMethodSignature {
 public:
    struct Argument {
        OMDataType* dataType;
        const void* defaultValue;
    };

    OMMethodSignature() = default;
    virtual ~OMMethodSignature();
    OMMethodSignature(const OMMethodSignature&) = delete;
    OMMethodSignature& operator=(const OMMethodSignature&) = delete;

    /// Appends an argument. The default value, in the form of the type, is borrowed; null for none.
    void addArgument(OMDataType* dataType, const void* defaultValue);
    void addReturnType(OMDataType* dataType);
    /// Sets how many of the last arguments may be repeated: 0, the initial value, or 1.
    void setNumberOfRepeatableArgs(int count) { mRepeatableArgs = count; }

    int getNumberOfArgs() const { return static_cast<int>(mArguments.size()); }
    const std::vector<Argument>& getArguments() const { return mArguments; }
    int getNumberOfRepeatableArgs() const { return mRepeatableArgs; }
    /// Counts the results; -1 means any number.
    virtual int getNumberOfReturnArgs() const;
    /// Returns the type of one result; null for an index out of range.
    virtual OMDataType* getReturnType(int index) const;

 private:
    std::vector<Argument> mArguments;
    std::vector<OMDataType*> mReturnTypes;
    int mRepeatableArgs = 0;
};
