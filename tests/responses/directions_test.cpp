#include "responses/directions.h"

#include <gtest/gtest.h>

#include <cmath>

namespace velko {
namespace {

void expect_direction(const direction& d, r8 east, r8 north, r8 up) {
  EXPECT_EQ(d.x, east);
  EXPECT_EQ(d.y, north);
  EXPECT_EQ(d.z, up);
}

TEST(Directions, InclinationIsPositiveDownward) {
  expect_direction(unit_vector(90, 0), 0, 0, -1);
}

TEST(Directions, NegativeInclinationPointsUp) {
  expect_direction(unit_vector(-90, 0), 0, 0, 1);
}

TEST(Directions, DeclinationZeroIsNorth) {
  expect_direction(unit_vector(0, 0), 0, 1, 0);
}

TEST(Directions, DeclinationTurnsClockwise) {
  expect_direction(unit_vector(0, 90), 1, 0, 0);
  expect_direction(unit_vector(0, 180), 0, -1, 0);
  expect_direction(unit_vector(0, 270), -1, 0, 0);
  expect_direction(unit_vector(0, -90), -1, 0, 0);
  expect_direction(unit_vector(0, 360), 0, 1, 0);
}

TEST(Directions, ObliqueDirectionSplitsIntoItsParts) {
  const direction d = unit_vector(60, 30);
  EXPECT_NEAR(d.x, 0.25, 1e-15);                   // cos 60 sin 30
  EXPECT_NEAR(d.y, 0.25 * std::sqrt(3.0), 1e-15);  // cos 60 cos 30
  EXPECT_NEAR(d.z, -0.5 * std::sqrt(3.0), 1e-15);  // - sin 60
}

TEST(Directions, EveryDirectionHasLengthOne) {
  for (r8 incl = -100; incl <= 100; incl += 7.3)
    for (r8 decl = -400; decl <= 400; decl += 13.7) {
      const direction d = unit_vector(incl, decl);
      EXPECT_NEAR(d.x * d.x + d.y * d.y + d.z * d.z, 1.0, 1e-15) << incl << " " << decl;
      EXPECT_NEAR(d.x, std::cos(incl * M_PI / 180) * std::sin(decl * M_PI / 180), 1e-14);
      EXPECT_NEAR(d.y, std::cos(incl * M_PI / 180) * std::cos(decl * M_PI / 180), 1e-14);
      EXPECT_NEAR(d.z, -std::sin(incl * M_PI / 180), 1e-14);
    }
}

}  // namespace
}  // namespace velko
