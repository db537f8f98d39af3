// Records as host values.
#include <memory>
#include <string>
#include <utility>

#include "descriptors/host_object.h"
#include "host/hv.h"
#include "logging/filog.h"

using namespace tolvane::detail;

const char* filog::getVelmarClassName() {
    return "filog";
}

const char* filog::getVelmarPackageClassName() {
    static const std::string kName = std::string(embedded::getEmbeddedPackageName()) + "." + getVelmarClassName();
    return kName.c_str();
}

hvArray* filog::convertToInternalVelmarArray(std::unique_ptr<filog> record) {
    return hostValueAround(std::move(record), HandleOwner::value);
}

hvArray* filog::convertToExternalVelmarArray(std::unique_ptr<filog> record) {
    return hostValueAround(std::move(record), HandleOwner::workspace);
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
