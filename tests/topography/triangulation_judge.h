/// What every triangulation has to be, looked at from its tables alone and without rounding: the judge knows nothing of
/// how it was made. Each look returns the first fault that it finds, in words, or nothing.
///
/// Coordinates are whole numbers, in a type that holds their determinants: 128 bits do for sizes up to 2^28.
#pragma once

#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tests/topography/node_sets.h"
#include "tests/topography/slow_triangulation.h"

namespace velko::test {

using entries = std::vector<i4>;
__extension__ using whole_128 = __int128;

/// A triangle with its sense of rotation, and the smallest node in front.
inline entries smallest_first(i4 a, i4 b, i4 c) {
  if (a < b && a < c) return {a, b, c};
  return b < c ? entries{b, c, a} : entries{c, a, b};
}

template <class wide>
class triangulation_judge {
 public:
  triangulation_judge(std::vector<wide> x, std::vector<wide> y, flat_table table)
      : n_(static_cast<i4>(x.size())), x_(std::move(x)), y_(std::move(y)), table_(std::move(table)) {}

  /// Of the lists alone, wherever the nodes lie.
  std::string fault_of_lists() {
    return first_of({&triangulation_judge::packing, &triangulation_judge::neighbours,
                     &triangulation_judge::triangles, &triangulation_judge::hull});
  }

  /// Of the lists and of where the nodes lie.
  std::string fault() {
    const std::string of_lists = fault_of_lists();
    if (!of_lists.empty()) return of_lists;
    return first_of(
        {&triangulation_judge::orientation, &triangulation_judge::convexity, &triangulation_judge::circles});
  }

  /// Found by fault_of_lists(): each triangle counterclockwise from its smallest node.
  const std::set<entries>& triangle_set() const { return triangles_; }

 private:
  std::string first_of(std::initializer_list<std::string (triangulation_judge::*)()> looks) {
    for (const auto look : looks)
      if (const std::string found = (this->*look)(); !found.empty()) return found;
    return {};
  }

  static std::string node(i4 k) { return "node " + std::to_string(k); }
  const wide& x(i4 k) const { return x_.at(static_cast<std::size_t>(k - 1)); }
  const wide& y(i4 k) const { return y_.at(static_cast<std::size_t>(k - 1)); }

  /// Twice the area of (a, b, c), above 0 when they go round counterclockwise.
  wide turn(i4 a, i4 b, i4 c) const { return (x(b) - x(a)) * (y(c) - y(a)) - (x(c) - x(a)) * (y(b) - y(a)); }

  /// Above 0 when d lies inside the circle through a, b, c (counterclockwise).
  wide in_circle(i4 a, i4 b, i4 c, i4 d) const {
    const wide ax = x(a) - x(d), ay = y(a) - y(d), bx = x(b) - x(d), by = y(b) - y(d), cx = x(c) - x(d),
               cy = y(c) - y(d);
    return (ax * ax + ay * ay) * (bx * cy - cx * by) - (bx * bx + by * by) * (ax * cy - cx * ay) +
           (cx * cx + cy * cy) * (ax * by - bx * ay);
  }

  std::string packing() {
    if (static_cast<i4>(table_.adj_end.size()) != n_) return "adj_end has another length";
    lists_.assign(1, {});
    i4 end_before = 0;
    for (i4 k = 1; k <= n_; ++k) {
      const i4 end = table_.adj_end[static_cast<std::size_t>(k - 1)];
      if (end < end_before + 2 || end > 6 * n_ - 9) return node(k) + " ends at " + std::to_string(end);
      lists_.emplace_back(table_.adj_list.begin() + end_before, table_.adj_list.begin() + end);
      end_before = end;
    }
    return {};
  }

  std::string neighbours() {
    for (i4 k = 1; k <= n_; ++k) {
      entries& list = lists_[static_cast<std::size_t>(k)];
      const bool on_boundary = list.back() == 0;
      if (on_boundary) {
        list.pop_back();
        boundary_.insert(k);
      }
      if (list.size() < (on_boundary ? 2u : 3u)) return node(k) + " has too few neighbours";
      for (const i4 m : list) {
        if (m < 1 || m > n_ || m == k) return node(k) + " has the neighbour " + std::to_string(m);
        if (!arcs_.insert({k, m}).second) return node(k) + " has a neighbour twice";
      }
    }
    for (const auto& [k, m] : arcs_)
      if (!arcs_.contains({m, k})) return node(m) + " does not know its neighbour " + std::to_string(k);
    return {};
  }

  /// A node and two neighbours that follow each other make a triangle, which its three nodes must agree on.
  std::string triangles() {
    std::map<entries, int> seen;
    for (i4 k = 1; k <= n_; ++k) {
      const entries& list = lists_[static_cast<std::size_t>(k)];
      const std::size_t wedges = boundary_.contains(k) ? list.size() - 1 : list.size();
      for (std::size_t i = 0; i < wedges; ++i) {
        const i4 a = list[i], b = list[(i + 1) % list.size()];
        ++seen[smallest_first(k, a, b)];
      }
    }
    for (const auto& [triangle, times] : seen) {
      if (times != 3) return "a triangle of " + node(triangle[0]) + " is not its other nodes'";
      triangles_.insert(triangle);
    }
    const std::size_t expected = 2 * static_cast<std::size_t>(n_) - 2 - boundary_.size();
    return triangles_.size() == expected ? "" : "the number of triangles is not 2n - 2 - b";
  }

  /// First entries lead round the hull once, entries before the 0 lead back.
  std::string hull() {
    std::set<i4> visited;
    for (i4 a = *boundary_.begin(); visited.insert(a).second; a = list_of(a).front()) {
      const i4 b = list_of(a).front();
      if (!boundary_.contains(b) || list_of(b).back() != a) return "the hull breaks at " + node(a);
    }
    return visited == boundary_ ? "" : "the hull leaves out a node with a 0";
  }

  std::string orientation() {
    for (const entries& t : triangles_)
      if (turn(t[0], t[1], t[2]) <= 0) return "a triangle of " + node(t[0]) + " is not counterclockwise";
    return {};
  }

  /// The hull never turns right, and it goes round only once: twice its area is that of all triangles.
  std::string convexity() {
    wide round = 0, all = 0;
    for (const i4 a : boundary_) {
      const i4 b = list_of(a).front();
      if (turn(a, b, list_of(b).front()) < 0) return "the hull is not convex at " + node(b);
      round += x(a) * y(b) - x(b) * y(a);
    }
    for (const entries& t : triangles_) all += turn(t[0], t[1], t[2]);
    return all == round ? "" : "the triangles do not fill the hull";
  }

  const entries& list_of(i4 k) const { return lists_[static_cast<std::size_t>(k)]; }

  /// No node lies inside a circumcircle: for all nodes where they are few; over each arc otherwise, which is the same.
  std::string circles() {
    for (const entries& t : triangles_) {
      if (n_ <= 40) {
        for (i4 d = 1; d <= n_; ++d)
          if (in_circle(t[0], t[1], t[2], d) > 0) return node(d) + " lies in a circle of " + node(t[0]);
        continue;
      }
      for (std::size_t i = 0; i < 3; ++i) {
        const i4 d = across(t[i], t[(i + 1) % 3]);
        if (d != 0 && in_circle(t[0], t[1], t[2], d) > 0)
          return node(d) + " lies in a circle of " + node(t[0]);
      }
    }
    return {};
  }

  /// The third node of the triangle to the right of the arc a-b, or 0.
  i4 across(i4 a, i4 b) const {
    const entries& list = list_of(a);
    const auto at = std::find(list.begin(), list.end(), b);
    if (at != list.begin()) return *(at - 1);
    return boundary_.contains(a) ? 0 : list.back();
  }

  i4 n_;
  std::vector<wide> x_, y_;
  flat_table table_;
  std::vector<entries> lists_;  // without the 0
  std::set<i4> boundary_;
  std::set<std::pair<i4, i4>> arcs_;
  std::set<entries> triangles_;
};

/// What is wrong with the table of a set that node_sets.h made.
inline std::string fault_of(const node_set& nodes, const flat_table& table) {
  std::vector<whole_128> x(nodes.x.begin(), nodes.x.end()), y(nodes.y.begin(), nodes.y.end());
  const std::string fault = triangulation_judge(std::move(x), std::move(y), table).fault();
  return fault.empty() ? fault : nodes.name + ": " + fault;
}

}  // namespace velko::test
