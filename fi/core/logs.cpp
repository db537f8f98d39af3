// The logs of an array and of its registers, and the session's.
#include <array>
#include <memory>
#include <vector>

#include "fi/fi.h"
#include "fi/result_types/late_product.h"
#include "host/hsc.h"
#include "host/hv.h"
#include "logging/filog.h"
#include "logging/reports.h"
#include "logging/shared_logs.h"

using namespace tolvane::detail;

namespace {

struct SessionLogs {
    qlogger assignments{false};
    qlogger sums{false};
    qlogger products{false};
};

SessionLogs& sessionLogs() {
    static SessionLogs logs;
    return logs;
}

// A log takes the default precision of numbers at its creation, and the session's logs the initial one.
[[maybe_unused]] const SessionLogs& madeAtLoad = sessionLogs();

}  // namespace

qlogger& fi::getAssignlog() {
    return sessionLogs().assignments;
}

qlogger& fi::getSumlog() {
    return sessionLogs().sums;
}

qlogger& fi::getProductlog() {
    return sessionLogs().products;
}

double fi::getMaxLogAsRealWorldValue() const {
    return getQlogger().getMaxLogAsRealWorldValue();
}

double fi::getMinLogAsRealWorldValue() const {
    return getQlogger().getMinLogAsRealWorldValue();
}

void fi::setMaxLogFromRealWorldValue(double value) {
    getQlogger().setMaxLogFromRealWorldValue(value);
}

void fi::setMinLogFromRealWorldValue(double value) {
    getQlogger().setMinLogFromRealWorldValue(value);
}

/// Null for a register that doesn't exist.
struct fi::Logs {
    explicit Logs(const fi& owner)
        : own(&owner.getQlogger()),
          product(owner.productRegister() ? &owner.getproductQlogger() : nullptr),
          productSum(owner.mProductRegister && owner.mProductRegister->mSumRegister ? &owner.getproductregsumQlogger()
                                                                                    : nullptr),
          sum(owner.mSumRegister ? &owner.getsumQlogger() : nullptr) {}

    static bool hasSeenValues(const qlogger* log) { return log != nullptr && !log->isreset(); }

    const qlogger* own;
    const qlogger* product;
    const qlogger* productSum;
    const qlogger* sum;
};

void fi::resetLogging() const {
    if (mLateProduct) {
        getQlogger().reset();
        mLateProduct->log.reset();
        if (mSumRegister) {
            getsumQlogger().reset();
        }
        return;
    }
    const Logs logs(*this);
    for (const qlogger* log : {logs.own, logs.sum, logs.product, logs.productSum}) {
        if (log != nullptr) {
            log->reset();
        }
    }
}

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

void fi::consolidatelocalfilogs() const {
    const Logs logs(*this);
    for (const qlogger* log : {logs.own, logs.product, logs.productSum, logs.sum}) {
        if (Logs::hasSeenValues(log)) {
            log->writeLogMap(filog::getLogMap());
            log->reset();
        }
    }
}

void fi::displaySubsasgnLogging(const qlogger& logger) {
    reports::reportAssignment(logger);
}

void fi::updateAssignlog(const qlogger& logger) {
    const reports::Changes changes = reports::takeChanges(logger);
    const auto lock = lockSharedLogs();
    getAssignlog().addtoOverflows(changes.overflows);
    getAssignlog().addtoUnderflows(changes.underflows);
    getAssignlog().copyMinMax(logger);
}

void fi::displayGlobalLog() {
    if (!getLogging()) {
        return;
    }
    struct Counts {
        long overflows;
        long underflows;
    };
    const auto countsOf = [](const qlogger& log) {
        return Counts{static_cast<long>(log.getNoverflows()), static_cast<long>(log.getNunderflows())};
    };
    // Printing calls the host, so it comes after the lock.
    const auto [assignments, sums, products] = [&] {
        const auto lock = lockSharedLogs();
        const SessionLogs& logs = sessionLogs();
        return std::array{countsOf(logs.assignments), countsOf(logs.sums), countsOf(logs.products)};
    }();
    hscPrintf("FI assignment overflows : %ld\n", assignments.overflows);
    hscPrintf("FI assignment underflows: %ld\n", assignments.underflows);
    hscPrintf("FI sum overflows        : %ld\n", sums.overflows);
    hscPrintf("FI sum underflows       : %ld\n", sums.underflows);
    hscPrintf("FI product overflows    : %ld\n", products.overflows);
    hscPrintf("FI product underflows   : %ld\n", products.underflows);
}

void fi::resetGlobalLog() {
    if (getLogging()) {
        const auto lock = lockSharedLogs();
        for (const qlogger* log : {&getAssignlog(), &getSumlog(), &getProductlog()}) {
            log->reset();
        }
    }
}
