// Comparisons of whole arrays by exact value, whatever their types.
#include <optional>
#include <vector>

#include "program/array_loops.h"
#include "program/array_memory.h"
#include "program/kernels.h"
#include "program/moves.h"

namespace tolvane {

using detail::ComparedWords;
using detail::Relation;
using detail::wordarray;

namespace {

fixed_type typeOf(const wordarray& part) {
    const detail::WordGrid& grid = part.grid();
    return {grid.isSigned, grid.bits, -grid.exponent};
}

/// The words of a part for elements of a shape: one for all, or one for each.
const wordarray& expanded(const wordarray& part, const array_shape& from, const array_shape& to, std::size_t count,
                          std::optional<wordarray>& made) {
    if (part.span().count == count || part.span().count == 1) {
        return part;
    }
    return made.emplace(detail::gathered(part, detail::broadcasted(detail::stridedOf(from), to)));
}

/// Words of any length, in a type that has the values of both.
template <class Holds>
void compareLong(const wordarray& left, const wordarray& right, const fixed_type& type, std::span<std::uint8_t> out,
                 const Holds& holds) {
    std::optional<wordarray> wideLeft;
    std::optional<wordarray> wideRight;
    const auto joined = [&](const wordarray& part, std::optional<wordarray>& wide) -> const wordarray& {
        return typeOf(part) == type ? part : wide.emplace(detail::widened(part, type));
    };
    const wordarray& a = joined(left, wideLeft);
    const wordarray& b = joined(right, wideRight);
    const detail::WordOrder order(a.grid());
    for (std::size_t i = 0; i < out.size(); ++i) {
        const mp_limb_t* const x = a.word(a.span().count == 1 ? 0 : i).data();
        const mp_limb_t* const y = b.word(b.span().count == 1 ? 0 : i).data();
        out[i] = holds(order, x, y) ? 1 : 0;
    }
}

void compareParts(Relation relation, const wordarray& a, const wordarray& b, std::span<std::uint8_t> out) {
    const fixed_type type = detail::joinedType(typeOf(a), typeOf(b));
    if (detail::gridOf(type).limbs() == 1) {
        const auto operandOf = [&](const wordarray& part) {
            return ComparedWords{part.span().limbs, part.span().count == 1 ? 0U : 1U,
                                 static_cast<unsigned>(type.fraction + part.grid().exponent)};
        };
        if (!out.empty()) {
            detail::arrayLoops().compare(relation, operandOf(a), operandOf(b), type.is_signed, out.size(), out.data());
        }
        return;
    }
    switch (relation) {
        case Relation::equal:
        case Relation::notEqual:
            compareLong(a, b, type, out, [&](const auto& order, const mp_limb_t* x, const mp_limb_t* y) {
                return order.isEqual(x, y) == (relation == Relation::equal);
            });
            break;
        case Relation::less:
            compareLong(a, b, type, out,
                        [](const auto& order, const mp_limb_t* x, const mp_limb_t* y) { return order.isLess(x, y); });
            break;
        case Relation::lessEqual:
            compareLong(a, b, type, out,
                        [](const auto& order, const mp_limb_t* x, const mp_limb_t* y) { return !order.isLess(y, x); });
            break;
    }
}

}  // namespace

std::size_t detail::sizeOfBoth(const fixed_array& a, const fixed_array& b) {
    return a.shape() == b.shape() ? a.size() : sizeOf(commonShape(a.shape(), b.shape()));
}

void detail::compareInto(Relation relation, const fixed_array& a, const fixed_array& b, std::span<std::uint8_t> out) {
    const bool isOrder = relation == Relation::less || relation == Relation::lessEqual;
    if (isOrder && (a.is_complex() || b.is_complex())) {
        throw error("tolvane:array:complex", "Order needs real numbers.");
    }
    const array_shape shape = commonShape(a.shape(), b.shape());
    const auto compare = [&](const fixed_array& x, const fixed_array& y, std::span<std::uint8_t> flags) {
        std::optional<wordarray> left;
        std::optional<wordarray> right;
        compareParts(relation, expanded(*ArrayAccess::real(x), x.shape(), shape, out.size(), left),
                     expanded(*ArrayAccess::real(y), y.shape(), shape, out.size(), right), flags);
    };
    compare(a, b, out);
    if (a.is_complex() || b.is_complex()) {
        std::vector<std::uint8_t> flags(out.size());
        compare(a.imag(), b.imag(), flags);
        for (std::size_t i = 0; i < out.size(); ++i) {
            out[i] = static_cast<std::uint8_t>(relation == Relation::equal ? out[i] & flags[i] : out[i] | flags[i]);
        }
    }
}

}  // namespace tolvane
