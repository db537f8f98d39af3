#include "program/filter_loops.h"

#include <algorithm>

namespace tolvane::detail {

namespace {

constexpr unsigned bitOf(Node node) {
    return 1U << indexOf(node);
}

// Sets of nodes that loops are made for, so that those without a format cost nothing.
constexpr unsigned kAnyNodes = 1U << kNodes;  // the section says which
constexpr unsigned kOutput = bitOf(Node::output);
constexpr unsigned kAllNodes = kAnyNodes - 1;

constexpr std::size_t kBiquad = 2;
constexpr std::size_t kAnyOrder = 0;

template <class Int, filter_form kForm, LoopRule kRule, unsigned kSet, std::size_t kOrder, bool kIsLogged>
class LoopMachine {
 public:
    using Factor = Int;
    using Sum = Int;

    [[gnu::always_inline]] explicit LoopMachine(LoopSection<Int>& section) : mSection(section) {
        if constexpr (kOrder != kAnyOrder) {
            std::copy_n(section.b.begin(), kOrder + 1, mB.begin());
            std::copy_n(section.a.begin(), kOrder, mA.begin());
            for (std::size_t chain = 0; chain < 2; ++chain) {
                std::copy(section.delays[chain].begin(), section.delays[chain].end(), mDelays[chain].begin());
            }
            mPlaces = section.places;
        }
    }
    [[gnu::always_inline]] void close() {
        if constexpr (kOrder != kAnyOrder) {
            for (std::size_t chain = 0; chain < 2; ++chain) {
                std::copy_n(mDelays[chain].begin(), mSection.delays[chain].size(), mSection.delays[chain].begin());
            }
            mSection.places = mPlaces;
        }
    }

    [[gnu::always_inline]] std::size_t countB() const { return kOrder != kAnyOrder ? kOrder : mSection.b.size() - 1; }
    [[gnu::always_inline]] std::size_t countA() const { return kOrder != kAnyOrder ? kOrder : mSection.a.size(); }
    [[gnu::always_inline]] Int input(Int x) { return replace<Node::input>(mSection.hasGain ? x * mSection.gain : x); }
    [[gnu::always_inline]] Int productB(std::size_t k, Int x) {
        return place<Node::productB>((kOrder != kAnyOrder ? mB[k] : mSection.b[k]) * x);
    }
    [[gnu::always_inline]] Int productA(std::size_t k, Int x) {
        return place<Node::productA>((kOrder != kAnyOrder ? mA[k - 1] : mSection.a[k - 1]) * x);
    }
    [[gnu::always_inline]] Int add(Int sum, Int x) const { return sum + x; }
    // Where products aren't quantized, the coefficients have the sign.
    [[gnu::always_inline]] Int addFeedback(Int sum, Int x) const {
        return has<Node::productA>() && mSection.subtracts ? sum - x : sum + x;
    }
    [[gnu::always_inline]] Int feedback(Int x) const { return has<Node::productA>() && mSection.subtracts ? -x : x; }
    [[gnu::always_inline]] Int term(Int x) const { return x << mSection.termShift; }
    [[gnu::always_inline]] Int factorOf(Int x) const { return x >> mSection.factorShift; }

    [[gnu::always_inline]] Int delayed(Chain chain, std::size_t k) const { return delay(chain, k); }
    [[gnu::always_inline]] Int held(Chain chain, std::size_t k) const { return delay(chain, k); }
    [[gnu::always_inline]] void hold(Chain chain, std::size_t k, Int x) { delayRef(chain, k) = x; }

    /// Values that keep their unit.
    template <Node kNode>
    [[gnu::always_inline]] Int place(Int x) {
        return has<kNode>() ? apply<kNode, true>(x) : x;
    }
    /// From the unit of sums to factors.
    template <Node kNode>
    [[gnu::always_inline]] Int factor(Int x) {
        return has<kNode>() ? apply<kNode, false>(x)
                            : x >> (kNode == Node::output ? mSection.outputShift : mSection.stateShift);
    }
    /// From factors to factors.
    template <Node kNode>
    [[gnu::always_inline]] Int replace(Int x) {
        return has<kNode>() ? apply<kNode, false>(x) : x;
    }

 private:
    template <Node kNode>
    [[gnu::always_inline]] bool has() const {
        return kSet == kAnyNodes ? (mSection.nodes & bitOf(kNode)) != 0 : (kSet & bitOf(kNode)) != 0;
    }
    template <Node kNode, bool kKeepsUnit>
    [[gnu::always_inline]] Int apply(Int x) {
        auto& place = kOrder != kAnyOrder ? mPlaces[indexOf(kNode)] : mSection.places[indexOf(kNode)];
        Int word;
        if constexpr (kRule == LoopRule::any) {
            word = place.template apply<kIsLogged>(x);
        } else {
            using Force = typename NarrowPlace<Int>::Force;
            constexpr bool kIsSum = kKeepsUnit && kNode != Node::state;
            constexpr Force kForce = kRule == LoopRule::wrapSums && kIsSum ? Force::wrap : Force::saturate;
            word = place.template applySimply<kIsLogged, kForce>(x);
        }
        return kKeepsUnit ? word << mSection.up[indexOf(kNode)] : word;
    }
    [[gnu::always_inline]] Int delay(Chain chain, std::size_t k) const {
        return kOrder != kAnyOrder ? mDelays[static_cast<std::size_t>(chain)][k - 1]
                                   : mSection.delays[static_cast<std::size_t>(chain)][k - 1];
    }
    [[gnu::always_inline]] Int& delayRef(Chain chain, std::size_t k) {
        if constexpr (kOrder != kAnyOrder) {
            return mDelays[static_cast<std::size_t>(chain)][k - 1];
        } else {
            return mSection.delays[static_cast<std::size_t>(chain)][k - 1];
        }
    }

    LoopSection<Int>& mSection;
    std::array<Int, kOrder + 1> mB;
    std::array<Int, kOrder + 1> mA;
    std::array<std::array<Int, kOrder + 1>, 2> mDelays;
    // Copies, which nothing else can change meanwhile.
    std::array<NarrowPlace<Int>, kOrder != kAnyOrder ? kNodes : 1> mPlaces;
};

template <class Int, filter_form kForm, LoopRule kRule, unsigned kSet, std::size_t kOrder, bool kIsLogged>
void run(LoopSection<Int>& section, Int* samples, std::size_t count) {
    LoopMachine<Int, kForm, kRule, kSet, kOrder, kIsLogged> machine(section);
    for (std::size_t i = 0; i < count; ++i) {
        samples[i] = filterStep<kForm>(machine, machine.input(samples[i]));
    }
    machine.close();
}

template <class Int>
using Loop = void (*)(LoopSection<Int>&, Int*, std::size_t);

template <class Int, filter_form kForm, LoopRule kRule, unsigned kSet, std::size_t kOrder>
Loop<Int> loopFor(bool isLogged) {
    return isLogged ? &run<Int, kForm, kRule, kSet, kOrder, true> : &run<Int, kForm, kRule, kSet, kOrder, false>;
}

template <class Int, filter_form kForm, LoopRule kRule>
Loop<Int> loopFor(const LoopSection<Int>& section, bool isLogged) {
    if (section.b.size() != kBiquad + 1 || section.a.size() != kBiquad) {
        return loopFor<Int, kForm, LoopRule::any, kAnyNodes, kAnyOrder>(isLogged);
    }
    if constexpr (kRule != LoopRule::any) {
        // Only direct1 has a place for delays of outputs of their own.
        constexpr unsigned kUsed = kForm == filter_form::direct1 ? kAllNodes : kAllNodes - bitOf(Node::outputState);
        constexpr unsigned kUsedButInput = kUsed - bitOf(Node::input);
        constexpr unsigned kFew = kForm == filter_form::direct2 ? kOutput | bitOf(Node::state) : kOutput;
        switch (section.nodes) {
            case kUsed:
                return loopFor<Int, kForm, kRule, kUsed, kBiquad>(isLogged);
            case kUsedButInput:
                return loopFor<Int, kForm, kRule, kUsedButInput, kBiquad>(isLogged);
            case kFew:
                return loopFor<Int, kForm, kRule, kFew, kBiquad>(isLogged);
            default:
                break;
        }
    }
    return loopFor<Int, kForm, kRule, kAnyNodes, kBiquad>(isLogged);
}

template <class Int, filter_form kForm>
Loop<Int> loopFor(const LoopSection<Int>& section, bool isLogged) {
    switch (section.rule) {
        case LoopRule::saturate:
            return loopFor<Int, kForm, LoopRule::saturate>(section, isLogged);
        case LoopRule::wrapSums:
            return loopFor<Int, kForm, LoopRule::wrapSums>(section, isLogged);
        default:
            return loopFor<Int, kForm, LoopRule::any>(section, isLogged);
    }
}

/// How many values of a sample arrive at each node.
std::array<std::size_t, kNodes> valuesOf(filter_form form, std::size_t b, std::size_t a) {
    const std::size_t hasA = a > 0 ? 1 : 0;
    const std::size_t hasB = b > 0 ? 1 : 0;
    switch (form) {
        case filter_form::direct2:
            return {1, b + 1, a, b + 1, a, 1, 0, 1};
        case filter_form::transposed1:
            return {1, b + 1, a, b + 1, a + hasA, a + b, 0, 1};
        case filter_form::transposed2:
            return {1, b + 1, a, b + 1, a, std::max(a, b), 0, 1};
        default:
            return {1, b + 1, a, b + 1, a, hasB, hasA, 1};
    }
}

template <class Int>
void runForm(LoopSection<Int>& section, Int* samples, std::size_t count, bool isLogged) {
    Loop<Int> loop = nullptr;
    switch (section.form) {
        case filter_form::direct1:
            loop = loopFor<Int, filter_form::direct1>(section, isLogged);
            break;
        case filter_form::direct2:
            loop = loopFor<Int, filter_form::direct2>(section, isLogged);
            break;
        case filter_form::transposed1:
            loop = loopFor<Int, filter_form::transposed1>(section, isLogged);
            break;
        case filter_form::transposed2:
            loop = loopFor<Int, filter_form::transposed2>(section, isLogged);
            break;
    }
    loop(section, samples, count);
    if (isLogged && section.rule != LoopRule::any) {
        const std::array<std::size_t, kNodes> values = valuesOf(section.form, section.b.size() - 1, section.a.size());
        for (std::size_t i = 0; i < kNodes; ++i) {
            section.places[i].notes.values += values[i] * count;
        }
    }
}

}  // namespace

void filterLoop(LoopSection<std::int64_t>& section, std::int64_t* samples, std::size_t count, bool isLogged) {
    runForm(section, samples, count, isLogged);
}
void filterLoop(LoopSection<Int128>& section, Int128* samples, std::size_t count, bool isLogged) {
    runForm(section, samples, count, isLogged);
}

}  // namespace tolvane::detail
