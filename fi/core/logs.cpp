// The logs of an array and of its registers, and the session's.
#include <memory>

#include "fi/core/array_logs.h"
#include "fi/fi.h"
#include "fi/result_types/late_product.h"
#include "logging/filog.h"
#include "logging/reports.h"
#include "logging/shared_logs.h"
#include "numbers/services.h"

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
    print("FI assignment overflows : %ld\n", assignments.overflows);
    print("FI assignment underflows: %ld\n", assignments.underflows);
    print("FI sum overflows        : %ld\n", sums.overflows);
    print("FI sum underflows       : %ld\n", sums.underflows);
    print("FI product overflows    : %ld\n", products.overflows);
    print("FI product underflows   : %ld\n", products.underflows);
}

void fi::resetGlobalLog() {
    if (getLogging()) {
        const auto lock = lockSharedLogs();
        for (const qlogger* log : {&getAssignlog(), &getSumlog(), &getProductlog()}) {
            log->reset();
        }
    }
}
