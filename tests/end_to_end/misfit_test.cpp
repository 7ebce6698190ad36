/// Files whose contents do not fit together: each run ends with a clear text, none in a signal.
#include <limits>

#include "tests/end_to_end/survey.h"

namespace velko::test {
namespace {

constexpr i4 most = std::numeric_limits<i4>::max();
constexpr i4 least = std::numeric_limits<i4>::min();

using Misfit = ForwardRun;

TEST_F(Misfit, IndexOutsideTheCubeStopsAndNothingIsWritten) {
  for (const i4 idx : {0, -1, 5, most, least}) {
    write(sensitivity_file(1, 2, 2).haar().row({{1, 1.0F}}).row({{idx, 1.0F}}).row({{4, 1.0F}}));
    expect_failure("", "idx outside the cube\n");
  }
}

TEST_F(Misfit, RowLongerThanTheCubeStops) {
  write(sensitivity_file(1, 2, 2).haar().row({{1, 1}, {1, 1}, {1, 1}, {1, 1}, {1, 1}}).row({}).row({}));
  expect_failure("", "nnz > ncube\n");
}

TEST_F(Misfit, SurfaceOutsideTheColumnStops) {
  for (const i4 above : {-1, 3, most, least}) {
    write(small_compressed().itop({0, above}).ncol(4));
    expect_failure("", "itop outside 0..nz\n");
  }
}

TEST_F(Misfit, CubeSmallerThanTheMeshStops) {
  write(sensitivity_file(1, 2, 2).haar().cube(1, 1, 4).row({}).row({}).row({}));
  expect_failure("", "the cube is smaller than the mesh\n");
  write(sensitivity_file(1, 2, 2).haar().cube(-1, -2, 2).row({}).row({}).row({}));
  expect_failure("", "the cube is smaller than the mesh\n");
}

TEST_F(Misfit, CubeWhoseProductWrapsStops) {
  write(small_compressed().cube(1 << 16, 1 << 16, 2));
  expect_failure("", "ncube beyond 32 bits\n");
}

TEST_F(Misfit, CubeOfNoPowerOfTwoIsComputedInsideTheArrays) {
  write(
      sensitivity_file(1, 2, 2).haar().cube(7, 6, 9).row({{1, 1.0F}}).row({{378, 1.0F}}).row({{100, 1.0F}}));
  const program_run run = velkrund();
  EXPECT_EQ(run.out, banner);
  EXPECT_EQ(run.err, "");
  EXPECT_TRUE(folder_.holds("velkrund.vlk"));
}

TEST_F(Misfit, NoDataRowsMeetALocationFileWithOne) {
  write(sensitivity_file(1, 2, 2).haar());
  expect_failure("\nERROR: Number of data is inconsistent in obs and mtx files.\n");
}

TEST_F(Misfit, MeshWithoutCellsHasNoActiveOnes) {
  for (const i4 ny : {0, -3}) {
    write(sensitivity_file(ny, 2, 2).haar().cube(1, 2, 2).itop({}).ncol(0).row({}).row({}).row({}));
    expect_failure("\nERROR: all cells are inactive.\n");
  }
}

TEST_F(Misfit, SurfaceAtTheBottomLeavesNoActiveCells) {
  write(sensitivity_file(1, 2, 2).haar().itop({2, 2}).row({}).row({}).row({}));
  expect_failure("\nERROR: all cells are inactive.\n");
}

TEST_F(Misfit, TinyFileWithHugeCountsFailsAtOnce) {
  const auto header = [](i4 ndata, i4 ncol, i4 ny, i4 nx, i4 nz) {
    return framed(bytes_of(std::vector<i4>{ndata, ncol, ny, nx, nz}));
  };
  for (const std::string& bytes :
       {header(most, most, 100, 100, 100), header(1, 1, most / 16, 1, 1), std::string("x"), std::string(),
        std::string(100, '\xff'), std::string(100, '\0')}) {
    folder_.write("velkosta.mtx", bytes);
    expect_failure("\nERROR reading sensitivity file velkosta.mtx\n");
  }
}

TEST_F(Misfit, LocationFileWithAHugeCountFailsAtOnce) {
  folder_.write("loc", "0 0 0\n0 0 1\n200000000\n1 2 3\n");
  expect_failure("\nERROR: end reached when reading data file loc\n");
}

}  // namespace
}  // namespace velko::test
