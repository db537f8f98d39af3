// Integers, words, texts and subscripts: the exchange between arrays and the host.
#include <cstring>

#include "host/bs.h"
#include "tests/witness/arrays.h"

namespace {

using Case = ArrayCase;
using Chunks = fi::IntArrayChunkMode;
using Place = fi::IntArrayDimensionMode;

constexpr hvClassID kIntegers[] = {hvINT8_CLASS,   hvUINT8_CLASS,  hvINT16_CLASS,  hvUINT16_CLASS,
                                   hvINT32_CLASS,  hvUINT32_CLASS, hvINT64_CLASS,  hvUINT64_CLASS,
                                   hvDOUBLE_CLASS, hvSINGLE_CLASS, hvLOGICAL_CLASS};
hvClassID anyClass(Case& c) {
    return c.draw.of(std::span<const hvClassID>(kIntegers));
}
Sizes sizesOf(const fi& array) {
    return {array.dims(), array.dims() + array.ndims()};
}
bool isComplex(Case& c) {
    return c.theme.isComplex(c.draw) && !c.a->isSlopeBiasScaled() && !c.a->isBoolean();
}
/// Bytes of one word in the buffers of the block diagram companion; 0 where there is none.
std::size_t bytesOfWord(const fi& array) {
    const int bits = array.getWordLength();
    return !array.isFixed() || bits > 128                  ? 0
           : bits <= 8                                     ? 1
           : bits <= 16                                    ? 2
           : bits <= 32                                    ? 4
           : embedded::getFeatureFi33PlusMemoryFootprint() ? 4 * static_cast<std::size_t>(array.numChunks())
                                                           : 16;
}
struct Layout {
    Chunks chunks;
    Place place;
};
Layout layout(Case& c) {
    const Layout made{c.draw.anyOf<Chunks>(1), c.draw.anyOf<Place>(1)};
    c.out("  layout", made.chunks, made.place);
    return made;
}
/// Words of a drawn array of the type of a, sometimes of any array.
template <class Get>
hvArrayOwner words(Case& c, Get get) {
    if (c.draw.oneIn(12)) {
        return hostWords(c.draw, c.theme.sizes(c.draw), anyClass(c), false);
    }
    return hvArrayOwner(get(*c.makeArray(c.theme.sizes(c.draw), c.a->getNumericType())));
}

ArrayRow integers[] = {
    {"getIntHvArray", kFinite, [](Case& c) { c.keep(c.a->getIntHvArray()); }},
    {"setIntHvArray", kRestructures,
     [](Case& c) { c.a->setIntHvArray(hostWords(c.draw, c.theme.sizes(c.draw), anyClass(c), isComplex(c)).get()); }},
    {"getIntArray", kFinite,
     [](Case& c) {
         const Layout made = layout(c);
         c.keep(c.a->getIntArray(made.chunks, made.place));
     }},
    {"setIntArray", kRestructures | kFinite,
     [](Case& c) {
         const Layout made = layout(c);
         c.a->setIntArray(words(c, [&](const fi& x) { return x.getIntArray(made.chunks, made.place); }).get(),
                          made.chunks, made.place);
     }},
    {"getIntArrayHvArray", kFinite,
     [](Case& c) {
         const Layout made = layout(c);
         c.keep(c.a->getIntArrayHvArray(made.chunks, made.place));
     }},
    {"setIntArrayHvArray", kRestructures | kFinite,
     [](Case& c) {
         const Layout made = layout(c);
         c.a->setIntArrayHvArray(
             words(c, [&](const fi& x) { return x.getIntArrayHvArray(made.chunks, made.place); }).get(), made.chunks,
             made.place);
     }},
    {"set32BitChunkIntArray", kElement,
     [](Case& c) {
         std::vector<std::uint32_t> chunks(static_cast<std::size_t>(c.a->numChunks()));
         for (std::uint32_t& chunk : chunks) {
             chunk = static_cast<std::uint32_t>(c.draw.bits());
         }
         chunks.back() &= (2U << static_cast<unsigned>((c.a->getWordLength() - 1) % 32)) - 1U;
         c.a->set32BitChunkIntArray(chunks.data(), chunks.data(), static_cast<int>(chunks.size()), false);
     }},
    {"convertIntArrayToFiArray", kFinite,
     [](Case& c) {
         if (!c.a->isFixed()) {
             return;
         }
         const Layout made = layout(c);
         const hvArrayOwner chunks(c.a->getIntArrayHvArray(made.chunks, made.place));
         c.keep(fi::convertIntArrayToFiArray(chunks.get(), c.a->isSigned(), c.a->getWordLength(),
                                             c.draw.between(-4, 40), made.chunks, made.place));
     }},
    {"chunks of 64 bits", kFinite,
     [](Case& c) {
         if (!c.a->isFixed() || c.a->getWordLength() <= 32) {
             return;
         }
         hvArrayOwner chunks(c.a->getIntArray(Chunks::Natural, Place::First));
         if (hvIsUint32(chunks.get())) {
             c.a->addSignExtension32BitIntArray(chunks.get());
             show(c.out, "  extended", chunks.get());
             chunks.reset(c.a->convert32BitIntArrayTo64BitIntArray(chunks.release(), true));
             show(c.out, "  wide", chunks.get());
             chunks.reset(c.a->convert64BitIntArrayTo32BitIntArray(chunks.release()));
             c.a->removeSignExtension32BitIntHvArray(chunks.get());
             show(c.out, "  narrow", chunks.get());
         }
     }},
    {"getDravelinIntArray", kFinite, [](Case& c) { c.keep(c.a->getDravelinIntArray()); }},
    {"getDravelinArray32MemoryFootPrint", kFinite, [](Case& c) { c.keep(c.a->getDravelinArray32MemoryFootPrint()); }},
    {"setDravelinIntArray", kRestructures | kFinite,
     [](Case& c) { c.a->setDravelinIntArray(words(c, [](const fi& x) { return x.getDravelinIntArray(); }).get()); }},
    {"DVArray", kElement | kFinite,
     [](Case& c) {
         const std::size_t bytes = bytesOfWord(*c.a);
         if (bytes == 0) {
             return;
         }
         void* const made = c.a->createDVArray(nullptr);
         const std::size_t count = bytes * c.a->numel() * (c.a->iscomplex() ? 2 : 1);
         std::vector<unsigned char> buffer(count);
         std::memcpy(buffer.data(), made, count);
         bsFree(made);
         c.out("  bytes", std::span<const unsigned char>(buffer));
         const bool isWhole = c.draw.oneIn(2);
         c.a->setFromDVArray(buffer.data(), isWhole);
         const Sizes sizes = sizesOf(*c.a);
         c.keep(std::make_unique<fi>(buffer.data(), sizes.data(), sizes.size(), c.a->getNumericType(), c.theme.rules,
                                     c.a->iscomplex(), "", true, embedded::OperationTypeEnum::Assignment));
     }},
    {"convertDravelinIntArrayToFiArray", kFinite,
     [](Case& c) {
         if (c.a->isFixed() && c.a->getWordLength() <= 128) {
             c.keep(fi::convertDravelinIntArrayToFiArray(
                 hvArrayOwner(c.a->getIntArrayHvArray(Chunks::AlwaysFour, Place::First)).get(), c.a->isSigned(),
                 c.a->getWordLength(), c.draw.between(-4, 40)));
         }
     }},
    {"getDoubleHvArray", kOne, [](Case& c) { c.keep(c.a->getDoubleHvArray()); }},
    {"getSingleHvArray", kOne, [](Case& c) { c.keep(c.a->getSingleHvArray()); }},
    {"getBooleanHvArray", kOne, [](Case& c) { c.keep(c.a->getBooleanHvArray()); }},
    {"setDoubleHvArray", kRestructures,
     [](Case& c) {
         c.a->setDoubleHvArray(hostArray(c.draw, c.a->getNumericType(), c.theme.sizes(c.draw),
                                         c.draw.percent(70) ? hvDOUBLE_CLASS : anyClass(c), isComplex(c))
                                   .get());
     },
     12},
};

/// Texts cost a character for each bit.
bool isShort(const fi& array) {
    return array.numel() * static_cast<std::uint64_t>(array.getWordLength()) < 6000;
}
int anyBase(Case& c) {
    const int base = c.draw.oneIn(6) ? c.draw.between(2, 36) : c.draw.of({2, 8, 10, 16});
    c.out("  base", base);
    return base;
}

ArrayRow texts[] = {
    {"num2base", kFinite,
     [](Case& c) {
         if (isShort(*c.a)) {
             c.keep(c.a->num2base(anyBase(c)));
         }
     }},
    {"num2sdec", kFinite,
     [](Case& c) {
         if (isShort(*c.a)) {
             c.keep(c.a->num2sdec());
         }
     }},
    {"base2num", kRestructures | kFinite,
     [](Case& c) {
         const std::unique_ptr<fi> source = c.makeArray(c.theme.sizes(c.draw), c.a->getNumericType());
         if (isShort(*source)) {
             const int base = anyBase(c);
             const hvArrayOwner text(source->num2base(base));
             c.a->base2num(text.get(), c.draw.oneIn(12) ? 16 : base);
         }
     }},
    {"base2num of any text", kRestructures,
     [](Case& c) {
         std::string text;
         for (int i = c.draw.between(0, 12); i > 0; --i) {
             text += c.draw.of({'0', '1', '1', '7', 'f', 'A', ' ', '-', '+', 'i', '.', 'g'});
         }
         c.out("  text", std::string_view(text));
         const hvArrayOwner host(hvCreateString(text));
         c.a->base2num(host.get(), anyBase(c));
     },
     1},
    {"disp", kFinite,
     [](Case& c) {
         if (c.a->numel() < 60) {
             c.draw.oneIn(2) ? c.a->disp() : c.a->dispArray();
         }
     }},
};

ArrayRow subscripts[] = {
    {"subscriptedReference", kElement,
     [](Case& c) {
         c.keep(c.a->subscriptedReference(
             c.plan(c.theme.sizes(c.draw), 0, static_cast<double>(c.a->numel()) - 1.0).get()));
     },
     6},
    {"subscriptedDelete", kElement,
     [](Case& c) {
         c.keep(c.a->subscriptedDelete(
             c.plan({1, c.draw.below(c.a->numel())}, 0, static_cast<double>(c.a->numel()) - 1.0).get()));
     }},
    {"subscriptedOverwriteAssignment", kPair | kElement,
     [](Case& c) {
         c.a->subscriptedOverwriteAssignment(
             c.plan(sizesOf(*c.a), -static_cast<double>(c.b->numel()), static_cast<double>(c.a->numel())).get(), *c.b);
     },
     6},
    {"subscriptedOverwriteAssignment of host", kElement | kRestructures,
     [](Case& c) {
         const Sizes sizes{1, 1 + c.draw.below(5)};
         const hvArrayOwner right = hostArray(c.draw, c.a->getNumericType(), sizes, hvDOUBLE_CLASS, isComplex(c));
         c.a->subscriptedOverwriteAssignment(
             c.plan(sizesOf(*c.a), -static_cast<double>(sizes[1]), static_cast<double>(c.a->numel())).get(),
             right.get());
     }},
    {"subscriptedGrowAssignment", kPair | kElement,
     [](Case& c) {
         c.keep(c.a->subscriptedGrowAssignment(
             c.plan(c.theme.sizes(c.draw), -static_cast<double>(c.b->numel()), static_cast<double>(c.a->numel())).get(),
             *c.b));
     },
     6},
    {"subscriptedGrowAssignment of host", kElement,
     [](Case& c) {
         const Sizes sizes{1, 1 + c.draw.below(5)};
         const hvArrayOwner right = hostArray(c.draw, c.a->getNumericType(), sizes, hvDOUBLE_CLASS, isComplex(c));
         c.keep(c.a->subscriptedGrowAssignment(
             c.plan(c.theme.sizes(c.draw), -static_cast<double>(sizes[1]), static_cast<double>(c.a->numel())).get(),
             right.get()));
     }},
};

}  // namespace

std::span<ArrayRow> integerRows() {
    return integers;
}
std::span<ArrayRow> textRows() {
    return texts;
}
std::span<ArrayRow> subscriptRows() {
    return subscripts;
}
