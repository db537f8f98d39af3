// Records as host values.
#include <memory>
#include <string>

#include "host/ErrorIdException.h"
#include "host/OMInterface.h"
#include "host/OMInterfaceType.h"
#include "host/OMTypeRepository.h"
#include "host/hv.h"
#include "logging/filog.h"

namespace {

struct HandleReference {
    OMInterface* handle;
    ~HandleReference() { OMInterface::operator delete(handle); }
};

enum class ReferenceKind { internal, external };

hvArray* convert(std::unique_ptr<filog> record, ReferenceKind kind) {
    const auto* const type =
        dynamic_cast<const OMInterfaceType*>(OMTypeRepository::getType(filog::getVelmarPackageClassName(), true));
    if (type == nullptr || type->getClass() == nullptr) {
        raiseError("fixedpoint:filog:notRegistered", "The class 'embedded.filog' is not registered.");
    }
    const HandleReference reference{new OMInterface(record.get(), type->getClass(), nullptr)};
    // From here on the handle's class ends the record.
    static_cast<void>(record.release());
    hvArray* const value = omdtConvertToVelmar(type, reference.handle);
    if (kind == ReferenceKind::internal) {
        reference.handle->externalToInternal();
    }
    return value;
}

}  // namespace

const char* filog::getVelmarClassName() {
    return "filog";
}

const char* filog::getVelmarPackageClassName() {
    static const std::string name = std::string(embedded::getEmbeddedPackageName()) + "." + getVelmarClassName();
    return name.c_str();
}

hvArray* filog::convertToInternalVelmarArray(std::unique_ptr<filog> record) {
    return convert(std::move(record), ReferenceKind::internal);
}

hvArray* filog::convertToExternalVelmarArray(std::unique_ptr<filog> record) {
    return convert(std::move(record), ReferenceKind::external);
}

hvArray* filog::getglobalfilogs() {
    hvArrayOwner cells(hvCreateCellMatrix(getLogMap().size(), 1));
    std::size_t row = 0;
    for (const auto& [key, record] : getLogMap()) {
        hvSetCell(cells.get(), row, convertToExternalVelmarArray(std::make_unique<filog>(record)));
        ++row;
    }
    return cells.release();
}

void filog::clearglobalfilogs() {
    getLogMap().clear();
}
