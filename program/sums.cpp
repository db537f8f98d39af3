// Sums of elements and of products, exact or quantized place by place.
//
// Every result is a sum in the order of its terms: each product goes through its place, is added, and the sum goes
// through its own. Sums of many results run side by side in the lanes of a block; a few long ones take their terms a
// block at a time. Terms of complex numbers are sums of two products, each part of them with places of its own.
#include <algorithm>
#include <bit>
#include <climits>
#include <functional>
#include <optional>
#include <utility>

#include "program/functions.h"
#include "program/kernels.h"
#include "program/moves.h"
#include "program/shapes.h"
#include "quantization/blas.h"

namespace tolvane {

using detail::Arena;
using detail::ArrayAccess;
using detail::AxisSizes;
using detail::Place;
using detail::wordarray;
using detail::WordSpan;
using detail::integers::Block;
using detail::integers::Extent;
using detail::integers::Factor;
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

/// What is added up.
struct Addends {
    fixed_type left;
    std::optional<fixed_type> right;  // none if the values themselves are added
    std::size_t count;
    bool areComplex = false;  // sums of two products each

    Extent extent() const {
        const Extent first = detail::extentOf(left);
        if (!right) {
            return first;
        }
        const Extent product = detail::integers::productOf(first, detail::extentOf(*right));
        return areComplex ? detail::integers::sumOf(Sign::minus, product, product) : product;
    }
    int factorBits() const {
        return std::max(detail::integers::neededBits(detail::extentOf(left)),
                        right ? detail::integers::neededBits(detail::extentOf(*right)) : 0);
    }
};

/// The formats of an operation, and where the program calls it.
struct Places {
    const sum_formats& formats;
    const code_location& where;
};

/// Sums in blocks. A term is made in the cell, by `load` or by `multiply`, and added from there.
class Summation {
 public:
    Summation(const Addends& addends, const Places& places) {
        const sum_formats& formats = places.formats;
        Extent term = addends.extent();
        mExact = sumOfTerms(term, addends.count);
        int needed = detail::integers::neededBits(term);
        if (formats.product) {
            mProduct.emplace(*formats.product, places.where);
            needed = std::max(needed, mProduct->neededBits(term));
            mIsLeft = mProduct->leaves(term);
            term = mProduct->extent();
        }
        if (formats.sum) {
            mSum.emplace(*formats.sum, places.where);
            const Extent sum = detail::integers::sumOf(Sign::plus, mSum->extent(), term);
            needed = std::max({needed, detail::integers::neededBits(sum), mSum->neededBits(sum)});
            mTotal = mSum->extent();
            mUnforced = sum;
            mIsLeft = mIsLeft && mSum->leaves(mExact);
            mType = mSum->type();
        } else {
            mTotal = sumOfTerms(term, addends.count);
            needed = std::max(needed, detail::integers::neededBits(mTotal));
            mUnforced = mTotal;
            mType = fixed_format(typeOf(mTotal)).type();
        }
        mFactorWidth = detail::integers::widthFor(addends.factorBits());
        mWidth = std::max(detail::integers::widthFor(needed), addends.right ? mFactorWidth : std::size_t{1});
        mArena.emplace(mWidth, 4);
        mCell = mArena->next();
        mSecond = mArena->next();
        mSums = mArena->next();
        mRun = mArena->next();
        for (std::optional<Place>* const place : {&mProduct, &mSum}) {
            if (*place) {
                (*place)->open(mWidth);
            }
        }
    }
    const fixed_type& type() const { return mType; }
    std::size_t width() const { return mWidth; }
    std::size_t factorWidth() const { return mFactorWidth; }
    bool isExact() const { return !mProduct && !mSum; }
    /// What all sums of terms are within, in any order, if no place changes or notes them.
    std::optional<Extent> exactSums() const { return mIsLeft ? std::optional(mExact) : std::nullopt; }
    const Extent& total() const { return mTotal; }

    void start() {
        std::fill_n(mSums.limbs, kBlock * mWidth, 0);
        mSums.extent = mTotal;
        mSums.negativeZeros = 0;
    }
    void load(const WordSpan& words, std::uint64_t begin, std::size_t count) {
        detail::integers::load(words, begin, count, mWidth, mCell);
    }
    /// Begins a term with a product, or adds one to it.
    template <class Right>
    void multiply(bool isFirst, Sign sign, const Block& a, const Right& b, std::size_t count) {
        detail::integers::multiply(a, b, count, mFactorWidth, mWidth, isFirst ? mCell : mSecond);
        if (!isFirst) {
            detail::integers::combine(sign, mSecond, count, mWidth, mCell);
        }
    }
    /// Adds products to lanes without places.
    void accumulate(Sign sign, const Block& a, const Factor& b, std::size_t lane, std::size_t count) {
        Block sums = lanesFrom(lane);
        mCell.negativeZeros = 0;
        detail::integers::accumulate(sign, a, b, count, mFactorWidth, mWidth, mCell, sums);
    }
    /// Adds the terms to results from a lane on.
    void addToLanes(std::size_t lane, std::size_t count) {
        quantizeTerms(count);
        Block sums = lanesFrom(lane);
        addTo(sums, mCell, count);
    }
    /// Adds the terms to one result, of which only the last sum is needed.
    void addTerms(std::size_t count) {
        if (mSum) {
            addAlong(count);
        } else {
            addToLanes(0, count);
        }
    }
    /// Adds the terms to one result, and gives the sum after each.
    Block& addAlong(std::size_t count) {
        quantizeTerms(count);
        const bool isRounded = mSum && mCell.extent.exponent < mTotal.exponent;
        // Where sums overflow often, they are added one by one.
        constexpr std::size_t kFew = 8;
        for (std::size_t done = 0, few = isRounded ? count : 0; done < count; ++done) {
            if (done >= few) {
                const std::size_t added = addAtOnce(done, count - done);
                done += added;
                few = added < kFew ? count : 0;
            }
            if (done < count) {
                Block total = lanesFrom(0);
                addTo(total, detail::integers::slice(mCell, done, mWidth), 1);
                std::copy_n(total.limbs, mWidth, mRun.limbs + done * mWidth);
            }
        }
        mRun.extent = mTotal;
        return mRun;
    }
    Block& lanes() { return mSums; }
    /// The sum to which `addTerms` comes.
    Block& totalOfLanes() {
        for (std::size_t half = kBlock / 2; !mSum && half > 0; half /= 2) {
            mSums.extent = mTotal;
            detail::integers::combine(Sign::plus, lanesFrom(half), half, mWidth, mSums);
        }
        mSums.extent = mTotal;
        return mSums;
    }
    const Place* product() const { return mProduct ? &*mProduct : nullptr; }
    const Place* sum() const { return mSum ? &*mSum : nullptr; }

 private:
    Block lanesFrom(std::size_t lane) const {
        Block sums = detail::integers::slice(mSums, lane, mWidth);
        sums.extent = mTotal;
        return sums;
    }
    void quantizeTerms(std::size_t count) {
        mCell.negativeZeros = 0;
        if (mProduct) {
            mProduct->quantize(mCell, count);
        }
    }
    void addTo(Block& sums, const Block& terms, std::size_t count) {
        detail::integers::combine(Sign::plus, terms, count, mWidth, sums);
        if (mSum) {
            mSum->quantize(sums, count);
        }
    }
    /// Adds terms up to the first one whose sum is forced into something, and returns their number. The first such sum
    /// is exact, since it is a word and a term; what comes after it doesn't count.
    std::size_t addAtOnce(std::size_t first, std::size_t count) {
        Block run = detail::integers::slice(mRun, first, mWidth);
        detail::integers::copy(detail::integers::slice(mCell, first, mWidth), count, mWidth, run);
        detail::integers::align(mTotal.exponent, count, mWidth, run);
        detail::integers::sumAlong(mSums, count, mWidth, run);
        run.extent = mUnforced;
        std::size_t added = count;
        if (mSum) {
            added = mSum->kept(run, count, mSecond);
            if (added == 0) {
                return 0;
            }
            mSum->quantize(run, added);
        }
        std::copy_n(run.limbs + (added - 1) * mWidth, mWidth, mSums.limbs);
        return added;
    }

    std::optional<Place> mProduct;
    std::optional<Place> mSum;
    bool mIsLeft = true;
    Extent mExact;
    Extent mTotal;
    Extent mUnforced;  // of sums before they are quantized
    fixed_type mType;
    std::size_t mFactorWidth = 0;
    std::size_t mWidth = 0;
    std::optional<Arena> mArena;
    Block mCell;
    Block mSecond;
    Block mSums;
    Block mRun;
};

void requireVector(const fixed_array& x, const char* what) {
    if (x.shape().size() > 1) {
        throw error("tolvane:array:shape",
                    std::string(what) + " needs vectors, not an array of shape " + detail::textOf(x.shape()) + ".");
    }
}

/// Makes an array of a shape by `fill(part, work, words)` for each part.
template <class Fill>
fixed_array summed(const Addends& addends, const Places& places, const fixed_array& a, const fixed_array& b,
                   array_shape shape, bool isComplex, const Fill& fill) {
    Summation work(addends, places);
    const fixed_type type = detail::grown(work.type(), a, b);
    wordarray real = detail::makeWords(detail::sizeOf(shape), detail::gridOf(type));
    fill(0, work, real);
    std::optional<Summation> imagWork;
    std::optional<wordarray> imag;
    if (isComplex) {
        imagWork.emplace(addends, places);
        imag = detail::makeWords(real.span().count, real.grid());
        fill(1, *imagWork, *imag);
    }
    Place::close(
        {work.product(), work.sum(), imagWork ? imagWork->product() : nullptr, imagWork ? imagWork->sum() : nullptr});
    return ArrayAccess::make(type, std::move(shape), std::move(real), std::move(imag),
                             places.formats.sum ? places.formats.sum->name() : std::string());
}

// Sums of values.

/// Whether there are enough results to run side by side, rather than terms of one result.
bool runSideBySide(std::size_t results, std::size_t terms) {
    constexpr std::size_t kEnough = 8;
    return results >= kEnough || results >= terms;
}

/// An axis brought to the front, or to the end.
fixed_array withAxis(const fixed_array& x, std::size_t axis, bool isFirst) {
    std::vector<int> order;
    for (std::size_t i = 0; i < x.shape().size(); ++i) {
        if (i != axis) {
            order.push_back(static_cast<int>(i));
        }
    }
    order.insert(isFirst ? order.begin() : order.end(), static_cast<int>(axis));
    return permute(x, order);
}

/// Sums along an axis; all of them if `isCumulative`.
fixed_array sumsAlong(const fixed_array& x, std::size_t axis, const Places& places, bool isCumulative) {
    const AxisSizes sizes(x.shape(), axis);
    const std::size_t results = sizes.outer * sizes.inner;
    const bool isFirst = runSideBySide(results, sizes.along);
    const bool isMoved = (isFirst ? sizes.outer : sizes.inner) != 1;
    const fixed_array ordered = isMoved ? withAxis(x, axis, isFirst) : x;
    const Addends addends{x.type(), std::nullopt, sizes.along};
    const array_shape shape = isCumulative ? ordered.shape() : detail::without(x.shape(), axis);
    fixed_array sums =
        summed(addends, places, x, x, shape, x.is_complex(), [&](std::size_t part, Summation& work, wordarray& words) {
            const WordSpan from = (part == 0 ? ArrayAccess::real(ordered) : ArrayAccess::imag(ordered))->span();
            if (isFirst) {
                detail::forEachBlock(results, [&](std::uint64_t begin, std::size_t count) {
                    work.start();
                    for (std::uint64_t k = 0; k < sizes.along; ++k) {
                        work.load(from, k * results + begin, count);
                        work.addToLanes(0, count);
                        if (isCumulative) {
                            detail::store(work.lanes(), count, work.width(), words, k * results + begin);
                        }
                    }
                    if (!isCumulative) {
                        detail::store(work.lanes(), count, work.width(), words, begin);
                    }
                });
                return;
            }
            for (std::uint64_t i = 0; i < results; ++i) {
                work.start();
                detail::forEachBlock(sizes.along, [&](std::uint64_t begin, std::size_t count) {
                    work.load(from, i * sizes.along + begin, count);
                    if (isCumulative) {
                        detail::store(work.addAlong(count), count, work.width(), words, i * sizes.along + begin);
                    } else {
                        work.addTerms(count);
                    }
                });
                if (!isCumulative) {
                    detail::store(work.totalOfLanes(), 1, work.width(), words, i);
                }
            }
        });
    if (!isCumulative || !isMoved) {
        return sums;
    }
    // Back to where it was.
    std::vector<int> order;
    for (std::size_t i = 0; i < x.shape().size(); ++i) {
        const std::size_t last = isFirst ? 0 : x.shape().size() - 1;
        const std::size_t other = (i < axis ? i : i - 1) + (isFirst ? 1 : 0);
        order.push_back(static_cast<int>(i == axis ? last : other));
    }
    return permute(sums, order);
}

fixed_array flat(const fixed_array& x) {
    return x.reshaped({x.size()});
}

// Sums of products.

struct Product {
    WordSpan left;
    WordSpan right;
    Sign sign = Sign::plus;
};

/// The products of which the terms of the real part consist, or those of the imaginary part.
std::vector<Product> productsOf(const fixed_array& a, const fixed_array& b, std::size_t part) {
    const auto real = [](const fixed_array& x) { return ArrayAccess::real(x)->span(); };
    const auto imag = [](const fixed_array& x) { return ArrayAccess::imag(x)->span(); };
    if (a.is_complex() && b.is_complex()) {
        return part == 0 ? std::vector<Product>{{real(a), real(b)}, {imag(a), imag(b), Sign::minus}}
                         : std::vector<Product>{{real(a), imag(b)}, {imag(a), real(b)}};
    }
    return {{part == 1 && a.is_complex() ? imag(a) : real(a), part == 1 && b.is_complex() ? imag(b) : real(b)}};
}

Addends addendsOf(const fixed_array& a, const fixed_array& b, std::size_t count) {
    return {a.type(), b.type(), count, a.is_complex() && b.is_complex()};
}

/// Blocks of factors that are met again and again.
class FactorBlocks {
 public:
    FactorBlocks(const WordSpan& words, std::size_t width, std::uint64_t begin, std::size_t count)
        : mWidth(width), mArena(width, count / kBlock + 1) {
        detail::forEachBlock(count, [&](std::uint64_t done, std::size_t length) {
            mBlocks.push_back(mArena.next());
            detail::integers::load(words, begin + done, length, width, mBlocks.back());
        });
    }
    Factor operator[](std::size_t i) const {
        return {detail::integers::slice(mBlocks[i / kBlock], i % kBlock, mWidth)};
    }

 private:
    std::size_t mWidth;
    Arena mArena;
    std::vector<Block> mBlocks;
};

/// Adds the products of a factor for each product and the values that meet them, to results from a lane on.
template <class Load>
void addProducts(Summation& work, const std::vector<Product>& products, const std::vector<FactorBlocks>& factors,
                 std::size_t factor, std::size_t lane, std::size_t count, Block& values, const Load& loadValues) {
    for (std::size_t i = 0; i < products.size(); ++i) {
        loadValues(products[i].left, values);
        if (work.isExact()) {
            work.accumulate(products[i].sign, values, factors[i][factor], lane, count);
        } else {
            work.multiply(i == 0, products[i].sign, values, factors[i][factor], count);
        }
    }
    if (!work.isExact()) {
        work.addToLanes(lane, count);
    }
}

/// The sizes of a product of matrices: `rows` rows of `terms` factors by `terms` rows of `columns` values.
struct MatrixSizes {
    std::size_t rows;
    std::size_t terms;
    std::size_t columns;
};

/// Products whose results run side by side along the columns.
void multiplyByColumns(const std::vector<Product>& products, const MatrixSizes& sizes, std::size_t matrix,
                       Summation& work, wordarray& words) {
    Arena arena(work.factorWidth(), 1);
    Block values = arena.next();
    for (std::size_t row = 0; row < sizes.rows; ++row) {
        std::vector<FactorBlocks> factors;
        factors.reserve(products.size());
        for (const Product& product : products) {
            factors.emplace_back(product.right, work.factorWidth(), (matrix * sizes.rows + row) * sizes.terms,
                                 sizes.terms);
        }
        detail::forEachBlock(sizes.columns, [&](std::uint64_t begin, std::size_t count) {
            work.start();
            for (std::size_t k = 0; k < sizes.terms; ++k) {
                const std::uint64_t from = (matrix * sizes.terms + k) * sizes.columns + begin;
                addProducts(work, products, factors, k, 0, count, values, [&](const WordSpan& left, Block& block) {
                    detail::integers::load(left, from, count, work.factorWidth(), block);
                });
            }
            detail::store(work.lanes(), count, work.width(), words,
                          (matrix * sizes.rows + row) * sizes.columns + begin);
        });
    }
}

/// Products whose terms are taken by blocks, of values with the columns as rows.
void multiplyByTerms(const std::vector<Product>& products, const MatrixSizes& sizes, std::size_t matrix,
                     Summation& work, wordarray& words) {
    Arena arena(work.factorWidth(), 2);
    Block left = arena.next();
    Block right = arena.next();
    for (std::size_t row = 0; row < sizes.rows; ++row) {
        for (std::size_t column = 0; column < sizes.columns; ++column) {
            work.start();
            detail::forEachBlock(sizes.terms, [&](std::uint64_t begin, std::size_t count) {
                for (std::size_t i = 0; i < products.size(); ++i) {
                    detail::integers::load(products[i].left, (matrix * sizes.columns + column) * sizes.terms + begin,
                                           count, work.factorWidth(), left);
                    detail::integers::load(products[i].right, (matrix * sizes.rows + row) * sizes.terms + begin, count,
                                           work.factorWidth(), right);
                    work.multiply(i == 0, products[i].sign, left, right, count);
                }
                work.addTerms(count);
            });
            detail::store(work.totalOfLanes(), 1, work.width(), words,
                          (matrix * sizes.rows + row) * sizes.columns + column);
        }
    }
}

/// How factors are cut into parts whose products, and all sums of these, are whole doubles.
struct PartPlan {
    int leftParts;
    int leftBits;
    int rightParts;
    int rightBits;
};

/// The plan with the fewest products, if they are few. `moreBits` are what sums have beyond products.
std::optional<PartPlan> planOfParts(int leftBits, int rightBits, int moreBits) {
    constexpr int kDoubleBits = 53;
    constexpr int kMostProducts = 6;
    std::optional<PartPlan> best;
    for (int left = 1; left <= kMostProducts; ++left) {
        for (int right = 1; left * right <= kMostProducts; ++right) {
            const PartPlan plan{left, (leftBits + left - 1) / left, right, (rightBits + right - 1) / right};
            if (plan.leftBits + plan.rightBits + moreBits <= kDoubleBits &&
                (!best || left * right < best->leftParts * best->rightParts)) {
                best = plan;
            }
        }
    }
    return best;
}

/// The sums of products in doubles, by the library for these, where every order of the sums gives the same. Returns
/// false, and has done nothing, if that isn't so or takes longer.
bool multiplyInDoubles(const std::vector<Product>& products, const MatrixSizes& sizes, std::size_t matrices,
                       const Summation& work, wordarray& words) {
    constexpr int kIntBits = 62;
    const std::optional<Extent> sums = work.exactSums();
    const std::size_t limbs = words.grid().limbs();
    if (!sums || products.empty() || limbs > 2 || sums->exponent - work.total().exponent > kIntBits ||
        std::max({sizes.rows, sizes.terms, sizes.columns}) > INT_MAX) {
        return false;
    }
    const detail::WordGrid& left = products[0].right.grid;  // of the matrix with the rows
    const detail::WordGrid& right = products[0].left.grid;
    const Extent product =
        detail::integers::productOf(detail::integers::extentOf(left), detail::integers::extentOf(right));
    const auto isShort = [](const detail::WordGrid& grid) { return grid.bits <= kIntBits; };
    const std::optional<PartPlan> plan = planOfParts(left.bits, right.bits, sums->bits - product.bits);
    if (!isShort(left) || !isShort(right) || !plan) {
        return false;
    }
    const int count = plan->leftParts * plan->rightParts * static_cast<int>(products.size());
    const double multiplications =
        static_cast<double>(sizes.rows) * static_cast<double>(sizes.terms) * static_cast<double>(sizes.columns);
    const auto dgemm = detail::blas::dgemmFor(multiplications * count);
    if (dgemm == nullptr) {
        return false;
    }
    // A call of the library can't be interrupted, so it has some rows.
    constexpr std::size_t kStepsOfCall = std::size_t{1} << 27U;
    constexpr std::size_t kLeastRows = 16;
    constexpr std::size_t kStepsOfNanosecond = 8;
    const std::size_t leftSize = sizes.rows * sizes.terms;
    const std::size_t rightSize = sizes.terms * sizes.columns;
    const std::size_t rowsOfCall = std::max(kStepsOfCall / std::max<std::size_t>(rightSize, 1), kLeastRows);
    const std::size_t resultSize = sizes.rows * sizes.columns;
    detail::WorkVector<double> memory(leftSize + rightSize + resultSize);
    double* const a = memory.data();
    double* const b = a + leftSize;
    double* const c = b + rightSize;
    const auto load = [](const WordSpan& from, std::size_t matrix, std::size_t size, int part, int parts, int bits,
                         double* to) {
        const WordSpan one{from.limbs + matrix * size, nullptr, size, from.grid};
        detail::integers::toDoubles(one, {part * bits, part + 1 == parts ? 0 : bits}, to);
    };
    for (std::size_t matrix = 0; matrix < matrices; ++matrix) {
        for (int i = 0; i < plan->leftParts; ++i) {
            for (int k = 0; k < plan->rightParts; ++k) {
                for (const Product& factors : products) {
                    load(factors.right, matrix, leftSize, i, plan->leftParts, plan->leftBits, a);
                    load(factors.left, matrix, rightSize, k, plan->rightParts, plan->rightBits, b);
                    const auto columns = static_cast<int>(sizes.columns);
                    const auto terms = static_cast<int>(sizes.terms);
                    const bool isFirst = &factors == products.data();
                    for (std::size_t row = 0; row < sizes.rows; row += rowsOfCall) {
                        const std::size_t rows = std::min(rowsOfCall, sizes.rows - row);
                        dgemm(CblasRowMajor, CblasNoTrans, CblasNoTrans, static_cast<int>(rows), columns, terms,
                              factors.sign == Sign::plus ? 1.0 : -1.0, a + row * sizes.terms, terms, b, columns,
                              isFirst ? 0.0 : 1.0, c + row * sizes.columns, columns);
                        detail::noteWork(rows * sizes.terms * sizes.columns / kStepsOfNanosecond);
                    }
                }
                detail::integers::addDoubles(
                    {c, resultSize}, i * plan->leftBits + k * plan->rightBits + sums->exponent - work.total().exponent,
                    limbs, words.limbs() + matrix * resultSize * limbs);
            }
        }
    }
    return true;
}

/// The last two axes swapped.
fixed_array swapped(const fixed_array& x) {
    std::vector<int> order;
    for (std::size_t i = 0; i < x.shape().size(); ++i) {
        order.push_back(static_cast<int>(i));
    }
    std::swap(order[order.size() - 1], order[order.size() - 2]);
    return permute(x, order);
}

/// The products of matrices in the last two axes, for arrays with the same other axes.
fixed_array matrixProducts(const fixed_array& a, const fixed_array& b, const Places& places) {
    const std::size_t axes = a.shape().size();
    const std::size_t rows = a.shape()[axes - 2];
    const std::size_t columns = b.shape()[axes - 1];
    if (columns < rows) {
        return swapped(matrixProducts(swapped(b), swapped(a), places));
    }
    const MatrixSizes sizes{rows, a.shape()[axes - 1], columns};
    array_shape shape = a.shape();
    shape[axes - 1] = columns;
    std::size_t matrices = 1;
    for (std::size_t i = 0; i + 2 < axes; ++i) {
        matrices *= shape[i];
    }
    const bool isByColumns = runSideBySide(columns, sizes.terms);
    const fixed_array values = isByColumns ? b : swapped(b);
    return summed(addendsOf(a, b, sizes.terms), places, a, b, shape, a.is_complex() || b.is_complex(),
                  [&](std::size_t part, Summation& work, wordarray& words) {
                      const std::vector<Product> products = productsOf(values, a, part);
                      if (isByColumns && multiplyInDoubles(products, sizes, matrices, work, words)) {
                          return;
                      }
                      for (std::size_t matrix = 0; matrix < matrices; ++matrix) {
                          (isByColumns ? multiplyByColumns : multiplyByTerms)(products, sizes, matrix, work, words);
                      }
                  });
}

}  // namespace

fixed_array sum(const fixed_array& x, const sum_formats& formats, const code_location& where) {
    return sumsAlong(flat(x), 0, {formats, where}, false);
}

fixed_array sum(const fixed_array& x, int axis, const sum_formats& formats, const code_location& where) {
    return sumsAlong(x, detail::axisOf(axis, x.shape().size()), {formats, where}, false);
}

fixed_array cumsum(const fixed_array& x, const fixed_format& format, const code_location& where) {
    requireVector(x, "cumsum");
    const sum_formats formats{std::nullopt, format};
    return sumsAlong(flat(x), 0, {formats, where}, true).reshaped(x.shape());
}

fixed_array cumsum(const fixed_array& x, int axis, const std::optional<fixed_format>& format,
                   const code_location& where) {
    const sum_formats formats{std::nullopt, format};
    return sumsAlong(x, detail::axisOf(axis, x.shape().size()), {formats, where}, true);
}

fixed_array dot(const fixed_array& a, const fixed_array& b, const sum_formats& formats, const code_location& where) {
    requireVector(a, "dot");
    requireVector(b, "dot");
    if (a.size() != b.size()) {
        throw error("tolvane:array:shape", "dot needs vectors of equal length, not " + std::to_string(a.size()) +
                                               " and " + std::to_string(b.size()) + " elements.");
    }
    return matrixProducts(a.reshaped({1, a.size()}), b.reshaped({b.size(), 1}), {formats, where}).reshaped({});
}

fixed_array matmul(const fixed_array& a, const fixed_array& b, const sum_formats& formats, const code_location& where) {
    const array_shape& left = a.shape();
    const array_shape& right = b.shape();
    // A vector is a row on the left and a column on the right.
    const bool isRow = left.size() == 1;
    const bool isColumn = right.size() == 1;
    const std::size_t inner = right.empty() ? 0 : right[isColumn ? 0 : right.size() - 2];
    if (left.empty() || right.empty() || left.back() != inner) {
        throw error("tolvane:array:shape", "Matrices of shapes " + detail::textOf(left) + " and " +
                                               detail::textOf(right) + " can't be multiplied.");
    }
    const std::size_t rows = isRow ? 1 : left[left.size() - 2];
    const std::size_t columns = isColumn ? 1 : right.back();
    const auto others = [](const array_shape& shape, bool isVector) {
        return isVector ? array_shape() : array_shape(shape.begin(), shape.end() - 2);
    };
    const array_shape common = detail::commonShape(others(left, isRow), others(right, isColumn));
    const auto matrices = [&](const fixed_array& x, bool isVector, std::size_t height, std::size_t width) {
        array_shape shape = common;
        shape.insert(shape.end(), {height, width});
        return broadcast_to(isVector ? x.reshaped({height, width}) : x, shape);
    };
    const fixed_array product =
        matrixProducts(matrices(a, isRow, rows, inner), matrices(b, isColumn, inner, columns), {formats, where});
    array_shape shape = common;
    if (!isRow) {
        shape.push_back(rows);
    }
    if (!isColumn) {
        shape.push_back(columns);
    }
    return product.reshaped(std::move(shape));
}

fixed_array conv(const fixed_array& x, const fixed_array& h, const sum_formats& formats, const code_location& where) {
    requireVector(x, "conv");
    requireVector(h, "conv");
    const std::size_t length = x.size();
    const std::size_t taps = h.size();
    const std::size_t total = length == 0 || taps == 0 ? 0 : length + taps - 1;
    const auto fill = [&](std::size_t part, Summation& work, wordarray& words) {
        const std::vector<Product> products = productsOf(x, h, part);
        Arena arena(work.factorWidth(), 1);
        Block values = arena.next();
        std::vector<FactorBlocks> factors;
        factors.reserve(products.size());
        for (const Product& product : products) {
            factors.emplace_back(product.right, work.factorWidth(), 0, taps);
        }
        detail::forEachBlock(total, [&](std::uint64_t begin, std::size_t lanes) {
            work.start();
            for (std::size_t k = 0; k < taps; ++k) {
                // Lane i is element begin + i and meets x[begin + i - k].
                const std::size_t first = k > begin ? static_cast<std::size_t>(k - begin) : 0;
                const std::size_t last = static_cast<std::size_t>(
                    std::min<std::uint64_t>(lanes, k + length > begin ? k + length - begin : 0));
                if (first >= last) {
                    continue;
                }
                addProducts(
                    work, products, factors, k, first, last - first, values, [&](const WordSpan& left, Block& block) {
                        detail::integers::load(left, begin + first - k, last - first, work.factorWidth(), block);
                    });
            }
            detail::store(work.lanes(), lanes, work.width(), words, begin);
        });
    };
    return summed(addendsOf(x, h, std::min(length, taps)), {formats, where}, x, h, {total},
                  x.is_complex() || h.is_complex(), fill);
}

}  // namespace tolvane
