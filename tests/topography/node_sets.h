/// Sets of nodes of every kind that a triangulation may meet. A set is a function of its kind, its size and its seed;
/// name() says which, for messages.
///
/// The coordinates are whole numbers, so that a judge can be exact. Kinds other than `scattered` stay within 1000 of the
/// origin: there the tests of the triangulation are exact in 64-bit floats too, and ties are true ties.
#pragma once

#include <algorithm>
#include <cmath>
#include <numbers>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "arrays/numbers.h"

namespace velko::test {

struct node_set {
  std::string name;
  std::vector<r8> x, y;

  i4 n() const { return static_cast<i4>(x.size()); }
};

enum class kind { scattered, crowded, gridded, cocircular, clustered, line_first, comb, on_one_line };
inline constexpr kind kinds[] = {kind::scattered, kind::crowded,    kind::gridded, kind::cocircular,
                                 kind::clustered, kind::line_first, kind::comb,    kind::on_one_line};
inline constexpr const char* kind_names[] = {"scattered", "crowded",    "gridded", "cocircular",
                                             "clustered", "line first", "comb",    "on one line"};

enum class order { as_made, sorted, reversed, shuffled };
inline constexpr order orders[] = {order::as_made, order::sorted, order::reversed, order::shuffled};
inline constexpr const char* order_names[] = {"as made", "sorted", "reversed", "shuffled"};

class node_set_maker {
 public:
  node_set_maker(kind k, order o, i4 size, unsigned seed) : size_(size), generator_(seed) {
    name_ = std::string(kind_names[static_cast<int>(k)]) + ", " + order_names[static_cast<int>(o)] +
            ", size " + std::to_string(size) + ", seed " + std::to_string(seed);
    make(k);
    put_in(o);
  }

  node_set take() const {
    node_set nodes{name_, {}, {}};
    for (const auto& [x, y] : points_) {
      nodes.x.push_back(static_cast<r8>(x));
      nodes.y.push_back(static_cast<r8>(y));
    }
    return nodes;
  }

 private:
  i8 whole_between(i8 low, i8 high) { return std::uniform_int_distribution<i8>(low, high)(generator_); }

  /// Repeated nodes are not for the triangulation: whoever calls it has taken them out.
  void add(i8 x, i8 y) {
    if (seen_.insert({x, y}).second) points_.emplace_back(x, y);
  }

  void make(kind k) {
    switch (k) {
      case kind::scattered:
        return scatter(i8{1} << 28);
      case kind::crowded:
        return scatter(1 + static_cast<i8>(std::sqrt(size_)));
      case kind::gridded:
        return grid(1 + static_cast<i8>(std::sqrt(size_)));
      case kind::cocircular:
        return circles();
      case kind::clustered:
        return clusters();
      case kind::line_first:
        return line_first();
      case kind::comb:
        return comb();
      case kind::on_one_line:
        return line(size_);
    }
  }

  void scatter(i8 reach) {
    for (i4 i = 0; i < size_; ++i) add(whole_between(-reach, reach), whole_between(-reach, reach));
  }

  void grid(i8 side) {
    const i8 step_x = whole_between(1, 9), step_y = whole_between(1, 9);
    for (i8 i = 0; i < size_; ++i) add(i % side * step_x, i / side * step_y);
  }

  /// 5525 = 5^2 13 17 and 71825 = 5^2 13^2 17 are sums of two squares in many ways.
  void circles() {
    const i8 centre_x = whole_between(-100, 100), centre_y = whole_between(-100, 100);
    for (const i8 square : {i8{5525}, i8{71825}, i8{25}})
      for (i8 x = 0; x * x <= square; ++x) {
        const i8 y = std::llround(std::sqrt(static_cast<r8>(square - x * x)));
        if (x * x + y * y != square) continue;
        for (const i8 sx : {-x, x})
          for (const i8 sy : {-y, y}) add(centre_x + sx, centre_y + sy);
      }
    std::shuffle(points_.begin(), points_.end(), generator_);
    points_.resize(std::min(points_.size(), static_cast<std::size_t>(size_)));
  }

  void clusters() {
    std::normal_distribution<r8> spread(0, 6);
    while (static_cast<i4>(points_.size()) < size_) {
      const i8 x = whole_between(-900, 900), y = whole_between(-900, 900);
      for (i4 i = 0; i < 10; ++i)
        add(x + std::llround(spread(generator_)), y + std::llround(spread(generator_)));
    }
  }

  void line(i4 count) {
    const i8 step_x = whole_between(-3, 3), step_y = step_x == 0 ? 1 : whole_between(-3, 3);
    std::vector<i8> along(static_cast<std::size_t>(count));
    for (i8& t : along) t = whole_between(-150, 150);
    for (const i8 t : along) add(t * step_x, t * step_y);
  }

  void line_first() {
    line(std::max(2, size_ / 2));
    for (i4 i = 0; i < size_ / 2; ++i) add(whole_between(-500, 500), whole_between(-500, 500));
  }

  /// Long rows, so that a node joins collinear arcs of the hull over and over.
  void comb() {
    for (i4 row = 0; row < 3; ++row)
      for (i4 i = 0; i < size_ / 3; ++i) add(row * 7, whole_between(-size_, size_));
  }

  void put_in(order o) {
    switch (o) {
      case order::as_made:
        return;
      case order::sorted:
        return std::sort(points_.begin(), points_.end());
      case order::reversed:
        return std::sort(points_.rbegin(), points_.rend());
      case order::shuffled:
        return std::shuffle(points_.begin(), points_.end(), generator_);
    }
  }

  i4 size_;
  std::mt19937 generator_;
  std::string name_;
  std::vector<std::pair<i8, i8>> points_;
  std::set<std::pair<i8, i8>> seen_;
};

inline node_set make_nodes(kind k, order o, i4 size, unsigned seed) {
  return node_set_maker(k, o, size, seed).take();
}

/// A square grid of `side` by `side` nodes, turned by an angle about the origin and sorted along y: its rows are
/// straight only up to rounding.
inline node_set turned_grid(i4 side, r8 degrees, r8 spacing = 1) {
  const r8 angle = degrees * std::numbers::pi / 180, c = std::cos(angle), s = std::sin(angle);
  std::vector<std::pair<r8, r8>> by_y;
  for (i4 i = 0; i < side; ++i)
    for (i4 j = 0; j < side; ++j) by_y.emplace_back(spacing * (s * i + c * j), spacing * (c * i - s * j));
  std::sort(by_y.begin(), by_y.end());
  node_set nodes{
      "grid of " + std::to_string(side) + " squared, turned by " + std::to_string(degrees) + " degrees",
      {},
      {}};
  for (const auto& [y, x] : by_y) {
    nodes.x.push_back(x);
    nodes.y.push_back(y);
  }
  return nodes;
}

}  // namespace velko::test
