// Subscripts: one element by its position is read and written here; for all other forms the host's own subscripts run
// on an array of positions of the same shape, and their result is the plan of the moves (plans.cpp).
#include <algorithm>
#include <cmath>
#include <memory>
#include <numeric>
#include <optional>
#include <string>
#include <vector>

#include "descriptors/host_object.h"
#include "fi/fi.h"
#include "host/ErrorIdException.h"
#include "host/OMInterface.h"
#include "host/hv.h"
#include "logging/reports.h"

using namespace tolvane::detail;

namespace {

constexpr const char* kMismatch = "In an assignment  A(I) = B, the number of elements in B and I must be the same.";

/// The first step of an index structure.
class FirstStep {
 public:
    explicit FirstStep(const hvArray* path) : mStepCount(hvGetNumberOfElements(path)) {
        if (!hvIsStruct(path) || mStepCount == 0) {
            return;
        }
        const hvArray* const type = hvGetField(path, 0, "type");
        if (hvIsChar(type) && !hvIsEmpty(type)) {
            mIsIndex = hvGetTypedData<hvChar>(type)[0] == u'(';
        }
        mIndices = hvGetField(path, 0, "subs");
    }

    bool isIndex() const { return mIsIndex; }
    bool isLast() const { return mStepCount <= 1; }
    std::size_t indexCount() const { return hvIsCell(mIndices) ? hvGetNumberOfElements(mIndices) : 0; }
    /// The number in an index, if it is a single number.
    std::optional<double> number(std::size_t place) const {
        const hvArray* const value = hvGetCell(mIndices, place);
        if (!hvIsNumeric(value) || !hvIsScalar(value)) {
            return std::nullopt;
        }
        return hvGetScalar(value);
    }

 private:
    std::size_t mStepCount;
    bool mIsIndex = false;
    const hvArray* mIndices = nullptr;
};

/// The position of a scalar index from 0, by one subscript or by row and column; nothing for any other index.
std::optional<double> scalarPosition(const FirstStep& step, std::uint64_t rows) {
    if (step.indexCount() == 1) {
        const std::optional<double> number = step.number(0);
        return number ? std::optional(*number - 1.0) : std::nullopt;
    }
    if (step.indexCount() == 2) {
        const std::optional<double> row = step.number(0);
        const std::optional<double> column = step.number(1);
        if (row && column) {
            return static_cast<double>(rows) * (*column - 1.0) + (*row - 1.0);
        }
    }
    return std::nullopt;
}

/// An array of the shape of an object, first, first + step, ...
hvArrayOwner positions(std::span<const std::uint64_t> dimensions, double first, double step) {
    const std::vector<std::size_t> dims(dimensions.begin(), dimensions.end());
    hvArrayOwner array(hvCreateNumericArray(dims.size(), dims.data(), hvDOUBLE_CLASS));
    double* const values = hvGetPr(array.get());
    const std::size_t count = hvGetNumberOfElements(array.get());
    // Vector instructions don't convert 64-bit counts.
    constexpr std::size_t kBlock = 4096;
    for (std::size_t begin = 0; begin < count; begin += kBlock) {
        const double start = first + step * static_cast<double>(begin);
        const int length = static_cast<int>(std::min(kBlock, count - begin));
        for (int i = 0; i < length; ++i) {
            values[begin + static_cast<std::size_t>(i)] = start + step * i;
        }
    }
    return array;
}

/// Calls a function of the host; its errors propagate as raised.
template <class... Arrays>
hvArrayOwner callHost(int resultCount, const char* name, Arrays*... arguments) {
    // The host doesn't change its inputs.
    hvArray* inputs[] = {const_cast<hvArray*>(arguments)...};
    hvArray* result = nullptr;
    const int status =
        embedded::call_VELMAR_with_trap(resultCount, &result, static_cast<int>(std::size(inputs)), inputs, name);
    hvArrayOwner owner(result);
    if (status != 0) {
        owner.reset();
        embedded::throw_last_error();
    }
    return owner;
}

}  // namespace

const fi* fi::objectIn(const hvArray* value) {
    return hvIsOpaque(value) ? objectInside<fi>(value) : nullptr;
}

hvArray* fi::subsref(const hvArray* path, OMInterface* self) const {
    const FirstStep step(path);
    if (!step.isIndex()) {
        const hvArrayOwner name(hvCreateString("subsref"));
        const hvArrayOwner own(convertToVelmarArray(self));
        hvArrayOwner result = callHost(1, "builtin", name.get(), own.get(), path);
        embedded::externalToInternal(result.get());
        return result.release();
    }
    if (!step.isLast()) {
        raiseError("fixedpoint:fi:subsref:parenlast", "Error: ()-indexing must appear last in an index expression.");
    }
    if (const std::optional<double> place = scalarPosition(step, mM)) {
        checkSignedIndex(*place);
        setIndex(static_cast<std::uint64_t>(*place));
        return convertToExternalVelmarArray(std::make_unique<fi>(*this, embedded::CopyElement::tag));
    }
    hvArrayOwner all = positions(mDims, 0.0, 1.0);
    const hvArrayOwner plan = callHost(1, "subsref", all.get(), path);
    all.reset();
    return convertToExternalVelmarArray(std::unique_ptr<fi>(subscriptedReference(plan.get())));
}

hvArrayOwner fi::planOfAssignment(const hvArray* path, std::span<const std::uint64_t> rightDims) const {
    const hvArrayOwner all = positions(mDims, 1.0, 1.0);
    const hvArrayOwner right = positions(rightDims, -1.0, -1.0);
    return callHost(1, "subsasgn", all.get(), path, right.get());
}

fi* fi::subscriptedGrowAssignmentFromStruct(const hvArray* path, const fi& right) const {
    errorIfComplexOntoSlopeBias(right);
    const hvArrayOwner plan = planOfAssignment(path, right.dimensions());
    return subscriptedGrowAssignment(plan.get(), right);
}

namespace {

hvArrayOwner planOfDeletion(std::span<const std::uint64_t> dimensions, const hvArray* path) {
    const hvArrayOwner all = positions(dimensions, 0.0, 1.0);
    const hvArrayOwner nothing(hvCreateDoubleMatrix(0, 0));
    return callHost(1, "subsasgn", all.get(), path, nothing.get());
}

}  // namespace

fi* fi::subscriptedDeleteFromStruct(const hvArray* path) const {
    return subscriptedDelete(planOfDeletion(mDims, path).get());
}

hvArray* fi::subsasgn(hvArray* self, const hvArray* path, const hvArray* right) {
    const FirstStep step(path);
    if (!step.isIndex()) {
        const hvArrayOwner name(hvCreateString("subsasgn"));
        callHost(0, "builtin", name.get(), self, path, right);
        hvArrayOwner same(hvCreateSharedDataCopy(self));
        embedded::externalToInternal(same.get());
        return same.release();
    }
    if (!step.isLast()) {
        raiseError("fixedpoint:fi:subsasgn:parenlast", "Subscripted indexing must appear last in an index expression.");
    }
    if (!hvIsNumeric(right) && !hvIsChar(right) && !hvIsLogical(right) && objectIn(right) == nullptr) {
        raiseError("fixedpoint:fi:subsasgn:rhsOfUnsupportedType",
                   "The operand on the right hand side of operator '=' in the subscripted assignment operation must "
                   "belong to a type that can be cast into a FI object.");
    }
    std::optional<double> place = scalarPosition(step, mM);
    // A row beyond the last one makes the matrix grow, which this path doesn't handle.
    if (step.indexCount() == 2 && place && !(*step.number(0) <= static_cast<double>(mM))) {
        place.reset();
    }
    hvArrayOwner result(place ? subsasgnScalarIndexing(self, path, right, *place)
                              : subsasgnGeneralIndexing(self, path, right));
    if (getLogging()) {
        getQlogger().copyMinMax(getAssignlog());
    }
    return result.release();
}

void fi::storeScalar(const hvArray* value, std::uint64_t place) {
    const quantizer& q = getAssignmentQuantizer();
    setIndex(place);
    const double re = hvGetScalar(value);
    const bool isComplexValue = hvIsNumeric(value) && hvIsComplex(value);
    NumericType::checkNaNInf(getDataType(), re);
    if (isComplexValue) {
        const double im = hvGetImagScalar(value);
        NumericType::errorIfComplexLogical(getDataType(), true);
        NumericType::checkNaNInf(getDataType(), im);
        coordinateComplexity(true, 0);
        q.quantize(imagEntry().setvalue(removeSlopeAdjustmentFactorBias(im)));
    } else if (iscomplex()) {
        q.quantize(imagEntry().setvalue(removeSlopeAdjustmentFactorBias(0.0)));
    }
    q.quantize(mReal.setvalue(removeSlopeAdjustmentFactorBias(re)));
}

hvArray* fi::subsasgnScalarIndexing(hvArray* self, const hvArray* path, const hvArray* right, double position) {
    // Truncation maps values just below the first element to it.
    constexpr double kMost = 9223372036854775808.0;
    if (!(position > -kMost && position < kMost)) {
        hvErrMsg(73);
    }
    const double place = std::trunc(position);
    if (place < 0.0) {
        checkSignedIndex(place);
    }
    const fi* const object = objectIn(right);
    const std::uint64_t rightCount = object != nullptr ? object->numel() : hvGetNumberOfElements(right);
    if (place < static_cast<double>(mNumel)) {
        if (rightCount > 1) {
            raiseError("fixedpoint:fi:subsasgn:index_assign_element_count_mismatch", kMismatch);
        }
        if (rightCount == 0) {
            const hvArrayOwner plan = planOfDeletion(mDims, path);
            if (getLogging()) {
                // Before the log is copied; otherwise both arrays would report its changes.
                updateAssignlog(getQlogger());
            }
            return convertToExternalVelmarArray(std::unique_ptr<fi>(subscriptedDelete(plan.get())));
        }
        if (object == nullptr) {
            storeScalar(right, static_cast<std::uint64_t>(place));
        } else {
            errorIfBadSource(*object);
            object->setIndex(0);
            setIndex(static_cast<std::uint64_t>(place));
            *this = *object;
        }
        if (getLogging()) {
            updateAssignlog(getQlogger());
        }
        return embedded::external_to_internal_reference(self);
    }
    if (rightCount == 0) {
        raiseError("fixedpoint:fi:subsasgn:index_to_remove_exceeds_matrix_dimensions",
                   "Index of element to remove exceeds matrix dimensions.");
    }
    std::unique_ptr<fi> grown;
    if (object != nullptr) {
        errorIfBadSource(*object);
        grown.reset(subscriptedGrowAssignmentFromStruct(path, *object));
    } else {
        const fi converted = fromRightSide(right);
        // The host may refuse the path, which must not be counted.
        const hvArrayOwner plan = planOfAssignment(path, converted.dimensions());
        const qlogger& log = getQlogger();
        const qlogger& gained = converted.getQlogger();
        const bool countsWhenMoved = getLogging() && isScaledDouble();
        addConversionLog(converted);
        if (countsWhenMoved) {
            log.updateminmax(gained.getMax());
            log.updateminmax(gained.getMin());
        }
        grown.reset(subscriptedGrowAssignment(plan.get(), converted));
        if (countsWhenMoved) {
            // The new array has counted and reported them.
            log.addtoOverUnder(gained);
            reports::takeChanges(log);
        }
    }
    return convertToExternalVelmarArray(std::move(grown));
}

hvArray* fi::subsasgnGeneralIndexing(hvArray* self, const hvArray* path, const hvArray* right) {
    const fi* const object = objectIn(right);
    if (object != nullptr ? object->isempty() : hvIsEmpty(right)) {
        return convertToExternalVelmarArray(std::unique_ptr<fi>(subscriptedDeleteFromStruct(path)));
    }
    const auto hostDims = hvGetDims(right);
    const std::vector<std::uint64_t> arrayDims(hostDims.begin(), hostDims.end());
    const hvArrayOwner plan =
        planOfAssignment(path, object != nullptr ? object->dimensions() : std::span<const std::uint64_t>(arrayDims));
    if (object != nullptr) {
        errorIfBadSource(*object);
    }
    if (hvGetNumberOfElements(plan.get()) == mNumel) {
        subscriptedOverwriteAssignment(plan.get(), right);
        return embedded::external_to_internal_reference(self);
    }
    return subscriptedGrowAssignment(plan.get(), right);
}
