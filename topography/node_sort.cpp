#include "topography/node_sort.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <numeric>
#include <utility>

namespace velko {
namespace {

/// Positions first..last of ind.
struct segment {
  i4 first, last;
  i4 steps() const { return last - first; }  // one less than its length
};

/// Segments that wait for their turn. The longer part is always the one that waits, so that the depth stays
/// below the binary logarithm of n.
class waiting_segments {
 public:
  bool empty() const { return depth_ == 0; }
  void push(segment s) { segments_[depth_++] = s; }
  segment pop() { return segments_[--depth_]; }

 private:
  std::array<segment, 31> segments_;
  std::size_t depth_ = 0;
};

/// Where in a segment its middle key is taken: a fraction that wanders between 0.375 and 0.62, so that no
/// simple pattern of keys meets the worst pivot each time.
class middle_fraction {
 public:
  void advance() { value_ > turning_point ? value_ -= 0.21875 : value_ += 0.0390625; }
  i4 position(segment s) const {
    return s.first + static_cast<i4>(static_cast<r8>(static_cast<r4>(s.steps())) * value_);
  }

 private:
  static constexpr r8 turning_point = 0.5898436903953552;  // 0.5898437 in 32 bits
  r8 value_ = 0.375;
};

class index_sort {
 public:
  index_sort(array1<const r8> a, array1<i4> ind) : a_(a), ind_(ind) {}

  void run(i4 n) {
    segment s{1, n};
    if (n < 2) return;
    fraction_.advance();
    s = split(s);
    for (;;) {
      if (s.steps() >= longest_inserted) {
        s = split(s);
      } else if (s.first == 1 && s.last > 1) {  // nothing lies to the left that would stop an insertion
        fraction_.advance();
        s = split(s);
      } else {
        if (s.first > 1) insert(s);
        if (waiting_.empty()) return;
        s = waiting_.pop();
      }
    }
  }

 private:
  static constexpr i4 longest_inserted = 11;

  r8 key(i4 p) const { return a_(ind_(p)); }
  void exchange(i4 p, i4 q) const { std::swap(ind_(p), ind_(q)); }

  /// Puts the first, the middle and the last key in order and gives back the middle one.
  r8 order_three(segment s, i4 middle) const {
    if (key(s.first) > key(middle)) exchange(middle, s.first);
    if (key(s.last) < key(middle)) {
      exchange(middle, s.last);
      if (key(s.first) > key(middle)) exchange(middle, s.first);
    }
    return key(middle);
  }

  /// Parts a segment at its middle key. The longer part waits; the shorter one comes back.
  segment split(segment s) {
    const r8 t = order_three(s, fraction_.position(s));
    i4 k = s.first, l = s.last;
    for (;;) {
      do --l;
      while (key(l) > t);
      do ++k;
      while (key(k) < t);
      if (k > l) break;
      exchange(k, l);
    }
    segment lower{s.first, l}, upper{k, s.last};
    if (lower.steps() > upper.steps()) std::swap(lower, upper);
    waiting_.push(upper);
    return lower;
  }

  /// Straight insertion. Among numbers the entry before the segment would stop each scan; the bound is there
  /// for keys that are none.
  void insert(segment s) const {
    for (i4 p = s.first; p < s.last; ++p) {
      const i4 taken = ind_(p + 1);
      const r8 t = a_(taken);
      if (!(t < key(p))) continue;
      i4 free = p + 1;
      for (; free > s.first && key(free - 1) > t; --free) ind_(free) = ind_(free - 1);
      ind_(free) = taken;
    }
  }

  array1<const r8> a_;
  array1<i4> ind_;
  middle_fraction fraction_;
  waiting_segments waiting_;
};

/// Moves the elements of one cycle, which begins at i, and marks its places by a minus sign.
void turn_cycle(i4 i, array1<i4> ind, array1<r8> v) {
  const r8 remembered = v(i);
  i4 p = i;
  for (i4 q = ind(i); q != i; q = ind(p)) {
    ind(p) = -q;
    v(p) = v(q);
    p = q;
  }
  ind(p) = -i;
  v(p) = remembered;
}

}  // namespace

void sort_index(i4 n, array1<const r8> a, array1<i4> ind) {
  if (n < 1) return;
  assert(a.size() >= n && ind.size() >= n);
  std::iota(ind.begin(), ind.begin() + n, 1);
  index_sort(a, ind).run(n);
}

void permute_by_index(i4 n, array1<i4> ind, array1<r8> v) {
  if (n < 2) return;
  for (i4 i = 1; i <= n; ++i)
    if (ind(i) > 0) turn_cycle(i, ind, v);
  for (i4 i = 1; i <= n; ++i) ind(i) = -ind(i);
}

void reorder_nodes(i4 n, i4 nvec, array1<r8> a, array1<r8> b, array1<r8> c, array1<i4> ind) {
  sort_index(n, a, ind);
  if (nvec >= 1) permute_by_index(n, ind, a);
  if (nvec >= 2) permute_by_index(n, ind, b);
  if (nvec >= 3) permute_by_index(n, ind, c);
}

}  // namespace velko
