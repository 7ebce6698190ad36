/// The library's triangulation of a set of nodes, in memory that shows a write beyond it.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <span>
#include <vector>

#include "arrays/array.h"
#include "tests/topography/slow_triangulation.h"
#include "topography/location.h"
#include "topography/triangulation.h"

namespace velko::test {

inline array1<const r8> view(const std::vector<r8>& values) {
  return array1<const r8>(values.data(), static_cast<i8>(values.size()));
}
inline array1<i4> view(std::vector<i4>& values) {
  return array1<i4>(values.data(), static_cast<i8>(values.size()));
}
inline array1<const i4> view(const std::vector<i4>& values) {
  return array1<const i4>(values.data(), static_cast<i8>(values.size()));
}

constexpr i4 untouched = -77;

/// The table that build_triangulation leaves, cut to its used part. Arrays are as short as they may be, and entries
/// that are nobody's stay what they were.
inline flat_table built(const std::vector<r8>& x, const std::vector<r8>& y) {
  const i4 n = static_cast<i4>(x.size());
  const std::size_t longest = n < 3 ? 0 : 6 * x.size() - 9, beyond = 8;
  std::vector<i4> adj_list(longest + beyond, untouched), adj_end(x.size() + beyond, untouched);
  flat_table table;
  build_triangulation(n, view(x), view(y), array1<i4>(adj_list.data(), static_cast<i8>(longest)),
                      array1<i4>(adj_end.data(), n), table.status);
  const auto stays = [](i4 entry) { return entry == untouched; };
  EXPECT_TRUE(std::ranges::all_of(std::span(adj_list).last(beyond), stays));
  EXPECT_TRUE(std::ranges::all_of(std::span(adj_end).last(beyond), stays));
  if (table.status == 0) {
    adj_list.resize(static_cast<std::size_t>(adj_end[x.size() - 1]));
  } else {
    EXPECT_TRUE(table.status != 1 || std::ranges::all_of(adj_list, stays));
    adj_list.clear();
  }
  if (table.status == 1) {
    EXPECT_TRUE(std::ranges::all_of(adj_end, stays));
    adj_end.clear();
  } else {
    adj_end.resize(x.size());
  }
  table.adj_list = adj_list;
  table.adj_end = adj_end;
  return table;
}

inline place_found located(i4 start, r8 px, r8 py, const std::vector<r8>& x, const std::vector<r8>& y,
                           const flat_table& table) {
  place_found at;
  locate_point(start, px, py, view(x), view(y), view(table.adj_list), view(table.adj_end), at.i1, at.i2,
               at.i3);
  return at;
}

}  // namespace velko::test
