// Access to elements of an array through a session, slices, and words as text, against loops written by hand.
//
// Cases and variants:
//     scalar read       session: a(i) by one subscript; baseline: the same on a plain array of the host
//     scalar write      session: a(i) = x in place
//     hex text 100000   hand: the digits of s16 words from an array of doubles into a fresh char array, as a column or
//     a
//                       row; fi: num2base; session: the method "hex"
//     hex words 100000  hand: the same text read into a fresh array of doubles; fi: base2num
//     slice 1000000     copy: doubles copied by an index vector of doubles into the same memory again and again; fresh:
//                       into memory fresh from the system; session: the same of a fi array, and host: of a plain array
// Before a variant is timed its result is compared with the baseline's.
#include <benchmark/benchmark.h>
#include <sys/mman.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <random>
#include <vector>

#include "benchmarks/ratio_report.h"
#include "fi/fi.h"
#include "host/reference/Session.h"

namespace {

using hostref::paren;
using hostref::Session;
using hostref::Value;

constexpr std::size_t kCount = 1000000;

/// A session with an array of a given length and the numbers 0, 1/2^15, ... in it.
struct Setting {
    explicit Setting(std::size_t count) : numbers(count) {
        for (std::size_t i = 0; i < count; ++i) {
            numbers[i] = static_cast<double>(i % 32768) / 32768.0;
        }
        plain = Value(numbers);
        array = session.construct("embedded.fi", {plain});
    }

    Session session;
    std::vector<double> numbers;
    Value plain;
    Value array;
};

std::vector<double> shuffledPlaces() {
    std::vector<double> places(kCount);
    std::mt19937 random(1);
    std::uniform_int_distribution<std::size_t> any(1, kCount);
    // Mostly rising, like masks and ranges, with occasional jumps.
    for (std::size_t i = 0; i < kCount; ++i) {
        places[i] = static_cast<double>(i % 64 == 0 ? any(random) : i + 1);
    }
    return places;
}

void readScalar(benchmark::State& state, bool isFi) {
    Setting setting(1000);
    const Value subject = isFi ? setting.array : setting.plain;
    const hostref::Subscript step = paren(500);
    const Value got = setting.session.index(subject, {step});
    if ((isFi ? got.get("double") : got).toDouble() != setting.numbers[499]) {
        state.SkipWithError("wrong element");
    }
    for (auto iteration : state) {
        (void)iteration;
        benchmark::DoNotOptimize(setting.session.index(subject, {step}));
    }
    finish(state, 1);
}

void writeScalar(benchmark::State& state, bool isFi) {
    Setting setting(1000);
    Value subject = isFi ? setting.array : setting.plain;
    const hostref::Subscript step = paren(500);
    const Value right = 0.25;
    for (auto iteration : state) {
        (void)iteration;
        subject = setting.session.assign(subject, {step}, right);
    }
    if ((isFi ? subject.get("double") : subject).toDoubles()[499] != 0.25) {
        state.SkipWithError("nothing written");
    }
    finish(state, 1);
}

void slice(benchmark::State& state, bool isFi) {
    Setting setting(kCount);
    const std::vector<double> places = shuffledPlaces();
    const Value subject = isFi ? setting.array : setting.plain;
    const hostref::Subscript step = paren(places);
    const Value got = setting.session.index(subject, {step});
    const std::vector<double> elements = (isFi ? got.get("double") : got).toDoubles();
    for (std::size_t i = 0; i < kCount; ++i) {
        if (elements[i] != setting.numbers[static_cast<std::size_t>(places[i]) - 1]) {
            state.SkipWithError("wrong elements");
            break;
        }
    }
    for (auto iteration : state) {
        (void)iteration;
        benchmark::DoNotOptimize(setting.session.index(subject, {step}));
    }
    finish(state, kCount);
}

/// New memory from the system, not from the allocator's cache.
struct FreshMemory {
    FreshMemory()
        : memory(mmap(nullptr, kCount * sizeof(double), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0)) {}
    FreshMemory(const FreshMemory&) = delete;
    FreshMemory& operator=(const FreshMemory&) = delete;
    ~FreshMemory() { munmap(memory, kCount * sizeof(double)); }

    void* memory;
};

void copyByPlaces(benchmark::State& state, bool isFresh) {
    const Setting setting(kCount);
    const std::vector<double> places = shuffledPlaces();
    const double* const source = setting.numbers.data();
    std::vector<double> own(isFresh ? 0 : kCount);
    const auto copyInto = [&](double* out) {
        for (std::size_t i = 0; i < kCount; ++i) {
            out[i] = source[static_cast<std::size_t>(places[i]) - 1];
        }
        benchmark::DoNotOptimize(out);
        benchmark::ClobberMemory();
    };
    for (auto iteration : state) {
        (void)iteration;
        if (!isFresh) {
            copyInto(own.data());
        } else if (const FreshMemory fresh; fresh.memory != MAP_FAILED) {
            copyInto(static_cast<double*>(fresh.memory));
        }
    }
    finish(state, kCount);
}

constexpr std::size_t kWordCount = 100000;
constexpr std::size_t kDigits = 4;
constexpr std::size_t kBlockWidth = kDigits + 3;

/// Words of s16,15 in a column or a row.
struct Words {
    explicit Words(bool isRow)
        : rows(isRow ? 1 : kWordCount), textColumns((isRow ? kWordCount : 1) * kBlockWidth - 3), values(kWordCount) {
        for (std::size_t i = 0; i < kWordCount; ++i) {
            values[i] = (static_cast<double>(i * 40503 % 65536) - 32768.0) / 32768.0;
        }
        const std::uint64_t sizes[] = {rows, kWordCount / rows};
        array = std::make_unique<fi>(values.data(), sizes, 2, fi::NumericType(true, 16, 15), fimath(), "", true,
                                     embedded::OperationTypeEnum::Assignment);
    }

    std::size_t rows;
    std::size_t textColumns;
    std::vector<double> values;
    std::unique_ptr<fi> array;
};

hvArrayOwner handHex(const Words& words) {
    const std::size_t sizes[] = {words.rows, words.textColumns};
    hvArrayOwner text(hvCreateCharArray(2, sizes));
    hvChar* const out = hvGetTypedData<hvChar>(text.get()).data();
    for (std::size_t i = 0; i < kWordCount; ++i) {
        const auto word = static_cast<std::uint16_t>(static_cast<int>(words.values[i] * 32768.0));
        const std::size_t row = i % words.rows;
        const std::size_t column = i / words.rows * kBlockWidth;
        for (std::size_t k = 0; k < kDigits; ++k) {
            out[row + (column + k) * words.rows] =
                static_cast<hvChar>("0123456789abcdef"[word >> (4 * (kDigits - 1 - k)) & 15]);
        }
        for (std::size_t k = kDigits; k < kBlockWidth && column + k < words.textColumns; ++k) {
            out[row + (column + k) * words.rows] = u' ';
        }
    }
    return text;
}

std::vector<double> handWords(const Words& words, const hvArray* text) {
    std::vector<double> values(kWordCount);
    const hvChar* const in = hvGetTypedData<hvChar>(text).data();
    for (std::size_t i = 0; i < kWordCount; ++i) {
        unsigned word = 0;
        for (std::size_t k = 0; k < kDigits; ++k) {
            const unsigned c = in[i % words.rows + (i / words.rows * kBlockWidth + k) * words.rows];
            word = word * 16 + (c <= '9' ? c - '0' : c - 'a' + 10);
        }
        values[i] = static_cast<double>(static_cast<std::int16_t>(word)) / 32768.0;
    }
    return values;
}

enum class TextWay { hand, fi, session };

void writeHex(benchmark::State& state, bool isRow, TextWay way) {
    const Words words(isRow);
    Session session;
    const Value object =
        session.construct("embedded.fi", {Value::matrix(words.rows, kWordCount / words.rows, words.values)});
    const Value wanted(handHex(words));
    const auto run = [&] {
        switch (way) {
            case TextWay::hand:
                return Value(handHex(words));
            case TextWay::fi:
                return Value(hvArrayOwner(words.array->num2base(16)));
            case TextWay::session:
                break;
        }
        return session.call("hex", {object});
    };
    if (!(run() == wanted)) {
        state.SkipWithError("wrong text");
    }
    for (auto iteration : state) {
        (void)iteration;
        benchmark::DoNotOptimize(run());
    }
    finish(state, kWordCount);
}

void readHex(benchmark::State& state, bool isRow, TextWay way) {
    const Words words(isRow);
    const hvArrayOwner text = handHex(words);
    if (handWords(words, text.get()) != words.values) {
        state.SkipWithError("wrong words by hand");
    }
    words.array->base2num(text.get(), 16);
    for (std::size_t i = 0; i < kWordCount; ++i) {
        if (words.array->realdouble(i) != words.values[i]) {
            state.SkipWithError("wrong words");
            break;
        }
    }
    for (auto iteration : state) {
        (void)iteration;
        if (way == TextWay::hand) {
            benchmark::DoNotOptimize(handWords(words, text.get()));
        } else {
            words.array->base2num(text.get(), 16);
        }
    }
    finish(state, kWordCount);
}

void registerAll() {
    const auto add = [](const char* name, auto run) {
        benchmark::RegisterBenchmark(name, run)->MinTime(0.1)->Repetitions(3);
    };
    add("scalar read/host", [](benchmark::State& s) { readScalar(s, false); });
    add("scalar read/session", [](benchmark::State& s) { readScalar(s, true); });
    add("scalar write/host", [](benchmark::State& s) { writeScalar(s, false); });
    add("scalar write/session", [](benchmark::State& s) { writeScalar(s, true); });
    add("slice 1000000/copy", [](benchmark::State& s) { copyByPlaces(s, false); });
    add("slice 1000000/fresh", [](benchmark::State& s) { copyByPlaces(s, true); });
    add("slice 1000000/session", [](benchmark::State& s) { slice(s, true); });
    add("slice 1000000/host", [](benchmark::State& s) { slice(s, false); });
    add("hex text 100000 column/hand", [](benchmark::State& s) { writeHex(s, false, TextWay::hand); });
    add("hex text 100000 column/fi", [](benchmark::State& s) { writeHex(s, false, TextWay::fi); });
    add("hex text 100000 column/session", [](benchmark::State& s) { writeHex(s, false, TextWay::session); });
    add("hex text 100000 row/hand", [](benchmark::State& s) { writeHex(s, true, TextWay::hand); });
    add("hex text 100000 row/fi", [](benchmark::State& s) { writeHex(s, true, TextWay::fi); });
    add("hex text 100000 row/session", [](benchmark::State& s) { writeHex(s, true, TextWay::session); });
    add("hex words 100000 column/hand", [](benchmark::State& s) { readHex(s, false, TextWay::hand); });
    add("hex words 100000 column/fi", [](benchmark::State& s) { readHex(s, false, TextWay::fi); });
    add("hex words 100000 row/hand", [](benchmark::State& s) { readHex(s, true, TextWay::hand); });
    add("hex words 100000 row/fi", [](benchmark::State& s) { readHex(s, true, TextWay::fi); });
}

}  // namespace

int main(int argc, char** argv) {
    registerAll();
    return runWithRatios(argc, argv);
}
