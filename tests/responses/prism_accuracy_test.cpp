/// The responses of single cells against quadruple precision: judge_prism.f90 takes the textbook form, in which nine
/// digits cancel at a distance of 1000 widths, and has 34.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <numbers>
#include <random>
#include <string>
#include <vector>

#include "responses/prism.h"
#include "tests/support/small_mesh.h"
#include "tests/support/temporary_folder.h"

namespace velko {
namespace {

using tensor = std::array<r8, 6>;  // xx, yy, zz, xy, xz, yz

struct prism_case {
  r8 x1, x2, y1, y2, z1, z2, x, y, z;
};

template <class element>
std::string bytes_of_all(const std::vector<element>& all) {
  return {reinterpret_cast<const char*>(all.data()), all.size() * sizeof(element)};
}

std::vector<tensor> judged(const std::vector<prism_case>& cases) {
  const test::temporary_folder folder;
  folder.write("cases", bytes_of_all(cases));
  const std::string command =
      std::string(JUDGE_PRISM) + " " + folder.path("cases") + " " + folder.path("tensors");
  EXPECT_EQ(std::system(command.c_str()), 0);
  const std::string bytes = folder.read("tensors");
  std::vector<tensor> tensors(bytes.size() / sizeof(tensor));
  std::memcpy(tensors.data(), bytes.data(), tensors.size() * sizeof(tensor));
  return tensors;
}

tensor ours(const prism_case& c) {
  constexpr direction east{1, 0, 0}, north{0, 1, 0}, up{0, 0, 1};
  constexpr std::array<std::pair<direction, direction>, 6> pairs{
      {{east, east}, {north, north}, {up, up}, {east, north}, {east, up}, {north, up}}};
  const mesh_state m = test::mesh_with({c.x1, c.x2}, {c.y1, c.y2}, {c.z2, c.z1});
  prism_responses responses(m);
  tensor t;
  for (std::size_t p = 0; p < t.size(); ++p)
    responses.compute({c.x, c.y, c.z}, factors_of(pairs[p].first, pairs[p].second, 4 * std::numbers::pi),
                      {&t[p], 1});
  return t;
}

r8 size_of(const tensor& t) {
  return std::sqrt(t[0] * t[0] + t[1] * t[1] + t[2] * t[2] + 2 * (t[3] * t[3] + t[4] * t[4] + t[5] * t[5]));
}

r8 largest_difference(const tensor& a, const tensor& b) {
  r8 largest = 0;
  for (std::size_t p = 0; p < a.size(); ++p) largest = std::max(largest, std::abs(a[p] - b[p]));
  return largest;
}

/// Points at a distance from a cell of given widths: off its faces, edges and corners, in random directions.
std::vector<prism_case> points_around(const std::array<r8, 3>& widths, r8 distance, int count,
                                      std::mt19937& random) {
  std::uniform_real_distribution<r8> inside(-0.5, 0.5), positive(0.01, 1.0);
  std::vector<prism_case> cases;
  for (int n = 0; n < count; ++n) {
    std::array<r8, 3> foot{}, away{};
    r8 length = 0;
    const auto beyond =
        static_cast<unsigned>(1 + random() % 7);  // along which axes the point is beyond the cell
    for (unsigned axis = 0; axis < 3; ++axis) {
      const bool is_beyond = (beyond >> axis & 1) != 0;
      const r8 side = random() % 2 == 0 ? 1.0 : -1.0;
      foot[axis] = widths[axis] * (is_beyond ? 0.5 * side : inside(random));
      away[axis] = is_beyond ? side * positive(random) : 0.0;
      length = std::hypot(length, away[axis]);
    }
    for (unsigned axis = 0; axis < 3; ++axis) foot[axis] += distance * away[axis] / length;
    cases.push_back({-widths[0] / 2, widths[0] / 2, -widths[1] / 2, widths[1] / 2, -widths[2] / 2,
                     widths[2] / 2, foot[0], foot[1], foot[2]});
  }
  return cases;
}

/// Largest error, relative to the tensor, at distances from 0.01 to 1000 of the cell's shortest side, each error
/// divided by what is allowed: 1e-14, and what one difference of two faces costs farther away.
r8 largest_share_of_allowance(const std::array<r8, 3>& widths) {
  std::mt19937 random(20261121);
  const r8 shortest = *std::min_element(widths.begin(), widths.end());
  std::vector<prism_case> cases;
  std::vector<r8> allowed;
  for (const r8 distance : {0.01, 0.1, 0.5, 1.0, 2.0, 5.0, 10.0, 30.0, 100.0, 300.0, 1000.0}) {
    const std::vector<prism_case> there = points_around(widths, distance * shortest, 60, random);
    cases.insert(cases.end(), there.begin(), there.end());
    allowed.resize(cases.size(), 1e-15 * distance + 1e-14);
  }
  const std::vector<tensor> exact = judged(cases);
  EXPECT_EQ(exact.size(), cases.size());
  r8 largest = 0;
  for (std::size_t n = 0; n < exact.size(); ++n)
    largest =
        std::max(largest, largest_difference(ours(cases[n]), exact[n]) / size_of(exact[n]) / allowed[n]);
  return largest;
}

// Measured (400 points each): a cube 3e-16 at 0.01, 3e-15 at 10, 3e-14 at 100, 3e-13 at 1000 widths; 20 x 20 x 10
// 3e-16, 2e-15, 2e-14, 2e-13.
TEST(PrismAccuracy, OfCompactCellsIsThatOfOneDifference) {
  EXPECT_LT(largest_share_of_allowance({1, 1, 1}), 1.0);
  EXPECT_LT(largest_share_of_allowance({20, 20, 10}), 1.0);
}

// The faces of long cells are seen as near ones for as long as their diagonal asks: 1e-12 of 1 x 1 x 50 at 30 widths.
TEST(PrismAccuracy, OfLongAndFlatCellsStaysFarBelowThatOfAFloat) {
  for (const std::array<r8, 3>& widths : {std::array<r8, 3>{1, 1, 50}, {100, 100, 1}, {3, 1000, 30}})
    EXPECT_LT(largest_share_of_allowance(widths), 100.0) << widths[0] << " " << widths[1] << " " << widths[2];
}

// In line with edges and on the planes of faces, where the textbook form divides zero by zero.
TEST(PrismAccuracy, OnTheLinesOfEdgesIsThatBesideThem) {
  constexpr r8 aside = 1e-13;
  for (const auto& [x, y, z] : {std::array<r8, 3>{0.5, 0.5, 3},
                                {0.5, 0.5, -0.75},
                                {0.5, 2, 0.5},
                                {-0.5, 2, 0.25},
                                {-7, 0.5, -0.5},
                                {0.5, 0, 0.6},
                                {90, 0.5, 0.5}}) {
    const prism_case on{-0.5, 0.5, -0.5, 0.5, -0.5, 0.5, x, y, z};
    const prism_case beside{-0.5, 0.5, -0.5, 0.5, -0.5, 0.5, x + aside, y + 2 * aside, z + 3 * aside};
    const tensor exact = judged({beside}).front();
    EXPECT_LT(largest_difference(ours(on), exact), 1e-11 * size_of(exact)) << x << " " << y << " " << z;
  }
}

}  // namespace
}  // namespace velko
