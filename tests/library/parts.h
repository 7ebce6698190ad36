/// Parts of a small problem in memory: 2 x 3 columns of 4 cells below an uneven surface.
#pragma once

#include <cmath>
#include <string>
#include <vector>

#include "library/call.h"
#include "library/problem_parts.h"

namespace velko::test {

/// Its spans see its vectors, so it stays where it is.
struct small_parts {
  static constexpr i4 ncol = 2 * 3 * 4 - 4, ndata = 3;

  small_parts() = default;
  small_parts(const small_parts&) = delete;

  problem_parts dense() const {
    problem_parts parts = without_rows();
    parts.Gfull = Gfull;
    return parts;
  }
  problem_parts sparse() const {
    problem_parts parts = without_rows();
    parts.Gs = {.wfilter = wfilter, .ncube = {}, .row_start = row_start, .idx = idx, .val = val};
    return parts;
  }
  problem_parts without_rows() const {
    problem_parts parts;
    parts.ynode = ynode;
    parts.xnode = xnode;
    parts.znode = znode;
    parts.ztop = 100;
    parts.itop = itop;
    parts.wtz = wtz;
    parts.ndata = ndata;
    return parts;
  }

  std::vector<r8> ynode{0, 10, 30}, xnode{-5, 0, 5, 20}, znode{0, 1, 3, 6, 10};
  std::vector<i4> itop{0, 1, 2, 0, 1, 0};
  std::vector<r8> wtz = counting(ncol), xobs{1, 2, 3};
  std::vector<r4> Gfull = pattern(ncol * ndata);
  std::vector<r8> wfilter{std::sqrt(0.5), std::sqrt(0.5)};
  std::vector<i8> row_start{0, 9, 9, 12};  // the second row is empty
  std::vector<i4> idx{1, 2, 3, 5, 8, 13, 21, 30, 32, 4, 4, 31};
  std::vector<r4> val = pattern(12);

  static std::vector<r8> counting(i4 n) {
    std::vector<r8> a;
    for (i4 k = 1; k <= n; ++k) a.push_back(k / 4.0);
    return a;
  }
  static std::vector<r4> pattern(i4 n) {
    std::vector<r4> a;
    for (i4 k = 1; k <= n; ++k) a.push_back(static_cast<r4>(k * 7 % 11) - 4);
    return a;
  }
};

/// What the body is refused with; empty where it is not.
inline std::string refusal_of(const std::function<void()>& body) {
  try {
    body();
    return {};
  } catch (const call_failed& failure) {
    return failure.what();
  }
}

}  // namespace velko::test
