// Sums by slabs: the bits of one thread, for every number of threads and however the rows are ordered.
#include "products/slabs.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <numeric>

#include "products/full_rows.h"
#include "products/sparse_rows.h"
#include "tests/products/problem.h"

namespace velko::test {
namespace {

using row = std::vector<entry>;
using matrix = std::vector<row>;

// Beyond the processors a team costs a barrier of that many turns; EveryNumberOfThreadsGivesTheSameBits goes up to 64.
const std::vector<int> some_numbers_of_threads{1, 2, 3, 5, 8, 17};

/// Element l of the vector of so many interleaved ones.
values lane(const values& interleaved, i8 models, i8 l) {
  values one;
  for (auto k = static_cast<std::size_t>(l); k < interleaved.size(); k += static_cast<std::size_t>(models))
    one.push_back(interleaved[k]);
  return one;
}

class Slabs : public products_test {
 public:
  static constexpr i4 ncube = 1000;

  /// Rows of random entries by ascending idx, some short and some empty; more of them at low idx, as coefficients are.
  static matrix ascending(std::size_t rows, unsigned seed = 3) {
    std::mt19937 generator(seed);
    matrix all(rows);
    for (std::size_t i = 0; i < rows; ++i)
      for (i4 at = 1; at <= ncube; ++at)
        if (i % 7 != 3 && generator() % static_cast<unsigned>(2 + at / static_cast<i4>(1 + i % 40)) == 0)
          all[i].push_back({at, static_cast<r4>(generator()) / 4e9f - 0.5f});
    return all;
  }
  static matrix shuffled(matrix rows) {
    std::mt19937 generator(5);
    for (row& r : rows) std::shuffle(r.begin(), r.end(), generator);
    return rows;
  }
  static matrix reversed(matrix rows) {
    for (row& r : rows) std::reverse(r.begin(), r.end());
    return rows;
  }
  /// Every third entry stands at the position of the one before.
  static matrix with_repeats(matrix rows) {
    for (row& r : rows)
      for (std::size_t k = 2; k < r.size(); k += 3) r[k].idx = r[k - 1].idx;
    return rows;
  }
  /// One entry of the last row that has two stands behind its neighbour.
  static matrix with_two_swapped(matrix rows) {
    for (auto r = rows.rbegin(); r != rows.rend(); ++r)
      if (r->size() > 1) {
        std::swap(r->front(), r->back());
        break;
      }
    return rows;
  }

  static std::vector<std::pair<std::string, matrix>> matrices() {
    const matrix rows = ascending(60);
    return {{"ascending", rows},
            {"shuffled", shuffled(rows)},
            {"reversed", reversed(rows)},
            {"ascending with repeats", with_repeats(rows)},
            {"shuffled with repeats", shuffled(with_repeats(rows))},
            {"two swapped", with_two_swapped(rows)},
            {"one row", {rows[20]}},
            {"one entry", {{{ncube, 0.1f}}}},
            {"empty rows", matrix(5)},
            {"fewer rows than threads", {rows[1], {}, rows[30]}}};
  }

  /// Row after row and entry after entry: too simple to be wrong.
  static values sum_in_the_order_of_the_rows(const matrix& rows, const values& s, values y) {
    for (std::size_t i = 0; i < rows.size(); ++i)
      for (const entry& e : rows[i]) y[static_cast<std::size_t>(e.idx - 1)] += static_cast<r8>(e.val) * s[i];
    return y;
  }
  static values dots(const values& v, std::size_t rows) {
    values d(rows, untouched);
    CALC_GV(v, d);
    return d;
  }
};

TEST_F(Slabs, AdjointLoopHasTheBitsOfASumInTheOrderOfTheRows) {
  for (const auto& [name, rows] : matrices()) {
    set_sparse_rows(rows);
    const values d = random_values(rows.size());
    const values right = sum_in_the_order_of_the_rows(rows, d, values(ncube, 0.0));
    for (const int threads : some_numbers_of_threads) {
      omp_set_num_threads(threads);
      values y(ncube, untouched);
      CALC_GTV(d, y);
      EXPECT_TRUE(same_bits(y, right)) << name << ", " << threads << " threads";
    }
  }
}

TEST_F(Slabs, NormalLoopHasTheBitsOfTheForwardAndThenTheAdjointLoop) {
  for (const auto& [name, rows] : matrices()) {
    set_sparse_rows(rows);
    const values v = random_values(ncube);
    const values right = sum_in_the_order_of_the_rows(rows, dots(v, rows.size()), values(ncube, 0.0));
    for (const int threads : some_numbers_of_threads) {
      omp_set_num_threads(threads);
      values y(ncube, untouched);
      CALC_GTGV_1LOOP(v, y);
      EXPECT_TRUE(same_bits(y, right)) << name << ", " << threads << " threads";
    }
  }
}

TEST_F(Slabs, EveryNumberOfThreadsGivesTheSameBits) {
  const matrix rows = ascending(30);
  set_sparse_rows(rows);
  const values d = random_values(rows.size()), v = random_values(ncube);
  const values adjoint = sum_in_the_order_of_the_rows(rows, d, values(ncube, 0.0));
  const values normal = sum_in_the_order_of_the_rows(rows, dots(v, rows.size()), values(ncube, 0.0));
  for (int threads = 1; threads <= 64; ++threads) {
    omp_set_num_threads(threads);
    values y(ncube, untouched);
    CALC_GTV(d, y);
    EXPECT_TRUE(same_bits(y, adjoint)) << threads;
    CALC_GTGV_1LOOP(v, y);
    EXPECT_TRUE(same_bits(y, normal)) << threads;
  }
}

TEST_F(Slabs, ManyBlocksOfRowsHaveTheBitsOfOne) {
  // A block holds at most 1024 rows.
  matrix rows;
  for (std::size_t i = 0; i < 5000; ++i)
    rows.push_back({{1 + static_cast<i4>(i * 37 % 100), 0.3f}, {101 + static_cast<i4>(i % 900), 0.7f}});
  set_sparse_rows(rows);
  const values v = random_values(ncube);
  const values right = sum_in_the_order_of_the_rows(rows, dots(v, rows.size()), values(ncube, 0.0));
  for (const int threads : {1, 2, 3, 8, 16}) {
    omp_set_num_threads(threads);
    values y(ncube, untouched);
    CALC_GTGV_1LOOP(v, y);
    EXPECT_TRUE(same_bits(y, right)) << threads;
  }
}

TEST_F(Slabs, EachOfSeveralModelsHasTheBitsThatItHasAlone) {
  for (const auto& [name, rows] : matrices()) {
    set_sparse_rows(rows);
    for (const i8 models : numbers_of_models) {
      const auto width = static_cast<std::size_t>(models);
      const values v = random_values(ncube * width), d = random_values(rows.size() * width);
      for (const int threads : {1, 5}) {
        omp_set_num_threads(threads);
        values data(rows.size() * width), adjoint(ncube * width), normal(ncube * width);
        CALC_GV(v, data, models);
        CALC_GTV(d, adjoint, models);
        CALC_GTGV_1LOOP(v, normal, models);
        for (i8 l = 0; l < models; ++l) {
          SCOPED_TRACE(testing::Message()
                       << name << ", model " << l << " of " << models << ", " << threads << " threads");
          const values data_alone = dots(lane(v, models, l), rows.size());
          EXPECT_TRUE(same_bits(lane(data, models, l), data_alone));
          EXPECT_TRUE(same_bits(lane(adjoint, models, l),
                                sum_in_the_order_of_the_rows(rows, lane(d, models, l), values(ncube, 0.0))));
          EXPECT_TRUE(same_bits(lane(normal, models, l),
                                sum_in_the_order_of_the_rows(rows, data_alone, values(ncube, 0.0))));
        }
      }
    }
  }
}

TEST_F(Slabs, TeamThatComesOutSmallerThanAskedForSumsAllTheSame) {
  const matrix rows = ascending(60);
  set_sparse_rows(rows);
  const values d = random_values(rows.size());
  omp_set_num_threads(8);
  values y(ncube, untouched);
#pragma omp parallel num_threads(2)
#pragma omp single
  CALC_GTV(d, y);  // inside a team the run-time gives one thread
  EXPECT_TRUE(same_bits(y, sum_in_the_order_of_the_rows(rows, d, values(ncube, 0.0))));
}

TEST_F(Slabs, PositionOutsideTheCubeStopsWhereverItStands) {
  const matrix rows = ascending(20);
  values y(ncube);
  const values v = random_values(ncube), d = random_values(rows.size());
  for (const int threads : {1, 2, 8}) {
    omp_set_num_threads(threads);
    for (const i4 idx : {0, -1, ncube + 1, -2147483647 - 1, 2147483647})
      for (const std::size_t i : {0u, 11u, 19u})
        for (const std::size_t k : {std::size_t{0}, rows[i].size() / 2, rows[i].size() - 1}) {
          matrix spoiled = rows;
          spoiled[i][k].idx = idx;
          set_sparse_rows(spoiled);
          EXPECT_EQ(stop_of([&] { CALC_GTV(d, y); }), "idx outside the cube");
          EXPECT_EQ(stop_of([&] { CALC_GTGV_1LOOP(v, y); }), "idx outside the cube");
        }
  }
}

TEST_F(Slabs, CutsCoverTheSlabInTheirOrder) {
  set_sparse_rows(ascending(60));
  values y(2 * ncube);
  for (const i8 first : {1, 301})
    for (i8 parts = 1; parts <= 70; ++parts) {
      const slab whole{y.data(), first, 600};
      i8 at = first;
      for (const slab& part : cut_into_slabs(whole, parts, {1, 60}, 2)) {
        EXPECT_EQ(part.first, at);
        EXPECT_EQ(part.elements, y.data() + 2 * (at - first));
        EXPECT_GE(part.size, 0);
        at += part.size;
      }
      EXPECT_EQ(at, first + 600);
    }
}

TEST_F(Slabs, CutsShareOutTheEntriesAndNotTheElements) {
  matrix rows(50);
  for (i4 at = 1; at <= 64; ++at)
    for (row& r : rows) r.push_back({at, 1.0f});
  set_sparse_rows(rows);
  values y(ncube);
  const std::vector<slab> parts = cut_into_slabs({y.data(), 1, ncube}, 2, {1, 50}, 1);
  EXPECT_EQ(parts[0].size, 32);
  EXPECT_EQ(parts[1].size, ncube - 32);
}

class Pieces : public Slabs {};

TEST_F(Pieces, RowsInPartsAndSlabsInAnyOrderGiveTheBitsOfTheWhole) {
  for (const auto& [name, rows] : matrices()) {
    set_sparse_rows(rows);
    const auto n = static_cast<i8>(rows.size());
    const values d = random_values(rows.size()),
                 right = sum_in_the_order_of_the_rows(rows, d, values(ncube, 0.0));
    const row_order order = order_of_rows({1, n}, ncube);
    for (const int threads : {1, 2, 3}) {
      omp_set_num_threads(threads);
      values y(ncube, 0.0);
      for (const auto& [first, size] : {std::pair{601, 400}, {1, 1}, {2, 599}})
        for (i8 start = 1; start <= n; start += 7)
          add_rows({start, std::min(start + 6, n)}, order, d, {y.data() + first - 1, first, size}, ncube);
      EXPECT_TRUE(same_bits(y, right)) << name << ", " << threads << " threads";
    }
  }
}

TEST_F(Pieces, SumGoesOnFromWhatTheCubeHolds) {
  const matrix rows = ascending(20);
  set_sparse_rows(rows);
  const values d = random_values(20), before = random_values(ncube, 8);
  for (const row_order order : {row_order::ascending, row_order::any}) {
    values y = before;
    add_rows({1, 20}, order, d, {y.data(), 1, ncube}, ncube);
    EXPECT_TRUE(same_bits(y, sum_in_the_order_of_the_rows(rows, d, before)));
  }
}

TEST_F(Pieces, NothingOutsideTheSlabIsTouched) {
  set_sparse_rows(ascending(20));
  for (const row_order order : {row_order::ascending, row_order::any}) {
    values y(102, untouched);
    add_rows({1, 20}, order, random_values(20), {y.data() + 1, 401, 100}, ncube);
    EXPECT_EQ(y.front(), untouched);
    EXPECT_EQ(y.back(), untouched);
  }
}

TEST_F(Pieces, NoRowsAndNoElementsAddNothing) {
  set_sparse_rows(ascending(20));
  values y(ncube, untouched);
  add_rows({5, 4}, row_order::ascending, random_values(20), {y.data(), 1, ncube}, ncube);
  add_rows({1, 20}, row_order::ascending, random_values(20), {y.data(), 1, 0}, ncube);
  EXPECT_EQ(y, values(ncube, untouched));
}

TEST_F(Pieces, DotsOfAPartOfTheRowsAreThoseOfAllAndLeaveTheOthersAlone) {
  set_sparse_rows(ascending(20));
  const values v = random_values(ncube), all = dots(v, 20);
  values right(20, untouched), d = right;
  std::copy(all.begin() + 4, all.begin() + 11, right.begin() + 4);
  dots_of_rows({5, 11}, v, d);
  EXPECT_TRUE(same_bits(d, right));
}

TEST_F(Pieces, OrderOfRowsIsTold) {
  const matrix rows = ascending(20);
  const auto order_of = [](const matrix& m, row_range range = {1, 20}) {
    set_sparse_rows(m);
    return order_of_rows(range, ncube);
  };
  EXPECT_EQ(order_of(rows), row_order::ascending);
  EXPECT_EQ(order_of(with_repeats(rows)), row_order::ascending);
  EXPECT_EQ(order_of(with_two_swapped(rows)), row_order::any);
  EXPECT_EQ(order_of(with_two_swapped(rows), {1, 10}), row_order::ascending);
  EXPECT_EQ(order_of(rows, {3, 2}), row_order::ascending);
}

TEST_F(Pieces, OrderOfRowsStopsForAPositionOutsideTheCube) {
  for (const i4 idx : {0, -1, ncube + 1}) {
    set_sparse_rows({{{1, 1.0f}}, {{idx, 1.0f}}});
    EXPECT_EQ(order_of_rows({1, 1}, ncube), row_order::ascending);
    EXPECT_EQ(stop_of([] { order_of_rows({1, 2}, ncube); }), "idx outside the cube");
  }
}

TEST_F(Pieces, RowsThatAreWronglyToldToAscendStop) {
  set_sparse_rows({{{1, 1.0f}, {900, 1.0f}, {2, 1.0f}}});
  values y(ncube);
  omp_set_num_threads(1);
  EXPECT_EQ(stop_of([&] {
              add_rows({1, 1}, row_order::ascending, values{1}, {y.data(), 1, 500}, ncube);
            }),
            "idx do not ascend");
}

TEST_F(Slabs, DenseLoopsHaveTheBitsOfASumInTheOrderOfTheRows) {
  for (const std::size_t ncol : {1u, 7u, 8u, 9u, 100u, 5000u})
    for (const std::size_t rows : {0u, 1u, 3u, 4u, 5u, 70u}) {
      const auto G = random_dense_rows(rows, ncol);
      set_dense_rows(static_cast<i4>(ncol), G);
      const values v = random_values(ncol), d = random_values(rows);
      values Gv(rows, untouched), adjoint(ncol, 0.0), normal(ncol, 0.0);
      CALC_FULL_GV(v, Gv);
      for (std::size_t i = 0; i < rows; ++i)
        for (std::size_t k = 0; k < ncol; ++k) {
          adjoint[k] += static_cast<r8>(G[i][k]) * d[i];
          normal[k] += static_cast<r8>(G[i][k]) * Gv[i];
        }
      for (const int threads : {1, 2, 3, 8, ncol == 5000 && rows == 70 ? 64 : 5}) {
        omp_set_num_threads(threads);
        values y(ncol, untouched);
        CALC_FULL_GTV(d, y);
        EXPECT_TRUE(same_bits(y, adjoint)) << rows << " x " << ncol << ", " << threads << " threads";
        CALC_FULL_GTGV(v, y);
        EXPECT_TRUE(same_bits(y, normal)) << rows << " x " << ncol << ", " << threads << " threads";
      }
    }
}

}  // namespace
}  // namespace velko::test
