// Quantizes one value through the installed library: headers, export marks and dependencies must all be in place.
#include <cstdio>

#include "descriptors/NumericType.h"
#include "numbers/number.h"
#include "quantization/quantizer.h"

int main() {
    const EmbeddedTypeSystem::NumericType type(true, 8, 7);
    const quantizer q(type, embedded::RoundModeEnum::Nearest, embedded::OverflowModeEnum::Saturate, "consumer",
                      embedded::OperationTypeEnum::Unspecified, true);
    number value(1.5, 8, false);
    q.quantize(value);
    std::printf("%s %.7g %d\n", type.qpointstr().c_str(), value.todouble(), static_cast<int>(q.getNoverflows()));
    return value.todouble() == 127.0 / 128.0 && q.getNoverflows() == 1 ? 0 : 1;
}
