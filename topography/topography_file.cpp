#include "topography/topography_file.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <cmath>
#include <limits>
#include <numeric>
#include <stdexcept>
#include <string>

#include "files/line_reader.h"
#include "files/list_directed.h"
#include "files/text_input.h"
#include "reports/reports.h"
#include "store/state.h"
#include "text/number_layout.h"
#include "topography/node_sort.h"
#include "topography/triangulation.h"

namespace velko {

namespace {

constexpr std::size_t header_width = 40;  // characters of a header line that are looked at
constexpr i4 corners_of_mesh = 4;         // room for as many points more than the file has
constexpr r8 least_share = 0.3;           // of the mesh's area that the points cover without a warning
constexpr r8 corner_fraction = 0.25;      // of the first cell: a point nearer than this lies at a corner
// 6 (n + 4) - 9 neighbours are numbered in 32 bits.
constexpr i4 most_points = (std::numeric_limits<i4>::max() - 15) / 6;

void allocate_itop() {
  if (mesh.itop.size() > 0) throw std::logic_error("itop is allocated already");
  mesh.itop = owned_array2<i4>(mesh.ny, mesh.nx);
}

void check_edges(const owned_array1<r8>& node, i4 n, std::string_view name, std::string_view count) {
  if (node.size() != i8{n} + 1)
    stop_program(std::string("size(").append(name).append(") /= ").append(count).append(" + 1"));
  if (!std::all_of(node.begin(), node.end(), [](r8 edge) { return std::isfinite(edge); }))
    stop_program(std::string(name).append(" is not finite"));
}

void check_mesh() {
  if (mesh.nx < 1 || mesh.ny < 1) stop_program("the mesh has no columns");
  check_edges(mesh.xnode, mesh.nx, "xnode", "nx");
  check_edges(mesh.ynode, mesh.ny, "ynode", "ny");
}

/// The open topography file.
class topography_lines {
 public:
  explicit topography_lines(std::string_view file_name)
      : name_(without_trailing_blanks(file_name)), unit1_(file_name, "topography") {}

  /// From the first line that is no comment.
  i4 read_number_of_points() {
    std::array<char, header_width> buffer;
    auto line = take_line(unit1_, buffer);
    while (line && line->starts_with('!')) line = take_line(unit1_, buffer);
    text_input text(line.value_or(""));
    i4 n = 0;
    if (read_list(text, n) != read_status::ok) fail_at_count("no number of points in the topography file ");
    if (n > most_points) fail_at_count("too many points to triangulate in the topography file ");
    return std::max(n, 0);
  }

  void read_point(r8& x, r8& y, r8& elevation) {
    const read_status status = read_list(unit1_, x, y, elevation);
    if (status != read_status::ok || !std::isfinite(x) || !std::isfinite(y) || !std::isfinite(elevation))
      report_and_stop({std::string("ERROR reading topography file ").append(name_)});
  }

 private:
  [[noreturn]] void fail_at_count(std::string_view what) const {
    throw std::runtime_error(std::string(what).append(name_));
  }

  std::string_view name_;
  text_input unit1_;
};

/// A horizontal corner of the mesh, and what is known of the point nearest to it.
struct mesh_corner {
  r8 x, y;
  r8 nearest = bounding_box::far_away, elevation = 0;

  /// Of points at equal distance, the first stands.
  void consider(r8 px, r8 py, r8 pz) {
    const r8 distance = plane_distance(x, y, px, py);
    if (nearest > distance) {
      nearest = distance;
      elevation = pz;
    }
  }
};

/// What is noted of the points while they are read.
struct points_over_mesh {
  r8 xa = mesh.xnode(1), xb = mesh.xnode(i8{mesh.nx} + 1);
  r8 ya = mesh.ynode(1), yb = mesh.ynode(i8{mesh.ny} + 1);
  bounding_box box;
  std::array<mesh_corner, corners_of_mesh> corners{{{xa, ya}, {xa, yb}, {xb, ya}, {xb, yb}}};

  void note(r8 x, r8 y, r8 elevation) {
    box.include(x, y);
    for (mesh_corner& c : corners) c.consider(x, y, elevation);
  }
};

triangulated_surface surface_with_room_for(i4 n) {
  triangulated_surface s;
  const i8 points = i8{n} + corners_of_mesh;
  s.n = n;
  for (owned_array1<r8>* t : {&s.tx, &s.ty, &s.tz}) *t = owned_array1<r8>(points);
  s.adj_end = owned_array1<i4>(uninitialised, points);
  s.adj_list = owned_array1<i4>(uninitialised, 6 * points - 9);
  return s;
}

void read_points(topography_lines& in, triangulated_surface& s, points_over_mesh& seen) {
  for (i4 i = 1; i <= s.n; ++i) {
    in.read_point(s.tx(i), s.ty(i), s.tz(i));
    seen.note(s.tx(i), s.ty(i), s.tz(i));
  }
}

/// A box that only touches an edge of the mesh is outside too.
void check_overlap(const points_over_mesh& seen) {
  const bounding_box& box = seen.box;
  if (box.min_x >= seen.xb || seen.xa >= box.max_x || box.min_y >= seen.yb || seen.ya >= box.max_y)
    report_and_stop({"Error: Topography is outside the mesh."});
}

void warn_of_small_share(const points_over_mesh& seen) {
  const auto& [xa, xb, ya, yb, box, corners] = seen;
  const r8 share = (std::min(box.max_x, xb) - std::max(box.min_x, xa)) *
                   (std::min(box.max_y, yb) - std::max(box.min_y, ya)) / ((xb - xa) * (yb - ya));
  if (least_share > share) report("Warning: Topography region is not large enough.");
}

bool lies_beyond(const mesh_corner& c, const bounding_box& box) {
  return (box.min_x > c.x || c.x > box.max_x) && (box.min_y > c.y || c.y > box.max_y);
}

void add_point(triangulated_surface& s, r8 x, r8 y, r8 elevation) {
  ++s.n;
  s.tx(s.n) = x;
  s.ty(s.n) = y;
  s.tz(s.n) = elevation;
}

/// Each corner that the points' box does not reach becomes a point, as high as the one nearest to it; unless
/// that one lies at the corner as good as exactly.
void add_corners(triangulated_surface& s, const points_over_mesh& seen) {
  const r8 d = corner_fraction * std::min(mesh.xnode(2) - mesh.xnode(1), mesh.ynode(2) - mesh.ynode(1));
  for (const mesh_corner& c : seen.corners)
    if (lies_beyond(c, seen.box) && c.nearest > d) add_point(s, c.x, c.y, c.elevation);
}

/// For each of these values, how many before it are equal to it. A grid has long runs of points at one y, so
/// the values are put in order; comparing each with all before it would take the square of the length.
owned_array1<i4> equals_before(std::span<const r8> values) {
  const array1<const r8> v(values.data(), values.size());
  owned_array1<i4> order(uninitialised, v.size()), before(v.size());
  std::iota(order.begin(), order.end(), 1);
  std::sort(order.begin(), order.end(), [v](i4 a, i4 b) { return v(a) < v(b) || (v(a) == v(b) && a < b); });
  for (i8 p = 2; p <= v.size(); ++p)
    if (v(order(p)) == v(order(p - 1))) before(order(p)) = before(order(p - 1)) + 1;
  return before;
}

void report_pair(r8 x, r8 y, bool is_first) {
  if (is_first) {
    report("");
    report("Duplicate points:");
  }
  std::string line = " ";
  append_scientific(line, x, 16, 8);
  append_scientific(line, y, 16, 8);
  report(line);
}

/// Reports a pair for each two points at one place.
void check_for_duplicates(const triangulated_surface& s) {
  i8 count = 0;
  for (i8 start = 1, next = 2; start <= s.n; start = next++) {
    while (next <= s.n && s.ty(next) == s.ty(start)) ++next;
    if (next == start + 1) continue;
    const owned_array1<i4> twins = equals_before({&s.tx(start), static_cast<std::size_t>(next - start)});
    for (i8 i = start; i < next; ++i)
      for (i4 m = 1; m <= twins(i - start + 1); ++m) report_pair(s.tx(i), s.ty(i), ++count == 1);
  }
  if (count == 0) return;
  report("");
  report("Error: " + std::to_string(count) + " duplicate points found in topography file.");
  report("");
  stop_program();
}

/// Fewer than three points have no triangles and no message. Finite points at different places always have a
/// triangulation.
void triangulate(triangulated_surface& s) {
  i4 status = 0;
  build_triangulation(s.n, s.ty, s.tx, s.adj_list, s.adj_end, status);
  assert(0 <= status && status <= 2);
  if (status == 2) report_and_stop({"Error: Points in the topography file are collinear."});
}

}  // namespace

triangulated_surface read_surface(std::string_view file_name) {
  topography_lines in(file_name);
  triangulated_surface s = surface_with_room_for(in.read_number_of_points());
  check_mesh();  // not before: what is wrong with the file's head is told first
  points_over_mesh seen;
  read_points(in, s, seen);
  check_overlap(seen);
  warn_of_small_share(seen);
  add_corners(s, seen);
  // adj_end lends its room until the triangulation needs it.
  reorder_nodes(s.n, 3, s.ty, s.tx, s.tz, s.adj_end);
  check_for_duplicates(s);
  triangulate(s);
  return s;
}

void read_topography(std::string_view file_name) {
  allocate_itop();
  if (names_no_file(file_name)) return;  // itop is zero throughout
  const triangulated_surface surface = read_surface(file_name);
  const owned_array1<r8> gy = sample_positions(mesh.ynode, mesh.ny),
                         gx = sample_positions(mesh.xnode, mesh.nx);
  const owned_array2<r8> gz = sample_surface(surface, gy, gx);
  classify_columns(gz, mesh.znode, mesh.ny, mesh.nx, mesh.nz, mesh.ztop, mesh.itop);
}

owned_array2<r8> read_topography_points(std::string_view file_name) {
  topography_lines in(file_name);
  owned_array2<r8> points(uninitialised, 3, in.read_number_of_points());
  for (i8 i = 1; i <= points.extent(2); ++i) in.read_point(points(1, i), points(2, i), points(3, i));
  return points;
}

bounding_box read_extent_of_topography(std::string_view file_name) {
  topography_lines in(file_name);
  bounding_box box;
  for (i4 left = in.read_number_of_points(); left > 0; --left) {
    r8 x = 0, y = 0, elevation = 0;
    in.read_point(x, y, elevation);
    box.include(x, y);
  }
  return box;
}

}  // namespace velko
