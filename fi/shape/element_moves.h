// Moves of elements from one array to another by a pattern: runs of adjacent elements, and their destinations.
//
// A pattern is called with a mover, whose one function `run` moves a run. Arrays of doubles, and of words of one grid,
// are moved part by part in plain loops, for which the pattern is called once per part; other arrays are moved by
// `setvalue`, element by element.
#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <type_traits>
#include <utility>

#include "fi/bulk/entries.h"
#include "fi/bulk/stores.h"
#include "fi/bulk/wide_stores.h"
#include "fi/fi.h"
#include "numbers/mpnumber.h"
#include "numbers/wordarray.h"

namespace tolvane::detail {

/// Adjacent elements, `from` a position in the source `to` a position in the target.
struct ElementRun {
    std::uint64_t from;
    std::uint64_t to;
    std::uint64_t count = 1;
};

}  // namespace tolvane::detail

struct fi::ElementMoves {
    /// Plain values. Patterns may move them themselves.
    template <class T>
    struct Values {
        using Value = T;
        const T* source;
        T* target;
        void run(const tolvane::detail::ElementRun& run) const {
            std::copy_n(source + run.from, run.count, target + run.to);
        }
    };
    template <std::size_t count>
    struct Limbs {
        mp_limb_t limbs[count];
    };
    /// Words of any length, or only the signs of their zeros.
    struct Words {
        tolvane::detail::WordSpan source;
        tolvane::detail::wordarray& target;
        void run(const tolvane::detail::ElementRun& run) const { target.copyRun(source, run.from, run.to, run.count); }
    };
    struct SignsOfZeros {
        tolvane::detail::WordSpan source;
        tolvane::detail::wordarray& target;
        void run(const tolvane::detail::ElementRun& run) const {
            target.copySignsOfZeros(source, run.from, run.to, run.count);
        }
    };
    /// The imaginary parts of a real source.
    struct Zeros {
        double* target;
        void run(const tolvane::detail::ElementRun& run) const { std::fill_n(target + run.to, run.count, 0.0); }
    };
    struct ZeroWords {
        tolvane::detail::wordarray& target;
        void run(const tolvane::detail::ElementRun& run) const { target.clearRun(run.to, run.count); }
    };
    /// Moves nothing, and notes the last element that is moved.
    struct Last {
        static constexpr bool kNotesLast = true;
        const fi& source;
        void run(const tolvane::detail::ElementRun& run) const {
            if (run.count > 0) {
                source.setIndex(run.from + run.count - 1);
            }
        }
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
    template <class Store>
    struct Stores {
        const Store& store;
        ArrayStores::Moves& moves;
        void run(const tolvane::detail::ElementRun& run) const {
            for (std::uint64_t i = 0; i < run.count; ++i) {
                if (moves.count == moves.kMost) {
                    store();
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
    static void movePart(const number* from, number& to, Pattern&& pattern);
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
    const number* const im = source.isreal() ? nullptr : &source.imagEntries();
    number* const toIm = target.isreal() ? nullptr : &target.imagEntries();
    const auto canMove = [&source](const number* from, const number& to) {
        if (to.asDouble()) {
            return !from || tolvane::detail::entries::isInDoubles(*from, source.mNumel);
        }
        const mpnumber* const words = to.asWords();
        const mpnumber* const fromWords = from ? from->asWords() : nullptr;
        return words &&
               (!from || (fromWords && *fromWords->grid() == *words->grid() && from->numel() == source.mNumel));
    };
    if (!canMove(&source.mReal, target.mReal) || (im && !toIm) || (toIm && !canMove(im, *toIm))) {
        const auto step = [&] { target.setvalue(source); };
        pattern(Elements<decltype(step)>{source, target, step});
        target.setIndex(0);
        return;
    }
    movePart(&source.mReal, target.mReal, pattern);
    if (toIm) {
        movePart(im, *toIm, pattern);
    }
    if (!target.mReal.asDouble()) {
        // Element steps leave these current.
        pattern(Last{source});
        target.setIndex(0);
    }
}

/// `from` is null for zeros.
template <class Pattern>
void fi::ElementMoves::movePart(const number* from, number& to, Pattern&& pattern) {
    if (doublenumber* const doubles = to.asDouble()) {
        double* const out = doubles->elements().data();
        if (from) {
            pattern(Values<double>{from->asDouble()->elements().data(), out});
        } else {
            pattern(Zeros{out});
        }
        return;
    }
    mpnumber& body = *to.asWords();
    tolvane::detail::wordarray& out = body.rewrite(*body.grid());
    if (!from) {
        pattern(ZeroWords{out});
        return;
    }
    const tolvane::detail::WordSpan words = from->asWords()->words();
    const auto byLimbs = [&]<std::size_t limbs>(std::integral_constant<std::size_t, limbs>) {
        using Word = Limbs<limbs>;
        pattern(Values<Word>{reinterpret_cast<const Word*>(words.limbs), reinterpret_cast<Word*>(out.limbs())});
        if (words.negativeZeros || out.span().negativeZeros) {
            pattern(SignsOfZeros{words, out});
        }
    };
    switch (words.grid.limbs()) {
        case 1:
            byLimbs(std::integral_constant<std::size_t, 1>());
            break;
        case 2:
            byLimbs(std::integral_constant<std::size_t, 2>());
            break;
        case 4:
            byLimbs(std::integral_constant<std::size_t, 4>());
            break;
        default:
            pattern(Words{words, out});
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
    if (WideStores::assign(source, assigned)) {
        source.setIndex(source.numel() - 1);
    } else {
        const auto step = [&] { assigned = source; };
        Elements<decltype(step)>{source, assigned, step}.run({.from = 0, .to = 0, .count = source.numel()});
    }
    move(assigned, target, pattern);
}

template <class Pattern>
void fi::ElementMoves::assignCounted(const fi& source, fi& target, Pattern&& pattern) {
    const auto run = [&](auto& stores) {
        const qlogger& log = target.getQlogger();
        auto total = stores.emptyTally();
        ArrayStores::Moves moves;
        const auto store = [&] {
            auto block = stores.emptyTally();
            stores.store(moves, block);
            ArrayStores::append(std::move(block), log, total, [&] { return *stores.firstZero(moves); });
        };
        pattern(Stores<decltype(store)>{store, moves});
        store();
        total.handTo(log);
        if (moves.count > 0) {
            source.setIndex(moves.from[moves.count - 1]);
        }
    };
    if (ArrayStores::serve(source, target)) {
        ArrayStores stores(source, target);
        run(stores);
    } else if (auto wide = WideStores::of(source, target, WideStores::Extent::some)) {
        wide->open(wide->width());
        run(*wide);
    } else {
        const auto step = [&] { target = source; };
        pattern(Elements<decltype(step)>{source, target, step});
    }
}
