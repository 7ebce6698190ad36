/// Node sets: whatever the coordinates, a triangulation whose lists fit together, or a status; then searches
/// in it, which come back with places that are there. Finite nodes that do not repeat have one, or lie on one
/// line.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <limits>
#include <set>
#include <tuple>
#include <utility>
#include <vector>

#include "arrays/array.h"
#include "fuzz/fuzz_input.h"
#include "topography/location.h"
#include "topography/node_sort.h"
#include "topography/triangulation.h"
#include "topography/triangulation_check.h"

namespace {

using namespace velko;

/// Coordinates of several kinds, as the first byte says: small whole ones, which meet and line up; the same
/// turned and moved, which do so but for rounding; of extreme sizes; any bits at all.
class coordinates {
 public:
  explicit coordinates(fuzz::input& in) : in_(in), kind_(in.below(4)), turn_(in.below(256)) {}

  /// The tests of the triangulation round nothing.
  bool are_small_and_whole() const { return kind_ == 0; }

  std::pair<r8, r8> next() {
    if (kind_ == 3) return {any_bits(), any_bits()};
    const r8 x = in_.below(16), y = in_.below(16);
    if (kind_ == 0) return {x, y};
    if (kind_ == 2) return {std::ldexp(x - 8, 8 * turn_ - 1070), std::ldexp(y - 8, 8 * turn_ - 1070)};
    const r8 c = std::cos(turn_), s = std::sin(turn_);
    return {c * x - s * y + turn_ / 16, s * x + c * y};
  }

 private:
  r8 any_bits() {
    std::array<unsigned char, sizeof(r8)> bytes{};
    for (unsigned char& byte : bytes) byte = static_cast<unsigned char>(in_.below(256));
    r8 value = 0;
    std::memcpy(&value, bytes.data(), sizeof value);
    return value;
  }

  fuzz::input& in_;
  i4 kind_, turn_;
};

struct node_set {
  i4 n;
  owned_array1<r8> x, y, z;
  owned_array1<i4> adj_list, adj_end;
};

node_set read_nodes(fuzz::input& in, coordinates& from) {
  const i4 n = in.below(100);
  node_set s{n,
             owned_array1<r8>(n),
             owned_array1<r8>(n),
             owned_array1<r8>(n),
             owned_array1<i4>(6 * n - 9),
             owned_array1<i4>(n)};
  for (i4 k = 1; k <= n; ++k) {
    std::tie(s.x(k), s.y(k)) = from.next();
    s.z(k) = k;
  }
  return s;
}

bool is_permutation(i4 n, array1<const i4> ind) {
  std::set<i4> places(ind.begin(), ind.begin() + n);
  return static_cast<i4>(places.size()) == n && (n == 0 || (*places.begin() == 1 && *places.rbegin() == n));
}

bool all_finite_and_distinct(const node_set& s) {
  std::set<std::pair<r8, r8>> seen;
  for (i4 k = 1; k <= s.n; ++k)
    if (!std::isfinite(s.x(k)) || !std::isfinite(s.y(k)) || !seen.emplace(s.x(k), s.y(k)).second)
      return false;
  return true;
}

void search(fuzz::input& in, coordinates& from, const node_set& s) {
  i4 ist = 1 + in.below(s.n);
  for (int search = 0; search < 16; ++search) {
    const auto [px, py] = from.next();
    i4 i1 = -1, i2 = -1, i3 = -1, status = 2;
    locate_point(ist, px, py, s.x, s.y, s.adj_list, s.adj_end, i1, i2, i3);
    fuzz::expect(i1 >= 0 && i1 <= s.n && i2 >= 0 && i2 <= s.n && i3 >= 0 && i3 <= s.n);
    r8 pz = 0;
    surface_value(s.n, px, py, s.x, s.y, s.z, s.adj_list, s.adj_end, ist, pz, status);
    fuzz::expect(status >= -2 && status <= 1 && ist >= 1 && ist <= s.n);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t n) {
  fuzz::input in(bytes, n);
  coordinates from(in);
  const bool sorted = in.below(2) == 1;
  node_set s = read_nodes(in, from);
  if (sorted) {
    reorder_nodes(s.n, 2, s.x, s.y, {}, s.adj_end);
    fuzz::expect(is_permutation(s.n, s.adj_end));
  }
  i4 status = -1;
  build_triangulation(s.n, s.x, s.y, s.adj_list, s.adj_end, status);
  fuzz::expect(status == 1 ? s.n < 3 : status == 0 || status == 2 || status == 3);
  fuzz::expect(status != 3 || !all_finite_and_distinct(s));
  fuzz::expect(status != 2 || is_permutation(s.n, s.adj_end));
  if (status != 0) return 0;
  fuzz::expect(check_table(s.n, s.adj_list, s.adj_end).empty());
  if (from.are_small_and_whole() && all_finite_and_distinct(s))
    fuzz::expect(check_triangulation(s.n, s.x, s.y, s.adj_list, s.adj_end).empty());
  search(in, from, s);
  return 0;
}
