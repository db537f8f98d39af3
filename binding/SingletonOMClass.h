// Class records of which there is one each: built and added to the package on first use, filled once.
//
// A derived record names itself in a `ClassRow` and adds its properties, methods and constructors in `fill`. A fill that
// raises is run again from its start by the next `init`, so it may find its own earlier records, which it replaces. The
// record belongs to the package and the handles of its objects; when it ends, everything here is as before its first
// use, so that a start after a stop that came too early builds a new one.
#pragma once

#include <memory>

#include "binding/lifetime.h"
#include "descriptors/embedded.h"
#include "host/OMApplication.h"
#include "host/OMClass.h"
#include "host/hd.h"

enum class ClassFlag { NotWritten, No, Yes };

struct ClassRow {
    const char* name;
    ClassFlag flagA = ClassFlag::NotWritten;
    ClassFlag flagB = ClassFlag::NotWritten;
    /// Whether registering loads the package "Lorimer" first.
    bool loadsLorimer = false;
};

template <class Derived, class Base = OMClass>
class SingletonOMClass : public Base {
 public:
    /// Returns the record; builds it and adds it to the package when there is none. Raises what the package raises, and
    /// "fixedpoint:module:stopped" once the module was stopped after a start.
    static Derived* getInstance() {
        if (sInstance == nullptr) {
            lifetime::errorIfStopped();
            std::unique_ptr<Derived, Ender> made(new Derived);
            sInstance = made.get();
            embedded::getEmbeddedPackage()->addLocalClass(sInstance);
            static_cast<void>(made.release());
        }
        return sInstance;
    }
    /// Declares the class.
    static Derived* registerOMClass() {
        if (sRegistered == nullptr) {
            if (Derived::row.loadsLorimer) {
                hdLoadModuleForPackageOrClass("Lorimer");
            }
            sRegistered = getInstance();
        }
        return sRegistered;
    }
    /// Ends the record, of which no handle and no subclass may be left.
    static void deleteInstance() { Ender{}(sInstance); }
    /// Fills the record, once.
    static void init() {
        if (sNeedsInit) {
            getInstance()->fill();
            sNeedsInit = false;
        }
    }

 protected:
    SingletonOMClass() {
        const ClassRow& row = Derived::row;
        this->setName(row.name, true);
        if (row.flagA != ClassFlag::NotWritten) {
            this->setClassFlagA(row.flagA == ClassFlag::Yes);
        }
        if (row.flagB != ClassFlag::NotWritten) {
            this->setClassFlagB(row.flagB == ClassFlag::Yes);
        }
    }
    ~SingletonOMClass() override {
        if (static_cast<OMClass*>(sInstance) == this) {
            sInstance = nullptr;
            sRegistered = nullptr;
            sNeedsInit = true;
        }
    }

 private:
    struct Ender {
        void operator()(Derived* record) const { delete static_cast<OMClass*>(record); }
    };

    static inline Derived* sInstance = nullptr;
    static inline Derived* sRegistered = nullptr;
    static inline bool sNeedsInit = true;
};
