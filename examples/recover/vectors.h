/// Vectors: the few sums over elements that everything here is made of.
#pragma once

#include <velko/arrays/numbers.h>

#include <numeric>
#include <span>
#include <vector>

namespace recover {

using values = std::vector<velko::r8>;
using view = std::span<const velko::r8>;

inline velko::r8 dot(view a, view b) {
  return std::inner_product(a.begin(), a.end(), b.begin(), 0.0);
}

/// y += a x
inline void add(std::span<velko::r8> y, velko::r8 a, view x) {
  for (std::size_t c = 0; c < y.size(); ++c) y[c] += a * x[c];
}

/// The element-wise product.
inline values times(view a, view b) {
  values product(a.begin(), a.end());
  for (std::size_t c = 0; c < product.size(); ++c) product[c] *= b[c];
  return product;
}

}  // namespace recover
