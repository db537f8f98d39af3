// A log as a host struct.
#include <iterator>

#include "host/hv.h"
#include "logging/qlogger.h"

namespace {

/// Converts as a signed count and corrects negative results, so the greatest counts round in two steps.
double countAsDouble(std::uint64_t count) {
    const auto value = static_cast<double>(static_cast<std::int64_t>(count));
    return value < 0.0 ? value + 0x1p64 : value;
}

hvArray* makeStruct(double max, double min, std::uint64_t overflows, std::uint64_t underflows,
                    std::uint64_t operations) {
    static constexpr const char* kNames[] = {"Max", "Min", "NOverflows", "NUnderflows", "NOperations"};
    const double values[] = {max, min, countAsDouble(overflows), countAsDouble(underflows), countAsDouble(operations)};
    hvArrayOwner result(hvCreateStructMatrix(1, 1, std::size(kNames), kNames));
    for (std::size_t i = 0; i < std::size(kNames); ++i) {
        hvSetField(result.get(), 0, kNames[i], hvCreateDoubleScalar(values[i]));
    }
    return result.release();
}

}  // namespace

hvArray* qlogger::toHvArrayStruct() const {
    return makeStruct(getMaxLogAsRealWorldValue(), getMinLogAsRealWorldValue(), mNoverflows, mNunderflows,
                      mNoperations);
}

hvArray* qlogger::createUninitializedhvArrayStruct() {
    return makeStruct(getStartOfMax(), getStartOfMin(), 0, 0, 0);
}
