/// The whole road, velkmtx and velkrund: predicted data against a body whose field is known in closed form, and against
/// what must not change them.
#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <sstream>
#include <string>
#include <vector>

#include "responses/directions.h"
#include "responses/prism.h"
#include "tests/velkmtx/companion.h"

namespace velko {
namespace {

using data = std::vector<r8>;

class Prediction : public test::companion {
 protected:
  /// Values of velkrund.vlk for a G of velkmtx make with these options.
  data predicted(const std::string& topography, const std::string& model, const std::string& options) const {
    EXPECT_EQ(velkmtx("make mesh " + topography + " loc g.mtx " + options).status, 0);
    test::run_program(folder, VELKRUND, {"g.mtx", "loc", model});
    std::istringstream in(folder.read("velkrund.vlk"));
    std::string line;
    for (int header = 0; header < 3; ++header) std::getline(in, line);
    data values;
    for (r8 x = 0, y = 0, z = 0, value = 0; in >> x >> y >> z >> value;) values.push_back(value);
    EXPECT_EQ(values.size(), stations.size());
    return values;
  }

  /// A grid of stations.
  void write_survey(const std::string& directions, r8 height, int n, r8 spacing) {
    std::string text = directions + std::to_string(n * n) + "\n";
    for (int p = 0; p < n * n; ++p) {
      stations.push_back({spacing * (p % n), spacing * (p / n), height});
      text += fmt(stations.back().x) + " " + fmt(stations.back().y) + " " + fmt(height) + "\n";
    }
    folder.write("loc", text);
  }
  static std::string fmt(r8 value) {
    std::ostringstream out;
    out << value;
    return out.str();
  }
  std::vector<point> stations;
};

r8 norm(const data& d) {
  r8 sum = 0;
  for (const r8 v : d) sum += v * v;
  return std::sqrt(sum);
}

r8 relative_difference(data a, const data& b) {
  EXPECT_EQ(a.size(), b.size());
  for (std::size_t n = 0; n < a.size(); ++n) a[n] -= b[n];
  return norm(a) / norm(b);
}

/// A uniformly magnetised ball is a dipole outside. It is built of cells a twelfth of its radius wide, those that it cuts
/// with the part that lies in it.
TEST_F(Prediction, BallOfSmallCellsHasTheFieldOfADipole) {
  constexpr r8 radius = 60, value = 0.02, field = 50000;
  folder.write("mesh", "32 32 32\n0 0 0\n32*5\n32*5\n32*5\n");
  output_of("model mesh ball --samples 8 --body \"sphere 80 80 -80 60 0.02\"");
  write_survey("65 20 50000\n55 -15 1\n", 15, 9, 20);
  const direction b = unit_vector(65, 20), a = unit_vector(55, -15);
  data dipole;
  for (const point& p : stations) {
    const r8 x = p.x - 80, y = p.y - 80, z = p.z + 80, r = std::hypot(x, y, z);
    const r8 along = (a.x * x + a.y * y + a.z * z) * (b.x * x + b.y * y + b.z * z) / (r * r);
    const r8 volume_over_4_pi = radius * radius * radius / 3;
    dipole.push_back(field * value * volume_over_4_pi / (r * r * r) *
                     (3 * along - (a.x * b.x + a.y * b.y + a.z * b.z)));
  }
  EXPECT_LT(relative_difference(predicted("null", "ball", "--dense"), dipole), 2e-3);
  EXPECT_LT(relative_difference(predicted("null", "ball", "--tolerance 1e-3"), dipole), 4e-3);
}

class PredictionOverTerrain : public Prediction {
 protected:
  PredictionOverTerrain() {
    folder.write("mesh", "16 13 12\n0 0 60\n16*10\n13*12\n12*8\n");
    folder.write("topo", "5\n-20 -20 70\n-20 180 40\n180 -20 45\n180 180 20\n80 70 62\n");
    write_survey("62 -4 52000\n62 -4 1\n", 75, 6, 25);
    // Everywhere a susceptibility; a body in the middle.
    output_of("model mesh body --background 0.001 --body \"block 40 100 40 100 -20 10 0.05\"");
  }
};

TEST_F(PredictionOverTerrain, CompressedIsDenseWithinTheTolerance) {
  const data dense = predicted("topo", "body", "--dense");
  for (const auto& [wavelet, tolerance] :
       {std::pair{"haar", 1e-3}, {"d4", 1e-2}, {"d6", 1e-4}, {"s8", 1e-3}, {"d12", 1e-3}}) {
    const data compressed =
        predicted("topo", "body", std::string("--wavelet ") + wavelet + " --tolerance " + fmt(tolerance));
    EXPECT_LT(relative_difference(compressed, dense), tolerance + 1e-6) << wavelet;
  }
}

TEST_F(PredictionOverTerrain, WeightsDoNotChangeThePrediction) {
  const data plain = predicted("topo", "body", "--dense");
  for (const std::string weights :
       {"--weights depth", "--weights depth --beta 1", "--weights depth --z0 1"}) {
    EXPECT_LT(relative_difference(predicted("topo", "body", "--dense " + weights), plain), 2e-7) << weights;
    EXPECT_LT(relative_difference(predicted("topo", "body", "--tolerance 1e-3 " + weights), plain), 2e-3)
        << weights;
  }
}

TEST_F(PredictionOverTerrain, CellsAboveTheSurfaceContributeNothing) {
  const data below = predicted("topo", "body", "--tolerance 1e-3");
  // The same model, but for values in cells that are air.
  ASSERT_EQ(velkmtx("make mesh topo loc g.mtx").status, 0);
  std::istringstream in(folder.read("body"));
  std::string changed;
  int cell = 0;
  const std::string surface = folder.read("g.mtx").substr(28 + 8 + 8 * (16 + 13 + 12 + 4) + 4, 4 * 16 * 13);
  for (std::string value; in >> value; ++cell) {
    const int k = cell % 12, j = cell / 12 % 16, i = cell / 12 / 16;
    const int itop = surface[static_cast<std::size_t>(4 * (i + 13 * j))];
    changed += (k < itop ? "1e6" : value) + "\n";
  }
  ASSERT_EQ(cell, 16 * 13 * 12);
  ASSERT_NE(changed.find("1e6"), std::string::npos);
  folder.write("changed", changed);
  EXPECT_EQ(predicted("topo", "changed", "--tolerance 1e-3"), below);
}

}  // namespace
}  // namespace velko
