/// WTN_MOD: three-dimensional periodic wavelet transform of a cube, in place, with the filter that a
/// sensitivity file brings.
///
/// What     every line along the first (z), then the second (x), then the third dimension (y) goes through a
///          pyramid of PWT steps. Forward: lengths n, n/2, ... 4; inverse: 4, 8, ... n. What stays smooth are
///          elements 1 and 2 of a line; behind them lie the details: 3-4, 5-8, 9-16, ... up to its last half
/// Shapes   a(nn(1), nn(2), nn(3)), first index fastest; each nn a power of two. A dimension of 4 or less is
///          left as it is, in both directions. An entry below 1 makes an empty cube
/// Units    those of the input; an orthonormal filter keeps the 2-norm and makes the inverse exact up to
///          rounding. Any other filter is used as it stands: the two directions are then transposes only
/// Bits     the order of every sum is fixed (filter coefficients from first to last, output pairs from first to
///          last); the result is the same on every machine and equals PWT on each line by itself
/// Speed    each step costs n times the shorter of filter and line, for filters of more than longest_unfolded
///          coefficients; for shorter ones n times the filter
/// Errors   none of its own. A length that is no power of two wraps wrongly, but inside the array. Sizes of
///          spans are the caller's promise, checked by assert. std::bad_alloc where work arrays cannot grow
/// Threads  the filters are shared and read-only after SET_WTN_FILTER; work arrays belong to the calling thread,
///          are set up by its first call, grow when a later one needs more and are kept for the next
/// Sources  S. Mallat, IEEE PAMI 11 (1989) 674-693, doi 10.1109/34.192463 (pyramid);
///          I. Daubechies, Comm. Pure Appl. Math. 41 (1988) 909-996, doi 10.1002/cpa.3160410705 (filters)
/// See      examples/transform_a_cube.cpp, tests/wavelet/wtn_test.cpp
#pragma once

#include <array>
#include <span>

#include "arrays/array.h"
#include "arrays/instruction_set.h"
#include "arrays/numbers.h"

namespace velko {

/// The two analysis filters, set once by SET_WTN_FILTER and then shared by all threads.
struct wavelet_state {
  i4 filter_len = 0;  // length of both filters
  i4 filter_off = 0;  // -(filter_len / 2): centres both filters on the pair of samples that belongs to
                      // an output pair
  owned_array1<r8> lo_filter;  // (filter_len) low-pass: the stored coefficients
  owned_array1<r8> hi_filter;  // (filter_len) high-pass: reversed, with alternating sign
  // Both folded to lines of 4, 8, 16, ... elements, as far as these are shorter than the filter, one behind another: the
  // line of n begins at n - 3. Empty for filters of up to longest_unfolded coefficients.
  owned_array1<r8> lo_folded, hi_folded;
};
inline wavelet_state wavelet;

// A coefficient of a filter that is longer than the line falls on one that came before, and the work grows with the filter
// where it could end with the line. Beyond this length, far beyond any wavelet's, coefficients that meet are summed first,
// once for all lines; the sums then round differently in their last bits. Up to it every product is taken by itself.
inline constexpr i4 longest_unfolded = 1024;

/// Derives both filters from the n stored coefficients.
void SET_WTN_FILTER(std::span<const r8> wfilter, i4 n);

/// One step of the periodic pyramid on a, which has n elements, in place. All counted from 0, h < n/2 and
/// k < filter_len, with lo(k) = wfilter(k), hi(k) = (-1)^(filter_len - k) wfilter(filter_len - 1 - k), and p(h, k) the
/// position 2h + k + 2 + filter_off, wrapped to 0 .. n-1:
///   forward   smooth a(h) = sum over k of lo(k) a(p(h, k)), detail a(h + n/2) the same with hi
///   backward  a(p(h, k)) = sum over h and k of lo(k) a(h) + hi(k) a(h + n/2), the transpose
void PWT(std::span<r8> a, i4 n, bool forward);

/// The transform of the cube: forward for isign >= 0, inverse for isign < 0. nn holds the dimensions, fastest
/// first: (ncube_z, ncube_x, ncube_y).
void WTN(std::span<r8> a, std::array<i4, 3> nn, i4 isign);

/// WTN with the loops compiled for a given set, which the machine must have: same bits, for tests and
/// benchmarks.
void WTN_for(instruction_set set, std::span<r8> a, std::array<i4, 3> nn, i4 isign);

/// WTN along one dimension alone, for callers that know of lines that need not be transformed: element k of line (b, i1)
/// of a stands at i1 + nprev (k + n b), all from 0, i1 < nprev. Same bits as in WTN.
void WTN_along(std::span<r8> a, i4 n, i8 nprev, i4 isign);

/// The same for a part of the lines, as threads share them out: so many from line `first` on, where line (b, i1) is number
/// i1 + nprev b.
void WTN_along(std::span<r8> a, i4 n, i8 nprev, i4 isign, i8 first, i8 lines);

/// Forgets the filter and frees the work arrays of the calling thread.
void reset_WTN_MOD();

}  // namespace velko
