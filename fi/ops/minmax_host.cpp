// The extremes of columns, with their rows in a host array.
#include <memory>

#include "fi/fi.h"
#include "host/hv.h"

namespace {

hvArrayOwner hostDoubles(std::span<const std::uint64_t> sizes) {
    return hvArrayOwner(hvCreateNumericArray(sizes.size(), sizes.data(), hvDOUBLE_CLASS, hvREAL));
}

}  // namespace

void fi::unary_max(fi*& values, hvArray*& indices) const {
    hvArrayOwner rows = hostDoubles(sizesOfColumns());
    values = greatestOfColumns(hvGetPr(rows.get())).release();
    indices = rows.release();
}

void fi::unary_min(fi*& values, hvArray*& indices) const {
    hvArrayOwner rows = hostDoubles(sizesOfColumns());
    values = leastOfColumns(hvGetPr(rows.get())).release();
    indices = rows.release();
}
