// Dimensions from a host array.
#include <algorithm>
#include <cstdint>
#include <iterator>
#include <memory>
#include <vector>

#include "fi/fi.h"
#include "host/ErrorIdException.h"
#include "host/hv.h"

namespace {

/// The host's error for a bad index.
[[noreturn]] void raiseBadCast() {
    constexpr int kBadIndex = 73;
    hvErrMsg(kBadIndex);
}

std::uint64_t sizeFrom(double value) {
    if (!(value > -1.0 && value < 0x1p64)) {
        raiseBadCast();
    }
    return static_cast<std::uint64_t>(value);
}

}  // namespace

fi* fi::reshape(const hvArray* siz) const {
    if (!hvIsDouble(siz)) {
        raiseError("fixedpoint:fi:reshape:siz_not_double", "FI_RESHAPE expecting DOUBLE for the SIZ vector.");
    }
    std::vector<std::uint64_t> dims;
    std::ranges::transform(hvGetTypedData<double>(siz), std::back_inserter(dims), sizeFrom);
    auto result = std::make_unique<fi>(*this);
    const std::uint64_t copied = result->mNumel;
    result->copyDimensions(dims.data(), dims.size());
    if (result->mNumel != copied) {
        result->mReal.resize(result->mNumel);
        if (result->iscomplex()) {
            result->imagEntries().resize(result->mNumel);
        }
    }
    return result.release();
}
