// Vectors of doubles with the vocabulary of the rules, for files that are compiled once for each instruction set.
//
// No include guard: included after hwy/highway.h, inside the unnamed namespace of each HWY_NAMESPACE, and before
// numbers/rounding_rules.inl.h and the rules of this folder, whose functions then become functions of that set. Needs
// quantization/float_limits.h and <cstdint> outside.

namespace hn = hwy::HWY_NAMESPACE;

using Tag = hn::ScalableTag<double>;
using BitsTag = hn::RebindToUnsigned<Tag>;
using Mask = hn::Mask<Tag>;

// As many doubles as the instruction set has lanes for, with the vocabulary of the rules.
struct Lanes {
    hn::Vec<Tag> v;
};

// Outside the class: friends defined in it are not compiled for the instruction set of the file, so code that isn't
// inlined would pass vectors in one way and receive them in another.
HWY_INLINE Lanes operator+(Lanes a, Lanes b) {
    return {hn::Add(a.v, b.v)};
}
HWY_INLINE Lanes operator-(Lanes a, Lanes b) {
    return {hn::Sub(a.v, b.v)};
}
HWY_INLINE Lanes operator*(Lanes a, Lanes b) {
    return {hn::Mul(a.v, b.v)};
}
HWY_INLINE Mask operator<(Lanes a, Lanes b) {
    return hn::Lt(a.v, b.v);
}
HWY_INLINE Mask operator>=(Lanes a, Lanes b) {
    return hn::Ge(a.v, b.v);
}
HWY_INLINE Mask operator==(Lanes a, Lanes b) {
    return hn::Eq(a.v, b.v);
}

HWY_INLINE Lanes roundFloor(Lanes x) {
    return {hn::Floor(x.v)};
}
HWY_INLINE Lanes roundCeil(Lanes x) {
    return {hn::Ceil(x.v)};
}
HWY_INLINE Lanes roundTruncated(Lanes x) {
    return {hn::Trunc(x.v)};
}
HWY_INLINE Lanes roundEven(Lanes x) {
    return {hn::Round(x.v)};
}
HWY_INLINE Lanes magnitude(Lanes x) {
    return {hn::Abs(x.v)};
}
HWY_INLINE Lanes choose(Mask mask, Lanes a, Lanes b) {
    return {hn::IfThenElse(mask, a.v, b.v)};
}
HWY_INLINE Lanes like(Lanes, double value) {
    return {hn::Set(Tag(), value)};
}
HWY_INLINE Lanes withSignOf(Lanes x, double size) {
    return {hn::CopySign(hn::Set(Tag(), size), x.v)};
}
// Fused where the processor can: only for products that are exact, with which the sum is the same.
HWY_INLINE Lanes addToExactProduct(Lanes a, Lanes b, Lanes sum) {
    return {hn::MulAdd(a.v, b.v, sum.v)};
}
HWY_INLINE Lanes subtractExactProduct(Lanes a, Lanes b, Lanes from) {
    return {hn::NegMulAdd(a.v, b.v, from.v)};
}
HWY_INLINE Mask either(Mask a, Mask b) {
    return hn::Or(a, b);
}
HWY_INLINE Mask both(Mask a, Mask b) {
    return hn::And(a, b);
}
HWY_INLINE Mask butNot(Mask a, Mask b) {
    return hn::AndNot(b, a);
}
// Wrapping a vector costs less than a mispredicted branch around it.
HWY_INLINE bool anyOf(Mask) {
    return true;
}
HWY_INLINE Mask otherBits(Lanes a, Lanes b) {
    return hn::RebindMask(Tag(), hn::Ne(hn::BitCast(BitsTag(), a.v), hn::BitCast(BitsTag(), b.v)));
}

// x86 minimum and maximum give the second operand if one is NaN or both are zero: exactly the selections needed here.
HWY_INLINE Lanes lesserOf(Lanes limit, Lanes x) {
#if HWY_ARCH_X86
    return {hn::Min(limit.v, x.v)};
#else
    return choose(limit < x, limit, x);
#endif
}
HWY_INLINE Lanes greaterOf(Lanes limit, Lanes x) {
#if HWY_ARCH_X86
    return {hn::Max(limit.v, x.v)};
#else
    return choose(x < limit, limit, x);
#endif
}

HWY_INLINE Lanes exponentPart(Lanes x) {
    return {hn::BitCast(Tag(), hn::And(hn::BitCast(BitsTag(), x.v), hn::Set(BitsTag(), kExponentBits)))};
}
HWY_INLINE Lanes powerReciprocal(Lanes x) {
    return {hn::BitCast(Tag(), hn::Sub(hn::Set(BitsTag(), kReciprocalBits), hn::BitCast(BitsTag(), x.v)))};
}
