// Subscripts: one element by its position is read and written here, and plain subscripts are read here (places.h). For
// all other forms, and if a program has replaced the host's functions, the host's own subscripts run on an array of
// positions of the same shape, and their result is the plan of the moves (plans.cpp).
#include <algorithm>
#include <cmath>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "descriptors/host_object.h"
#include "fi/bulk/entries.h"
#include "fi/core/quantized_store.h"
#include "fi/fi.h"
#include "fi/subscripts/assignment.h"
#include "fi/subscripts/places.h"
#include "fi/subscripts/planned_selection.h"
#include "host/ErrorIdException.h"
#include "host/OMInterface.h"
#include "host/hi.h"
#include "host/hv.h"
#include "logging/reports.h"

using namespace tolvane::detail;

/// The first step of an index structure.
class fi::IndexStep {
 public:
    explicit IndexStep(const hvArray* path) : mPath(path), mStepCount(hvGetNumberOfElements(path)) {
        if (!hvIsStruct(path) || mStepCount == 0) {
            return;
        }
        const hvArray* const type = hvGetField(path, 0, "type");
        if (hvIsChar(type) && !hvIsEmpty(type)) {
            const std::span<const hvChar> text = hvGetTypedData<hvChar>(type);
            mIsIndex = text[0] == u'(';
            mIsParentheses = text.size() == 2 && text[1] == u')';
        }
        mIndices = hvGetField(path, 0, "subs");
    }

    const hvArray* path() const { return mPath; }
    bool isIndex() const { return mIsIndex; }
    bool isLast() const { return mStepCount <= 1; }
    std::size_t indexCount() const { return hvIsCell(mIndices) ? hvGetNumberOfElements(mIndices) : 0; }
    /// The indices, if the host would run its own function for them, which the library may do itself; else none.
    std::vector<const hvArray*> indicesFor(const char* function) const {
        std::vector<const hvArray*> indices;
        if (mIsParentheses && mStepCount == 1 && hiIsOwnFunction != nullptr && hiIsOwnFunction(function)) {
            indices.resize(indexCount());
        }
        for (std::size_t i = 0; i < indices.size(); ++i) {
            indices[i] = hvGetCell(mIndices, i);
        }
        return indices;
    }
    /// The position of a scalar index from 0, by one subscript or by row and column; nothing for any other index.
    std::optional<double> scalarPosition(std::uint64_t rows) const {
        if (indexCount() == 1) {
            const std::optional<double> place = number(0);
            return place ? std::optional(*place - 1.0) : std::nullopt;
        }
        if (indexCount() == 2) {
            const std::optional<double> row = number(0);
            const std::optional<double> column = number(1);
            if (row && column) {
                return static_cast<double>(rows) * (*column - 1.0) + (*row - 1.0);
            }
        }
        return std::nullopt;
    }
    /// The number in an index, if it is a single number.
    std::optional<double> number(std::size_t place) const {
        const hvArray* const value = hvGetCell(mIndices, place);
        if (!hvIsNumeric(value) || !hvIsScalar(value)) {
            return std::nullopt;
        }
        return hvGetScalar(value);
    }

 private:
    const hvArray* mPath;
    std::size_t mStepCount;
    bool mIsIndex = false;
    bool mIsParentheses = false;
    const hvArray* mIndices = nullptr;
};

namespace {

constexpr const char* kMismatch = "In an assignment  A(I) = B, the number of elements in B and I must be the same.";

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
    const IndexStep step(path);
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
    if (const std::optional<double> place = step.scalarPosition(mM)) {
        checkSignedIndex(*place);
        setIndex(static_cast<std::uint64_t>(*place));
        return convertToExternalVelmarArray(std::make_unique<fi>(*this, embedded::CopyElement::tag));
    }
    return convertToExternalVelmarArray(reference(*selectionBy(step)));
}

std::unique_ptr<Selection> fi::selectionBy(const IndexStep& step) const {
    if (auto selection = selectedBy(step.indicesFor("subsref"), trimmed(mDims))) {
        return selection;
    }
    const hvArrayOwner all = positions(mDims, 0.0, 1.0);
    return selectionByPlan(callHost(1, "subsref", all.get(), step.path()));
}

std::unique_ptr<Selection> fi::deletionBy(const IndexStep& step) const {
    if (auto selection = leftBy(step.indicesFor("subsasgn"), trimmed(mDims))) {
        return selection;
    }
    const hvArrayOwner all = positions(mDims, 0.0, 1.0);
    const hvArrayOwner nothing(hvCreateDoubleMatrix(0, 0));
    return selectionByPlan(callHost(1, "subsasgn", all.get(), step.path(), nothing.get()));
}

std::unique_ptr<Selection> fi::selectionByPlan(hvArrayOwner plan) const {
    return std::make_unique<PlannedSelection>(std::move(plan), mNumel, !entries::isInDoubles(mReal, mNumel));
}

namespace {

hvArrayOwner planOfAssignment(std::span<const std::uint64_t> dims, const hvArray* path,
                              std::span<const std::uint64_t> rightDims) {
    const hvArrayOwner all = positions(dims, 1.0, 1.0);
    const hvArrayOwner right = positions(rightDims, -1.0, -1.0);
    return callHost(1, "subsasgn", all.get(), path, right.get());
}

}  // namespace

std::unique_ptr<fi::Assignment> fi::assignmentBy(const IndexStep& step,
                                                 std::span<const std::uint64_t> rightDims) const {
    if (auto assignment = Assignment::bySubscripts(step.indicesFor("subsasgn"), trimmed(mDims), rightDims)) {
        return assignment;
    }
    return Assignment::byPlan(planOfAssignment(mDims, step.path(), rightDims));
}

fi* fi::subscriptedGrowAssignmentFromStruct(const hvArray* path, const fi& right) const {
    errorIfComplexOntoSlopeBias(right);
    auto assignment = assignmentBy(IndexStep(path), right.dimensions());
    if (assignment->count() == mNumel) {
        // Subscripts of places that exist name no elements that stay, but a plan does.
        assignment = Assignment::byPlan(planOfAssignment(mDims, path, right.dimensions()));
    }
    return grown(*assignment, right).release();
}

fi* fi::subscriptedDeleteFromStruct(const hvArray* path) const {
    return taken(*deletionBy(IndexStep(path))).release();
}

hvArray* fi::subsasgn(hvArray* self, const hvArray* path, const hvArray* right) {
    const IndexStep step(path);
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
    std::optional<double> place = step.scalarPosition(mM);
    // A row beyond the last one makes the matrix grow, which this path doesn't handle.
    if (step.indexCount() == 2 && place && !(*step.number(0) <= static_cast<double>(mM))) {
        place.reset();
    }
    hvArrayOwner result(place ? subsasgnScalarIndexing(self, step, right, *place)
                              : subsasgnGeneralIndexing(self, step, right));
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
        storeAsQuantized(imagEntry(), removeSlopeAdjustmentFactorBias(im), q);
    } else if (iscomplex()) {
        storeAsQuantized(imagEntry(), removeSlopeAdjustmentFactorBias(0.0), q);
    }
    storeAsQuantized(mReal, removeSlopeAdjustmentFactorBias(re), q);
}

hvArray* fi::subsasgnScalarIndexing(hvArray* self, const IndexStep& step, const hvArray* right, double position) {
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
            const std::unique_ptr<Selection> kept = deletionBy(step);
            if (getLogging()) {
                // Before the log is copied; otherwise both arrays would report its changes.
                updateAssignlog(getQlogger());
            }
            return convertToExternalVelmarArray(taken(*kept));
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
    std::unique_ptr<fi> longer;
    if (object != nullptr) {
        errorIfBadSource(*object);
        errorIfComplexOntoSlopeBias(*object);
        longer = grown(*assignmentBy(step, object->dimensions()), *object);
    } else {
        const fi converted = fromRightSide(right);
        // The host may refuse the path, which must not be counted.
        const std::unique_ptr<Assignment> assignment = assignmentBy(step, converted.dimensions());
        const qlogger& log = getQlogger();
        const qlogger& gained = converted.getQlogger();
        const bool countsWhenMoved = getLogging() && isScaledDouble();
        addConversionLog(converted);
        if (countsWhenMoved) {
            log.updateminmax(gained.getMax());
            log.updateminmax(gained.getMin());
        }
        longer = grown(*assignment, converted);
        if (countsWhenMoved) {
            // The new array has counted and reported them.
            log.addtoOverUnder(gained);
            reports::takeChanges(log);
        }
    }
    return convertToExternalVelmarArray(std::move(longer));
}

hvArray* fi::subsasgnGeneralIndexing(hvArray* self, const IndexStep& step, const hvArray* right) {
    const fi* const object = objectIn(right);
    if (object != nullptr ? object->isempty() : hvIsEmpty(right)) {
        return convertToExternalVelmarArray(taken(*deletionBy(step)));
    }
    const auto hostDims = hvGetDims(right);
    const Sizes arrayDims(hostDims.begin(), hostDims.end());
    const std::unique_ptr<Assignment> assignment =
        assignmentBy(step, object != nullptr ? object->dimensions() : std::span<const std::uint64_t>(arrayDims));
    if (object != nullptr) {
        errorIfBadSource(*object);
    }
    if (assignment->count() == mNumel) {
        overwrite(*assignment, right);
        return embedded::external_to_internal_reference(self);
    }
    return grown(*assignment, right);
}
