/// The field of a prism, judged by what the closed form does not know of: dipoles, currents, two-dimensional limits,
/// the equations of the field in free space, symmetries.
#include "responses/prism.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <numbers>
#include <utility>

#include "tests/support/small_mesh.h"

namespace velko {
namespace {

using std::numbers::pi;
using test::mesh_with;
using test::numbers;

constexpr direction east{1, 0, 0}, north{0, 1, 0}, up{0, 0, 1};
const direction tilted = unit_vector(58, 23), steep = unit_vector(-71, 140);

std::vector<r8> responses(const mesh_state& m, const point& at, const direction& b, const direction& a,
                          r8 geomag = 1.0) {
  std::vector<r8> row(static_cast<std::size_t>(m.nx) * static_cast<std::size_t>(m.ny) *
                      static_cast<std::size_t>(m.nz));
  prism_responses(m).compute(at, factors_of(b, a, geomag), row);
  return row;
}

r8 response(const mesh_state& m, const point& at, const direction& b, const direction& a) {
  r8 sum = 0;
  for (const r8 r : responses(m, at, b, a)) sum += r;
  return sum;
}

/// Of unit volume and unit field, at the origin.
r8 dipole(const point& p, const direction& b, const direction& a) {
  const r8 r = std::hypot(p.x, p.y, p.z);
  const r8 along_b = (b.x * p.x + b.y * p.y + b.z * p.z) / r,
           along_a = (a.x * p.x + a.y * p.y + a.z * p.z) / r;
  return (3 * along_a * along_b - (a.x * b.x + a.y * b.y + a.z * b.z)) / (4 * pi * r * r * r);
}

TEST(Prism, VerticalFieldGivesAPositiveAnomalyAboveTheBody) {
  const direction down = unit_vector(90, 0);
  EXPECT_GT(response(mesh_with({-1, 1}, {-1, 1}, {-2, -4}), {0, 0, 0}, down, down), 0.0);
}

TEST(Prism, HorizontalFieldGivesANegativeAnomalyAboveTheBody) {
  EXPECT_LT(response(mesh_with({-1, 1}, {-1, 1}, {-2, -4}), {0, 0, 0}, north, north), 0.0);
}

TEST(Prism, ResponseIsProportionalToTheFieldStrength) {
  const mesh_state m = mesh_with({-1, 1}, {-1, 2}, {-2, -4});
  EXPECT_DOUBLE_EQ(responses(m, {0, 0, 0}, tilted, steep, 50000)[0],
                   50000 * responses(m, {0, 0, 0}, tilted, steep, 1)[0]);
}

/// The first term that a dipole leaves out is the quadrupole of the body's shape, two orders down.
TEST(Prism, DipoleErrorFallsWithTheSquareOfTheDistance) {
  const mesh_state brick = mesh_with({-0.5, 0.5}, {-0.25, 0.25}, {1, -1});
  const auto error = [&](r8 distance) {
    const point p{0.36 * distance, 0.48 * distance, 0.8 * distance};
    return std::abs(response(brick, p, tilted, steep) / dipole(p, tilted, steep) - 1);
  };
  EXPECT_LT(error(100), 5e-3);
  EXPECT_NEAR(error(50) / error(100), 4.0, 0.05);
}

/// A cube has no quadrupole: by its symmetry the first term left out is four orders down.
TEST(Prism, DipoleErrorOfACubeFallsWithTheFourthPowerOfTheDistance) {
  const mesh_state cube = mesh_with({-0.5, 0.5}, {-0.5, 0.5}, {0.5, -0.5});
  const auto error = [&](r8 distance) {
    const point p{0.36 * distance, 0.48 * distance, 0.8 * distance};
    return std::abs(response(cube, p, tilted, steep) / dipole(p, tilted, steep) - 1);
  };
  EXPECT_LT(error(20), 1e-5);
  EXPECT_NEAR(error(10) / error(20), 16.0, 0.3);
}

/// Two poles per face of a vertically magnetised bar that has no end along y: lines of charge, integrated over x.
struct endless_bar {
  r8 west, east, top, bottom;
  r8 vertical(const point& p) const { return (ribbon_z(p, top) - ribbon_z(p, bottom)) / (2 * pi); }
  r8 horizontal(const point& p) const { return (ribbon_x(p, top) - ribbon_x(p, bottom)) / (2 * pi); }

 private:
  r8 ribbon_z(const point& p, r8 z) const {
    return std::atan((east - p.x) / (p.z - z)) - std::atan((west - p.x) / (p.z - z));
  }
  r8 ribbon_x(const point& p, r8 z) const {
    return std::log(std::hypot(p.x - west, p.z - z) / std::hypot(p.x - east, p.z - z));
  }
};

TEST(Prism, LongPrismHasTheFieldOfAnEndlessBar) {
  const mesh_state m = mesh_with({-3, 2}, {-1e5, 1e5}, {-1, -4});
  const endless_bar bar{-3, 2, -1, -4};
  for (const point p : {point{0, 0, 0}, point{5, 0, 1}, point{-4, 0, -2}}) {
    EXPECT_NEAR(response(m, p, up, up), bar.vertical(p), 1e-9);  // the ends leave (5 / 1e5)^2
    EXPECT_NEAR(response(m, p, up, east), bar.horizontal(p), 1e-9);
  }
}

TEST(Prism, WideSlabHasNoFieldOutside) {
  const auto vertical = [](r8 half_width) {
    return std::abs(response(mesh_with({-half_width, half_width}, {-half_width, half_width}, {-1, -2}),
                             {0.2, 0, 0}, up, up));
  };
  EXPECT_NEAR(vertical(1e2) / vertical(1e3), 10.0, 0.2);  // what is left is that of the far rim
  EXPECT_LT(vertical(1e5), 1e-5);
}

/// Vertical field of a straight current from one end to the other, by the law of Biot and Savart; unit mu0 I.
r8 segment_field(const point& p, const point& from, const point& to) {
  const r8 dx = to.x - from.x, dy = to.y - from.y, length = std::hypot(dx, dy);
  const r8 ux = dx / length, uy = dy / length, fx = p.x - from.x, fy = p.y - from.y, h = p.z - from.z;
  const r8 along = fx * ux + fy * uy, aside = ux * fy - uy * fx;
  const r8 distance2 = aside * aside + h * h;
  const r8 ends = along / std::sqrt(distance2 + along * along) +
                  (length - along) / std::sqrt(distance2 + (length - along) * (length - along));
  return aside / (4 * pi * distance2) * ends;
}

/// A vertically magnetised sheet of thickness t acts like a current of strength M t around its rim.
TEST(Prism, ThinSheetHasTheFieldOfACurrentAroundItsRim) {
  constexpr r8 t = 1e-3;
  const mesh_state m = mesh_with({-2, 1}, {-1, 3}, {t / 2, -t / 2});
  const point corner[] = {{-2, -1, 0}, {1, -1, 0}, {1, 3, 0}, {-2, 3, 0}};
  for (const point p : {point{0, 0, 1}, point{0.5, 2, -0.7}, point{4, 1, 0.3}, point{-2.5, -1.5, 0}}) {
    r8 current = 0;
    for (int side = 0; side < 4; ++side) current += segment_field(p, corner[side], corner[(side + 1) % 4]);
    EXPECT_NEAR(response(m, p, up, up) / t, current, 1e-5 * std::abs(current));
  }
}

/// Derivative along one axis by central differences of fourth order.
r8 derivative(const std::function<r8(const point&)>& f, point p, r8 point::*axis) {
  constexpr r8 h = 1e-3;
  const auto at = [&](r8 offset) {
    point q = p;
    q.*axis += offset;
    return f(q);
  };
  return (8 * (at(h) - at(-h)) - (at(2 * h) - at(-2 * h))) / (12 * h);
}

TEST(Prism, FieldHasNeitherDivergenceNorCurlOutside) {
  const mesh_state m = mesh_with({-1, 0.5}, {-1, 2}, {-0.5, -3});
  const auto component = [&](const direction& a) {
    return [&m, a](const point& p) { return response(m, p, tilted, a); };
  };
  const auto bx = component(east), by = component(north), bz = component(up);
  for (const point p : {point{0.2, 0.1, 0.3}, point{1.5, 0.4, -1}, point{-2, -3, -4}, point{0, 0.5, -3.8}}) {
    const r8 xx = derivative(bx, p, &point::x), yy = derivative(by, p, &point::y),
             zz = derivative(bz, p, &point::z);
    const r8 size = std::abs(xx) + std::abs(yy) + std::abs(zz);
    EXPECT_NEAR(xx + yy + zz, 0.0, 1e-8 * size);
    EXPECT_NEAR(derivative(bz, p, &point::y), derivative(by, p, &point::z), 1e-8 * size);
    EXPECT_NEAR(derivative(bx, p, &point::z), derivative(bz, p, &point::x), 1e-8 * size);
    EXPECT_NEAR(derivative(by, p, &point::x), derivative(bx, p, &point::y), 1e-8 * size);
  }
}

TEST(Prism, InducingAndMeasuredDirectionMayBeExchanged) {
  const mesh_state m = mesh_with({-1, 0.5}, {-1, 2}, {-0.5, -3});
  EXPECT_DOUBLE_EQ(response(m, {0.3, 1, 0}, tilted, steep), response(m, {0.3, 1, 0}, steep, tilted));
}

TEST(Prism, MirroredInTheMeridianItMirrorsTheDirections) {
  const mesh_state m = mesh_with({-1, 3}, {-1, 2}, {-0.5, -3}),
                   mirrored = mesh_with({-3, 1}, {-1, 2}, {-0.5, -3});
  const auto mirror = [](direction d) { return direction{-d.x, d.y, d.z}; };
  EXPECT_NEAR(response(m, {0.3, 1, 0}, tilted, steep),
              response(mirrored, {-0.3, 1, 0}, mirror(tilted), mirror(steep)), 1e-15);
}

TEST(Prism, MirroredInTheHorizonItMirrorsTheDirections) {
  const mesh_state m = mesh_with({-1, 3}, {-1, 2}, {-0.5, -3}),
                   mirrored = mesh_with({-1, 3}, {-1, 2}, {3, 0.5});
  const auto mirror = [](direction d) { return direction{d.x, d.y, -d.z}; };
  EXPECT_NEAR(response(m, {0.3, 1, 0.2}, tilted, steep),
              response(mirrored, {0.3, 1, -0.2}, mirror(tilted), mirror(steep)), 1e-15);
}

TEST(Prism, TurnedByARightAngleItTurnsTheDirections) {
  const mesh_state m = mesh_with({-1, 3}, {-5, 2}, {-0.5, -3}),
                   turned = mesh_with({-2, 5}, {-1, 3}, {-0.5, -3});
  const auto turn = [](direction d) { return direction{-d.y, d.x, d.z}; };  // east becomes north
  EXPECT_NEAR(response(m, {0.3, 1, 0}, tilted, steep),
              response(turned, {-1, 0.3, 0}, turn(tilted), turn(steep)), 1e-15);
}

TEST(Prism, TurnedOntoItsSideItTurnsTheDirections) {
  const mesh_state m = mesh_with({-1, 3}, {-5, 2}, {4, 0.5}), turned = mesh_with({0.5, 4}, {-1, 3}, {2, -5});
  const auto turn = [](direction d) { return direction{d.z, d.x, d.y}; };  // the axes in a cycle
  EXPECT_NEAR(response(m, {0.3, 1, 0}, tilted, steep),
              response(turned, {0, 0.3, 1}, turn(tilted), turn(steep)), 1e-15);
}

TEST(Prism, CutInTwoItIsTheSumOfItsParts) {
  const point p{0.3, 1, 0.1};
  const r8 whole = response(mesh_with({-1, 3}, {-1, 2}, {0, -3}), p, tilted, steep);
  EXPECT_NEAR(response(mesh_with({-1, 0.3, 3}, {-1, 2}, {0, -3}), p, tilted, steep), whole, 1e-15);
  EXPECT_NEAR(response(mesh_with({-1, 3}, {-1, 0.7, 2}, {0, -3}), p, tilted, steep), whole, 1e-15);
  EXPECT_NEAR(response(mesh_with({-1, 3}, {-1, 2}, {0, -1.2, -3}), p, tilted, steep), whole, 1e-15);
}

TEST(Prism, CellsComeInModelOrderAndDoNotKnowOfTheirNeighbours) {
  const numbers xs{-2, -1, 0.5, 3}, ys{-1, 2, 2.5}, zs{-1, -1.5, -2, -4, -4.5};
  const mesh_state m = mesh_with(xs, ys, zs);
  const point p{0.4, 0.6, 0};
  const std::vector<r8> row = responses(m, p, tilted, steep);
  std::size_t next = 0;
  for (std::size_t i = 0; i + 1 < ys.size(); ++i)
    for (std::size_t j = 0; j + 1 < xs.size(); ++j)
      for (std::size_t k = 0; k + 1 < zs.size(); ++k) {
        const mesh_state alone = mesh_with({xs[j], xs[j + 1]}, {ys[i], ys[i + 1]}, {zs[k], zs[k + 1]});
        EXPECT_NEAR(row[next++], response(alone, p, tilted, steep), 1e-15) << i << " " << j << " " << k;
      }
  EXPECT_EQ(next, row.size());
}

/// The response at a point is, within what a step of 1e-7 changes, that of the points around it.
void expect_smooth_at(const mesh_state& m, const point& p) {
  SCOPED_TRACE(testing::Message() << p.x << " " << p.y << " " << p.z);
  for (const auto& [b, a] : {std::pair{tilted, steep}, {up, up}, {east, north}, {east, up}}) {
    const r8 there = response(m, p, b, a);
    ASSERT_TRUE(std::isfinite(there));
    for (const r8 h : {1e-7, -1e-7}) {
      EXPECT_NEAR(response(m, {p.x + h, p.y, p.z}, b, a), there, 1e-6);
      EXPECT_NEAR(response(m, {p.x, p.y + h, p.z}, b, a), there, 1e-6);
      EXPECT_NEAR(response(m, {p.x, p.y, p.z + h}, b, a), there, 1e-6);
    }
  }
}

TEST(Prism, FieldIsSmoothOnThePlanesOfFacesAndTheLinesOfEdges) {
  const mesh_state m = mesh_with({-1, 0, 1}, {-1, 0, 1}, {1, 0, -1});
  const auto within = [](r8 v) { return -1 <= v && v <= 1; };
  const numbers places{-2, -1, 0, 0.4, 1, 1.5};  // along each axis: beside, on, or between the edges
  for (const r8 x : places)
    for (const r8 y : places)
      for (const r8 z : places)
        if (!within(x) || !within(y) || !within(z)) expect_smooth_at(m, {x, y, z});
}

TEST(Prism, PointCloseToAnEdgeLineKeepsItsDigits) {
  const mesh_state m = mesh_with({-1, 1}, {-1, 1}, {1, -1});
  const r8 on_the_line = response(m, {-1, -1, 3}, tilted, steep);
  for (const r8 h : {1e-300, 1e-160, 1e-20, 1e-12})
    EXPECT_NEAR(response(m, {-1 + h, -1 - h, 3}, tilted, steep), on_the_line, 1e-11);
}

/// The field in the middle of a cube is that in a sphere: a third of the magnetisation lost, two thirds left.
TEST(Prism, InsideOfACellItIsTheFluxDensity) {
  const mesh_state cube = mesh_with({-1, 1}, {-1, 1}, {1, -1});
  for (const direction& d : {east, north, up, tilted})
    EXPECT_NEAR(response(cube, {0, 0, 0}, d, d), 2.0 / 3, 1e-15);
  EXPECT_NEAR(response(cube, {0, 0, 0}, up, north), 0.0, 1e-15);
}

TEST(Prism, FluxThroughAFaceIsContinuous) {
  const mesh_state m = mesh_with({-1, 1}, {-1, 1}, {1, -1});
  const auto jump = [&](const direction& normal, const direction& b) {
    const auto at = [&](r8 height) {
      return response(m, {height * normal.x + 0.1, height * normal.y + 0.2, height * normal.z - 0.3}, b,
                      normal);
    };
    const point off{normal.x != 0 ? -0.1 : 0, normal.y != 0 ? -0.2 : 0, normal.z != 0 ? 0.3 : 0};
    const r8 face = 1 + off.x * normal.x + off.y * normal.y + off.z * normal.z;
    return at(face + 1e-9) - at(face - 1e-9);
  };
  for (const direction& normal : {east, north, up})
    for (const direction& b : {east, north, up, tilted}) EXPECT_NEAR(jump(normal, b), 0.0, 1e-8);
}

/// Along the face the flux density jumps by the magnetisation; a point on the face belongs to one side.
TEST(Prism, PointOnAFaceIsInTheWesternSouthernOrUpperCell) {
  const mesh_state m =
      mesh_with({-2, 0, 2}, {-2, 0, 2}, {2, 0, -2});  // columns SW, SE, NW, NE; upper before lower
  const auto own_cell = [&](const point& p, const direction& along) {
    const std::vector<r8> row = responses(m, p, along, along);
    return std::max_element(row.begin(), row.end()) - row.begin();
  };
  EXPECT_EQ(own_cell({0, 1, 1}, north), 4);
  EXPECT_EQ(own_cell({1, 0, 1}, east), 2);
  EXPECT_EQ(own_cell({1, 1, 0}, east), 6);
}

TEST(Prism, CellsAboveTheSurfaceHaveNoPlaceInTheRow) {
  mesh_state m = mesh_with({-2, -1, 0.5, 3, 4}, {-1, 2, 2.5, 6}, {-1, -1.5, -2, -4, -4.5});
  const point p{0.4, 0.6, 0};
  const std::vector<r8> whole = responses(m, p, tilted, steep);
  numbers below;
  std::size_t cell = 0;
  for (i4 i = 1; i <= m.ny; ++i)
    for (i4 j = 1; j <= m.nx; ++j) {
      m.itop(i, j) = (3 * i + 2 * j) % 5;  // 0 to 4: columns without air, and columns of air
      for (i4 k = 1; k <= m.nz; ++k, ++cell)
        if (k > m.itop(i, j)) below.push_back(whole[cell]);
    }
  ASSERT_LT(below.size(), whole.size());
  numbers row(below.size());
  prism_responses(m).compute(p, factors_of(tilted, steep, 1.0), row);
  EXPECT_EQ(row, below);
}

TEST(Prism, PointInTheAirAmongCellsIsOutside) {
  mesh_state m = mesh_with({-1, 1, 3}, {-1, 1, 3}, {1, -1, -3});
  m.itop(1, 1) = 1;
  const point p{0, 0, 0};  // in the cell that is air
  numbers row(7);
  prism_responses(m).compute(p, factors_of(up, up, 1.0), row);
  EXPECT_NEAR(row[0], response(mesh_with({-1, 1}, {-1, 1}, {-1, -3}), p, up, up), 1e-15);
  EXPECT_NEAR(row[1], response(mesh_with({1, 3}, {-1, 1}, {1, -1}), p, up, up), 1e-15);
}

}  // namespace
}  // namespace velko
