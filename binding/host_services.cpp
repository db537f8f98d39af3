// Puts the host's services in force when the library is loaded, before any other code of this library runs.
#include "host/ErrorIdException.h"
#include "host/OMInterface.h"
#include "host/bs.h"
#include "host/bs_md5.h"
#include "host/hm.h"
#include "host/hsc.h"
#include "host/hsv.h"
#include "host/hv.h"
#include "numbers/memory_services.h"
#include "numbers/services.h"

namespace {

using tolvane::detail::Services;

constexpr int kBadIndex = 73;

constexpr Services kHostServices = {
    .raise = [](std::string id, std::string message) { raiseError(std::move(id), std::move(message)); },
    .raiseBadIndex = [] { hvErrMsg(kBadIndex); },
    .warn = [](const std::string& id, const std::string& text) { hscWarnMsgIdAndTxt(id.c_str(), "%s", text.c_str()); },
    .print = [](const std::string& text) { hscPrintf("%s", text.c_str()); },
    .allocate = bsMalloc,
    .allocateZeros = [](std::size_t bytes) { return bsCalloc(1, bytes); },
    .release = bsFree,
    .textOfDouble = hsv_dtoa_tolvane,
    .hypot = hmFdlibm_hypot,
    .log = hmFdlibm_log,
    .releaseHandle = [](OMInterface* handle) { OMInterface::operator delete(handle); },
    .addToDigest = [](bs_md5ChecksumRec& digest, const unsigned char* bytes,
                      std::size_t count) { digest.addn(bytes, count); },
};

// Objects with this priority are made first; lower numbers belong to the compiler's own library.
constexpr int kFirst = 101;
[[gnu::init_priority(kFirst)]] const struct Installation {
    Installation() { tolvane::detail::setServices(kHostServices); }
    ~Installation() { tolvane::detail::keepOnlyMemoryServices(); }
    Installation(const Installation&) = delete;
    Installation& operator=(const Installation&) = delete;
} kInstallation;

}  // namespace
