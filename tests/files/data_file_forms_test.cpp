/// What holds for the data file in both its forms: with the header of three lines and idir 1, and with the short one.
#include <cmath>
#include <limits>

#include "tests/files/data_file_fixture.h"

namespace velko {
namespace {

using test::outcome;
using test::outcome_of;
using test::Silent;
using test::StopsAfter;
using testing::ElementsAre;
using testing::IsEmpty;

struct form {
  const char* name;
  const char* field;  // what stands in front of the number of data
  void (&reader)(std::string_view, bool);
};

void PrintTo(const form& f, std::ostream* out) {
  *out << f.name;
}

class DataFileForm : public test::data_file_reader, public testing::WithParamInterface<form> {
 protected:
  outcome read(const std::string& text, bool read_values = false) {
    return read_with(GetParam().reader, GetParam().field + text, read_values);
  }
  outcome read_observations(const std::string& text) { return read(text, true); }
};

INSTANTIATE_TEST_SUITE_P(, DataFileForm,
                         testing::Values(form{"long", "65 -12.5 54321\n90 0 1\n", read_data_file},
                                         form{"short", "", read_data_file_short}),
                         [](const auto& f) { return f.param.name; });

TEST_P(DataFileForm, PositionsAlone) {
  EXPECT_THAT(read("2\n1 2 3\n4 5 6\n"), Silent());
  EXPECT_EQ(survey.ndata, 2);
  EXPECT_THAT(survey.xobs.elements(), ElementsAre(1, 4));
  EXPECT_THAT(survey.yobs.elements(), ElementsAre(2, 5));
  EXPECT_THAT(survey.zobs.elements(), ElementsAre(3, 6));
  for (const owned_array1<r8>* x : {&survey.aincl_obs, &survey.adecl_obs, &survey.dobs, &survey.derr})
    EXPECT_EQ(x->data(), nullptr);
}

TEST_P(DataFileForm, ObservationsAreDividedByTheirStandardDeviations) {
  store.ndata_mtx = 2;
  EXPECT_THAT(read_observations("2\n1 2 3 10 4\n4 5 6 -3 0.5\n"), Silent());
  EXPECT_THAT(survey.zobs.elements(), ElementsAre(3, 6));
  EXPECT_THAT(survey.dobs.elements(), ElementsAre(2.5, -6));
  EXPECT_THAT(survey.derr.elements(), ElementsAre(4, 0.5));
}

TEST_P(DataFileForm, ColumnsBehindTheNeededOnesAreIgnored) {
  store.ndata_mtx = 1;
  EXPECT_THAT(read("1 more\n1 2 3 not a number\n"), Silent());
  EXPECT_THAT(read_observations("1 more\n1 2 3 4 5 not a number\n"), Silent());
  EXPECT_THAT(survey.derr.elements(), ElementsAre(5));
}

TEST_P(DataFileForm, CommentsAndBlankLinesReadAsIfTheyWereNotThere) {
  EXPECT_THAT(read("! c\n2\n!c\n1 2 3\n   \n! c\n4 5 6\n!"), Silent());
  EXPECT_THAT(survey.xobs.elements(), ElementsAre(1, 4));
}

TEST_P(DataFileForm, CarriageReturnsInFrontOfLineFeedsBelongToTheLineEnds) {
  EXPECT_THAT(read("\r\n1\r\n1 2 3\r\n"), Silent());
  EXPECT_THAT(survey.zobs.elements(), ElementsAre(3));
}

TEST_P(DataFileForm, LastLineNeedsNoLineEnd) {
  EXPECT_THAT(read("1\n1 2 3"), Silent());
}

TEST_P(DataFileForm, FileThatIsNotThereStopsWithTheLabelData) {
  EXPECT_THAT(outcome_of([] { GetParam().reader("no/data.obs  ", false); }),
              StopsAfter("\n ERROR: data file not found: no/data.obs\n"));
}

TEST_P(DataFileForm, FewerDataLinesThanNdataGiveTheEndMessage) {
  store.ndata_mtx = 2;
  EXPECT_THAT(read("2\n1 2 3\n"), StopsAfter(end_error()));
  EXPECT_THAT(read_observations("2\n1 2 3 4 5\n"), StopsAfter(end_error()));
}

TEST_P(DataFileForm, DataLinesBehindTheLastAreNotRead) {
  EXPECT_THAT(read("2\n1 2 3\n4 5 6\nnot read\n"), Silent());
}

TEST_P(DataFileForm, NumberOfDataThatIsNoNumberIsAReadError) {
  for (const std::string ndata : {"many", "2.0", "2147483648"})
    EXPECT_THAT(read(ndata + "\n"), StopsAfter(reading_error(ndata)));
}

TEST_P(DataFileForm, NumberOfDataBelowOneStopsWithTheFileName) {
  for (const std::string ndata : {"0", "-3"})
    EXPECT_THAT(read(ndata + "\nnot read\n"),
                StopsAfter("\nERROR: Number of data should be positive.\n" + name_ + "\n"));
}

TEST_P(DataFileForm, NumberOfDataThatDiffersFromTheMatrixStopsOnlyWhereValuesAreRead) {
  store.ndata_mtx = 2;
  EXPECT_THAT(read_observations("1\nnot read\n"),
              StopsAfter("\nERROR: Number of data is inconsistent in obs and mtx files.\n"));
  EXPECT_THAT(survey.dobs.elements(), IsEmpty());
  EXPECT_THAT(read("1\n1 2 3 4 5\n"), Silent());
}

TEST_P(DataFileForm, DataLineWithTooFewValuesIsAReadError) {
  store.ndata_mtx = 1;
  EXPECT_THAT(read("1\n1 2\n"), StopsAfter(reading_error("1 2")));
  EXPECT_THAT(read_observations("1\n1 2 3 4 \n"), StopsAfter(reading_error("1 2 3 4")));
}

TEST_P(DataFileForm, StandardDeviationNotAboveZeroStopsAtItsLine) {
  store.ndata_mtx = 2;
  for (const std::string std : {"0", "-0.0", "-2", "-inf"}) {
    EXPECT_THAT(read_observations("2\n1 2 3 8 2\n1 2 3 4 " + std + " \n"),
                StopsAfter("\nERROR: standard deviation should be greater than 0.\n1 2 3 4 " + std + "\n"));
    EXPECT_EQ(survey.dobs(1), 4);
  }
}

TEST_P(DataFileForm, StandardDeviationThatIsNotANumberPassesTheTest) {
  store.ndata_mtx = 1;
  EXPECT_THAT(read_observations("1\n1 2 3 4 nan\n"), Silent());
  EXPECT_TRUE(std::isnan(survey.dobs(1)));
}

TEST_P(DataFileForm, DatumOrStandardDeviationWithoutEndIsKept) {
  store.ndata_mtx = 2;
  EXPECT_THAT(read_observations("2\n1 2 3 4 inf\n1 2 3 -inf 2\n"), Silent());
  EXPECT_THAT(survey.dobs.elements(), ElementsAre(0, -std::numeric_limits<r8>::infinity()));
}

TEST_P(DataFileForm, SlashLeavesTheColumnsBehindItAsTheyWere) {
  EXPECT_THAT(read("2\n1 /\n,5\t6\n"), Silent());
  EXPECT_THAT(survey.xobs.elements(), ElementsAre(1, 0));
  EXPECT_THAT(survey.yobs.elements(), ElementsAre(0, 5));
  EXPECT_THAT(survey.zobs.elements(), ElementsAre(0, 6));
}

TEST_P(DataFileForm, SlashInFrontOfTheStandardDeviationLeavesZeroAndStops) {
  store.ndata_mtx = 1;
  EXPECT_THAT(read_observations("1\n1 2 3 4 /\n"),
              StopsAfter("\nERROR: standard deviation should be greater than 0.\n1 2 3 4 /\n"));
}

TEST_P(DataFileForm, NullAndRepeatedValues) {
  store.ndata_mtx = 2;
  EXPECT_THAT(read_observations("2\n1 2 3,,4\n1 2 3 2*8\n"), Silent());
  EXPECT_THAT(survey.dobs.elements(), ElementsAre(0, 1));
  EXPECT_THAT(survey.derr.elements(), ElementsAre(4, 8));
}

TEST_P(DataFileForm, NullValueLeavesZeroThoughADigitStandsInIt) {
  EXPECT_THAT(read("3\n1 2*\n1,2* 3\n7* 8\n"), Silent());
  EXPECT_THAT(survey.xobs.elements(), ElementsAre(1, 1, 0));
  EXPECT_THAT(survey.yobs.elements(), ElementsAre(0, 0, 0));
  EXPECT_THAT(survey.zobs.elements(), ElementsAre(0, 0, 0));
}

TEST_P(DataFileForm, PlainNumbersReadLikeAnyOthers) {
  EXPECT_THAT(read("4\n1 2 3\n  1.0   2d0\t3e0 x\n1 2 3/\n1,2,3 !\n"), Silent());
  EXPECT_THAT(survey.xobs.elements(), ElementsAre(1, 1, 1, 1));
  EXPECT_THAT(survey.yobs.elements(), ElementsAre(2, 2, 2, 2));
  EXPECT_THAT(survey.zobs.elements(), ElementsAre(3, 3, 3, 3));
}

TEST_P(DataFileForm, ValuesBehindColumnOneThousandAreNotSeen) {
  const std::string blanks(995, ' ');
  EXPECT_THAT(read("1\n1 2" + blanks + "  3\n"), StopsAfter(reading_error("1 2")));
  EXPECT_THAT(read("1\n1 2" + blanks + " 34\n"), Silent());
  EXPECT_THAT(survey.zobs.elements(), ElementsAre(3));
}

TEST_P(DataFileForm, HugeCountInAShortFileFailsAtOnce) {
  const outcome o = read("2147483647\n1 2 3\n");
  if (memory_limit() < 3 * i8{8} * 2147483647)  // three columns of positions
    EXPECT_THAT(o, StopsAfter("\nMemory allocation error in: read_data_file\n\n"));
  else
    EXPECT_THAT(o, StopsAfter(end_error()));
}

TEST_P(DataFileForm, LineWithoutAnEndEndsInTheRunTimesReport) {
  const outcome o = outcome_of([] { GetParam().reader("/dev/zero", false); });
  EXPECT_EQ(o.end.kind, stop_or_done::failed);
  EXPECT_THAT(o.end.text, testing::HasSubstr("Message too long"));
  const std::string long_comment(std::size_t{15} << 20, '!');
  EXPECT_THAT(read(long_comment + "\n1\n1 2 3\n"), Silent());
  EXPECT_EQ(read(std::string(std::size_t{17} << 20, ' ') + "\n1\n1 2 3\n").end.kind, stop_or_done::failed);
}

TEST_P(DataFileForm, ReadThatTheSystemRefusesEndsInTheRunTimesReport) {
  const outcome o = outcome_of([] { GetParam().reader(test::unreadable_file, false); });
  EXPECT_EQ(o.end.kind, stop_or_done::failed);
  EXPECT_THAT(o.end.text, testing::HasSubstr("cannot read"));
  EXPECT_EQ(o.console, "");
}

}  // namespace
}  // namespace velko
