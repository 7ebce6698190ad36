/// What the tests of the topography reader share: a mesh of 4 x 3 columns of four cells each, and files of points.
#pragma once

#include <algorithm>
#include <array>
#include <string>
#include <vector>

#include "tests/files/reader_fixture.h"
#include "topography/topography_file.h"

namespace velko::test {

using point = std::array<r8, 3>;  // x, y, elevation

/// Wrote this to the console and the same to the log, and came back.
MATCHER_P(Says, text, "") {
  return arg.end == stop_or_done{} && arg.console == text && arg.log == text;
}

/// Wrote nothing and failed in the run-time, in one line with this in it.
MATCHER_P(FailsSaying, text, "") {
  return arg.end.kind == stop_or_done::failed && arg.end.text.starts_with("velko: ") &&
         arg.end.text.find(text) != std::string::npos && arg.end.text.find('\n') == std::string::npos &&
         arg.console.empty() && arg.log.empty();
}

/// A number with all its digits.
inline std::string exact(r8 value) {
  char text[40];
  std::snprintf(text, sizeof text, "%.17g", value);
  return text;
}

inline std::string lines_of(const std::vector<point>& points) {
  std::string text;
  for (const point& p : points) text += exact(p[0]) + ' ' + exact(p[1]) + ' ' + exact(p[2]) + '\n';
  return text;
}

inline std::string file_of(const std::vector<point>& points) {
  return std::to_string(points.size()) + "\n" + lines_of(points);
}

/// The points of a surface in its order.
inline std::vector<point> points_of(const triangulated_surface& s) {
  std::vector<point> points;
  for (i4 i = 1; i <= s.n; ++i) points.push_back({s.tx(i), s.ty(i), s.tz(i)});
  return points;
}

class topography_reader : public text_reader {
 protected:
  void SetUp() override {
    text_reader::SetUp();
    set_mesh({0, 10, 20, 30, 40}, {0, 10, 20, 30}, {0, 10, 20, 30, 40}, 100);
  }

  static void set_mesh(const std::vector<r8>& xnode, const std::vector<r8>& ynode,
                       const std::vector<r8>& znode, r8 ztop) {
    mesh.nx = static_cast<i4>(xnode.size()) - 1;
    mesh.ny = static_cast<i4>(ynode.size()) - 1;
    mesh.nz = static_cast<i4>(znode.size()) - 1;
    mesh.xnode = owned_array1<r8>(xnode);
    mesh.ynode = owned_array1<r8>(ynode);
    mesh.znode = owned_array1<r8>(znode);
    mesh.ztop = ztop;
  }

  /// As a process of its own would: itop is not allocated yet.
  outcome read(std::string_view text) {
    mesh.itop = {};
    return outcome_of([&, name = file(text)] { read_topography(name + "   "); });
  }

  /// The points that are triangulated.
  std::vector<point> triangulated(std::string_view text) {
    std::vector<point> points;
    const outcome o = outcome_of([&, name = file(text)] { points = points_of(read_surface(name)); });
    EXPECT_EQ(o.end, stop_or_done{}) << o.console;
    return points;
  }
  std::vector<point> triangulated(const std::vector<point>& points) { return triangulated(file_of(points)); }

  std::string reading_error() const { return "\nERROR reading topography file " + name_ + "\n"; }

  static constexpr const char* outside = "\nError: Topography is outside the mesh.\n";
  static constexpr const char* collinear = "\nError: Points in the topography file are collinear.\n";
  static constexpr const char* small = "Warning: Topography region is not large enough.\n";
};

}  // namespace velko::test
