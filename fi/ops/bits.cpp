// Bitwise and, or, xor and complement of the stored integers.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "fi/bulk/bit_loops.h"
#include "fi/bulk/broadcast.h"
#include "fi/bulk/entries.h"
#include "fi/fi.h"
#include "fi/ops/word_modulus.h"
#include "host/ErrorIdException.h"
#include "numbers/doublenumber.h"

using namespace tolvane::detail;

namespace {

/// The right side of one part: an entry for each element, or one for all of them.
struct RightSide {
    const number& entries;
    bool moves;
};

/// Returns false without a change for an operation that has no word form.
bool combineDoubles(std::span<double> left, std::span<const double> right, const WordFormat& format,
                    fi::BitOperation operation) {
    using enum bitloops::Operation;
    if (operation == &number::mpbitand) {
        bitloops::combine(conjunction, left, right, format);
    } else if (operation == &number::mpbitor) {
        bitloops::combine(disjunction, left, right, format);
    } else if (operation == &number::mpbitxor) {
        bitloops::combine(exclusion, left, right, format);
    } else {
        return false;
    }
    return true;
}

void combinePart(number& left, const RightSide& right, const EmbeddedTypeSystem::NumericType& type,
                 fi::BitOperation operation) {
    const std::uint64_t count = left.numel();
    if (count == 0) {
        return;
    }
    if (doublenumber* doubles = left.asDouble()) {
        const std::span<const double> others = entries::doublesOf(right.entries, right.moves ? count : 1);
        if (!others.empty() && combineDoubles(doubles->elements(), others, wordFormatOf(type), operation)) {
            return;
        }
    }
    // Doubles combined with multi-precision entries go through cells.
    const bool isLeftCell = left.asDouble() != nullptr;
    const bool isRightCell = right.entries.asDouble() != nullptr;
    const unsigned precision = std::max(left.getprecision(), right.entries.getprecision());
    number x(0.0, precision, true);
    number y(0.0, precision, true);
    const number others(right.entries, embedded::CopyIndex::tag);
    const WordModulus modulus(type.getWordLength());
    for (std::uint64_t i = 0; i < count; ++i) {
        const number& entry = others[right.moves ? i : 0];
        number& target = isLeftCell ? x.setvalue(left[i]) : left[i];
        (target.*operation)(isRightCell ? y.setvalue(entry) : entry, type.isSigned(), type.getWordLength(),
                            type.getSlopeAdjustmentFactor(), type.getFixedExponent(), type.getBias(),
                            modulus.twoToWordlength());
        if (isLeftCell) {
            left.setvalue(x);
        }
    }
    left.setIndex(0);
}

}  // namespace

fi& fi::bitandorxor(const fi& b, BitOperation operation) const {
    errorIfScaledDouble("bitand/or/xor");
    if (!getNumericType().isequivalent(b.getNumericType())) {
        raiseError("fixedpoint:fi:bitAndXorOr:mixedNumericTypes", "Bit AND/OR/XOR must have matching operand types.");
    }
    if (b.isView()) {
        return bitandorxor(*b.detached(), operation);
    }
    if (isView()) {
        return detached()->bitandorxor(b, operation);
    }
    const broadcasting operands(*this, b);
    const fi& array = operands.shape();
    const fi& other = &array == this ? b : *this;
    const bool otherMoves = !operands.leftIsScalar() && !operands.rightIsScalar();

    auto result = std::make_unique<fi>(array);
    const bool isLocal = mFimathIsLocal || b.mFimathIsLocal;
    result->setFimathIsLocal(isLocal);
    if (isLocal) {
        result->setFimath(getFimath(b));
    }
    if (operation == &number::mpbitand && isreal() != b.isreal()) {
        // The zero imaginary part of the real side clears the other one.
        result->imagEntries().resize(0);
        result->setIsReal(true);
    } else {
        result->coordinateComplexity(other.iscomplex(), 0);
    }
    combinePart(result->mReal, {other.mReal, otherMoves}, getNumericType(), operation);
    if (result->iscomplex()) {
        const RightSide imaginary =
            other.iscomplex() ? RightSide{other.imagEntries(), otherMoves} : RightSide{getZeroNumber(), false};
        combinePart(result->imagEntries(), imaginary, getNumericType(), operation);
    }
    return *result.release();
}

fi& fi::fibitand(const fi& b) const {
    errorIfScaledDouble("bitand");
    return bitandorxor(b, &number::mpbitand);
}

fi& fi::fibitor(const fi& b) const {
    errorIfScaledDouble("bitor");
    return bitandorxor(b, &number::mpbitor);
}

fi& fi::bitxor(const fi& b) const {
    errorIfScaledDouble("bitxor");
    return bitandorxor(b, &number::mpbitxor);
}

fi& fi::bitcmp() const {
    errorIfScaledDouble("bitcmp");
    auto result = std::make_unique<fi>(*this);
    const NumericType& type = getNumericType();
    const WordFormat format = wordFormatOf(type);
    const std::uint64_t mask = doublenumber::bitcmpXorMask(type.getWordLength());
    const WordModulus modulus(type.getWordLength());
    const auto complement = [&](number& part) {
        if (doublenumber* doubles = part.asDouble()) {
            bitloops::complement(doubles->elements(), mask, format);
            return;
        }
        entries::walk(part, [&](number& x) {
            x.bitcmp(type.isSigned(), type.getWordLength(), type.getSlopeAdjustmentFactor(), type.getFixedExponent(),
                     type.getBias(), modulus.ones(), modulus.twoToWordlength());
        });
    };
    complement(result->mReal);
    if (result->iscomplex()) {
        complement(result->imagEntries());
    }
    return *result.release();
}
