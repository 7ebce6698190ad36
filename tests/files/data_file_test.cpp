/// The data file with the header of three lines; what holds for the short header too is in data_file_forms_test.cpp.
#include "tests/files/data_file_fixture.h"

namespace velko {
namespace {

using test::outcome;
using test::outcome_of;
using test::Silent;
using test::StopsAfter;
using testing::ElementsAre;

class DataFile : public test::data_file_reader {
 protected:
  outcome read(std::string_view text, bool read_values = false) {
    return read_with(read_data_file, text, read_values);
  }
  outcome read_observations(std::string_view text) { return read(text, true); }
};

TEST_F(DataFile, HeaderHoldsTheFieldTheComponentAndIdir) {
  EXPECT_THAT(read("65 -12.5 54321\n90 45 1\n1\n1 2 3\n"), Silent());
  EXPECT_EQ(survey.incl, 65);
  EXPECT_EQ(survey.decl, -12.5);
  EXPECT_EQ(survey.geomag, 54321);
  EXPECT_EQ(survey.aincl, 90);
  EXPECT_EQ(survey.adecl, 45);
  EXPECT_EQ(survey.idir, 1);
}

TEST_F(DataFile, LocationsOfDataWithDirectionsOfTheirOwn) {
  EXPECT_THAT(read("65 0 5e4\n90 0 0\n2\n1 2 3 60 10\n4 5 6 61 11\n"), Silent());
  EXPECT_THAT(survey.zobs.elements(), ElementsAre(3, 6));
  EXPECT_THAT(survey.aincl_obs.elements(), ElementsAre(60, 61));
  EXPECT_THAT(survey.adecl_obs.elements(), ElementsAre(10, 11));
}

TEST_F(DataFile, ObservationsWithDirectionsOfTheirOwn) {
  store.ndata_mtx = 1;
  EXPECT_THAT(read_observations("65 0 5e4\n90 0 0\n1\n1 2 3 60 10 8 2\n"), Silent());
  EXPECT_THAT(survey.aincl_obs.elements(), ElementsAre(60));
  EXPECT_THAT(survey.adecl_obs.elements(), ElementsAre(10));
  EXPECT_THAT(survey.dobs.elements(), ElementsAre(4));
}

TEST_F(DataFile, ColumnsBehindTheNeededOnesAreIgnored) {
  EXPECT_THAT(read("65 0 5e4 !! incl, decl, geomag\n90 0 0 words\n1 more\n1 2 3 4 5 not a number\n"),
              Silent());
  EXPECT_THAT(survey.adecl_obs.elements(), ElementsAre(5));
}

TEST_F(DataFile, CommentsReadAsIfTheyWereNotThere) {
  EXPECT_THAT(read("! c\n65 0 5e4\n!\n90 0 1\n\n! c\n2\n!c\n1 2 3\n   \n! c\n4 5 6\n!"), Silent());
  EXPECT_THAT(survey.xobs.elements(), ElementsAre(1, 4));
}

TEST_F(DataFile, IndentedExclamationMarkMakesALineThatCannotBeRead) {
  EXPECT_THAT(read(" ! c\n65 0 5e4\n"), StopsAfter(reading_error(" ! c")));
}

TEST_F(DataFile, RecordDoesNotGoOnInTheNextLine) {
  EXPECT_THAT(read("65 0\n5e4\n90 0 1\n"), StopsAfter(reading_error("65 0")));
}

TEST_F(DataFile, RealIdirIsAReadError) {
  EXPECT_THAT(read("65 0 5e4\n90 0 1.0\n1\n1 2 3\n"), StopsAfter(reading_error("90 0 1.0")));
}

TEST_F(DataFile, IdirOtherThanZeroOrOneStopsBeforeTheNumberOfDataIsRead) {
  for (const std::string idir : {"2", "-1"})
    EXPECT_THAT(read("65 0 5e4\n 90 0 " + idir + "  \nno number\n"),
                StopsAfter("\nERROR: idir in data file should be 0 or 1.\n 90 0 " + idir + "\n"));
}

TEST_F(DataFile, StandardDeviationStandsBehindTheDirections) {
  store.ndata_mtx = 1;
  EXPECT_THAT(read_observations("65 0 5e4\n90 0 0\n1\n1 2 3 60 10 8 0\n"),
              StopsAfter("\nERROR: standard deviation should be greater than 0.\n1 2 3 60 10 8 0\n"));
}

TEST_F(DataFile, EndsAnywhereInsideGiveTheEndMessage) {
  for (const char* text : {"", "!\n\n", "65 0 5e4\n", "65 0 5e4\n90 0 1\n"})
    EXPECT_THAT(read(text), StopsAfter(end_error())) << text;
}

TEST_F(DataFile, DataLineWithTooFewValuesForItsDirectionsIsAReadError) {
  store.ndata_mtx = 2;
  EXPECT_THAT(read("65 0 5e4\n90 0 0\n2\n1 2 3 60\n"), StopsAfter(reading_error("1 2 3 60")));
  EXPECT_THAT(read_observations("65 0 5e4\n90 0 0\n2\n1 2 3 60 10 5\n"),
              StopsAfter(reading_error("1 2 3 60 10 5")));
}

TEST_F(DataFile, SlashInTheHeaderLeavesTheValuesBehindItAsTheyWere) {
  survey.geomag = 54321;
  EXPECT_THAT(read("65 /\n/\n1\n1 2 3 4 /\n"), Silent());
  EXPECT_EQ(survey.incl, 65);
  EXPECT_EQ(survey.geomag, 54321);
  EXPECT_EQ(survey.idir, 0);
  EXPECT_THAT(survey.adecl_obs.elements(), ElementsAre(0));
}

TEST_F(DataFile, ValueThatEndsAtColumnOneThousandIsCutThereAndNotBeyond) {
  const std::string front = "1 2" + std::string(993, ' ');
  EXPECT_THAT(read("65 0 5e4\n90 0 1\n1\n" + front + "3456.5\n"), Silent());
  EXPECT_THAT(survey.zobs.elements(), ElementsAre(3456));
  EXPECT_THAT(read("65 0 5e4\n90 0 1\n1\n" + front + "3e+x\n"), StopsAfter(reading_error(front + "3e+x")));
}

TEST_F(DataFile, MessageShowsTheLineAtHandWithNothingOfALongerOneInFrontOfIt) {
  EXPECT_THAT(read("65 0 5e4 a long line of words\n90 x 1   \n"), StopsAfter(reading_error("90 x 1")));
}

TEST_F(DataFile, CarriageReturnWithoutALineFeedBelongsToTheLastValueOfTheFile) {
  EXPECT_THAT(read("65 0 5e4\n90 0 1\n1\n1 2 3\r"), StopsAfter(reading_error("1 2 3\r")));
}

TEST_F(DataFile, SemicolonBelongsToItsValue) {
  EXPECT_THAT(read("65; 0; 5e4\n"), StopsAfter(reading_error("65; 0; 5e4")));
}

TEST_F(DataFile, LineOfTabsIsNotBlank) {
  EXPECT_THAT(read("\t\n65 0 5e4\n"), StopsAfter(reading_error("\t")));
}

TEST_F(DataFile, IdirAndNumberOfDataAreCheckedBeforeTheMatrix) {
  store.ndata_mtx = 3;
  EXPECT_THAT(read_observations("65 0 5e4\n90 0 2\n1\n"),
              StopsAfter("\nERROR: idir in data file should be 0 or 1.\n90 0 2\n"));
  EXPECT_THAT(read_observations("65 0 5e4\n90 0 1\n0\n"),
              StopsAfter("\nERROR: Number of data should be positive.\n" + name_ + "\n"));
}

/// The columns that read_survey_file finds behind the positions.
class SurveyFile : public test::data_file_reader {
 protected:
  outcome read(const std::string& lines, i4 columns = as_in_the_first_line) {
    return outcome_of(
        [&, name = file("65 0 5e4\n90 0 1\n" + lines)] { found_ = read_survey_file(name, columns); });
  }
  data_values found_;
};

TEST_F(SurveyFile, HoldsValuesAsTheyStand) {
  EXPECT_THAT(read("2\n1 2 3 8 2\n4 5 6 9 3\n"), Silent());
  EXPECT_THAT(survey.zobs.elements(), ElementsAre(3, 6));
  EXPECT_THAT(found_.value.elements(), ElementsAre(8, 9));
  EXPECT_THAT(found_.deviation.elements(), ElementsAre(2, 3));
}

TEST_F(SurveyFile, FirstLineTellsTheColumns) {
  EXPECT_THAT(read("2\n1 2 3 8 words\n4 5 6 9 10\n"), Silent());
  EXPECT_THAT(found_.value.elements(), ElementsAre(8, 9));
  EXPECT_EQ(found_.deviation.size(), 0);
  EXPECT_THAT(read("1\n1 2 3 !\n"), Silent());
  EXPECT_EQ(found_.value.size(), 0);
}

TEST_F(SurveyFile, SlashEndsTheFirstLine) {
  EXPECT_THAT(read("1\n1 2 3 / 8 2\n"), Silent());
  EXPECT_EQ(found_.value.size(), 0);
}

TEST_F(SurveyFile, ColumnsThatAreAskedForHaveToBeThere) {
  EXPECT_THAT(read("1\n1 2 3 8\n", 0), Silent());
  EXPECT_EQ(found_.value.size(), 0);
  EXPECT_THAT(read("1\n1 2 3 8\n", 2), StopsAfter(reading_error("1 2 3 8")));
  EXPECT_THAT(read("2\n1 2 3 8\n1 2 3\n"), StopsAfter(reading_error("1 2 3")));
}

TEST_F(SurveyFile, DeviationsAreAboveZero) {
  EXPECT_THAT(read("1\n1 2 3 8 0\n"),
              StopsAfter("\nERROR: standard deviation should be greater than 0.\n1 2 3 8 0\n"));
}

}  // namespace
}  // namespace velko
