// A class record: name, superclass, properties, methods and constructor signatures, and the operations by which a class
// makes, ends and watches its objects. The defaults of these operations do no harm.
//
// A record is shared: the package that it was added to, its subclasses and the handles of its objects keep it, and it
// ends with the last of these. A record that was never added to a package belongs to who made it.
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

    /// Hands an event of an object to the listeners of this class and then to the superclass.
    virtual void notifyEvent(OMDatabaseClient* client, const OMEvent& event);
    /// The listeners of all objects of the class and its descendants; made on the first call.
    virtual OMListenerManager* getListenerManager();
    virtual void setListenerManager(std::unique_ptr<OMListenerManager> listeners);
    /// Makes an object from host arrays and returns its handle, which the caller owns; null from a class without
    /// objects of its own. `interface` is a handle that the new object is made for, or null.
    virtual OMInterface* createClassSpecificObject(OMInterface* interface, void** arguments, int count);
    /// As above with no arguments.
    virtual OMInterface* createClassSpecificObject(OMInterface* interface);
    virtual bool isPropertyNameReservedByThisClass(const char* name) const;
    /// Raises for a name that no property may have.
    virtual void validatePropertyName(const char* name) const;
    /// Takes the record out of its package. No handle and no subclass may be left.
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
    /// Ends the object of a handle whose last reference goes; must not raise.
    virtual void destroyObject(OMInterface* interface);
    virtual void unlink(OMInterface* interface);
    /// Finds a property of the class or of an ancestor by its exact name, or returns null.
    virtual OMPropInfo* getProperty(const char* name) const;
    /// Finds "A.B", the property B of the class of property A; a name without a dot as getProperty.
    virtual OMPropInfo* getCompoundProperty(const char* name) const;
    virtual OMMethodInfo* getMethod(const char* name) const;
    virtual const OMEventInfo* getEvent(const char* name) const;
    /// Lists the ancestors' records and then those of the class, each in the order of adding; a record stands in the
    /// place of an ancestor's of the same name.
    virtual std::vector<OMPropInfo*> getProperties() const;
    virtual std::vector<OMMethodInfo*> getMethods() const;
    virtual std::vector<const OMEventInfo*> getEvents() const;
    virtual int getNumberOfRuntimeProperties(OMInterface* interface) const;
    /// Returns package name, ".", name, also after the package gave the class up, or the name alone when it was never
    /// in one. Valid until the class is renamed or put into a package.
    virtual const char* getFullName() const;
    virtual const char* getDescription() const;
    virtual void setDescription(const char* description);
    /// May change an error that a property raised before it goes on; takes it over and returns the one to raise.
    virtual ErrorIdException* filterPropAccessException(ErrorIdException* error, OMPropInfo* property);
    virtual int getDispatcherClassID() const;

    /// Names the class, before it is added to a package or after (the package then finds it by the new name). A class
    /// that is not visible is found but not listed.
    void setName(const char* name, bool isVisible);
    const char* getName() const { return mName.c_str(); }
    bool isVisible() const { return mIsVisible; }
    /// Raises "VELMAR:class:cyclicSuperclass" when the class is its own ancestor then; takes null for none.
    void setSuperClass(OMClass* superClass);
    OMClass* getSuperClass() const { return mSuperClass; }
    /// Answers whether this is the other class or a descendant of it.
    bool isDescendantOf(const OMClass* other) const;
    OMApplication* getApplication() const { return mApplication; }

    void setClassFlagA(bool isSet) { mFlagA = isSet; }
    void setClassFlagB(bool isSet) { mFlagB = isSet; }
    bool getClassFlagA() const { return mFlagA; }
    bool getClassFlagB() const { return mFlagB; }

    /// Each takes over a record and returns it. A property or method replaces the class's own one of the same name, so
    /// that filling a class again after a failure is harmless.
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
    // Set by the first package: from then on the record ends with its last keeper.
    bool mIsOwnedByKeepers = false;
    std::vector<std::unique_ptr<OMPropInfo>> mProperties;
    std::vector<std::unique_ptr<OMMethodInfo>> mMethods;
    std::vector<std::unique_ptr<OMEventInfo>> mEvents;
    std::vector<std::unique_ptr<OMMethodSignature>> mConstructorSignatures;
    std::unique_ptr<OMListenerManager> mListeners;
};
