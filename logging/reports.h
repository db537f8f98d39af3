// How the counts of logs reach the user: host warnings "fi:overflow" and "fi:underflow", overflow always before
// underflow, for changes since the last report of that log.
//
// A report tests only the process-wide switch `qlogger::getLogging`, unless its contract says otherwise: a log that
// always logs keeps counting while the switch is off, and is reported when it is on. A change is marked as reported,
// and added to the totals, before its warning is sent: a warning that the host turns into an error loses no count and
// is not repeated. A count of 0 isn't reported.
#pragma once

#include <cstdint>
#include <string_view>

#include "host/export.h"
#include "logging/operation_counts.h"

class qlogger;

namespace tolvane::detail::reports {

/// Increases of the counts of a log.
struct Changes {
    std::uint64_t overflows = 0;
    std::uint64_t underflows = 0;
    bool operator==(const Changes&) const = default;
};

/// Returns the changes of the log since its last report, and marks them as reported.
TOLVANE_API Changes takeChanges(const qlogger& log);

/// The name of an operation in reports.
struct OperationName {
    std::string_view overflow;
    std::string_view underflow;

    constexpr OperationName(const char* name) : overflow(name), underflow(name) {}
    constexpr OperationName(const char* ofOverflow, const char* ofUnderflow)
        : overflow(ofOverflow), underflow(ofUnderflow) {}
};

/// Callers compare this text, so the misspelling stays.
inline constexpr OperationName kConjugateTranspose{"conjugate transpose", "consjugate transpose"};

/// Reports a log. Underflows are taken after the warning of overflows: if that warning is turned into an error, they
/// remain for the next report.
TOLVANE_API void report(const qlogger& log, const OperationName& operation);

/// Reports a log, adds the changes to the session's log and stores the operation counts in the log. The session's log
/// adds them only if its gate is open.
TOLVANE_API void reportWithTotal(const qlogger& log, const qlogger& session, OperationCounts counts,
                                 const OperationName& operation);
/// As above, except that the operation counts go to the log of the result, whose counts become the changes, marked
/// as reported.
TOLVANE_API void reportWithTotal(const qlogger& log, const qlogger& session, const qlogger& result,
                                 OperationCounts counts, const OperationName& operation);

/// The two places in which an operation that multiplies and adds can overflow: their logs, or the session's.
struct ProductAndSum {
    const qlogger& product;
    const qlogger& sum;
};

/// Reports the logs of the registers separately, products first. The counts of the result's log become the sums of the
/// changes, not marked as reported, and its operation counts the given ones; each of the session's logs adds its part.
TOLVANE_API void reportProductAndSum(ProductAndSum registers, ProductAndSum session, const qlogger& result,
                                     OperationCounts counts, const OperationName& operation);

/// Reports the products of two registers together.
TOLVANE_API void reportProducts(const qlogger& a, const qlogger& b, const OperationName& operation);

/// Reports an operand and the session's assignments together, as a concatenation.
TOLVANE_API void reportConcatenation(const qlogger& operand, const qlogger& sessionAssignments);

/// Reports a quotient that isn't an array, from counts taken by the caller; tests no switch.
TOLVANE_API void reportDivide(Changes changes);

/// Reports an assignment; tests no switch.
TOLVANE_API void reportAssignment(const qlogger& log);

/// Reports an assignment and adds it to the session's assignments, which take the extremes of the log, and the changes
/// marked as reported: their own report covers only unreported changes.
TOLVANE_API void reportAssignmentWithTotal(const qlogger& log, const qlogger& session);

}  // namespace tolvane::detail::reports
