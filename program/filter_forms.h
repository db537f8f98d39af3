// The difference equations of the filters' forms, written once over the machine that runs them: ranges of values
// and blocks of limbs (program/filters.cpp), and plain integers (program/filter_loops.cpp).
//
// A machine has two kinds of values. A Factor is what coefficients multiply, a Sum is what is added; machines may hold
// them in different units. Products come as sums.
#pragma once

#include <cstddef>

#include "program/filters.h"

namespace tolvane::detail {

/// The places of a section; `state` has one for delays of inputs and of sums, and one for delays of outputs.
enum class Node : std::uint8_t { input, productB, productA, sumB, sumA, state, outputState, output };
constexpr std::size_t kNodes = 8;
constexpr std::size_t indexOf(Node node) {
    return static_cast<std::size_t>(node);
}

/// The delays of a section. Those of direct2 and transposed2 are all in the first chain.
enum class Chain : std::uint8_t { b, a };

/// How many delays each chain has.
struct ChainLengths {
    std::size_t b;
    std::size_t a;
};
constexpr ChainLengths chainLengths(filter_form form, std::size_t b, std::size_t a) {
    const bool isOneChain = form == filter_form::direct2 || form == filter_form::transposed2;
    return isOneChain ? ChainLengths{b > a ? b : a, 0} : ChainLengths{b, a};
}

/// Moves the delays of a chain on, and puts what `make` gives into the first.
template <class Machine, class Make>
[[gnu::always_inline]] inline void pushDelay(Machine& m, Chain chain, std::size_t count, const Make& make) {
    for (std::size_t k = count; k > 1; --k) {
        m.hold(chain, k, m.delayed(chain, k - 1));
    }
    if (count > 0) {
        m.hold(chain, 1, make());
    }
}

/// One sample through a section: from what `input` made of it to what the section gives.
template <filter_form kForm, class Machine>
[[gnu::always_inline]] inline typename Machine::Factor filterStep(Machine& m, const typename Machine::Factor& u) {
    using Sum = typename Machine::Sum;
    using Factor = typename Machine::Factor;
    const std::size_t b = m.countB();
    const std::size_t a = m.countA();
    if constexpr (kForm == filter_form::direct1) {
        Sum sum = m.template place<Node::sumB>(m.productB(0, u));
        for (std::size_t k = 1; k <= b; ++k) {
            sum = m.template place<Node::sumB>(m.add(sum, m.productB(k, m.delayed(Chain::b, k))));
        }
        for (std::size_t k = 1; k <= a; ++k) {
            sum = m.template place<Node::sumA>(m.addFeedback(sum, m.productA(k, m.delayed(Chain::a, k))));
        }
        const Factor y = m.template factor<Node::output>(sum);
        pushDelay(m, Chain::b, b, [&] { return m.template replace<Node::state>(u); });
        pushDelay(m, Chain::a, a, [&] { return m.template replace<Node::outputState>(y); });
        return y;
    } else if constexpr (kForm == filter_form::direct2) {
        Sum feedback = m.term(u);
        for (std::size_t k = 1; k <= a; ++k) {
            feedback = m.template place<Node::sumA>(m.addFeedback(feedback, m.productA(k, m.delayed(Chain::b, k))));
        }
        const Factor w = m.template factor<Node::state>(feedback);
        Sum sum = m.template place<Node::sumB>(m.productB(0, w));
        for (std::size_t k = 1; k <= b; ++k) {
            sum = m.template place<Node::sumB>(m.add(sum, m.productB(k, m.delayed(Chain::b, k))));
        }
        pushDelay(m, Chain::b, b > a ? b : a, [&] { return w; });
        return m.template factor<Node::output>(sum);
    } else if constexpr (kForm == filter_form::transposed1) {
        Sum feedback = m.term(u);
        if (a > 0) {
            feedback = m.template place<Node::sumA>(m.add(feedback, m.held(Chain::a, 1)));
        }
        const Factor w = m.factorOf(feedback);
        Sum sum = m.productB(0, w);
        if (b > 0) {
            sum = m.add(sum, m.held(Chain::b, 1));
        }
        const Factor y = m.template factor<Node::output>(m.template place<Node::sumB>(sum));
        for (std::size_t k = 1; k <= a; ++k) {
            const Sum product = m.productA(k, w);
            const Sum next = k < a ? m.addFeedback(m.held(Chain::a, k + 1), product) : m.feedback(product);
            m.hold(Chain::a, k, m.template place<Node::state>(m.template place<Node::sumA>(next)));
        }
        for (std::size_t k = 1; k <= b; ++k) {
            const Sum product = m.productB(k, w);
            const Sum next = k < b ? m.add(m.held(Chain::b, k + 1), product) : product;
            m.hold(Chain::b, k, m.template place<Node::state>(m.template place<Node::sumB>(next)));
        }
        return y;
    } else {
        const std::size_t delays = b > a ? b : a;
        Sum sum = m.productB(0, u);
        if (delays > 0) {
            sum = m.add(sum, m.held(Chain::b, 1));
        }
        const Factor y = m.template factor<Node::output>(m.template place<Node::sumB>(sum));
        for (std::size_t k = 1; k <= delays; ++k) {
            Sum next{};
            if (k <= b) {
                const Sum product = m.productB(k, u);
                next = m.template place<Node::sumB>(k < delays ? m.add(m.held(Chain::b, k + 1), product) : product);
            } else if (k < delays) {
                next = m.held(Chain::b, k + 1);
            }
            if (k <= a) {
                const Sum product = m.productA(k, y);
                const bool isAlone = k > b && k == delays;
                next = m.template place<Node::sumA>(isAlone ? m.feedback(product) : m.addFeedback(next, product));
            }
            m.hold(Chain::b, k, m.template place<Node::state>(next));
        }
        return y;
    }
}

}  // namespace tolvane::detail
