/// Places: which points of many are at one place, when coordinates are taken in whole steps.
#pragma once

#include <array>
#include <cmath>
#include <cstddef>
#include <map>
#include <vector>

#include "arrays/numbers.h"

namespace velko {

constexpr r8 millimetre = 1e-3;  // the last digit of the coordinates that are written

/// Numbers places from 0 in the order in which they are first seen.
template <std::size_t axes>
class place_numbers {
 public:
  explicit place_numbers(r8 step) : step_(step) {}

  std::size_t of(const std::array<r8, axes>& point) {
    std::array<r8, axes> place;
    for (std::size_t n = 0; n < axes; ++n) place[n] = std::round(point[n] / step_);
    return numbers_.try_emplace(place, numbers_.size()).first->second;
  }

 private:
  r8 step_;
  std::map<std::array<r8, axes>, std::size_t> numbers_;
};

}  // namespace velko
