#include "binding/fi/methods.h"

#include <memory>

#include "binding/fi/FiOMClass.h"
#include "binding/fi/new_fi.h"
#include "binding/frame/handles.h"
#include "logging/reports.h"

namespace tolvane::detail {

void subscript(const MethodCall& call) {
    const fi& object = call.object<fi>(0);
    call.give(object.subsref(call.array(1), static_cast<OMInterface*>(call.arguments[0])));
}

namespace {

hvArrayOwner ownCopy(const hvArray* array) {
    return hvArrayOwner(hvCreateSharedDataCopy(array));
}

/// Assigns to a `fi` that is initially empty, with the type and rules of the right side.
hvArray* assignIntoNothing(const hvArray* path, const hvArray* right) {
    const fi& source = fi::getFiFromHvArray(right);
    auto made =
        std::make_unique<fi>(0U, 0U, source.getNumericType(), source.getFimath(), source.iscomplex(), source.getTag(),
                             source.getFimathIsLocal(), embedded::OperationTypeEnum::Assignment, 0U);
    fi& target = *made;
    const HandleOwner handle(FiOMClass::wrap(std::move(made)));
    const hvArrayOwner self(fi::convertToVelmarArray(handle.get()));
    return target.subsasgn(self.get(), path, right);
}

}  // namespace

void subscriptAndAssign(const MethodCall& call) {
    const hvArray* const left = call.array(0);
    if (hvIsEmpty(left)) {
        call.give(assignIntoNothing(call.array(1), call.array(2)));
        return;
    }
    fi& target = fi::getFiFromHvArray(left);
    const hvArrayOwner self = ownCopy(left);
    hvArrayOwner result(target.subsasgn(self.get(), call.array(1), call.array(2)));
    // The session's log has added the objects' counts, so that log is reported.
    if (fi::getLogging()) {
        fi::displaySubsasgnLogging(fi::getAssignlog());
    }
    call.give(result.release());
}

void takeByPlan(const MethodCall& call) {
    giveFi(call, owned(call.object<fi>(0).subscriptedReference(call.array(1))));
}

void growByPlan(const MethodCall& call) {
    const fi& left = call.object<fi>(0);
    const fi& right = call.object<fi>(2);
    left.errorIfBadSource(right);
    std::unique_ptr<fi> made = owned(left.subscriptedGrowAssignment(call.array(1), right));
    reports::reportConcatenation(right.getQlogger(), fi::getAssignlog());
    giveFi(call, std::move(made));
}

}  // namespace tolvane::detail
