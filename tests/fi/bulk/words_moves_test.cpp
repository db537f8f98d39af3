// Operations that move, store, read and write words, on arrays held as words and on copies of them held as floats: both
// must agree in every bit, sign of zero, count and extreme, and leave the same elements current.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <memory>
#include <span>
#include <sstream>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "tests/support/arrays.h"
#include "tests/support/errors.h"
#include "tests/support/wide_arrays_of_fi.h"

namespace {

using FiOwner = std::unique_ptr<fi>;
using Numbers = std::vector<double>;

FiOwner inFloats(const fi& words) {
    auto floats = std::make_unique<fi>(words);
    turnIntoFloats(*floats);
    floats->setIndex(words.getIndex());
    return floats;
}

/// What an operation draws.
struct Choice {
    double place;
    double offset;
    int base;
    Numbers plan;
    std::vector<std::uint32_t> chunks;
    std::string text;
};

struct Operator {
    const char* name;
    bool keepsWords;  // of the first operand
    std::function<void(std::ostream&, fi&, fi&, const Choice&)> run;
};

hvArrayOwner planOf(const Choice& choice) {
    return doubles(choice.plan.size(), 1, choice.plan);
}

/// Sets all elements from host numbers times 2^exponent, by `set` or, in floats, one after the other.
void setFromHost(fi& a, const Choice& c, int exponent, void (fi::*set)(const hvArray*)) {
    constexpr hvClassID kClasses[] = {hvINT16_CLASS, hvUINT8_CLASS, hvINT32_CLASS, hvSINGLE_CLASS, hvDOUBLE_CLASS};
    const auto classId = kClasses[static_cast<std::size_t>(c.place) % 5];
    const hvArrayOwner values(hvCreateNumericArray(a.ndims(), a.dims(), classId, a.getComplexity()));
    const bool isWhole = isInWords(a);
    hvDispatchClass(classId, [&]<class T>(std::type_identity<T>) {
        std::size_t next = 0;
        const auto draw = [&](T& value) {
            const auto word = static_cast<std::int32_t>(c.chunks[next++]);
            value = std::is_floating_point_v<T> ? static_cast<T>(std::ldexp(word / 3.0, c.base % 4 == 0 ? -1000 : -20))
                                                : static_cast<T>(word);
        };
        std::ranges::for_each(hvGetTypedData<T>(values.get()), draw);
        std::ranges::for_each(hvGetTypedImagData<T>(values.get()), draw);
        const auto setPart = [&](number& x, std::span<T> from) {
            for (std::size_t i = 0; i < from.size(); ++i) {
                a.getAssignmentQuantizer().quantize(x[i].setvalue(static_cast<double>(from[i])).pow2(exponent));
            }
            x.setIndex(0);
        };
        if (!isWhole) {
            setPart(partOf(a, false), hvGetTypedData<T>(values.get()));
            setPart(partOf(a, true), hvGetTypedImagData<T>(values.get()));
        }
    });
    if (isWhole) {
        (a.*set)(values.get());
    }
}

/// The real elements of b as an array like a, in floats if those of a are; for each side, or one element of it.
void makeComplex(std::ostream& out, const fi& a, const fi& b, const Choice& c) {
    Numbers places(a.numel());
    std::ranges::generate(places, [&, i = 0.0]() mutable { return std::fmod(i++, static_cast<double>(b.numel())); });
    const bool isWords = isInWords(a);
    const auto sideOf = [&](const fi& whole, bool isOne) {
        const FiOwner real(whole.getRealFi());
        real->setIndex(static_cast<std::uint64_t>(c.place) % real->numel());
        auto side = isOne ? std::make_unique<fi>(*real, embedded::CopyElement::tag) : std::make_unique<fi>(*real);
        return isWords ? std::move(side) : inFloats(*side);
    };
    const FiOwner like(FiOwner(b.getRealFi())->subscriptedReference(doubles(a.getM(), a.getN(), places).get()));
    const FiOwner left = sideOf(a, c.base == 3);
    const FiOwner right = sideOf(*like, c.base == 4);
    show(out, *FiOwner(&left->complex(*right)));
    out << left->getIndex() << ' ' << right->getIndex();
}

const Operator kOperators[] = {
    {"complex", true, [](std::ostream& out, fi& a, fi& b, const Choice& c) { makeComplex(out, a, b, c); }},
    {"set integers", false,
     [](std::ostream&, fi& a, fi&, const Choice& c) { setFromHost(a, c, a.getFixedExponent(), &fi::setIntHvArray); }},
    {"set host numbers", true,
     [](std::ostream&, fi& a, fi&, const Choice& c) { setFromHost(a, c, 0, &fi::setDoubleHvArray); }},
    {"transpose", true, [](std::ostream& out, fi& a, fi&, const Choice&) { show(out, *FiOwner(a.transpose())); }},
    {"ctranspose", false, [](std::ostream& out, fi& a, fi&, const Choice&) { show(out, *FiOwner(a.ctranspose())); }},
    {"diag", true, [](std::ostream& out, fi& a, fi&, const Choice& c) { show(out, *FiOwner(a.diag(c.offset))); }},
    {"tril", true, [](std::ostream& out, fi& a, fi&, const Choice& c) { show(out, *FiOwner(a.tril(c.offset))); }},
    {"triu", true, [](std::ostream& out, fi& a, fi&, const Choice& c) { show(out, *FiOwner(a.triu(c.offset))); }},
    {"hankel", true, [](std::ostream& out, fi& a, fi& b, const Choice&) { show(out, *FiOwner(a.hankel(b))); }},
    {"toeplitz", true, [](std::ostream& out, fi& a, fi& b, const Choice&) { show(out, *FiOwner(a.toeplitz(b))); }},
    {"copydata", true, [](std::ostream&, fi& a, fi& b, const Choice&) { a.copydata(b); }},
    {"take", true,
     [](std::ostream& out, fi& a, fi&, const Choice& c) {
         Numbers places(c.plan);
         std::ranges::transform(places, places.begin(),
                                [&](double x) { return std::fmod(std::fabs(x), static_cast<double>(a.numel())); });
         show(out, *FiOwner(a.subscriptedReference(doubles(places.size(), 1, places).get())));
     }},
    {"grow", true,
     [](std::ostream& out, fi& a, fi& b, const Choice& c) {
         show(out, *FiOwner(a.subscriptedGrowAssignment(planOf(c).get(), b)));
     }},
    {"overwrite", true,
     [](std::ostream&, fi& a, fi& b, const Choice& c) {
         Numbers plan(c.plan);
         plan.resize(a.numel());
         a.subscriptedOverwriteAssignment(doubles(plan.size(), 1, plan).get(), b);
     }},
    {"set an element", true,
     [](std::ostream&, fi& a, fi& b, const Choice& c) {
         a.setIndex(static_cast<std::uint64_t>(c.place) % a.numel());
         b.setIndex(static_cast<std::uint64_t>(c.place) % b.numel());
         a = b;
         a.setIndex(0);
         a = c.offset / 3.0;
     }},
    {"chunks", true,
     [](std::ostream& out, fi& a, fi&, const Choice&) {
         using Mode = fi::IntArrayChunkMode;
         for (const Mode mode : {Mode::Natural, Mode::AlwaysFour}) {
             hvArrayOwner chunks(a.getIntArray(mode, fi::IntArrayDimensionMode::First));
             if (mode == Mode::Natural) {
                 a.addSignExtension32BitIntArray(chunks.get());
             }
             show(out, chunks.release());
         }
         const HostCapture warnings;
         show(out, a.getIntHvArray());
         show(out, a.getDoubleHvArray());
         show(out, a.getSingleHvArray());
         out << warnings.warnings.size() << " warnings";
     }},
    {"set chunks", false,
     [](std::ostream&, fi& a, fi&, const Choice& c) {
         const int count = std::min<int>(a.numChunks() + static_cast<int>(c.place) % 2, 20);
         a.set32BitChunkIntArray(c.chunks.data(), c.chunks.data() + 7, count, true);
     }},
    {"digits", true, [](std::ostream& out, fi& a, fi&, const Choice& c) { show(out, a.num2base(c.base)); }},
    {"decimals", true, [](std::ostream& out, fi& a, fi&, const Choice&) { show(out, a.num2sdec()); }},
    {"from digits", true,
     [](std::ostream& out, fi& a, fi&, const Choice& c) {
         const HostCapture warnings;
         const hvArrayOwner own(a.num2base(std::min(c.base, 18)));
         a.base2num(own.get(), std::min(c.base, 18));
         show(out, a);
         a.base2num(text(c.text).get(), std::min(c.base, 18));
         out << warnings.warnings.size() << " warnings";
     }},
};

NumericType typeOf(Random& random) {
    constexpr int kBits[] = {53, 63, 64, 65, 96, 127, 128, 129, 160, 256, 300};
    const int bits = random.oneIn(3) ? random.between(53, 300) : random.pick(kBits);
    return fixedType(random.oneIn(2), bits, random.between(-3, bits + (random.oneIn(4) ? 300 : 3)));
}

Choice choose(Random& random, const fi& a, const fi& b) {
    Choice choice{
        static_cast<double>(random.between(0, 500)), static_cast<double>(random.between(-9, 9)), 0, {}, {}, {}};
    constexpr int kBases[] = {2, 8, 10, 16, 3, 4};
    choice.base = random.pick(kBases);
    int side = 0;
    for (std::uint64_t i = a.numel() + static_cast<std::uint64_t>(random.between(1, 30)); i > 0; --i) {
        side = random.oneIn(6) ? random.between(-1, 1) : side;
        choice.plan.push_back(side == 0  ? random.oneIn(9) ? 0.0 : -random.between(1, static_cast<int>(b.numel()))
                               : side < 0 ? -random.between(1, static_cast<int>(b.numel()))
                                         : random.between(1, static_cast<int>(a.numel())));
    }
    const bool isRaw = random.oneIn(4);
    choice.chunks.resize(a.numel() * 22 + 8);
    for (std::uint32_t& chunk : choice.chunks) {
        chunk = isRaw || random.oneIn(2) ? static_cast<std::uint32_t>(random.word()) : 0;
    }
    for (int row = random.between(2, 20); row > 0; --row) {
        for (int length = random.between(1, a.getWordLength() / 2); length > 0; --length) {
            choice.text += static_cast<char>('0' + random.between(0, 1));
        }
        choice.text += ' ';
    }
    return choice;
}

TEST(Words, MoveAndConvertAsFloatsDo) {
    Random random(9021);
    for (int round = 0; round < 2500 && !HasFailure(); ++round) {
        const Operator& operation = random.pick(kOperators);
        const fimath rules = rulesOf(random.pick(kRoundings), random.oneIn(2));
        const NumericType type = typeOf(random);
        const bool isColumn = random.oneIn(3);
        const auto size = [&](int most) { return static_cast<std::uint64_t>(random.between(2, most)); };
        const Sizes sizes = isColumn ? Sizes{size(200), 1} : Sizes{size(14), size(14)};
        const FiOwner a = arrayOfWords(random, type, rules, sizes, random.oneIn(2));
        const FiOwner b =
            arrayOfWords(random, random.oneIn(2) ? type : typeOf(random), rules, {size(40), 1}, random.oneIn(2));
        const FiOwner aFloats = inFloats(*a);
        const FiOwner bFloats = inFloats(*b);
        ASSERT_TRUE(isInWords(*a) && isInWords(*b) && !isInWords(*aFloats) && !isInWords(*bFloats));
        const Choice choice = choose(random, *a, *b);
        const bool isLogging = random.oneIn(2);
        const auto outcome = [&](fi& left, fi& right) {
            const HostCapture conflicts;
            fi::setLogging(isLogging);
            fi::getAssignlog().reset();
            std::ostringstream out;
            operation.run(out, left, right, choice);
            fi::setLogging(false);
            show(out, left);
            show(out, right);
            out << logOf(fi::getAssignlog());
            return out.str();
        };
        const std::string what = std::string(operation.name) + ", round " + std::to_string(round) + ", " +
                                 a->getNumericType().tostring("") + " and " + b->getNumericType().tostring("") +
                                 (isLogging ? ", logging" : "") + ", base " + std::to_string(choice.base);
        const std::string seen = outcome(*a, *b);
        EXPECT_EQ(seen, outcome(*aFloats, *bFloats)) << what;
        EXPECT_TRUE(!operation.keepsWords || isInWords(*a)) << what;
    }
    fi::getAssignlog().reset();
}

}  // namespace
