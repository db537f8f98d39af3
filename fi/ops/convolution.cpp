// Convolution of vectors, and sums along the first dimension.
#include <algorithm>
#include <cstdint>
#include <memory>
#include <optional>

#include "fi/bulk/seams.h"
#include "fi/fi.h"
#include "fi/ops/lent_product_logs.h"
#include "fi/result_types/work_cells.h"

using namespace tolvane::detail;

fi& fi::convF(const fi& b) const {
    const bool isOursLonger = b.mNumel < mNumel;
    const std::uint64_t count = std::max<std::uint64_t>(mNumel + b.mNumel, 1) - 1;
    return ficonv(b, count, 0, (isOursLonger ? mM : b.mM) == 1);
}

fi& fi::convS(const fi& b) const {
    // ceil((nb - 1) / 2) results precede the middle.
    return ficonv(b, mNumel, b.mNumel / 2, mM == 1);
}

fi& fi::convV(const fi& b) const {
    const std::uint64_t count = mNumel + 1 > b.mNumel && b.mNumel > 0 ? mNumel + 1 - b.mNumel : 0;
    return ficonv(b, count, std::max<std::uint64_t>(b.mNumel, 1) - 1, mM == 1);
}

// The types are those of the product of a matrix with rows of the shorter vector's length and one with such columns.
fi& fi::ficonv(const fi& b, std::uint64_t count, std::uint64_t offset, bool rowResult) const {
    // A view of a view would lose the start of the latter.
    const fi right = b.isView() ? fi(b) : fi(b, embedded::CopyIndex::tag);
    right.resetLogging();  // the log of b, which only b writes to the log map
    const std::uint64_t leftCount = mNumel;
    const std::uint64_t rightCount = b.mNumel;
    const std::uint64_t inner = std::min(leftCount, rightCount);
    const auto emptyOf = [](const fi& x, std::uint64_t rows, std::uint64_t columns) {
        return fi(rows, columns, x.getNumericType(), x.getFimath(), x.iscomplex(), x.getTag(), x.mFimathIsLocal,
                  embedded::OperationTypeEnum::Assignment, 0);
    };
    const fi rowsLikeLeft = emptyOf(*this, 0, inner);
    const fi columnsLikeRight = emptyOf(b, inner, 0);
    const NumericType& product = rowsLikeLeft.getProductTypeForMpyOp(columnsLikeRight);
    const NumericType& type = rowsLikeLeft.getSumNumericTypeForMatrixMultiply(columnsLikeRight, product);
    const fimath& rules = getFimath(b);
    const unsigned precision = wordBits(*this) + wordBits(b);
    const bool isSwapped = isreal() && b.iscomplex();
    auto result =
        std::make_unique<fi>(rowResult ? 1 : count, rowResult ? count : 1, type, rules, iscomplex() || b.iscomplex(),
                             getTag(), false, embedded::OperationTypeEnum::Assignment, precision);
    if (isSwapped) {
        right.initializeProductRegister(type, product, rules, precision);
    }
    initializeProductRegister(type, product, rules, precision);
    const fi& worker = isSwapped ? right : *this;
    std::optional<lentproductlogs> lent;
    if (isSwapped && getLogging()) {
        lent.emplace(right);
    }
    result->initializeSumRegister(type, rules, 0);
    fi& sum = result->getSumRegister();
    number scratch = cell(0.0, std::max(wordBits(sum), wordBits(*worker.productRegister())));

    const auto accumulate = [&](std::uint64_t begin, std::uint64_t end, const auto& step, const auto& finish) {
        for (std::uint64_t i = begin; i < end; ++i) {
            const std::uint64_t k = i + offset;  // the sum of both indices
            const std::uint64_t first = k < rightCount ? 0 : k - rightCount + 1;
            const std::uint64_t last = std::min(k + 1, leftCount);
            result->setIndex(i);
            cleared(sum);
            for (std::uint64_t j = first; j < last; ++j) {
                right.setIndex(k - j);
                setIndex(j);
                step();
            }
            *result = sum;
            finish();
        }
    };
    const auto byElements = [&](std::uint64_t begin, std::uint64_t end) {
        if (isSwapped) {
            accumulate(
                begin, end, [&] { sum.sumEquals(sum, right * *this, sum, scratch); }, [] {});
            return;
        }
        accumulate(
            begin, end, [&] { sum.sumEquals(sum, *this * right, sum, scratch); },
            // The running count is added after each result: users compare these counts from run to run.
            [&] {
                if (getLogging()) {
                    getproductregsumQlogger().addtoOverflows(sum.getNoverflows());
                }
            });
    };
    const fi& reg = *worker.productRegister();
    if (!arrayseams::convolve(*this, right, offset, reg, *reg.mSumRegister, sum, *result, !isSwapped, byElements)) {
        byElements(0, count);
    }
    if (lent) {
        right.getproductregsumQlogger().addtoOverflows(result->getNoverflows());
        lent->handTo(*this);
    }
    return *result.release();
}

fi& fi::leadingdimension_sum() const {
    Dimensions dims = mDims;
    if (!dims.empty()) {
        if (isempty() && dims.size() > 1 && dims[0] < 2 && dims[1] == 0) {
            dims[1] = 1;
        }
        dims[0] = 1;
    }
    const NumericType& type = isempty() ? getNumericType() : getNumericTypeForLeadingDimensionSum();
    auto result = std::make_unique<fi>(dims.data(), dims.size(), type, getFimath(), iscomplex(), getTag(),
                                       mFimathIsLocal, embedded::OperationTypeEnum::Assignment, 0U);
    if (isempty()) {
        return *result.release();
    }
    number scratch = cell(0.0, std::max(wordBits(*this), wordBits(*result)));
    const auto byColumns = [&](std::uint64_t begin, std::uint64_t end) {
        for (std::uint64_t column = begin; column < end; ++column) {
            result->setIndex(column);
            for (std::uint64_t row = 0; row < mM; ++row) {
                setIndex(column * mM + row);
                result->sumEquals(*result, *this, *result, scratch);
            }
        }
    };
    if (!arrayseams::sumColumns(*this, *result, byColumns)) {
        byColumns(0, mN);
    }
    return *result.release();
}
