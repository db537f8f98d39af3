// The class records of the tree of C-like data types: "type" at its root, and below it one record a kind of type. The
// record "structelement" stands beside the tree.
#pragma once

#include "binding/SingletonOMClass.h"
#include "typesystem/StructElement.h"

/// Makes the class "Object" of the package "Lorimer" the superclass, where that is present.
void setLorimerSuperClass(OMClass& objectClass);

class TypeOMC : public SingletonOMClass<TypeOMC> {
 public:
    static constexpr ClassRow row{.name = "type"};

 private:
    friend SingletonOMClass;
    TypeOMC() { setLorimerSuperClass(*this); }
};

template <class Derived, class Parent>
class TypeChildOMClass : public SingletonOMClass<Derived> {
 public:
    void destroyObject(OMInterface* interface) override { EmbeddedTypeSystem::Type::endWithHandle(interface); }

 protected:
    TypeChildOMClass() { this->setSuperClass(Parent::getInstance()); }
};

class ScalarTypeOMC : public TypeChildOMClass<ScalarTypeOMC, TypeOMC> {
 public:
    static constexpr ClassRow row{.name = "scalartype"};
};
class PointerTypeOMC : public TypeChildOMClass<PointerTypeOMC, TypeOMC> {
 public:
    static constexpr ClassRow row{.name = "pointertype"};
};
class ComplexTypeOMC : public TypeChildOMClass<ComplexTypeOMC, TypeOMC> {
 public:
    static constexpr ClassRow row{.name = "complextype"};
};
class VoidTypeOMC : public TypeChildOMClass<VoidTypeOMC, TypeOMC> {
 public:
    static constexpr ClassRow row{.name = "voidtype"};
};
class OpaqueTypeOMC : public TypeChildOMClass<OpaqueTypeOMC, TypeOMC> {
 public:
    static constexpr ClassRow row{.name = "opaquetype"};
};
class CharTypeOMC : public TypeChildOMClass<CharTypeOMC, ScalarTypeOMC> {
 public:
    static constexpr ClassRow row{.name = "chartype"};
};
class MatrixTypeOMC : public TypeChildOMClass<MatrixTypeOMC, TypeOMC> {
 public:
    static constexpr ClassRow row{.name = "matrixtype"};
};
class StructTypeOMC : public TypeChildOMClass<StructTypeOMC, TypeOMC> {
 public:
    static constexpr ClassRow row{.name = "structtype"};
};
class StructElementOMC : public SingletonOMClass<StructElementOMC> {
 public:
    static constexpr ClassRow row{.name = "structelement"};
    void destroyObject(OMInterface* interface) override { EmbeddedTypeSystem::StructElement::endWithHandle(interface); }
};
class FIEnumTypeOMC : public TypeChildOMClass<FIEnumTypeOMC, ScalarTypeOMC> {
 public:
    static constexpr ClassRow row{.name = "enumtype"};
};
