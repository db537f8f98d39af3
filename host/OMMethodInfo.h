// A method record: a name, its signatures, and the code that the host calls with the signature it selected.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/OMMethodSignature.h"
#include "host/export.h"

class OMClass;
class OMErrorStatus;
class OMInterface;

class TOLVANE_HOST_API OMMethodInfo {
 public:
    /// Takes the record's attribute word; this host has no such attributes, and records pass 0.
    explicit OMMethodInfo(int attributes);
    OMMethodInfo(const OMMethodInfo&) = delete;
    OMMethodInfo& operator=(const OMMethodInfo&) = delete;

    virtual ~OMMethodInfo();
    /// The class that the record was added to, or null.
    virtual OMClass* getClass() const;
    virtual bool isReadOnly() const;
    /// The signatures in the order in which they were added.
    virtual const std::vector<std::unique_ptr<OMMethodSignature>>& getMethodSignatures() const;
    /// Runs the method. `signature` is one of the record's own. Each argument is in the form of its data type; for a
    /// class, that is a handle, null if the caller passed an empty array. Stores new results, which the caller owns,
    /// and their number.
    virtual void invokeMethod(OMMethodSignature* signature, int* resultCount, void** results, int argumentCount,
                              void** arguments) = 0;
    /// As invokeMethod, except that an error goes into the status and the number of results is then 0.
    virtual void invokeMethodE(OMMethodSignature* signature, int* resultCount, void** results, int argumentCount,
                               void** arguments, OMErrorStatus& status);
    /// The handle on the record itself, for hosts that show records as objects; null here.
    virtual OMInterface* getInterface();

    const char* getName() const { return mName.c_str(); }
    /// Names the method; an invisible method can be called but isn't listed.
    void setName(const char* name, bool isVisible);
    bool isVisible() const { return mIsVisible; }
    /// Adds a signature and returns it; the record owns it.
    OMMethodSignature* addMethodSignature(std::unique_ptr<OMMethodSignature> signature);

    /// The dispatch attribute, initially true: the method is called only for an object as the first argument. If it is
    /// cleared, the object may be any argument.
    bool isDispatchedOnFirstArgument() const { return mIsDispatchedOnFirstArgument; }
    void setDispatchedOnFirstArgument(bool isOnFirst) { mIsDispatchedOnFirstArgument = isOnFirst; }
    /// The static attribute, initially false: the method is called without an object.
    bool isStatic() const { return mIsStatic; }
    void setStatic(bool isStatic) { mIsStatic = isStatic; }

 private:
    friend class OMClass;
    std::string mName;
    bool mIsVisible = false;
    bool mIsDispatchedOnFirstArgument = true;
    bool mIsStatic = false;
    OMClass* mClass = nullptr;
    std::vector<std::unique_ptr<OMMethodSignature>> mSignatures;
};
