/// What the data file with the short header has of its own.
#include "tests/files/data_file_fixture.h"

namespace velko {
namespace {

using test::Silent;
using test::StopsAfter;
using testing::ElementsAre;

class ShortDataFile : public test::data_file_reader {
 protected:
  test::outcome read(std::string_view text, bool read_values = false) {
    return read_with(read_data_file_short, text, read_values);
  }
};

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
    EXPECT_THAT(read("1\n1 2 3 8 2 60 10\n", true), Silent());
    EXPECT_THAT(survey.dobs.elements(), ElementsAre(4));
    EXPECT_EQ(survey.aincl_obs.data(), nullptr);
    EXPECT_EQ(survey.adecl_obs.data(), nullptr);
  }
}

TEST_F(ShortDataFile, EndsInFrontOfTheNumberOfDataGiveTheEndMessage) {
  for (const char* text : {"", "!\n\n"}) EXPECT_THAT(read(text), StopsAfter(end_error())) << text;
}

TEST_F(ShortDataFile, FileWithTheLongHeaderIsRefused) {
  EXPECT_THAT(read("65.5 0 5e4\n90 0 1\n1\n1 2 3\n"), StopsAfter(reading_error("65.5 0 5e4")));
}

}  // namespace
}  // namespace velko
