#include "examples/filter_study/saved_study.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

#include "examples/filter_study/host_objects.h"
#include "host/reference/Session.h"

namespace filterstudy {
namespace {

using hostref::HostError;
using hostref::Session;
using hostref::Value;

// The columns of "rows": the subject of a row, its arithmetic, and its outcome.
constexpr std::size_t kColumns = 23;
constexpr double kMeasured = 0.0;  // otherwise the number of a section, or:
constexpr double kChosen = -1.0;
constexpr double kTapByTap = -2.0;

[[noreturn]] void refuse() {
    throw HostError("filter_study:notAStudy", "the file holds no study of this program");
}

std::array<double, kColumns> numbersOf(double kind, const Row& row) {
    const Outcome& o = row.outcome;
    const Arithmetic& a = o.arithmetic;
    const auto real = [](auto number) { return static_cast<double>(number); };
    return {kind,
            real(a.coefficient.bits),
            real(a.coefficient.fraction),
            real(a.data.bits),
            real(a.data.fraction),
            real(a.product.keep),
            real(a.product.word.bits),
            real(a.product.word.fraction),
            real(a.sum.keep),
            real(a.sum.word.bits),
            real(a.sum.word.fraction),
            real(a.round),
            real(a.overflow),
            real(o.output.bits),
            real(o.output.fraction),
            real(o.productOverflows),
            real(o.sumOverflows),
            real(o.warnedSumOverflows),
            o.smallest,
            o.greatest,
            o.snrDb,
            o.nanosecondsPerTap,
            real(row.cost)};
}

int integer(double number) {
    if (!(std::fabs(number) <= 1e9)) {
        refuse();
    }
    return static_cast<int>(number);
}
std::uint64_t count(double number) {
    if (!(number >= 0.0 && number <= 0x1p53)) {
        refuse();
    }
    return static_cast<std::uint64_t>(number);
}
template <class Mode>
Mode mode(double number, Mode last) {
    if (!(number >= 0.0 && number <= static_cast<double>(last))) {
        refuse();
    }
    return static_cast<Mode>(static_cast<int>(number));
}
Row rowOf(const std::string& name, const double* numbers) {
    const auto word = [numbers](std::size_t at) { return Word{integer(numbers[at]), integer(numbers[at + 1])}; };
    Outcome outcome;
    outcome.arithmetic = {word(1),
                          word(3),
                          {mode(numbers[5], Keep::Specified), word(6)},
                          {mode(numbers[8], Keep::Specified), word(9)},
                          mode(numbers[11], Round::Round),
                          mode(numbers[12], Overflow::Wrap)};
    outcome.output = word(13);
    outcome.productOverflows = count(numbers[15]);
    outcome.sumOverflows = count(numbers[16]);
    outcome.warnedSumOverflows = count(numbers[17]);
    outcome.smallest = numbers[18];
    outcome.greatest = numbers[19];
    outcome.snrDb = numbers[20];
    outcome.nanosecondsPerTap = numbers[21];
    return {name, outcome, integer(numbers[22])};
}

Value structOf(const std::vector<std::pair<const char*, Value>>& fields) {
    std::vector<const char*> names;
    for (const auto& field : fields) {
        names.push_back(field.first);
    }
    hvArrayOwner made(hvCreateStructMatrix(1, 1, static_cast<int>(names.size()), names.data()));
    for (std::size_t i = 0; i < fields.size(); ++i) {
        hvSetFieldByNumber(made.get(), 0, static_cast<int>(i), fields[i].second.toArray().release());
    }
    return Value(std::move(made));
}

std::vector<int> integersOf(const Value& value) {
    std::vector<int> integers;
    for (const double number : value.toDoubles()) {
        integers.push_back(integer(number));
    }
    return integers;
}

std::vector<double> doublesOf(const std::vector<int>& integers) {
    return {integers.begin(), integers.end()};
}

}  // namespace

void saveStudy(const std::string& file, const SavedStudy& saved) {
    Session session(TOLVANE_MODULE);
    const FilterStudy& study = saved.study;
    std::vector<double> numbers;
    std::vector<Value> names;
    const auto add = [&](double kind, const Row& row) {
        const auto more = numbersOf(kind, row);
        numbers.insert(numbers.end(), more.begin(), more.end());
        names.emplace_back(row.name);
    };
    std::vector<Value> headings;
    for (const Section& section : study.sections) {
        headings.emplace_back(section.heading);
        for (const Row& row : section.rows) {
            add(static_cast<double>(headings.size()), row);
        }
    }
    for (const Row& row : study.measured) {
        add(kMeasured, row);
    }
    add(kTapByTap, {"", study.tapByTap, 0});
    Outcome centre;
    centre.arithmetic = study.centre;
    add(kChosen, study.chosen ? *study.chosen : Row{"", centre, 0});

    std::vector<double> pairs;
    for (const Pair& pair : study.pairs) {
        pairs.insert(pairs.end(), {1.0 * pair.coefficientBits, 1.0 * pair.dataBits, pair.snrDb});
    }
    const auto words = [&session](const std::vector<double>& values, Word word) {
        return session.construct("embedded.fi", {values, typeOf(session, word), quantizingRules(session)});
    };
    Value coefficients;
    Value filtered;
    if (study.chosen) {
        coefficients = words(study.coefficients, study.centre.coefficient);
        filtered = words(study.chosen->outcome.values, study.chosen->outcome.output);
    }
    const study::Recording& recording = saved.recording;
    session.save(file, {{"signal", recording.samples},
                        {"coefficients", coefficients},
                        {"filtered", filtered},
                        {"rows", Value::matrix(kColumns, names.size(), numbers)},
                        {"study", structOf({{"path", recording.path},
                                            {"encoding", recording.encoding},
                                            {"sampleRate", recording.sampleRate},
                                            {"channelCount", recording.channelCount},
                                            {"channel", recording.channel},
                                            {"wantedDb", saved.wantedDb},
                                            {"coefficientBits", doublesOf(saved.grid.coefficients)},
                                            {"dataBits", doublesOf(saved.grid.data)},
                                            {"taps", study.filter.taps},
                                            {"cutoff", study.filter.cutoff},
                                            {"attenuationDb", study.filter.attenuationDb},
                                            {"cutoffHz", study.cutoffHz},
                                            {"coefficients", study.coefficients},
                                            {"stretchBegin", study.stretchBegin},
                                            {"stretchLength", study.stretchLength},
                                            {"referenceTime", study.referenceNanosecondsPerTap},
                                            {"pairs", pairs},
                                            {"headings", Value::cells(headings)},
                                            {"rowNames", Value::cells(names)},
                                            {"isChosen", study.chosen.has_value()}})}});
}

SavedStudy loadStudy(const std::string& file) {
    Session session(TOLVANE_MODULE);
    const auto variables = session.load(file);
    static constexpr std::array kNames = {"signal", "coefficients", "filtered", "rows", "study"};
    if (!std::ranges::equal(variables, kNames, {}, &hostref::Variable::name)) {
        refuse();
    }
    const Value& rows = variables[3].value;
    const Value& stored = variables[4].value;
    const auto number = [&stored](const char* name) { return stored.field(name).toDouble(); };

    SavedStudy saved;
    saved.recording = {stored.field("path").toText(), stored.field("encoding").toText(),
                       integer(number("sampleRate")), integer(number("channelCount")),
                       integer(number("channel")),    variables[0].value.toDoubles()};
    saved.wantedDb = number("wantedDb");
    saved.grid.coefficients = integersOf(stored.field("coefficientBits"));
    saved.grid.data = integersOf(stored.field("dataBits"));
    FilterStudy& study = saved.study;
    study.filter = {integer(number("taps")), number("cutoff"), number("attenuationDb")};
    study.cutoffHz = number("cutoffHz");
    study.coefficients = stored.field("coefficients").toDoubles();
    study.stretchBegin = count(number("stretchBegin"));
    study.stretchLength = count(number("stretchLength"));
    study.referenceNanosecondsPerTap = number("referenceTime");
    const std::vector<double> pairs = stored.field("pairs").toDoubles();
    for (std::size_t i = 0; i + 2 < pairs.size(); i += 3) {
        study.pairs.push_back({integer(pairs[i]), integer(pairs[i + 1]), pairs[i + 2]});
    }
    const Value headings = stored.field("headings");
    for (std::size_t i = 0; i < headings.numberOfElements(); ++i) {
        study.sections.push_back({headings.cell(i).toText(), {}});
    }
    const Value names = stored.field("rowNames");
    const std::vector<double> numbers = rows.toDoubles();
    if (study.pairs.size() != saved.grid.coefficients.size() * saved.grid.data.size() ||
        numbers.size() != names.numberOfElements() * kColumns) {
        refuse();
    }
    for (std::size_t i = 0; i < names.numberOfElements(); ++i) {
        const double kind = numbers[i * kColumns];
        const Row row = rowOf(names.cell(i).toText(), &numbers[i * kColumns]);
        if (kind == kMeasured) {
            study.measured.push_back(row);
        } else if (kind == kTapByTap) {
            study.tapByTap = row.outcome;
        } else if (kind == kChosen) {
            study.centre = row.outcome.arithmetic;
            if (stored.field("isChosen").toBool()) {
                study.chosen = row;
            }
        } else if (kind >= 1.0 && kind <= static_cast<double>(study.sections.size())) {
            study.sections[static_cast<std::size_t>(kind) - 1].rows.push_back(row);
        } else {
            refuse();
        }
    }
    if (study.chosen) {
        study.chosen->outcome.values = variables[2].value.get("double").toDoubles();
    }
    return saved;
}

}  // namespace filterstudy
