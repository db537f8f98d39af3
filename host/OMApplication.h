// A package: it holds class records by their short names.
#pragma once

#include <string>
#include <vector>

#include "host/export.h"

class OMClass;

class TOLVANE_HOST_API OMApplication {
 public:
    /// Makes an empty package; one that is not public is not found by omFindPackageOnPath.
    OMApplication(std::string name, bool isPublic);
    /// Gives up its classes; see OMClass for what keeps one.
    ~OMApplication();
    OMApplication(const OMApplication&) = delete;
    OMApplication& operator=(const OMApplication&) = delete;

    const char* getName() const { return mName.c_str(); }
    bool isPublic() const { return mIsPublic; }

    /// Takes over a heap-allocated class. A class that is in a package or whose name is taken raises
    /// "VELMAR:package:classExists", and stays the caller's.
    void addLocalClass(OMClass* objectClass);
    /// Returns a class by its short name, or null.
    OMClass* getLocalClass(const char* name) const;
    /// The classes in the order of adding.
    const std::vector<OMClass*>& getLocalClasses() const { return mClasses; }
    /// Gives up a class, which then ends unless handles or subclasses keep it; does nothing for one that isn't here.
    void removeLocalClass(OMClass* objectClass);

 private:
    friend class OMClass;
    void forget(OMClass* objectClass);
    void rename(OMClass* objectClass, const char* name);

    std::string mName;
    bool mIsPublic;
    std::vector<OMClass*> mClasses;
};
