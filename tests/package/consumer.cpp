// Quantizes one value through the installed library, catches what it throws, and hears its warning as a host does:
// headers by both of their paths, export marks and dependencies must all be in place.
#include <tolvane/host/ErrorIdException.h>
#include <tolvane/numbers/mpnumber.h>
#include <tolvane/version.h>
#include <cstdio>
#include <string>
#include <string_view>

#include "descriptors/NumericType.h"
#include "host/bs_md5.h"
#include "host/reference/listeners.h"
#include "numbers/number.h"
#include "quantization/quantizer.h"

namespace {

template <class Action>
bool raises(std::string_view id, Action action) {
    try {
        action();
    } catch (const ErrorIdException* error) {
        const bool isRight = error->getId() == id;
        delete error;
        return isRight;
    }
    return false;
}

}  // namespace

// With an argument, the parts of the host that are opened when needed are gone.
int main(int argc, char**) {
    if (argc > 1) {
        return raises("VELMAR:part:notFound", [] { bs_md5ChecksumRec(); }) ? 0 : 1;
    }
    bs_md5ChecksumRec digest;
    const EmbeddedTypeSystem::NumericType type(true, 8, 7);
    const quantizer q(type, embedded::RoundModeEnum::Nearest, embedded::OverflowModeEnum::Saturate, "consumer",
                      embedded::OperationTypeEnum::Unspecified, true);
    number value(1.5, 8, false);
    q.quantize(value);
    const mpnumber wide(0.25);
    std::printf("%s %.7g %d, %s\n", type.qpointstr().c_str(), value.todouble(), static_cast<int>(q.getNoverflows()),
                TOLVANE_VERSION_STRING);
    const bool refuses =
        raises("fixedpoint:quantizer:wordlengthtoobig", [copy = quantizer(q)]() mutable { copy.setWordlength(65536); });
    std::string warned;
    hostref::setWarningListener([&warned](const std::string& id, const std::string&) { warned = id; });
    EmbeddedTypeSystem::NumericType(true, 8, 7).setWordLength(0);
    hostref::setWarningListener({});
    const bool isRight = value.todouble() == 127.0 / 128.0 && q.getNoverflows() == 1 && wide.todouble() == 0.25 &&
                         digest.getHexDigest() == "d41d8cd98f00b204e9800998ecf8427e";
    return isRight && refuses && warned == "TolvaneKit:numerictype:InvalidSetting" &&
                   std::string_view(TOLVANE_VERSION_STRING) == PACKAGE_VERSION
               ? 0
               : 1;
}
