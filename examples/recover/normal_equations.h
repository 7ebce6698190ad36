/// Normal equations: least squares for the active cells, in the variable p = w m_w of model_weights.h.
///
/// What     minimises |G_s m_w - d_s|^2 + mu |p|^2, by (W^-1 G_s^T G_s W^-1 + mu I) p = W^-1 G_s^T d_s, W = diag(w).
///          G_s and d_s are divided by the standard deviations; d_s has what the fixed cells give taken off
/// Shapes   p(ncell), d_s(ndata)
/// Threads  those of GTPROD, GTGPROD and GPROD
#pragma once

#include <velko/arrays/numbers.h>

#include <span>
#include <vector>

namespace recover {

class normal_equations {
 public:
  /// Asks that G is scaled, and that the fixed values are stored.
  explicit normal_equations(std::vector<velko::r8> weights);

  /// y = (W^-1 G_s^T G_s W^-1 + mu I) p
  void product(velko::r8 mu, std::span<const velko::r8> p, std::span<velko::r8> y) const;

  /// W^-1 G_s^T d_s
  std::span<const velko::r8> right_hand_side() const { return right_hand_side_; }

  /// m_w of p, and p of m_w
  std::vector<velko::r8> model(std::span<const velko::r8> p) const;
  std::vector<velko::r8> variable(std::span<const velko::r8> amodel) const;

 private:
  std::vector<velko::r8> weights_, right_hand_side_;
};

/// Predicted data, in standard deviations, of an active model and the fixed cells.
std::vector<velko::r8> predicted_data(std::span<const velko::r8> amodel);

}  // namespace recover
