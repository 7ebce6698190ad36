/// The questions that the triangulation asks about points, each written once, for any kind of number.
///
/// What     every question is a comparison of two expressions in coordinates, with no tolerance.
///          `rounded_tests` answers it in 64-bit floats as it stands; `exact_tests` (exact_tests.h) gives the
///          true answer for finite coordinates
/// Errors   none. In floats, what overflows may be unordered, and then compares as nothing: not left, no swap
/// Letters  u, v arrows; a, b, p points
#pragma once

#include <compare>

#include "arrays/array.h"
#include "arrays/numbers.h"

namespace velko {

struct point {
  r8 x, y;
};

/// The nodes of a triangulation: node k is the point (x(k), y(k)).
struct node_points {
  array1<const r8> x, y;
  point operator()(i4 k) const { return {x(k), y(k)}; }
};

namespace formula {

template <class number>
struct arrow {
  arrow(point from, point to) : x(number(to.x) - number(from.x)), y(number(to.y) - number(from.y)) {}
  number x, y;
};

template <class number>
number dot(const arrow<number>& u, const arrow<number>& v) {
  return u.x * v.x + u.y * v.y;
}
template <class number>
number cross(const arrow<number>& u, const arrow<number>& v) {
  return u.x * v.y - v.x * u.y;
}

/// Greater: p lies left of the line from a to b. Equivalent: on it.
template <class number>
std::partial_ordering side(point a, point b, point p) {
  const arrow<number> u(a, b), v(a, p);
  return u.x * v.y - u.y * v.x <=> number(0);
}

/// Less, equivalent, greater: the angle between p and q, seen from the apex, is obtuse, right, acute.
template <class number>
std::partial_ordering cosine(point apex, point p, point q) {
  return dot(arrow<number>(apex, p), arrow<number>(apex, q)) <=> number(0);
}

/// The sum of the angles at in1 and in2, opposite each other in the quadrilateral with the diagonal io1-io2:
/// its sine, up to a positive factor.
template <class number>
number sine_of_opposite_angles(point in1, point in2, point io1, point io2) {
  const arrow<number> u1(in1, io1), u2(in1, io2), s1(in2, io1), s2(in2, io2);
  return dot(u1, u2) * cross(s2, s1) + cross(u1, u2) * dot(s2, s1);
}

}  // namespace formula

/// The answers in 64-bit floats.
struct rounded_tests {
  /// p lies left of the line from a to b, or on it.
  static bool left(point a, point b, point p) {
    return (b.x - a.x) * (p.y - a.y) >= (p.x - a.x) * (b.y - a.y);
  }
  static std::partial_ordering side(point a, point b, point p) { return formula::side<r8>(a, b, p); }
  static std::partial_ordering cosine(point apex, point p, point q) {
    return formula::cosine<r8>(apex, p, q);
  }

  /// The diagonal io1-io2 is to be replaced by in1-in2: the angles there exceed 180 degrees together. Four
  /// points on one circle keep the diagonal they have. Two obtuse angles exceed it, and two that are not
  /// obtuse do not, whatever rounding makes of the sine. No branches: the answer is chance, and they would be
  /// mispredicted.
  static bool swap(point in1, point in2, point io1, point io2) {
    using arrow = formula::arrow<r8>;
    const r8 cos1 = formula::dot(arrow(in1, io1), arrow(in1, io2));
    const r8 cos2 = formula::dot(arrow(in2, io2), arrow(in2, io1));
    const r8 sine = formula::sine_of_opposite_angles<r8>(in1, in2, io1, io2);
    const unsigned both_obtuse = unsigned{cos1 < 0} & unsigned{cos2 < 0};
    const unsigned none_obtuse = unsigned{cos1 >= 0} & unsigned{cos2 >= 0};
    return (both_obtuse | (~none_obtuse & unsigned{sine < 0})) != 0;
  }
};

}  // namespace velko
