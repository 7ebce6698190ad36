/// Bodies as their lines tell them, and the cells that they fill.
#include "design/bodies.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <random>

#include "design/mesh_design.h"
#include "design/model_sampling.h"
#include "reports/program_stop.h"
#include "tests/support/temporary_folder.h"

namespace velko {
namespace {

using testing::HasSubstr;

body body_of(std::string_view line) {
  body_list list;
  add_body(line, "here", list);
  return list.bodies.at(0);
}

std::string refusal_of(std::string_view line) {
  return run_until_stop([&] { body_of(line); }).text;
}

TEST(Bodies, BlockHoldsWhatLiesBetweenItsSides) {
  const body b = body_of("block 10 30 -5 5 -40 -20 0.1");
  EXPECT_EQ(b.value, 0.1);
  EXPECT_TRUE(b.holds({10, -5, -40}));
  EXPECT_TRUE(b.holds({20, 0, -30}));
  EXPECT_FALSE(b.holds({9.99, 0, -30}));
  EXPECT_FALSE(b.holds({20, 5.01, -30}));
  EXPECT_FALSE(b.holds({20, 0, -19.99}));
}

TEST(Bodies, SphereHoldsWhatLiesWithinItsRadius) {
  const body b = body_of("sphere 1 2 -30 10 0.1");
  EXPECT_TRUE(b.holds({1, 2, -20}));
  EXPECT_TRUE(b.holds({1 + 5.7, 2 + 5.7, -30 + 5.7}));
  EXPECT_FALSE(b.holds({1 + 5.8, 2 + 5.8, -30 + 5.8}));
}

TEST(Bodies, DykeThatStrikesNorthDipsEast) {
  const body b = body_of("dyke 100 200 -10 0 45 80 2 50 0.1");
  const r8 down = 40 * std::sqrt(0.5);
  EXPECT_TRUE(b.holds({100 + down, 200, -10 - down}));
  EXPECT_TRUE(b.holds({100 + down, 239, -10 - down}));
  EXPECT_FALSE(b.holds({100 + down, 241, -10 - down}));
  EXPECT_FALSE(b.holds({100 - down, 200, -10 - down}));
  EXPECT_TRUE(b.holds({100 + down, 200, -10 - down + 1.4}));  // half the thickness, upward: sqrt 2
  EXPECT_FALSE(b.holds({100 + down, 200, -10 - down + 1.5}));
}

TEST(Bodies, DykeThatStrikesEastDipsSouth) {
  const body b = body_of("dyke 0 0 0 90 30 80 2 50 0.1");
  EXPECT_TRUE(b.holds({39, -40 * std::cos(std::numbers::pi / 6), -20}));
  EXPECT_FALSE(b.holds({0, 40 * std::cos(std::numbers::pi / 6), -20}));
}

TEST(Bodies, UprightDykeHangsStraightDownFromItsUpperEnd) {
  const body b = body_of("dyke 0 0 -5 30 90 80 2 50 0.1");
  EXPECT_TRUE(b.holds({0, 0, -54.9}));
  EXPECT_FALSE(b.holds({0, 0, -55.1}));
  EXPECT_FALSE(b.holds({0, 0, -4.9}));
  EXPECT_TRUE(b.holds({39 * 0.5, 39 * std::sqrt(0.75), -20}));
}

/// Every point of a body lies within its reach of the centre.
TEST(Bodies, ReachIsABoxAroundTheBody) {
  std::mt19937_64 random(1);
  std::uniform_real_distribution<r8> along(-1.2, 1.2);
  for (const char* line : {"block 10 30 -5 5 -40 -20 1", "sphere 1 2 3 4 1", "dyke 5 6 7 33 70 80 9 50 1"}) {
    const body b = body_of(line);
    const point reach = b.reach();
    const r8 longest = std::max({reach[0], reach[1], reach[2]});
    int held = 0;
    for (int n = 0; n < 20000; ++n) {
      const point offset{longest * along(random), longest * along(random), longest * along(random)};
      if (!b.holds({b.centre[0] + offset[0], b.centre[1] + offset[1], b.centre[2] + offset[2]})) continue;
      ++held;
      for (std::size_t d = 0; d < 3; ++d) EXPECT_LE(std::abs(offset[d]), reach[d]) << line;
    }
    EXPECT_GT(held, 100) << line;
  }
}

TEST(Bodies, BackgroundIsTheLastOneNamed) {
  body_list list;
  EXPECT_FALSE(list.background);
  add_body("background 0.5", "here", list);
  add_body("background\t-0.25 ", "here", list);
  EXPECT_EQ(list.background, -0.25);
}

TEST(Bodies, LineThatIsNoBodyIsRefusedWithItsPlace) {
  EXPECT_EQ(refusal_of("ball 1 2 3 4 5"),
            "velkmtx: here: 'ball 1 2 3 4 5' should begin with block, sphere, dyke or background");
  EXPECT_THAT(refusal_of(""), HasSubstr("'' should begin with block, sphere, dyke or background"));
  EXPECT_THAT(refusal_of("sphere 1 2 3 4"), HasSubstr("should be sphere X Y ELEVATION RADIUS VALUE"));
  EXPECT_THAT(refusal_of("sphere 1 2 3 4 5 6"), HasSubstr("should be sphere X Y ELEVATION RADIUS VALUE"));
  EXPECT_THAT(refusal_of("sphere 1 2 nan 4 5"), HasSubstr("should be sphere X Y ELEVATION RADIUS VALUE"));
  EXPECT_THAT(refusal_of("sphere 1 2 3 0 5"), HasSubstr("has a radius that is not positive"));
  EXPECT_THAT(refusal_of("block 1 0 0 1 0 1 5"), HasSubstr("has two sides in the wrong order"));
  EXPECT_THAT(refusal_of("block 0 1 0 1 0 0 5"), HasSubstr("has two sides in the wrong order"));
  EXPECT_THAT(refusal_of("dyke 0 0 0 0 91 1 1 1 5"), HasSubstr("has a dip that is not from 0 to 90"));
  EXPECT_THAT(refusal_of("dyke 0 0 0 0 50 1 0 1 5"), HasSubstr("has a side that is not positive"));
  EXPECT_THAT(refusal_of("background x"), HasSubstr("should be background VALUE"));
}

TEST(Bodies, FileHasABodyToALineAndComments) {
  const test::temporary_folder folder;
  body_list list;
  add_body_file(
      folder.write("b",
                   "! head\n\nsphere 1 2 3 4 5 ! tail\r\n  block 0 1 0 1 0 1 2\n   ! more\nbackground 7"),
      list);
  ASSERT_EQ(list.bodies.size(), 2u);
  EXPECT_EQ(list.bodies[0].words, "sphere 1 2 3 4 5");
  EXPECT_EQ(list.background, 7);
}

TEST(Bodies, FileIsNamedWithItsLineInARefusal) {
  const test::temporary_folder folder;
  body_list list;
  const std::string name = folder.write("b", "! head\n\nsphere 1 2 3 4 x\n");
  EXPECT_EQ(run_until_stop([&] { add_body_file(name, list); }).text,
            "velkmtx: " + name + " line 3: 'sphere 1 2 3 4 x' should be sphere X Y ELEVATION RADIUS VALUE");
}

class ModelSampling : public testing::Test {
 protected:
  ModelSampling() { fill_mesh(m, {{0, {10, 10, 20}}, {100, {10, 10}}, {50, {5, 5, 10, 20}}}); }

  sampled_model sampled(const std::vector<std::string>& lines, i4 samples, r8 background = 0) {
    body_list list;
    for (const std::string& line : lines) add_body(line, "here", list);
    return sample_bodies(m, list.bodies, background, samples);
  }

  mesh_state m;
};

TEST_F(ModelSampling, ModelWithoutBodiesIsTheBackground) {
  const sampled_model model = sampled({}, 4, 0.25);
  EXPECT_EQ(model.values.size(), 24);
  EXPECT_THAT(model.values.elements(), testing::Each(0.25));
}

TEST_F(ModelSampling, BlockFillsItsCellsInModelOrder) {
  const sampled_model model = sampled({"block 10 20 110 120 40 45 3"}, 4, 1);
  for (i4 i = 1; i <= 2; ++i)
    for (i4 j = 1; j <= 3; ++j)
      for (i4 k = 1; k <= 4; ++k) EXPECT_EQ(model.values(k, j, i), i == 2 && j == 2 && k == 2 ? 3 : 1);
}

TEST_F(ModelSampling, CellThatABodyPartlyFillsHasTheMean) {
  const sampled_model model = sampled({"block 0 5 100 110 45 50 3"}, 4, 1);
  EXPECT_EQ(model.values(1, 1, 1), 2);
  EXPECT_EQ(model.values(1, 2, 1), 1);
}

TEST_F(ModelSampling, OneSampleIsTheMiddleOfTheCell) {
  EXPECT_EQ(sampled({"block 0 5.1 100 105.1 47.4 50 3"}, 1, 1).values(1, 1, 1), 3);
  EXPECT_EQ(sampled({"block 0 4.9 100 105.1 47.4 50 3"}, 1, 1).values(1, 1, 1), 1);
}

TEST_F(ModelSampling, LaterBodyCountsWhereBodiesOverlap) {
  const sampled_model model = sampled({"block 0 40 100 120 10 50 0.1", "block 0 5 100 110 45 50 0.3"}, 2);
  EXPECT_EQ(model.values(1, 1, 1), 0.2);
  EXPECT_EQ(model.values(4, 3, 2), 0.1);
}

TEST_F(ModelSampling, SharesCountWhatALaterBodyCovers) {
  const sampled_model model = sampled({"block 0 10 100 110 45 50 0.1", "block 0 40 100 120 10 50 0.3"}, 2);
  EXPECT_EQ(model.values(1, 1, 1), 0.3);
  EXPECT_EQ(model.shares[0].cells, 1);
  EXPECT_DOUBLE_EQ(model.shares[0].volume, 500);
  EXPECT_EQ(model.shares[1].cells, 24);
  EXPECT_DOUBLE_EQ(model.shares[1].volume, 40 * 20 * 40);
}

/// Midpoint sums over parts of 1/8 cell: the error is that of the parts at the border.
TEST(ModelSamplingVolumes, AreThoseOfTheBodies) {
  mesh_state m;
  const std::vector<r8> widths(40, 5.0);
  fill_mesh(m, {{-100, widths}, {-100, widths}, {0, widths}});
  body_list list;
  add_body("sphere 3 -7 -90 60 1", "here", list);
  add_body("dyke -11 4 -20 35 65 120 30 100 2", "here", list);
  const sampled_model model = sample_bodies(m, list.bodies, 0, 4);
  EXPECT_NEAR(model.shares[0].volume, 4 / 3.0 * std::numbers::pi * 60 * 60 * 60, 0.002 * 9e5);
  EXPECT_NEAR(model.shares[1].volume, 120.0 * 30 * 100, 0.005 * 3.6e5);
}

}  // namespace
}  // namespace velko
