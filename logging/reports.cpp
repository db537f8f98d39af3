#include "logging/reports.h"

#include <initializer_list>
#include <string>

#include "logging/qlogger.h"
#include "logging/shared_logs.h"
#include "numbers/services.h"

namespace tolvane::detail::reports {

namespace {

struct Texts {
    std::string_view overflow;
    std::string_view underflow;
};

/// All texts, by kind of report. No report sends `longProducts`, which completes the table: like the plain text, that
/// of products exists in both widths of the count.
struct Table {
    Texts simple{"%ld overflow%s occurred in the fi %s operation.", "%ld underflow%s occurred in the fi %s operation."};
    Texts assignment{"%d overflow%s occurred in the fi %s operation.",
                     "%d underflow%s occurred in the fi %s operation."};
    // One text, whose third value distinguishes overflow and underflow.
    Texts productOrSum{"%d %s %s%s occurred in the fi %s operation.", "%d %s %s%s occurred in the fi %s operation."};
    Texts products{"%d product overflow%s occurred in the fi %s operation.",
                   "%d product underflow%s occurred in the fi %s operation."};
    Texts longProducts{"%ld product overflow%s occurred in the fi %s operation.",
                       "%ld product underflow%s occurred in the fi %s operation."};
    Texts divide{"%ld overflow%s occurred in the %s operation.", "%ld underflow%s occurred in the %s operation."};
};
constexpr Table kTexts;

/// Replaces the conversions by the values, in order. Counts have 64 bits whatever width a text names, so they are
/// passed as texts here and not as arguments of printf.
std::string fill(std::string_view format, std::initializer_list<std::string_view> values) {
    std::string text;
    for (const std::string_view value : values) {
        const std::size_t start = format.find('%');
        const std::size_t end = format.find_first_of("ds", start) + 1;
        text.append(format.substr(0, start)).append(value);
        format.remove_prefix(end);
    }
    return text.append(format);
}

std::string_view pluralSuffix(std::uint64_t count) {
    return count > 1 ? "s" : "";
}

void warnOfCount(const char* id, std::string_view format, std::uint64_t count, std::string_view operation) {
    if (count != 0) {
        detail::warn(id, fill(format, {std::to_string(count), pluralSuffix(count), operation}));
    }
}

constexpr const char* kOverflow = "fi:overflow";
constexpr const char* kUnderflow = "fi:underflow";

void warnOfOverflows(const Texts& texts, std::uint64_t count, const OperationName& operation) {
    warnOfCount(kOverflow, texts.overflow, count, operation.overflow);
}

void warnOfUnderflows(const Texts& texts, std::uint64_t count, const OperationName& operation) {
    warnOfCount(kUnderflow, texts.underflow, count, operation.underflow);
}

void warnOf(const Texts& texts, Changes changes, const OperationName& operation) {
    warnOfOverflows(texts, changes.overflows, operation);
    warnOfUnderflows(texts, changes.underflows, operation);
}

void warnOfPlace(std::string_view place, Changes changes, const OperationName& operation) {
    const auto send = [place](const char* id, std::string_view format, std::uint64_t count, std::string_view kind,
                              std::string_view name) {
        if (count != 0) {
            const std::string text = fill(format, {std::to_string(count), place, kind, pluralSuffix(count), name});
            detail::warn(id, text);
        }
    };
    send(kOverflow, kTexts.productOrSum.overflow, changes.overflows, "overflow", operation.overflow);
    send(kUnderflow, kTexts.productOrSum.underflow, changes.underflows, "underflow", operation.underflow);
}

Changes operator+(Changes a, Changes b) {
    return {a.overflows + b.overflows, a.underflows + b.underflows};
}

void add(const qlogger& total, Changes changes) {
    const auto lock = lockSharedLogs();
    total.addtoOverflows(changes.overflows);
    total.addtoUnderflows(changes.underflows);
}

void setCounts(const qlogger& log, OperationCounts counts) {
    log.setNoperations(counts.operations);
    log.setNMathOperations(counts.mathOperations);
}

}  // namespace

Changes takeChanges(const qlogger& log) {
    const std::uint64_t overflows = log.changeInOverflows();
    return {overflows, log.changeInUnderflows()};
}

void report(const qlogger& log, const OperationName& operation) {
    if (qlogger::getLogging()) {
        warnOfOverflows(kTexts.simple, log.changeInOverflows(), operation);
        warnOfUnderflows(kTexts.simple, log.changeInUnderflows(), operation);
    }
}

void reportWithTotal(const qlogger& log, const qlogger& session, OperationCounts counts,
                     const OperationName& operation) {
    if (qlogger::getLogging()) {
        const Changes changes = takeChanges(log);
        add(session, changes);
        setCounts(log, counts);
        warnOf(kTexts.simple, changes, operation);
    }
}

void reportWithTotal(const qlogger& log, const qlogger& session, const qlogger& result, OperationCounts counts,
                     const OperationName& operation) {
    if (qlogger::getLogging()) {
        const Changes changes = takeChanges(log);
        add(session, changes);
        result.setNoverflows(changes.overflows);
        result.setOldOverflows(changes.overflows);
        result.setNunderflows(changes.underflows);
        result.setOldUnderflows(changes.underflows);
        setCounts(result, counts);
        warnOf(kTexts.simple, changes, operation);
    }
}

void reportProductAndSum(ProductAndSum registers, ProductAndSum session, const qlogger& result, OperationCounts counts,
                         const OperationName& operation) {
    if (qlogger::getLogging()) {
        const Changes product = takeChanges(registers.product);
        const Changes sum = takeChanges(registers.sum);
        const Changes both = product + sum;
        result.setNoverflows(both.overflows);
        result.setNunderflows(both.underflows);
        setCounts(result, counts);
        add(session.product, product);
        add(session.sum, sum);
        warnOfPlace("product", product, operation);
        warnOfPlace("sum", sum, operation);
    }
}

void reportProducts(const qlogger& a, const qlogger& b, const OperationName& operation) {
    if (qlogger::getLogging()) {
        const Changes ofA = takeChanges(a);
        warnOf(kTexts.products, ofA + takeChanges(b), operation);
    }
}

void reportConcatenation(const qlogger& operand, const qlogger& sessionAssignments) {
    if (qlogger::getLogging()) {
        const Changes ofOperand = takeChanges(operand);
        warnOf(kTexts.simple, ofOperand + takeChanges(sessionAssignments), "concatenation");
    }
}

void reportDivide(Changes changes) {
    warnOf(kTexts.divide, changes, "divide");
}

void reportAssignment(const qlogger& log) {
    warnOf(kTexts.assignment, takeChanges(log), "assignment");
}

void reportAssignmentWithTotal(const qlogger& log, const qlogger& session) {
    if (qlogger::getLogging()) {
        const Changes changes = takeChanges(log);
        add(session, changes);
        {
            const auto lock = lockSharedLogs();
            session.setOldOverflows(session.getOldOverflows() + changes.overflows);
            session.setOldUnderflows(session.getOldUnderflows() + changes.underflows);
            session.copyMinMax(log);
        }
        warnOf(kTexts.assignment, changes, "assignment");
    }
}

}  // namespace tolvane::detail::reports
