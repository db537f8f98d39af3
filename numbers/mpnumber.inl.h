// The array of an mpnumber and inline access to its elements, for the sources of this library whose steps are so short
// that a call would cost noticeable time. Never included by a header.
//
// An array has one form at a time: words on one grid while all elements are such integers, and MPFR floats otherwise.
// Words become floats for good when a float leaves (a write through its pointer must be seen), when one element's
// precision is changed, or when a value is set that isn't of the grid. The floats are complete before anything changes.
#pragma once

#include <optional>
#include <utility>
#include <variant>

#include "numbers/floatarray.h"
#include "numbers/mpnumber.h"
#include "numbers/mpscratch.h"
#include "numbers/wordarray.h"

struct mpnumber::State : SharedState {
    using Form = std::variant<tolvane::detail::floatarray, tolvane::detail::wordarray>;

    State(std::uint64_t count, std::uint32_t precision, Form elements)
        : SharedState(count, precision), form(std::move(elements)) {}

    /// Null if the array has the other form.
    tolvane::detail::floatarray* floats() { return std::get_if<tolvane::detail::floatarray>(&form); }
    tolvane::detail::wordarray* words() { return std::get_if<tolvane::detail::wordarray>(&form); }
    /// The precision of each element in words, and of new floats.
    mpfr_prec_t newPrecision() const { return elementPrecision(storedPrecision); }
    /// Makes the array floats if it isn't.
    tolvane::detail::floatarray& makeFloats() {
        tolvane::detail::floatarray* const held = floats();
        return held ? *held : convertToFloats();
    }
    tolvane::detail::floatarray& convertToFloats();
    void resize(std::uint64_t count);

    Form form;
};

inline mpnumber::State& mpnumber::state() const {
    return static_cast<State&>(*mState);
}

/// The current element of an array of floats.
struct mpnumber::Access {
    static mpfr_ptr modifiableElement(const mpnumber& body) { return (*body.state().floats())[body.mCursor]; }
    static mpfr_srcptr element(const mpnumber& body) { return modifiableElement(body); }
};

/// The current element for reading: the float itself, or that of a word, which lives as long as this object.
class mpnumber::Reading {
 public:
    explicit Reading(const mpnumber& body) : Reading(body, body.mCursor) {}
    Reading(const mpnumber& body, std::uint64_t index) {
        State& state = body.state();
        if (tolvane::detail::floatarray* const floats = state.floats()) {
            mValue = (*floats)[index];
        } else {
            mCopy.emplace(state.newPrecision());
            state.words()->load(index, *mCopy);
            mValue = *mCopy;
        }
    }
    Reading(const Reading&) = delete;
    Reading& operator=(const Reading&) = delete;
    operator mpfr_srcptr() const { return mValue; }

 private:
    std::optional<tolvane::detail::mpscratch> mCopy;
    mpfr_srcptr mValue;
};

/// Changes the current element by an operation on a float of its precision. Raises "fixedpoint:fi:outofmemory" before
/// anything has changed.
template <class Operation>
inline mpnumber& mpnumber::change(const Operation& operation) {
    State& s = state();
    if (tolvane::detail::floatarray* const floats = s.floats()) {
        operation((*floats)[mCursor]);
    } else {
        tolvane::detail::mpscratch value(s.newPrecision());
        s.words()->load(mCursor, value);
        operation(static_cast<mpfr_ptr>(value));
        put(value);
    }
    return *this;
}
