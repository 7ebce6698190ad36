/// The numbered predicted-data files of an inversion.
#include <filesystem>
#include <limits>
#include <vector>

#include "files/data_file.h"
#include "files/predicted_data.h"
#include "tests/files/reader_fixture.h"

namespace velko {
namespace {

using test::outcome;
using test::outcome_of;
using test::Silent;
using test::StopsWithText;

constexpr i4 most = std::numeric_limits<i4>::max(), least = std::numeric_limits<i4>::min();

/// Two observations, with standard deviations 4 and 0.5. Names have little room, so each test runs in a folder of its
/// own.
class PredictedIter : public test::text_reader {
 protected:
  void SetUp() override {
    text_reader::SetUp();
    read_observations("65 -12.5 54321\n90 0 1\n2\n1250 -300.5 2 10 4\n-0.5 0 1 3 0.5\n");
    std::filesystem::current_path(folder_.path());
  }
  void TearDown() override { std::filesystem::current_path(before_); }

  void read_observations(std::string_view text) {
    reset_state();
    store.ndata_mtx = 2;
    ASSERT_THAT(outcome_of([&, name = file(text)] { read_data_file(name, true); }), Silent());
  }
  outcome write(const std::string& base, const std::string& extension, i4 iteration) {
    return outcome_of([&] { write_predicted_iter(base, extension, d_, iteration); });
  }

  std::vector<r8> d_{2.5, -6};
  std::filesystem::path before_ = std::filesystem::current_path();
};

TEST_F(PredictedIter, ValuesAreMultipliedByTheStandardDeviations) {
  EXPECT_THAT(write("inv", "pre", 7), Silent());
  EXPECT_EQ(folder_.read("inv_007.pre"),
            "     65.00    -12.50  54321.00  !! incl, decl, geomag\n"
            "     90.00      0.00      1     !! aincl, adecl, idir\n"
            "      2                         !! # of data\n"
            "  1.250000000E+03 -3.005000000E+02  2.000000000E+00    1.000000E+01\n"
            " -5.000000000E-01  0.000000000E+00  1.000000000E+00   -3.000000E+00\n");
}

TEST_F(PredictedIter, FileWithADirectionForEachDatum) {
  read_observations("65 0 5e4\n90 0 0\n2\n1 2 3 60 10 10 4\n4 5 6 61 11 3 0.5\n");
  EXPECT_THAT(write("inv", "pre", 7), Silent());
  EXPECT_EQ(
      folder_.read("inv_007.pre"),
      "     65.00      0.00  50000.00  !! incl, decl, geomag\n"
      "     90.00      0.00      0     !! aincl, adecl, idir\n"
      "      2                         !! # of data\n"
      "  1.000000000E+00  2.000000000E+00  3.000000000E+00    6.0000E+01  1.0000E+01    1.000000E+01\n"
      "  4.000000000E+00  5.000000000E+00  6.000000000E+00    6.1000E+01  1.1000E+01   -3.000000E+00\n");
}

TEST_F(PredictedIter, PredictedDataAreWrittenAsTheyStandWithTheStandardDeviationsThereToo) {
  EXPECT_THAT(outcome_of([&] { write_predicted_data("inv.vlk", d_); }), Silent());
  EXPECT_THAT(folder_.read("inv.vlk"), testing::HasSubstr("    2.500000E+00\n"));
}

TEST_F(PredictedIter, NameHasTheIterationInThreeDigitsOrThreeAsterisks) {
  const std::vector<std::pair<i4, std::string>> names{{0, "000"},    {1, "001"},    {10, "010"}, {999, "999"},
                                                      {1000, "***"}, {most, "***"}, {-1, "***"}, {-7, "***"},
                                                      {-10, "***"},  {least, "***"}};
  for (const auto& [iteration, shown] : names) {
    EXPECT_THAT(write("inv", "pre", iteration), Silent());
    EXPECT_TRUE(std::filesystem::remove("inv_" + shown + ".pre")) << iteration;
  }
}

TEST_F(PredictedIter, TrailingBlanksOfBaseNameAndExtensionAreNoPartOfTheName) {
  EXPECT_THAT(write("a b" + std::string(40, ' '), "pre d" + std::string(40, ' '), 1), Silent());
  EXPECT_TRUE(folder_.holds("a b_001.pre d"));
  EXPECT_THAT(write("  ", "  ", 2), Silent());
  EXPECT_TRUE(folder_.holds("_002."));
}

TEST_F(PredictedIter, BaseNameMayHoldAFolder) {
  std::filesystem::create_directory("out");
  EXPECT_THAT(write("out/inv", "pre", 12), Silent());
  EXPECT_TRUE(folder_.holds("out/inv_012.pre"));
}

TEST_F(PredictedIter, NameOfThirtyCharactersFitsAndOneMoreEndsTheProgramWithoutAFile) {
  const std::string base(22, 'x');
  EXPECT_THAT(write(base, "pre", 1), Silent());
  EXPECT_TRUE(folder_.holds(base + "_001.pre"));
  for (const auto& [longer, extension] :
       {std::pair<std::string, std::string>{base + 'x', "pre"}, {base, "pred"}}) {
    const outcome o = write(longer, extension, 1);
    EXPECT_EQ(o.end, (stop_or_done{stop_or_done::failed, "velko: cannot write " + longer + "_001." +
                                                             extension + ": File name too long"}));
    EXPECT_EQ(o.console + o.log, "");
    EXPECT_FALSE(folder_.holds(longer + "_001." + extension));
  }
}

TEST_F(PredictedIter, FileThatIsThereIsReplaced) {
  folder_.write("inv_007.pre", std::string(10000, 'x'));
  EXPECT_THAT(write("inv", "pre", 7), Silent());
  EXPECT_EQ(folder_.read("inv_007.pre").size(), 3 * 55 - 2 - 10 + 2 * 68);
}

TEST_F(PredictedIter, OutputIsALocationFileAgain) {
  EXPECT_THAT(write("inv", "pre", 7), Silent());
  reset_state();
  EXPECT_THAT(outcome_of([] { read_data_file("inv_007.pre", false); }), Silent());
  EXPECT_THAT(survey.yobs.elements(), testing::ElementsAre(-300.5, 0));
}

TEST_F(PredictedIter, FailedOpenNamesTheFileAndTheReason) {
  const outcome o = write("no_folder/inv", "pre", 7);
  EXPECT_EQ(o.end, (stop_or_done{stop_or_done::failed,
                                 "velko: cannot write no_folder/inv_007.pre: No such file or directory"}));
  EXPECT_EQ(o.console + o.log, "");
}

TEST_F(PredictedIter, VectorsShorterThanTheSurveyStopBeforeAFileIsMade) {
  survey.derr = {};
  EXPECT_THAT(write("inv", "pre", 7), StopsWithText("size(derr) < ndata"));
  d_.pop_back();
  EXPECT_THAT(write("inv", "pre", 7), StopsWithText("size(d) < ndata"));
  EXPECT_THAT(outcome_of([&] { write_predicted_data("inv_007.pre", d_); }), StopsWithText("size(d) < ndata"));
  EXPECT_FALSE(folder_.holds("inv_007.pre"));
}

TEST_F(PredictedIter, SurveyOfAShortDataFileHasNoDirectionsAndStopsUnlessIdirIsOne) {
  reset_state();
  store.ndata_mtx = 2;
  const std::string name = file("2\n1250 -300.5 2 10 4\n-0.5 0 1 3 0.5\n");
  ASSERT_THAT(outcome_of([&] { read_data_file_short(name, true); }), Silent());
  EXPECT_THAT(write("inv", "pre", 7), StopsWithText("size(aincl_obs) < ndata"));
  survey.aincl_obs = owned_array1<r8>(2);
  EXPECT_THAT(write("inv", "pre", 7), StopsWithText("size(adecl_obs) < ndata"));
  EXPECT_FALSE(folder_.holds("inv_007.pre"));
  survey.idir = 1;
  EXPECT_THAT(write("inv", "pre", 7), Silent());
}

}  // namespace
}  // namespace velko
