#include "files/data_file.h"

#include <cmath>
#include <limits>

#include "tests/files/reader_fixture.h"

namespace velko {
namespace {

using test::outcome;
using test::outcome_of;
using test::Silent;
using test::StopsAfter;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* header = "65 -12.5 54321\n90 0 1\n2\n";

class DataFile : public test::text_reader {
 protected:
  outcome read(std::string_view text, bool read_values = false) {
    return outcome_of([&, name = file(text)] { read_data_file(name, read_values); });
  }
  outcome read_observations(std::string_view text) { return read(text, true); }

  std::string reading_error(std::string_view line) const {
    return "\nERROR reading data file " + name_ + "\n" + std::string(line) + "\n";
  }
  std::string end_error() const { return "\nERROR: end reached when reading data file " + name_ + "\n"; }
};

TEST_F(DataFile, LocationsOfDataWithACommonDirection) {
  EXPECT_THAT(read("65 -12.5 54321\n90 45 1\n2\n1 2 3\n4 5 6\n"), Silent());
  EXPECT_EQ(survey.incl, 65);
  EXPECT_EQ(survey.decl, -12.5);
  EXPECT_EQ(survey.geomag, 54321);
  EXPECT_EQ(survey.aincl, 90);
  EXPECT_EQ(survey.adecl, 45);
  EXPECT_EQ(survey.idir, 1);
  EXPECT_EQ(survey.ndata, 2);
  EXPECT_THAT(survey.xobs.elements(), ElementsAre(1, 4));
  EXPECT_THAT(survey.yobs.elements(), ElementsAre(2, 5));
  EXPECT_THAT(survey.zobs.elements(), ElementsAre(3, 6));
  for (const owned_array1<r8>* x : {&survey.aincl_obs, &survey.adecl_obs, &survey.dobs, &survey.derr})
    EXPECT_THAT(x->elements(), IsEmpty());
}

TEST_F(DataFile, LocationsOfDataWithDirectionsOfTheirOwn) {
  EXPECT_THAT(read("65 0 5e4\n90 0 0\n2\n1 2 3 60 10\n4 5 6 61 11\n"), Silent());
  EXPECT_THAT(survey.zobs.elements(), ElementsAre(3, 6));
  EXPECT_THAT(survey.aincl_obs.elements(), ElementsAre(60, 61));
  EXPECT_THAT(survey.adecl_obs.elements(), ElementsAre(10, 11));
}

TEST_F(DataFile, ObservationsAreDividedByTheirStandardDeviations) {
  store.ndata_mtx = 2;
  EXPECT_THAT(read_observations(std::string(header) + "1 2 3 10 4\n4 5 6 -3 0.5\n"), Silent());
  EXPECT_THAT(survey.dobs.elements(), ElementsAre(2.5, -6));
  EXPECT_THAT(survey.derr.elements(), ElementsAre(4, 0.5));
}

TEST_F(DataFile, ObservationsWithDirectionsOfTheirOwn) {
  store.ndata_mtx = 1;
  EXPECT_THAT(read_observations("65 0 5e4\n90 0 0\n1\n1 2 3 60 10 8 2\n"), Silent());
  EXPECT_THAT(survey.aincl_obs.elements(), ElementsAre(60));
  EXPECT_THAT(survey.adecl_obs.elements(), ElementsAre(10));
  EXPECT_THAT(survey.dobs.elements(), ElementsAre(4));
}

TEST_F(DataFile, ColumnsBehindTheNeededOnesAreIgnored) {
  EXPECT_THAT(read("65 0 5e4 !! incl, decl, geomag\n90 0 1 words\n1 more\n1 2 3 not a number\n"), Silent());
  EXPECT_THAT(survey.zobs.elements(), ElementsAre(3));
}

TEST_F(DataFile, CommentsReadAsIfTheyWereNotThere) {
  EXPECT_THAT(read("! c\n65 0 5e4\n!\n90 0 1\n\n! c\n2\n!c\n1 2 3\n   \n! c\n4 5 6\n!"), Silent());
  EXPECT_THAT(survey.xobs.elements(), ElementsAre(1, 4));
}

TEST_F(DataFile, IndentedExclamationMarkMakesALineThatCannotBeRead) {
  EXPECT_THAT(read(" ! c\n65 0 5e4\n"), StopsAfter(reading_error(" ! c")));
}

TEST_F(DataFile, CarriageReturnsInFrontOfLineFeedsBelongToTheLineEnds) {
  EXPECT_THAT(read("65 0 5e4\r\n\r\n90 0 1\r\n1\r\n1 2 3\r\n"), Silent());
  EXPECT_THAT(survey.zobs.elements(), ElementsAre(3));
}

TEST_F(DataFile, FileThatIsNotThereStopsWithTheLabelData) {
  const std::string name = folder_.path("none.obs");
  EXPECT_THAT(outcome_of([&] { read_data_file(name + "  ", false); }),
              StopsAfter("\n ERROR: data file not found: " + name + "\n"));
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

TEST_F(DataFile, NumberOfDataBelowOneStopsWithTheFileName) {
  for (const std::string ndata : {"0", "-3"})
    EXPECT_THAT(read("65 0 5e4\n90 0 1\n" + ndata + "\n"),
                StopsAfter("\nERROR: Number of data should be positive.\n" + name_ + "\n"));
}

TEST_F(DataFile, NumberOfDataThatIsNoNumberIsAReadError) {
  EXPECT_THAT(read("65 0 5e4\n90 0 1\nmany\n"), StopsAfter(reading_error("many")));
  EXPECT_THAT(read("65 0 5e4\n90 0 1\n2147483648\n"), StopsAfter(reading_error("2147483648")));
}

TEST_F(DataFile, EndsAnywhereInsideGiveTheEndMessage) {
  for (const char* text : {"", "!\n\n", "65 0 5e4\n", "65 0 5e4\n90 0 1\n"})
    EXPECT_THAT(read(text), StopsAfter(end_error())) << text;
}

TEST_F(DataFile, FewerDataLinesThanNdataGiveTheEndMessageAndMoreAreIgnored) {
  EXPECT_THAT(read(std::string(header) + "1 2 3\n"), StopsAfter(end_error()));
  EXPECT_THAT(read(std::string(header) + "1 2 3\n4 5 6\nnot read\n"), Silent());
}

TEST_F(DataFile, DataLineWithTooFewValuesForItsFormIsAReadError) {
  store.ndata_mtx = 2;
  EXPECT_THAT(read(std::string(header) + "1 2\n"), StopsAfter(reading_error("1 2")));
  EXPECT_THAT(read_observations(std::string(header) + "1 2 3 4 \n"), StopsAfter(reading_error("1 2 3 4")));
  EXPECT_THAT(read("65 0 5e4\n90 0 0\n2\n1 2 3 60\n"), StopsAfter(reading_error("1 2 3 60")));
  EXPECT_THAT(read_observations("65 0 5e4\n90 0 0\n2\n1 2 3 60 10 5\n"),
              StopsAfter(reading_error("1 2 3 60 10 5")));
}

TEST_F(DataFile, NumberOfDataThatDiffersFromTheMatrixStopsOnlyWhereValuesAreRead) {
  store.ndata_mtx = 3;
  const std::string text = std::string(header) + "1 2 3 4 5\n1 2 3 4 5\n";
  EXPECT_THAT(read_observations(text),
              StopsAfter("\nERROR: Number of data is inconsistent in obs and mtx files.\n"));
  EXPECT_THAT(read(text), Silent());
}

TEST_F(DataFile, StandardDeviationNotAboveZeroStops) {
  store.ndata_mtx = 2;
  for (const std::string std : {"0", "-0.0", "-2", "-inf"})
    EXPECT_THAT(read_observations(header + ("1 2 3 4 " + std) + "\n"),
                StopsAfter("\nERROR: standard deviation should be greater than 0.\n1 2 3 4 " + std + "\n"));
}

TEST_F(DataFile, StandardDeviationThatIsNotANumberPassesTheTest) {
  store.ndata_mtx = 2;
  EXPECT_THAT(read_observations(std::string(header) + "1 2 3 4 nan\n1 2 3 4 1\n"), Silent());
  EXPECT_TRUE(std::isnan(survey.dobs(1)));
}

TEST_F(DataFile, SlashLeavesTheColumnsBehindItAsTheyWere) {
  EXPECT_THAT(read("65 /\n90 0 1\n2\n1 /\n,5\t6\n"), Silent());
  EXPECT_EQ(survey.geomag, 0);
  EXPECT_THAT(survey.xobs.elements(), ElementsAre(1, 0));
  EXPECT_THAT(survey.yobs.elements(), ElementsAre(0, 5));
  EXPECT_THAT(survey.zobs.elements(), ElementsAre(0, 6));
}

TEST_F(DataFile, SlashInFrontOfTheStandardDeviationLeavesZeroAndStops) {
  store.ndata_mtx = 2;
  EXPECT_THAT(read_observations(std::string(header) + "1 2 3 4 /\n"),
              StopsAfter("\nERROR: standard deviation should be greater than 0.\n1 2 3 4 /\n"));
}

TEST_F(DataFile, ValuesBehindColumnOneThousandAreNotSeen) {
  const std::string blanks(995, ' ');
  EXPECT_THAT(read("65 0 5e4\n90 0 1\n1\n1 2" + blanks + "  3\n"), StopsAfter(reading_error("1 2")));
  EXPECT_THAT(read("65 0 5e4\n90 0 1\n1\n1 2" + blanks + " 34\n"), Silent());
  EXPECT_THAT(survey.zobs.elements(), ElementsAre(3));
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

TEST_F(DataFile, LastLineNeedsNoLineEnd) {
  EXPECT_THAT(read("65 0 5e4\n90 0 1\n1\n1 2 3"), Silent());
}

TEST_F(DataFile, HugeCountInAShortFileFailsAtOnce) {
  const outcome o = read("65 0 5e4\n90 0 1\n2147483647\n1 2 3\n");
  if (machine_memory() < i8{8} * 2147483647)
    EXPECT_THAT(o, StopsAfter("\nMemory allocation error in: read_data_file\n\n"));
  else
    EXPECT_THAT(o, StopsAfter(end_error()));
}

TEST_F(DataFile, ObservationsNeedNoMoreThanTheirColumnsAndTheirLines) {
  store.ndata_mtx = 2;
  EXPECT_THAT(read_observations("!\n65 0 5e4 x\n90 0 1 x\n!\n2 x\n1 2 3 4 5 x\n\n! c\n1 2 3 6 5\nnot read\n"),
              Silent());
  EXPECT_THAT(survey.dobs.elements(), ElementsAre(0.8, 1.2));
  EXPECT_THAT(read_observations(std::string(header) + "1 2 3 4 5\n"), StopsAfter(end_error()));
}

TEST_F(DataFile, MismatchWithTheMatrixIsFoundBeforeADataLineIsRead) {
  store.ndata_mtx = 1;
  const outcome o = read_observations(header);
  EXPECT_THAT(o, StopsAfter("\nERROR: Number of data is inconsistent in obs and mtx files.\n"));
  EXPECT_THAT(survey.dobs.elements(), IsEmpty());
}

TEST_F(DataFile, IdirAndNumberOfDataAreCheckedBeforeTheMatrix) {
  store.ndata_mtx = 3;
  EXPECT_THAT(read_observations("65 0 5e4\n90 0 2\n1\n"),
              StopsAfter("\nERROR: idir in data file should be 0 or 1.\n90 0 2\n"));
  EXPECT_THAT(read_observations("65 0 5e4\n90 0 1\n0\n"),
              StopsAfter("\nERROR: Number of data should be positive.\n" + name_ + "\n"));
}

TEST_F(DataFile, StandardDeviationIsCheckedLineByLine) {
  store.ndata_mtx = 3;
  EXPECT_THAT(read_observations("65 0 5e4\n90 0 0\n3\n1 2 3 60 10 8 2\n1 2 3 60 10 8 0 !\nnot a number\n"),
              StopsAfter("\nERROR: standard deviation should be greater than 0.\n1 2 3 60 10 8 0 !\n"));
  EXPECT_EQ(survey.dobs(1), 4);
}

TEST_F(DataFile, NullValueInPlaceOfTheDatumLeavesZero) {
  store.ndata_mtx = 2;
  EXPECT_THAT(read_observations(std::string(header) + "1 2 3,,4\n1 2 3 2*8\n"), Silent());
  EXPECT_THAT(survey.dobs.elements(), ElementsAre(0, 1));
  EXPECT_THAT(survey.derr.elements(), ElementsAre(4, 8));
}

TEST_F(DataFile, DatumOrStandardDeviationWithoutEndIsKept) {
  store.ndata_mtx = 2;
  EXPECT_THAT(read_observations(std::string(header) + "1 2 3 4 inf\n1 2 3 -inf 2\n"), Silent());
  EXPECT_THAT(survey.dobs.elements(), ElementsAre(0, -std::numeric_limits<r8>::infinity()));
}

TEST_F(DataFile, ReadThatTheSystemRefusesEndsInTheRunTimesReport) {
  const outcome o = outcome_of([] { read_data_file(test::unreadable_file, false); });
  EXPECT_EQ(o.end.kind, stop_or_done::failed);
  EXPECT_EQ(o.console, "");
}

}  // namespace
}  // namespace velko
