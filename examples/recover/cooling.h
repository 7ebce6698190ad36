/// Cooling: which damping to try next, so that the misfit comes to its target.
///
/// What     the misfit grows with the damping, nearly as a straight line on logarithmic axes. Its slope between the last two
///          dampings says how far to go, by a factor of at most 8; before there are two, a usual slope does, and a factor
///          of at most 5. Misfits need not be exact: each is that of a model on its way to the minimum
/// Sources  the discrepancy principle, by which the misfit is not to fall below the noise: V. Morozov, Soviet Math.
///          Dokl. 7 (1966) 414-417; P. C. Hansen, Rank-Deficient and Discrete Ill-Posed Problems, SIAM 1998, ch. 7
#pragma once

#include <velko/arrays/numbers.h>

#include <algorithm>
#include <cmath>

namespace recover {

class cooling {
 public:
  struct trial {
    velko::r8 damping = 0, misfit = 0;
  };

  cooling(velko::r8 first, velko::r8 target) : damping_(first), target_(target) {}

  velko::r8 damping() const { return damping_; }

  /// Goes on from a trial of an earlier run.
  void take(const trial& earlier) {
    damping_ = earlier.damping;
    next(earlier.misfit);
  }

  /// Takes the misfit that the damping came to, and moves on to the next one.
  void next(velko::r8 misfit) {
    constexpr velko::r8 usual_slope = 0.7, longest_first = 5, longest = 8;
    velko::r8 slope = usual_slope;
    if (last_.damping != 0) {
      const velko::r8 seen = std::log(last_.misfit / misfit) / std::log(last_.damping / damping_);
      if (seen > 0.3 && seen < 3) slope = seen;
    }
    const velko::r8 most = std::log(last_.damping != 0 ? longest : longest_first);
    const velko::r8 step = std::clamp(std::log(misfit / target_) / slope, -most, most);
    last_ = {damping_, misfit};
    damping_ /= std::exp(step);
  }

 private:
  velko::r8 damping_, target_;
  trial last_;  // damping 0 before there is one
};

}  // namespace recover
