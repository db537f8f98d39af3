// Logs and what is made of them.
#include <pybind11/stl.h>

#include <sstream>

#include "guard.h"

namespace tolvane::python {

namespace {

/// A log that is stopped when its `with` ends, and keeps what it has.
class Recording {
 public:
    Recording(bool histogram, bool errors, bool samples, bool isDoubles) : mIsOverriding(isDoubles) {
        log_options options;
        options.histogram = histogram;
        options.errors = errors;
        options.samples = samples;
        options.formats = isDoubles ? override::doubles : override::inherit;
        mLog = std::make_unique<fixed_log>(std::move(options));
        *mOverrides += mIsOverriding ? 1 : 0;
    }
    ~Recording() { stop(); }
    Recording(const Recording&) = delete;
    Recording& operator=(const Recording&) = delete;

    void stop() {
        if (mIsRunning) {
            mIsRunning = false;
            mLog->stop();
            *mOverrides -= mIsOverriding ? 1 : 0;
        }
    }
    const fixed_log& log() const { return *mLog; }
    fixed_log& log() { return *mLog; }

 private:
    std::unique_ptr<fixed_log> mLog;
    std::shared_ptr<int> mOverrides = overridesOfThread();
    bool mIsOverriding;
    bool mIsRunning = true;
};

py::tuple rangePairs(const value_range& range) {
    return py::make_tuple(pairOf(range.least), pairOf(range.greatest));
}

py::dict recordOf(const place_record& place) {
    py::dict record;
    record["name"] = place.name;
    record["format"] = place.format;
    record["before"] = rangePairs(place.before);
    record["after"] = rangePairs(place.after);
    record["values"] = place.values;
    record["overflows"] = place.overflows;
    record["underflows"] = place.underflows;
    record["bits_needed"] = place.bits_needed;
    record["bits_to_spare"] = place.bits_to_spare();
    record["file"] = place.file;
    record["line"] = place.line;
    record["overflow_file"] = place.overflow_file;
    record["overflow_line"] = place.overflow_line;
    if (place.histogram) {
        py::dict powers;
        for (const auto& [exponent, counts] : place.histogram->powers) {
            powers[py::int_(exponent)] = py::make_tuple(counts.positive, counts.negative);
        }
        record["histogram"] = py::make_tuple(place.histogram->zeros, powers);
    } else {
        record["histogram"] = py::none();
    }
    if (place.errors) {
        record["errors"] = py::make_tuple(pairOf(place.errors->greatest), pairOf(place.errors->sum),
                                          pairOf(place.errors->squares), pairOf(place.errors->signal_squares));
    } else {
        record["errors"] = py::none();
    }
    return record;
}

std::vector<double> doublesOf(const std::vector<exact_value>& values) {
    std::vector<double> doubles;
    doubles.reserve(values.size());
    for (const exact_value& value : values) {
        doubles.push_back(value.to_double());
    }
    return doubles;
}

template <class T>
std::string textOf(const T& table) {
    std::ostringstream out;
    out << table;
    return out.str();
}

}  // namespace

void bindLogs(py::module_& module) {
    py::class_<Recording>(module, "Recording")
        .def(py::init<bool, bool, bool, bool>())
        .def("stop", &Recording::stop)
        .def("clear", [](Recording& r) { r.log().clear(); })
        .def("report", [](const Recording& r) { return r.log().report(); })
        .def("csv", [](const Recording& r) { return r.log().csv(); })
        .def("json", [](const Recording& r) { return r.log().json(); })
        .def("samples",
             [](const Recording& r, const std::string& name) {
                 const place_samples samples = samples_of(r.log(), name);
                 return py::make_tuple(memoryOf(doublesOf(samples.before)), memoryOf(doublesOf(samples.after)));
             })
        .def("place", [](const Recording& r, const std::string& name) { return recordOf(r.log().place(name)); })
        .def("places", [](const Recording& r) {
            py::list records;
            for (const place_record& place : r.log().places()) {
                records.append(recordOf(place));
            }
            return records;
        });
    module.def("propose", [](const Recording& r, const std::string& keep, int margin) {
        if (keep != "length" && keep != "fraction") {
            throw py::value_error("keep is 'length' or 'fraction', not '" + keep + "'.");
        }
        const auto rule = keep == "length" ? proposal_rule::keep_length : proposal_rule::keep_fraction;
        const std::vector<format_proposal> proposals = propose(r.log(), {.rule = rule, .margin_bits = margin});
        py::list rows;
        for (const format_proposal& row : proposals) {
            rows.append(py::make_tuple(row.place, row.current, row.proposed));
        }
        return py::make_tuple(rows, textOf(proposals));
    });
    module.def("compare", [](const Recording& r, const Recording& reference) {
        const std::vector<place_comparison> comparisons = compare(r.log(), reference.log());
        py::list rows;
        for (const place_comparison& row : comparisons) {
            rows.append(py::make_tuple(
                row.place, row.format, row.noise, row.signal, row.ratio_db, row.overflows, rangePairs(row.before),
                row.is_in_reference ? py::object(rangePairs(row.reference_before)) : py::none()));
        }
        return py::make_tuple(rows, textOf(comparisons));
    });
    module.def("explain", [](const Recording& r, const Recording& reference) {
        const std::vector<place_explanation> explanations = explain(r.log(), reference.log());
        py::list rows;
        for (const place_explanation& row : explanations) {
            rows.append(py::make_tuple(row.place, row.format, row.is_matched, row.signal, row.arrived, row.added,
                                       row.total, row.added_db, row.total_db, row.values, row.overflows,
                                       row.bits_needed, row.bits_to_spare, row.file, row.line));
        }
        return py::make_tuple(rows, textOf(explanations));
    });
    module.def("differences", [](const Recording& a, const Recording& b) {
        const std::vector<place_difference> found = differences(a.log(), b.log());
        py::list rows;
        for (const place_difference& row : found) {
            rows.append(py::make_tuple(row.place, row.values, row.other_values, row.differences, row.first,
                                       pairOf(row.one), pairOf(row.other), pairOf(row.greatest), row.file, row.line));
        }
        return py::make_tuple(rows, textOf(found));
    });
    module.def("signal_to_noise_db",
               [](const fixed_array& reference, const fixed_array& x) { return signal_to_noise_db(reference, x); });
    module.def("signal_to_noise_of_doubles_db", [](py::handle reference, const fixed_array& x) {
        const Bytes bytes(reference);
        const auto values = bytes.as<double>();
        return signal_to_noise_db({values.begin(), values.end()}, x);
    });
}

}  // namespace tolvane::python
