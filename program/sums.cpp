// Sums of elements and of products, exact or quantized place by place.
//
// Every result is a sum in the order of its terms: each product goes through its place, is added, and the sum goes
// through its own. Sums of many results run side by side in the lanes of a block; without places for products and sums
// they come to plain additions.
#include <algorithm>
#include <bit>
#include <functional>
#include <optional>
#include <utility>

#include "program/kernels.h"

namespace tolvane {

using detail::ArrayAccess;
using detail::Place;
using detail::wordarray;
using detail::integers::Arena;
using detail::integers::Block;
using detail::integers::Extent;
using detail::integers::kBlock;
using detail::integers::Sign;

namespace {

fixed_type typeOf(const Extent& extent) {
    return {extent.hasSign, extent.bits + (extent.hasSign ? 1 : 0), -extent.exponent};
}

/// What the sums of up to `terms` terms need.
Extent sumOfTerms(Extent term, std::size_t terms) {
    term.bits += static_cast<int>(std::bit_width(std::max<std::size_t>(terms, 1) - 1));
    return term;
}

/// Sums of products, or of values if there are no right factors, in the lanes of blocks.
class Summation {
 public:
    Summation(const fixed_type& left, const std::optional<fixed_type>& right, std::size_t terms,
              const sum_formats& formats, const code_location& where)
        : mExact(right ? detail::integers::productOf(detail::extentOf(left), detail::extentOf(*right))
                       : detail::extentOf(left)) {
        int needed = detail::integers::neededBits(mExact);
        Extent term = mExact;
        if (formats.product) {
            mProduct.emplace(*formats.product, where);
            needed = std::max(needed, mProduct->neededBits(term));
            term = mProduct->extent();
        }
        if (formats.sum) {
            mSum.emplace(*formats.sum, where);
            const Extent sum = detail::integers::sumOf(Sign::plus, mSum->extent(), term);
            needed = std::max({needed, detail::integers::neededBits(sum), mSum->neededBits(sum)});
            mTotal = mSum->extent();
            mType = mSum->type();
        } else {
            mTotal = sumOfTerms(term, terms);
            needed = std::max(needed, detail::integers::neededBits(mTotal));
            mType = fixed_format(typeOf(mTotal)).type();
        }
        mFactorWidth =
            detail::integers::widthFor(std::max(detail::integers::neededBits(detail::extentOf(left)),
                                                right ? detail::integers::neededBits(detail::extentOf(*right)) : 0));
        mWidth = std::max(detail::integers::widthFor(needed), right ? mFactorWidth : std::size_t{1});
        mArena.emplace(mWidth, 3);
        mCell = mArena->next();
        mSums = mArena->next();
        for (std::optional<Place>* const place : {&mProduct, &mSum}) {
            if (*place) {
                (*place)->open(mWidth);
            }
        }
    }
    const fixed_type& type() const { return mType; }
    std::size_t width() const { return mWidth; }
    std::size_t factorWidth() const { return mFactorWidth; }
    Block nextBlock() { return mArena->next(); }

    void start() {
        std::fill_n(mSums.limbs, kBlock * mWidth, 0);
        mSums.extent = mTotal;
        mSums.negativeZeros = 0;
    }
    /// Adds products to the sums of lanes from `lane` on.
    void addProducts(const Block& a, const detail::integers::Factor& b, std::size_t lane, std::size_t count) {
        if (!mProduct && !mSum) {
            Block sums = lanesFrom(lane);
            mCell.negativeZeros = 0;
            detail::integers::accumulate(Sign::plus, a, b, count, mFactorWidth, mWidth, mCell, sums);
            return;
        }
        detail::integers::multiply(a, b, count, mFactorWidth, mWidth, mCell);
        addCell(lane, count);
    }
    void addProducts(const Block& a, const Block& b, std::size_t lane, std::size_t count) {
        detail::integers::multiply(a, b, count, mFactorWidth, mWidth, mCell);
        addCell(lane, count);
    }
    void addValues(const Block& a, std::size_t lane, std::size_t count) {
        detail::integers::copy(a, count, mWidth, mCell);
        addCell(lane, count);
    }
    const Block& sums() const { return mSums; }
    void close() const { Place::close({mProduct ? &*mProduct : nullptr, mSum ? &*mSum : nullptr}); }

 private:
    Block lanesFrom(std::size_t lane) const { return detail::integers::slice(mSums, lane, mWidth); }
    void addCell(std::size_t lane, std::size_t count) {
        mCell.negativeZeros = 0;
        if (mProduct) {
            mProduct->quantize(mCell, count);
        }
        Block sums = lanesFrom(lane);
        sums.extent = mTotal;
        detail::integers::combine(Sign::plus, mCell, count, mWidth, sums);
        if (mSum) {
            mSum->quantize(sums, count);
        }
    }

    Extent mExact;
    std::optional<Place> mProduct;
    std::optional<Place> mSum;
    Extent mTotal;
    fixed_type mType;
    std::size_t mFactorWidth = 0;
    std::size_t mWidth = 0;
    std::optional<Arena> mArena;
    Block mCell;
    Block mSums;
};

void requireVector(const fixed_array& x, const char* what) {
    if (x.shape().size() > 1) {
        throw error("tolvane:array:shape", std::string(what) + " needs vectors.");
    }
    if (x.is_complex()) {
        throw error("tolvane:array:complex", std::string(what) + " needs real numbers.");
    }
}

fixed_array single(const Summation& work, wordarray words) {
    return ArrayAccess::make(work.type(), {}, std::move(words), std::nullopt);
}

/// Adds the elements of an array one by one, and calls `visit(i)` after each.
template <class Visit>
void addElements(const fixed_array& x, Summation& work, const Visit& visit) {
    Block value = work.nextBlock();
    work.start();
    const detail::WordSpan from = ArrayAccess::real(x)->span();
    for (std::uint64_t i = 0; i < from.count; ++i) {
        detail::integers::load(from, i, 1, work.width(), value);
        work.addValues(value, 0, 1);
        visit(i);
    }
}

/// Stores the first sum.
void storeFirst(const Summation& work, wordarray& words, std::uint64_t place) {
    Block total = work.sums();
    detail::store(total, 1, work.width(), words, place);
}

}  // namespace

fixed_array sum(const fixed_array& x, const sum_formats& formats, const code_location& where) {
    if (x.is_complex()) {
        throw error("tolvane:array:complex", "sum needs real numbers.");
    }
    Summation work(x.type(), std::nullopt, x.size(), formats, where);
    wordarray words(1, detail::gridOf(detail::grown(work.type(), x, x)));
    addElements(x, work, [](std::uint64_t) {});
    storeFirst(work, words, 0);
    work.close();
    return single(work, std::move(words));
}

fixed_array cumsum(const fixed_array& x, const fixed_format& format, const code_location& where) {
    requireVector(x, "cumsum");
    Summation work(x.type(), std::nullopt, x.size(), {std::nullopt, format}, where);
    wordarray words(x.size(), detail::gridOf(work.type()));
    addElements(x, work, [&](std::uint64_t i) { storeFirst(work, words, i); });
    work.close();
    return ArrayAccess::make(work.type(), x.shape(), std::move(words), std::nullopt, format.name());
}

fixed_array dot(const fixed_array& a, const fixed_array& b, const sum_formats& formats, const code_location& where) {
    requireVector(a, "dot");
    requireVector(b, "dot");
    if (a.size() != b.size()) {
        throw error("tolvane:array:shape", "dot needs vectors of equal length, not " + std::to_string(a.size()) +
                                               " and " + std::to_string(b.size()) + " elements.");
    }
    Summation work(a.type(), b.type(), a.size(), formats, where);
    wordarray words(1, detail::gridOf(detail::grown(work.type(), a, b)));
    Arena factors(work.factorWidth(), 2);
    Block left = factors.next();
    Block right = factors.next();
    work.start();
    for (std::uint64_t i = 0; i < a.size(); ++i) {
        detail::integers::load(ArrayAccess::real(a)->span(), i, 1, work.factorWidth(), left);
        detail::integers::load(ArrayAccess::real(b)->span(), i, 1, work.factorWidth(), right);
        work.addProducts(left, right, 0, 1);
    }
    storeFirst(work, words, 0);
    work.close();
    return single(work, std::move(words));
}

fixed_array conv(const fixed_array& x, const fixed_array& h, const sum_formats& formats, const code_location& where) {
    requireVector(x, "conv");
    requireVector(h, "conv");
    const std::size_t length = x.size();
    const std::size_t taps = h.size();
    const std::size_t count = length == 0 || taps == 0 ? 0 : length + taps - 1;
    Summation work(x.type(), h.type(), std::min(length, taps), formats, where);
    wordarray words(count, detail::gridOf(detail::grown(work.type(), x, h)));
    Arena factors(work.factorWidth(), 1);
    Block values = factors.next();
    // Each tap once, as a factor for all lanes.
    Arena tapArena(work.factorWidth(), (taps + kBlock - 1) / kBlock + 1);
    std::vector<Block> tapBlocks;
    detail::forEachBlock(taps, [&](std::uint64_t begin, std::size_t part) {
        tapBlocks.push_back(tapArena.next());
        detail::integers::load(ArrayAccess::real(h)->span(), begin, part, work.factorWidth(), tapBlocks.back());
    });
    detail::forEachBlock(count, [&](std::uint64_t begin, std::size_t lanes) {
        work.start();
        for (std::size_t k = 0; k < taps; ++k) {
            // Lane i is element begin + i and meets x[begin + i - k].
            const std::size_t first = k > begin ? static_cast<std::size_t>(k - begin) : 0;
            const std::size_t last =
                static_cast<std::size_t>(std::min<std::uint64_t>(lanes, k + length > begin ? k + length - begin : 0));
            if (first >= last) {
                continue;
            }
            detail::integers::load(ArrayAccess::real(x)->span(), begin + first - k, last - first, work.factorWidth(),
                                   values);
            const Block tap = detail::integers::slice(tapBlocks[k / kBlock], k % kBlock, work.factorWidth());
            work.addProducts(values, detail::integers::Factor{tap}, first, last - first);
        }
        Block total = work.sums();
        detail::store(total, lanes, work.width(), words, begin);
    });
    work.close();
    return ArrayAccess::make(work.type(), {count}, std::move(words), std::nullopt);
}

}  // namespace tolvane
