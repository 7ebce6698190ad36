// SciPy's Delaunay and its linear interpolator say the same, and so does brute force over the hull beyond it.
// judge_triangulation.py is run by /usr/bin/python3 (Debian: python3-scipy).
#include "tests/topography/triangulation_judge.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <limits>
#include <map>
#include <set>
#include <sstream>
#include <string>

#include "tests/topography/built_table.h"
#include "tests/topography/node_sets.h"

namespace velko::test {
namespace {

struct problem {
  std::vector<r8> x, y, z;
  std::set<entries> triangles;  // counterclockwise from the smallest node
  std::vector<r8> sample_x, sample_y, values;
};

std::vector<r8> numbers_of(const std::string& line) {
  std::istringstream in(line);
  std::vector<r8> numbers;
  for (r8 number; in >> number;) numbers.push_back(number);
  return numbers;
}

std::string output_of_the_script(const std::string& problems) {
  std::FILE* script = popen(("/usr/bin/python3 " JUDGE_TRIANGULATION " " + problems).c_str(), "r");
  std::string text;
  for (int c; (c = std::fgetc(script)) != EOF;) text += static_cast<char>(c);
  EXPECT_EQ(pclose(script), 0) << "needs /usr/bin/python3 with python3-numpy and python3-scipy";
  return text;
}

/// Qhull's triangles come in either sense of rotation.
entries counterclockwise(const problem& p, i4 a, i4 b, i4 c) {
  const auto x = [&](i4 k) { return p.x[static_cast<std::size_t>(k - 1)]; };
  const auto y = [&](i4 k) { return p.y[static_cast<std::size_t>(k - 1)]; };
  const bool turns_left = (x(b) - x(a)) * (y(c) - y(a)) > (x(c) - x(a)) * (y(b) - y(a));
  return turns_left ? smallest_first(a, b, c) : smallest_first(a, c, b);
}

std::vector<problem> problems_of_the_script(const std::string& which) {
  std::istringstream in(output_of_the_script(which));
  std::vector<std::vector<r8>> lines;
  for (std::string line; std::getline(in, line);) lines.push_back(numbers_of(line));
  std::vector<problem> problems;
  for (std::size_t i = 0; i + 6 < lines.size(); i += 7) {
    problem p{lines[i], lines[i + 1], lines[i + 2], {}, lines[i + 4], lines[i + 5], lines[i + 6]};
    for (std::size_t t = 0; t < lines[i + 3].size(); t += 3) {
      const auto corner = [&](std::size_t c) { return static_cast<i4>(lines[i + 3][t + c]); };
      p.triangles.insert(counterclockwise(p, corner(0), corner(1), corner(2)));
    }
    problems.push_back(std::move(p));
  }
  return problems;
}

/// SciPy's values hold to rounding where triangles are no slivers; elevations lie between 0 and 1.
constexpr r8 rounding = 1e-8;

void expect_surface(const problem& p, const flat_table& table, bool all_inside) {
  i4 start = 1;
  for (std::size_t i = 0; i < p.values.size(); ++i) {
    r8 pz = -1;
    i4 status = -9;
    surface_value(static_cast<i4>(p.x.size()), p.sample_x[i], p.sample_y[i], view(p.x), view(p.y), view(p.z),
                  view(table.adj_list), view(table.adj_end), start, pz, status);
    EXPECT_TRUE(status == 0 || (status == 1 && !all_inside)) << status;
    EXPECT_NEAR(pz, p.values[i], rounding) << "sample " << p.sample_x[i] << " " << p.sample_y[i];
  }
}

TEST(SciPy, FindsTheSameTrianglesAndTheSameSurface) {
  const std::vector<problem> problems = problems_of_the_script("scattered");
  ASSERT_EQ(problems.size(), 24u);
  for (const problem& p : problems) {
    const std::string message = std::to_string(p.x.size()) + " nodes";
    SCOPED_TRACE(message);
    const flat_table table = built(p.x, p.y);
    const int exponent = finest(p.x, p.y);
    triangulation_judge judge(wholes(p.x, exponent), wholes(p.y, exponent), table);
    EXPECT_EQ(judge.fault(), "");
    EXPECT_EQ(judge.triangle_set(), p.triangles);
    expect_surface(p, table, false);
  }
}

/// The sides of the squares that a set of triangles has among its arcs.
std::set<std::pair<i4, i4>> sides(const problem& p, const std::set<entries>& triangles) {
  std::map<std::pair<i4, i4>, r8> length;
  for (const entries& t : triangles)
    for (const auto& [a, b] : {std::minmax(t[0], t[1]), std::minmax(t[1], t[2]), std::minmax(t[2], t[0])}) {
      const auto i = static_cast<std::size_t>(a - 1), j = static_cast<std::size_t>(b - 1);
      length[{a, b}] = std::hypot(p.x[i] - p.x[j], p.y[i] - p.y[j]);
    }
  r8 shortest = std::numeric_limits<r8>::infinity();
  for (const auto& [arc, l] : length) shortest = std::min(shortest, l);
  std::set<std::pair<i4, i4>> found;
  for (const auto& [arc, l] : length)
    if (l < 1.2 * shortest) found.insert(arc);
  return found;
}

bool floats_lead_astray(const problem& p) {
  try {
    slow_triangulation<r8>(p.x, p.y);
  } catch (const steps_break&) {
    return true;
  }
  return false;
}

/// The two triangles of a square may meet along either diagonal. Its sides are arcs, and the surface over them is that
/// of Qhull's triangles, also where the steps break by rounding and the library begins again with exact tests.
TEST(SciPy, FindsTheSameSidesAndTheSameSurfaceOverTurnedGrids) {
  const std::vector<problem> problems = problems_of_the_script("turned");
  ASSERT_EQ(problems.size(), 8u * 14 * 2);
  int astray = 0;
  for (const problem& p : problems) {
    const std::string message = "problem " + std::to_string(&p - problems.data());
    SCOPED_TRACE(message);
    const flat_table table = built(p.x, p.y);
    triangulation_judge judge(wholes(p.x, finest(p.x, p.y)), wholes(p.y, finest(p.x, p.y)), table);
    EXPECT_EQ(judge.fault_of_lists(), "");
    EXPECT_EQ(sides(p, judge.triangle_set()), sides(p, p.triangles));
    expect_surface(p, table, true);
    astray += floats_lead_astray(p);
  }
  EXPECT_GT(astray, 0);
}

}  // namespace
}  // namespace velko::test
