// A package: it holds class records by their short names.
#pragma once

#include <string>
#include <vector>

#include "host/export.h"

class OMClass;

class TOLVANE_HOST_API OMApplication {
 public:
    /// Makes an empty package. omFindPackageOnPath finds only public packages.
    OMApplication(std::string name, bool isPublic);
    /// Releases its classes; see OMClass for what keeps a class alive.
    ~OMApplication();
    OMApplication(const OMApplication&) = delete;
    OMApplication& operator=(const OMApplication&) = delete;

    const char* getName() const { return mName.c_str(); }
    bool isPublic() const { return mIsPublic; }

    /// Takes over a heap-allocated class. A class that is already in a package, or whose name is in use, raises
    /// "VELMAR:package:classExists" and remains the caller's.
    void addLocalClass(OMClass* objectClass);
    /// Returns a class by its short name, or null.
    OMClass* getLocalClass(const char* name) const;
    /// The classes in the order in which they were added.
    const std::vector<OMClass*>& getLocalClasses() const { return mClasses; }
    /// Releases a class, which is then destroyed unless handles or subclasses keep it; does nothing for a class
    /// that isn't in this package.
    void removeLocalClass(OMClass* objectClass);

 private:
    friend class OMClass;
    void forget(OMClass* objectClass);
    void rename(OMClass* objectClass, const char* name);

    std::string mName;
    bool mIsPublic;
    std::vector<OMClass*> mClasses;
};
