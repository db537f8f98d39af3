// Files of saved objects with changes, their digest and checksums made right again: each is loaded completely and saves
// as the same bytes again, or is refused with an id, and neither changes what objects of a class share.
#include <array>
#include <memory>
#include <vector>

#include "host/ErrorIdException.h"
#include "host/reference/Session.h"
#include "tests/soak/soak.h"
#include "tests/support/saved_files.h"

namespace soak {
namespace {

using hostref::Session;
using hostref::SharedState;
using hostref::Value;
using hostref::Variable;

Session& session() {
    static Session one;
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
    const std::vector<double> row(60, 0.25);
    const Value short_ = session().construct("embedded.fi", {Value(row)});
    return {hostref::savedBytes(std::array{Variable{"wide", wide}, Variable{"empty", empty}}),
            hostref::savedBytes(std::array{Variable{"short", short_}}),
            hostref::savedBytes(std::array{Variable{"row", row}, Variable{"name", Value("text")}}),
            hostref::savedBytes(std::array{Variable{"cells", Value::cells(parts)}, Variable{"rules", rules}}),
            hostref::savedBytes(std::array{Variable{"fields", Value(std::move(fields))}, Variable{"type", type}})};
}

void change(Bytes& file, Draw& draw) {
    static constexpr std::uint64_t kEdges[] = {0, 1, 0xFF, 0x7FFF, 0xFFFFFFFF, 0x7FFFFFFFFFFFFFFF, UINT64_MAX};
    const auto place = [&] {
        return static_cast<std::size_t>(draw.between(draw.oneIn(10) ? 0 : static_cast<int>(hostref::kHeadingBytes),
                                                     static_cast<int>(file.size()) - 1));
    };
    for (int count = draw.between(1, 4); count > 0 && file.size() > hostref::kHeadingBytes + 100; --count) {
        const std::size_t at = place();
        switch (draw.between(0, 5)) {
            case 0:
                file[at] ^= std::byte{1} << draw.between(0, 7);
                break;
            case 1:
                file[at] = static_cast<std::byte>(draw.bits());
                break;
            case 2: {
                const std::uint64_t edge = draw.of(kEdges);
                std::memcpy(file.data() + at, &edge, std::min<std::size_t>(sizeof edge, file.size() - at));
                break;
            }
            case 3: {
                // An address or a size from another position.
                const std::size_t from = place();
                std::memmove(
                    file.data() + at, file.data() + from,
                    std::min({static_cast<std::size_t>(draw.between(1, 64)), file.size() - at, file.size() - from}));
                break;
            }
            case 4:
                file.resize(draw.oneIn(5) ? at : file.size());
                break;
            default: {
                std::uint32_t value = 0;
                const std::size_t size = std::min<std::size_t>(sizeof value, file.size() - at);
                std::memcpy(&value, file.data() + at, size);
                value += static_cast<std::uint32_t>(draw.between(-4, 4));
                std::memcpy(file.data() + at, &value, size);
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

Outcome savedFiles(const Case& oneCase) {
    static const std::vector<Bytes> kGood = goodFiles();
    static const Value any = session().construct("embedded.fi");
    Draw draw(oneCase.seed);
    Bytes file = draw.of(kGood);
    change(file, draw);
    if (file.size() > hostref::kHeadingBytes) {
        signHeaders(file);
        hostref::setHeading(file);
    }
    static const Value before = any.get("SumWordLength");
    std::string id = "none";
    const std::vector<Variable> variables = load(file, id);
    if (id.empty()) {
        return mismatch(0, "a refusal without an id");
    }
    if (any.get("SumWordLength") != before || any.get("Logging").toBool()) {
        return mismatch(0, "shared state changed, load ended with ", id);
    }
    // Saving takes longer than loading, so only some are saved again.
    if (id == "none" && draw.oneIn(4)) {
        const Bytes again = hostref::savedBytes(variables);
        std::string secondId = "none";
        const std::vector<Variable> second = load(again, secondId);
        if (secondId != "none" || hostref::savedBytes(second) != again) {
            return mismatch(0, "what was loaded doesn't come back, ", secondId);
        }
    }
    session().takeWarnings();
    session().takePrinted();
    return {1, {}, 0};
}

}  // namespace

std::span<const Unit> fileUnits() {
    static constexpr Unit kUnits[] = {{"saved-files", "mutated files", 20, savedFiles}};
    return kUnits;
}

}  // namespace soak
