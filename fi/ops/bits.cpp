// Bitwise and, or, xor and complement of the stored integers.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>

#include "fi/bulk/bit_loops.h"
#include "fi/bulk/broadcast.h"
#include "fi/bulk/entries.h"
#include "fi/bulk/wide_bits.h"
#include "fi/fi.h"
#include "fi/ops/word_modulus.h"
#include "numbers/doublenumber.h"
#include "numbers/services.h"

using namespace tolvane::detail;

namespace {

/// The right side of one part: an entry for each element, or one for all of them.
struct RightSide {
    const number& entries;
    bool moves;
};

/// The word form of an operation, if it has one.
std::optional<bitloops::Operation> wordForm(fi::BitOperation operation) {
    using enum bitloops::Operation;
    if (operation == &number::mpbitand) {
        return conjunction;
    }
    if (operation == &number::mpbitor) {
        return disjunction;
    }
    return operation == &number::mpbitxor ? std::optional(exclusion) : std::nullopt;
}

void combinePart(number& left, const RightSide& right, const EmbeddedTypeSystem::NumericType& type,
                 fi::BitOperation operation) {
    const std::uint64_t count = left.numel();
    if (count == 0) {
        return;
    }
    if (doublenumber* doubles = left.asDouble()) {
        const std::span<const double> others = entries::doublesOf(right.entries, right.moves ? count : 1);
        if (const auto form = wordForm(operation); form && !others.empty()) {
            bitloops::combine(*form, doubles->elements(), others, doubles->elements().data(), wordFormatOf(type));
            return;
        }
    }
    if (const auto form = wordForm(operation);
        form && wide::combineBits(*form, left, right.entries, !right.moves, type)) {
        return;
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
        raise("fixedpoint:fi:bitAndXorOr:mixedNumericTypes", "Bit AND/OR/XOR must have matching operand types.");
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

    const std::span<const double> others = entries::doublesOf(other.mReal, otherMoves ? array.mNumel : 1);
    const auto form = wordForm(operation);
    // In one pass, if nothing but the result's own entries is needed for them.
    const bool isDirect = form && array.isRealInDoubles() && other.isreal() && !others.empty();
    std::unique_ptr<fi> result(isDirect ? new fi(array, WithoutEntries::tag) : new fi(array));
    const bool isLocal = mFimathIsLocal || b.mFimathIsLocal;
    result->setFimathIsLocal(isLocal);
    if (isLocal) {
        result->setFimath(getFimath(b));
    }
    if (isDirect) {
        bitloops::combine(*form, array.mReal.asDouble()->elements(), others,
                          result->mReal.asDouble()->elements().data(), wordFormatOf(getNumericType()));
        return *result.release();
    }
    if (operation == &number::mpbitand && isreal() != b.isreal()) {
        // The zero imaginary part of the real side clears the other one.
        if (result->iscomplex()) {
            result->imagEntries().resize(0);
        }
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
    const NumericType& type = getNumericType();
    const WordFormat format = wordFormatOf(type);
    const std::uint64_t mask = doublenumber::bitcmpXorMask(type.getWordLength());
    if (isRealInDoubles()) {
        std::unique_ptr<fi> result(new fi(*this, WithoutEntries::tag));
        bitloops::complement(mReal.asDouble()->elements(), result->mReal.asDouble()->elements().data(), mask, format);
        return *result.release();
    }
    auto result = std::make_unique<fi>(*this);
    const WordModulus modulus(type.getWordLength());
    const auto complement = [&](number& part) {
        if (doublenumber* doubles = part.asDouble()) {
            bitloops::complement(doubles->elements(), doubles->elements().data(), mask, format);
            return;
        }
        if (wide::complement(part, type)) {
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
