#include "binding/fi/methods.h"

#include <cstdint>
#include <utility>

#include "binding/fi/binary_methods.h"
#include "binding/fi/new_fi.h"
#include "logging/reports.h"
#include "numbers/truncation.h"

namespace tolvane::detail {

namespace {

/// Gives an array and what belongs to its elements.
void giveWithArray(const MethodCall& call, std::unique_ptr<fi> made, hvArrayOwner array) {
    call.results[0] = FiOMClass::wrap(std::move(made));
    call.results[1] = array.release();
    *call.resultCount = 2;
}

struct SortOrder {
    bool ascending;
    std::uint64_t stride;
    std::uint64_t length;

    explicit SortOrder(const MethodCall& call)
        : ascending(Shape<bool>::unbox(call.arguments[1])), stride(countAt(call, 2)), length(countAt(call, 3)) {}

 private:
    static std::uint64_t countAt(const MethodCall& call, int index) {
        return truncateTo<std::uint64_t>(Shape<double>::unbox(call.arguments[index]));
    }
};

/// Moves to the element whose number is in the call.
fi& atElement(const MethodCall& call) {
    fi& object = call.object<fi>(0);
    const double index = Shape<double>::unbox(call.arguments[1]) - 1.0;
    object.checkSignedIndex(index);
    object.setIndex(static_cast<std::uint64_t>(index));
    return object;
}

/// Moves to the first element of an array after a check like that of fi::errorIfBadSource for all elements.
void moveToFirst(const fi& value, const fi& target) {
    value.checkSignedIndex(0.0);
    const fi::DataTypeEnum dataType = target.getDataType();
    value.setIndex(0);
    // Words may exceed doubles, and are finite.
    if (value.isFixed()) {
        fi::NumericType::errorIfComplexLogical(dataType, value.iscomplex());
    } else {
        fi::NumericType::errorIfBadValue(dataType, value.realdouble(), value.imagdouble(), value.iscomplex());
    }
}

}  // namespace

template <const ExtremeOperation& operation>
void FiExtremeMethodInfo<operation>::logResult(const fi& /*a*/, const fi& /*b*/, const fi& result) {
    reports::report(result.getQlogger(), operation.name);
}
template class FiExtremeMethodInfo<kMaxOperation>;
template class FiExtremeMethodInfo<kMinOperation>;

template <const ExtremeOperation& operation>
void giveExtremes(const MethodCall& call) {
    fi* values = nullptr;
    hvArray* rows = nullptr;
    (call.object<fi>(0).*operation.computeOfColumns)(values, rows);
    std::unique_ptr<fi> ownedValues(values);
    hvArrayOwner ownedRows(rows);
    if (call.wantedResults() < 2) {
        giveFi(call, std::move(ownedValues));
    } else {
        giveWithArray(call, std::move(ownedValues), std::move(ownedRows));
    }
}
template void giveExtremes<kMaxOperation>(const MethodCall& call);
template void giveExtremes<kMinOperation>(const MethodCall& call);

void giveSorted(const MethodCall& call) {
    const SortOrder order(call);
    giveFi(call, owned(call.object<fi>(0).stridesort(order.ascending, order.stride, order.length)));
}

void giveSortedWithPlaces(const MethodCall& call) {
    const fi& object = call.object<fi>(0);
    const SortOrder order(call);
    hvArrayOwner places(hvCreateNumericArray(object.ndims(), object.dims(), hvDOUBLE_CLASS, hvREAL));
    double* const first = hvGetPr(places.get());
    double* indices = first;
    giveWithArray(call, owned(object.stridesort2(indices, order.ascending, order.stride, order.length)),
                  std::move(places));
}

void giveElement(const MethodCall& call) {
    const fi& object = atElement(call);
    const std::uint64_t one[] = {1, 1};
    auto element = std::make_unique<fi>(one, 2, object.getNumericType(), object.getFimath(), false, object.getTag(),
                                        object.getFimathIsLocal(), embedded::OperationTypeEnum::Assignment, 0U);
    *element = object;
    giveFi(call, std::move(element));
}

void setElement(const MethodCall& call) {
    fi& object = atElement(call);
    if (call.signature == 0) {
        const fi& value = call.object<fi>(2);
        const std::uint64_t target = object.getIndex();
        moveToFirst(value, object);
        // An array's first element into another of its own needs a copy, as both have one current element.
        if (&value == &object) {
            const fi first(value, embedded::CopyElement::tag);
            first.resetLogging();
            object.setIndex(target);
            object = first;
        } else {
            object = value;
        }
    } else {
        const double value = Shape<double>::unbox(call.arguments[2]);
        fi::NumericType::checkNaNInf(object.getDataType(), value);
        object = value;
    }
    call.giveNothing();
}

}  // namespace tolvane::detail
