// Arrays made by a plan: a host array of doubles that names the source element for each position of a result. The
// host's own subscripts make plans when they run on arrays of positions.
#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "fi/bulk/stores.h"
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
                            (isreal() || (isInDoubles(imagEntries()) && isInDoubles(result->imagEntries())));
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
                move(begin, block.size(), imagEntries(), result->imagEntries());
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
            move(imagEntries(), result->imagEntries());
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

/// Runs a plan over arrays that array stores serve.
class fi::PlannedStores {
 public:
    PlannedStores(const fi* left, const fi& right, fi& target)
        : mLog(target.getQlogger()), mTarget(target), mRight(right, target) {
        if (left != nullptr) {
            mLeft.emplace(*left, target);
        }
    }

    /// Leaves the current elements where the element steps leave them, unless `isPlainMove`.
    void run(std::span<const double> plan, bool isPlainMove) {
        for (std::size_t begin = 0; begin < plan.size(); begin += kBlock) {
            const auto block = plan.subspan(begin, std::min(kBlock, plan.size() - begin));
            runBlock(block, begin);
        }
        mTotal.handTo(mLog);
        if (!isPlainMove) {
            setCurrentElements();
        }
    }

 private:
    static constexpr std::size_t kBlock = ArrayStores::Moves::kMost;

    /// One of the two arrays and what a block takes from it.
    struct Side {
        Side(const fi& from, fi& to) : source(from), stores(from, to) {}

        /// Takes a block in which each value is whole and names an element; returns whether it is such a block.
        bool takeAll(std::span<const double> positions, std::size_t begin) {
            moves.isRun = offsetsOf(positions, 1, source.mNumel, moves.from.data());
            moves.count = positions.size();
            moves.to.front() = begin;
            return moves.isRun;
        }
        /// Takes the values that name an element, of a block of a plan. `sign` is that of values for this side.
        void takeSome(std::span<const double> block, double sign, std::size_t begin) {
            std::size_t count = 0;
            for (std::size_t i = 0; i < block.size(); ++i) {
                const double value = sign * block[i];
                moves.from[count] = position(value) - 1;
                moves.to[count] = begin + i;
                count += static_cast<std::size_t>(value >= 1.0);
            }
            moves.isRun = false;
            moves.count = count;
        }

        void noteLast() {
            if (moves.count > 0) {
                const std::size_t last = moves.count - 1;
                lastFrom = moves.from[last];
                lastTo = moves.isRun ? moves.to.front() + last : moves.to[last];
            }
        }

        const fi& source;
        ArrayStores stores;
        ArrayStores::Moves moves;
        std::uint64_t lastFrom = 0;
        std::optional<std::uint64_t> lastTo;
    };

    void runBlock(std::span<const double> block, std::size_t begin) {
        const bool startsRight = std::signbit(block.front());
        if (std::signbit(block.back()) == startsRight && runSide(startsRight, block, begin)) {
            return;
        }
        std::size_t ofRight = 0;
        for (const double value : block) {
            ofRight += std::bit_cast<std::uint64_t>(value) >> 63;
        }
        if (ofRight == 0 && !mLeft) {
            return;
        }
        // Most plans change sides seldom.
        const std::size_t length = startsRight ? ofRight : block.size() - ofRight;
        const auto rest = block.subspan(length);
        if (rest.empty() || std::signbit(block[length - 1]) != startsRight ||
            !runSide(startsRight, block.first(length), begin)) {
            runMixed(block, begin);
        } else if (!runSide(!startsRight, rest, begin + length)) {
            runMixed(rest, begin + length);
        }
    }

    /// Runs a block whose values are whole and all name elements of one side, else does nothing and returns false.
    bool runSide(bool isRight, std::span<const double> block, std::size_t begin) {
        if (!isRight && !mLeft) {
            return false;
        }
        Side& side = isRight ? mRight : *mLeft;
        if (!side.takeAll(isRight ? negated(block) : block, begin)) {
            return false;
        }
        if (!isRight) {
            mRight.moves.count = 0;
        } else if (mLeft) {
            mLeft->moves.count = 0;
        }
        store();
        return true;
    }

    void runMixed(std::span<const double> block, std::size_t begin) {
        mRight.takeSome(block, -1.0, begin);
        if (mLeft) {
            mLeft->takeSome(block, 1.0, begin);
        }
        store();
    }

    std::span<const double> negated(std::span<const double> block) {
        std::ranges::transform(block, mNegated.begin(), std::negate());
        return {mNegated.data(), block.size()};
    }

    void store() {
        Tally tally;
        mRight.stores.store(mRight.moves, tally);
        if (mLeft) {
            // Overflows of a kept element were counted when it was stored.
            Tally ofLeft;
            mLeft->stores.store(mLeft->moves, ofLeft);
            ofLeft.overflows = 0;
            ofLeft.underflows = 0;
            tally.join(ofLeft);
        }
        ArrayStores::append(tally, mLog, mTotal, [this] { return firstZero(); });
        mRight.noteLast();
        if (mLeft) {
            mLeft->noteLast();
        }
    }

    ArrayStores::Zero firstZero() const {
        const auto ofRight = mRight.stores.firstZero(mRight.moves);
        const auto ofLeft = mLeft ? mLeft->stores.firstZero(mLeft->moves) : std::nullopt;
        const bool isLeft = !ofRight || (ofLeft && ofLeft->place < ofRight->place);
        return isLeft ? *ofLeft : *ofRight;
    }

    void setCurrentElements() {
        const bool endsLeft = mLeft && mLeft->lastTo > mRight.lastTo;
        // Both sides may be one array, whose last use counts.
        for (const Side* side : {endsLeft ? &mRight : mLeft ? &*mLeft : nullptr, endsLeft ? &*mLeft : &mRight}) {
            if (side != nullptr && side->lastTo) {
                side->source.setIndex(side->lastFrom);
                mTarget.setIndex(*side->lastTo);
            }
        }
    }

    const qlogger& mLog;
    Tally mTotal;
    fi& mTarget;
    Side mRight;
    std::optional<Side> mLeft;
    std::array<double, kBlock> mNegated;
};

void fi::putByPlan(std::span<const double> plan, const fi* left, const fi& right) {
    const bool isPlainMove = movesWithoutTrace(right) && (left == nullptr || movesWithoutTrace(*left));
    const bool usesRight = std::ranges::any_of(plan, [](double value) { return value <= -1.0; });
    if (usesRight && !isSlopeBiasScaled()) {
        coordinateComplexity(right.iscomplex(), 0);
    }
    if ((left == nullptr || ArrayStores::serve(*left, *this)) && ArrayStores::serve(right, *this)) {
        PlannedStores(left, right, *this).run(plan, isPlainMove);
    } else {
        putElementsByPlan(plan, left, right);
    }
}

void fi::putElementsByPlan(std::span<const double> plan, const fi* left, const fi& right) {
    for (std::size_t k = 0; k < plan.size(); ++k) {
        const fi* const source = plan[k] >= 1.0 ? left : plan[k] <= -1.0 ? &right : nullptr;
        if (source != nullptr) {
            source->setIndex(position(std::fabs(plan[k])) - 1);
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
