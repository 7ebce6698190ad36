/// What velkmtx make says of what rows lose, beside what they do lose: rows of a dense file are the exact ones.
#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <regex>
#include <string>
#include <vector>

#include "builder/trial_models.h"
#include "files/active_cells.h"
#include "files/data_file.h"
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

/// Surveys of more stations than what is told is measured on, over meshes of several kinds: name, mesh, whether below hills,
/// stations along x and y, the lengths between them.
struct survey_case {
  std::string name, mesh;
  bool hills;
  int along_x, along_y;
  r8 step_x, step_y;
};

class ToldErrors : public Accuracy, public testing::WithParamInterface<survey_case> {
 protected:
  ToldErrors() {
    const survey_case& c = GetParam();
    folder.write("mesh", c.mesh);
    std::string data = "62 -4 52000\n58 -10 1\n" + std::to_string(c.along_x * c.along_y) + "\n";
    for (int i = 0; i < c.along_y; ++i)
      for (int j = 0; j < c.along_x; ++j) data += fmt(c.step_x * j) + " " + fmt(c.step_y * i) + " 95\n";
    folder.write("loc", data);
  }
  std::string make(const std::string& name, const std::string& options) const {
    return output_of(std::string("make mesh ") + (GetParam().hills ? "topo" : "null") + " loc " + name + " " +
                     options);
  }

  /// Of each trial model, over the mesh and survey that are loaded.
  std::vector<std::vector<r8>> models() const {
    read_data_file(folder.path("loc"), false);
    const trial_models trials(mesh, survey);
    std::vector<std::vector<r8>> all(trial_models::count);
    for (std::size_t model = 0; model < all.size(); ++model)
      for (i4 i = 1; i <= mesh.ny; ++i)
        for (i4 j = 1; j <= mesh.nx; ++j) {
          std::vector<r8> column(static_cast<std::size_t>(mesh.nz - mesh.itop(i, j)));
          trials.fill_column(model, i, j, column);
          all[model].insert(all[model].end(), column.begin(), column.end());
        }
    return all;
  }
  static r8 norm_of_data(const rows_t& rows, const std::vector<r8>& model) {
    r8 sum = 0;
    for (const std::vector<r8>& row : rows) {
      const r8 datum = std::inner_product(row.begin(), row.end(), model.begin(), 0.0);
      sum += datum * datum;
    }
    return std::sqrt(sum);
  }
  /// What was told against what is true, for every model that has data; gives the worst of the true errors.
  r8 expect_truth(const std::string& told, const rows_t& exact, const rows_t& stored) const {
    rows_t lost = exact;
    for (std::size_t n = 0; n < lost.size(); ++n)
      for (std::size_t c = 0; c < lost[n].size(); ++c) lost[n][c] -= stored[n][c];
    const std::vector<std::vector<r8>> all = models();
    r8 worst = 0;
    for (std::size_t model = 0; model < all.size(); ++model) {
      const r8 data = norm_of_data(exact, all[model]);
      const std::string name(trial_models::names[model]);
      std::smatch said_of_it;
      const bool is_told = std::regex_search(told, said_of_it, std::regex("[:,] " + name + " ([0-9.e-]+) %"));
      EXPECT_EQ(is_told, data > 0.0) << name;
      if (!is_told) continue;
      const r8 percent = 100 * norm_of_data(lost, all[model]) / data, said = std::stod(said_of_it[1]);
      EXPECT_LT(said, 2 * percent) << name;
      EXPECT_GT(said, percent / 2) << name;
      worst = std::max(worst, percent);
    }
    return worst;
  }
};

TEST_P(ToldErrors, AreWithinAFactorOfTwoOfTheTruthForEveryTrialModelAndTheDefaultKeepsAllWithinAHundredth) {
  make("dense", "--dense");
  const rows_t exact = rows_of("dense");
  for (const std::string options : {"", "--tolerance 0.03", "--accuracy 20 --wavelet s8"}) {
    const std::string told = make("g.mtx", options);
    EXPECT_THAT(told, HasSubstr("judged by 400 rows")) << options;
    const r8 worst = expect_truth(told, exact, rows_of("g.mtx"));
    if (options.empty()) {
      EXPECT_LT(worst, 1.0);
      EXPECT_GT(worst, 0.2);  // no more is kept than has to be
    }
  }
}

INSTANTIATE_TEST_SUITE_P(
    Meshes, ToldErrors,
    testing::Values(
        survey_case{"padded below hills",
                    "14 11 13\n-60 -60 70\n40 28 10*20 28 40\n36 9*20 36\n8*10 14 20 28 40 56\n", true, 29,
                    24, 8.0, 7.5},
        survey_case{"even", "16 16 16\n0 0 80\n16*12\n16*12\n16*6\n", false, 27, 27, 7.1, 7.1},
        // Every sixth station would be the same place of each short line.
        survey_case{"short lines", "16 16 12\n0 0 80\n16*12\n16*12\n12*8\n", false, 6, 400, 36.0, 0.47},
        survey_case{"one line", "40 6 12\n0 -60 80\n40*10\n6*20\n12*10\n", false, 601, 1, 0.66, 1.0},
        survey_case{"steep padding",
                    "18 13 10\n-80 -90 70\n60 40 16*16\n60 40 9*24 40 60\n5*8 10 14 20 28 40\n", true, 25, 25,
                    10.6, 11.0}),
    [](const auto& of) {
      std::string name = of.param.name;
      std::ranges::replace(name, ' ', '_');
      return name;
    });

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
