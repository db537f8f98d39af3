#include "host/front/reshape.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <utility>

namespace front {

namespace {

[[noreturn]] void failForSize() {
    throw hostref::HostError("fixedpoint:fi:reshape:badSize",
                             "Sizes are a row of two or more whole numbers, or whole numbers one by one, of which one "
                             "may be empty.");
}

[[noreturn]] void failForCount() {
    throw hostref::HostError("fixedpoint:fi:reshape:countMismatch", "Reshaping can't change the number of elements.");
}

std::size_t sizeFrom(double given) {
    constexpr double kEnd = 0x1p53;
    if (!(given >= 0.0 && given < kEnd && given == std::floor(given))) {
        failForSize();
    }
    return static_cast<std::size_t>(given);
}

/// Returns whether the product of the sizes is the count; the product isn't computed, since it may overflow.
bool haveProduct(const Dimensions& sizes, std::size_t count) {
    if (count == 0) {
        return std::ranges::find(sizes, std::size_t{0}) != sizes.end();
    }
    for (const std::size_t size : sizes) {
        if (size == 0 || count % size != 0) {
            return false;
        }
        count /= size;
    }
    return count == 1;
}

}  // namespace

Value reshape(Session& session, const Value& array, std::span<const Value> sizes) {
    const std::size_t count = elementCount(dimensionsOf(session, array));
    Dimensions dimensions;
    if (sizes.size() == 1) {
        for (const double size : sizes[0].toDoubles()) {
            dimensions.push_back(sizeFrom(size));
        }
    }
    std::optional<std::size_t> open;
    for (std::size_t i = 0; sizes.size() > 1 && i < sizes.size(); ++i) {
        const bool isOpen = sizes[i].isEmpty();
        if (isOpen ? open.has_value() : sizes[i].numberOfElements() != 1) {
            failForSize();
        }
        open = isOpen ? i : open;
        dimensions.push_back(isOpen ? 1 : sizeFrom(sizes[i].toDouble()));
    }
    if (dimensions.size() < 2) {
        failForSize();
    }
    if (open) {
        std::size_t rest = count;
        for (const std::size_t size : dimensions) {
            rest = size == 0 || rest % size != 0 ? 0 : rest / size;
        }
        dimensions[*open] = rest;
    }
    if (!haveProduct(dimensions, count)) {
        failForCount();
    }
    return reshaped(session, array, std::move(dimensions));
}

}  // namespace front
