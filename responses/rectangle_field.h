/// Rectangle field: the field of uniformly charged rectangles, the faces of cells, at one point.
///
/// What     for a column of upright rectangles, one below the other,
///            value(k) = normal * Fn + across * Fp + down * Fw,   F = integral over rectangle k of (u, p, w) / r^3,
///          where (u, p, w) leads from the point to the charge: u along the normal, p along the horizontal edges,
///          w upward. Fn is the solid angle of the rectangle. A uniformly magnetised cell is charged on its faces
/// How      with a and b the lengths of the sides, all distances those of the corners,
///            Fn  twice the angle of the product of two complex numbers, one for each half of the rectangle: the
///                tangent of half a triangle's solid angle is  u a b / (r1 r2 r3 + r1.r2 r3 + r2.r3 r1 + r3.r1 r2)
///            Fp  E(nearer) - E(farther upright edge), where E = ln((s + b) / (s - b)) is the potential of a charged
///                line of length b, s the sum of the distances of its ends; taken together,
///                2 artanh(a b (p1 + p2) (s1 + s2) / (t1 t2 (s1 s2 - b^2))), t the sums at the horizontal edges
///            Fw  likewise with the roles of the two directions exchanged
///          Nothing cancels in these forms far away; there the arguments are small and few terms of the series of
///          arctan and artanh do. Near a rectangle Fn is taken from its corners and Fp, Fw from its edges
/// Accuracy relative 4e-16 or so of |F| far away, of 1 near by (tests/responses/rectangle_field_test.cpp). A line is
///          never seen from closer than s - b = 1e-24 b, which keeps E finite on an edge: it is what a point at a
///          1e-12th of its length sees. On the plane of a rectangle the side u > 0 is taken
/// Bits     plain arithmetic and square roots in a fixed order: the same on every machine, whatever its vectors
/// Threads  no state
/// Sources  A. van Oosterom and J. Strackee, IEEE Trans. Biomed. Eng. 30 (1983) 125-126,
///          doi 10.1109/TBME.1983.325207 (solid angle); the potential of a line is that of O. D. Kellogg, Foundations
///          of Potential Theory (1929), chapter III, 2
#pragma once

#include "arrays/instruction_set.h"
#include "arrays/numbers.h"

namespace velko {

/// Weights of the three components.
struct face_weights {
  r8 normal, across, down;
};

/// Rectangle k, counted from 0, lies between the heights w[k] > w[k + 1] and between p1 < p2.
struct rectangle_column {
  r8 u, p1, p2, width;  // width = p2 - p1, rounded once
  const r8* w;          // heights of the corners
  const r8* height;     // w[k] - w[k + 1], rounded once
  r8 tallest;           // the largest of them
  const r8 *r1, *r2;    // distances of the corners at p1 and at p2
};

/// Rectangles at once. Arrays of a column are read up to the next multiple of it, those of corners one further.
inline constexpr i4 rectangles_at_once = 8;

/// Fills value[begin .. end - 1]; up to a multiple of rectangles_at_once around them is written too.
using rectangle_field = void (*)(const rectangle_column& column, const face_weights& weights, i4 begin,
                                 i4 end, r8* value);

/// The variant compiled for the set. The machine must have it.
rectangle_field rectangle_field_for(instruction_set set);

}  // namespace velko
