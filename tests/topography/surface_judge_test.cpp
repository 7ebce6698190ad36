/// SciPy judges the surface and the index of random files: judge_surface.py.
#include <cmath>
#include <random>

#include "tests/support/run_program.h"
#include "tests/topography/terrain.h"

namespace velko {
namespace {

using test::exact;
using test::point;

template <class numbers>
std::string line_of(const numbers& values) {
  std::string text;
  for (const auto x : values) text += exact(static_cast<r8>(x)) + ' ';
  return text + '\n';
}

class SurfaceJudge : public test::topography_reader {
 protected:
  std::vector<r8> edges(int cells, r8 first) {
    std::vector<r8> nodes{first};
    while (cells-- > 0) nodes.push_back(nodes.back() + uniform(2, 12));
    return nodes;
  }
  r8 uniform(r8 from, r8 to) { return std::uniform_real_distribution<r8>(from, to)(random_); }

  /// Some inside the mesh, some around it, some reaching far beyond; smooth hills and some noise.
  std::vector<point> points(int n) {
    const r8 margin = uniform(-0.3, 0.8) * (mesh.xnode(mesh.nx + 1) - mesh.xnode(1));
    std::vector<point> all;
    for (int i = 0; i < n; ++i) {
      const r8 x = uniform(mesh.xnode(1) - margin, mesh.xnode(mesh.nx + 1) + margin);
      const r8 y = uniform(mesh.ynode(1), mesh.ynode(mesh.ny + 1));
      all.push_back({x, y, 60 + 30 * std::sin(x / 17) * std::cos(y / 23) + uniform(-3, 3)});
    }
    return all;
  }

  void leave_case(const std::string& name, const std::vector<point>& points) {
    mesh.itop = {};
    const std::string file = folder_.write(name + ".topography", "! random\n" + test::file_of(points));
    const capture console_capture(console());
    ASSERT_EQ(run_until_stop([&] {
                read_topography(file);
                const triangulated_surface s = read_surface(file);
                const owned_array1<r8> gy = sample_positions(mesh.ynode, mesh.ny),
                                       gx = sample_positions(mesh.xnode, mesh.nx);
                folder_.write(name + ".gz", line_of(sample_surface(s, gy, gx)));
              }),
              stop_or_done{});
    folder_.write(name + ".itop", line_of(mesh.itop));
    folder_.write(name + ".mesh",
                  exact(mesh.ztop) + '\n' + line_of(mesh.ynode) + line_of(mesh.xnode) + line_of(mesh.znode));
  }

  std::mt19937 random_{4};
};

TEST_F(SurfaceJudge, AgreesOnSurfaceAndIndexOfScatteredPoints) {
  for (int trial = 0; trial < 60; ++trial) {
    set_mesh(edges(4 + trial % 9, -20), edges(3 + trial % 11, 5), edges(1 + trial % 14, 0), uniform(60, 100));
    leave_case(std::to_string(trial), points(5 + trial * trial / 6));
  }
  const test::program_run judge =
      test::run_program(folder_, "/usr/bin/python3", {JUDGE_SURFACE, folder_.path()});
  EXPECT_EQ(judge.status, 0) << judge.out << judge.err;
  RecordProperty("judged", judge.out);
}

}  // namespace
}  // namespace velko
