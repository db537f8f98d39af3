// Records as host values.
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "descriptors/host_object.h"
#include "host/hv.h"
#include "logging/filog.h"
#include "logging/shared_logs.h"

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
    std::vector<std::unique_ptr<filog>> records;
    {
        const auto lock = tolvane::detail::lockSharedLogs();
        for (const auto& [key, record] : getLogMap()) {
            records.push_back(std::make_unique<filog>(record));
        }
    }
    hvArrayOwner cells(hvCreateCellMatrix(records.size(), 1));
    for (std::size_t row = 0; row < records.size(); ++row) {
        hvSetCell(cells.get(), row, convertToExternalVelmarArray(std::move(records[row])));
    }
    return cells.release();
}

void filog::clearglobalfilogs() {
    const auto lock = tolvane::detail::lockSharedLogs();
    getLogMap().clear();
}
