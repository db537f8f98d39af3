// A class record: name, superclass, properties, methods and constructor signatures, and the operations by which a class
// creates, destroys and observes its objects. The default operations are harmless.
//
// A record is shared: the package that it was added to, its subclasses and the handles of its objects keep it alive,
// and the last of these destroys it. A record that was never added to a package belongs to its creator.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/OMMethodInfo.h"
#include "host/OMPropInfo.h"
#include "host/export.h"

class ErrorIdException;
class OMApplication;
class OMListenerManager;

class TOLVANE_HOST_API OMClass {
 public:
    OMClass();
    OMClass(const OMClass&) = delete;
    OMClass& operator=(const OMClass&) = delete;

    /// Passes an event of an object to the listeners of this class and then to the superclass.
    virtual void notifyEvent(OMDatabaseClient* client, const OMEvent& event);
    /// The listeners of all objects of the class and its descendants; made on the first call.
    virtual OMListenerManager* getListenerManager();
    virtual void setListenerManager(std::unique_ptr<OMListenerManager> listeners);
    /// Makes an object from host arrays and returns its handle, which the caller owns; null from a class without
    /// objects of its own. `interface` is the handle for which the new object is made, or null.
    virtual OMInterface* createClassSpecificObject(OMInterface* interface, void** arguments, int count);
    /// As above with no arguments.
    virtual OMInterface* createClassSpecificObject(OMInterface* interface);
    virtual bool isPropertyNameReservedByThisClass(const char* name) const;
    /// Raises for an invalid property name.
    virtual void validatePropertyName(const char* name) const;
    /// Removes the record from its package. No handle or subclass may remain.
    virtual ~OMClass();
    virtual bool throwErrorOnGetOfAllProperties() const;
    virtual bool canOtherClassContainThisClass(const OMClass* other) const;
    virtual bool canThisClassContainOtherClass(const OMClass* other) const;
    virtual bool canBeConstructed() const;
    virtual void prepareForPropertyChanges(OMInterface* interface);
    virtual void respondToPropertyChanges(OMInterface* interface);
    /// Called for each method of the class that is written in the host's language.
    virtual void respondToMethodAddedFromVELMAR(OMMethodInfo* method);
    virtual bool isOkToDestroy(OMInterface* interface) const;
    /// Destroys the object of a handle whose last reference was released; must not raise.
    virtual void destroyObject(OMInterface* interface);
    virtual void unlink(OMInterface* interface);
    /// Finds a property of the class or of an ancestor by its exact name, or returns null.
    virtual OMPropInfo* getProperty(const char* name) const;
    /// Finds "A.B", the property B of the class of property A; a name without a dot as getProperty.
    virtual OMPropInfo* getCompoundProperty(const char* name) const;
    virtual OMMethodInfo* getMethod(const char* name) const;
    virtual const OMEventInfo* getEvent(const char* name) const;
    /// Lists the ancestors' records and then those of the class, in the order in which they were added; a record
    /// replaces an ancestor's record of the same name, in its place.
    virtual std::vector<OMPropInfo*> getProperties() const;
    virtual std::vector<OMMethodInfo*> getMethods() const;
    virtual std::vector<const OMEventInfo*> getEvents() const;
    virtual int getNumberOfRuntimeProperties(OMInterface* interface) const;
    /// Returns package name, ".", name, even after the package has released the class, or the name alone if it was
    /// never in one. Valid until the class is renamed or added to a package.
    virtual const char* getFullName() const;
    virtual const char* getDescription() const;
    virtual void setDescription(const char* description);
    /// May replace an error raised by a property before it propagates; takes ownership of it and returns the error to
    /// raise.
    virtual ErrorIdException* filterPropAccessException(ErrorIdException* error, OMPropInfo* property);
    virtual int getDispatcherClassID() const;

    /// Names the class, before it is added to a package or after (the package then finds it by the new name). An
    /// invisible class can be found but isn't listed.
    void setName(const char* name, bool isVisible);
    const char* getName() const { return mName.c_str(); }
    bool isVisible() const { return mIsVisible; }
    /// Raises "VELMAR:class:cyclicSuperclass" if the class would become its own ancestor; null means none.
    void setSuperClass(OMClass* superClass);
    OMClass* getSuperClass() const { return mSuperClass; }
    /// Returns whether this is the other class or a descendant of it.
    bool isDescendantOf(const OMClass* other) const;
    OMApplication* getApplication() const { return mApplication; }

    void setClassFlagA(bool isSet) { mFlagA = isSet; }
    void setClassFlagB(bool isSet) { mFlagB = isSet; }
    bool getClassFlagA() const { return mFlagA; }
    bool getClassFlagB() const { return mFlagB; }

    /// Each takes ownership of a record and returns it. A property or method replaces the class's own one of the same
    /// name, so filling a class again after a failure is harmless.
    OMPropInfo* addProperty(std::unique_ptr<OMPropInfo> property);
    OMMethodInfo* addMethod(std::unique_ptr<OMMethodInfo> method);
    const OMEventInfo* addEvent(std::unique_ptr<OMEventInfo> event);
    OMMethodSignature* addConstructorSignature(std::unique_ptr<OMMethodSignature> signature);
    const std::vector<std::unique_ptr<OMMethodSignature>>& getConstructorSignatures() const {
        return mConstructorSignatures;
    }

 private:
    friend class OMApplication;
    friend class OMInterface;
    void keep() { ++mKeepers; }
    void letGo();

    std::string mName;
    std::string mFullName;
    std::string mDescription;
    bool mIsVisible = false;
    bool mFlagA = false;
    bool mFlagB = false;
    OMClass* mSuperClass = nullptr;
    OMApplication* mApplication = nullptr;
    // Counts the package, the subclasses and the handles that hold this record.
    int mKeepers = 0;
    // Set by the first package: from then on the last keeper destroys the record.
    bool mIsOwnedByKeepers = false;
    std::vector<std::unique_ptr<OMPropInfo>> mProperties;
    std::vector<std::unique_ptr<OMMethodInfo>> mMethods;
    std::vector<std::unique_ptr<OMEventInfo>> mEvents;
    std::vector<std::unique_ptr<OMMethodSignature>> mConstructorSignatures;
    std::unique_ptr<OMListenerManager> mListeners;
};
