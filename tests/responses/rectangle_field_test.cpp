#include "responses/rectangle_field.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <numbers>
#include <random>
#include <vector>

#include "responses/series.h"

namespace velko {
namespace {

using std::numbers::pi;

/// A column of 21 rectangles beside, at or around a point.
struct column_of_rectangles {
  column_of_rectangles(r8 u, r8 p1, r8 p2) : u_(u), p1_(p1), p2_(p2) {
    for (std::size_t k = 0; k < w.size(); ++k) w[k] = 30.0 - 4.0 * static_cast<r8>(k);
    for (std::size_t k = 0; k < w.size(); ++k) {
      r1[k] = std::sqrt(u * u + p1 * p1 + w[k] * w[k]);
      r2[k] = std::sqrt(u * u + p2 * p2 + w[k] * w[k]);
    }
  }
  std::vector<r8> values(const face_weights& weights, instruction_set set, i4 begin = 0, i4 end = 21) const {
    const rectangle_column c{u_, p1_, p2_, p2_ - p1_, w.data(), height.data(), 4.0, r1.data(), r2.data()};
    std::vector<r8> value(32, 0.0);
    rectangle_field_for(set)(c, weights, begin, end, value.data());
    return {value.begin() + begin, value.begin() + end};
  }

  r8 u_, p1_, p2_;
  std::vector<r8> w = std::vector<r8>(32), height = std::vector<r8>(32, 4.0), r1 = w, r2 = w;
};

r8 sum_of(const std::vector<r8>& values) {
  r8 sum = 0;
  for (const r8 v : values) sum += v;
  return sum;
}

TEST(RectangleField, EveryInstructionSetGivesTheSameBits) {
  std::mt19937 random(3);
  std::normal_distribution<r8> normal;
  for (int n = 0; n < 200; ++n) {
    const r8 reach = std::pow(10.0, normal(random));
    const r8 p = reach * normal(random);
    const column_of_rectangles column(reach * normal(random), p, p + 5.0);
    for (const face_weights& weights :
         {face_weights{1, 0, 0}, {0, 1, 0}, {0, 0, 1}, {0.3, -0.7, 0.2}, {1, 0, 2}}) {
      const std::vector<r8> plain = column.values(weights, instruction_set::sse2);
      for (const instruction_set set : all_instruction_sets)
        if (machine_has(set)) {
          const std::vector<r8> values = column.values(weights, set);
          EXPECT_EQ(std::memcmp(values.data(), plain.data(), values.size() * sizeof(r8)), 0) << name_of(set);
        }
    }
  }
}

TEST(RectangleField, PartOfAColumnIsThatOfTheWhole) {
  const column_of_rectangles column(2.0, -3.0, 4.0);
  const std::vector<r8> whole = column.values({1, 2, 3}, best_instruction_set());
  for (const i4 begin : {0, 1, 7, 8, 9, 20})
    for (const i4 end : {begin, begin + 1, 21}) {
      const std::vector<r8> part = column.values({1, 2, 3}, best_instruction_set(), begin, end);
      EXPECT_EQ(part, std::vector<r8>(whole.begin() + begin, whole.begin() + end)) << begin << " " << end;
    }
}

/// From 30 to -54 high and 2000 wide, seen from 1e-3 in front: the half space.
TEST(RectangleField, SolidAngleOfAScreenRightInFrontIsHalfTheSphere) {
  for (const r8 side : {1.0, -1.0})
    EXPECT_NEAR(
        sum_of(column_of_rectangles(1e-3 * side, -1000, 1000).values({1, 0, 0}, best_instruction_set())),
        side * 2 * pi, 2e-4);
}

TEST(RectangleField, OnThePlaneOfARectangleItIsThatInFront) {
  const column_of_rectangles column(0.0, -1, 1);
  const std::vector<r8> angle = column.values({1, 0, 0}, best_instruction_set());
  EXPECT_EQ(angle[7], 2 * pi);  // from 2 to -2: the point is on it
  EXPECT_EQ(angle[6], 0.0);
  EXPECT_EQ(angle[20], 0.0);
}

TEST(RectangleField, IsFiniteOnEdgesAndCorners) {
  for (const auto& [u, p1, p2] :
       {std::array<r8, 3>{0, 0, 5}, {0, -5, 0}, {0, -2, 5}, {3, 0, 5}, {1e-300, 0, 5}}) {
    column_of_rectangles column(u, p1, p2);
    for (const r8 lift : {0.0, 2.0}) {  // between two nodes, and on the node 8
      for (std::size_t k = 0; k < column.w.size(); ++k) {
        column.w[k] = 30.0 + lift - 4.0 * static_cast<r8>(k);
        column.r1[k] = std::hypot(u, p1, column.w[k]);
        column.r2[k] = std::hypot(u, p2, column.w[k]);
      }
      for (const r8 v : column.values({1, 1, 1}, best_instruction_set()))
        EXPECT_LT(std::abs(v), 250.0) << u << " " << p1 << " " << p2 << " " << lift;
    }
  }
}

TEST(RectangleField, IsContinuousWhereItsFormulaChanges) {
  // The series take over where the mean distance of the corners is two diagonals of 5 x 4.
  const r8 u = 2 * std::hypot(5.0, 4.0);
  const auto at = [](r8 distance) {
    return column_of_rectangles(distance, -2.5, 2.5).values({1, 0.5, 0.25}, best_instruction_set());
  };
  for (int n = -200; n <= 200; ++n) {
    const r8 d = u * (1 + 1e-3 * n);
    const std::vector<r8> here = at(d), there = at(d * (1 + 1e-15));
    for (std::size_t k = 0; k < here.size(); ++k) EXPECT_NEAR(here[k], there[k], 3e-15);
  }
}

TEST(OddSeries, LogarithmAgreesWithTheLibrary) {
  std::mt19937 random(5);
  std::uniform_real_distribution<r8> exponent(-30, 30);
  for (int n = 0; n < 2000; ++n) {
    const r8 x = std::exp2(exponent(random)), exact = std::log(x);
    EXPECT_NEAR(portable_log(x), exact, 4e-16 * std::max(std::abs(exact), 0.5)) << x;
  }
  EXPECT_EQ(portable_log(1.0), 0.0);
}

TEST(OddSeries, ArctangentAgreesWithTheLibrary) {
  std::mt19937 random(6);
  std::uniform_real_distribution<r8> exponent(-60, 60);
  for (int n = 0; n < 2000; ++n) {
    const r8 x = std::exp2(exponent(random)) * (n % 2 == 0 ? 1 : -1), exact = std::atan(x);
    EXPECT_NEAR(portable_atan(x), exact, 1e-15 * std::abs(exact)) << x;
  }
  EXPECT_EQ(portable_atan(0.0), 0.0);
  EXPECT_EQ(portable_atan(INFINITY), pi / 2);
  EXPECT_EQ(portable_atan(-INFINITY), -pi / 2);
}

}  // namespace
}  // namespace velko
