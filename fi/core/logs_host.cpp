// The logs of an array and of its registers as host values.
#include <array>
#include <memory>
#include <vector>

#include "fi/core/array_logs.h"
#include "fi/fi.h"
#include "host/hv.h"
#include "logging/filog.h"

using namespace tolvane::detail;

hvArray* fi::saveLogsInHvArrayStruct() const {
    const Logs logs(*this);
    struct Field {
        const char* name;
        const qlogger* log;
    };
    const std::array<Field, 4> fields = {
        {{"Assignment", logs.own}, {"Sum", logs.sum}, {"Product", logs.product}, {"ProductSum", logs.productSum}}};
    hvArrayOwner result(hvCreateStructMatrix(1, 1, 0, nullptr));
    for (const auto& [name, log] : fields) {
        hvArrayOwner value(log == nullptr ? qlogger::createUninitializedhvArrayStruct() : log->toHvArrayStruct());
        hvSetFieldByNumber(result.get(), 0, hvAddField(result.get(), name), value.get());
        static_cast<void>(value.release());
    }
    return result.release();
}

hvArray* fi::getlocalfilogs() const {
    const Logs logs(*this);
    std::vector<const qlogger*> seen;
    const auto take = [&seen](const qlogger* log) {
        if (Logs::hasSeenValues(log)) {
            seen.push_back(log);
        }
    };
    take(logs.own);
    take(logs.product);
    // Sums of products without a logged product are omitted here, although consolidatelocalfilogs writes them.
    if (Logs::hasSeenValues(logs.product)) {
        take(logs.productSum);
    }
    take(logs.sum);
    hvArrayOwner cells(hvCreateCellMatrix(seen.size(), 1));
    for (std::size_t row = 0; row < seen.size(); ++row) {
        auto record = std::make_unique<filog>(seen[row]->createFilogKey(), *seen[row]);
        hvSetCell(cells.get(), row, filog::convertToInternalVelmarArray(std::move(record)));
    }
    return cells.release();
}
