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

/// The tally of a place. Overflows are counted for each of several vectors that are worked on together.
template <std::size_t vectors>
class LaneTally {
 public:
    static constexpr bool kCounts = true;

    HWY_INLINE LaneTally()
        : mGreatest{hn::Set(Tag(), -std::numeric_limits<double>::infinity())},
          mLeast{hn::Set(Tag(), std::numeric_limits<double>::infinity())},
          mUnderflows(hn::Zero(BitsTag())) {
        for (auto& x : mOverflows) {
            x = hn::Zero(BitsTag());
        }
    }

    /// The vector that the next values belong to.
    HWY_INLINE void select(std::size_t vector) { mVector = vector; }

    /// Notes what became of values, in all lanes or in those of the mask.
    template <class Result>
    HWY_INLINE void note(const Result& result) {
        mGreatest = greaterOf(result.value, mGreatest);
        mLeast = lesserOf(result.value, mLeast);
        if constexpr (requires { result.overflow; }) {
            countWhere(result.overflow, mOverflows[mVector]);
            countWhere(result.underflow, mUnderflows);
        }
    }
    template <class Result>
    HWY_INLINE void note(const Result& result, Mask used) {
        mGreatest = choose(used, greaterOf(result.value, mGreatest), mGreatest);
        mLeast = choose(used, lesserOf(result.value, mLeast), mLeast);
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
        result.greatest = hn::GetLane(hn::MaxOfLanes(Tag(), mGreatest.v));
        result.least = hn::GetLane(hn::MinOfLanes(Tag(), mLeast.v));
        result.greatestZeros = zeros(result.greatest, mGreatest);
        result.leastZeros = zeros(result.least, mLeast);
        auto overflows = mOverflows[0];
        for (std::size_t i = 1; i < vectors; ++i) {
            overflows = hn::Add(overflows, mOverflows[i]);
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

    Lanes mGreatest;
    Lanes mLeast;
    hn::Vec<BitsTag> mUnderflows;
    hn::Vec<BitsTag> mOverflows[vectors];
    std::size_t mVector = 0;
};
