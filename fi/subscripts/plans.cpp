// Arrays made from a selection of elements, and assignments; by a plan, which is a host array of doubles that names the
// source element for each position of a result, or by subscripts. The host's own subscripts make plans when they run on
// arrays of positions.
#include <algorithm>
#include <array>
#include <memory>
#include <span>
#include <utility>

#include "fi/bulk/entries.h"
#include "fi/fi.h"
#include "fi/subscripts/assignment.h"
#include "fi/subscripts/planned_selection.h"
#include "fi/subscripts/side_stores.h"
#include "host/ErrorIdException.h"
#include "host/hv.h"
#include "host/positions.h"
#include "numbers/mpnumber.h"
#include "numbers/wordarray.h"

using namespace tolvane::detail;

namespace tolvane::detail {

PlannedSelection::PlannedSelection(const hvArray* plan, std::uint64_t count, bool checksFirst)
    : Selection(planDimensions(plan)), mValues(planValues(plan)), mCount(count), mChecksFirst(checksFirst) {}

PlannedSelection::PlannedSelection(hvArrayOwner plan, std::uint64_t count, bool checksFirst)
    : PlannedSelection(plan.get(), count, checksFirst) {
    mOwned = std::move(plan);
}

void PlannedSelection::walk(const VisitStretch& visit) const {
    if (mChecksFirst) {
        checkPlan(mValues, 0.0, static_cast<double>(mCount));
    }
    std::array<std::uint64_t, kMostListed> offsets;
    for (std::size_t begin = 0; begin < mValues.size(); begin += offsets.size()) {
        const auto block = mValues.subspan(begin, std::min(offsets.size(), mValues.size() - begin));
        if (!offsetsOf(block, 0, mCount, offsets.data())) {
            // Plans of the host don't get here: fractions are truncated.
            checkPlan(block, 0.0, static_cast<double>(mCount));
            std::ranges::transform(block, offsets.begin(), planPosition);
        }
        visit({0, 1, block.size(), offsets.data()});
    }
}

std::span<const double> planValues(const hvArray* plan) {
    if (!hvIsDouble(plan)) {
        raiseError("fixedpoint:fi:subsref:double_index", "Index argument must be double.");
    }
    return hvGetTypedData<double>(plan);
}

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

}  // namespace tolvane::detail

namespace {

void gather(const number& from, const Stretch& places, number& to, std::uint64_t begin) {
    const double* const source = from.asDouble()->elements().data() + places.first;
    double* const out = to.asDouble()->elements().data() + begin;
    if (places.isRun()) {
        std::copy_n(source, places.count, out);
    } else if (places.offsets != nullptr) {
        for (std::size_t i = 0; i < places.count; ++i) {
            out[i] = source[places.offsets[i]];
        }
    } else {
        // Places may descend.
        const auto step = static_cast<std::ptrdiff_t>(places.step);
        const auto count = static_cast<std::ptrdiff_t>(places.count);
        for (std::ptrdiff_t i = 0; i < count; ++i) {
            out[i] = source[i * step];
        }
    }
}

void gatherWords(const number& from, const Stretch& places, number& to, std::uint64_t begin) {
    const WordSpan source = from.asWords()->words();
    wordarray& out = to.asWords()->rewrite(source.grid);
    const auto target = [begin](std::uint64_t i) { return begin + i; };
    if (places.isRun()) {
        out.copyRun(source, places.first, begin, places.count);
    } else if (places.offsets != nullptr) {
        out.copyEach(
            source, places.count, [&](std::uint64_t i) { return places.first + places.offsets[i]; }, target);
    } else {
        out.copyEach(
            source, places.count, [&](std::uint64_t i) { return places.first + i * places.step; }, target);
    }
}

}  // namespace

// Where nothing is quantized or counted, doubles and words move in one loop per part.

std::unique_ptr<fi> fi::taken(const Selection& selection) const {
    std::unique_ptr<fi> result(new fi(selection.dims(), getNumericType(), &getFimath(), iscomplex(),
                                      getAssignmentQuantizer(), mFimathIsLocal, Entries::unset));
    const auto isInDoubles = [](const number& part) { return part.asDouble() != nullptr; };
    const bool areDoubles = mReal.numel() == mNumel && isInDoubles(mReal) && isInDoubles(result->mReal) &&
                            (isreal() || (isInDoubles(imagEntries()) && isInDoubles(result->imagEntries())));
    const auto areWordsOf = [this](const number& part, number& of) {
        const mpnumber* const from = part.asWords();
        const mpnumber* const to = of.asWords();
        return from && to && *from->grid() == *to->grid() && part.numel() == mNumel;
    };
    const bool areWords =
        areWordsOf(mReal, result->mReal) && (isreal() || areWordsOf(imagEntries(), result->imagEntries()));
    std::uint64_t done = 0;
    std::uint64_t last = 0;
    const auto take = [&](const number& from, const Stretch& places, number& to) {
        if (areDoubles) {
            gather(from, places, to, done);
            return;
        }
        if (areWords) {
            gatherWords(from, places, to, done);
            return;
        }
        for (std::size_t i = 0; i < places.count; ++i) {
            setIndex(places[i]);
            to[done + i].setvalue(from);
        }
    };
    selection.walk([&](const Stretch& places) {
        take(mReal, places, result->mReal);
        if (iscomplex()) {
            take(imagEntries(), places, result->imagEntries());
        }
        done += places.count;
        last = places[places.count - 1];
    });
    if (done > 0) {
        setIndex(last);
        result->setIndex(done - 1);
    }
    return result;
}

fi* fi::subscriptedReference(const hvArray* plan) const {
    return reference(PlannedSelection(plan, mNumel, !entries::isInDoubles(mReal, mNumel))).release();
}

std::unique_ptr<fi> fi::reference(const Selection& selection) const {
    std::unique_ptr<fi> result = taken(selection);
    result->updateAssignmentQuantizer();
    return result;
}

fi* fi::subscriptedDelete(const hvArray* plan) const {
    return taken(PlannedSelection(plan, mNumel, !entries::isInDoubles(mReal, mNumel))).release();
}

// Assignments.

bool fi::movesWithoutTrace(const fi& source) const {
    return !getLogging() && getNumericType().isequivalent(source.getNumericType()) &&
           (isreal() ? source.isreal() : source.iscomplex() || !isSlopeBiasScaled());
}

void fi::put(const Assignment& assignment, const fi* left, const fi& right) {
    const bool isPlainMove = movesWithoutTrace(right) && (left == nullptr || movesWithoutTrace(*left));
    if (!isSlopeBiasScaled() && right.iscomplex() && assignment.usesRight()) {
        coordinateComplexity(true, 0);
    }
    if (const std::unique_ptr<SideStores> stores = SideStores::of(left, right, *this)) {
        assignment.run(*stores);
        stores->finish(isPlainMove);
        return;
    }
    assignment.forEach([&](Assignment::From from, std::uint64_t source, std::uint64_t place) {
        if (from == Assignment::From::right) {
            putElement(right, source, place);
        } else if (left != nullptr) {
            // Overflows of a kept element were counted when it was stored.
            const qlogger& log = getQlogger();
            const std::uint64_t overflows = log.getNoverflows();
            const std::uint64_t underflows = log.getNunderflows();
            putElement(*left, source, place);
            log.setNoverflows(overflows);
            log.setNunderflows(underflows);
        }
    });
}

void fi::putElement(const fi& source, std::uint64_t from, std::uint64_t place) {
    source.setIndex(from);
    setIndex(place);
    *this = source;
}

void fi::overwrite(const Assignment& assignment, const fi& right) {
    assignment.check(*this, right);
    if (assignment.count() != mNumel) {
        hvErrMsg(73);
    }
    if (sharesElementsOf(right)) {
        // Elements that are overwritten may still be needed.
        put(assignment, nullptr, *right.detached());
    } else {
        put(assignment, nullptr, right);
    }
    if (getLogging()) {
        updateAssignlog(getQlogger());
    }
}

void fi::subscriptedOverwriteAssignment(const hvArray* plan, const fi& right) {
    overwrite(*Assignment::byPlan(plan), right);
}

fi fi::fromRightSide(const hvArray* right) const {
    return fi(right, getNumericType(), getFimath(), "", true, embedded::OperationTypeEnum::Assignment);
}

void fi::overwrite(const Assignment& assignment, const hvArray* right) {
    if (const fi* const object = objectIn(right)) {
        overwrite(assignment, *object);
        return;
    }
    const fi converted = fromRightSide(right);
    assignment.check(*this, converted);
    addConversionLog(converted);
    if (getLogging() && !isScaledDouble()) {
        updateAssignlog(getQlogger());
    }
    overwrite(assignment, converted);
}

void fi::subscriptedOverwriteAssignment(const hvArray* plan, const hvArray* right) {
    overwrite(*Assignment::byPlan(plan), right);
}

void fi::addConversionLog(const fi& converted) const {
    if (getLogging() && !isScaledDouble()) {
        const qlogger& log = getQlogger();
        log.addtoOverUnder(converted.getQlogger());
        log.updateminmax(converted.getQlogger().getMax());
        log.updateminmax(converted.getQlogger().getMin());
    }
}

std::unique_ptr<fi> fi::grown(const Assignment& assignment, const fi& right) const {
    errorIfComplexOntoSlopeBias(right);
    assignment.check(*this, right);
    if (getLogging()) {
        // Before the log is copied; otherwise both arrays would report its changes.
        updateAssignlog(getQlogger());
    }
    std::unique_ptr<fi> result(new fi(assignment.dims(), getNumericType(), &getFimath(),
                                      iscomplex() || right.iscomplex(), getAssignmentQuantizer(), mFimathIsLocal,
                                      assignment.isWhole() ? Entries::unset : Entries::zero));
    result->put(assignment, this, right);
    if (getLogging()) {
        updateAssignlog(result->getQlogger());
    }
    return result;
}

fi* fi::subscriptedGrowAssignment(const hvArray* plan, const fi& right) const {
    static_cast<void>(planValues(plan));
    return grown(*Assignment::byPlan(plan), right).release();
}

hvArray* fi::grown(const Assignment& assignment, const hvArray* right) const {
    if (const fi* const object = objectIn(right)) {
        return convertToExternalVelmarArray(grown(assignment, *object));
    }
    const fi converted = fromRightSide(right);
    assignment.check(*this, converted);
    addConversionLog(converted);
    return convertToExternalVelmarArray(grown(assignment, converted));
}

hvArray* fi::subscriptedGrowAssignment(const hvArray* plan, const hvArray* right) const {
    static_cast<void>(planValues(plan));
    return grown(*Assignment::byPlan(plan), right);
}
