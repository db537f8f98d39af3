// An operation on types by their class, such as printing a declaration: derive from this and call `type->accept(this)`.
//
// A visitor descends as far as it wants by calling `accept` of the parts. A tree may lead back to itself through a
// structure, so a visitor that follows pointers must remember the types it has visited. The order of the operations is
// part of the binary interface.
#pragma once

#include "host/export.h"

namespace EmbeddedTypeSystem {

class CharType;
class ComplexType;
class FIEnumType;
class MatrixType;
class NumericType;
class OpaqueType;
class PointerType;
class StructType;
class VoidType;

class TOLVANE_API EmbeddedTypeVisitor {
 public:
    virtual void visitOpaqueType(OpaqueType* type) = 0;
    virtual void visitStructType(StructType* type) = 0;
    virtual void visitPointerType(PointerType* type) = 0;
    virtual void visitMatrixType(MatrixType* type) = 0;
    virtual void visitComplexType(ComplexType* type) = 0;
    virtual void visitFIEnumType(FIEnumType* type) = 0;
    virtual void visitCharType(CharType* type) = 0;
    virtual void visitVoidType(VoidType* type) = 0;
    virtual void visitNumericType(NumericType* type) = 0;
    virtual ~EmbeddedTypeVisitor();

 protected:
    EmbeddedTypeVisitor() = default;
    EmbeddedTypeVisitor(const EmbeddedTypeVisitor&) = default;
    EmbeddedTypeVisitor& operator=(const EmbeddedTypeVisitor&) = default;
};

}  // namespace EmbeddedTypeSystem
