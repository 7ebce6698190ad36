#include "files/predicted_data.h"

#include <sys/resource.h>

#include <csignal>
#include <filesystem>
#include <limits>
#include <sstream>
#include <vector>

#include "files/data_file.h"
#include "tests/files/reader_fixture.h"

namespace velko {
namespace {

using test::outcome_of;
using test::Silent;
using test::StopsAfter;
using testing::Each;
using testing::SizeIs;

owned_array1<r8> vector_of(std::initializer_list<r8> values) {
  owned_array1<r8> x(static_cast<i4>(values.size()));
  std::copy(values.begin(), values.end(), x.begin());
  return x;
}

std::vector<std::string> lines_of(const std::string& text) {
  std::istringstream in(text);
  std::vector<std::string> lines;
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

class PredictedData : public test::text_reader {
 protected:
  void SetUp() override {
    text_reader::SetUp();
    survey.incl = 65;
    survey.decl = -12.5;
    survey.geomag = 54321;
    survey.aincl = 90;
    survey.idir = 1;
    survey.ndata = 2;
    survey.xobs = vector_of({1250, -0.5});
    survey.yobs = vector_of({-300.5, 0});
    survey.zobs = vector_of({2, 1.23456789049});
  }
  void give_each_datum_a_direction() {
    survey.idir = 0;
    survey.aincl_obs = vector_of({65, 90});
    survey.adecl_obs = vector_of({-12.5, 0});
  }
  std::string written(const std::vector<r8>& d = {134.72, -3.41e-3}) {
    const std::string name = folder_.path("velkrund.vlk");
    EXPECT_THAT(outcome_of([&] { write_predicted_data(name + "   ", d); }), Silent());
    return folder_.read("velkrund.vlk");
  }
};

TEST_F(PredictedData, FileWithACommonDirection) {
  EXPECT_EQ(written(),
            "     65.00    -12.50  54321.00  !! incl, decl, geomag\n"
            "     90.00      0.00      1     !! aincl, adecl, idir\n"
            "      2                         !! # of data\n"
            "  1.250000000E+03 -3.005000000E+02  2.000000000E+00    1.347200E+02\n"
            " -5.000000000E-01  0.000000000E+00  1.234567890E+00   -3.410000E-03\n");
}

TEST_F(PredictedData, FileWithADirectionForEachDatum) {
  give_each_datum_a_direction();
  EXPECT_EQ(
      written(),
      "     65.00    -12.50  54321.00  !! incl, decl, geomag\n"
      "     90.00      0.00      0     !! aincl, adecl, idir\n"
      "      2                         !! # of data\n"
      "  1.250000000E+03 -3.005000000E+02  2.000000000E+00    6.5000E+01 -1.2500E+01    1.347200E+02\n"
      " -5.000000000E-01  0.000000000E+00  1.234567890E+00    9.0000E+01  0.0000E+00   -3.410000E-03\n");
}

TEST_F(PredictedData, LinesHave67CharactersOr93) {
  auto data_lines = [](const std::string& text) {
    auto lines = lines_of(text);
    lines.erase(lines.begin(), lines.begin() + 3);
    return lines;
  };
  give_each_datum_a_direction();
  for (const i4 idir : {-1, 0, 1, 2}) {
    survey.idir = idir;
    EXPECT_THAT(data_lines(written()), Each(SizeIs(idir < 1 ? 93 : 67))) << idir;
  }
}

TEST_F(PredictedData, WithoutDataTheFileHoldsTheHeaderAlone) {
  survey.ndata = 0;
  EXPECT_THAT(lines_of(written({})), SizeIs(3));
  survey.ndata = -1;
  EXPECT_EQ(lines_of(written({})).at(2), "     -1                         !! # of data");
}

TEST_F(PredictedData, ZeroAndSignsInTheLastField) {
  survey.ndata = 1;
  auto last_field = [&](r8 d) { return lines_of(written({d})).at(3).substr(53); };
  EXPECT_EQ(last_field(0), "  0.000000E+00");
  EXPECT_EQ(last_field(-0.0), "  0.000000E+00");
  EXPECT_EQ(last_field(-1.5), " -1.500000E+00");
  EXPECT_EQ(last_field(1.5), "  1.500000E+00");
  EXPECT_EQ(last_field(1.234567e100), "  1.234567+100");
  EXPECT_EQ(last_field(std::numeric_limits<r8>::infinity()), "      Infinity");
  EXPECT_EQ(last_field(-std::numeric_limits<r8>::infinity()), "     -Infinity");
  EXPECT_EQ(last_field(std::numeric_limits<r8>::quiet_NaN()), "           NaN");
}

TEST_F(PredictedData, ValueTooWideForItsFieldIsARowOfAsterisks) {
  survey.geomag = 1e7;
  EXPECT_EQ(lines_of(written()).at(0), "     65.00    -12.50**********  !! incl, decl, geomag");
  survey.geomag = 9999999.99;
  EXPECT_EQ(lines_of(written()).at(0), "     65.00    -12.509999999.99  !! incl, decl, geomag");
}

/// While it lives, files end in an error beyond so many bytes.
class file_size_limit {
 public:
  explicit file_size_limit(rlim_t bytes) : handler_(std::signal(SIGXFSZ, SIG_IGN)) {
    getrlimit(RLIMIT_FSIZE, &before_);
    const rlimit limit{bytes, before_.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
  }
  ~file_size_limit() {
    setrlimit(RLIMIT_FSIZE, &before_);
    std::signal(SIGXFSZ, handler_);
  }

 private:
  void (*handler_)(int);
  rlimit before_{};
};

void fill_with_zeros(i4 ndata) {
  survey.ndata = ndata;
  for (owned_array1<r8>* x : {&survey.xobs, &survey.yobs, &survey.zobs}) *x = owned_array1<r8>(ndata);
}

/// A file of two names is written in place, so that its first lines can be seen: the whole would be 670 MB.
TEST_F(PredictedData, NumberOfDataTooWideForItsFieldIsARowOfAsterisks) {
  fill_with_zeros(10000000);
  const owned_array1<r8> d(survey.ndata);
  const std::string name = folder_.write("velkrund.vlk", "");
  std::filesystem::create_hard_link(name, folder_.path("another name"));
  const file_size_limit limit(1000000);
  const test::outcome o = outcome_of([&] { write_predicted_data(name, d.elements()); });
  EXPECT_EQ(o.end.kind, stop_or_done::failed);
  EXPECT_THAT(o.end.text, testing::AllOf(testing::HasSubstr(name), testing::HasSubstr("File too large")));
  EXPECT_EQ(lines_of(folder_.read("velkrund.vlk")).at(2), "*******                         !! # of data");
}

TEST_F(PredictedData, FailedWriteLeavesTheEarlierFileAndNothingElse) {
  fill_with_zeros(100000);
  const owned_array1<r8> d(survey.ndata);
  const std::string name = folder_.write("velkrund.vlk", "earlier");
  const file_size_limit limit(1000000);
  const test::outcome o = outcome_of([&] { write_predicted_data(name, d.elements()); });
  EXPECT_EQ(o.end.kind, stop_or_done::failed);
  EXPECT_THAT(o.end.text, testing::AllOf(testing::HasSubstr(name), testing::HasSubstr("File too large")));
  EXPECT_EQ(folder_.read("velkrund.vlk"), "earlier");
  const std::filesystem::directory_iterator files(folder_.path());
  EXPECT_EQ(std::distance(begin(files), end(files)), 1);
}

TEST_F(PredictedData, FileThatIsThereIsReplacedWhole) {
  folder_.write("velkrund.vlk", std::string(10000, 'x'));
  const std::string text = written();
  EXPECT_THAT(text, testing::StartsWith("     65.00"));
  EXPECT_THAT(lines_of(text), SizeIs(5));
}

TEST_F(PredictedData, FileLargerThanTheBufferIsWrittenWhole) {
  constexpr i4 n = 20000;
  fill_with_zeros(n);
  std::vector<r8> d;
  for (i4 i = 0; i < n; ++i) d.push_back(i);
  const auto lines = lines_of(written(d));
  ASSERT_THAT(lines, SizeIs(3 + n));
  EXPECT_EQ(lines.back().substr(53), "  1.999900E+04");
}

TEST_F(PredictedData, DirectionsKeepFiveDigitsOnTheWayBack) {
  give_each_datum_a_direction();
  survey.aincl_obs(1) = 65.123456;
  written();
  reset_state();
  EXPECT_THAT(outcome_of([&] { read_data_file(folder_.path("velkrund.vlk"), false); }), Silent());
  EXPECT_EQ(survey.aincl_obs(1), 65.123);
}

TEST_F(PredictedData, HeaderWhoseFieldsAreFullCannotBeReadBack) {
  survey.decl = -123456.78;  // leaves no blank behind incl
  survey.geomag = 9999999.99;
  written();
  reset_state();
  EXPECT_EQ(outcome_of([&] {
              read_data_file(folder_.path("velkrund.vlk"), false);
            }).console.find("\nERROR reading data file "),
            0U);
}

TEST_F(PredictedData, AsterisksCannotBeReadBack) {
  survey.geomag = 10000000;
  written();
  reset_state();
  EXPECT_EQ(outcome_of([&] {
              read_data_file(folder_.path("velkrund.vlk"), false);
            }).console.find("\nERROR reading data file "),
            0U);
}

TEST_F(PredictedData, OutputIsALocationFileAgain) {
  give_each_datum_a_direction();
  written();
  reset_state();
  EXPECT_THAT(outcome_of([&] { read_data_file(folder_.path("velkrund.vlk"), false); }), Silent());
  EXPECT_EQ(survey.decl, -12.5);
  EXPECT_THAT(survey.xobs.elements(), testing::ElementsAre(1250, -0.5));
  EXPECT_THAT(survey.zobs.elements(), testing::ElementsAre(2, 1.23456789));
  EXPECT_THAT(survey.aincl_obs.elements(), testing::ElementsAre(65, 90));
}

TEST_F(PredictedData, OutputIsNoFileOfObservations) {
  const std::string line = lines_of(written()).at(3), name = folder_.path("velkrund.vlk");
  store.ndata_mtx = 2;
  EXPECT_THAT(outcome_of([&] { read_data_file(name, true); }),
              StopsAfter("\nERROR reading data file " + name + "\n" + line + "\n"));
}

TEST_F(PredictedData, FailedOpenNamesTheFileAndTheReason) {
  const std::string name = folder_.path("no_folder/velkrund.vlk");
  const test::outcome o = outcome_of([&] { write_predicted_data(name, std::vector<r8>{1, 2}); });
  EXPECT_EQ(o.end.kind, stop_or_done::failed);
  EXPECT_THAT(o.end.text,
              testing::AllOf(testing::HasSubstr(name), testing::HasSubstr("No such file or directory")));
  EXPECT_EQ(o.console + o.log, "");
}

TEST_F(PredictedData, FailedWriteNamesTheFileAndTheReason) {
  const test::outcome o = outcome_of([&] { write_predicted_data("/dev/full", std::vector<r8>{1, 2}); });
  EXPECT_EQ(o.end.kind, stop_or_done::failed);
  EXPECT_THAT(o.end.text,
              testing::AllOf(testing::HasSubstr("/dev/full"), testing::HasSubstr("No space left")));
}

}  // namespace
}  // namespace velko
