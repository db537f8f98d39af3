// The same operations on arrays of words and on the same arrays as floats, which element steps take: values with the
// signs of zeros, sizes, logs, current elements, host arrays, errors and warnings must agree.
//
// An input is a pair of arrays and a program. Both sides run each step on arrays of their own; results may replace
// operands. After each step the arrays of one side are turned into floats again.
#include <algorithm>
#include <cmath>
#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "fi/FiColumnReference.h"
#include "fuzz/fuzz_case.h"
#include "tests/support/arrays.h"
#include "tests/support/errors.h"
#include "tests/support/wide_arrays_of_fi.h"

namespace {

using FiOwner = std::unique_ptr<fi>;

/// What a step sees and makes on one side.
struct Step {
    fi& a;
    fi& b;
    bool isOfFloats;
    FuzzInput input;  // the same on both sides
    const NumericType& type;

    std::vector<FiOwner> made;
    std::vector<hvArrayOwner> arrays;
    std::ostringstream text;

    void keep(fi& array) { made.emplace_back(&array); }
    void keep(fi* array) { made.emplace_back(array); }
    void keep(hvArray* array) { arrays.emplace_back(array); }
    std::uint64_t place(const fi& array) {
        return static_cast<std::uint64_t>(input.between(0, static_cast<int>(array.numel()) - 1));
    }
    /// A double around the range of the operand; at times any.
    double value() {
        const int choice = input.between(0, 19);
        const int top = a.getWordLength() + a.getFixedExponent();
        Random random(input.take<std::uint32_t>());
        return choice == 0   ? random.anyDouble()
               : choice == 1 ? -0.0
               : choice < 6  ? random.real(top - a.getWordLength() - 60, top + 1)
                             : std::ldexp(random.between(-9, 9), a.getFixedExponent());
    }
    std::vector<double> places(std::size_t count, double low, double high) {
        Random random(input.take<std::uint32_t>());
        std::vector<double> all(count);
        double run = 0.0;
        for (double& place : all) {
            // Runs of adjacent places, and jumps.
            run = random.oneIn(5) ? std::floor(low + (high - low + 1) * random.between(0, 999) / 1000.0)
                                  : std::min(run + 1, high);
            place = std::max(run, low);
        }
        return all;
    }
};

enum : unsigned {
    kArithmetic = 1,    // gives the same if doubles are held as floats
    kNeedsFinite = 2,   // is undefined for NaN and infinity
    kMayLeaveGrid = 4,  // leaves values that aren't words of the type
    kReplaces = 8,      // its first result may become an operand
    kWide = 16,         // for words of more than 52 bits
};

struct Row {
    const char* name;
    unsigned flags;
    void (*run)(Step& s);
};

number& entry(fi& array, bool isImaginary, std::uint64_t i) {
    return partOf(array, isImaginary && array.iscomplex())[i];
}

/// Doubles quantized one by one, and by the constructor.
void makeFromDoubles(Step& s) {
    std::vector<double> values(s.a.numel());
    for (double& value : values) {
        const double x = s.value();
        value = std::isfinite(x) ? x : 0.0;
    }
    const fi& a = s.a;
    constexpr auto kAssignment = Operation::Assignment;
    if (!s.isOfFloats) {
        return s.keep(new fi(values.data(), a.dims(), a.ndims(), a.getNumericType(), a.getFimath(), "",
                             a.getFimathIsLocal(), kAssignment));
    }
    FiOwner made(new fi(a.dims(), a.ndims(), a.getNumericType(), a.getFimath(), false, "", a.getFimathIsLocal(),
                        kAssignment, 0U));
    for (std::size_t i = 0; i < values.size(); ++i) {
        number cell(0.0, made->real().getprecision(), false);
        cell.setvalue(values[i]);
        made->real()[i].setvalue(made->getAssignmentQuantizer().quantize(cell));
    }
    // Where the constructor leaves it.
    made->setIndex(
        fi(values.data(), a.dims(), a.ndims(), a.getNumericType(), a.getFimath(), "", a.getFimathIsLocal(), kAssignment)
            .getIndex());
    s.keep(made.release());
}

void extremes(Step& s, void (fi::*find)(fi*&, hvArray*&) const) {
    fi* values = nullptr;
    hvArray* indices = nullptr;
    (s.a.*find)(values, indices);
    s.keep(values);
    s.keep(indices);
}

void setChunks(Step& s) {
    Random random(s.input.take<std::uint32_t>());
    const int count = s.a.numChunks() + s.input.between(0, 1);
    std::vector<std::uint32_t> chunks(s.a.numel() * static_cast<std::size_t>(count) + 1);
    for (std::uint32_t& chunk : chunks) {
        chunk = random.oneIn(3) ? 0 : static_cast<std::uint32_t>(random.word());
    }
    s.a.set32BitChunkIntArray(chunks.data(), chunks.data() + 1, count, true);
}

template <class Use>
void atBits(Step& s, const Use& use) {
    hvArrayOwner bit(hvCreateDoubleScalar(s.input.between(1, s.a.getWordLength() + 1)));
    hvArrayOwner value(hvCreateDoubleScalar(s.input.between(0, 1)));
    if (s.input.between(0, 1) == 0) {
        const auto fill = [&](hvArrayOwner& all, int low, int high) {
            all.reset(hvCreateNumericArray(s.a.ndims(), s.a.dims(), hvDOUBLE_CLASS, hvREAL));
            for (double& x : hvGetTypedData<double>(all.get())) {
                x = s.input.between(low, high);
            }
        };
        fill(bit, 1, s.a.getWordLength());
        fill(value, 0, 1);
    }
    use(bit.get(), value.get());
}

/// A pointer to a float stays valid across operations on the array, and a write through it is seen.
void holdFloat(Step& s) {
    // The parts of an array may be of different kinds.
    mpnumber* const body = entry(s.a, s.input.between(0, 1) != 0, 0).body().asMp();
    if (!body) {
        s.text << "doubles";
        return;
    }
    mpnumber& part = *body;
    const std::uint64_t place = s.place(s.a);
    const bool isWritten = s.input.between(0, 1) != 0;
    mpfr_srcptr const seen = part.getelement(place);
    const mpfr_ptr held = isWritten ? part.getmodifiableelement(place) : nullptr;
    const double before = mpfr_get_d(seen, MPFR_RNDN);
    const fi& a = s.a;
    raisedBy([&] {
        switch (s.input.between(0, 3)) {
            case 0:
                return s.keep(a.plus(s.b));
            case 1:
                return s.keep(a.times(s.b));
            case 2:
                return s.keep(a.lt(s.b));
            default:
                return s.keep(new fi(a));
        }
    });
    s.text << (mpfr_get_d(seen, MPFR_RNDN) == before || std::isnan(before));
    if (isWritten) {
        mpfr_set_d(held, s.value(), MPFR_RNDN);
        raisedBy([&] { s.keep(a.plus(s.b)); });
        s.keep(new fi(a));
    }
}

void throughView(Step& s) {
    const int kind = s.input.between(0, 2);
    FiOwner view;
    if (kind == 0) {
        view = std::make_unique<FiReference>(s.a);
    } else if (kind == 1) {
        view = std::make_unique<FiColumnReference>(s.a, s.place(s.a) / std::max<std::uint64_t>(s.a.getM(), 1));
    } else {
        const std::uint64_t start = s.place(s.a);
        view = std::make_unique<FiColumnReference>(s.a, start, 1 + s.place(s.a) % (s.a.numel() - start));
    }
    s.b.setIndex(s.place(s.b));
    view->setIndex(s.place(*view));
    switch (s.input.between(0, 6)) {
        case 0:
            *view = s.b;
            break;
        case 1:
            *view = s.value();
            break;
        case 2:
            s.keep(view->plus(s.b));
            break;
        case 3:
            s.keep(view->times(s.b));
            break;
        case 4:
            s.keep(view->lt(s.b));
            break;
        case 5:
            s.keep(view->leadingdimension_sum());
            break;
        default:
            s.keep(view->transpose());
    }
    s.keep(new fi(*view));
}

void changeType(Step& s) {
    switch (s.input.between(0, 3)) {
        case 0:
            return s.a.setFractionLength(s.type.getFractionLength());
        case 1:
            return s.a.setSigned(!s.a.isSigned());
        case 2:
            return s.a.setFixedExponent(s.a.getFixedExponent() + s.input.between(-2, 2));
        default:
            s.a.setRoundMode(static_cast<embedded::RoundModeEnum>(s.input.between(0, 5)));
    }
}

void change(Step& s) {
    s.a.setIndex(s.place(s.a));
    s.b.setIndex(s.place(s.b));
    switch (s.input.between(0, 8)) {
        case 0:
            s.a = s.b;
            break;
        case 1:
            s.a = s.value();
            break;
        case 2:
            s.a += s.b;
            break;
        case 3:
            s.a -= s.b;
            break;
        case 4:
            s.a *= s.b;
            break;
        case 5:
            s.keep(new fi(s.a + s.b));
            break;
        case 6:
            s.keep(new fi(s.a * s.b));
            break;
        case 7:
            s.text << (s.a < s.b) << (s.a == s.b) << (s.a >= s.b);
            break;
        default:
            s.keep(new fi(s.a, embedded::CopyElement::tag));
    }
}

/// Stores without the quantizer.
void store(Step& s) {
    for (int left = s.input.between(1, 3); left > 0; --left) {
        const bool isImaginary = s.input.between(0, 2) == 0;
        number& x = entry(s.a, isImaginary, s.place(s.a));
        if (s.input.between(0, 2) == 0) {
            x.setvalue(entry(s.b, isImaginary, s.place(s.b)));
        } else {
            x.setvalue(s.value());
        }
    }
    s.a.setIndex(0);
    s.b.setIndex(0);
}

constexpr unsigned kResult = kArithmetic | kReplaces;
const Row kRows[] = {
    {"plus", kResult, [](Step& s) { s.keep(s.a.plus(s.b)); }},
    {"minus", kResult, [](Step& s) { s.keep(s.a.minus(s.b)); }},
    {"times", kResult, [](Step& s) { s.keep(s.a.times(s.b)); }},
    {"mtimes", kResult, [](Step& s) { s.keep(s.a.mtimes(s.b)); }},
    {"convF", kResult, [](Step& s) { s.keep(s.a.convF(s.b)); }},
    {"convS", kResult, [](Step& s) { s.keep(s.a.convS(s.b)); }},
    {"convV", kResult, [](Step& s) { s.keep(s.a.convV(s.b)); }},
    {"sums", kResult, [](Step& s) { s.keep(s.a.leadingdimension_sum()); }},
    {"over", kResult, [](Step& s) { s.keep(s.a.over(s.b, s.type)); }},
    {"roots", kReplaces,
     [](Step& s) { s.keep(s.input.between(0, 1) == 0 ? s.a.sqrtBisection() : s.a.sqrtBisection(s.type)); }},
    {"from doubles", kReplaces | kWide, makeFromDoubles},
    {"quantize", kReplaces,
     [](Step& s) {
         s.keep(new fi(s.a.dims(), s.a.ndims(), s.type, s.b.getFimath(), s.input.between(0, 1) != 0, "", true,
                       Operation::Assignment, 0U));
         s.made.back()->copydata(s.a);
     }},
    {"copydata", 0, [](Step& s) { s.a.copydata(s.b); }},
    {"quantizeAll", 0, [](Step& s) { s.a.quantizeAll(s.input.between(0, 1) != 0); }},
    {"comparisons", 0,
     [](Step& s) {
         for (const auto compare : {&fi::eq, &fi::ne, &fi::lt, &fi::le, &fi::gt, &fi::ge, &fi::isequal}) {
             s.keep((s.a.*compare)(s.b));
         }
     }},
    {"max", kReplaces, [](Step& s) { s.keep(s.a.max(s.b)); }},
    {"min", kReplaces, [](Step& s) { s.keep(s.a.min(s.b)); }},
    {"max of columns", kReplaces, [](Step& s) { extremes(s, &fi::unary_max); }},
    {"min of columns", kReplaces, [](Step& s) { extremes(s, &fi::unary_min); }},
    {"sort", kNeedsFinite,
     [](Step& s) { s.keep(s.a.stridesort(s.input.between(0, 1) != 0, 1, std::max<std::uint64_t>(s.a.getM(), 1))); }},
    {"negate", kReplaces, [](Step& s) { s.keep(s.a.uminus()); }},
    {"conj", kReplaces, [](Step& s) { s.keep(s.a.conj()); }},
    {"sign", 0, [](Step& s) { s.keep(s.a.sign()); }},
    {"abs", kReplaces, [](Step& s) { s.keep(s.a.realabs()); }},
    {"abs of a type", kReplaces, [](Step& s) { s.keep(s.a.realabs(s.type)); }},
    {"shift", kReplaces,
     [](Step& s) {
         const int k = s.input.between(0, 9) == 0 ? s.input.between(-900, 900) : s.input.between(-70, 70);
         s.keep(s.a.pow2(k, s.input.between(0, 1) != 0));
     }},
    {"stripscaling", kReplaces, [](Step& s) { s.keep(s.a.stripscaling()); }},
    {"reinterpret", kReplaces | kNeedsFinite,
     [](Step& s) {
         s.keep(
             s.a.reinterpretcast(fixedType(s.input.between(0, 1) != 0, s.a.getWordLength(), s.input.between(-9, 99))));
     }},
    {"bitand", kReplaces | kNeedsFinite, [](Step& s) { s.keep(s.a.fibitand(s.b)); }},
    {"bitor", kReplaces | kNeedsFinite, [](Step& s) { s.keep(s.a.fibitor(s.b)); }},
    {"bitxor", kReplaces | kNeedsFinite, [](Step& s) { s.keep(s.a.bitxor(s.b)); }},
    {"bitcmp", kReplaces | kNeedsFinite, [](Step& s) { s.keep(s.a.bitcmp()); }},
    {"bitset", kReplaces | kNeedsFinite,
     [](Step& s) { atBits(s, [&](const hvArray* bit, const hvArray* value) { s.keep(s.a.bitset(bit, value)); }); }},
    {"bitget", kNeedsFinite,
     [](Step& s) { atBits(s, [&](const hvArray* bit, const hvArray*) { s.keep(s.a.bitget(bit)); }); }},
    {"transpose", kReplaces, [](Step& s) { s.keep(s.a.transpose()); }},
    {"ctranspose", kReplaces, [](Step& s) { s.keep(s.a.ctranspose()); }},
    {"diagonals", kReplaces,
     [](Step& s) {
         const double k = s.input.between(-9, 9);
         s.keep(s.a.tril(k));
         s.keep(s.a.triu(k));
         s.keep(s.a.diag(k));
     }},
    {"hankel", 0, [](Step& s) { s.keep(s.a.hankel(s.b)); }},
    {"toeplitz", 0, [](Step& s) { s.keep(s.a.toeplitz(s.b)); }},
    {"parts", kReplaces,
     [](Step& s) {
         s.keep(s.a.getRealFi());
         s.keep(s.a.getImagFi());
         s.keep(s.made.front()->complex(*s.made.back()));
     }},
    {"take", kReplaces,
     [](Step& s) {
         const auto count = static_cast<std::size_t>(s.input.between(1, 90));
         s.keep(s.a.subscriptedReference(
             doubles(count, 1, s.places(count, 0, static_cast<double>(s.a.numel()) - 1)).get()));
     }},
    {"grow", kReplaces,
     [](Step& s) {
         const std::size_t count = s.a.numel() + static_cast<std::size_t>(s.input.between(0, 20));
         s.keep(s.a.subscriptedGrowAssignment(
             doubles(count, 1, s.places(count, -static_cast<double>(s.b.numel()), static_cast<double>(s.a.numel())))
                 .get(),
             s.b));
     }},
    {"overwrite", 0,
     [](Step& s) {
         const std::vector<double> plan =
             s.places(s.a.numel(), -static_cast<double>(s.b.numel()), static_cast<double>(s.a.numel()));
         s.a.subscriptedOverwriteAssignment(doubles(plan.size(), 1, plan).get(), s.b);
     }},
    {"copy", kReplaces, [](Step& s) { s.keep(new fi(s.a)); }},
    {"chunks", kNeedsFinite,
     [](Step& s) {
         for (const auto mode : {fi::IntArrayChunkMode::Natural, fi::IntArrayChunkMode::AlwaysFour}) {
             s.keep(s.a.getIntArray(mode, fi::IntArrayDimensionMode::First));
         }
         s.keep(s.a.getIntHvArray());
     }},
    {"doubles", 0,
     [](Step& s) {
         s.keep(s.a.getDoubleHvArray());
         s.keep(s.a.getSingleHvArray());
     }},
    {"set chunks", kMayLeaveGrid, setChunks},
    {"digits", kNeedsFinite,
     [](Step& s) {
         const int base = s.input.between(2, 18);
         s.keep(s.a.num2base(base));
         s.a.base2num(s.arrays.back().get(), base);
     }},
    {"decimals", kNeedsFinite, [](Step& s) { s.keep(s.a.num2sdec()); }},
    {"element", kMayLeaveGrid, change},
    {"store", kMayLeaveGrid, store},
    {"change of type", kMayLeaveGrid, changeType},
    {"held float", kMayLeaveGrid, holdFloat},
    {"view", kMayLeaveGrid, throughView},
};

NumericType takeType(FuzzInput& input, int most) {
    constexpr int kEdges[] = {53, 63, 64, 65, 96, 127, 128, 129, 160, 192, 256, 257};
    const int kind = input.between(0, 7);
    const int bits = kind < 2   ? input.between(1, 52)
                     : kind < 4 ? kEdges[input.between(0, static_cast<int>(std::size(kEdges)) - 1)]
                     : kind < 6 ? input.between(53, 72)
                                : input.between(53, most);
    const int beyond = input.between(0, 19) == 0 ? input.between(-400, 400) : 0;
    return fixedType(input.between(0, 2) != 0, bits, input.between(-3, bits + 3) + beyond);
}

fimath takeRules(FuzzInput& input) {
    fimath rules = rulesOf(static_cast<Rounding>(input.between(0, 5)), input.between(0, 1) != 0);
    rules.setMaxProductWordLength(9000);
    rules.setMaxSumWordLength(9000);
    constexpr fimath::ArithmeticModeEnum kModes[] = {
        fimath::ArithmeticModeEnum::FullPrecision, fimath::ArithmeticModeEnum::KeepLSB,
        fimath::ArithmeticModeEnum::KeepMSB, fimath::ArithmeticModeEnum::SpecifyPrecision};
    const auto bits = [&input] { return input.between(0, 9) == 0 ? input.between(1, 600) : input.between(20, 140); };
    rules.setProductMode(kModes[input.between(0, 3)]);
    rules.setProductWordLength(bits());
    rules.setProductFractionLength(input.between(-4, 140));
    rules.setSumMode(kModes[input.between(0, 3)]);
    rules.setSumWordLength(bits());
    rules.setSumFractionLength(input.between(-4, 140));
    rules.setCastBeforeSum(input.between(0, 2) != 0);
    return rules;
}

FiOwner takeArray(FuzzInput& input, const NumericType& type, const fimath& rules, const Sizes& sizes) {
    const bool isComplex = input.between(0, 2) == 0;
    const bool isLocal = input.between(0, 4) != 0;
    Random random(input.take<std::uint32_t>());
    return arrayOfWords(random, type, rules, sizes, isComplex, isLocal);
}

bool isAllFinite(const fi& array) {
    bool isFinite = true;
    const std::uint64_t cursor = array.getIndex();
    forEachPart(array, [&](number& part) {
        for (std::uint64_t i = 0; i < array.numel(); ++i) {
            isFinite = isFinite && part[i].isFinite();
        }
    });
    array.setIndex(cursor);
    return isFinite;
}

/// The arrays of one side.
struct Side {
    FiOwner a;
    FiOwner b;
};

struct Outcome {
    std::unique_ptr<Step> step;
    Raised error;
    std::string others;  // warnings and session logs
};

Outcome run(const Row& row, fi& a, fi& b, bool isOfFloats, const FuzzInput& input, const NumericType& type,
            unsigned precision, bool logs) {
    Outcome outcome{std::unique_ptr<Step>(new Step{a, b, isOfFloats, input, type, {}, {}, {}}), {}, {}};
    const HostCapture host;
    fi::getAssignlog().reset();
    // Logs are made in the default precision of the moment.
    number::setDefaultPrecision(precision, false);
    fi::setLogging(logs);
    outcome.error = raisedBy([&] { row.run(*outcome.step); });
    fi::setLogging(false);
    number::setDefaultPrecision(52, false);
    std::ostringstream out;
    for (const HostCapture::Warning& warning : host.warnings) {
        out << warning << '\n';
    }
    out << logOf(fi::getAssignlog());
    outcome.others = out.str();
    return outcome;
}

/// What a step showed differently on words, or an empty text.
std::string differenceOf(const Outcome& seen, const Outcome& wanted) {
    std::ostringstream out;
    const Step& words = *seen.step;
    const Step& floats = *wanted.step;
    if (!(seen.error == wanted.error)) {
        out << "error " << seen.error << ", not " << wanted.error;
    } else if (seen.others != wanted.others) {
        out << seen.others << ", not " << wanted.others;
    } else if (words.text.str() != floats.text.str() || words.made.size() != floats.made.size() ||
               words.arrays.size() != floats.arrays.size()) {
        out << "\"" << words.text.str() << "\", not \"" << floats.text.str() << "\"";
    }
    for (std::size_t i = 0; out.view().empty() && i < words.made.size(); ++i) {
        const std::string difference = differenceOf(*words.made[i], *floats.made[i]);
        out << (difference.empty() ? "" : "result: ") << difference;
    }
    const auto bytesOf = [](const void* data, const hvArray* array) {
        return std::string(static_cast<const char*>(data),
                           data ? hvGetNumberOfElements(array) * hvGetElementSize(array) : 0);
    };
    for (std::size_t i = 0; out.view().empty() && i < words.arrays.size(); ++i) {
        const hvArray* const x = words.arrays[i].get();
        const hvArray* const y = floats.arrays[i].get();
        const auto imaginary = [](const hvArray* array) { return hvIsChar(array) ? nullptr : hvGetImagData(array); };
        if (hvGetM(x) != hvGetM(y) || bytesOf(hvGetData(x), x) != bytesOf(hvGetData(y), y) ||
            bytesOf(imaginary(x), x) != bytesOf(imaginary(y), y)) {
            out << "host array " << i;
        }
    }
    return out.str();
}

std::string registersOf(const fi& a) {
    std::ostringstream out;
    if (a.isProductRegisterInitialized()) {
        out << "products " << logOf(a.getproductQlogger()) << ", their sums " << logOf(a.getproductregsumQlogger());
    }
    if (a.isSumRegisterInitialized()) {
        out << ", sums " << logOf(a.getsumQlogger());
    }
    return out.str();
}

Sizes takeSizes(FuzzInput& input, bool isMatrix) {
    const auto size = [&input](int few, int many) {
        return static_cast<std::uint64_t>(input.between(0, 4) == 0 ? input.between(few, many) : input.between(1, few));
    };
    return isMatrix ? Sizes{size(6, 70), size(4, 9)} : Sizes{size(12, 140), 1};
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzInput input(data, size);
    const fimath rules = takeRules(input);
    const GlobalRules global(rules);
    const bool isMatrix = input.between(0, 2) == 0;
    const Sizes sizes = takeSizes(input, isMatrix);
    const int other = input.between(0, 5);
    const Sizes otherSizes = other == 0   ? Sizes{1, 1}
                             : other == 1 ? takeSizes(input, isMatrix)
                             : other == 2 ? Sizes{sizes[1], takeSizes(input, false)[0] % 6 + 1}
                                          : sizes;
    constexpr int kMost = 600;
    const NumericType type = takeType(input, kMost);
    const NumericType otherType = input.between(0, 1) == 0 ? type : takeType(input, kMost);
    Side words{takeArray(input, type, rules, sizes), takeArray(input, otherType, rules, otherSizes)};
    if (input.between(0, 7) == 0) {
        words.b = std::make_unique<fi>(*words.a);
    }
    Side floats{std::make_unique<fi>(*words.a), std::make_unique<fi>(*words.b)};
    std::string program;
    bool isOnGrid = true;
    for (int steps = 0; steps < 5 && (steps == 0 || !input.isEmpty()); ++steps) {
        const Row& row = kRows[input.between(0, static_cast<int>(std::size(kRows)) - 1)];
        const NumericType target = takeType(input, 300);
        const bool logs = input.between(0, 1) != 0;
        const unsigned precision = input.between(0, 2) == 0 ? static_cast<unsigned>(input.between(40, 100)) : 52;
        const bool replaces = input.between(0, 1) != 0;
        const bool swaps = input.between(0, 5) == 0;
        if (swaps) {
            std::swap(words.a, words.b);
            std::swap(floats.a, floats.b);
        }
        fi& a = *words.a;
        fi& b = *words.b;
        if (a.isempty() || b.isempty() || a.getWordLength() > 700 || b.getWordLength() > 700 || a.numel() > 400 ||
            ((row.flags & kNeedsFinite) != 0 && !(isAllFinite(a) && isAllFinite(b))) ||
            ((row.flags & kWide) != 0 && a.real().asDouble())) {
            continue;
        }
        turnIntoFloats(*floats.a);
        turnIntoFloats(*floats.b);
        // Doubles are held as floats too where that makes no difference, and both sides then use copies.
        FiOwner copies[4];
        const auto hasDoubles = [](const fi& array) { return array.real().asDouble() != nullptr; };
        const bool usesCopies = (row.flags & kArithmetic) != 0 && isOnGrid && (hasDoubles(a) || hasDoubles(b));
        const auto operand = [&](fi& array, FiOwner& copy, bool isOfFloats) -> fi& {
            if (!usesCopies) {
                return array;
            }
            const std::uint64_t cursor = array.getIndex();
            copy = isOfFloats && hasDoubles(array) ? withWideEntries(array) : std::make_unique<fi>(array);
            if (isOfFloats) {
                turnIntoFloats(*copy);
            }
            copy->resetLogging();
            array.setIndex(cursor);
            copy->setIndex(cursor);
            return *copy;
        };
        fi* const operands[] = {&operand(a, copies[0], false), &operand(b, copies[1], false),
                                &operand(*floats.a, copies[2], true), &operand(*floats.b, copies[3], true)};
        std::ostringstream about;
        about << program << row.name << (logs ? ", logging, on " : " on ") << a.getNumericType().tostring("") << ' '
              << a.getM() << " by " << a.getN() << (a.iscomplex() ? " complex and " : " and ")
              << b.getNumericType().tostring("") << ' ' << b.getM() << " by " << b.getN()
              << (b.iscomplex() ? " complex" : "") << (isInWords(a) ? ", words" : "") << (isInWords(b) ? ", words" : "")
              << ", type " << target.tostring("") << ", default precision " << precision << '\n';
        program = about.str();
        Outcome seen = run(row, *operands[0], *operands[1], false, input, target, precision, logs);
        Outcome wanted = run(row, *operands[2], *operands[3], true, input, target, precision, logs);
        input = seen.step->input;
        const auto say = [&](const std::string& difference) {
            return [&, difference] { return rules.toString() + "\n" + program + difference; };
        };
        const std::string difference = differenceOf(seen, wanted);
        require(difference.empty(), "words and floats show the same", say(difference));
        for (std::size_t i = 0; i < 2; ++i) {
            const fi& x = *operands[i];
            const fi& y = *operands[2 + i];
            // A copy with floats for doubles has a log of its own.
            const std::string rest = !usesCopies ? differenceOf(x, y) : x.getIndex() != y.getIndex() ? "cursor" : "";
            require(rest.empty(), "words and floats leave the same", say("operand: " + rest));
        }
        if (!usesCopies) {
            require(registersOf(a) == registersOf(*floats.a), "registers log the same",
                    say(registersOf(a) + "; not " + registersOf(*floats.a)));
        }
        isOnGrid = isOnGrid && (row.flags & kMayLeaveGrid) == 0;
        if (replaces && (row.flags & kReplaces) != 0 && !seen.step->made.empty()) {
            words.a = std::move(seen.step->made.front());
            floats.a = std::move(wanted.step->made.front());
        }
    }
    return 0;
}
