// Order, shapes, bits and constants.
#include "tests/witness/arrays.h"

namespace {

using Case = ArrayCase;

/// Both results of a search along columns.
template <auto search>
void keepExtremes(Case& c) {
    fi* values = nullptr;
    hvArray* places = nullptr;
    (c.a->*search)(values, places);
    c.keep(values);
    c.keep(places);
}

/// The stride and the length of a drawn dimension, for sorting along it.
std::pair<std::uint64_t, std::uint64_t> drawnStride(Case& c) {
    const std::uint64_t dimension = c.draw.below(c.a->ndims());
    std::uint64_t stride = 1;
    for (std::uint64_t i = 0; i < dimension; ++i) {
        stride *= c.a->dims()[i];
    }
    return {stride, c.a->dims()[dimension]};
}

ArrayRow order[] = {
    {"eq", kPair, [](Case& c) { c.keep(c.a->eq(*c.b)); }},
    {"ne", kPair, [](Case& c) { c.keep(c.a->ne(*c.b)); }},
    {"gt", kPair, [](Case& c) { c.keep(c.a->gt(*c.b)); }},
    {"ge", kPair, [](Case& c) { c.keep(c.a->ge(*c.b)); }},
    {"lt", kPair, [](Case& c) { c.keep(c.a->lt(*c.b)); }},
    {"le", kPair, [](Case& c) { c.keep(c.a->le(*c.b)); }},
    {"isequal", kPair, [](Case& c) { c.keep(c.a->isequal(*c.b)); }},
    {"max", kSameType, [](Case& c) { c.keep(c.a->max(*c.b)); }, 6},
    {"min", kSameType, [](Case& c) { c.keep(c.a->min(*c.b)); }, 6},
    {"unary_max", kOne, keepExtremes<&fi::unary_max>, 6},
    {"unary_min", kOne, keepExtremes<&fi::unary_min>, 6},
    {"stridesort", kElement | kFinite,
     [](Case& c) {
         const auto [stride, length] = drawnStride(c);
         c.keep(c.a->stridesort(c.draw.oneIn(2), stride, length));
     }},
    {"stridesort2", kElement | kFinite,
     [](Case& c) {
         const auto [stride, length] = drawnStride(c);
         std::vector<double> places(c.a->numel());
         double* at = places.data();
         c.keep(c.a->stridesort2(at, c.draw.oneIn(2), stride, length));
         c.out("  places", std::span<const double>(places));
     }},
    {"sign", kReal, [](Case& c) { c.keep(c.a->sign()); }},
};

ArrayRow shapes[] = {
    {"transpose", kOne, [](Case& c) { c.keep(c.a->transpose()); }},
    {"ctranspose", kOne, [](Case& c) { c.keep(c.a->ctranspose()); }, 6},
    {"reshape", kOne,
     [](Case& c) {
         const auto m = static_cast<double>(c.a->getM());
         const auto n = static_cast<double>(c.a->getN());
         const int kind = c.draw.between(0, 9);
         c.out("  kind", kind);
         c.keep(c.a->reshape((kind < 4   ? hostRow({n, m})
                              : kind < 6 ? hostRow({1, m * n})
                              : kind < 8 ? hostRow({m, 1, n})
                              : kind < 9 ? hostRow({m + 1, n})
                                         : hostRow({m, n > 0 ? n - 1 : 0}))
                                 .get()));
     }},
    {"squeeze", kOne, [](Case& c) { c.keep(c.a->squeeze()); }},
    {"diag", kOne,
     [](Case& c) {
         // A long vector would make a huge matrix.
         const bool isLong = c.a->isvector() && c.a->numel() > 60;
         c.keep((isLong ? c.makeVector(5).get() : c.a)->diag(c.draw.between(-3, 3)));
     }},
    {"tril", kOne, [](Case& c) { c.keep(c.a->tril(c.draw.between(-3, 3))); }},
    {"triu", kOne, [](Case& c) { c.keep(c.a->triu(c.draw.between(-3, 3))); }},
    {"hankel", kVectors,
     [](Case& c) {
         fi* const left = c.a->numel() > 60 ? c.b : c.a;
         if (left->numel() <= 60 && c.b->numel() <= 60) {
             c.draw.oneIn(2) ? c.keep(left->hankel()) : c.keep(left->hankel(*c.b));
         }
     }},
    {"toeplitz", kVectors,
     [](Case& c) {
         fi* const left = c.a->numel() > 60 ? c.b : c.a;
         if (left->numel() <= 60 && c.b->numel() <= 60) {
             c.draw.oneIn(2) ? c.keep(left->toeplitz()) : c.keep(left->toeplitz(*c.b));
         }
     }},
    {"getRealFi", kOne, [](Case& c) { c.keep(c.a->getRealFi()); }},
    {"getImagFi", kOne, [](Case& c) { c.keep(c.a->getImagFi()); }},
    {"getDimension", kOne,
     [](Case& c) {
         c.out("  dimensions", c.a->getDimension(1), c.a->getDimension(2), c.a->getDimension(3), c.a->isvector(),
               c.a->iscolumn(), c.a->isrow());
     },
     1},
    {"checkSignedIndex", kOne,
     [](Case& c) {
         c.a->checkSignedIndex(c.draw.of({0.0, 0.0, 0.0, -1.0, 0.5, 1e9}));
     },
     1},
};

/// Positions and values for setting bits, as scalars or as arrays.
hvArrayOwner positions(Case& c, int low, int high, bool isScalar) {
    return c.plan(isScalar ? Sizes{1, 1} : Sizes(c.a->dims(), c.a->dims() + c.a->ndims()), low, high);
}

ArrayRow bits[] = {
    {"fibitand", kSameType | kFinite, [](Case& c) { c.keep(c.a->fibitand(*c.b)); }},
    {"fibitor", kSameType | kFinite, [](Case& c) { c.keep(c.a->fibitor(*c.b)); }},
    {"bitxor", kSameType | kFinite, [](Case& c) { c.keep(c.a->bitxor(*c.b)); }},
    {"bitcmp", kFinite, [](Case& c) { c.keep(c.a->bitcmp()); }},
    {"bitget", kReal | kFinite,
     [](Case& c) {
         const hvArrayOwner bit = positions(c, 1, c.a->getWordLength(), c.draw.oneIn(2));
         c.draw.oneIn(3) ? c.keep(c.a->bitget(*c.makeArray({1, 1}, NumericType(false, 8, 0))))
                         : c.keep(c.a->bitget(bit.get()));
     }},
    {"bitset", kReal | kFinite,
     [](Case& c) {
         const bool isScalar = c.draw.oneIn(2);
         const hvArrayOwner bit = positions(c, 1, c.a->getWordLength(), isScalar);
         c.keep(c.a->bitset(bit.get(), positions(c, 0, 1, isScalar).get()));
     }},
    {"pow2", kOne,
     [](Case& c) {
         const int places = c.draw.between(-12, 12);
         c.keep(c.a->pow2(places, c.draw.oneIn(2)));
     },
     8},
    {"stripscaling", kOne, [](Case& c) { c.keep(c.a->stripscaling()); }},
    {"reinterpretcast", kOne,
     [](Case& c) {
         c.keep(c.a->reinterpretcast(
             NumericType(c.draw.oneIn(2), c.a->getWordLength() + (c.draw.oneIn(20) ? 1 : 0), c.draw.between(-5, 40))));
     }},
    {"constants", kOne,
     [](Case& c) {
         for (fi* (fi::*const constant)() const : {&fi::realmax, &fi::realmin, &fi::upperbound, &fi::lowerbound,
                                                   &fi::eps, &fi::lsb, &fi::range, &fi::intmax, &fi::intmin}) {
             attempt(c.out, [&] { c.keep((c.a->*constant)()); });
         }
     },
     2},
    {"uminus", kOne, [](Case& c) { c.keep(c.a->uminus()); }, 8},
    {"conj", kOne, [](Case& c) { c.keep(c.a->conj()); }},
    {"complex", kPair,
     [](Case& c) {
         if (c.b->isreal() && c.a->isreal()) {
             c.keep(c.a->complex(*c.b));
         } else {
             const std::unique_ptr<fi> re(c.a->getRealFi());
             const std::unique_ptr<fi> im(c.b->getImagFi());
             c.keep(re->complex(*im));
         }
     }},
};

}  // namespace

std::span<ArrayRow> orderRows() {
    return order;
}
std::span<ArrayRow> shapeRows() {
    return shapes;
}
std::span<ArrayRow> bitRows() {
    return bits;
}
