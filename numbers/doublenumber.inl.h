// The array of a doublenumber, its accessors and its rounding.
#pragma once

#include "numbers/TolvaneKit.h"
#include "numbers/doublenumber.h"
#include "numbers/rounding.h"

struct doublenumber::State : SharedState {
    /// Make `count` zeros, or values to be set; raise "fixedpoint:fi:outofmemory".
    template <class Tag>
    State(std::uint64_t count, std::uint32_t precision, Tag tag);
    ~State();
    void resize(std::uint64_t count);

    /// Null if empty, `single` for one element, otherwise in `block` at the start of a cache line, so that vectors
    /// of any width lie in one line.
    double* elements = nullptr;
    union {
        double single = 0.0;
        void* block;  // memory for bsFree
    };

 private:
    void freeBlock();
};

doublenumber::State& doublenumber::state() const {
    return static_cast<State&>(*mState);
}

template <class Rule>
inline doublenumber& doublenumber::apply() {
    double& x = getmodifiableelement();
    x = Rule::apply(x);
    return *this;
}
template <class Rule>
inline doublenumber& doublenumber::applyAtBit(int n) {
    double& x = getmodifiableelement();
    x = tolvane::detail::rounding::applyAtBit<Rule>(x, n);
    return *this;
}

std::span<double> doublenumber::elements() {
    return {state().elements, state().elementCount};
}
std::span<const double> doublenumber::elements() const {
    return {state().elements, state().elementCount};
}
double doublenumber::getelement() const {
    return state().elements[mCursor];
}
double doublenumber::getelement(std::uint64_t index) const {
    return state().elements[index];
}
double& doublenumber::getmodifiableelement() {
    return state().elements[mCursor];
}
double& doublenumber::getmodifiableelement(std::uint64_t index) {
    return state().elements[index];
}
void doublenumber::setelement(double value) {
    state().elements[mCursor] = value;
}
doublenumber& doublenumber::mod(const doublenumber& divisor) {
    setelement(TolvaneKit::mod(getelement(), divisor.getelement()));
    return *this;
}
doublenumber& doublenumber::pow2(int n) {
    setelement(tolvane::detail::rounding::scaleByPowerOfTwo(getelement(), n));
    return *this;
}
doublenumber& doublenumber::ceil(int n) {
    return applyAtBit<tolvane::detail::rounding::CeilRule>(n);
}
doublenumber& doublenumber::ceil() {
    return apply<tolvane::detail::rounding::CeilRule>();
}
doublenumber& doublenumber::convergent(int n) {
    return applyAtBit<tolvane::detail::rounding::ConvergentRule>(n);
}
doublenumber& doublenumber::convergent() {
    return apply<tolvane::detail::rounding::ConvergentRule>();
}
doublenumber& doublenumber::fix(int n) {
    return applyAtBit<tolvane::detail::rounding::FixRule>(n);
}
doublenumber& doublenumber::fix() {
    return apply<tolvane::detail::rounding::FixRule>();
}
doublenumber& doublenumber::floor(int n) {
    return applyAtBit<tolvane::detail::rounding::FloorRule>(n);
}
doublenumber& doublenumber::floor() {
    return apply<tolvane::detail::rounding::FloorRule>();
}
doublenumber& doublenumber::nearest(int n) {
    return applyAtBit<tolvane::detail::rounding::NearestRule>(n);
}
doublenumber& doublenumber::nearest() {
    return apply<tolvane::detail::rounding::NearestRule>();
}
doublenumber& doublenumber::round(int n) {
    return applyAtBit<tolvane::detail::rounding::RoundRule>(n);
}
doublenumber& doublenumber::round() {
    return apply<tolvane::detail::rounding::RoundRule>();
}
