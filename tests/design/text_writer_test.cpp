/// Text files as they are written, to the byte.
#include "design/text_writer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

#include "tests/support/temporary_folder.h"

namespace velko {
namespace {

/// What the writer puts into a file.
template <class body>
std::string written(body&& write) {
  const test::temporary_folder folder;
  const std::string name = folder.path("f");
  output_file file(name);
  write(file);
  file.keep();
  return folder.read("f");
}

survey_state two_stations(i4 idir) {
  survey_state s;
  s.incl = 62;
  s.decl = -4.5;
  s.geomag = 52000;
  s.idir = idir;
  s.ndata = 2;
  for (owned_array1<r8>* x : {&s.xobs, &s.yobs, &s.zobs, &s.aincl_obs, &s.adecl_obs}) {
    *x = owned_array1<r8>(2);
    (*x)(2) = 0.1;
  }
  return s;
}

constexpr auto head = "62 -4.5 52000  !! incl, decl, geomag\n0 0 ";

TEST(TextWriter, LocationsHaveNoValues) {
  EXPECT_EQ(written([](output_file& f) { write_survey_file(f, two_stations(1), {}, {}); }),
            std::string(head) + "1  !! aincl, adecl, idir\n2  !! # of data\n0 0 0\n0.1 0.1 0.1\n");
}

TEST(TextWriter, DirectionsStandBeforeValuesAndDeviations) {
  const std::vector<r8> values{-7, 1e-30}, deviations{2, 3};
  EXPECT_EQ(written([&](output_file& f) { write_survey_file(f, two_stations(0), values, deviations); }),
            std::string(head) +
                "0  !! aincl, adecl, idir\n2  !! # of data\n0 0 0 0 0 -7 2\n0.1 0.1 0.1 0.1 0.1 1e-30 3\n");
}

TEST(TextWriter, ModelHasNineDigitsOrAll) {
  const std::vector<r8> values{1.0 / 3, 2};
  EXPECT_EQ(written([&](output_file& f) { write_model_file(f, values); }), "0.333333333\n2\n");
  EXPECT_EQ(written([&](output_file& f) { write_model_file(f, values, model_digits::all); }),
            "0.3333333333333333\n2\n");
}

TEST(TextWriter, ActiveCellsAndTerrainHaveALineEach) {
  EXPECT_EQ(written([](output_file& f) { write_active_file(f, std::vector<i4>{-1, 0, 1}); }), "-1\n0\n1\n");
  EXPECT_EQ(written([](output_file& f) {
              write_topography_file(f, std::vector<r8>{1, 2, 3.5, 4, 5, 6});
            }),
            "2 points\n1 2 3.5\n4 5 6\n");
  EXPECT_EQ(written([](output_file& f) { write_topography_file(f, {}); }), "0 points\n");
}

TEST(TextWriter, LongFilesAreWhole) {
  const std::vector<i4> active(10000, 1);
  EXPECT_EQ(written([&](output_file& f) { write_active_file(f, active); }).size(), 20000U);
}

}  // namespace
}  // namespace velko
