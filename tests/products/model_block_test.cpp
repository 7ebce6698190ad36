// Products of a block of models: each has the bits that it has alone, whatever stands beside it.
#include "products/model_block.h"

#include <gmock/gmock.h>

#include "arrays/floating_point_mode.h"
#include "arrays/instruction_set.h"
#include "tests/products/random_problem.h"
#include "tests/support/little_memory.h"
#include "wavelet/transform_memory.h"

namespace velko::test {
namespace {

using block = owned_array2<r8>;

block block_of(const std::vector<values>& columns, std::size_t length) {
  block all(length, columns.size());
  for (std::size_t l = 0; l < columns.size(); ++l)
    std::copy(columns[l].begin(), columns[l].end(), all.data() + l * length);
  return all;
}

block untouched_block(std::size_t length, std::size_t models) {
  return block_of(std::vector<values>(models, values(length, untouched)), length);
}

values column(const block& all, std::size_t l) {
  const r8* first = all.data() + static_cast<std::size_t>(all.extent(1)) * l;
  return {first, first + all.extent(1)};
}

class ModelBlock : public products_test, public testing::WithParamInterface<form> {
 public:
  static std::vector<values> random_columns(std::size_t models, std::size_t length) {
    std::vector<values> columns;
    for (std::size_t l = 0; l < models; ++l)
      columns.push_back(random_values(length, static_cast<unsigned>(l + 50)));
    return columns;
  }
};

TEST_P(ModelBlock, EachModelHasTheBitsThatItHasAlone) {
  for (unsigned seed = 0; seed < 20; ++seed) {
    reset_state();
    const random_problem p(GetParam(), seed);
    for (const std::size_t models : {0u, 1u, 2u, 3u, 4u, 5u, 7u, 8u, 11u}) {
      omp_set_num_threads(static_cast<int>(1 + (seed + models) % 5));
      SCOPED_TRACE(testing::Message() << "seed " << seed << ", " << models << " models");
      const std::vector<values> m = random_columns(models, p.model_size()),
                                d = random_columns(models, p.rows());
      block Gtd = untouched_block(p.model_size(), models), GtGm = untouched_block(p.model_size(), models);
      GTPROD_BLOCK(Gtd, block_of(d, p.rows()));
      GTGPROD_BLOCK(block_of(m, p.model_size()), GtGm);
      for (std::size_t l = 0; l < models; ++l) {
        EXPECT_TRUE(same_bits(column(Gtd, l), p.adjoint(d[l])));
        EXPECT_TRUE(same_bits(column(GtGm, l), p.normal(m[l])));
      }
      if (GetParam() == form::dense_active) continue;  // GPROD reads no active model there
      block Gm = untouched_block(p.rows(), models);
      GPROD_BLOCK(block_of(m, p.model_size()), Gm);
      for (std::size_t l = 0; l < models; ++l) EXPECT_TRUE(same_bits(column(Gm, l), p.forward(m[l])));
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Forms, ModelBlock,
                         testing::Values(form::compressed, form::dense_active, form::dense_compact),
                         [](const auto& of) { return std::string(name_of(of.param)); });

class BlockLengths : public products_test {};

TEST_F(BlockLengths, FullMeshModelsAreRead) {
  set_uneven_problem();
  set_random_sparse_rows(9);
  const auto ntotal = static_cast<std::size_t>(cells.ntotal);
  std::vector<values> m;
  for (unsigned l = 0; l < 3; ++l) m.push_back(random_values(ntotal, l + 1));
  for (const bool compressed : {true, false}) {
    if (!compressed)
      set_dense_rows(cells.nbelow, random_dense_rows(9, static_cast<std::size_t>(cells.nbelow)));
    block d = untouched_block(9, 3);
    GPROD_BLOCK(block_of(m, ntotal), d);
    for (std::size_t l = 0; l < 3; ++l) {
      values alone(9);
      GPROD(m[l], alone);
      EXPECT_TRUE(same_bits(column(d, l), alone));
    }
  }
}

TEST_F(BlockLengths, FullMeshModelsOfTheNormalProductGiveActiveOnes) {
  set_uneven_problem();
  set_random_sparse_rows(9);
  const auto ntotal = static_cast<std::size_t>(cells.ntotal), ncell = static_cast<std::size_t>(cells.ncell);
  std::vector<values> x;
  for (unsigned l = 0; l < 3; ++l) x.push_back(random_values(ntotal, l + 1));
  block y = untouched_block(ncell, 3);
  GTGPROD_BLOCK(block_of(x, ntotal), y);
  for (std::size_t l = 0; l < 3; ++l) {
    values alone(ncell, untouched);
    GTGPROD(x[l], alone);
    EXPECT_TRUE(same_bits(column(y, l), alone));
  }
}

TEST_F(BlockLengths, NoDataLeaveDataUnwrittenAndGiveModelsOfZeros) {
  set_uneven_problem();
  set_random_sparse_rows(9);
  survey.ndata = 0;
  const auto n = static_cast<std::size_t>(cells.ncell);
  const block m = block_of({values(n, 1.0), values(n, 2.0)}, n);
  block d = untouched_block(9, 2), Gtd = untouched_block(n, 2), GtGm = untouched_block(n, 2);
  GPROD_BLOCK(m, d);
  GTPROD_BLOCK(Gtd, d);
  GTGPROD_BLOCK(m, GtGm);
  EXPECT_THAT(d.elements(), testing::Each(untouched));
  EXPECT_THAT(Gtd.elements(), testing::Each(0.0));
  EXPECT_THAT(GtGm.elements(), testing::Each(0.0));
}

TEST_F(BlockLengths, ElementsBehindTheActiveCellsAndTheDataAreNotTouched) {
  set_uneven_problem();
  set_random_sparse_rows(9);
  const auto n = static_cast<std::size_t>(cells.ncell);
  block m = untouched_block(n + 2, 2), d = untouched_block(11, 2);
  GTPROD_BLOCK(m, block_of({values(9, 1.0), values(9, 2.0)}, 9));
  GPROD_BLOCK(block_of({values(n, 1.0), values(n, 2.0)}, n), d);
  for (std::size_t l = 0; l < 2; ++l) {
    EXPECT_THAT(values({column(m, l)[n], column(m, l)[n + 1]}), testing::Each(untouched));
    EXPECT_THAT(values({column(d, l)[9], column(d, l)[10]}), testing::Each(untouched));
  }
}

TEST_F(BlockLengths, BlockOfOtherCountsOrLengthsStops) {
  set_uneven_problem();
  set_random_sparse_rows(9);
  const i4 n = cells.ncell;
  const auto forward = [](i8 length, i8 models, i8 data, i8 blocks) {
    return stop_of([=] {
      const block m(length, models);
      block d(data, blocks);
      GPROD_BLOCK(m, d);
    });
  };
  const auto adjoint = [](i8 length, i8 models, i8 data, i8 blocks) {
    return stop_of([=] {
      block m(length, models);
      const block d(data, blocks);
      GTPROD_BLOCK(m, d);
    });
  };
  const auto normal = [](i8 length, i8 models, i8 out, i8 blocks) {
    return stop_of([=] {
      const block x(length, models);
      block y(out, blocks);
      GTGPROD_BLOCK(x, y);
    });
  };
  EXPECT_EQ(forward(n, 2, 9, 3), "size(m) /= size(d)");
  EXPECT_EQ(adjoint(n, 2, 9, 3), "size(m) /= size(d)");
  EXPECT_EQ(normal(n, 2, n, 3), "size(x) /= size(y)");
  EXPECT_EQ(forward(n, 2, 8, 2), "size(data) < ndata");
  EXPECT_EQ(adjoint(n, 2, 8, 2), "size(data) < ndata");
  EXPECT_EQ(forward(n + 1, 2, 9, 2), "size(x) /= # of cells");
  EXPECT_EQ(adjoint(n - 1, 2, 9, 2), "size(m) < ncell");
  EXPECT_EQ(normal(n + 1, 2, n, 2), "size(x) /= # of cells");
  EXPECT_EQ(normal(n, 2, n - 1, 2), "size(m) < ncell");
  set_dense_rows(cells.nbelow, random_dense_rows(9, static_cast<std::size_t>(cells.nbelow)));
  EXPECT_EQ(forward(1, 2, 9, 2), "problem in gprod");
  EXPECT_EQ(adjoint(1, 2, 9, 2), "size(m2) /= ncell");
  EXPECT_EQ(normal(1, 2, n, 2), "size(m2) /= ncell");
  EXPECT_EQ(normal(n, 2, 1, 2), "size(m2) /= ncell");
}

TEST_F(BlockLengths, IdxOutsideTheCubeStops) {
  set_uneven_problem();
  set_sparse_rows({{{1, 1.0f}, {store.ncube + 1, 1.0f}}});
  const i4 n = cells.ncell;
  block m(n, 3), y(n, 3), d(1, 3);
  EXPECT_EQ(stop_of([&] { GPROD_BLOCK(m, d); }), "idx outside the cube");
  EXPECT_EQ(stop_of([&] { GTPROD_BLOCK(m, d); }), "idx outside the cube");
  EXPECT_EQ(stop_of([&] { GTGPROD_BLOCK(m, y); }), "idx outside the cube");
}

#if !defined(VELKO_SANITIZED)
// Not under the sanitizers: their own memory is bound by the same limit.
constexpr i8 MiB = i8{1} << 20;

/// One active cell in a cube of 16 MiB.
void set_large() {
  products_test::set_mesh(1, 1, 1);
  products_test::set_cells();
  products_test::set_cube(128, 128, 128);
  products_test::set_haar();
  products_test::set_sparse_rows({{{1, 1.0f}}, {{1, 2.0f}}});
}

TEST_F(BlockLengths, PassesGoNarrowerWhereMemoryIsRefused) {
  set_large();
  const block x = block_of({{1}, {2}, {3}, {4}, {5}}, 1);
  block alone(1, 5);
  GTGPROD_BLOCK(x, alone);  // and so the threads and the work arrays of the transform are there
  for (const i8 room : {280, 150, 80, 42}) {  // for 16, 8, 4 and 2 cubes
    block y(1, 5);
    stop_or_done end;
    {
      const little_memory limit(room * MiB);
      end = run_until_stop([&] { GTGPROD_BLOCK(x, y); });
    }
    EXPECT_EQ(end, stop_or_done{}) << room;
    EXPECT_THAT(y.elements(), testing::ElementsAreArray(alone.elements())) << room;
  }
}

TEST_F(BlockLengths, MemoryRefusedToAThreadOfTheTransformNarrowsThePass) {
  omp_set_num_threads(2);
  set_mesh(1, 1, 1);
  set_cells();
  set_cube(4, 4, 1 << 17);  // 16 MiB, and 16 MiB of work for its long lines
  set_haar();
  set_sparse_rows({{{1, 1.0f}}, {{1, 2.0f}}});
  const block x = block_of({{1}, {2}}, 1);
  std::vector<values> alone;
  for (const r8 value : {1.0, 2.0}) {
    alone.emplace_back(2);
    GPROD(values{value}, alone.back());  // and so this thread has its work arrays
  }
  block d(2, 2);
  stop_or_done end;
  {
    const little_memory limit(40 * MiB);
    end = run_until_stop([&] { GPROD_BLOCK(x, d); });
  }
  EXPECT_EQ(end, stop_or_done{});
  for (std::size_t l = 0; l < 2; ++l) EXPECT_TRUE(same_bits(column(d, l), alone[l]));
}

TEST_F(BlockLengths, KeptMemoryServesTheNextCall) {
  set_large();
  const block x = block_of({{1}, {2}, {3}, {4}}, 1);
  block alone(1, 4), y(1, 4);
  block_work work;
  GTGPROD_BLOCK(x, alone, work);
  const r8* kept = work.cubesout.data();
  EXPECT_EQ(work.cubesout.size(), i8{4} * store.ncube);
  stop_or_done end;
  {
    const little_memory limit(8 * MiB);
    end = run_until_stop([&] { GTGPROD_BLOCK(x, y, work); });
  }
  EXPECT_EQ(end, stop_or_done{});
  EXPECT_EQ(work.cubesout.data(), kept);
  EXPECT_THAT(y.elements(), testing::ElementsAreArray(alone.elements()));
}

TEST_F(BlockLengths, BlockThatHasNoRoomForOneModelEndsInTheReportOfTheProduct) {
  set_large();
  const block x = block_of({{1}, {2}}, 1);
  block y(1, 2);
  const capture on_console(console());
  stop_or_done end;
  {
    const little_memory limit(8 * MiB);
    end = run_until_stop([&] { GTGPROD_BLOCK(x, y); });
  }
  EXPECT_EQ(on_console.text, "\nMemory allocation error in: gtgprod\n\n");
  EXPECT_EQ(end, (stop_or_done{stop_or_done::stopped, ""}));
}
#endif

/// Products of blocks whose results are denormal numbers: data, a model, and a model of the normal product.
class DenormalResults : public products_test, public testing::WithParamInterface<form> {
 public:
  static constexpr std::size_t rows = 40, models = 5;
  static void set_small_rows() {
    set_uneven_problem();
    if (GetParam() == form::compressed)
      set_sparse_rows(std::vector<std::vector<entry>>(rows, {{1, 1e-10f}}));
    else
      set_dense_rows(cells.nbelow, std::vector<std::vector<r4>>(rows, std::vector<r4>(below(), 1e-10f)));
  }
  static std::size_t below() { return static_cast<std::size_t>(cells.nbelow); }
  static std::size_t length() {
    return GetParam() == form::compressed ? static_cast<std::size_t>(cells.ncell) : below();
  }
  static std::vector<values> results() {
    const block m = block_of(std::vector<values>(models, values(length(), 1e-300)), length());
    const block d = block_of(std::vector<values>(models, values(rows, 1e-300)), rows);
    block Gm(rows, models), Gtd(length(), models), GtGm(length(), models);
    GPROD_BLOCK(m, Gm);
    GTPROD_BLOCK(Gtd, d);
    GTGPROD_BLOCK(m, GtGm);
    std::vector<values> all;
    for (const block* result : {&Gm, &Gtd, &GtGm}) all.emplace_back(result->begin(), result->end());
    return all;
  }
};

TEST_P(DenormalResults, CountAsZeroInAllThreadsWhereTheCallerFlushesThem) {
  set_small_rows();
  for (const int threads : {1, 3}) {
    omp_set_num_threads(threads);
    for (const values& result : results()) EXPECT_THAT(result, testing::Contains(testing::Ne(0.0)));
    const flush_to_zero_scope mode;
    for (const values& result : results()) EXPECT_THAT(result, testing::Each(0.0));
  }
}

INSTANTIATE_TEST_SUITE_P(Forms, DenormalResults, testing::Values(form::compressed, form::dense_compact),
                         [](const auto& of) { return std::string(name_of(of.param)); });

TEST_F(BlockLengths, MemoryOfABlockIsTold) {
  set_uneven_problem();
  set_random_sparse_rows(9);
  omp_set_num_threads(3);
  const i8 cube = i8{8} * store.ncube;
  const auto transform = [](i8 width) {
    return bytes_of_transform({store.ncube_z, store.ncube_x, store.ncube_y}, width);
  };
  EXPECT_EQ(work_bytes(0).normal_product, 0);
  EXPECT_EQ(work_bytes(1).single_products, cube + transform(1));
  EXPECT_EQ(work_bytes(1).normal_product, 2 * cube + transform(1));
  EXPECT_EQ(work_bytes(2).single_products, 2 * cube + 2 * 9 * 8 + 3 * transform(2));
  EXPECT_EQ(work_bytes(3).normal_product, 8 * cube + 3 * transform(4));
}

TEST_F(BlockLengths, PassTakesFourModelsWhereThePlanesOfEightOutgrowTheCaches) {
  set_uneven_problem();
  set_random_sparse_rows(9);
  const auto cubes_of_eight_models = [] { return work_bytes(8).normal_product / (i8{8} * store.ncube); };
  EXPECT_GE(cubes_of_eight_models(), best_instruction_set() == instruction_set::avx512 ? 16 : 8);
  set_cube(16, 512, 1024);
  EXPECT_EQ(cubes_of_eight_models(), 8);
}

TEST_F(BlockLengths, KeptMemoryOfALargerBlockServesSmallerOnes) {
  set_uneven_problem();
  set_random_sparse_rows(9);
  const auto n = static_cast<std::size_t>(cells.ncell);
  std::vector<values> m;
  for (unsigned l = 0; l < 4; ++l) m.push_back(random_values(n, l + 1));
  block_work work;
  for (const std::size_t models : {4u, 2u, 3u, 1u, 2u}) {
    const block x = block_of({m.begin(), m.begin() + static_cast<std::ptrdiff_t>(models)}, n);
    block y = untouched_block(n, models);
    GTGPROD_BLOCK(x, y, work);
    for (std::size_t l = 0; l < models; ++l) {
      values alone(n, untouched);
      GTGPROD(m[l], alone);
      EXPECT_TRUE(same_bits(column(y, l), alone)) << models;
    }
    EXPECT_EQ(work.cubes.size() > 0, models > 1);
  }
}

}  // namespace
}  // namespace velko::test
