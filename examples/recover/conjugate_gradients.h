/// Conjugate gradients: A x = b for a symmetric positive definite A that is known by its products alone.
///
/// What     x holds a first guess and gets the solution; the number of products with A is one more than the steps
/// Ends     when the error of x is at most tolerance |x|, or after max_steps. The eigenvalues of A are least_eigenvalue or
///          more, so the error is at most |b - A x| / least_eigenvalue, and this bound is what is tested
/// Sources  M. Hestenes and E. Stiefel, J. Res. Natl. Bur. Stand. 49 (1952) 409-436, doi 10.6028/jres.049.044
#pragma once

#include <velko/arrays/numbers.h>

#include <functional>
#include <span>

namespace recover {

/// y = A x; y is overwritten.
using linear_map = std::function<void(std::span<const velko::r8> x, std::span<velko::r8> y)>;

/// Returns the number of steps taken.
velko::i4 conjugate_gradients(const linear_map& A, velko::r8 least_eigenvalue, std::span<const velko::r8> b,
                              std::span<velko::r8> x, velko::r8 tolerance, velko::i4 max_steps);

velko::r8 dot(std::span<const velko::r8> a, std::span<const velko::r8> b);

}  // namespace recover
