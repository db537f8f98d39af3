// The product of matrices of doubles from the system's BLAS, which is opened when the products so far were worth it.
//
// It adds in any order, so it is for products where every order gives the same result. Without the library all products
// are made by the loops of lanes.
#pragma once

#include <cblas.h>

namespace tolvane::detail::blas {

using Dgemm = decltype(&cblas_dgemm);

/// Returns the function for a product of `multiplications` steps, or null where the loops of lanes are better: for
/// few of them, while the library isn't open yet for more, or if there is none.
Dgemm dgemmFor(double multiplications);

}  // namespace tolvane::detail::blas
