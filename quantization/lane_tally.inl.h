// Tallies (quantization/tally.h) of vectors of doubles. No include guard: included after quantization/lanes.inl.h, in
// its namespace. Each lane keeps the first zero it meets.

HWY_INLINE void countWhere(Mask mask, hn::Vec<BitsTag>& count) {
#if HWY_TARGET == HWY_AVX3
    count = hn::IfThenElse(hn::RebindMask(BitsTag(), mask), hn::Add(count, hn::Set(BitsTag(), 1)), count);
#else
    count = hn::Sub(count, hn::BitCast(BitsTag(), hn::VecFromMask(Tag(), mask)));
#endif
}

/// Takes no notes.
struct NoNotes {
    static constexpr bool kCounts = false;
    HWY_INLINE void note(const auto&) {}
    HWY_INLINE void note(const auto&, Mask) {}
    HWY_INLINE void select(std::size_t) {}
};

/// The tally of a place, for several vectors that are worked on together: each lane of each keeps the first zero it
/// meets.
template <std::size_t vectors>
class LaneTally {
 public:
    static constexpr bool kCounts = true;

    HWY_INLINE LaneTally() : mUnderflows(hn::Zero(BitsTag())) {
        for (std::size_t i = 0; i < vectors; ++i) {
            mGreatest[i].v = hn::Set(Tag(), -std::numeric_limits<double>::infinity());
            mLeast[i].v = hn::Set(Tag(), std::numeric_limits<double>::infinity());
            mOverflows[i] = hn::Zero(BitsTag());
        }
    }

    /// The vector that the next values belong to.
    HWY_INLINE void select(std::size_t vector) { mVector = vector; }

    /// Notes what became of values, in all lanes or in those of the mask.
    template <class Result>
    HWY_INLINE void note(const Result& result) {
        mGreatest[mVector] = greaterOf(result.value, mGreatest[mVector]);
        mLeast[mVector] = lesserOf(result.value, mLeast[mVector]);
        if constexpr (requires { result.overflow; }) {
            countWhere(result.overflow, mOverflows[mVector]);
            countWhere(result.underflow, mUnderflows);
        }
    }
    template <class Result>
    HWY_INLINE void note(const Result& result, Mask used) {
        mGreatest[mVector] = choose(used, greaterOf(result.value, mGreatest[mVector]), mGreatest[mVector]);
        mLeast[mVector] = choose(used, lesserOf(result.value, mLeast[mVector]), mLeast[mVector]);
        if constexpr (requires { result.overflow; }) {
            countWhere(both(used, result.overflow), mOverflows[mVector]);
            countWhere(both(used, result.underflow), mUnderflows);
        }
    }

    /// Adds the counts of overflows of the lanes of a vector to an array.
    HWY_INLINE void addOverflows(std::size_t vector, std::uint64_t* ofLanes, std::size_t lanes) const {
        alignas(HWY_MAX_BYTES) std::uint64_t all[HWY_MAX_BYTES / sizeof(std::uint64_t)];
        hn::Store(mOverflows[vector], BitsTag(), all);
        for (std::size_t i = 0; i < lanes; ++i) {
            ofLanes[i] += all[i];
        }
    }

    /// All but the number of values.
    HWY_NOINLINE Tally total() const {
        Tally result;
        Lanes greatest = mGreatest[0];
        Lanes least = mLeast[0];
        auto overflows = mOverflows[0];
        for (std::size_t i = 1; i < vectors; ++i) {
            greatest = greaterOf(mGreatest[i], greatest);
            least = lesserOf(mLeast[i], least);
            overflows = hn::Add(overflows, mOverflows[i]);
        }
        result.greatest = hn::GetLane(hn::MaxOfLanes(Tag(), greatest.v));
        result.least = hn::GetLane(hn::MinOfLanes(Tag(), least.v));
        for (const Lanes& x : mGreatest) {
            result.greatestZeros |= zeros(result.greatest, x);
        }
        for (const Lanes& x : mLeast) {
            result.leastZeros |= zeros(result.least, x);
        }
        result.overflows = hn::GetLane(hn::SumOfLanes(BitsTag(), overflows));
        result.underflows = hn::GetLane(hn::SumOfLanes(BitsTag(), mUnderflows));
        return result;
    }

 private:
    static unsigned zeros(double extreme, Lanes x) {
        if (extreme != 0.0) {
            return Tally::none;
        }
        alignas(HWY_MAX_BYTES) double lanes[HWY_MAX_BYTES / sizeof(double)];
        hn::Store(x.v, Tag(), lanes);
        unsigned result = Tally::none;
        for (std::size_t i = 0; i < hn::Lanes(Tag()); ++i) {
            if (lanes[i] == 0.0) {
                result |= std::signbit(lanes[i]) ? Tally::minus : Tally::plus;
            }
        }
        return result;
    }

    Lanes mGreatest[vectors];
    Lanes mLeast[vectors];
    hn::Vec<BitsTag> mOverflows[vectors];
    hn::Vec<BitsTag> mUnderflows;
    std::size_t mVector = 0;
};
