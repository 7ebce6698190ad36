#include "files/model_file.h"

#include <numeric>
#include <vector>

#include "files/active_cells.h"
#include "tests/files/reader_fixture.h"

namespace velko {
namespace {

using test::Logs;
using test::outcome;
using test::outcome_of;
using test::StopsAfter;
using test::StopsWithText;
using testing::Each;
using testing::ElementsAre;

/// A mesh of ny 1, nx 2, nz 2; a test may give it a surface and an active-cell file.
class ModelFile : public test::mesh_text_reader {
 protected:
  void SetUp() override {
    text_reader::SetUp();
    set_mesh(1, 2, 2);
    resolve();
  }
  void resolve(const std::string& active_file = "null") {
    outcome_of([&] { get_active_cells(active_file, mesh.itop); });
    model_.assign(static_cast<std::size_t>(cells.ncell), -77);
  }
  outcome read_name(const std::string& name) {
    return outcome_of([&] { read_model(name, "model  ", model_, weights_, mesh.itop); });
  }
  outcome read(std::string_view text) { return read_name(file(text) + "   "); }

  std::string read_from_file() const { return "              model was read from file: " + name_ + "\n"; }
  std::string end_error() const { return "\nERROR: end reached reading model file " + name_ + "\n"; }
  std::string reading_error() const { return "\nERROR reading model file " + name_ + "\n"; }
  std::string too_many() const { return "\nERROR: too many values in model file " + name_ + "\n"; }

  std::vector<r8> model_, wtz_;
  std::optional<std::span<const r8>> weights_;
};

TEST_F(ModelFile, OneValuePerLineInModelOrder) {
  EXPECT_THAT(read("1\n2.5\n3\n4e-1\n"), Logs(read_from_file()));
  EXPECT_THAT(model_, ElementsAre(1, 2.5, 3, 0.4));
}

TEST_F(ModelFile, ValuesOfInactiveCellsAreReadAndThrownAway) {
  mesh.itop(1, 2) = 1;
  resolve(file("1 0 1 1"));
  EXPECT_THAT(read("1\n2\n3\n4\n"), Logs(read_from_file()));
  EXPECT_THAT(model_, ElementsAre(1, 4));
}

TEST_F(ModelFile, ValuesAboveTheSurfaceHaveToBeNumbers) {
  mesh.itop(1, 2) = 1;
  resolve();
  EXPECT_THAT(read("1\n2\nair\n4\n"), StopsAfter(reading_error()));
}

TEST_F(ModelFile, RestOfALineIsSkipped) {
  EXPECT_THAT(read("1 9\n2 words\n2*3\n4,5\n"), Logs(read_from_file()));
  EXPECT_THAT(model_, ElementsAre(1, 2, 3, 4));
}

TEST_F(ModelFile, BlankLinesArePassedOver) {
  EXPECT_THAT(read("\n1\n\n \n2\r\n3\n\n4"), Logs(read_from_file()));
  EXPECT_THAT(model_, ElementsAre(1, 2, 3, 4));
}

TEST_F(ModelFile, NullValueOrSlashRepeatsTheLastValueAndIsZeroBeforeTheFirst) {
  EXPECT_THAT(read(",\n7\n/\n1*\n"), Logs(read_from_file()));
  EXPECT_THAT(model_, ElementsAre(0, 7, 7, 7));
}

TEST_F(ModelFile, ExclamationMarkIsABadValue) {
  EXPECT_THAT(read("! comment\n1\n2\n3\n4\n"), StopsAfter(reading_error()));
}

TEST_F(ModelFile, OneLineTooFewGivesTheEndMessage) {
  EXPECT_THAT(read("1\n2\n3\n"), StopsAfter(end_error()));
  EXPECT_THAT(read(""), StopsAfter(end_error()));
}

TEST_F(ModelFile, ManyValuesOnALineGiveTheEndMessage) {
  EXPECT_THAT(read("1 2 3 4\n"), StopsAfter(end_error()));
}

TEST_F(ModelFile, WordInPlaceOfAValueGivesTheReadMessage) {
  EXPECT_THAT(read("1\ntwo\n3\n4\n"), StopsAfter(reading_error()));
  EXPECT_THAT(read("1\n1e400\n3\n4\n"), StopsAfter(reading_error()));
}

TEST_F(ModelFile, OneLineTooManyStopsWhereItBeginsWithANumber) {
  EXPECT_THAT(read("1\n2\n3\n4\n5\n"), StopsAfter(too_many()));
  EXPECT_THAT(read("1\n2\n3\n4\nfive\n"), Logs(read_from_file()));
  EXPECT_THAT(read("1\n2\n3\n4\n\n \n"), Logs(read_from_file()));
}

TEST_F(ModelFile, SlashOrNullValueCountsAsOneValueTooMany) {
  for (const char* last : {"/\n", ",\n", "3*\n", "/"})
    EXPECT_THAT(read(std::string("1\n2\n3\n4\n") + last), StopsAfter(too_many())) << last;
}

TEST_F(ModelFile, ReadThatTheSystemRefusesIsABadValue) {
  name_ = test::unreadable_file;
  EXPECT_THAT(read_name(name_), StopsAfter(reading_error()));
}

TEST_F(ModelFile, FileThatIsNotThereStopsWithTheLabel) {
  EXPECT_THAT(read_name("no/model.sus "), StopsAfter("\n ERROR: model file not found: no/model.sus\n"));
}

TEST_F(ModelFile, ConstantFillsTheModel) {
  EXPECT_THAT(read_name("VALUE 0.01"), Logs("             model was set to:  1.0000E-02\n"));
  EXPECT_THAT(model_, Each(0.01));
}

TEST_F(ModelFile, ConstantMayStandFurtherRightWithAnythingBehindIt) {
  EXPECT_THAT(read_name("VALUE 0,01"), Logs("             model was set to:  0.0000E+00\n"));
  EXPECT_THAT(read_name("VALUE 1 /"), Logs("             model was set to:  1.0000E+00\n"));
  EXPECT_THAT(read_name("VALUE   -2d3 words   "), Logs("             model was set to: -2.0000E+03\n"));
  EXPECT_THAT(model_, Each(-2000));
}

TEST_F(ModelFile, LabelThatIsTooLongKeepsItsLeftPart) {
  EXPECT_THAT(outcome_of([&] { read_model("VALUE 1", "a label of many words", model_, {}, mesh.itop); }),
              Logs("a label of many words was set t 1.0000E+00\n"));
  EXPECT_THAT(outcome_of([&, n = file("1\n2\n3\n4\n")] {
                read_model(n, "a label of many words", model_, {}, mesh.itop);
              }),
              Logs("a label of many words was read from file" + name_ + "\n"));
}

TEST_F(ModelFile, ConstantWithoutANumberStops) {
  for (const std::string name : {"VALUE", "VALUE ", "VALUE      "})
    EXPECT_THAT(read_name(name), StopsAfter("\nERROR reading constant value for model\nVALUE\n")) << name;
  for (const std::string name : {"VALUE /", "VALUE   ,", "VALUE 1*", "VALUE , 5", "VALUE / 5"})
    EXPECT_THAT(read_name(name), StopsAfter("\nERROR reading constant value for model\n" + name + "\n"));
  EXPECT_THAT(read_name("VALUE x"), StopsAfter("\nERROR reading constant value for model\nVALUE x\n"));
}

TEST_F(ModelFile, OnlyTheWordInCapitalsWithABlankBehindItIsSpecial) {
  for (const std::string name : {"value 0.01", "VALUE=1", "VALUES", " VALUE 1", "VALU", "null"})
    EXPECT_THAT(read_name(name), StopsAfter("\n ERROR: model file not found: " + name + "\n"));
}

TEST_F(ModelFile, ModelOfAnotherSizeStopsBeforeTheFileIsOpened) {
  model_.resize(3);
  EXPECT_THAT(read_name("no/model.sus"), StopsWithText("size(model) /= ncell"));
}

TEST_F(ModelFile, WeightsBelongToTheCellsBelowTheSurfaceAlsoToInactiveOnes) {
  mesh.itop(1, 1) = 1;
  resolve(file("1 1 0 1"));
  wtz_ = {10, 100, 1000};
  weights_ = wtz_;
  EXPECT_THAT(read("1\n2\n3\n4\n"), Logs(read_from_file()));
  EXPECT_THAT(model_, ElementsAre(2 * 10, 4 * 1000));
}

TEST_F(ModelFile, ConstantIsWeightedToo) {
  wtz_ = {1, 2, 3, 4};
  weights_ = wtz_;
  read_name("VALUE 0.5");
  EXPECT_THAT(model_, ElementsAre(0.5, 1, 1.5, 2));
}

TEST_F(ModelFile, WeightsOfAnotherSizeStopAfterTheWalk) {
  for (const std::size_t n : std::initializer_list<std::size_t>{0, 1, 3, 5}) {
    wtz_.assign(n, 1);
    weights_ = wtz_;
    EXPECT_THAT(read_name("VALUE 1"), StopsWithText("idx1 /= size(wtz)")) << n;
  }
}

TEST_F(ModelFile, ReportsOfTheFileComeBeforeTheSizeOfTheWeights) {
  weights_ = wtz_;
  EXPECT_THAT(read("1\n"), StopsAfter(end_error()));
}

TEST_F(ModelFile, WeightedModelNeedsASurfaceInsideTheMesh) {
  weights_ = wtz_;
  mesh.itop(1, 1) = 1000;
  EXPECT_THAT(outcome_of([&] { read_model("VALUE 1", "model", model_, weights_, mesh.itop); }),
              StopsWithText("itop outside 0..nz"));
}

TEST_F(ModelFile, MeshWithoutCellsNeedsNoValuesAndNoWeights) {
  set_mesh(0, 2, 2);
  resolve();
  weights_ = wtz_;
  EXPECT_THAT(read(""), Logs(read_from_file()));
  wtz_ = {1};
  weights_ = wtz_;
  EXPECT_THAT(read(""), StopsWithText("idx1 /= size(wtz)"));
}

TEST_F(ModelFile, NumberIsReadWholeWhereverThePiecesOfTheFileMeet) {
  constexpr std::size_t piece = std::size_t{256} << 10;
  const std::string number = "-12.5e+1\n";
  for (std::size_t in_front = 0; in_front <= number.size(); ++in_front) {
    const std::string filler = "1" + std::string(piece - in_front - 2, ' ') + "\n";
    EXPECT_THAT(read(filler + number + "3\n4\n"), Logs(read_from_file())) << in_front;
    EXPECT_THAT(model_, ElementsAre(1, -125, 3, 4)) << in_front;
  }
}

TEST_F(ModelFile, LargeModelKeepsModelOrder) {
  set_mesh(20, 30, 40);
  for (i4 i = 1; i <= 20; ++i) mesh.itop(i, 7) = i;
  resolve();
  std::string text;
  for (int n = 1; n <= 24000; ++n) text += std::to_string(n) + ".5\r\n";
  EXPECT_THAT(read(text), Logs(read_from_file()));
  std::size_t next = 0;
  i4 cell = 0;
  for (i4 i = 1; i <= 20; ++i)
    for (i4 j = 1; j <= 30; ++j)
      for (i4 k = 1; k <= 40; ++k)
        if (++cell; k > mesh.itop(i, j)) {
          ASSERT_EQ(model_.at(next++), cell + 0.5);
        }
  EXPECT_EQ(next, model_.size());
}

}  // namespace
}  // namespace velko
