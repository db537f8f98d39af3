// The parts of the host that are shared libraries of their own. What they are built on takes milliseconds to load, and
// few programs need it; so each is opened at the first use, from the folder of the host's library.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "host/bs_md5.h"
#include "host/hv.h"
#include "host/reference/file_bytes.h"
#include "host/reference/saved_objects.h"

namespace hostref::parts {

/// Evaluation of expressions; see calls/eval.h.
struct Expressions {
    static constexpr const char* kName = "tolvane_expressions";
    hvArrayOwner (*evaluate)(const std::string& text);
};

/// A digest that takes bytes in pieces.
class TOLVANE_HOST_API Md5 {
 public:
    virtual ~Md5();
    virtual std::unique_ptr<Md5> clone() const = 0;
    virtual void add(std::span<const unsigned char> bytes) = 0;
    /// The digest of all bytes so far; more may be added.
    virtual bs_md5ChecksumRec::Digest digest() const = 0;
};

struct Digests {
    static constexpr const char* kName = "tolvane_digests";
    /// Raises "bs:md5:unavailable".
    std::unique_ptr<Md5> (*newMd5)();
    /// The SHA-256 of the bytes in lower-case hexadecimal digits; empty if the process offers none.
    std::string (*sha256)(std::span<const std::byte> bytes);
};

/// Saving and loading; see saved_objects.h. Saved bytes begin with room for the heading.
struct Files {
    static constexpr const char* kName = "tolvane_files";
    FileBytes (*savedBytes)(std::span<const Variable> variables);
    std::vector<Variable> (*loadedVariables)(std::span<const std::byte> bytes, SharedState shared,
                                             const std::optional<std::string>& name);
    std::vector<std::string> (*namesIn)(std::span<const std::byte> bytes);
};

/// The function of a part's library that returns its table.
using Entry = const void* (*)();
inline constexpr const char* kEntry = "tolvane_host_part";

/// Opens a library and returns its table. Raises "VELMAR:part:notFound".
const void* open(const char* name);

/// The table of a part, which is opened at the first call.
template <class Part>
const Part& get() {
    static const Part& table = *static_cast<const Part*>(open(Part::kName));
    return table;
}

}  // namespace hostref::parts

/// Defines the entry of a part's library.
#define TOLVANE_HOST_PART(table)                                 \
    extern "C" TOLVANE_HOST_API const void* tolvane_host_part(); \
    const void* tolvane_host_part() {                            \
        return &(table);                                         \
    }
