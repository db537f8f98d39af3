#include "binding/numerictype/divide_method.h"

#include <cstdint>
#include <iterator>
#include <memory>
#include <utility>

#include "binding/fi/FiBinaryOperation.h"
#include "binding/fi/new_fi.h"
#include "host/ErrorIdException.h"
#include "logging/reports.h"
#include "numbers/errors.h"

namespace tolvane::detail {

namespace {

using EmbeddedTypeSystem::NumericType;

constexpr PartnerRule kBestPrecision{.hasBestPrecision = true, .keepsTag = false, .isAlwaysLocal = false};

void errorIfUnspecified(const NumericType& type) {
    if (!type.isScaledType()) {
        return;
    }
    if (type.isUnspecifiedSign()) {
        raiseError("fixedpoint:fi:divide:nounspecifiedsign",
                   "DIVIDE(T,A,B) is only supported when the SIGNEDNESS of NUMERICTYPE object T is SIGNED or "
                   "UNSIGNED.");
    }
    if (type.isUnspecifiedScaling()) {
        raiseError("fixedpoint:fi:divide:nounspecifiedscaling",
                   "divide(T,A,B) is not supported when numerictype T has unspecified scaling.");
    }
}

/// An operand as it came: an object, an array that is not empty, or neither.
struct Operand {
    const fi* object = nullptr;
    const hvArray* values = nullptr;

    bool isEmptyArray() const { return object == nullptr && values == nullptr; }
    std::uint64_t elementCount() const { return object != nullptr ? object->numel() : hvGetNumberOfElements(values); }
};

Operand operandOf(const MethodCall& call, int index, bool isObject) {
    if (isObject) {
        return {call.arguments[index] == nullptr ? nullptr : &call.object<fi>(index), nullptr};
    }
    const hvArray* const values = call.array(index);
    return {nullptr, values == nullptr || hvIsEmpty(values) ? nullptr : values};
}

/// The quotient with an empty array: nothing, unless the other operand is a `fi`.
std::unique_ptr<fi> emptyQuotient(const NumericType& type, const Operand& other) {
    if (other.isEmptyArray()) {
        return nullptr;
    }
    if (other.elementCount() > 1) {
        raiseDimensionsDisagree();
    }
    if (other.object == nullptr) {
        return nullptr;
    }
    return std::make_unique<fi>(0, 0, type, other.object->getFimath(), false, "", true,
                                embedded::OperationTypeEnum::Assignment, 0);
}

}  // namespace

void giveQuotient(const MethodCall& call) {
    if (call.signature >= std::size(kDivideSignatures)) {
        raiseError("fixedpoint:fi:divide:signaturenotfound", "Signature not found.");
    }
    const auto& type = call.object<NumericType>(0);
    errorIfUnspecified(type);
    Operand a = operandOf(call, 1, call.signature != 2);
    Operand b = operandOf(call, 2, call.signature != 1);
    if (a.isEmptyArray() || b.isEmptyArray()) {
        std::unique_ptr<fi> empty = emptyQuotient(type, a.isEmptyArray() ? b : a);
        call.give(empty ? FiOMClass::wrap(std::move(empty)) : nullptr);
        return;
    }
    std::unique_ptr<fi> partner;
    if (a.object == nullptr || b.object == nullptr) {
        const bool isLeft = a.object == nullptr;
        partner = partnerFrom(isLeft ? a.values : b.values, isLeft ? *b.object : *a.object, kBestPrecision);
        (isLeft ? a : b).object = partner.get();
    }
    std::unique_ptr<fi> result = owned(a.object->over(*b.object, type));
    if (!a.object->isFinite() || !b.object->isFinite()) {
        // Doubles divided into words may have been NaN.
        result->errorIfBadValue(result->getDataType());
    }
    reports::report(result->getQlogger(), "divide");
    giveFi(call, std::move(result));
}

}  // namespace tolvane::detail
