#include "wavelet/wtn_mod.h"

#include <algorithm>
#include <cassert>
#include <iterator>

#include "wavelet/line_transform.h"
#include "wavelet/pyramid_step.h"
#include "wavelet/transform_memory.h"

namespace velko {
namespace {

/// The work arrays of a thread; empty until its first call.
struct work_arrays {
  owned_array1<r8> line_buf;  // the lines being transformed
  owned_array1<r8> step_acc;  // accumulator of a pyramid step
  owned_array1<r8> panel;     // lines of a far-strided dimension
  i8 ntot = 0;                // elements of the cube
};
thread_local work_arrays work;

/// Makes room for so many elements in each work array.
void prepare_work(i8 elements) {
  if (work.step_acc.size() >= elements) return;
  work.line_buf = owned_array1<r8>(uninitialised, elements);
  work.step_acc = owned_array1<r8>(uninitialised, elements);
}

void prepare_panel(i8 elements) {
  if (work.panel.size() < elements) work.panel = owned_array1<r8>(uninitialised, elements);
}

/// Lines of a cube of ntot elements go in batches unless a batch would outgrow it: one long line must not cost the memory of
/// eight.
bool goes_in_batches(i4 n, i8 ntot) {
  constexpr i8 small = 1 << 16;
  return lines_at_once * n <= std::max(ntot, small);
}

/// The pyramid of the line that stands in line_buf.
void transform_line(std::span<r8> line, bool forward) {
  const i8 n = std::ssize(line);
  const auto step = [&](i8 nt) {
    PWT(line.first(static_cast<std::size_t>(nt)), static_cast<i4>(nt), forward);
  };
  if (forward)
    for (i8 nt = n; nt >= 4; nt /= 2) step(nt);
  else
    for (i8 nt = 4; nt <= n; nt *= 2) step(nt);
}

void transform_one_by_one(r8* block, i4 n, i8 nprev, line_range lines, bool forward) {
  const auto line = work.line_buf.elements().first(static_cast<std::size_t>(n));
  for (i8 l = lines.first; l < lines.end; ++l) {
    r8* const a = block + start_of(l, n, nprev);
    for (i4 k = 0; k < n; ++k) line[static_cast<std::size_t>(k)] = a[k * nprev];
    transform_line(line, forward);
    for (i4 k = 0; k < n; ++k) a[k * nprev] = line[static_cast<std::size_t>(k)];
  }
}

// So many neighbouring lines are copied out of a dimension with a far stride, and back: in the cube the elements of a
// line stand in pages of their own, and all of them share a few places of the cache. A cube of 64 MiB took 21 ms instead of
// 30 along such a dimension; 16 lines gained less, 128 no more.
constexpr i8 lines_of_panel = 64;

bool goes_in_panels(i4 n, i8 nprev, i8 ntot) {
  constexpr i8 of_a_page = 4096 / sizeof(r8), of_second_cache = (i8{512} << 10) / sizeof(r8);
  return goes_in_batches(n, ntot) && nprev >= of_a_page && nprev % lines_of_panel == 0 &&
         n * nprev > of_second_cache;
}

void transform_in_panels(r8* block, i4 n, i8 nprev, line_range lines, bool forward,
                         line_transform transform) {
  r8* const panel = work.panel.data();
  for (i8 line = lines.first; line < lines.end; line += lines_of_panel - line % lines_of_panel) {
    const i8 width = std::min(lines_of_panel - line % lines_of_panel, lines.end - line);
    r8* const a = block + start_of(line, n, nprev);
    for (i4 k = 0; k < n; ++k) std::copy_n(a + k * nprev, width, panel + k * width);
    transform(panel, n, width, {0, width}, forward, {work.line_buf.data(), work.step_acc.data()});
    for (i4 k = 0; k < n; ++k) std::copy_n(panel + k * width, width, a + k * nprev);
  }
}

/// Lines of one dimension of a block that is part of ntot elements, in the way that suits them; the work arrays are there.
void transform_dimension(r8* block, i4 n, i8 nprev, line_range lines, i8 ntot, bool forward,
                         line_transform transform) {
  if (n <= 4) return;
  if (goes_in_panels(n, nprev, ntot))
    transform_in_panels(block, n, nprev, lines, forward, transform);
  else if (goes_in_batches(n, ntot))
    transform(block, n, nprev, lines, forward, {work.line_buf.data(), work.step_acc.data()});
  else
    transform_one_by_one(block, n, nprev, lines, forward);
}

line_transform best_line_transform() {
  static const line_transform best = line_transform_for(best_instruction_set());
  return best;
}

/// Elements of the work arrays.
struct work_sizes {
  i8 lines = 0;  // of line_buf and of step_acc
  i8 panel = 0;

  /// For the lines of a dimension of a cube of ntot elements, in the way that they go.
  void hold(i4 n, i8 nprev, i8 ntot) {
    lines = std::max(lines, goes_in_batches(n, ntot) ? lines_at_once * n : n);
    if (goes_in_panels(n, nprev, ntot)) panel = std::max(panel, lines_of_panel * n);
  }
};

i8 elements_of(std::array<i4, 3> nn) {
  return i8{nn[0]} * nn[1] * nn[2];
}

/// For the lines of every dimension of so many cubes that lie interleaved.
work_sizes work_for(std::array<i4, 3> nn, i8 cubes = 1) {
  work_sizes sizes;
  i8 nprev = cubes;
  for (i4 n : nn) {
    sizes.hold(n, nprev, cubes * elements_of(nn));
    nprev *= n;
  }
  return sizes;
}

void prepare_work(std::array<i4, 3> nn) {
  work.ntot = elements_of(nn);
  const work_sizes sizes = work_for(nn);
  prepare_work(sizes.lines);
  prepare_panel(sizes.panel);
}

/// The filter folded to lines of 4, 8, 16, ... elements, shorter than itself.
owned_array1<r8> folded(const owned_array1<r8>& filter) {
  i8 lines_end = 4;
  while (lines_end < filter.size()) lines_end *= 2;
  owned_array1<r8> all(lines_end - 4);
  for (i8 n = 4; n < lines_end; n *= 2)
    for (i8 k = 0; k < filter.size(); ++k) all(n - 3 + k % n) += filter(k + 1);
  return all;
}

}  // namespace

void SET_WTN_FILTER(std::span<const r8> wfilter, i4 n) {
  assert(static_cast<i8>(wfilter.size()) >= n);
  wavelet.lo_filter = owned_array1<r8>(n);
  wavelet.hi_filter = owned_array1<r8>(n);
  wavelet.filter_len = n;
  for (i4 k = 1; k <= n; ++k) {
    const r8 w = wfilter[static_cast<std::size_t>(k - 1)];
    wavelet.lo_filter(k) = w;
    wavelet.hi_filter(n + 1 - k) = k % 2 == 1 ? -w : w;
  }
  wavelet.filter_off = -(n / 2);
  const bool folds = n > longest_unfolded;
  wavelet.lo_folded = folds ? folded(wavelet.lo_filter) : owned_array1<r8>();
  wavelet.hi_folded = folds ? folded(wavelet.hi_filter) : owned_array1<r8>();
}

void PWT(std::span<r8> a, i4 n, bool forward) {
  assert(static_cast<i8>(a.size()) == n);
  if (n < 1) return;
  prepare_work(n);
  r8* const step_acc = work.step_acc.data();
  const placed_filters f(wavelet, n);
  if (forward)
    analyse<one_line>(f, a.data(), step_acc);
  else
    synthesise<one_line>(f, a.data(), step_acc);
  std::copy_n(step_acc, n, a.data());
}

i8 bytes_of_transform(std::array<i4, 3> nn, i8 cubes) {
  if (std::ranges::min(nn) < 1) return 0;
  const work_sizes sizes = work_for(nn, cubes);
  return (2 * sizes.lines + sizes.panel) * i8{sizeof(r8)};
}

void WTN_for(instruction_set set, std::span<r8> a, std::array<i4, 3> nn, i4 isign) {
  if (std::ranges::min(nn) < 1) return;
  prepare_work(nn);
  assert(static_cast<i8>(a.size()) == work.ntot);

  const line_transform transform = line_transform_for(set);
  const auto along = [&](std::span<r8> block, i4 n, i8 nprev) {
    transform_dimension(block.data(), n, nprev, {0, std::ssize(block) / n}, work.ntot, isign >= 0, transform);
  };
  // A plane of the first two dimensions goes through both while it is in cache; its lines do not know of those
  // in other planes.
  const i8 plane = i8{nn[0]} * nn[1];
  for (i8 start = 0; start < work.ntot; start += plane) {
    const auto in_plane = a.subspan(static_cast<std::size_t>(start), static_cast<std::size_t>(plane));
    along(in_plane, nn[0], 1);
    along(in_plane, nn[1], nn[0]);
  }
  along(a, nn[2], plane);
}

void WTN(std::span<r8> a, std::array<i4, 3> nn, i4 isign) {
  static const instruction_set best = best_instruction_set();
  WTN_for(best, a, nn, isign);
}

void WTN_along(std::span<r8> a, i4 n, i8 nprev, i4 isign) {
  if (n >= 1) WTN_along(a, n, nprev, isign, 0, std::ssize(a) / n);
}

void WTN_along(std::span<r8> a, i4 n, i8 nprev, i4 isign, i8 first, i8 lines) {
  if (n < 1 || lines < 1) return;
  assert(std::ssize(a) % (n * nprev) == 0 && first >= 0 && first + lines <= std::ssize(a) / n);
  work_sizes sizes;
  sizes.hold(n, nprev, std::ssize(a));
  prepare_work(sizes.lines);
  prepare_panel(sizes.panel);
  transform_dimension(a.data(), n, nprev, {first, first + lines}, std::ssize(a), isign >= 0,
                      best_line_transform());
}

void reset_WTN_MOD() {
  wavelet = {};
  work = {};
}

}  // namespace velko
