// Quantizes one value through the installed library, and catches what it throws: headers by both of their paths, export
// marks and dependencies must all be in place.
#include <tolvane/host/ErrorIdException.h>
#include <tolvane/numbers/mpnumber.h>
#include <tolvane/version.h>
#include <cstdio>
#include <string_view>

#include "descriptors/NumericType.h"
#include "numbers/number.h"
#include "quantization/quantizer.h"

namespace {

bool catchesErrors(quantizer q) {
    try {
        q.setWordlength(65536);
    } catch (const ErrorIdException* error) {
        const bool isRight = std::string_view(error->getId()) == "fixedpoint:quantizer:wordlengthtoobig";
        delete error;
        return isRight;
    }
    return false;
}

}  // namespace

int main() {
    const EmbeddedTypeSystem::NumericType type(true, 8, 7);
    const quantizer q(type, embedded::RoundModeEnum::Nearest, embedded::OverflowModeEnum::Saturate, "consumer",
                      embedded::OperationTypeEnum::Unspecified, true);
    number value(1.5, 8, false);
    q.quantize(value);
    const mpnumber wide(0.25);
    std::printf("%s %.7g %d, %s\n", type.qpointstr().c_str(), value.todouble(), static_cast<int>(q.getNoverflows()),
                TOLVANE_VERSION_STRING);
    const bool isRight = value.todouble() == 127.0 / 128.0 && q.getNoverflows() == 1 && wide.todouble() == 0.25;
    return isRight && catchesErrors(q) && std::string_view(TOLVANE_VERSION_STRING) == PACKAGE_VERSION ? 0 : 1;
}
