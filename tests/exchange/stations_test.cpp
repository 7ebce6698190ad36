/// Stations and points that share a place, and lines that are thinned.
#include "exchange/stations.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

#include "exchange/ground.h"

namespace velko {
namespace {

using testing::DoubleNear;
using testing::ElementsAre;

std::vector<r8> x_of(const std::vector<station>& stations) {
  std::vector<r8> x;
  for (const station& s : stations) x.push_back(s.x);
  return x;
}

TEST(ThinAlongLines, KeepsWhatIsFarEnoughFromTheLastOneKept) {
  std::vector<station> stations;
  for (const r8 x : {0, 4, 9, 10, 11, 21, 29, 32}) stations.push_back({.x = x, .line = "A"});
  EXPECT_EQ(thin_along_lines(10, stations), 4);
  EXPECT_THAT(x_of(stations), ElementsAre(0, 10, 21, 32));
}

TEST(ThinAlongLines, BeginsAnewOnEachLineAndMeasuresOnTheMap) {
  std::vector<station> stations{{.x = 0, .y = 0, .z = 0, .line = "A"},
                                {.x = 3, .y = 3, .z = 900, .line = "A"},  // far up is not far away
                                {.x = 4, .y = 4, .line = "B"},
                                {.x = 7, .y = 8, .line = "B"}};
  EXPECT_EQ(thin_along_lines(5, stations), 1);
  EXPECT_THAT(x_of(stations), ElementsAre(0, 4, 7));
}

TEST(AveragePlaces, MeansTheValuesAndKeepsTheErrorOfOne) {
  std::vector<station> stations{{.x = 1, .y = 2, .z = 3, .value = 10, .error = 1},
                                {.x = 5, .y = 2, .z = 3, .value = 7, .error = 2},
                                {.x = 1.0004, .y = 2, .z = 3, .value = 20, .error = 7}};
  EXPECT_EQ(average_places(stations), 1);
  ASSERT_THAT(x_of(stations), ElementsAre(1, 5));
  EXPECT_EQ(stations[0].value, 15);
  EXPECT_EQ(stations[0].error, 5);  // the root of (1 + 49) / 2
  EXPECT_EQ(stations[1].value, 7);
  EXPECT_EQ(stations[1].error, 2);
}

TEST(AveragePlaces, LeavesStationsOneAboveTheOther) {
  std::vector<station> stations{{.z = 3}, {.z = 3.01}};
  EXPECT_EQ(average_places(stations), 0);
  EXPECT_EQ(stations.size(), 2u);
}

TEST(CutTo, KeepsTheBorder) {
  std::vector<station> stations;
  for (const r8 x : {-0.1, 0.0, 5.0, 10.0, 10.1}) stations.push_back({.x = x, .y = 1});
  EXPECT_EQ(cut_to({0, 10, 1, 1}, stations), 2);
  EXPECT_THAT(x_of(stations), ElementsAre(0, 5, 10));
}

TEST(AverageSquares, MakesOnePointOfEachSquare) {
  const std::vector<ground_point> points{{1, 1, 10}, {-3, 2, 20}, {19, 0, 1}, {4, 3, 60}};
  const auto averaged = average_squares(points, 10);
  ASSERT_EQ(averaged.size(), 2u);
  EXPECT_THAT(averaged[0].x, DoubleNear(2.0 / 3, 1e-15));
  EXPECT_EQ(averaged[0].y, 2);
  EXPECT_EQ(averaged[0].z, 30);
  EXPECT_EQ(averaged[1].x, 19);
}

}  // namespace
}  // namespace velko
