// Where sums, products and quotients of arrays pass from the element steps to array code: whether all cells of the
// steps hold doubles, what the array code is given, and where the current indices end.
//
// Each returns false, with nothing changed, when the element steps have to do the work. Registers are those of the
// steps as the operation has made them. No operand, type or rule has slope and bias.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>

#include "fi/bulk/broadcast.h"
#include "fi/bulk/lane_loops.h"
#include "fi/fi.h"

namespace tolvane::detail::arrayseams {

using laneloops::Sign;

/// Runs the steps on a range of elements of the result; of columns, for products of matrices.
using ByElements = std::function<void(std::uint64_t begin, std::uint64_t end)>;

/// Sums or differences. The cells of the steps hold doubles.
bool add(Sign sign, const fi& left, const fi& right, const broadcasting& operands, fi& result, bool castsBeforeSum,
         const ByElements& byElements);
/// `left` is the operand whose product register and, inside of it, sum register do the work; a real operand meets a
/// complex one from the right.
bool multiply(const fi& left, const fi& right, const broadcasting& operands, const fi& product, const fi& sum,
              fi& result, const ByElements& byElements);
/// As above for a register that isn't made: `format` quantizes as it does, and `log` is its log. Only one operand may
/// be complex. `byElements` makes the register, after which `log` is gone: it takes all elements or isn't called.
bool multiply(const fi& left, const fi& right, const broadcasting& operands, const quantizer& format,
              const qlogger& log, fi& result, const ByElements& byElements);
/// Quotients, at the working precision of the steps. Gives whether the last division was one by zero, or nothing
/// instead of false.
std::optional<bool> divide(const fi& left, const fi& right, const broadcasting& operands, unsigned precision,
                           fi& result, const ByElements& byElements);
/// `pair` is the sum register inside the product register, `sum` the array whose quantizer takes the running sums: the
/// result itself, where the operands have changed places.
bool multiplyMatrices(const fi& left, const fi& right, const fi& product, const fi& pair, const fi& sum, fi& result,
                      const ByElements& byElements);
bool convolve(const fi& left, const fi& right, std::uint64_t offset, const fi& product, const fi& pair, const fi& sum,
              fi& result, bool countsRunningOverflows, const ByElements& byElements);
bool sumColumns(const fi& x, fi& result, const ByElements& byElements);

}  // namespace tolvane::detail::arrayseams
