// Letters: u, p, w as in the header; a and b are the sides along p and w; s and t the sums of the distances of the ends
// of an edge along w and along p. A suffix 1 or 2 is the side of p1 or p2, or the upper or lower edge.
#include "responses/rectangle_field.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "responses/series.h"

namespace velko {

namespace {

/// A rectangle is far when the mean distance of its corners is at least twice its diagonal: when the square of their
/// sum is at least 64 times that of the diagonal. The arguments of the series are then below 0.07.
constexpr r8 far_from_diagonal2 = 64.0;
constexpr int far_terms = 7;

/// Very far is six times as far. There the arguments are below 0.002, and three terms are exact.
constexpr r8 very_far_from_diagonal2 = 36.0 * far_from_diagonal2;
constexpr int very_far_terms = 3;

/// Eight rectangles, every one as if it were so far that so many terms do.
template <int terms>
VELKO_ALWAYS_INLINE void far_field(const rectangle_column& c, const face_weights& weights, i4 k,
                                   r8x8_mem* value) {
  // The result is named, as g++ deduces the type without its alignment.
  const auto at = [k](const r8* x) -> const r8x8_mem* { return reinterpret_cast<const r8x8_mem*>(x + k); };
  const r8x8 w1 = *at(c.w), w2 = *at(c.w + 1), b = *at(c.height);
  const r8x8 r11 = *at(c.r1), r12 = *at(c.r1 + 1), r21 = *at(c.r2), r22 = *at(c.r2 + 1);
  const r8x8 s1 = r11 + r12, s2 = r21 + r22, t1 = r11 + r21, t2 = r12 + r22;
  const r8x8 ss = s1 * s2, tt = t1 * t2, ab = c.width * b, round = ab * (s1 + s2);
  r8x8 sum{}, half;
  if (weights.normal != 0.0) {
    const r8 u2 = c.u * c.u, across = u2 + c.p1 * c.p2;
    const r8x8 ww = w1 * w2, diagonal = across + ww;
    const r8x8 d1 = (r11 * r12 + (u2 + c.p1 * c.p1 + ww)) * r22 + diagonal * r12 + (across + w2 * w2) * r11;
    const r8x8 d2 = (r11 * r21 + (across + w1 * w1)) * r22 + diagonal * r21 + (u2 + c.p2 * c.p2 + ww) * r11;
    const r8x8 n = c.u * ab;
    odd_series<terms, -1>(n * (d1 + d2) / (d1 * d2 - n * n), half);
    sum += weights.normal * half;
  }
  if (weights.across != 0.0) {
    odd_series<terms, 1>(round * (c.p1 + c.p2) / (tt * (ss - b * b)), half);
    sum += weights.across * half;
  }
  if (weights.down != 0.0) {
    odd_series<terms, 1>(round * (w1 + w2) / (ss * (tt - c.width * c.width)), half);
    sum += weights.down * half;
  }
  *value = 2.0 * sum;
}

/// Angle of a corner: arctan(p w / (u r)).
r8 corner_angle(r8 u, r8 p, r8 w, r8 r) {
  const r8 area = p * w;
  if (area == 0.0) return 0.0;
  return u == 0.0 ? std::copysign(0.5 * std::numbers::pi, area) : portable_atan(area / (u * r));
}

/// E of a line from d1 to d2 > d1, both counted along it from the foot of the point, at distances r1 and r2. The foot
/// is rho away. s - length is formed from s^2 - length^2 = 2 (rho^2 + r1 r2 + d1 d2).
r8 line_potential(r8 rho2, r8 d1, r8 d2, r8 r1, r8 r2, r8 length) {
  const r8 s = r1 + r2, dd = d1 * d2;
  const r8 product = dd < 0.0 ? rho2 * (rho2 + d1 * d1 + d2 * d2) / (r1 * r2 - dd) : r1 * r2 + dd;
  const r8 excess = std::max(2.0 * (rho2 + product) / (s + length), 1e-24 * length);
  return portable_log((s + length) / excess);
}

/// Rectangle k, at any distance.
r8 near_field(const rectangle_column& c, const face_weights& weights, i4 k) {
  const r8 w1 = c.w[k], w2 = c.w[k + 1], b = c.height[k];
  const r8 r11 = c.r1[k], r12 = c.r1[k + 1], r21 = c.r2[k], r22 = c.r2[k + 1];
  const r8 u2 = c.u * c.u;
  r8 sum = 0.0;
  if (weights.normal != 0.0)
    sum += weights.normal * ((corner_angle(c.u, c.p2, w1, r21) - corner_angle(c.u, c.p2, w2, r22)) -
                             (corner_angle(c.u, c.p1, w1, r11) - corner_angle(c.u, c.p1, w2, r12)));
  if (weights.across != 0.0)
    sum += weights.across * (line_potential(u2 + c.p1 * c.p1, w2, w1, r12, r11, b) -
                             line_potential(u2 + c.p2 * c.p2, w2, w1, r22, r21, b));
  if (weights.down != 0.0)
    sum += weights.down * (line_potential(u2 + w2 * w2, c.p1, c.p2, r12, r22, c.width) -
                           line_potential(u2 + w1 * w1, c.p1, c.p2, r11, r21, c.width));
  return sum;
}

/// The whole column is as far as that when even the point of its plane that is level with the point is.
bool all_beyond(const rectangle_column& c, r8 times_diagonal2) {
  const r8 p = c.p1 < 0.0 && c.p2 > 0.0 ? 0.0 : std::min(std::abs(c.p1), std::abs(c.p2));
  return 16.0 * (c.u * c.u + p * p) >= times_diagonal2 * (c.width * c.width + c.tallest * c.tallest);
}

bool is_near(const rectangle_column& c, i4 k) {
  const r8 sum = (c.r1[k] + c.r1[k + 1]) + (c.r2[k] + c.r2[k + 1]);
  return sum * sum < far_from_diagonal2 * (c.width * c.width + c.height[k] * c.height[k]);
}

template <int terms>
VELKO_ALWAYS_INLINE void far_fields(const rectangle_column& c, const face_weights& weights, i4 begin, i4 end,
                                    r8* value) {
  for (i4 k = begin - begin % rectangles_at_once; k < end; k += rectangles_at_once)
    far_field<terms>(c, weights, k, reinterpret_cast<r8x8_mem*>(value + k));
}

VELKO_ALWAYS_INLINE void field(const rectangle_column& c, const face_weights& weights, i4 begin, i4 end,
                               r8* value) {
  if (all_beyond(c, very_far_from_diagonal2))
    return far_fields<very_far_terms>(c, weights, begin, end, value);
  far_fields<far_terms>(c, weights, begin, end, value);
  if (all_beyond(c, far_from_diagonal2)) return;
  for (i4 k = begin; k < end; ++k)
    if (is_near(c, k)) value[k] = near_field(c, weights, k);
}

void field_sse2(const rectangle_column& c, const face_weights& weights, i4 begin, i4 end, r8* value) {
  field(c, weights, begin, end, value);
}
VELKO_TARGET_AVX2 void field_avx2(const rectangle_column& c, const face_weights& weights, i4 begin, i4 end,
                                  r8* value) {
  field(c, weights, begin, end, value);
}
VELKO_TARGET_AVX512 void field_avx512(const rectangle_column& c, const face_weights& weights, i4 begin,
                                      i4 end, r8* value) {
  field(c, weights, begin, end, value);
}

}  // namespace

rectangle_field rectangle_field_for(instruction_set set) {
  switch (set) {
    case instruction_set::avx512:
      return field_avx512;
    case instruction_set::avx2:
      return field_avx2;
    case instruction_set::sse2:
      break;
  }
  return field_sse2;
}

}  // namespace velko
