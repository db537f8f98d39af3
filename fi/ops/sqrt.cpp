// Square roots of fixed-point data, found bit by bit without a floating-point root.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "fi/bulk/entries.h"
#include "fi/bulk/lane_loops.h"
#include "fi/bulk/roots.h"
#include "fi/bulk/wide_roots.h"
#include "fi/fi.h"
#include "fi/result_types/work_cells.h"
#include "logging/reports.h"
#include "numbers/mpscratch.h"
#include "numbers/services.h"

using namespace tolvane::detail;

namespace {

using EmbeddedTypeSystem::NumericType;
using Round = embedded::RoundModeEnum;

bool isAnyElementNegative(const number& part, std::uint64_t count) {
    if (const std::span<const double> values = entries::doublesOf(part, count); values.data()) {
        return laneloops::areAvailable() ? laneloops::extremes(values.data(), values.size()).least < 0.0
                                         : std::ranges::any_of(values, [](double x) { return x < 0.0; });
    }
    const std::uint64_t cursor = part.getIndex();
    bool found = false;
    for (std::uint64_t i = 0; i < count && !found; ++i) {
        found = part[i].sign() < 0;
    }
    part.setIndex(cursor);
    return found;
}

/// The given type in the data type that the operand leads to.
NumericType rootType(const fi& a, const NumericType& type) {
    NumericType result(type);
    if (type.isScaledType() && !(a.isFixed() && type.isScaledDouble())) {
        result.setDataType(a.getDataType());
    }
    return result;
}

/// Leaves the logs of the objects that a search works with in the log map, in the order in which they are destroyed.
void leaveLogs(const arrayroots::Tallies& noted, const arrayroots::Types& types, const std::string& tag) {
    using Operation = embedded::OperationTypeEnum;
    struct Place {
        const Tally& tally;
        Operation operation;
        const NumericType& type;
    };
    const Place places[] = {
        {noted.below, Operation::Sum, types.square},
        {noted.elements, Operation::Assignment, types.element},
        {noted.above, Operation::Sum, types.square},
        {noted.neighbourSquares, Operation::Assignment, types.square},
        {noted.neighbourSquares, Operation::Product, types.square},
        {noted.neighbours, Operation::Assignment, types.root},
        {noted.squares, Operation::Assignment, types.square},
        {noted.squares, Operation::Product, types.square},
        {noted.trials, Operation::Assignment, types.root},
    };
    for (const Place& place : places) {
        const qlogger log(tag, place.operation, place.type, false, true);
        place.tally.handTo(log);
    }
}

/// Finds the roots of a whole array, if its types allow that, and leaves the logs of a search. No square overflows or
/// underflows, so there is nothing to report.
bool findAllRoots(const arrayroots::Types& types, std::span<const double> elements, std::span<double> found,
                  const fi& roots) {
    const fimath& rules = roots.getFimath();
    if (!arrayroots::areSquaresExact(types, rules)) {
        return false;
    }
    if (!fi::getLogging()) {
        arrayroots::find(elements, found, types, rules);
        return true;
    }
    const quantizer distances(types.square, rules.getRoundMode(), rules.getOverflowMode(), "",
                              embedded::OperationTypeEnum::Unspecified, false);
    if (!distances.hasFixedKernel()) {
        return false;
    }
    const arrayroots::Tallies noted = arrayroots::findAndTally(elements, found, types, rules, distances);
    leaveLogs(noted, types, roots.getTag());
    noted.roots.handTo(roots.getQlogger());
    return true;
}

/// Sets bits of the stored integers of one type; bit 1 is the lowest.
class BitSetter {
 public:
    explicit BitSetter(const fi& x)
        : mIsSigned(x.isSigned()),
          mWordLength(x.getWordLength()),
          mSlope(x.getSlopeAdjustmentFactor()),
          mExponent(x.getFixedExponent()),
          mBias(x.getBias()),
          mModulus(MPFR_PREC_MIN + 1, 1.0) {
        mpfr_mul_2si(mModulus, mModulus, mWordLength, MPFR_RNDN);
    }
    void set(number& entry, int bit) const {
        if (entry.asDouble()) {
            const std::uint64_t modulus = std::uint64_t{1} << (mWordLength & 63);
            entry.bitset(bit, true, mIsSigned, mWordLength, mSlope, mExponent, mBias, modulus);
        } else {
            entry.bitset(bit, true, mIsSigned, mWordLength, mSlope, mExponent, mBias,
                         static_cast<mpfr_srcptr>(mModulus));
        }
    }

 private:
    bool mIsSigned;
    int mWordLength;
    double mSlope;
    int mExponent;
    double mBias;
    mpscratch mModulus;
};

}  // namespace

fi::NumericType fi::getNumericTypeForSqrtBisection() const {
    NumericType type;
    type.setDataType(getDataType());
    if (type.isScaledType()) {
        const double wordLength = std::ceil(getWordLength() * 0.5);
        const double integerBits = std::ceil((static_cast<double>(getFixedExponent()) + getWordLength()) * 0.5);
        type.setFixedPointProps(isSigned(), static_cast<int>(wordLength), 1.0,
                                static_cast<int>(integerBits - wordLength), 0.0);
    }
    return type;
}

void fi::sqrtErrorMessage(const NumericType& type) const {
    if (isSlopeBiasScaled() || type.isSlopeBiasScaled()) {
        raise("fixedpoint:fi:sqrt:binarypointonly",
              "sqrt(A), sqrt(A,T) or sqrt(A,T,F) can only be calculated for FI object A  and numerictype T when "
              "the scaling of A and T has a fractional slope of 1 and 0 bias (binary-point only scaling).");
    }
    if (type.isUnspecifiedScaling()) {
        raise("fixedpoint:fi:sqrt:unspecifiedscaling",
              "sqrt(A,T) or sqrt(A,T,F) is not supported when numerictype T has unspecified scaling.");
    }
    if (type.isUnspecifiedSign()) {
        raise("fixedpoint:fi:sqrt:unspecifiedsign",
              "sqrt(A,T) or sqrt(A,T,F) is not supported when numerictype T has unspecified sign.");
    }
    if (iscomplex()) {
        raise("fixedpoint:fi:sqrt:nocomplex", "The sqrt function is not supported for complex fi.");
    }
    if (isAnyElementNegative(mReal, mNumel)) {
        raise("fixedpoint:fi:sqrt:nonegative", "The sqrt function is not supported for negative valued fi.");
    }
    if (isBoolean() || type.isBoolean()) {
        raise("fixedpoint:fi:sqrt:nobooleansqrt",
              "sqrt(A), sqrt(A,T) or sqrt(A,T,F) is not supported when A or T are of datatype boolean.");
    }
}

fi* fi::sqrtBisection() const {
    return sqrtBisection(getNumericTypeForSqrtBisection(), getFimath());
}

fi* fi::sqrtBisection(const NumericType& type) const {
    return sqrtBisection(type, getFimath());
}

fi* fi::sqrtBisection(const fimath& rules) const {
    return sqrtBisection(getNumericTypeForSqrtBisection(), rules);
}

fi* fi::sqrtBisection(const NumericType& type, const fimath& rules) const {
    if (isView()) {
        return detached()->sqrtBisection(type, rules);
    }
    constexpr auto kAssignment = embedded::OperationTypeEnum::Assignment;
    sqrtErrorMessage(type);
    if (getLogging()) {
        const quantizer wanted(getNumericTypeForSqrtBisection(), getRoundMode(), getOverflowMode(), "", kAssignment,
                               false);
        const quantizer given(type, getRoundMode(), getOverflowMode(), "", kAssignment, false);
        if (wanted.getLowerBound() < given.getLowerBound() || wanted.getUpperBound() > given.getUpperBound()) {
            warn("fi:sqrt:outputrangetoosmall",
                 "The range of the output type cannot represent the square root of the range of the "
                 "input type.");
        }
    }
    auto result =
        std::make_unique<fi>(dims(), ndims(), rootType(*this, type), rules, false, getTag(), true, kAssignment, 0U);
    if (result->isFixed()) {
        bisectRoots(*result);
    } else {
        for (std::uint64_t i = 0; i < mNumel; ++i) {
            result->setIndex(i);
            *result = std::sqrt(realdouble(i) + 0.0);
        }
    }
    result->setFimathIsLocal(mFimathIsLocal);
    return result.release();
}

// Squares are quantized into the product type of the rules before they are compared, so a narrow product decides which
// root is found.
void fi::bisectRoots(fi& roots) const {
    constexpr auto kAssignment = embedded::OperationTypeEnum::Assignment;
    const fimath& rules = roots.getFimath();
    const NumericType type = roots.getNumericType();
    const NumericType product = roots.getProductTypeForMpyOp(roots);
    const std::span<const double> elements = entries::doublesOf(mReal, mNumel);
    const bool counts = getLogging() || roots.getQlogger().isLogging();
    // A search with cells of another kind has other logs, but the same roots.
    const bool isForced = counts && number::getDefaultForceMultiplePrecision();
    if (doublenumber* const found = roots.mReal.asDouble();
        found && elements.size() == found->elements().size() && !isForced &&
        findAllRoots({getNumericType(), type, product}, elements, found->elements(), roots)) {
        // The steps leave the cursors at the end; what has no logs has never moved them here.
        if (mNumel > 0 && counts) {
            setIndex(mNumel - 1);
            roots.setIndex(mNumel - 1);
        }
        return;
    }
    if (!counts && mReal.numel() == mNumel &&
        wide::findRoots(mReal, {getNumericType(), type, product}, rules, roots.mReal)) {
        setIndex(mNumel - 1);
        roots.setIndex(mNumel - 1);
        return;
    }
    const auto made = [&](const NumericType& ofType) {
        return fi(1, 1, ofType, rules, false, getTag(), true, kAssignment, 0U);
    };
    const std::unique_ptr<fi> eps(roots.eps());
    fi trial = made(type);
    trial.initializeProductRegister(product, product, rules, 2 * wordBits(roots));
    fi square = made(product);
    fi next = made(type);
    next.initializeProductRegister(product, product, rules, 0);
    fi nextSquare = made(product);
    nextSquare.initializeSumRegister(product, rules, 0);
    fi x = made(getNumericType());
    x.initializeSumRegister(product, rules, 0);

    const Round mode = rules.getRoundMode();
    const number& upper = trial.getAssignmentQuantizer().getUpperBound();
    number scratch = cell(0.0, std::max(wordBits(*eps), wordBits(next)));
    const BitSetter bits(trial);
    const int topBit = roots.getWordLength() - (roots.isSigned() ? 1 : 0);
    for (std::uint64_t i = 0; i < mNumel; ++i) {
        setIndex(i);
        roots.setIndex(i);
        x = *this;
        const bool isZero = x.mReal.iszero();
        for (int bit = isZero ? 0 : topBit; bit > 0; --bit) {
            trial = roots;
            bits.set(trial.mReal, bit);
            square = trial * trial;
            if (square.mReal <= x.getAdjustedReal(square)) {
                roots = trial;
            }
        }
        if (arrayroots::roundsDown(mode) || !(roots.mReal < upper)) {
            continue;
        }
        trial = roots;
        square = trial * trial;
        next = trial;
        next.sumEquals(next, *eps, next, scratch);
        bool goesUp = false;
        if (mode == Round::Ceil) {
            goesUp = !isZero && square.mReal < x.getAdjustedReal(square);
        } else {
            // The distances are between squares, and a tie stays below.
            nextSquare = next * next;
            const fi& low = x - square;
            const fi& high = nextSquare - x;
            goesUp = high.mReal < low.getAdjustedReal(high);
        }
        if (goesUp) {
            roots = next;
        }
    }
    reports::reportProducts(trial.getproductQlogger(), next.getproductQlogger(), "sqrt");
}
