/// The data file with a header of one line.
#include <cmath>

#include "files/data_file.h"
#include "tests/files/reader_fixture.h"

namespace velko {
namespace {

using test::outcome;
using test::outcome_of;
using test::Silent;
using test::StopsAfter;
using testing::ElementsAre;
using testing::IsEmpty;

class ShortDataFile : public test::text_reader {
 protected:
  outcome read(std::string_view text, bool read_values = false) {
    return outcome_of([&, name = file(text)] { read_data_file_short(name + "  ", read_values); });
  }
  outcome read_observations(std::string_view text) { return read(text, true); }

  std::string reading_error(std::string_view line) const {
    return "\nERROR reading data file " + name_ + "\n" + std::string(line) + "\n";
  }
  std::string end_error() const { return "\nERROR: end reached when reading data file " + name_ + "\n"; }
};

TEST_F(ShortDataFile, HeaderIsTheNumberOfDataAlone) {
  EXPECT_THAT(read("2\n1 2 3\n4 5 6\n"), Silent());
  EXPECT_EQ(survey.ndata, 2);
  EXPECT_THAT(survey.xobs.elements(), ElementsAre(1, 4));
  EXPECT_THAT(survey.yobs.elements(), ElementsAre(2, 5));
  EXPECT_THAT(survey.zobs.elements(), ElementsAre(3, 6));
  for (const owned_array1<r8>* x : {&survey.aincl_obs, &survey.adecl_obs, &survey.dobs, &survey.derr})
    EXPECT_THAT(x->elements(), IsEmpty());
}

TEST_F(ShortDataFile, ObservationsAreDividedByTheirStandardDeviations) {
  store.ndata_mtx = 2;
  EXPECT_THAT(read_observations("2\n1 2 3 10 4\n4 5 6 -3 0.5\n"), Silent());
  EXPECT_THAT(survey.dobs.elements(), ElementsAre(2.5, -6));
  EXPECT_THAT(survey.derr.elements(), ElementsAre(4, 0.5));
}

TEST_F(ShortDataFile, FieldAndIdirAreNotTouched) {
  survey.incl = 65;
  survey.decl = -12.5;
  survey.geomag = 54321;
  survey.aincl = 90;
  survey.adecl = 45;
  survey.idir = 7;
  EXPECT_THAT(read("1\n1 2 3\n"), Silent());
  EXPECT_EQ(survey.incl, 65);
  EXPECT_EQ(survey.decl, -12.5);
  EXPECT_EQ(survey.geomag, 54321);
  EXPECT_EQ(survey.aincl, 90);
  EXPECT_EQ(survey.adecl, 45);
  EXPECT_EQ(survey.idir, 7);
}

TEST_F(ShortDataFile, DataLinesHoldNoDirectionsWhateverIdirIs) {
  store.ndata_mtx = 1;
  for (const i4 idir : {0, 1}) {
    survey.idir = idir;
    EXPECT_THAT(read_observations("1\n1 2 3 8 2 60 10\n"), Silent());
    EXPECT_THAT(survey.dobs.elements(), ElementsAre(4));
    EXPECT_THAT(survey.aincl_obs.elements(), IsEmpty());
    EXPECT_THAT(survey.adecl_obs.elements(), IsEmpty());
  }
}

TEST_F(ShortDataFile, CommentsAndColumnsBehindTheNeededOnesAreIgnored) {
  EXPECT_THAT(read("!\n\n1 datum\n! c\n1 2 3 not a number\nnot read"), Silent());
  EXPECT_THAT(survey.zobs.elements(), ElementsAre(3));
}

TEST_F(ShortDataFile, SlashLeavesTheColumnsBehindItAsTheyWere) {
  EXPECT_THAT(read("1\n1 /\n"), Silent());
  EXPECT_THAT(survey.yobs.elements(), ElementsAre(0));
}

TEST_F(ShortDataFile, FileThatIsNotThereStopsWithTheLabelData) {
  EXPECT_THAT(outcome_of([] { read_data_file_short("no/short.obs", false); }),
              StopsAfter("\n ERROR: data file not found: no/short.obs\n"));
}

TEST_F(ShortDataFile, EndsAnywhereInsideGiveTheEndMessage) {
  for (const char* text : {"", "!\n", "1\n", "2\n1 2 3\n"})
    EXPECT_THAT(read(text), StopsAfter(end_error())) << text;
}

TEST_F(ShortDataFile, LineThatCannotBeReadIsShown) {
  store.ndata_mtx = 1;
  EXPECT_THAT(read("1.0\n"), StopsAfter(reading_error("1.0")));
  EXPECT_THAT(read("1\n1 2\n"), StopsAfter(reading_error("1 2")));
  EXPECT_THAT(read_observations("1\n1 2 3 4\n"), StopsAfter(reading_error("1 2 3 4")));
}

TEST_F(ShortDataFile, NumberOfDataBelowOneStopsWithTheFileName) {
  for (const char* text : {"0\n1 2 3\n", "-1\n"})
    EXPECT_THAT(read(text), StopsAfter("\nERROR: Number of data should be positive.\n" + name_ + "\n"));
}

TEST_F(ShortDataFile, NumberOfDataThatDiffersFromTheMatrixStopsOnlyWhereValuesAreRead) {
  store.ndata_mtx = 2;
  EXPECT_THAT(read_observations("1\n1 2 3 4 5\n"),
              StopsAfter("\nERROR: Number of data is inconsistent in obs and mtx files.\n"));
  EXPECT_THAT(read("1\n1 2 3 4 5\n"), Silent());
}

TEST_F(ShortDataFile, StandardDeviationNotAboveZeroStopsAndOneThatIsNotANumberPasses) {
  store.ndata_mtx = 1;
  for (const std::string std : {"0", "-2"})
    EXPECT_THAT(read_observations("1\n1 2 3 4 " + std + "\n"),
                StopsAfter("\nERROR: standard deviation should be greater than 0.\n1 2 3 4 " + std + "\n"));
  EXPECT_THAT(read_observations("1\n1 2 3 4 nan\n"), Silent());
  EXPECT_TRUE(std::isnan(survey.dobs(1)));
}

}  // namespace
}  // namespace velko
