/// The triangulation and the search in it once more, with one plain statement for each step of the method: what the
/// tables and the answers of the library have to be, entry for entry.
///
/// The lists of neighbours are kept as one vector for each node, so that nothing is ever shifted; table() lays them one
/// behind the other at the end. Where a table moves a stretch aside to make room for an entry, this header says "before"
/// or "behind" a neighbour. Coordinates are of any kind of number that knows + - * and comparison: r8
/// gives the steps in floating point, whole numbers without limit give them exactly.
#pragma once

#include <algorithm>
#include <boost/multiprecision/cpp_int.hpp>
#include <cmath>
#include <complex>
#include <numbers>
#include <stdexcept>
#include <vector>

#include "arrays/numbers.h"

namespace velko::test {

/// The steps have no way on: a search finds nothing or no end, or a neighbour is not in the list where it has to be.
struct steps_break : std::runtime_error {
  using std::runtime_error::runtime_error;
};

struct place_found {
  i4 i1 = 0, i2 = 0, i3 = 0;
  bool operator==(const place_found&) const = default;
};

struct flat_table {
  i4 status = 0;
  std::vector<i4> adj_list, adj_end;  // element 0 is the first
  bool operator==(const flat_table&) const = default;
};

using whole = boost::multiprecision::cpp_int;

/// The exponent of the last binary digit that any of the coordinates has.
inline int finest(const std::vector<r8>& xs, const std::vector<r8>& ys) {
  int exponent = 0;
  for (const std::vector<r8>* values : {&xs, &ys})
    for (const r8 value : *values)
      if (value != 0) exponent = std::min(exponent, std::ilogb(value) - 52);
  return exponent;
}

/// The coordinates as whole multiples of 2^exponent: the signs of all tests stay.
inline std::vector<whole> wholes(const std::vector<r8>& values, int exponent) {
  std::vector<whole> scaled;
  for (const r8 value : values) {
    int own = 0;
    const auto digits = static_cast<i8>(std::ldexp(std::frexp(value, &own), 53));
    scaled.push_back(whole(digits) * (whole(1) << std::max(own - 53 - exponent, 0)));
  }
  return scaled;
}

template <class number>
class slow_triangulation {
 public:
  slow_triangulation(const std::vector<number>& xs, const std::vector<number>& ys)
      : n_(static_cast<i4>(xs.size())), x_(1), y_(1), list_(xs.size() + 1) {
    x_.insert(x_.end(), xs.begin(), xs.end());
    y_.insert(y_.end(), ys.begin(), ys.end());
    build();
  }

  flat_table table() const {
    flat_table flat{status_, {}, {}};
    if (status_ == 2) flat.adj_end = chain_;
    if (status_ != 0) return flat;
    for (i4 k = 1; k <= n_; ++k) {
      flat.adj_list.insert(flat.adj_list.end(), of(k).begin(), of(k).end());
      flat.adj_end.push_back(static_cast<i4>(flat.adj_list.size()));
    }
    return flat;
  }

  place_found locate(i4 nst, const number& px, const number& py) const {
    return search{*this, px, py, 0}.from(std::max(nst, 1));
  }

 private:
  using entries = std::vector<i4>;

  entries& of(i4 k) { return list_.at(index(k)); }
  const entries& of(i4 k) const { return list_.at(index(k)); }
  static std::size_t index(i4 k) { return static_cast<std::size_t>(k); }
  const number& x(i4 k) const { return x_.at(index(k)); }
  const number& y(i4 k) const { return y_.at(index(k)); }

  static entries::iterator find(entries& list, i4 neighbour) {
    const auto found = std::find(list.begin(), list.end(), neighbour);
    if (found == list.end()) throw steps_break("a neighbour is missing");
    return found;
  }
  static void insert_before(entries& list, i4 neighbour, i4 k) { list.insert(find(list, neighbour), k); }
  static void insert_behind(entries& list, i4 neighbour, i4 k) { list.insert(find(list, neighbour) + 1, k); }

  // ---- the leading nodes on one line

  void build() {
    if (n_ < 3) {
      status_ = 1;
      return;
    }
    chain_ = {1, 2};
    for (i4 k = 3;; ++k) {  // the chain holds the nodes 1..k-1
      if (k > n_) {
        status_ = 2;
        return;
      }
      const i4 left = chain_.front(), right = chain_.back();
      const number dx = x(right) - x(left), dy = y(right) - y(left);
      const number c = dx * (y(k) - y(left)) - dy * (x(k) - x(left));
      if (c == 0) {
        chain_.insert(place_in_chain(k, dx, dy), k);
        continue;
      }
      if (c > 0) std::reverse(chain_.begin(), chain_.end());
      fan(k);
      while (++k <= n_) add_node(k);
      return;
    }
  }

  entries::iterator place_in_chain(i4 k, const number& dx, const number& dy) {
    const i4 left = chain_.front();
    const number s = (x(k) - x(left)) * dx + (y(k) - y(left)) * dy;
    if (s <= 0) return chain_.begin();
    for (auto p = chain_.begin() + 1; p != chain_.end(); ++p)
      if ((x(left) - x(*p)) * (x(k) - x(*p)) + (y(left) - y(*p)) * (y(k) - y(*p)) >= 0) return p;
    return chain_.end();
  }

  /// The first triangles: k is the apex, the chain runs so that k lies to its right.
  void fan(i4 k) {
    for (auto p = chain_.begin(); p != chain_.end(); ++p) {
      entries& list = of(*p);
      if (p != chain_.begin()) list.push_back(*(p - 1));
      list.push_back(k);
      if (p + 1 != chain_.end()) list.push_back(*(p + 1));
      list.push_back(0);
    }
    of(k).assign(chain_.rbegin(), chain_.rend());
    of(k).push_back(0);
  }

  // ---- one node more

  void add_node(i4 k) {
    const place_found at = locate(k - 1, x(k), y(k));
    if (at.i1 == 0) throw steps_break("no triangle");
    if (at.i3 != 0)
      add_interior_node(k, at.i1, at.i2, at.i3);
    else
      add_boundary_node(k, at.i1, at.i2);
    restore_delaunay_around(k);
  }

  void add_interior_node(i4 k, i4 i1, i4 i2, i4 i3) {
    insert_behind(of(i1), i2, k);
    insert_behind(of(i2), i3, k);
    insert_behind(of(i3), i1, k);
    of(k) = {i1, i2, i3};
  }

  void add_boundary_node(i4 k, i4 i1, i4 i2) {
    if (i1 == i2) throw steps_break("no arc of the hull in sight");
    insert_before(of(i1), 0, k);
    of(i2).insert(of(i2).begin(), k);
    of(k) = {i1};
    for (i4 w = of(i1).end()[-3]; w != i2;) {  // ..., previous boundary node, k, 0
      of(k).push_back(w);
      if (of(w).back() != 0 || of(k).size() > x_.size()) throw steps_break("no end to the visible hull");
      of(w).back() = k;
      w = of(w).end()[-2];
    }
    of(k).push_back(i2);
    of(k).push_back(0);
  }

  void restore_delaunay_around(i4 k) {
    const i4 a = of(k).front();
    std::size_t c = 1;
    i4 o2 = a, o1 = of(k).at(c);
    while (true) {
      const i4 w = across(o1, o2);
      if (w != 0 && swap_test(w, k, o1, o2)) {
        swap_diagonal(w, k, o1, o2);
        o1 = w;
        continue;
      }
      if (o1 == a) return;
      o2 = o1;
      if (++c >= of(k).size()) c = 0;
      o1 = of(k).at(c);
      if (o1 == 0) return;
    }
  }

  /// The node across the arc o1-o2, seen from the newest: in the list of o2 it comes before o1.
  i4 across(i4 o1, i4 o2) {
    const auto p = find(of(o2), o1);
    return p == of(o2).begin() ? of(o2).back() : *(p - 1);
  }

  bool swap_test(i4 in1, i4 in2, i4 io1, i4 io2) const {
    const number u1x = x(io1) - x(in1), u1y = y(io1) - y(in1), u2x = x(io2) - x(in1), u2y = y(io2) - y(in1);
    const number s1x = x(io1) - x(in2), s1y = y(io1) - y(in2), s2x = x(io2) - x(in2), s2y = y(io2) - y(in2);
    const number cos1 = u1x * u2x + u1y * u2y, cos2 = s2x * s1x + s2y * s1y;
    if (cos1 >= 0 && cos2 >= 0) return false;
    if (cos1 < 0 && cos2 < 0) return true;
    const number sin1 = u1x * u2y - u2x * u1y, sin2 = s2x * s1y - s1x * s2y;
    return number(cos1 * sin2 + sin1 * cos2) < 0;
  }

  /// The order of the four numbers says on which side of its two new neighbours each entry comes in: that matters
  /// where a circular list ends between the two.
  void swap_diagonal(i4 in1, i4 in2, i4 io1, i4 io2) {
    if (std::ranges::count(of(in1), in2) != 0) throw steps_break("an arc would stand twice");
    const i4 a1 = std::min(in1, in2), a2 = std::max(in1, in2), b1 = std::min(io1, io2),
             b2 = std::max(io1, io2);
    i4 h = in1 > in2 ? 2 : 1;
    if (io1 > io2) h = 3 - h;
    i4 bh = h == 1 ? b1 : b2, bg = h == 1 ? b2 : b1;
    of(b1).erase(find(of(b1), b2));
    of(b2).erase(find(of(b2), b1));
    if (b2 < a1) {
      insert_before(of(a1), bg, a2);
      insert_before(of(a2), bh, a1);
    } else if (a2 < b1) {
      insert_behind(of(a2), bg, a1);
      insert_behind(of(a1), bh, a2);
    } else {
      b1 < a1 ? insert_before(of(a1), bg, a2) : insert_behind(of(a1), bh, a2);
      std::swap(bh, bg);
      b2 < a2 ? insert_before(of(a2), bg, a1) : insert_behind(of(a2), bh, a1);
    }
  }

  // ---- the search

  struct search {
    const slow_triangulation& in;
    const number &px, &py;
    std::size_t steps;

    bool left(i4 a, i4 b) const {
      return number((in.x(b) - in.x(a)) * (py - in.y(a))) >= number((px - in.x(a)) * (in.y(b) - in.y(a)));
    }
    /// Every loop comes by here: a search that takes more steps than there are arcs goes round in circles.
    void walk_on() {
      if (++steps > 6 * in.list_.size()) throw steps_break("a search without end");
    }

    place_found from(i4 n0) {
      while (true) {
        walk_on();
        const entries& list = in.of(n0);
        std::size_t p = 0;
        const i4 nf = list.front();
        i4 n1 = nf, nl = list.back();
        if (nl != 0) {
          while (!left(n0, n1)) {
            n1 = list.at(++p);
            if (n1 == nl) return cross(n0, n1, nf);
          }
        } else {
          nl = list.end()[-2];
          if (!left(n0, nf)) return {forward(nf), backward(n0), 0};
          if (!left(nl, n0)) return {n0, backward(nl), 0};
        }
        while (n1 != nl) {
          const i4 n2 = list.at(++p);
          if (!left(n0, n2)) return cross(n0, n1, n2);
          n1 = n2;
        }
        if (!left(n0, nf)) return cross(n0, n1, nf);
        if (px == in.x(n0) && py == in.y(n0)) {
          n0 = nl;
          continue;
        }
        const i4 next = off_the_line(n0, p);
        if (next == 0) return {0, 0, 0};
        n0 = next;
      }
    }

    i4 off_the_line(i4 n0, std::size_t p) const {
      for (const entries& list = in.of(n0);; --p) {
        const i4 m = list.at(p);
        if (!left(m, n0)) return m;
        if (m == list.front()) return 0;
      }
    }

    place_found cross(i4 n0, i4 n1, i4 n2) {
      i4 n3 = n0;
      while (!left(n1, n2)) {
        walk_on();
        const entries& list = in.of(n2);
        const auto at = std::find(list.begin(), list.end(), n1);
        if (at == list.end()) throw steps_break("a neighbour is missing");
        const i4 n4 = at + 1 == list.end() ? list.front() : *(at + 1);
        if (n4 == 0) return {forward(n2), backward(n1), 0};
        if (!left(n0, n4)) {
          n3 = n2;
          n2 = n4;
        } else {
          n3 = n1;
          n1 = n4;
        }
      }
      return settled(n1, n2, n3);
    }

    place_found settled(i4 n1, i4 n2, i4 n3) const {
      if (in.of(n1).back() != 0) return {n1, n2, n3};
      if (n3 == in.of(n1).end()[-2] && left(n1, n3)) return {n1, n3, 0};
      if (n2 == in.of(n1).front() && left(n2, n1)) return {n2, n1, 0};
      return {n1, n2, n3};
    }

    i4 forward(i4 a) {
      for (;; walk_on()) {
        const i4 b = in.of(a).front();
        if (left(a, b)) return a;
        a = b;
      }
    }
    i4 backward(i4 a) {
      for (;; walk_on()) {
        const i4 b = in.of(a).end()[-2];
        if (left(b, a)) return a;
        a = b;
      }
    }
  };

  i4 n_, status_ = 0;
  std::vector<number> x_, y_;
  std::vector<entries> list_;
  entries chain_;
};

struct slow_table {
  flat_table table;
  bool exact = false;
};

/// Whether the angles around some node are not one full turn, or on the boundary more than half a turn: as rounding
/// orders nodes along a line, the triangles fold over there.
inline bool folds(const std::vector<r8>& xs, const std::vector<r8>& ys, const flat_table& table) {
  const auto at = [&](i4 k) {
    return std::complex<r8>(xs.at(static_cast<std::size_t>(k - 1)), ys.at(static_cast<std::size_t>(k - 1)));
  };
  auto begin = table.adj_list.begin();
  for (i4 k = 1; k <= static_cast<i4>(xs.size()); ++k) {
    const auto end = table.adj_list.begin() + table.adj_end.at(static_cast<std::size_t>(k - 1));
    r8 turns = 0;
    for (auto p = begin; p != end; ++p) {
      const i4 a = *p, b = p + 1 == end ? *begin : *(p + 1);
      if (a != 0 && b != 0)
        turns += std::abs(std::arg((at(a) - at(k)) * std::conj(at(b) - at(k)))) / (2 * std::numbers::pi);
    }
    const bool on_boundary = *(end - 1) == 0;
    if (on_boundary ? turns > 0.5 + 1e-7 : std::abs(turns - 1) > 1e-7) return true;
    begin = end;
  }
  return false;
}

/// The table of the steps in floating point, or where these break or fold, of the same steps without rounding.
inline slow_table slow_build(const std::vector<r8>& xs, const std::vector<r8>& ys) {
  try {
    slow_table floats{slow_triangulation<r8>(xs, ys).table(), false};
    if (floats.table.status == 0 && folds(xs, ys, floats.table)) throw steps_break("the triangles fold over");
    return floats;
  } catch (const steps_break&) {
    const int exponent = finest(xs, ys);
    return {slow_triangulation<whole>(wholes(xs, exponent), wholes(ys, exponent)).table(), true};
  }
}

}  // namespace velko::test
