// The class records of the tree of C-like data types: "type" at its root, and below it one record per kind of type. The
// record "structelement" is beside the tree. Properties and methods: tables.cpp.
//
// A record is filled when it is built, since it refers only to its own ancestors. Handles represent descriptors: a type
// that is read from another, as its base type or that of an element, is returned as the one handle on that descriptor.
#pragma once

#include <memory>
#include <type_traits>

#include "binding/frame/SingletonOMClass.h"
#include "binding/frame/methods.h"
#include "typesystem/CharType.h"
#include "typesystem/ComplexType.h"
#include "typesystem/FIEnumType.h"
#include "typesystem/MatrixType.h"
#include "typesystem/OpaqueType.h"
#include "typesystem/PointerType.h"
#include "typesystem/StructElement.h"
#include "typesystem/StructType.h"
#include "typesystem/VoidType.h"

namespace tolvane::detail {

/// Makes the class "Object" of the package "Lorimer" the superclass, if that is present.
void setLorimerSuperClass(OMClass& objectClass);

/// Adds the class's own properties and methods, by its name.
void fillTypeClass(OMClass& objectClass);

}  // namespace tolvane::detail

/// The root, which has no objects of its own.
class TypeOMC : public tolvane::detail::SingletonOMClass<TypeOMC> {
 public:
    static constexpr tolvane::detail::ClassRow kRow{.name = "type"};
    bool canBeConstructed() const override { return false; }

 private:
    friend SingletonOMClass;
    TypeOMC();
};

/// The class of numbers, which has no objects of its own.
class ScalarTypeOMC : public tolvane::detail::SingletonOMClass<ScalarTypeOMC> {
 public:
    static constexpr tolvane::detail::ClassRow kRow{.name = "scalartype"};
    bool canBeConstructed() const override { return false; }

 private:
    friend SingletonOMClass;
    ScalarTypeOMC() { setSuperClass(TypeOMC::getInstance()); }
};

namespace tolvane::detail {

/// A record whose objects are made without arguments.
template <class Derived, class Described>
class DescriptorOMClass : public ObjectOMClass<Derived, Described> {
 public:
    using OMClass::createClassSpecificObject;
    /// Raises "fixedpoint:<class>:nargchk:tooManyInputs".
    OMInterface* createClassSpecificObject(OMInterface* /*interface*/, void** /*arguments*/, int count) override {
        this->errorIfMoreThan(0, count);
        if constexpr (std::is_default_constructible_v<Described>) {
            return this->wrap(std::make_unique<Described>());
        } else {
            return this->wrap(std::make_unique<Described>(false));
        }
    }

 protected:
    explicit DescriptorOMClass(const SignatureColumn& constructor = takes()) {
        this->addConstructorSignature(constructor.make());
        fillTypeClass(*this);
    }
};

template <class Derived, class Described, class Parent = TypeOMC>
class TypeChildOMClass : public DescriptorOMClass<Derived, Described> {
 protected:
    explicit TypeChildOMClass(const SignatureColumn& constructor = takes())
        : DescriptorOMClass<Derived, Described>(constructor) {
        this->setSuperClass(Parent::getInstance());
    }
};

}  // namespace tolvane::detail

class PointerTypeOMC : public tolvane::detail::TypeChildOMClass<PointerTypeOMC, EmbeddedTypeSystem::PointerType> {
 public:
    static constexpr tolvane::detail::ClassRow kRow{.name = "pointertype"};
};
class ComplexTypeOMC : public tolvane::detail::TypeChildOMClass<ComplexTypeOMC, EmbeddedTypeSystem::ComplexType> {
 public:
    static constexpr tolvane::detail::ClassRow kRow{.name = "complextype"};
};
class VoidTypeOMC : public tolvane::detail::TypeChildOMClass<VoidTypeOMC, EmbeddedTypeSystem::VoidType> {
 public:
    static constexpr tolvane::detail::ClassRow kRow{.name = "voidtype"};
};
class OpaqueTypeOMC : public tolvane::detail::TypeChildOMClass<OpaqueTypeOMC, EmbeddedTypeSystem::OpaqueType> {
 public:
    static constexpr tolvane::detail::ClassRow kRow{.name = "opaquetype"};
    using OMClass::createClassSpecificObject;
    /// Takes the identifier; without one, as when a host restores objects, the type has no name. Raises
    /// "fixedpoint:opaquetype:nargchk:tooManyInputs" and "embeddedtype:string:InvalidStringParam".
    OMInterface* createClassSpecificObject(OMInterface* interface, void** arguments, int count) override;

 private:
    friend SingletonOMClass;
    OpaqueTypeOMC();
};
class CharTypeOMC : public tolvane::detail::TypeChildOMClass<CharTypeOMC, EmbeddedTypeSystem::CharType, ScalarTypeOMC> {
 public:
    static constexpr tolvane::detail::ClassRow kRow{.name = "chartype"};
};
class MatrixTypeOMC : public tolvane::detail::TypeChildOMClass<MatrixTypeOMC, EmbeddedTypeSystem::MatrixType> {
 public:
    static constexpr tolvane::detail::ClassRow kRow{.name = "matrixtype"};
};
class StructTypeOMC : public tolvane::detail::TypeChildOMClass<StructTypeOMC, EmbeddedTypeSystem::StructType> {
 public:
    static constexpr tolvane::detail::ClassRow kRow{.name = "structtype"};
};
class StructElementOMC
    : public tolvane::detail::DescriptorOMClass<StructElementOMC, EmbeddedTypeSystem::StructElement> {
 public:
    static constexpr tolvane::detail::ClassRow kRow{.name = "structelement"};
};
class FIEnumTypeOMC
    : public tolvane::detail::TypeChildOMClass<FIEnumTypeOMC, EmbeddedTypeSystem::FIEnumType, ScalarTypeOMC> {
 public:
    static constexpr tolvane::detail::ClassRow kRow{.name = "enumtype"};
};
