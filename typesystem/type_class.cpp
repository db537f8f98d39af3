#include "typesystem/type_class.h"

#include "typesystem/EmbeddedTypeVisitor.h"
#include "typesystem/Type.h"

namespace EmbeddedTypeSystem {

bool isNumericType(Type& type) {
    struct Visitor final : EmbeddedTypeVisitor {
        void visitOpaqueType(OpaqueType* /*type*/) override {}
        void visitStructType(StructType* /*type*/) override {}
        void visitPointerType(PointerType* /*type*/) override {}
        void visitMatrixType(MatrixType* /*type*/) override {}
        void visitComplexType(ComplexType* /*type*/) override {}
        void visitFIEnumType(FIEnumType* /*type*/) override {}
        void visitCharType(CharType* /*type*/) override {}
        void visitVoidType(VoidType* /*type*/) override {}
        void visitNumericType(NumericType* /*type*/) override { isNumeric = true; }
        bool isNumeric = false;
    } visitor;
    type.accept(&visitor);
    return visitor.isNumeric;
}

}  // namespace EmbeddedTypeSystem
