// The test of fi/bulk/membership.h on vectors. No include guard: included after quantization/lanes.inl.h, in its
// namespace.

/// What a loop has seen of the values it examined.
struct Evidence {
    HWY_INLINE Evidence() : offGrid(hn::Zero(BitsTag())), words(hn::Zero(BitsTag())) {}

    hn::Vec<BitsTag> offGrid;  // not zero for a value off the grid
    hn::Vec<BitsTag> words;    // the words of all values, joined
};

/// A membership test with its constants spread over vectors.
struct Examiner {
    explicit Examiner(const Membership& type)
        : shifter(hn::Set(Tag(), type.shifter)), offset(hn::Set(BitsTag(), type.offset)) {}

    HWY_INLINE void examine(Lanes x, Evidence& evidence) const {
        const hn::Vec<Tag> sum = examineGrid(x, evidence);
        evidence.words = hn::Or(evidence.words, hn::Add(hn::BitCast(BitsTag(), sum), offset));
    }
    /// Only whether x is on the grid, which shows for values in range. Gives the sum of x and the shifter.
    HWY_INLINE hn::Vec<Tag> examineGrid(Lanes x, Evidence& evidence) const {
        const hn::Vec<Tag> sum = hn::Add(x.v, shifter);
        const hn::Vec<Tag> difference = hn::Sub(hn::Sub(sum, shifter), x.v);
        evidence.offGrid = hn::Or(evidence.offGrid, hn::BitCast(BitsTag(), difference));
        return sum;
    }

    hn::Vec<Tag> shifter;
    hn::Vec<BitsTag> offset;
};

HWY_INLINE bool isOnGrid(const Evidence& evidence) {
    return hn::AllTrue(BitsTag(), hn::Eq(evidence.offGrid, hn::Zero(BitsTag())));
}

/// Whether all values examined are of the type.
HWY_INLINE bool areMembers(const Evidence& evidence, const Membership& type) {
    const auto limit = hn::Set(BitsTag(), (std::uint64_t{1} << type.wordBits) - 1);
    return isOnGrid(evidence) && hn::AllTrue(BitsTag(), hn::Eq(hn::AndNot(limit, evidence.words), hn::Zero(BitsTag())));
}
