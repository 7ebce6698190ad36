/// Cooling: which damping to try next, so that the misfit comes to its target from above.
///
/// What     the misfit grows with the damping. It is lowered by a factor until the misfit is at the target or below;
///          then the next one is interpolated between the nearest on either side, on logarithmic axes, where the
///          curve is nearly straight
/// Sources  the discrepancy principle, by which the misfit is not to fall below the noise: V. Morozov, Soviet Math.
///          Dokl. 7 (1966) 414-417; P. C. Hansen, Rank-Deficient and Discrete Ill-Posed Problems, SIAM 1998, ch. 7
#pragma once

#include <velko/arrays/numbers.h>

#include <cmath>

namespace recover {

class cooling {
 public:
  /// `first` is the damping of the first iteration.
  cooling(velko::r8 first, velko::r8 target) : damping_(first), target_(target) {}

  velko::r8 damping() const { return damping_; }

  /// Takes the misfit that the damping came to, and moves on to the next one.
  void next(velko::r8 misfit) {
    (misfit > target_ ? above_ : below_) = {damping_, misfit};
    if (below_.damping == 0)
      damping_ /= factor;
    else if (above_.damping == 0)
      damping_ *= factor;
    else
      damping_ = between(above_, below_);
  }

 private:
  struct trial {
    velko::r8 damping = 0, misfit = 0;
  };

  velko::r8 between(const trial& a, const trial& b) const {
    const velko::r8 part = std::log(target_ / b.misfit) / std::log(a.misfit / b.misfit);
    return b.damping * std::pow(a.damping / b.damping, part);
  }

  static constexpr velko::r8 factor = 3;

  velko::r8 damping_, target_;
  trial above_, below_;  // the nearest on either side of the target so far; damping 0 where there is none
};

}  // namespace recover
