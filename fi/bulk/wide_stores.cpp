#include "fi/bulk/wide_stores.h"

#include <algorithm>
#include <utility>

#include "fi/bulk/integer_machine.h"
#include "fi/core/word_grids.h"
#include "fi/result_types/plain_words.h"
#include "fi/result_types/work_cells.h"
#include "numbers/uninterrupted.h"

using namespace tolvane::detail;
using integers::kBlock;
using wide::Source;
using wide::Target;

std::optional<fi::WideStores> fi::WideStores::of(const fi& source, fi& target, Extent extent) {
    const quantizer& q = target.getAssignmentQuantizer();
    // A wider word is rounded in the target's elements, a narrower one in a copy of the source's.
    const unsigned precision =
        target.getWordLength() < source.getWordLength() ? wordBits(source) : target.mReal.getprecision();
    if (!q.isFixedPoint() || areEntriesDoubles(precision) || number::getDefaultForceMultiplePrecision() ||
        source.isSlopeBiasScaled() || target.isSlopeBiasScaled() || (target.isreal() && source.iscomplex())) {
        return std::nullopt;
    }
    const bool isEqualType = target.getNumericType().isequivalent(source.getNumericType());
    const bool counts = isEqualType ? getLogging() : q.getQlogger().isLogging();
    WideStores stores;
    stores.mFormat = integers::formatOf(q);
    if (stores.mFormat.grid != gridOf(target.getNumericType())) {
        return std::nullopt;
    }
    // Values that are too small for doubles can become zeros in a log, whose signs depend on the order.
    if (counts && stores.mFormat.grid.exponent < Tally::kLeastDouble) {
        return std::nullopt;
    }
    const int exponent = stores.mFormat.grid.exponent;
    const int cellBits = static_cast<int>(mpnumber::elementPrecision(precision));
    const ExtentMachine::Place place{stores.mFormat, false, cellBits};
    ExtentMachine proof(place, place, place);
    const auto sourceOf = [&](const number& part) {
        auto result = source.isempty() ? std::optional(Source::zeros({exponent, 1, true}))
                                       : Source::of(part, source.getNumericType(), source.mNumel, source.isscalar());
        if (result) {
            integers::Extent values = result->extent();
            const bool holds = !isEqualType || covers(stores.mFormat, values);
            proof.hold(values);
            proof.quantize(place, values);
            return holds ? std::move(result) : std::nullopt;
        }
        return result;
    };
    std::optional<Source> real = sourceOf(source.mReal);
    std::optional<Source> imag =
        source.iscomplex() ? sourceOf(source.imagPart()) : std::optional(Source::zeros({exponent, 1, true}));
    if (!real || !imag || !proof.holds()) {
        return std::nullopt;
    }
    stores.mWidth = proof.width();
    if (extent == Extent::whole) {
        stores.mArena.emplace(stores.mWidth, kBlocks);
    }
    const auto targetOf = [&](number& part) {
        return extent == Extent::whole ? Target::of(part, target.getNumericType(), target.mNumel)
                                       : Target::within(part, target.getNumericType(), target.mNumel);
    };
    const auto add = [&](Source&& from, number& to, bool isZeros, bool isCounted) {
        const std::optional<Target> part = targetOf(to);
        if (part) {
            stores.mParts.push_back({std::move(from), *part, isZeros, isCounted});
        }
        return part.has_value();
    };
    // A narrower word takes the zeros of a real source as they are.
    const bool logsZeros = isEqualType || target.getWordLength() >= source.getWordLength();
    if (!add(std::move(*real), target.mReal, false, counts) ||
        (target.iscomplex() &&
         !add(std::move(*imag), target.imagEntries(), source.isreal(), counts && (source.iscomplex() || logsZeros)))) {
        return std::nullopt;
    }
    return stores;
}

void fi::WideStores::open(std::size_t width) {
    if (!mArena || width != mWidth) {
        mArena.emplace(width, kBlocks);
    }
    mWidth = width;
    mValue = mArena->next();
    for (Part& part : mParts) {
        part.source.open(*mArena, width);
    }
}

void fi::WideStores::storePart(Part& part, const Moves& moves, bool isFromRun, Tally& tally) {
    const Uninterrupted writing;
    for (std::size_t begin = 0; begin < moves.count; begin += kBlock) {
        const std::size_t count = std::min(kBlock, moves.count - begin);
        if (isFromRun) {
            part.source.take(moves.from.front() + begin, count, mValue);
        } else {
            part.source.gather(moves.from.data() + begin, count, mValue);
        }
        if (part.isCounted) {
            integers::Notes notes = tally.blank();
            integers::quantize(mFormat, count, mWidth, mValue, &notes);
            tally.join(notes, count, mValue.extent.exponent);
        } else {
            integers::quantize(mFormat, count, mWidth, mValue, nullptr);
        }
        if (moves.isRun) {
            part.target.store(mValue, moves.to.front() + begin, count, mWidth);
        } else {
            part.target.scatter(mValue, moves.to.data() + begin, count, mWidth);
        }
    }
}

void fi::WideStores::storeMoves(const Moves& moves, bool isFromRun, Tally& tally) {
    for (Part& part : mParts) {
        storePart(part, moves, isFromRun, tally);
    }
}

std::optional<fi::ArrayStores::Zero> fi::WideStores::firstZero(const Moves& moves) const {
    for (std::size_t i = 0; i < moves.count; ++i) {
        const std::uint64_t place = moves.isRun ? moves.to.front() + i : moves.to[i];
        for (const Part& part : mParts) {
            if (const auto zero = part.isCounted ? part.target.signOfZero(place) : std::nullopt) {
                return Zero{place, *zero};
            }
        }
    }
    return std::nullopt;
}

bool fi::WideStores::canCopy() const {
    return std::ranges::all_of(mParts, [](const Part& part) {
        const WordSpan* const from = part.source.words();
        const wordarray* const to = part.target.words();
        return to && (part.isZeros || (from && from->grid == to->grid()));
    });
}

void fi::WideStores::copyRun(std::uint64_t from, std::uint64_t to, std::uint64_t count) {
    for (Part& part : mParts) {
        if (part.isZeros) {
            part.target.words()->clearRun(to, count);
        } else {
            part.target.words()->copyRun(*part.source.words(), from, to, count);
        }
    }
}

bool fi::WideStores::assign(const fi& source, fi& target) {
    std::optional<WideStores> stores = WideStores::of(source, target, Extent::whole);
    if (!stores) {
        return false;
    }
    stores->open(stores->width());
    const qlogger& log = target.getQlogger();
    WideStores::Tally total = stores->emptyTally();
    Moves moves;
    moves.isRun = true;
    for (std::uint64_t begin = 0; begin < source.mNumel; begin += moves.count) {
        moves.count = std::min<std::uint64_t>(moves.kMost, source.mNumel - begin);
        moves.from.front() = begin;
        moves.to.front() = begin;
        WideStores::Tally block = stores->emptyTally();
        stores->storeRun(moves, block);
        ArrayStores::append(std::move(block), log, total, [&] { return *stores->firstZero(moves); });
    }
    total.handTo(log);
    return true;
}
