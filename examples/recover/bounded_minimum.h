/// Bounded minimum: of a convex quadratic function whose variables have a least and a largest value.
///
/// What     minimises m' A m / 2 - b' m for lower <= m <= upper, A = A1 + A2: A1 dear (two products with G), A2 cheap.
///          Every step goes along a quasi-Newton direction of the variables that are not held at a bound, clipped to the
///          bounds, to the lowest point on its way; it costs one product with A1
/// Memory   steps and what A1 makes of them are kept, the last `most_pairs` of them, also from one call to the next: a
///          minimum under another damping begins with the curvature that earlier ones have met. Two vectors each
/// Ends     when the projected gradient (0 for a variable at a bound that the gradient pushes against) has fallen below
///          `tolerance`, in the norm of the inverse diagonal: at a true minimum it is 0
/// Sources  limited memory: J. Nocedal, Math. Comp. 35 (1980) 773-782, doi 10.1090/S0025-5718-1980-0572855-7; bounds:
///          D. Bertsekas, SIAM J. Control Optim. 20 (1982) 221-246, doi 10.1137/0320018; curvature kept between similar
///          systems: J. Morales and J. Nocedal, SIAM J. Optim. 10 (2000) 1079-1096, doi 10.1137/S1052623497327854
#pragma once

#include <functional>
#include <vector>

#include "recover/vectors.h"

namespace recover {

struct bounds {
  values lower, upper;
};

/// The conditions of a minimum at m: its gradient over the free variables, and that of variables at a bound as far as
/// it points inward; both in the norm of the inverse diagonal.
struct conditions {
  velko::r8 free = 0, inward = 0;
  std::size_t at_bounds = 0;
  velko::r8 both() const;
};
conditions conditions_at(view m, view gradient, view diagonal, const bounds& box);

struct quadratic {
  std::function<void(view p, std::span<velko::r8> y)> product1;      // y = A1 p
  std::function<void(view p, std::span<velko::r8> y)> add_product2;  // y += A2 p
  std::function<void(velko::r8 length)> moved;  // m has gone this far along the p of the last product with A1
  values diagonal;                              // about that of A
};

class bounded_minimum {
 public:
  bounded_minimum(bounds box, std::size_t most_pairs) : box_(std::move(box)), most_pairs_(most_pairs) {}

  const bounds& box() const { return box_; }

  /// `gradient` is A m - b at the m that comes, and at the one that goes. Returns the number of steps.
  velko::i4 find(const quadratic& f, std::span<velko::r8> m, values& gradient, velko::r8 tolerance,
                 velko::i4 most_steps, const std::function<void(velko::r8 projected_gradient)>& after_step);

 private:
  struct pair {
    values step, A1_step, A_step;
  };

  values direction(const quadratic& f, view m, view gradient) const;
  bool move(const quadratic& f, view direction, std::span<velko::r8> m, values& gradient);

  bounds box_;
  std::size_t most_pairs_;
  std::vector<pair> pairs_;  // the oldest first
};

}  // namespace recover
