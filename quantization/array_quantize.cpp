// The array functions of a quantizer: vector kernels if the format allows them, otherwise the stored element function.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <optional>
#include <utility>

#include "numbers/doublenumber.h"
#include "numbers/mpnumber.h"
#include "numbers/services.h"
#include "numbers/uninterrupted.h"
#include "numbers/wordarray.h"
#include "quantization/array_kernels.h"
#include "quantization/integer_blocks.h"
#include "quantization/integer_tally.h"
#include "quantization/quantizer.h"

using namespace tolvane::detail;

namespace {

using Mode = embedded::QuantizerModeEnum;

bool isFloat(Mode mode) {
    return mode == Mode::Float || mode == Mode::Single;
}

}  // namespace

bool quantizer::keepsValues() const {
    return mFunctionFits && (mMode == Mode::Double || mMode == Mode::None || mMode == Mode::ScaledDouble ||
                             mMode == Mode::UnsignedScaledDouble);
}

number& quantizer::quantizeArray(number& x) const {
    if (doublenumber* doubles = x.asDouble()) {
        quantize(doubles->elements(), doubles->elements());
        return x;
    }
    if (quantizeWords(x)) {
        return x;
    }
    const std::uint64_t cursor = x.getIndex();
    for (std::uint64_t i = 0; i < x.numel(); ++i) {
        (this->*mQuantize)(x[i]);
    }
    x.setIndex(cursor);
    return x;
}

namespace {

using integers::Block;
using integers::IntegerTally;
using integers::kBlock;

/// The memory for `quantizeBlocks`, to be had before anything changes.
struct Work {
    explicit Work(std::size_t width) : arena(width, 1), tally(width) {}
    integers::Arena arena;
    IntegerTally tally;
};

/// Sets words to what `run(begin, count, width, block, notes)` makes of each block of them, and logs it.
template <class Run>
void quantizeBlocks(wordarray& words, std::size_t width, Work work, const qlogger& log, const Run& run) {
    const Uninterrupted writing;
    const std::uint64_t count = words.span().count;
    Block block = work.arena.next();
    IntegerTally& tally = work.tally;
    const bool counts = log.isLogging();
    for (std::uint64_t begin = 0; begin < count; begin += kBlock) {
        const std::size_t length = std::min<std::uint64_t>(kBlock, count - begin);
        integers::Notes notes = tally.blank();
        run(begin, length, block, counts ? &notes : nullptr);
        if (counts) {
            tally.join(notes, length, block.extent.exponent);
        }
        integers::store(block, length, width, words, begin);
    }
    if (tally.isOpenFor(log)) {
        std::uint64_t first = 0;
        while (!words.isZero(first)) {
            ++first;
        }
        tally.settle(words.isNegative(first));
    }
    tally.handTo(log);
}

/// Whether an array of a format can be logged as a whole.
bool canLog(const integers::Format& format, const qlogger& log) {
    return !log.isLogging() || format.grid.exponent >= IntegerTally::kLeastDouble;
}

/// The bits of the elements of an array.
int precisionOf(const number& x) {
    return static_cast<int>(mpnumber::elementPrecision(x.getprecision()));
}

}  // namespace

bool quantizer::quantizeWords(number& x) const {
    mpnumber* const wide = x.asWords();
    if (!wide || !isFixedPoint()) {
        return false;
    }
    const integers::Format format = integers::formatOf(*this);
    const integers::Extent extent = integers::extentOf(*wide->grid());
    if (!canLog(format, mLogger) || !integers::isExactInFloats(format, extent, precisionOf(x)) ||
        !mpnumber::canBeWords(x.numel(), x.getprecision(), format.grid)) {
        return false;
    }
    const std::size_t width = integers::widthFor(integers::neededBits(format, extent));
    Work work(width);
    // Each block is read before it is written. Words of another length are moved away to be read.
    wordarray& held = wide->rewrite(*wide->grid());
    WordSpan from = held.span();
    std::optional<wordarray> read;
    if (from.grid.limbs() == format.grid.limbs()) {
        held.setGrid(format.grid);
    } else {
        wordarray fresh(from.count, format.grid);
        read.emplace(std::exchange(held, std::move(fresh)));
        from = read->span();
    }
    wordarray& words = held;
    quantizeBlocks(words, width, std::move(work), mLogger,
                   [&](std::uint64_t begin, std::size_t length, Block& block, integers::Notes* notes) {
                       integers::load(from, begin, length, width, block);
                       integers::quantize(format, length, width, block, notes);
                   });
    return true;
}

bool quantizer::quantizeInto(std::span<const double> in, number& out) const {
    mpnumber* const wide = out.body().asMp();
    if (!wide || !isFixedPoint() || !arraykernels::areFinite(in.data(), in.size())) {
        return false;
    }
    // Floats of these bits hold a double, and the sum of one with a half of the format's unit that matters.
    const integers::Format format = integers::formatOf(*this);
    if (!canLog(format, mLogger) || !mpnumber::canBeWords(in.size(), out.getprecision(), format.grid) ||
        format.grid.bits >= precisionOf(out)) {
        return false;
    }
    const std::size_t width = integers::widthFor(format.grid.bits + 1);
    Work work(width);
    quantizeBlocks(wide->rewrite(format.grid), width, std::move(work), mLogger,
                   [&](std::uint64_t begin, std::size_t length, Block& block, integers::Notes* notes) {
                       integers::quantize(format, in.data() + begin, length, width, block, notes);
                   });
    return true;
}

bool quantizer::hasFixedKernel() const {
    return mFunctionFits && (isSignedFixed() || isUnsignedFixed()) && mLimits.valid && arraykernels::areAvailable();
}

bool quantizer::hasArrayLoops() const {
    // The loops follow the description, which an element function kept from before doesn't match.
    if (!mFunctionFits || !arraykernels::areAvailable()) {
        return false;
    }
    if (isFloat(mMode)) {
        return mFloatLimits != nullptr;
    }
    return isSignedFixed() || isUnsignedFixed() ? mLimits.valid : mLimits.hasBounds;
}

void quantizer::quantizeByElements(std::span<const double> in, std::span<double> out) const {
    number element(0.0, 52, false);
    for (std::size_t i = 0; i < in.size(); ++i) {
        element.setvalue(in[i]);
        out[i] = (this->*mQuantize)(element).todouble();
    }
}

void quantizer::quantizeAndTally(std::span<const double> in, std::span<double> out, Tally* tally) const {
    if (!tally && keepsValues()) {
        if (in.data() != out.data()) {
            std::copy(in.begin(), in.end(), out.begin());
        }
        return;
    }
    if (!hasArrayLoops()) {
        quantizeByElements(in, out);
        return;
    }
    const arraykernels::Selection selection{mMode, mRoundMode, mOverflowMode};
    Tally noted;
    Tally* const wanted = tally ? &noted : nullptr;
    if (isFloat(mMode)) {
        arraykernels::quantizeFloatArray(selection, *mFloatLimits, in.data(), out.data(), in.size(), wanted);
    } else {
        arraykernels::quantizeArray(selection, mLimits, in.data(), out.data(), in.size(), wanted);
    }
    if (tally) {
        noted.values = in.size();
        tally->join(noted);
    }
}

void quantizer::quantize(std::span<const double> in, std::span<double> out) const {
    if (in.size() != out.size()) {
        raise("fixedpoint:quantizer:quantize:sizemismatch",
              "The arrays to quantize from and into must have the same number of elements.");
    }
    if (in.empty()) {
        return;
    }
    if (!mLogger.isLogging()) {
        quantizeAndTally(in, out, nullptr);
        return;
    }
    if (!hasArrayLoops()) {
        quantizeByElements(in, out);
        return;
    }
    Tally tally;
    quantizeAndTally(in, out, &tally);
    if (tally.isOpenFor(mLogger)) {
        tally.settle(*std::find(out.begin(), out.end(), 0.0));
    }
    tally.handTo(mLogger);
}
