// The interface for programs.
#include <fstream>
#include <memory>
#include <optional>
#include <sstream>
#include <tuple>

#include "program/tolvane.h"
#include "tests/faults/operation.h"

namespace faults {

namespace {

using namespace tolvane;

// Texts of values.

std::string told(const std::vector<bool>& values);
std::string told(const filter_state& state);
template <class T>
std::string told(const std::vector<T>& values);
template <class T>
std::string told(const std::optional<T>& value);
template <class T>
std::string told(const std::unique_ptr<T>& value);
template <class... Parts>
std::string told(const std::tuple<Parts...>& parts);

std::string told(const std::string& text) {
    return text;
}
std::string told(bool value) {
    return value ? "yes" : "no";
}
template <class Number>
requires std::is_arithmetic_v<Number> std::string told(Number value) {
    std::ostringstream out;
    out.precision(17);
    out << value;
    return out.str();
}
std::string told(const exact_value& value) {
    std::string text = value.is_negative() ? "-" : "";
    for (const std::uint64_t limb : value.magnitude()) {
        text += std::to_string(limb) + ".";
    }
    return text + "p" + std::to_string(value.exponent());
}
std::string told(std::strong_ordering order) {
    return order < 0 ? "less" : order > 0 ? "greater" : "equal";
}
std::string told(const fixed_array& x) {
    std::ostringstream out;
    out << x.type().text() << " \"" << x.name() << "\"";
    for (const std::size_t size : x.shape()) {
        out << " " << size;
    }
    for (const std::uint64_t limb : limbs_of(x)) {
        out << " " << limb;
    }
    if (x.is_complex()) {
        out << " and";
        for (const std::uint64_t limb : imag_limbs_of(x)) {
            out << " " << limb;
        }
    }
    return out.str();
}
std::string told(const float_array& x) {
    std::ostringstream out;
    out << x.type() << " " << x.name();
    for (const std::size_t size : x.shape()) {
        out << " " << size;
    }
    for (const std::uint64_t word : x.words()) {
        out << " " << word;
    }
    return out.str();
}
std::string told(const fixed_format& format) {
    return format.text() + " " + format.name();
}
std::string told(const fixed_scalar& x) {
    return told(x.format()) + told(x.value());
}
std::string told(const fixed_log& log) {
    return log.json() + log.csv();
}
template <class T>
std::string told(const std::vector<T>& values) {
    std::string text = "{";
    for (const T& value : values) {
        text += told(value) + ", ";
    }
    return text + "}";
}
std::string told(const std::vector<bool>& values) {
    std::string text;
    for (const bool value : values) {
        text += value ? '1' : '0';
    }
    return text;
}
std::string told(const filter_state& state) {
    std::string text;
    for (const section_state& section : state.sections) {
        text += told(section.a) + told(section.b);
    }
    return text;
}
template <class T>
std::string told(const std::optional<T>& value) {
    return value ? told(*value) : "none";
}
template <class T>
std::string told(const std::unique_ptr<T>& value) {
    return value ? told(*value) : "none";
}
template <class... Parts>
std::string told(const std::tuple<Parts...>& parts) {
    return std::apply([](const auto&... part) { return (told(part) + ...); }, parts);
}

/// What operations work on; all arrays of one length of words.
struct Operands {
    int bits = 16;
    fixed_array x, y, m, n, taps, z;  // z is complex, m and n are matrices that can be multiplied
    float_array f, g;
    std::vector<std::string> hex, decimal;
    std::string text;
    std::shared_ptr<Folder> files = std::make_shared<Folder>();
    std::string folder = files->path();
    filter_state state;
    fixed_scalar scalar{fixed_format("s16,12", "scalar")};
    exact_value value, other;
    std::unique_ptr<fixed_log> log;

    fixed_format half(const char* name) const {
        return {sfix(bits, bits / 2), rounding::convergent, overflow::wrap, name};
    }
};

std::string told(const Operands& operands) {
    return told(std::tie(operands.x, operands.y, operands.m, operands.n, operands.taps, operands.z, operands.f,
                         operands.g, operands.state, operands.scalar, operands.value, operands.log)) +
           operands.files->text();
}

/// Pseudo-random words that fill their type.
fixed_array words(const fixed_type& type, const array_shape& shape, std::uint64_t seed, const char* name) {
    std::size_t count = 1;
    for (const std::size_t size : shape) {
        count *= size;
    }
    std::vector<exact_value> values;
    for (std::size_t i = 0; i < count; ++i) {
        std::vector<std::uint64_t> limbs;
        for (int bit = 0; bit < type.bits; bit += 64) {
            seed = seed * 6364136223846793005ULL + 1442695040888963407ULL;
            limbs.push_back(seed ^ (seed >> 29));
        }
        const int spare = static_cast<int>(limbs.size()) * 64 - type.bits;
        limbs.back() =
            spare == 0 ? limbs.back() : static_cast<std::uint64_t>(static_cast<std::int64_t>(limbs.back()) >> spare);
        values.push_back(exact_value::from_words(limbs.data(), limbs.size(), true, -type.fraction));
    }
    return fixed_array(values, fixed_format(type), name).reshaped(shape);
}

struct Kind {
    const char* name;
    int bits;
    bool isLogged;
};

Operands operandsOf(const Kind& kind) {
    set_most_bits(70000);
    Operands made;
    made.bits = kind.bits;
    const fixed_type type = sfix(kind.bits, kind.bits - 2);
    made.x = words(type, {12}, 1, "x");
    made.y = words(type, {12}, 2, "y");
    made.m = words(type, {3, 4}, 3, "m");
    made.n = words(type, {4, 2}, 4, "n");
    made.taps = words(type, {3}, 5, "taps");
    made.z = complex_of(made.x, made.y);
    made.f = float_array({0.1, -7.5, 3e9}, float_format("fp32"));
    made.g = float_array({1.5, 2.25, 1e-9}, float_format("fp32"));
    made.hex = to_hex(made.x);
    made.decimal = to_decimal(made.x);
    made.text = words_text(made.x);
    made.scalar = 0.7;
    made.value = made.x.at(0);
    made.other = made.y.at(1);
    std::ofstream(made.folder + "/old.hex") << made.text;
    std::ofstream(made.folder + "/old.h") << "int old;\n";
    made.files->keep();
    if (kind.isLogged) {
        log_options options;
        options.histogram = true;
        options.errors = true;
        made.log = std::make_unique<fixed_log>(options);
        static_cast<void>(cast(made.x, made.half("earlier")));
    }
    return made;
}

template <class Run>
class ProgramState : public State {
 public:
    using Result = std::invoke_result_t<Run, Operands&>;
    ProgramState(Operands operands, Run run) : mOperands(std::move(operands)), mRun(std::move(run)) {}
    void reset() override { mOperands.files->reset(); }
    void run() override { mResult.emplace(mRun(mOperands)); }
    std::string result() override { return told(mResult); }
    void drop() override { mResult.reset(); }
    std::string operands() override { return told(mOperands); }
    bool mayRaise(const std::string& id) const override { return id == "std::bad_alloc"; }

 private:
    Operands mOperands;
    Run mRun;
    std::optional<Result> mResult;
};

constexpr Kind kKinds[] = {{"16 bits", 16, false}, {"100 bits, logged", 100, true}, {"16000 bits", 16000, false}};

class Table {
 public:
    /// Rows of several operations may fail after the first, which a log knows by then.
    template <class Run>
    void addSeveral(const char* name, Run run) {
        add(name, run, false);
    }
    template <class Run>
    void add(const char* name, Run run, bool mayBeLogged = true) {
        for (const Kind& kind : kKinds) {
            if (kind.isLogged && !mayBeLogged) {
                continue;
            }
            rows.push_back(
                {"program", std::string(name) + ", " + kind.name, [kind, run](std::uint64_t) -> std::unique_ptr<State> {
                     return std::make_unique<ProgramState<Run>>(operandsOf(kind), run);
                 }});
        }
    }
    Operations rows;
};

std::string printed(const auto& value) {
    std::ostringstream out;
    // Otherwise a stream that finds no memory leaves out what is missing.
    out.exceptions(std::ios::badbit);
    out << value;
    return out.str();
}

const std::vector<bool> kMask = {true, false, true, true, false, true, true, false, true, true, false, true};

}  // namespace

Operations programOperations() {
    Table table;
    using O = Operands&;
    // clang-format off
    // Arrays and exact arithmetic
    table.add("array of doubles", [](O o) { return fixed_array(std::vector<double>{0.1, -0.9, 0.3}, o.half("doubles")); });
    table.add("array of integers", [](O o) { return fixed_array(std::vector<int>{0, -1, 7}, o.half("integers")); });
    table.add("array of exact values", [](O o) { return fixed_array(std::vector<exact_value>{o.value, o.other}, o.half("exact")); });
    table.add("array of complex numbers", [](O o) { return fixed_array(std::vector<std::complex<double>>{{0.1, -0.9}}, o.half("complex")); });
    table.add("from words", [](O) { return fixed_array::from_words(std::vector<std::int64_t>{1, -2, 3}, sfix(16, 15)); });
    table.add("copy and rename", [](O o) { return o.x.named("a name that is longer than a short one"); });
    table.add("reshape", [](O o) { return o.x.reshaped({2, 6}); });
    table.add("at", [](O o) { return o.x.at(3); });
    table.add("real and imag", [](O o) { return std::tuple(o.z.real(), o.z.imag()); });
    table.add("to_doubles", [](O o) { return o.x.to_doubles(); });
    table.add("negate", [](O o) { return -o.x; });
    table.add("plus", [](O o) { return o.x + o.y; });
    table.add("plus, broadcast", [](O o) { return o.m + o.m.reshaped({3, 1, 4}); });
    table.add("minus, complex", [](O o) { return o.z - o.x; });
    table.add("times", [](O o) { return o.x * o.y; });
    table.add("times, complex", [](O o) { return o.z * o.z; });
    table.add("times a constant", [](O o) { return 0.75 * o.x + 3; });
    table.add("+=", [](O o) { o.x += o.y; return o.x; });
    table.add("*= a constant", [](O o) { o.x *= 0.5; return o.x; });
    table.add("abs", [](O o) { return abs(o.x); });
    table.add("scaled", [](O o) { return scaled(o.x, 3); });
    table.add("divide", [](O o) { return divide(o.x, o.y, o.half("quotient")); });
    table.add("cast", [](O o) { return cast(o.x, o.half("cast")); });
    table.add("cast, complex", [](O o) { return cast(o.z, o.half("cast")); });
    table.add("cast, stochastic", [](O o) { return cast(o.x, fixed_format(sfix(8, 6), rounding::jam, overflow::saturate, "jam")); });
    table.add("sum", [](O o) { return sum(o.x); });
    table.add("sum through places", [](O o) { return sum(o.m, 1, {.product = std::nullopt, .sum = o.half("sum")}); });
    table.add("cumsum", [](O o) { return cumsum(o.x, o.half("cumsum")); });
    table.add("dot", [](O o) { return dot(o.x, o.y, {.product = o.half("product"), .sum = o.half("sum")}); });
    table.add("conv", [](O o) { return conv(o.x, o.taps); });
    table.add("conv through places", [](O o) { return conv(o.x, o.taps, {.product = o.half("product"), .sum = o.half("sum")}); });
    table.add("matmul", [](O o) { return matmul(o.m, o.n); });
    table.add("matmul through places", [](O o) { return matmul(o.m, o.n, {.product = std::nullopt, .sum = o.half("sum")}); });
    table.add("mean", [](O o) { return mean(o.x, o.half("mean")); });
    table.add("==", [](O o) { return o.x == o.y; });
    table.add("compare", [](O o) { return std::tuple(is_less(o.x, o.y), is_equal(o.x, 0.5)); });
    table.add("max and min", [](O o) { return std::tuple(max(o.x), min(o.m, 0), argmax(o.m, 1)); });
    table.add("sort", [](O o) { return std::tuple(sort(o.x), argsort(o.x)); });
    table.addSeveral("maximum and clip", [](O o) { return std::tuple(maximum(o.x, o.y), clip(o.x, -0.5, 0.5)); });
    table.add("find", [](O o) { return std::tuple(find(o.x), argwhere(o.m), any_of(o.m, 0)); });
    table.add("where", [](O o) { return where(kMask, o.x, o.y); });
    table.addSeveral("round", [](O o) { return std::tuple(round(o.x), floor(o.x), sign(o.x)); });
    table.add("sqrt", [](O o) { return sqrt(abs(o.x), o.half("root")); });
    table.add("power", [](O o) { return power(o.x, 3); });
    table.add("conj", [](O o) { return conj(o.z); });
    // Shapes
    table.addSeveral("full, ones, arange", [](O o) { return std::tuple(full({2, 2}, o.value, o.half("full")), ones({3}, o.half("ones")), arange(0.0, 1.0, 0.25, o.half("range"))); });
    table.addSeveral("sliced, take, masked", [](O o) { return std::tuple(take(o.x, index_list{1, 3, 3}), take(o.m, index_list{0, 2}, 0), masked(o.x, kMask)); });
    table.add("put", [](O o) { put(o.x, index_list{1, 5}, o.taps.reshaped({3}).type() == o.x.type() ? take(o.taps, index_list{0, 1}) : o.x); return o.x; });
    table.add("put_mask", [](O o) { put_mask(o.x, kMask, o.y); return 0; });
    table.add("transpose, permute, flip, repeat, diag", [](O o) { return std::tuple(transpose(o.m), permute(o.m, {1, 0}), flip(o.x), repeat(o.m, 2, 0), diag(o.m)); });
    table.addSeveral("concatenate, stacked, broadcast_to", [](O o) { return std::tuple(concatenate({o.x, o.taps}), stacked({o.x, o.y}, 1), broadcast_to(o.m, {2, 3, 4})); });
    // Bits
    table.add("bitwise", [](O o) { return std::tuple(and_bits(o.x, o.y), or_bits(o.x, o.y), xor_bits(o.x, o.y), not_bits(o.x)); });
    table.add("slices of bits", [](O o) { return std::tuple(slice_bits(o.x, 9, 2), concat_bits(o.x, o.y), get_bit(o.x, 3), set_bit(o.x, 3)); });
    table.addSeveral("shifts", [](O o) { return std::tuple(shift_left(o.x, 2), shift_right(o.x, 2), rotate_bits(o.x, 5), shift_left(o.x, 1, o.half("shift"))); });
    table.add("counts of bits", [](O o) { return std::tuple(leading_zeros(o.x), count_ones(o.x), trailing_zeros(o.x)); });
    table.add("reinterpret", [](O o) { return reinterpret(o.x, ufix(o.bits, 0)); });
    // Exact values
    table.add("exact sum", [](O o) { return o.value + o.other; });
    table.add("exact product", [](O o) { return o.value * o.other; });
    table.add("exact order", [](O o) { return o.value <=> o.other; });
    table.add("exact text", [](O o) { return o.value.text(); });
    table.add("exact value of a text", [](O o) { return exact_value(o.decimal[1]); });
    table.add("double of an exact value", [](O o) { return o.value.to_double(); });
    // Texts and files
    table.add("to_hex, to_bin, to_oct", [](O o) { return std::tuple(to_hex(o.x), to_bin(o.x), to_oct(o.x)); });
    table.add("to_decimal", [](O o) { return to_decimal(o.x); });
    table.add("from_hex", [](O o) { return from_hex(o.hex, fixed_format(o.x.type())); });
    table.add("from_decimal", [](O o) { return from_decimal(o.decimal, o.half("decimal")); });
    table.add("print", [](O o) { return printed(o.x); });
    table.add("format of a text", [](O) { return fixed_format("s24,20 convergent saturate", "a name that is longer than a short one"); });
    table.add("write_words, hex", [](O o) { write_words(o.folder + "/old.hex", o.x); return 0; });
    table.add("write_words, header", [](O o) { write_words(o.folder + "/old.h", o.x); return 0; });
    table.add("words_text, csv", [](O o) { return words_text({o.x, o.y}, {.style = word_style::csv}); });
    table.add("words_text, bin with values", [](O o) { return words_text(o.z, {.style = word_style::memory_bin, .values = true}); });
    table.add("read_words", [](O o) { return read_words(o.folder + "/old.hex", std::vector<word_signal>{{fixed_format(o.x.type())}}); });
    table.add("words_from_text", [](O o) { return words_from_text(o.text, std::vector<word_signal>{{fixed_format(o.x.type())}}); });
    // Scalars
    table.addSeveral("scalar expressions", [](O o) { o.scalar = o.scalar * 0.5 + o.x[2]; return o.scalar.value(); });
    table.addSeveral("long scalar", [](O o) { fixed_scalar s(o.half("long scalar")); s = o.x[1] * o.y[2] + o.scalar; s += 1; return s.value(); });
    table.addSeveral("quotient of scalars", [](O o) { o.scalar.set_quotient(o.scalar, o.x[3]); return 0; });
    // Floats
    table.addSeveral("cast to floats and back", [](O o) { const float_array f = cast(o.x, float_format("bf16")); return std::tuple(f, cast(f, o.half("back"))); });
    table.addSeveral("arithmetic of floats", [](O o) { return std::tuple(o.f + o.g, multiply(o.f, o.g, float_format("fp16")), multiply_add(o.f, o.g, o.f, float_format("fp32")), less(o.f, o.g)); });
    table.add("print floats", [](O o) { return printed(o.f) + printed(float_format("e5m2 toward_zero")); });
    // Filters
    table.add("lfilter", [](O o) { return lfilter({0.5, 0.25}, {1.0, -0.5}, o.x, {.coefficients_b = fixed_format("s16,14"), .coefficients_a = fixed_format("s16,14"), .sum_a = o.half("sum_a")}); });
    table.add("lfilter with states", [](O o) { return lfilter({0.5, 0.25}, {1.0, -0.5}, o.x, o.state, {.form = filter_form::transposed2, .coefficients_b = fixed_format("s16,14"), .coefficients_a = fixed_format("s16,14"), .state = o.half("state"), .section_output = o.half("out")}); });
    table.add("sosfilt", [](O o) { return sosfilt({{0.5, 0.25, 0.125, 1.0, -0.5, 0.25}, {0.5, 0.25, 0.0, 1.0, 0.0, 0.0}}, o.x, o.state, {.form = filter_form::direct2, .coefficients_b = fixed_format("s16,14"), .coefficients_a = fixed_format("s16,14"), .state = o.half("state"), .section_output = o.half("out")}); });
    // Logs
    table.addSeveral("life of a log", [](O o) { fixed_log log({.histogram = true, .errors = true}); static_cast<void>(cast(o.x, o.half("in a log"))); return told(log); });
    table.add("report", [](O o) { return o.log ? o.log->report() : ""; });
    table.add("csv and json", [](O o) { return o.log ? o.log->csv() + o.log->json() : ""; });
    table.add("propose and compare", [](O o) { return o.log ? printed(propose(*o.log)) + printed(compare(*o.log, *o.log)) : ""; });
    table.add("signal to noise", [](O o) { return signal_to_noise_db(o.x, o.y); });
    // clang-format on
    return table.rows;
}

}  // namespace faults
