#include "fi/bulk/wide_elementwise.h"

#include <algorithm>
#include <array>
#include <bit>
#include <optional>
#include <utility>
#include <vector>

#include "fi/bulk/integer_machine.h"
#include "fi/bulk/wide_parts.h"
#include "fi/result_types/plain_words.h"
#include "fi/result_types/work_cells.h"
#include "quantization/tally.h"

namespace tolvane::detail::wide {

namespace {

using integers::Arena;
using integers::Block;
using integers::Extent;
using integers::IntegerTally;
using integers::kBlock;

/// The element precision of cells, as a number of bits.
int cellBits(unsigned precision) {
    return static_cast<int>(mpnumber::elementPrecision(precision));
}

/// Runs blocks one after the other. `runBlock(begin, length)` computes one and notes it in the tallies if anything is
/// counted; it returns a bit for each element that is in doubt. `logMath(length)` counts its operations.
template <std::size_t places, class RunBlock, class LogMath>
void runBlocks(const Results& results, bool counts, Ledger<IntegerTally, places> ledger,
               std::array<IntegerTally, places>& tallies, const RunBlock& runBlock, const LogMath& logMath,
               const ByElements& byElements) {
    const std::uint64_t count = results.count();
    std::array<const IntegerTally*, places> noted;
    std::ranges::transform(tallies, noted.begin(), [](const IntegerTally& tally) { return &tally; });
    // What is counted goes into the ledger for many blocks at a time; the first one mostly has a value beyond zero,
    // after which no zero is an extreme.
    constexpr std::uint64_t kManyBlocks = 16 * kBlock;
    for (std::uint64_t begin = 0, end = 0; begin < count; begin = end) {
        end = std::min(count, begin + (counts && begin > 0 ? kManyBlocks : kBlock));
        bool hasDoubts = false;
        for (std::uint64_t at = begin; at < end; at += kBlock) {
            std::uint64_t doubts = runBlock(at, static_cast<std::size_t>(std::min<std::uint64_t>(kBlock, end - at)));
            hasDoubts = hasDoubts || doubts != 0;
            for (; !counts && doubts != 0; doubts &= doubts - 1) {
                const std::uint64_t i = at + static_cast<unsigned>(std::countr_zero(doubts));
                byElements(i, i + 1);
            }
        }
        if (counts && !hasDoubts && ledger.append(noted)) {
            logMath(end - begin);
        } else if (counts) {
            ledger.handOver();
            byElements(begin, end);
        }
        if ((counts || hasDoubts) && !results.areHeld()) {
            byElements(end, count);
            return;
        }
        std::ranges::for_each(tallies, [](IntegerTally& tally) { tally.clear(); });
    }
    if (counts) {
        ledger.handOver();
    }
}

}  // namespace

namespace {

/// One part of a sum; without a right term it is only quantized, as the zero of a real operand isn't added.
struct PartOfSum {
    Source left;
    std::optional<Source> right;
};

template <class Machine, class Cell, class Term>
void addStep(Machine& machine, Sign sign, Cell& total, Term* term) {
    if (term) {
        steps::combineStep(machine, machine.sum, sign, total, *term);
        return;
    }
    if (machine.casts(machine.sum)) {
        machine.quantize(machine.sum, total);
    }
    machine.quantize(machine.sum, total);
}

}  // namespace

bool add(Sign sign, const fi& left, const fi& right, const broadcasting& operands, fi& result, bool castsBeforeSum,
         unsigned precision, const ByElements& byElements) {
    const quantizer& q = result.getAssignmentQuantizer();
    const std::uint64_t count = result.numel();
    if (!q.isFixedPoint()) {
        return false;
    }
    std::optional<Operand> a = Operand::of(left, count, operands.leftIsScalar());
    std::optional<Operand> b = Operand::of(right, count, operands.rightIsScalar());
    if (!a || !b) {
        return false;
    }
    std::vector<PartOfSum> parts;
    parts.push_back({std::move(a->real), std::move(b->real)});
    if (result.iscomplex()) {
        parts.push_back({a->imag ? std::move(*a->imag) : Source::zeros(), std::move(b->imag)});
    }

    const integers::Format format = integers::formatOf(q);
    const ExtentMachine::Place extents{format, castsBeforeSum, cellBits(precision)};
    ExtentMachine proof(extents, extents, extents);
    for (const PartOfSum& part : parts) {
        Extent total = part.left.extent();
        const Extent term = part.right ? part.right->extent() : Extent();
        proof.hold(total);
        proof.hold(term);
        addStep(proof, sign, total, part.right ? &term : nullptr);
    }
    std::optional<Results> out = proof.holds() ? Results::of(result) : std::nullopt;
    if (!out) {
        return false;
    }

    const qlogger& log = q.getQlogger();
    const bool counts = log.isLogging();
    const std::size_t width = proof.width();
    Arena arena(width, 2 + 2 * parts.size());
    std::array tallies{IntegerTally(width)};
    const IntegerMachine::Place sum{format, castsBeforeSum, counts ? tallies.data() : nullptr};
    IntegerMachine machine(sum, sum, sum, width, arena.next());
    Block total = arena.next();
    for (PartOfSum& part : parts) {
        part.left.open(arena, width);
        if (part.right) {
            part.right->open(arena, width);
        }
    }
    runBlocks(
        *out, counts, Ledger<IntegerTally, 1>({&log}, tallies.front()), tallies,
        [&](std::uint64_t begin, std::size_t length) {
            machine.setCount(length);
            for (std::size_t i = 0; i < parts.size(); ++i) {
                parts[i].left.take(begin, length, total);
                addStep(machine, sign, total, parts[i].right ? &parts[i].right->block(begin, length) : nullptr);
                out->part(i).store(total, begin, length, width);
            }
            return std::uint64_t{0};
        },
        [&](std::size_t length) { addMathOperations(log, length); }, byElements);
    operands.settle(result);
    return true;
}

// Products.

namespace {

/// One part of a product: left * right, or with a second pair of factors their sum or difference.
struct PartOfProduct {
    Source* left;
    Source* right;
    Source* secondLeft = nullptr;
    Source* secondRight = nullptr;
    Sign sign = Sign::plus;
};

template <class Machine, class Cell, class Factor>
void multiplyPart(Machine& machine, const PartOfProduct& part, Cell& cell, Cell& other, const Factor& factor) {
    if (part.secondLeft) {
        steps::multiplyPairStep(machine, part.sign, cell, other, factor(part.left), factor(part.right),
                                factor(part.secondLeft), factor(part.secondRight));
    } else {
        steps::multiplyStep(machine, cell, factor(part.left), factor(part.right));
    }
}

}  // namespace

bool multiply(const fi& left, const fi& right, const broadcasting& operands, fi& result, const ProductPlaces& places,
              const ByElements& byElements) {
    const std::uint64_t count = result.numel();
    const bool isComplexByComplex = left.iscomplex() && right.iscomplex();
    if (!places.product.isFixedPoint() || (isComplexByComplex && !places.sum.isFixedPoint())) {
        return false;
    }
    std::optional<Operand> a = Operand::of(left, count, left.isscalar());
    std::optional<Operand> b = Operand::of(right, count, right.isscalar());
    if (!a || !b) {
        return false;
    }
    std::vector<PartOfProduct> parts;
    if (isComplexByComplex) {
        parts.push_back({&a->real, &b->real, &*a->imag, &*b->imag, Sign::minus});
        parts.push_back({&*a->imag, &b->real, &a->real, &*b->imag, Sign::plus});
    } else {
        parts.push_back({&a->real, &b->real});
        if (a->imag) {
            parts.push_back({&*a->imag, &b->real});
        }
    }
    const integers::Format productFormat = integers::formatOf(places.product);
    const integers::Format sumFormat = isComplexByComplex ? integers::formatOf(places.sum) : productFormat;
    const int precision = cellBits(places.precision);
    const ExtentMachine::Place sumExtents{sumFormat, places.castsBeforeSum, precision};
    ExtentMachine proof({productFormat, false, precision}, sumExtents, sumExtents);
    int factorBits = 0;
    for (const PartOfProduct& part : parts) {
        Extent cell;
        Extent other;
        multiplyPart(proof, part, cell, other, [&](const Source* source) {
            factorBits = std::max(factorBits, neededBits(source->extent()));
            return source->extent();
        });
    }
    std::optional<Results> out = proof.holds() ? Results::of(result) : std::nullopt;
    if (!out) {
        return false;
    }

    const qlogger& pairLog = places.sum.getQlogger();
    const qlogger& resultLog = result.getQlogger();
    const bool countsResults = qlogger::getLogging();
    const bool counts = places.productLog.isLogging() || pairLog.isLogging() || countsResults;
    const std::size_t width = proof.width();
    const std::size_t factorWidth = integers::widthFor(factorBits);
    Arena arena(width, 3);
    Arena factors(factorWidth, 4);
    std::array tallies{IntegerTally(width), IntegerTally(width), IntegerTally(width)};
    IntegerTally& productTally = tallies[0];
    IntegerTally& pairTally = tallies[1];
    IntegerTally& resultTally = tallies[2];
    const IntegerMachine::Place sum{sumFormat, places.castsBeforeSum, counts ? &pairTally : nullptr};
    IntegerMachine machine({productFormat, false, counts ? &productTally : nullptr}, sum, sum, width, arena.next());
    Block cell = arena.next();
    Block other = arena.next();
    for (Source* const source : {&a->real, &b->real, a->imag ? &*a->imag : nullptr, b->imag ? &*b->imag : nullptr}) {
        if (source) {
            source->open(factors, factorWidth);
        }
    }
    machine.setFactorWidth(factorWidth);
    runBlocks(
        *out, counts, Ledger<IntegerTally, 3>({&places.productLog, &pairLog, &resultLog}, productTally), tallies,
        [&](std::uint64_t begin, std::size_t length) {
            machine.setCount(length);
            for (std::size_t i = 0; i < parts.size(); ++i) {
                multiplyPart(machine, parts[i], cell, other,
                             [&](Source* source) -> const Block& { return source->block(begin, length); });
                if (countsResults) {
                    // The store in the result, which is of their format, is logged, too.
                    integers::Notes notes = resultTally.blank();
                    integers::watch(cell, length, width, notes);
                    resultTally.join(notes, length, cell.extent.exponent);
                }
                out->part(i).store(cell, begin, length, width);
            }
            return std::uint64_t{0};
        },
        [&](std::size_t length) {
            if (!isComplexByComplex) {
                addMathOperations(places.productLog, length);
            }
        },
        byElements);
    operands.settle(result);
    return true;
}

// Quotients.

namespace {

/// Both parts of an operand as a machine has them; `imag` is null for a real one.
template <class Cell>
struct Parts {
    Cell* real;
    Cell* imag;
};

/// The cells of a division.
template <class Cell>
struct DivisionCells {
    Cell numerators[2];
    Cell divisor;
    Cell other;
    Cell quotients[2];
};

/// Divides both parts of a by b.
template <class Machine, class Cell>
void divideParts(Machine& machine, const Parts<Cell>& a, const Parts<Cell>& b, DivisionCells<Cell>& cells) {
    const auto divide = [&](Cell& quotient, Cell& numerator, Cell& divisor) {
        steps::divideStep(machine, machine.product, quotient, numerator, divisor);
    };
    if (!b.imag) {
        divide(cells.quotients[0], *a.real, *b.real);
        if (a.imag) {
            // The first division has scaled the divisor.
            divide(cells.quotients[1], *a.imag, cells.divisor);
        }
        return;
    }
    steps::squareMagnitude(machine, cells.divisor, cells.other, *b.real, *b.imag);
    if (a.imag) {
        steps::multiplyByConjugate(machine, cells.numerators[0], cells.numerators[1], cells.other, *a.real, *a.imag,
                                   *b.real, *b.imag);
    } else {
        steps::multiplyByConjugate(machine, cells.numerators[0], cells.numerators[1], *a.real, *b.real, *b.imag);
    }
    machine.keep(cells.divisor, cells.other);
    divide(cells.quotients[0], cells.numerators[0], cells.divisor);
    divide(cells.quotients[1], cells.numerators[1], cells.other);
}

}  // namespace

std::optional<bool> divide(const fi& left, const fi& right, const broadcasting& operands, unsigned precision,
                           fi& result, const ByElements& byElements) {
    const quantizer& q = result.getAssignmentQuantizer();
    const std::uint64_t count = result.numel();
    if (!q.isFixedPoint() || areEntriesDoubles(precision) || number::getDefaultForceMultiplePrecision() || count == 0) {
        return std::nullopt;
    }
    std::optional<Operand> a = Operand::of(left, count, left.isscalar());
    std::optional<Operand> b = Operand::of(right, count, right.isscalar());
    if (!a || !b) {
        return std::nullopt;
    }
    const integers::Format format = integers::formatOf(q);
    const ExtentMachine::Place extents{format, false, cellBits(precision)};
    ExtentMachine proof(extents, extents, extents);
    const auto extentOf = [&](std::optional<Source>& imag, Source& real) {
        // One extent for both parts.
        Extent both = real.extent();
        if (imag) {
            const int exponent = std::min(both.exponent, imag->extent().exponent);
            both = {exponent,
                    std::max(both.bits + (both.exponent - exponent),
                             imag->extent().bits + (imag->extent().exponent - exponent)),
                    true};
        }
        proof.hold(both);
        return both;
    };
    Extent extentOfA = extentOf(a->imag, a->real);
    Extent extentOfB = extentOf(b->imag, b->real);
    DivisionCells<Extent> cellExtents;
    cellExtents.divisor = extentOfB;
    divideParts(proof, Parts<Extent>{&extentOfA, a->imag ? &extentOfA : nullptr},
                Parts<Extent>{&extentOfB, b->imag ? &extentOfB : nullptr}, cellExtents);
    // The parts of complex quotients are rounded before they are divided, too.
    const bool holds = proof.holds() && (proof.quotients().precision == 0 || right.isreal());
    std::optional<Results> out = holds ? Results::of(result) : std::nullopt;
    if (!out) {
        return std::nullopt;
    }

    const qlogger& log = q.getQlogger();
    const bool counts = log.isLogging();
    const std::size_t width = proof.width();
    Arena arena(width, 15);
    std::array tallies{IntegerTally(width)};
    const IntegerMachine::Place place{format, false, counts ? tallies.data() : nullptr};
    IntegerMachine machine(place, place, place, width, arena.next());
    machine.setFactorWidth(width);
    machine.setQuotients(proof.quotients());
    for (Source* const source : {&a->real, &b->real, a->imag ? &*a->imag : nullptr, b->imag ? &*b->imag : nullptr}) {
        if (source) {
            source->open(arena, width);
        }
    }
    Block leftBlocks[] = {arena.next(), arena.next()};
    Block rightBlocks[] = {arena.next(), arena.next()};
    DivisionCells<Block> cells{{arena.next(), arena.next()}, arena.next(), arena.next(), {arena.next(), arena.next()}};
    runBlocks(
        *out, counts, Ledger<IntegerTally, 1>({&log}, tallies.front()), tallies,
        [&](std::uint64_t begin, std::size_t length) {
            machine.setCount(length);
            const auto take = [&](const Operand& x, Block* blocks) {
                x.real.take(begin, length, blocks[0]);
                if (x.imag) {
                    x.imag->take(begin, length, blocks[1]);
                }
                return Parts<Block>{&blocks[0], x.imag ? &blocks[1] : nullptr};
            };
            const Parts<Block> divisors = take(*b, rightBlocks);
            machine.keep(rightBlocks[0], cells.divisor);
            divideParts(machine, take(*a, leftBlocks), divisors, cells);
            for (std::size_t i = 0; i < (result.iscomplex() ? 2U : 1U); ++i) {
                out->part(i).store(cells.quotients[i], begin, length, width);
            }
            return machine.takeDoubts();
        },
        [](std::size_t) {}, byElements);
    operands.settle(result);
    return right.real().iszero() && (right.isreal() || right.imag().iszero());
}

}  // namespace tolvane::detail::wide
