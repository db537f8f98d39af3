// The steps of arithmetic, each written once over the machine that runs it.
//
// No include guard: included inside a namespace, once for each instruction set where a machine works on vectors. A
// machine M has the places `product`, `pair` (sums of the two products of a complex one) and `sum`, each with a format,
// and for its cells, which hold what is being computed:
//     m.multiply(cell, a, b)    sets the cell to a * b
//     m.combine(sign, cell, x)  adds x to the cell, or subtracts it
//     m.casts(place)            whether the place converts what it adds into its format first
//     m.cast(place, x)          x, or what the conversion makes of it
//     m.quantize(place, cell)   forces the cell into the format of the place and notes it in the place's statistics
// Machines that divide also have, where `zeros` says which values are zero:
//     m.kPlus, m.kMinus         the signs
//     m.negate(cell)
//     m.isZero(x)               gives `zeros`
//     m.divide(cell, a, b, zeros)          sets the cell to a / b but where b is zero
//     m.quantizeBut(zeros, place, cell)    quantizes the others
//     m.takeBound(zeros, place, cell, a)   sets the cell to the bound of the format that a < 0 or a >= 0 lies toward
// The order of the calls is the order in which the places meet their values.

/// cell = Q(a * b)
template <class M, class Cell, class A, class B>
[[gnu::always_inline]] inline void multiplyStep(M& m, Cell& cell, const A& a, const B& b) {
    m.multiply(cell, a, b);
    m.quantize(m.product, cell);
}

/// total = Q(total + x), for a total of the place's format.
template <class M, class Place, class Sign, class Cell, class X>
[[gnu::always_inline]] inline void accumulateStep(M& m, Place& place, Sign sign, Cell& total, X& x) {
    m.combine(sign, total, m.cast(place, x));
    m.quantize(place, total);
}

/// cell = Q(cell + x)
template <class M, class Place, class Sign, class Cell, class X>
[[gnu::always_inline]] inline void combineStep(M& m, Place& place, Sign sign, Cell& cell, X& x) {
    if (m.casts(place)) {
        m.quantize(place, cell);
    }
    accumulateStep(m, place, sign, cell, x);
}

/// cell = Q(Q(cell) + Q(other)), for two products.
template <class M, class Sign, class Cell>
[[gnu::always_inline]] inline void combinePairStep(M& m, Sign sign, Cell& cell, Cell& other) {
    m.quantize(m.product, cell);
    m.quantize(m.product, other);
    combineStep(m, m.pair, sign, cell, other);
}

/// cell = Q(Q(a * b) + Q(c * d)), one part of a complex product; `other` holds the second product.
template <class M, class Sign, class Cell, class A, class B, class C, class D>
[[gnu::always_inline]] inline void multiplyPairStep(M& m, Sign sign, Cell& cell, Cell& other, const A& a, const B& b,
                                                    const C& c, const D& d) {
    m.multiply(cell, a, b);
    m.multiply(other, c, d);
    combinePairStep(m, sign, cell, other);
}

/// cell = Q(a / b), for a real b. A quotient by zero is a bound, whatever the overflow mode, and the place doesn't meet
/// it.
template <class M, class Place, class Cell, class A, class B>
[[gnu::always_inline]] inline void divideStep(M& m, Place& place, Cell& cell, const A& a, const B& b) {
    const auto zeros = m.isZero(b);
    m.divide(cell, a, b, zeros);
    m.quantizeBut(zeros, place, cell);
    m.takeBound(zeros, place, cell, a);
}

// A quotient by a complex b is a * conj(b) over its squared magnitude, which aren't quantized.

/// cell = a * b + c * d, or the difference; `other` holds the second product.
template <class M, class Sign, class Cell, class A, class B, class C, class D>
[[gnu::always_inline]] inline void combineProducts(M& m, Sign sign, Cell& cell, Cell& other, const A& a, const B& b,
                                                   const C& c, const D& d) {
    m.multiply(cell, a, b);
    m.multiply(other, c, d);
    m.combine(sign, cell, other);
}

/// cell = |b|^2
template <class M, class Cell, class B>
[[gnu::always_inline]] inline void squareMagnitude(M& m, Cell& cell, Cell& other, const B& bReal, const B& bImag) {
    combineProducts(m, m.kPlus, cell, other, bReal, bReal, bImag, bImag);
}

/// real + i imag = a * conj(b)
template <class M, class Cell, class A, class B>
[[gnu::always_inline]] inline void multiplyByConjugate(M& m, Cell& real, Cell& imag, Cell& other, const A& aReal,
                                                       const A& aImag, const B& bReal, const B& bImag) {
    combineProducts(m, m.kPlus, real, other, aReal, bReal, aImag, bImag);
    combineProducts(m, m.kMinus, imag, other, aImag, bReal, aReal, bImag);
}
/// The same for a real a.
template <class M, class Cell, class A, class B>
[[gnu::always_inline]] inline void multiplyByConjugate(M& m, Cell& real, Cell& imag, const A& a, const B& bReal,
                                                       const B& bImag) {
    m.multiply(real, a, bReal);
    m.multiply(imag, a, bImag);
    m.negate(imag);
}
