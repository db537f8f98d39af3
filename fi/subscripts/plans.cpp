// Arrays made by a plan: a host array of doubles that names the source element for each position of a result. The
// host's own subscripts make plans when they run on arrays of positions.
#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <span>
#include <vector>

#include "fi/bulk/entries.h"
#include "fi/fi.h"
#include "host/ErrorIdException.h"
#include "host/hv.h"
#include "host/positions.h"

using namespace tolvane::detail;

namespace {

void errorIfNotDouble(const hvArray* plan) {
    if (!hvIsDouble(plan)) {
        raiseError("fixedpoint:fi:subsref:double_index", "Index argument must be double.");
    }
}

/// Checks that each value of a plan names an element: from `lowest` to below `end`, truncated.
void checkPlan(std::span<const double> values, double lowest, double end) {
    // Values between -1 and 0 mean the first element, which an empty array doesn't have.
    bool isGood = end > 0.0 || values.empty();
    for (const double value : values) {
        isGood &= (value > lowest - 1.0) & (value < end);
    }
    if (!isGood) {
        hvErrMsg(73);
    }
}

std::span<const double> checkedPlan(const hvArray* plan, double lowest, double end) {
    errorIfNotDouble(plan);
    const std::span<const double> values = hvGetTypedData<double>(plan);
    checkPlan(values, lowest, end);
    return values;
}

std::uint64_t position(double value) {
    return static_cast<std::uint64_t>(static_cast<std::int64_t>(value));
}

std::vector<std::uint64_t> dimensionsOf(const hvArray* plan) {
    const auto dims = hvGetDims(plan);
    return {dims.begin(), dims.end()};
}

/// In an assignment, a plan's values count from 1: positive ones in the array, negative ones in the right side.
std::span<const double> checkedAssignment(const hvArray* plan, const fi& array, const fi& right) {
    return checkedPlan(plan, -static_cast<double>(right.numel()), static_cast<double>(array.numel()) + 1.0);
}

}  // namespace

// Where nothing is quantized or counted, elements held in doubles move in one loop per part.

fi* fi::takenByPlan(const hvArray* plan) const {
    errorIfNotDouble(plan);
    const std::span<const double> places = hvGetTypedData<double>(plan);
    std::unique_ptr<fi> result(new fi(dimensionsOf(plan), getNumericType(), &getFimath(), iscomplex(),
                                      getAssignmentQuantizer(), mFimathIsLocal, Entries::unset));
    const auto isInDoubles = [](const number& part) { return part.asDouble() != nullptr; };
    const bool areDoubles = mReal.numel() == mNumel && isInDoubles(mReal) && isInDoubles(result->mReal) &&
                            (isreal() || (isInDoubles(mImag) && isInDoubles(result->mImag)));
    if (areDoubles) {
        std::array<std::uint64_t, 512> offsets;
        const auto move = [&](std::size_t begin, std::size_t count, const number& from, number& to) {
            const double* const source = from.asDouble()->elements().data();
            double* const out = to.asDouble()->elements().data() + begin;
            for (std::size_t i = 0; i < count; ++i) {
                out[i] = source[offsets[i]];
            }
        };
        for (std::size_t begin = 0; begin < places.size(); begin += offsets.size()) {
            const auto block = places.subspan(begin, std::min(offsets.size(), places.size() - begin));
            if (!offsetsOf(block, 0, mNumel, offsets.data())) {
                // Plans of the host don't get here: fractions are truncated.
                checkPlan(block, 0.0, static_cast<double>(mNumel));
                std::ranges::transform(block, offsets.begin(), position);
            }
            move(begin, block.size(), mReal, result->mReal);
            if (iscomplex()) {
                move(begin, block.size(), mImag, result->mImag);
            }
        }
    } else {
        checkPlan(places, 0.0, static_cast<double>(mNumel));
        const auto move = [&](const number& from, number& to) {
            for (std::size_t k = 0; k < places.size(); ++k) {
                setIndex(position(places[k]));
                to[k].setvalue(from);
            }
        };
        move(mReal, result->mReal);
        if (iscomplex()) {
            move(mImag, result->mImag);
        }
    }
    if (!places.empty()) {
        setIndex(position(places.back()));
        result->setIndex(places.size() - 1);
    }
    return result.release();
}

fi* fi::subscriptedReference(const hvArray* plan) const {
    std::unique_ptr<fi> result(takenByPlan(plan));
    result->updateAssignmentQuantizer();
    return result.release();
}

fi* fi::subscriptedDelete(const hvArray* plan) const {
    return takenByPlan(plan);
}

bool fi::movesWithoutTrace(const fi& source) const {
    return !getLogging() && getNumericType().isequivalent(source.getNumericType()) &&
           (isreal() ? source.isreal() : source.iscomplex() || !isSlopeBiasScaled());
}

void fi::putByPlan(std::span<const double> plan, const fi* left, const fi& right) {
    const auto sourceOf = [&](double value) { return value > 0.0 ? left : &right; };
    const auto offset = [](double value) { return position(std::fabs(value)) - 1; };
    const auto isAny = [](double value) { return value >= 1.0 || value <= -1.0; };
    const auto canMove = [&](const fi* source) { return source == nullptr || movesWithoutTrace(*source); };
    doublenumber* const realTarget = mReal.asDouble();
    doublenumber* const imagTarget = iscomplex() ? mImag.asDouble() : nullptr;
    const auto part = [](const fi* source, bool isReal) -> const double* {
        if (source == nullptr || (!isReal && source->isreal())) {
            return nullptr;
        }
        return entries::doublesOf(isReal ? source->mReal : source->mImag, source->mNumel).data();
    };
    const auto isInDoubles = [&](const fi* source) {
        return source == nullptr || source->isempty() ||
               (part(source, true) != nullptr && (source->isreal() || part(source, false) != nullptr));
    };
    if (canMove(left) && canMove(&right) && realTarget != nullptr && (isreal() || imagTarget != nullptr) &&
        isInDoubles(left) && isInDoubles(&right)) {
        const auto move = [&](bool isReal, double* out) {
            const double* const fromLeft = part(left, isReal);
            const double* const fromRight = part(&right, isReal);
            for (std::size_t k = 0; k < plan.size(); ++k) {
                if (!isAny(plan[k]) || (plan[k] > 0.0 && left == nullptr)) {
                    continue;
                }
                const double* const source = plan[k] > 0.0 ? fromLeft : fromRight;
                out[k] = source == nullptr ? 0.0 : source[offset(plan[k])];
            }
        };
        move(true, realTarget->elements().data());
        if (imagTarget != nullptr) {
            move(false, imagTarget->elements().data());
        }
        return;
    }
    for (std::size_t k = 0; k < plan.size(); ++k) {
        const fi* const source = isAny(plan[k]) ? sourceOf(plan[k]) : nullptr;
        if (source != nullptr) {
            source->setIndex(offset(plan[k]));
            setIndex(k);
            const qlogger& log = getQlogger();
            const std::uint64_t overflows = log.getNoverflows();
            const std::uint64_t underflows = log.getNunderflows();
            *this = *source;
            if (plan[k] > 0.0) {
                // Overflows of a kept element were counted when it was stored.
                log.setNoverflows(overflows);
                log.setNunderflows(underflows);
            }
        }
    }
}

void fi::subscriptedOverwriteAssignment(const hvArray* plan, const fi& right) {
    const std::span<const double> places = checkedAssignment(plan, *this, right);
    if (places.size() != mNumel) {
        hvErrMsg(73);
    }
    if (sharesElementsOf(right)) {
        // Elements that are overwritten may still be needed.
        putByPlan(places, nullptr, *right.detached());
    } else {
        putByPlan(places, nullptr, right);
    }
    if (getLogging()) {
        updateAssignlog(getQlogger());
    }
}

fi fi::fromRightSide(const hvArray* right) const {
    return fi(right, getNumericType(), getFimath(), "", true, embedded::OperationTypeEnum::Assignment);
}

void fi::subscriptedOverwriteAssignment(const hvArray* plan, const hvArray* right) {
    if (const fi* const object = objectIn(right)) {
        subscriptedOverwriteAssignment(plan, *object);
        return;
    }
    const fi converted = fromRightSide(right);
    static_cast<void>(checkedAssignment(plan, *this, converted));
    addConversionLog(converted);
    if (getLogging() && !isScaledDouble()) {
        updateAssignlog(getQlogger());
    }
    subscriptedOverwriteAssignment(plan, converted);
}

void fi::addConversionLog(const fi& converted) const {
    if (getLogging() && !isScaledDouble()) {
        const qlogger& log = getQlogger();
        log.addtoOverUnder(converted.getQlogger());
        log.updateminmax(converted.getQlogger().getMax());
        log.updateminmax(converted.getQlogger().getMin());
    }
}

fi* fi::subscriptedGrowAssignment(const hvArray* plan, const fi& right) const {
    errorIfNotDouble(plan);
    errorIfComplexOntoSlopeBias(right);
    const std::span<const double> places = checkedAssignment(plan, *this, right);
    const std::vector<std::uint64_t> dims = dimensionsOf(plan);
    if (getLogging()) {
        // Before the log is copied; otherwise both arrays would report its changes.
        updateAssignlog(getQlogger());
    }
    auto result = std::make_unique<fi>(dims.data(), dims.size(), getNumericType(), getFimath(),
                                       iscomplex() || right.iscomplex(), getAssignmentQuantizer(), mFimathIsLocal);
    result->putByPlan(places, this, right);
    if (getLogging()) {
        updateAssignlog(result->getQlogger());
    }
    return result.release();
}

hvArray* fi::subscriptedGrowAssignment(const hvArray* plan, const hvArray* right) const {
    if (const fi* const object = objectIn(right)) {
        return convertToExternalVelmarArray(std::unique_ptr<fi>(subscriptedGrowAssignment(plan, *object)));
    }
    errorIfNotDouble(plan);
    const fi converted = fromRightSide(right);
    static_cast<void>(checkedAssignment(plan, *this, converted));
    addConversionLog(converted);
    return convertToExternalVelmarArray(std::unique_ptr<fi>(subscriptedGrowAssignment(plan, converted)));
}
