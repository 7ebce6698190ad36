/// The node sort once more, with one plain statement for each step of the method: what the index of the sort has to be,
/// entry for entry, also where keys are equal.
#pragma once

#include <utility>
#include <vector>

#include "arrays/numbers.h"

namespace velko::test {

/// The index that sorts `keys`, counted from 1; element 0 of the result is the first.
inline std::vector<i4> slow_sort_index(const std::vector<r8>& keys) {
  const i4 n = static_cast<i4>(keys.size());
  std::vector<i4> ind(keys.size() +
                      1);  // place 0 stays unused, so that the numbers below are those of the steps
  for (i4 place = 1; place <= n; ++place) ind[static_cast<std::size_t>(place)] = place;
  const auto at = [&](i4 place) -> i4& { return ind.at(static_cast<std::size_t>(place)); };
  const auto key = [&](i4 place) { return keys.at(static_cast<std::size_t>(at(place) - 1)); };

  std::vector<std::pair<i4, i4>> waiting;
  i4 i = 1, j = n, k = 0, l = 0, q = 0;
  r8 r = 0.375, t = 0;
  enum { top, partition, next_segment, take_waiting, done } step = n < 1 ? done : top;
  while (step != done) switch (step) {
      case top:
        if (i >= j) {
          step = take_waiting;
          break;
        }
        if (r > 0.5898436903953552)
          r -= 0.21875;
        else
          r += 0.0390625;
        step = partition;
        break;
      case partition:
        k = i;
        q = i + static_cast<i4>(static_cast<r8>(static_cast<r4>(j - i)) * r);
        t = key(q);
        if (key(i) > t) {
          std::swap(at(q), at(i));
          t = key(q);
        }
        l = j;
        if (key(j) < t) {
          std::swap(at(q), at(j));
          t = key(q);
          if (key(i) > t) {
            std::swap(at(q), at(i));
            t = key(q);
          }
        }
        while (true) {
          do --l;
          while (key(l) > t);
          do ++k;
          while (key(k) < t);
          if (k > l) break;
          std::swap(at(k), at(l));
        }
        if (l - i > j - k) {
          waiting.emplace_back(i, l);
          i = k;
        } else {
          waiting.emplace_back(k, j);
          j = l;
        }
        step = next_segment;
        break;
      case next_segment:
        if (j - i >= 11) {
          step = partition;
          break;
        }
        if (i == 1) {
          step = top;
          break;
        }
        for (i4 p = i; p <= j - 1; ++p) {
          if (!(key(p + 1) < key(p))) continue;
          const i4 taken = at(p + 1);
          const r8 taken_key = key(p + 1);
          i4 free = p + 1;
          for (; key(free - 1) > taken_key; --free) at(free) = at(free - 1);
          at(free) = taken;
        }
        step = take_waiting;
        break;
      case take_waiting:
        if (waiting.empty()) {
          step = done;
          break;
        }
        std::tie(i, j) = waiting.back();
        waiting.pop_back();
        step = next_segment;
        break;
      case done:
        break;
    }
  ind.erase(ind.begin());
  return ind;
}

}  // namespace velko::test
