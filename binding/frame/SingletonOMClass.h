// Class records with a single instance each: built and added to the package on first use, filled once.
//
// A derived record names itself in a `ClassRow` and adds its properties, methods and constructors in `fill`. If a fill
// raises, the next `init` runs it again from its start, so it may find its own earlier records, which it replaces. The
// record belongs to the package and the handles of its objects. When it is destroyed, the state here is as before its
// first use, so a start after an early stop builds a new record.
#pragma once

#include <concepts>
#include <memory>

#include "binding/frame/handles.h"
#include "binding/frame/lifetime.h"
#include "descriptors/embedded.h"
#include "host/ErrorIdException.h"
#include "host/OMApplication.h"
#include "host/OMClass.h"
#include "host/hd.h"

namespace tolvane::detail {

/// A boolean of the class record that is set, or left at the host's default.
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
    /// Returns the record; builds it and adds it to the package if there is none. Raises the errors of the package, and
    /// "fixedpoint:module:stopped" after the module was started and stopped.
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
    static void registerOMClass() {
        if (sRegistered == nullptr) {
            if (Derived::kRow.loadsLorimer) {
                hdLoadModuleForPackageOrClass("Lorimer");
            }
            sRegistered = getInstance();
        }
    }
    /// Destroys the record, which must have no handles or subclasses left.
    static void deleteInstance() { Ender{}(sInstance); }
    /// Fills the record, once.
    static void init() {
        if (sNeedsInit) {
            getInstance()->fill();
            sNeedsInit = false;
        }
    }
    /// Adds the methods that take or return arrays, once, for a class that has them separately in `fillFiMethods`.
    static void init_fi_methods() {
        if (sNeedsFiMethods) {
            getInstance()->fillFiMethods();
            sNeedsFiMethods = false;
        }
    }

 protected:
    SingletonOMClass() {
        constexpr ClassRow kOwn = Derived::kRow;
        this->setName(kOwn.name, true);
        if (kOwn.flagA != ClassFlag::NotWritten) {
            this->setClassFlagA(kOwn.flagA == ClassFlag::Yes);
        }
        if (kOwn.flagB != ClassFlag::NotWritten) {
            this->setClassFlagB(kOwn.flagB == ClassFlag::Yes);
        }
    }
    ~SingletonOMClass() override {
        if (static_cast<OMClass*>(sInstance) == this) {
            sInstance = nullptr;
            sRegistered = nullptr;
            sNeedsInit = true;
            sNeedsFiMethods = true;
        }
    }

 private:
    struct Ender {
        void operator()(Derived* record) const { delete static_cast<OMClass*>(record); }
    };

    static inline Derived* sInstance = nullptr;
    static inline Derived* sRegistered = nullptr;
    static inline bool sNeedsInit = true;
    static inline bool sNeedsFiMethods = true;
};

/// A record whose handles own objects of a class.
template <class Derived, class Object, class Base = OMClass>
class ObjectOMClass : public SingletonOMClass<Derived, Base> {
 public:
    /// Wraps a new object in a handle, which the caller owns.
    static OMInterface* wrap(std::unique_ptr<Object> object) {
        return newHandle(std::move(object), SingletonOMClass<Derived, Base>::getInstance());
    }
    void destroyObject(OMInterface* interface) override {
        if constexpr (std::derived_from<Object, EmbeddedTypeSystem::Type>) {
            EmbeddedTypeSystem::Type::endWithHandle(interface);
        } else {
            delete objectOf<Object>(interface);
        }
    }

 protected:
    /// Raises "fixedpoint:<class>:nargchk:tooManyInputs".
    static void errorIfMoreThan(int limit, int count) {
        if (count > limit) {
            raiseError("fixedpoint:" + std::string(Derived::kRow.name) + ":nargchk:tooManyInputs",
                       "Too many input arguments");
        }
    }
};

}  // namespace tolvane::detail
