// The larger and the smaller of two arrays, the extremes of columns, and sorted copies.
//
// All copy values: nothing is quantized, and a result logs only values assigned to it.
#include <algorithm>
#include <cstdint>
#include <memory>
#include <numeric>
#include <string>

#include "fi/bulk/broadcast.h"
#include "fi/bulk/entries.h"
#include "fi/bulk/wide_values.h"
#include "fi/fi.h"
#include "numbers/services.h"

using namespace tolvane::detail;

namespace {

// The two extremes by the condition for replacing the current one. Equal values and NaN don't replace it.
struct Maximum {
    static constexpr const char* kName = "max";
    static constexpr wide::Extreme kWide = wide::Extreme::greatest;
    template <class Value>
    static bool takesPlace(const Value& challenger, const Value& holder) {
        return challenger > holder;
    }
};
struct Minimum {
    static constexpr const char* kName = "min";
    static constexpr wide::Extreme kWide = wide::Extreme::least;
    template <class Value>
    static bool takesPlace(const Value& challenger, const Value& holder) {
        return challenger < holder;
    }
};

void errorIfTypesOrRulesDiffer(const std::string& name, const fi& a, const fi& b) {
    if (!a.getNumericType().isequivalent(b.getNumericType())) {
        raise("fixedpoint:fi:" + name + ":numerictypemismatch", "NUMERICTYPE of both operands must be equal.");
    }
    if (!a.getFimath().isequal(b.getFimath())) {
        raise("fixedpoint:fi:" + name + ":fimathmismatch", "FIMATH of both operands must be equal.");
    }
}

}  // namespace

// Two arrays.

// In every case the other operand's element must beat that of the operand whose dimensions the result takes.
bool fi::logsEachStoreOnce() const {
    return !getLogging() || !isScaledDouble();
}

template <class Extreme>
fi& fi::extremeWith(const fi& b) const {
    errorIfTypesOrRulesDiffer(Extreme::kName, *this, b);
    const broadcasting operands(*this, b);
    const fi& holder = operands.leftIsScalar() ? b : *this;
    const fi& challenger = operands.leftIsScalar() ? *this : b;
    const bool hasOneElement = operands.leftIsScalar() || operands.rightIsScalar();
    const bool isReal = isreal() && b.isreal();

    auto result = std::make_unique<fi>(holder);
    // The log of the left one of two real arrays continues in the result; callers rely on that.
    if (hasOneElement || !isReal) {
        result->getQlogger().reset();
    }
    if (isempty() || b.isempty()) {
        operands.settle();
        return *result.release();
    }
    if (isReal) {
        const double* const challengers = entries::doublesOf(challenger.mReal, challenger.mNumel).data();
        doublenumber* const doubles = result->mReal.asDouble();
        if (getLogging() || !challengers || !doubles) {
            if (logsEachStoreOnce() &&
                wide::keepExtremes(Extreme::kWide, result->mReal, challenger.mReal, hasOneElement, getNumericType(),
                                   getLogging() ? &result->getQlogger() : nullptr)) {
                operands.settle(*result);
                return *result.release();
            }
            operands.walk(*result, 0, result->mNumel, [&] {
                if (Extreme::takesPlace(challenger.mReal, holder.getAdjustedReal(challenger))) {
                    *result = challenger;
                }
            });
            return *result.release();
        }
        const auto pick = [](double x, double held) { return Extreme::takesPlace(x, held) ? x : held; };
        const auto held = doubles->elements();
        if (hasOneElement) {
            std::ranges::transform(held, held.begin(), [pick, x = *challengers](double y) { return pick(x, y); });
        } else {
            std::transform(challengers, challengers + held.size(), held.begin(), held.begin(), pick);
        }
        operands.settle(*result);
        return *result.release();
    }

    challenger.setIndex(0);
    holder.setIndex(0);
    number challengerSize(challenger.mReal);
    number holderSize(holder.mReal);
    challenger.abs(challengerSize);
    const auto decide = [&](std::uint64_t i, std::uint64_t j) {
        challenger.setIndex(i);
        holder.setIndex(j);
        challenger.abs(challengerSize);
        holder.abs(holderSize);
        return Extreme::takesPlace(challengerSize, holderSize);
    };
    if (iscomplex() && b.iscomplex() && logsEachStoreOnce() &&
        wide::keepExtremes(Extreme::kWide, wide::ComplexPart<number>{result->mReal, result->imagEntries()},
                           {challenger.mReal, challenger.imagPart()}, hasOneElement, getNumericType(),
                           getLogging() ? &result->getQlogger() : nullptr, decide)) {
        operands.settle(*result);
        return *result.release();
    }
    operands.walk(*result, 0, result->mNumel, [&] {
        if (!hasOneElement) {
            challenger.abs(challengerSize);
        }
        holder.abs(holderSize);
        if (Extreme::takesPlace(challengerSize, holderSize)) {
            *result = challenger;
        }
    });
    return *result.release();
}

fi& fi::max(const fi& b) const {
    return extremeWith<Maximum>(b);
}

fi& fi::min(const fi& b) const {
    return extremeWith<Minimum>(b);
}

// Columns.

fi::Dimensions fi::sizesOfColumns() const {
    Dimensions sizes = mDims;
    if (!sizes.empty() && sizes.front() != 0) {
        sizes.front() = 1;
    }
    return sizes;
}

template <class Extreme>
std::unique_ptr<fi> fi::extremesOfColumns(double* rows) const {
    const Dimensions sizes = sizesOfColumns();
    auto result = std::make_unique<fi>(sizes.data(), sizes.size(), getNumericType(), getFimath(), iscomplex(), getTag(),
                                       mFimathIsLocal, embedded::OperationTypeEnum::Assignment, 0U);
    // Walks the columns: `start` takes the first element of a column, and `challenge` says whether the next one
    // replaces the current one.
    const auto walk = [&](auto start, auto challenge) {
        for (std::uint64_t column = 0; column < result->mNumel; ++column) {
            result->setIndex(column);
            setIndex(column * mM);
            start();
            rows[column] = 1.0;
            for (std::uint64_t row = 1; row < mM; ++row) {
                setIndex(column * mM + row);
                if (challenge()) {
                    rows[column] = static_cast<double>(row + 1);
                }
            }
        }
    };
    const double* const doubles = entries::doublesOf(mReal, mNumel).data();
    if (isempty()) {
        // No column has a first element.
    } else if (iscomplex()) {
        setIndex(0);
        number challengerSize(mReal);
        number holderSize(result->mReal);
        const auto take = [&] {
            *result = *this;
            result->abs(holderSize);
        };
        const auto decide = [&](std::uint64_t i, std::uint64_t j) {
            setIndex(j);
            abs(holderSize);
            setIndex(i);
            abs(challengerSize);
            return Extreme::takesPlace(challengerSize, holderSize);
        };
        if (logsEachStoreOnce() && mReal.getprecision() == result->mReal.getprecision() &&
            wide::storeExtremes(Extreme::kWide, {mReal, imagPart()}, mM,
                                wide::ComplexPart<number>{result->mReal, result->imagEntries()}, rows,
                                getLogging() ? &result->getQlogger() : nullptr, decide)) {
            setIndex(mNumel - 1);
            result->setIndex(result->mNumel - 1);
            return result;
        }
        walk(take, [&] {
            abs(challengerSize);
            const bool isTaken = Extreme::takesPlace(challengerSize, holderSize);
            if (isTaken) {
                take();
            }
            return isTaken;
        });
    } else if (logsEachStoreOnce() && wide::storeExtremes(Extreme::kWide, mReal, mM, result->mReal, rows,
                                                          getLogging() ? &result->getQlogger() : nullptr)) {
        setIndex(mNumel - 1);
        result->setIndex(result->mNumel - 1);
    } else if (getLogging() || !doubles || !result->mReal.asDouble()) {
        walk([&] { *result = *this; },
             [&] {
                 const bool isTaken = Extreme::takesPlace(getAdjustedReal(*result), std::as_const(*result).mReal);
                 if (isTaken) {
                     *result = *this;
                 }
                 return isTaken;
             });
    } else {
        const auto extremes = result->mReal.asDouble()->elements();
        for (std::uint64_t column = 0; column < result->mNumel; ++column) {
            const double* const entries = doubles + column * mM;
            std::uint64_t best = 0;
            for (std::uint64_t row = 1; row < mM; ++row) {
                best = Extreme::takesPlace(entries[row], entries[best]) ? row : best;
            }
            extremes[column] = entries[best];
            rows[column] = static_cast<double>(best + 1);
        }
        setIndex(mNumel - 1);
        result->setIndex(result->mNumel - 1);
    }
    return result;
}

std::unique_ptr<fi> fi::greatestOfColumns(double* rows) const {
    return extremesOfColumns<Maximum>(rows);
}

std::unique_ptr<fi> fi::leastOfColumns(double* rows) const {
    return extremesOfColumns<Minimum>(rows);
}

// Sorting.

fi& fi::stridesort(bool ascending, std::uint64_t stride, std::uint64_t length) const {
    auto result = std::make_unique<fi>(*this);
    result->mReal.stridesort(ascending, stride, length);
    return *result.release();
}

// Elements that belong to no complete block keep their row.
fi& fi::stridesort2(double*& indices, bool ascending, std::uint64_t stride, std::uint64_t length) const {
    auto result = std::make_unique<fi>(*this);
    for (std::uint64_t column = 0; column < mN; ++column) {
        std::iota(indices + column * mM, indices + (column + 1) * mM, 1.0);
    }
    result->mReal.stridesort2(indices, ascending, stride, length);
    return *result.release();
}
