// Construction from host arrays.
#include <cstdint>
#include <type_traits>
#include <vector>

#include "fi/core/finite_values.h"
#include "fi/fi.h"
#include "host/ErrorIdException.h"
#include "logging/reports.h"

using namespace tolvane::detail;

namespace {

using EmbeddedTypeSystem::NumericType;

bool isNumericOrLogical(const hvArray* values) {
    return hvIsNumeric(values) || hvIsLogical(values);
}

/// An empty complex array has an imaginary part too, though no data.
bool hasImaginaryPart(const hvArray* values) {
    return hvIsNumeric(values) && hvIsComplex(values);
}

std::vector<std::uint64_t> hostDimensions(const hvArray* values) {
    const auto dims = hvGetDims(values);
    return {dims.begin(), dims.end()};
}

/// Returns the type itself, or, for unspecified scaling, with the best precision for the data.
NumericType withSettledScaling(const NumericType& type, const hvArray* values) {
    NumericType settled(type);
    if (settled.isUnspecifiedScaling()) {
        settled.setBestPrecision(values);
    }
    return settled;
}

}  // namespace

fi::fi(const hvArray* values, const NumericType& type, const fimath& rules, const std::string& tag, bool isLocal,
       embedded::OperationTypeEnum operation)
    : fi(hostDimensions(values), withSettledScaling(type, values), &rules, hasImaginaryPart(values), tag, isLocal,
         operation, 0, Entries::unset) {
    fillFromHost(values, rules.getRoundMode(), rules.getOverflowMode());
}

fi::fi(const hvArray* values, const NumericType& type, bool isLocal, unsigned, const std::string& tag,
       embedded::OperationTypeEnum operation)
    : fi(hostDimensions(values), type, nullptr, hasImaginaryPart(values), tag, isLocal, operation, 0, Entries::unset) {
    if (isLocal) {
        fillFromHost(values, getRoundMode(), getOverflowMode());
    } else {
        fillFromHost(values, embedded::RoundModeEnum::Nearest, embedded::OverflowModeEnum::Saturate);
    }
    mLastPropertySet = PropertyEnum::Data;
    reports::reportAssignmentWithTotal(getQlogger(), getAssignlog());
}

void fi::checkHostValues(const hvArray* values) const {
    if (!isNumericOrLogical(values)) {
        raiseError("fixedpoint:fi:constructor:numeric", "FI constructor only valid for numeric data");
    }
    NumericType::errorIfComplexLogical(getDataType(), hasImaginaryPart(values));
    const std::uint64_t count = hvGetNumberOfElements(values);
    hvDispatchClass(hvGetClassID(values), [&]<class T>(std::type_identity<T>) {
        if constexpr (std::is_floating_point_v<T>) {
            checkNaNInf(getDataType(), hvGetTypedData<T>(values).data(), count);
            checkNaNInf(getDataType(), hvGetTypedImagData<T>(values).data(), hasImaginaryPart(values) ? count : 0);
        }
    });
}

void fi::fillFromHost(const hvArray* values, embedded::RoundModeEnum round, embedded::OverflowModeEnum overflow) {
    checkHostValues(values);
    mAssignmentQuantizer.set(getNumericType(), round, overflow, false);
    hvDispatchClass(hvGetClassID(values), [&]<class T>(std::type_identity<T>) {
        storeQuantized(mReal, hvGetTypedData<T>(values).data(), mNumel);
        if (iscomplex()) {
            storeQuantized(imagEntries(), hvGetTypedImagData<T>(values).data(), imagEntries().numel());
        }
    });
    if (isView()) {
        quantizeAll(false);
    }
    updateAssignmentQuantizer();
}

void fi::setDoubleHvArray(const hvArray* values) {
    checkHostValues(values);
    takeShape(hostDimensions(values), hasImaginaryPart(values));
    fillFromHost(values, getRoundMode(), getOverflowMode());
}
