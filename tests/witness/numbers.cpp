// Programs on numbers: arrays of both kinds of bodies and of many precisions, and operations across the two.
#include <algorithm>
#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "tests/witness/program.h"

namespace {

enum Wants : int { kAny = 0, kFinite = 1, kModerate = 2 };

struct NumberCase {
    NumberCase(Draw& source, Transcript& transcript) : draw(source), out(transcript) {
        number::setDefaultPrecision(draw.of({52U, 52U, 64U}), draw.oneIn(10));
        for (int i = draw.between(2, 5); i > 0; --i) {
            add(made());
        }
    }
    std::unique_ptr<number> made() {
        const auto precision = static_cast<std::uint32_t>(
            draw.of({1, 8, 24, 51, 52, 52, 52, 53, 53, 54, 63, 64, 65, 127, 128, 129, 300, 1000}));
        const std::uint64_t count = draw.oneIn(3) ? 1 : 1 + draw.below(6);
        auto result = count == 1 ? std::make_unique<number>(0.0, precision, draw.oneIn(6))
                                 : std::make_unique<number>(count, precision, number::NumberVector::tag);
        for (std::uint64_t i = 0; i < count; ++i) {
            (*result)[i].setvalue(draw.oneIn(3) ? draw.anyDouble() : draw.between(-4000, 4000) / 64.0);
            if (draw.oneIn(2)) {
                *result += number(std::ldexp(draw.between(-99, 99), draw.between(-90, 60)), precision, true);
            }
        }
        return result;
    }
    void add(std::unique_ptr<number> x) {
        showAll(out, "number", *x);
        pool.push_back(std::move(x));
    }
    /// Replaces elements for which the row's result is undefined.
    void prepare(int wants) {
        a = pool[draw.below(pool.size())].get();
        b = pool[draw.below(pool.size())].get();
        a->setIndex(draw.below(a->numel()));
        b->setIndex(draw.below(b->numel()));
        for (number* x : {a, b}) {
            const bool isHuge = std::fabs(x->todouble()) > 1e30 || (!x->iszero() && std::fabs(x->todouble()) < 1e-30);
            if (((wants & kFinite) != 0 && !x->isFinite()) ||
                ((wants & kModerate) != 0 && (!x->isFinite() || isHuge))) {
                x->setvalue(draw.between(-4000, 4000) / 64.0);
            }
        }
        out("  on", a->gettype(), a->getprecision(), a->getIndex(), b->gettype(), b->getprecision(), b->getIndex());
    }
    void finish() {
        showAll(out, "  left", *a);
        showAll(out, "  right", *b);
    }
    void keep(number&& result) {
        showAll(out, "  result", result);
        if (pool.size() < 8) {
            // A move is a copy.
            pool.push_back(std::make_unique<number>(result, number::NumberVector::tag));
        }
    }
    void run();

    Draw& draw;
    Transcript& out;
    number* a = nullptr;
    number* b = nullptr;
    std::vector<std::unique_ptr<number>> pool;
};

using Case = NumberCase;

template <number& (number::*whole)(), number& (number::*placed)(int)>
void rounded(Case& c) {
    if (c.draw.oneIn(2)) {
        (c.a->*whole)();
    } else {
        const int place = c.draw.between(-70, 70);
        c.out("  place", place);
        (c.a->*placed)(place);
    }
}

std::pair<int, int> wordOf(Case& c) {
    const int bits = c.draw.of({1, 8, 16, 31, 32, 33, 52, 53, 64, 65, 128, 200});
    return {bits, c.draw.between(-4, bits)};
}

Row<Case> arithmetic[] = {
    {"+=", kAny, [](Case& c) { *c.a += *c.b; }},
    {"-=", kAny, [](Case& c) { *c.a -= *c.b; }},
    {"*=", kAny, [](Case& c) { *c.a *= *c.b; }},
    {"/=", kAny, [](Case& c) { *c.a /= *c.b; }},
    {"+", kAny, [](Case& c) { c.keep(*c.a + *c.b); }},
    {"-", kAny, [](Case& c) { c.keep(*c.a - *c.b); }},
    {"*", kAny, [](Case& c) { c.keep(*c.a * *c.b); }},
    {"/", kAny, [](Case& c) { c.keep(*c.a / *c.b); }},
    {"negative", kAny, [](Case& c) { c.keep(-*c.a); }},
    {"mod", kModerate, [](Case& c) { c.a->mod(*c.b); }},
    {"hypot", kAny, [](Case& c) { c.a->hypot(*c.a, *c.b); }},
    {"=", kAny, [](Case& c) { *c.a = *c.b; }, 8},
    {"setvalue", kAny, [](Case& c) { c.a->setvalue(c.draw.anyDouble()); }},
    {"setvalue scaled", kAny,
     [](Case& c) {
         c.a->setvalue(*c.b, 1.25, c.draw.of({0.0, -3.0}));
     }},
    {"setvalue words", kAny,
     [](Case& c) {
         std::uint32_t words[4];
         for (std::uint32_t& word : words) {
             word = static_cast<std::uint32_t>(c.draw.bits());
         }
         const int bits = c.draw.between(1, 128);
         const auto top = static_cast<std::size_t>((bits - 1) / 32);
         words[top] &= (2U << static_cast<unsigned>((bits - 1) % 32)) - 1U;
         c.a->setvalue(words, static_cast<int>(top) + 1, c.draw.oneIn(2), bits, 1.0, c.draw.between(-200, 20), 0.0);
     }},
    {"abs", kAny, [](Case& c) { c.a->abs(*c.b); }},
    {"negate", kAny, [](Case& c) { c.a->negate(); }},
    {"pow2", kAny, [](Case& c) { c.a->pow2(c.draw.between(-100, 100)); }},
    {"stripscaling", kAny, [](Case& c) { c.a->stripscaling(1.0, c.draw.between(-40, 10), 0.0); }},
    {"ceil", kAny, rounded<&number::ceil, &number::ceil>},
    {"convergent", kAny, rounded<&number::convergent, &number::convergent>},
    {"fix", kAny, rounded<&number::fix, &number::fix>},
    {"floor", kAny, rounded<&number::floor, &number::floor>},
    {"nearest", kAny, rounded<&number::nearest, &number::nearest>},
    {"round", kAny, rounded<&number::round, &number::round>},
    {"questions", kAny,
     [](Case& c) {
         c.out("  compared", *c.a<*c.b, *c.a <= *c.b, *c.a> * c.b, *c.a >= *c.b, *c.a == *c.b, *c.a != *c.b);
         c.out("  is", c.a->sign(), c.a->isFinite(), c.a->myisinf(), c.a->iszero(), c.a->myisnan(),
               c.a->myisnan() || c.a->isnegative(), c.a->unbiasedexponent(), c.a->todouble(), c.a->tosingle(),
               c.a->sharesArrayOf(*c.b));
     },
     12},
};

Row<Case> arrays[] = {
    {"copy", kAny, [](Case& c) { c.keep(number(*c.a)); }},
    {"copy all", kAny, [](Case& c) { c.keep(number(*c.a, number::NumberVector::tag)); }},
    {"copy some", kAny,
     [](Case& c) {
         const std::uint64_t start = c.draw.below(c.a->numel());
         c.keep(number(*c.a, start, 1 + c.draw.below(c.a->numel() - start)));
     },
     1},
    {"shared", kAny,
     [](Case& c) {
         number twin(*c.a, number::CopyIndex::tag);
         twin.setIndex(c.draw.below(twin.numel()));
         twin += *c.a;
         *c.a *= twin;
         showAll(c.out, "  twin", twin);
     }},
    {"resize", kAny,
     [](Case& c) {
         c.a->resize(1 + c.draw.below(6));
         c.a->setIndex(0);
     }},
    {"resize to a precision", kAny,
     [](Case& c) {
         const std::uint64_t count = 1 + c.draw.below(6);
         c.a->resize(count, c.draw.of({40U, 52U, 53U, 64U}));
         c.a->setIndex(0);
     },
     2},
    {"sort", kAny,
     [](Case& c) {
         for (std::uint64_t i = 0; i < c.a->numel(); ++i) {
             if ((*c.a)[i].myisnan()) {
                 return;
             }
         }
         const std::uint64_t stride = c.a->numel() % 2 == 0 ? 1 + c.draw.below(2) : 1;
         std::vector<double> places(c.a->numel());
         const bool isAscending = c.draw.oneIn(2);
         c.draw.oneIn(2) ? c.a->stridesort(isAscending, stride, c.a->numel() / stride)
                         : c.a->stridesort2(places.data(), isAscending, stride, c.a->numel() / stride);
         c.out("  places", std::span<const double>(places));
         c.a->setIndex(0);
     }},
};

Row<Case> conversions[] = {
    {"integers", kAny,
     [](Case& c) {
         const int scale = c.draw.between(-8, 40);
         const numberrepbody& x = c.a->body();
         c.out("  integers", scale, numberops::fixed2int8(x, 0, scale), numberops::fixed2int16(x, 0, scale),
               numberops::fixed2int32(x, 0, scale), numberops::fixed2int64(x, 0, scale),
               numberops::fixed2uint8(x, 0, scale), numberops::fixed2uint16(x, 0, scale),
               numberops::fixed2uint32(x, 0, scale), numberops::fixed2uint64(x, 0, scale));
     }},
    {"fixed2base", kModerate,
     [](Case& c) {
         const auto [bits, fraction] = wordOf(c);
         const int base = c.draw.of({2, 3, 8, 10, 16, 36});
         std::string text(static_cast<std::size_t>(bits) + 40, '?');
         c.a->fixed2base(text.data(), static_cast<int>(text.size()), base, bits, fraction);
         c.out("  text", std::string_view(text));
     }},
    {"fixed2sdec", kModerate,
     [](Case& c) {
         const auto [bits, fraction] = wordOf(c);
         std::string text(static_cast<std::size_t>(bits) + 40, '?');
         c.a->fixed2sdec(text.data(), static_cast<unsigned>(text.size()), static_cast<unsigned>(bits), fraction);
         c.out("  text", std::string_view(text));
     }},
    {"base2fixed", kAny,
     [](Case& c) {
         const auto [bits, fraction] = wordOf(c);
         const int base = c.draw.of({2, 8, 10, 16});
         std::string text;
         for (int i = c.draw.between(1, std::max(1, bits / 5)); i > 0; --i) {
             text += "0123456789abcdef"[c.draw.below(static_cast<std::uint64_t>(base))];
         }
         c.a->base2fixed(text.c_str(), base, bits, fraction, c.draw.oneIn(2));
     }},
    // The forms on doubles; those on wide bodies are run by arrays.
    {"bits", kAny,
     [](Case& c) {
         const int bits = c.draw.between(2, 52);
         const bool isSigned = c.draw.oneIn(2);
         const int exponent = c.draw.between(-20, 4);
         const auto word = [&] {
             const auto drawn = static_cast<double>(c.draw.bits() >> static_cast<unsigned>(64 - bits));
             return std::ldexp(isSigned ? drawn - std::ldexp(1.0, bits - 1) : drawn, exponent);
         };
         number x(word(), 52, false);
         const number y(word(), 52, false);
         const std::uint64_t modulus = 1ULL << static_cast<unsigned>(bits);
         const int bit = c.draw.between(1, bits);
         c.out("  bit", bit, x.bitget(bit, isSigned, bits, 1.0, exponent, 0.0, modulus));
         show(c.out, "  and", x.doublebitand(y, isSigned, bits, 1.0, exponent, 0.0, modulus));
         show(c.out, "  set", x.bitset(bit, c.draw.oneIn(2), isSigned, bits, 1.0, exponent, 0.0, modulus));
         show(c.out, "  complement", x.bitcmp(isSigned, bits, 1.0, exponent, 0.0, modulus - 1, modulus));
         show(c.out, "  xor", x.doublebitxor(y, isSigned, bits, 1.0, exponent, 0.0, modulus));
         show(c.out, "  or", x.doublebitor(y, isSigned, bits, 1.0, exponent, 0.0, modulus));
     }},
    {"disp", kAny, [](Case& c) { c.a->disp(); }, 1},
};

std::span<Area<Case>> areas() {
    static Area<Case> all[] = {{"arithmetic", 6, arithmetic}, {"arrays", 2, arrays}, {"conversions", 2, conversions}};
    return all;
}

void NumberCase::run() {
    for (int steps = draw.between(6, 20); steps > 0; --steps) {
        runStep(*this, areas());
    }
}

}  // namespace

const Kind kNumberPrograms = {"numbers", 8, [](Draw& draw, Transcript& out) { NumberCase(draw, out).run(); },
                              [](SummaryLine line) { summarizeAreas(areas(), line); }};
