/// What velkmtx make says of what rows lose, beside what they do lose: rows of a dense file are the exact ones.
#include <gmock/gmock.h>

#include <cmath>
#include <string>
#include <vector>

#include "files/active_cells.h"
#include "products/products.h"
#include "store/getpar.h"
#include "store/state.h"
#include "tests/velkmtx/companion.h"
#include "wavelet/wtn_mod.h"

namespace velko {
namespace {

using testing::ContainsRegex;
using testing::HasSubstr;

using rows_t = std::vector<std::vector<r8>>;

/// Hills over a padded mesh of 14 x 11 x 13 cells, and stations 25 m above them.
class Accuracy : public test::companion {
 protected:
  Accuracy() {
    folder.write("mesh", "14 11 13\n-60 -60 70\n40 28 10*20 28 40\n36 9*20 36\n8*10 14 20 28 40 56\n");
    std::string points = "81\n", data = "62 -4 52000\n58 -10 1\n72\n";
    const auto ground = [](r8 x, r8 y) { return 40 + 25 * std::sin(x / 50) * std::cos(y / 60 + 1); };
    for (int i = 0; i < 9; ++i)
      for (int j = 0; j < 9; ++j) {
        const r8 x = -70 + 50 * j + i % 3, y = -70 + 45 * i + j % 4;
        points += fmt(x) + " " + fmt(y) + " " + fmt(ground(x, y)) + "\n";
      }
    for (int i = 0; i < 8; ++i)
      for (int j = 0; j < 9; ++j) {
        const r8 x = 24.0 * j, y = 22.0 * i;
        data += fmt(x) + " " + fmt(y) + " " + fmt(ground(x, y) + 25) + "\n";
      }
    folder.write("topo", points);
    folder.write("loc", data);
  }
  ~Accuracy() override { reset_state(); }

  static std::string fmt(r8 value) { return std::to_string(value); }

  void load(const std::string& name) const {
    reset_state();
    getpar(folder.path(name));
  }

  /// Rows of the file in the model's own units: what they stand for, times the weights.
  rows_t rows_of(const std::string& name) const {
    load(name);
    rows_t rows;
    for (i4 n = 1; n <= store.ndata_mtx; ++n)
      rows.push_back(store.compressed ? restored_row(n) : dense_row(n));
    for (std::vector<r8>& row : rows)
      for (std::size_t c = 0; c < row.size(); ++c) row[c] *= store.wtz.data()[c];
    return rows;
  }
  static std::vector<r8> dense_row(i4 n) {
    std::vector<r8> row;
    for (i4 c = 1; c <= store.ncol; ++c) row.push_back(store.Gfull(c, n));
    return row;
  }
  static std::vector<r8> restored_row(i4 n) {
    std::vector<r8> cube(static_cast<std::size_t>(store.ncube)), row;
    const sparse_row& kept = store.Gs(n);
    for (i8 k = 1; k <= kept.idx.size(); ++k) cube[static_cast<std::size_t>(kept.idx(k)) - 1] = kept.val(k);
    WTN(cube, {store.ncube_z, store.ncube_x, store.ncube_y}, -1);
    for (i4 i = 1; i <= mesh.ny; ++i)
      for (i4 j = 1; j <= mesh.nx; ++j)
        for (i4 k = mesh.itop(i, j) + 1; k <= mesh.nz; ++k)
          row.push_back(
              cube[static_cast<std::size_t>(k - 1 + store.ncube_z * (j - 1 + store.ncube_x * (i - 1)))]);
    return row;
  }

  static r8 one_norm(const std::vector<r8>& a, const std::vector<r8>& b) {
    r8 sum = 0;
    for (std::size_t c = 0; c < a.size(); ++c) sum += std::abs(a[c] - b[c]);
    return sum;
  }
  static r8 number_behind(const std::string& text, const std::string& words) {
    EXPECT_THAT(text, HasSubstr(words));
    return std::stod(text.substr(text.find(words) + words.size()));
  }
};

/// A dense row is rounded to 32 bits too: 1e-7 of its 1-norm.
TEST_F(Accuracy, IsKeptByEveryRowForTheWorstModelWithinTheLargestValue) {
  output_of("make mesh topo loc dense --dense");
  const rows_t exact = rows_of("dense");
  for (const std::string form :
       {"--accuracy 20 --largest 0.1", "--accuracy 1 --largest 0.05 --weights depth-volume",
        "--accuracy 2 --largest 0.5 --wavelet s8"}) {
    const std::string told = output_of("make mesh topo loc g.mtx " + form);
    const r8 accuracy = number_behind(form, "--accuracy "), largest = number_behind(form, "--largest ");
    const rows_t rows = rows_of("g.mtx");
    r8 worst = 0;
    for (std::size_t n = 0; n < rows.size(); ++n) {
      const r8 lost = one_norm(rows[n], exact[n]) * largest;
      EXPECT_LE(lost, accuracy + 1e-7 * largest * one_norm(exact[n], std::vector<r8>(exact[n].size())))
          << form;
      worst = std::max(worst, lost);
    }
    EXPECT_GT(worst, 0.3 * accuracy) << form;  // no more is kept than has to be
    EXPECT_NEAR(number_behind(told, "no datum is off by more than "), worst, 0.01 * worst) << form;
  }
}

TEST_F(Accuracy, FinerThanThirtyTwoBitsIsRefused) {
  expect_error("make mesh topo loc g.mtx --accuracy 1e-9", 1,
               "datum 1: no row of 32-bit floats is as accurate as is asked for\n");
}

TEST_F(Accuracy, WithoutOptionsLeavesTheDataOfTrialModelsWithinAHundredth) {
  output_of("make mesh topo loc dense --dense");
  const rows_t exact = rows_of("dense");
  const std::string told = output_of("make mesh topo loc g.mtx");
  const rows_t rows = rows_of("g.mtx");
  r8 data2 = 0, lost2 = 0;
  for (std::size_t n = 0; n < rows.size(); ++n) {
    r8 datum = 0, lost = 0;
    for (std::size_t c = 0; c < rows[n].size(); ++c) {
      datum += exact[n][c];
      lost += rows[n][c] - exact[n][c];
    }
    data2 += datum * datum;
    lost2 += lost * lost;
  }
  const r8 percent = 100 * std::sqrt(lost2 / data2);
  EXPECT_LT(percent, 1.0);
  const r8 said = number_behind(told, "uniform ground ");  // judged by a third of the rows
  EXPECT_LT(said, 2 * percent);
  EXPECT_GT(said, percent / 2);
}

TEST_F(Accuracy, VerificationFindsWhatWasTold) {
  for (const std::string form : {"", "--dense", "--tolerance 0.02"}) {
    const std::string told = output_of("make mesh topo loc g.mtx --verify 7 " + form);
    EXPECT_THAT(told,
                ContainsRegex("\n7 rows verified: relative error at most [0-9.e-]+, data off by at most "
                              "[0-9.e+-]+ nT for a value of 1, as told\n"))
        << form;
  }
  EXPECT_THAT(output_of("make mesh topo loc g.mtx --verify 1000"), HasSubstr("\n72 rows verified: "));
}

TEST_F(Accuracy, CompressedRowsLargerThanDenseOnesAreTold) {
  EXPECT_THAT(output_of("make mesh topo loc g.mtx --tolerance 1e-6"),
              ContainsRegex("\na row takes [0-9.]+ kB, a dense one [0-9.]+ kB: --dense would be smaller"));
  EXPECT_THAT(output_of("make mesh topo loc g.mtx --tolerance 0.1"),
              testing::Not(HasSubstr("--dense would be")));
}

TEST_F(Accuracy, WeightsAreByVolumeWhereAMeshIsPaddedAndNoneWhereItIsNotOrGIsDense) {
  const auto kind_of = [&](const std::string& arguments) {
    output_of("make " + arguments + " g.mtx --wavelet d4 --tolerance 0.01");
    load("g.mtx");
    return store.wtz_kind;
  };
  EXPECT_EQ(kind_of("mesh topo loc"), 2);
  EXPECT_EQ(kind_of("mesh topo loc --weights none"), 0);
  EXPECT_EQ(kind_of("mesh topo loc --weights depth-volume"), 3);
  folder.write("even", "10 8 7\n0 0 10\n10*20\n8*20\n7*10\n");
  EXPECT_EQ(kind_of("even null loc"), 0);
  output_of("make mesh topo loc g.mtx --dense");
  load("g.mtx");
  EXPECT_EQ(store.wtz_kind, 0);
}

/// What a row holds in the air and beyond the mesh is free, because all three products lay 0 there.
TEST_F(Accuracy, EveryProductMeetsWhatIsFreeInARowWithZeros) {
  output_of("make mesh topo loc dense --dense --weights volume");
  output_of("make mesh topo loc g.mtx --tolerance 0");
  const auto products_of = [&](const std::string& name) {
    load(name);
    survey.ndata = store.ndata_mtx;
    get_active_cells("null", mesh.itop);
    std::vector<r8> m(static_cast<std::size_t>(cells.ncell)), back(m.size()), normal(m.size()), d(72),
        weights(72);
    for (std::size_t c = 0; c < m.size(); ++c) m[c] = std::sin(0.7 * static_cast<r8>(c)) + 0.3;
    for (std::size_t n = 0; n < d.size(); ++n) weights[n] = std::cos(0.9 * static_cast<r8>(n));
    GPROD(m, d);
    GTPROD(back, weights);
    GTGPROD(m, normal);
    return std::array{d, back, normal};
  };
  const auto dense = products_of("dense"), compressed = products_of("g.mtx");
  for (std::size_t product = 0; product < dense.size(); ++product) {
    r8 lost2 = 0, size2 = 0;
    for (std::size_t n = 0; n < dense[product].size(); ++n) {
      lost2 += std::pow(dense[product][n] - compressed[product][n], 2);
      size2 += std::pow(dense[product][n], 2);
    }
    EXPECT_LT(lost2, 1e-11 * size2) << product;
  }
}

}  // namespace
}  // namespace velko
