#include "examples/filter_study/Arithmetic.h"

#include <bit>

namespace filterstudy {
namespace {

/// The word of a result, from its full word.
Word kept(const Keeping& keeping, Word full) {
    switch (keeping.keep) {
        case Keep::Full:
            return full;
        case Keep::Lsb:
            return {keeping.word.bits, full.fraction};
        case Keep::Msb:
            return {keeping.word.bits, full.fraction - (full.bits - keeping.word.bits)};
        case Keep::Specified:
            return keeping.word;
    }
    return full;
}

}  // namespace

std::string nameOf(Word word) {
    std::string name = "s";
    name += std::to_string(word.bits);
    name += ',';
    name += std::to_string(word.fraction);
    return name;
}

const char* nameOf(Keep keep) {
    switch (keep) {
        case Keep::Full:
            return "FullPrecision";
        case Keep::Lsb:
            return "KeepLSB";
        case Keep::Msb:
            return "KeepMSB";
        case Keep::Specified:
            return "SpecifyPrecision";
    }
    return "?";
}

Word productWord(const Arithmetic& arithmetic) {
    return kept(arithmetic.product, {arithmetic.coefficient.bits + arithmetic.data.bits,
                                     arithmetic.coefficient.fraction + arithmetic.data.fraction});
}

Word sumWord(const Arithmetic& arithmetic, std::size_t terms) {
    const Word product = productWord(arithmetic);
    return kept(arithmetic.sum, {product.bits + growthBits(terms), product.fraction});
}

int growthBits(std::size_t terms) {
    return terms < 2 ? 0 : static_cast<int>(std::bit_width(terms - 1));
}

int costOf(const Arithmetic& arithmetic, std::size_t terms) {
    return arithmetic.coefficient.bits * arithmetic.data.bits + productWord(arithmetic).bits +
           sumWord(arithmetic, terms).bits;
}

}  // namespace filterstudy
