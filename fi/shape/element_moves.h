// Moves of elements from one array to another by a pattern: runs of adjacent elements, and their destinations.
//
// A pattern is called with a mover, whose one function `run` moves a run. Arrays of doubles are moved part by part in
// plain loops, for which the pattern is called once per part; other arrays are moved by `setvalue`, element by element.
#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <span>

#include "fi/bulk/entries.h"
#include "fi/bulk/stores.h"
#include "fi/fi.h"

namespace tolvane::detail {

/// Adjacent elements, `from` a position in the source `to` a position in the target.
struct ElementRun {
    std::uint64_t from;
    std::uint64_t to;
    std::uint64_t count = 1;
};

}  // namespace tolvane::detail

struct fi::ElementMoves {
    struct Doubles {
        /// The mark by which patterns know that they may move elements themselves.
        static constexpr bool kMovesDoubles = true;
        const double* source;
        double* target;
        void run(const tolvane::detail::ElementRun& run) const {
            std::copy_n(source + run.from, run.count, target + run.to);
        }
    };
    /// The imaginary parts of a real source.
    struct Zeros {
        double* target;
        void run(const tolvane::detail::ElementRun& run) const { std::fill_n(target + run.to, run.count, 0.0); }
    };
    /// Any step from the current element of the source to that of the target.
    template <class Step>
    struct Elements {
        const fi& source;
        fi& target;
        Step step;
        void run(const tolvane::detail::ElementRun& run) const {
            for (std::uint64_t i = 0; i < run.count; ++i) {
                source.setIndex(run.from + i);
                target.setIndex(run.to + i);
                step();
            }
        }
    };

    /// Assigns runs in blocks.
    struct Stores {
        ArrayStores& stores;
        ArrayStores::Moves& moves;
        void run(const tolvane::detail::ElementRun& run) const {
            for (std::uint64_t i = 0; i < run.count; ++i) {
                if (moves.count == moves.kMost) {
                    stores.store(moves);
                    moves.count = 0;
                }
                moves.add(run.from + i, run.to + i);
            }
        }
    };

    /// Moves stored values into an array with entries of its own. The target is complex if the source is; its current
    /// element becomes the first one.
    template <class Pattern>
    static void move(const fi& source, fi& target, Pattern&& pattern);
    /// Moves stored values into a new matrix of zeros with type, rules and tag of the source.
    template <class Pattern>
    static std::unique_ptr<fi> moved(const fi& source, std::uint64_t rows, std::uint64_t columns, Pattern&& pattern);
    /// As `moved`, for a pattern that reaches every element of the matrix.
    template <class Pattern>
    static std::unique_ptr<fi> permuted(const fi& source, std::uint64_t rows, std::uint64_t columns, Pattern&& pattern);
    /// Assigns, as `operator=` does element by element and with the same counts. Without logging, each element of the
    /// source is assigned once, however many destinations it has.
    template <class Pattern>
    static void assign(const fi& source, fi& target, Pattern&& pattern);

 private:
    template <class Pattern>
    static void assignCounted(const fi& source, fi& target, Pattern&& pattern);
};

namespace tolvane::detail {

/// Makes a matrix of zeros with type, rules and tag of another array.
inline std::unique_ptr<fi> zerosLike(const fi& array, std::uint64_t rows, std::uint64_t columns, bool isComplex) {
    return std::make_unique<fi>(rows, columns, array.getNumericType(), array.getFimath(), isComplex, array.getTag(),
                                array.getFimathIsLocal(), embedded::OperationTypeEnum::Assignment, 0U);
}

}  // namespace tolvane::detail

template <class Pattern>
void fi::ElementMoves::move(const fi& source, fi& target, Pattern&& pattern) {
    if (source.isempty() || target.isempty()) {
        return;
    }
    const auto doublesOf = [](number& part) {
        doublenumber* const doubles = part.asDouble();
        return doubles == nullptr ? nullptr : doubles->elements().data();
    };
    const double* const re = tolvane::detail::entries::doublesOf(source.mReal, source.mNumel).data();
    const double* const im =
        source.isreal() ? nullptr : tolvane::detail::entries::doublesOf(source.imagEntries(), source.mNumel).data();
    double* const toRe = doublesOf(target.mReal);
    double* const toIm = target.isreal() ? nullptr : doublesOf(target.imagEntries());
    const bool isInDoubles =
        re != nullptr && toRe != nullptr && (source.isreal() || im != nullptr) && (target.isreal() || toIm != nullptr);
    if (!isInDoubles) {
        const auto step = [&] { target.setvalue(source); };
        pattern(Elements<decltype(step)>{source, target, step});
        target.setIndex(0);
        return;
    }
    pattern(Doubles{re, toRe});
    if (im != nullptr) {
        pattern(Doubles{im, toIm});
    } else if (toIm != nullptr) {
        pattern(Zeros{toIm});
    }
}

template <class Pattern>
std::unique_ptr<fi> fi::ElementMoves::moved(const fi& source, std::uint64_t rows, std::uint64_t columns,
                                            Pattern&& pattern) {
    auto result = tolvane::detail::zerosLike(source, rows, columns, source.iscomplex());
    move(source, *result, pattern);
    return result;
}

template <class Pattern>
std::unique_ptr<fi> fi::ElementMoves::permuted(const fi& source, std::uint64_t rows, std::uint64_t columns,
                                               Pattern&& pattern) {
    if (source.isSlopeBiasScaled()) {
        return moved(source, rows, columns, pattern);  // the log has the zeros
    }
    std::unique_ptr<fi> result(new fi(Dimensions{rows, columns}, source.getNumericType(), &source.getFimath(),
                                      source.iscomplex(), source.getTag(), source.getFimathIsLocal(),
                                      embedded::OperationTypeEnum::Assignment, 0, Entries::unset));
    move(source, *result, pattern);
    return result;
}

template <class Pattern>
void fi::ElementMoves::assign(const fi& source, fi& target, Pattern&& pattern) {
    if (target.getQlogger().isLogging()) {
        assignCounted(source, target, pattern);
        target.setIndex(0);
        return;
    }
    fi assigned(1, source.numel(), target.getNumericType(), target.getFimath(), target.iscomplex(), "",
                target.getFimathIsLocal(), embedded::OperationTypeEnum::Assignment, 0U);
    const auto step = [&] { assigned = source; };
    Elements<decltype(step)>{source, assigned, step}.run({.from = 0, .to = 0, .count = source.numel()});
    move(assigned, target, pattern);
}

template <class Pattern>
void fi::ElementMoves::assignCounted(const fi& source, fi& target, Pattern&& pattern) {
    if (!ArrayStores::serve(source, target)) {
        const auto step = [&] { target = source; };
        pattern(Elements<decltype(step)>{source, target, step});
        return;
    }
    ArrayStores stores(source, target);
    ArrayStores::Moves moves;
    pattern(Stores{stores, moves});
    stores.store(moves);
    stores.handOver();
    if (moves.count > 0) {
        source.setIndex(moves.from[moves.count - 1]);
    }
}
