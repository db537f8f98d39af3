#include "binding/TypeOMClasses.h"

#include "binding/NumericTypeOMClass.h"
#include "host/OMApplicationManager.h"
#include "typesystem/EmbeddedTypeVisitor.h"
#include "typesystem/class_records.h"

namespace {

using namespace EmbeddedTypeSystem;

template <class Described, class Record>
void describe() {
    ClassRecordOf<Described>::set([]() -> OMClass* { return Record::getInstance(); });
}

const bool sAreRecordsKnown = [] {
    describe<CharType, CharTypeOMC>();
    describe<FIEnumType, FIEnumTypeOMC>();
    describe<NumericType, NumericTypeOMClass>();
    describe<VoidType, VoidTypeOMC>();
    describe<OpaqueType, OpaqueTypeOMC>();
    describe<ComplexType, ComplexTypeOMC>();
    describe<MatrixType, MatrixTypeOMC>();
    describe<PointerType, PointerTypeOMC>();
    describe<StructType, StructTypeOMC>();
    describe<StructElement, StructElementOMC>();
    return true;
}();

}  // namespace

void setLorimerSuperClass(OMClass& objectClass) {
    if (const OMApplication* const lorimer = OMApplicationManager::getApplication("Lorimer")) {
        objectClass.setSuperClass(lorimer->getLocalClass("Object"));
    }
}
