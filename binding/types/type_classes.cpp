#include "binding/types/type_classes.h"

#include "binding/numerictype/NumericTypeOMClass.h"
#include "host/OMApplicationManager.h"
#include "typesystem/EmbeddedTypeVisitor.h"
#include "typesystem/class_records.h"
#include "typesystem/texts.h"

using namespace tolvane::detail;

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

void tolvane::detail::setLorimerSuperClass(OMClass& objectClass) {
    if (const OMApplication* const lorimer = OMApplicationManager::getApplication("Lorimer")) {
        objectClass.setSuperClass(lorimer->getLocalClass("Object"));
    }
}

TypeOMC::TypeOMC() {
    setLorimerSuperClass(*this);
    fillTypeClass(*this);
}

OpaqueTypeOMC::OpaqueTypeOMC() : TypeChildOMClass(takes(datatypes::kText)) {}

OMInterface* OpaqueTypeOMC::createClassSpecificObject(OMInterface* /*interface*/, void** arguments, int count) {
    errorIfMoreThan(1, count);
    auto made = std::make_unique<OpaqueType>(false);
    if (count > 0) {
        const auto* const identifier = static_cast<const hvArray*>(arguments[0]);
        if (!hvIsChar(identifier)) {
            raiseInvalidText();
        }
        made->setIdentifier(hvArray2String(identifier).c_str());
    }
    return wrap(std::move(made));
}
