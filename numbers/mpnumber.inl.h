// The array of an mpnumber and inline access to its elements, for the sources of this library whose steps are so short
// that a call would cost noticeable time. Never included by a header.
#pragma once

#include "numbers/mpnumber.h"

struct mpnumber::State : SharedState {
    /// Makes `count` zeros; raises "fixedpoint:fi:outofmemory".
    State(std::uint64_t count, std::uint32_t precision);
    ~State();
    void resize(std::uint64_t count);
    /// Rounds an element to another precision, in a float with its own allocation.
    void replace(std::uint64_t index, mpfr_prec_t precision);
    bool isInBlock(mpfr_srcptr element) const;

    /// Null if empty, otherwise the start of `block`.
    mpfr_ptr* elements = nullptr;
    /// From bsMalloc: the pointers, then each float with its significand.
    void* block = nullptr;
    std::uint64_t blockBytes = 0;
    /// Whether an element was replaced by one with its own allocation.
    bool hasReplaced = false;
};

inline mpnumber::State& mpnumber::state() const {
    return static_cast<State&>(*mState);
}

struct mpnumber::Access {
    static mpfr_srcptr element(const mpnumber& body) { return body.state().elements[body.mCursor]; }
    static mpfr_ptr modifiableElement(mpnumber& body) { return body.state().elements[body.mCursor]; }
};
