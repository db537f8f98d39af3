// Loads files that were saved correctly and changed afterwards, with digest and HDF5's own checksums corrected or not.
// Each is loaded completely and can be saved again, or is refused with an id; neither changes the state that objects of
// a class share.
#include <array>
#include <memory>
#include <vector>

#include "binding/module.h"
#include "fuzz/fuzz_case.h"
#include "host/ErrorIdException.h"
#include "host/reference/Session.h"
#include "tests/support/saved_files.h"

namespace {

using hostref::HostError;
using hostref::Session;
using hostref::SharedState;
using hostref::Value;
using hostref::Variable;

Session& session() {
    static Session one({"tolvane", VLInitialize_tolvane, VLTerminate_tolvane});
    return one;
}

std::vector<Bytes> goodFiles() {
    const Value type = session().construct("embedded.numerictype");
    type.set("WordLength", 70);
    const Value wide = session().construct("embedded.fi", {Value::matrix(2, 1, std::array{0.5, -3.0}), type});
    const Value empty = session().construct("embedded.fi");
    const Value rules = session().construct("embedded.fimath");
    const Value parts[] = {wide, Value("text"), Value::complex(1.0, -2.0), wide, Value::cells({}), rules};
    hvArrayOwner fields(hvCreateStructMatrix(1, 2, 2, std::array{"a", "b/c"}.data()));
    hvSetFieldByNumber(fields.get(), 1, 1, hvCreateLogicalScalar(true));
    std::vector<double> row(1000, 0.25);
    return {hostref::savedBytes(std::array{Variable{"wide", wide}, Variable{"empty", empty}}),
            hostref::savedBytes(std::array{Variable{"cells", Value::cells(parts)}, Variable{"rules", rules}}),
            hostref::savedBytes(std::array{Variable{"fields", Value(std::move(fields))}, Variable{"row", row},
                                           Variable{"type", type}})};
}

void change(Bytes& file, FuzzInput& input) {
    const auto place = [&] {
        // Mostly after the heading.
        return input.between(input.between(0, 9) == 0 ? 0 : static_cast<int>(hostref::kHeadingBytes),
                             static_cast<int>(file.size()) - 1);
    };
    for (int count = input.between(1, 6); count > 0 && file.size() > hostref::kHeadingBytes + 100; --count) {
        const auto at = static_cast<std::size_t>(place());
        static constexpr std::uint64_t kEdges[] = {0, 1, 0xFF, 0x7FFF, 0xFFFFFFFF, 0x7FFFFFFFFFFFFFFF, UINT64_MAX};
        switch (input.between(0, 5)) {
            case 0:
                file[at] ^= std::byte{1} << input.between(0, 7);
                break;
            case 1:
                file[at] = input.take<std::byte>();
                break;
            case 2: {
                const std::uint64_t edge = kEdges[input.between(0, 6)];
                std::memcpy(file.data() + at, &edge, std::min<std::size_t>(sizeof edge, file.size() - at));
                break;
            }
            case 3: {
                // An address or a size from another position.
                const auto from = static_cast<std::size_t>(place());
                const auto size =
                    std::min({static_cast<std::size_t>(input.between(1, 64)), file.size() - at, file.size() - from});
                std::memmove(file.data() + at, file.data() + from, size);
                break;
            }
            case 4:
                if (input.between(0, 4) == 0) {
                    file.resize(at);
                }
                break;
            default: {
                const auto value = static_cast<std::uint32_t>(input.between(-4, 4));
                std::uint32_t old = 0;
                const std::size_t size = std::min<std::size_t>(sizeof old, file.size() - at);
                std::memcpy(&old, file.data() + at, size);
                old += value;
                std::memcpy(file.data() + at, &old, size);
            }
        }
    }
}

/// Loads, or returns the id of the refusal.
std::vector<Variable> load(const Bytes& file, std::string& id) {
    try {
        return hostref::loadedVariables(file, SharedState::keep);
    } catch (ErrorIdException* raised) {
        const std::unique_ptr<ErrorIdException> error(raised);
        id = error->getId();
    }
    return {};
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const std::vector<Bytes> kGood = goodFiles();
    FuzzInput input(data, size);
    Bytes file = kGood[static_cast<std::size_t>(input.between(0, 2))];
    const int repaired = input.between(0, 3);
    change(file, input);
    if (repaired > 1 && file.size() > hostref::kHeadingBytes) {
        signHeaders(file);
    }
    if (repaired > 0 && file.size() > hostref::kHeadingBytes) {
        hostref::setHeading(file);
    }
    const Value any = session().construct("embedded.fi");
    const Value before = any.get("SumWordLength");
    std::string id = "none";
    const std::vector<Variable> variables = load(file, id);
    const auto say = [&] { return id; };
    require(!id.empty(), "every refusal has an id", say);
    require(any.get("SumWordLength") == before && !any.get("Logging").toBool(), "shared state is as before", say);
    if (id == "none") {
        const Bytes again = hostref::savedBytes(variables);
        std::string secondId = "none";
        const Bytes third = hostref::savedBytes(load(again, secondId));
        require(secondId == "none" && third == again, "what was loaded comes back", say);
    }
    session().takeWarnings();
    return 0;
}
