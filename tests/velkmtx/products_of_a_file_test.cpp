// Products with the rows of a file that velkmtx made: the same bits for every number of threads, for one model and for several.
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <omp.h>

#include <cstring>
#include <random>
#include <span>
#include <vector>

#include "files/active_cells.h"
#include "products/model_block.h"
#include "products/products.h"
#include "reports/channel.h"
#include "reports/reports.h"
#include "store/getpar.h"
#include "store/state.h"
#include "tests/support/fresh_problem.h"
#include "tests/velkmtx/companion.h"

namespace velko {
namespace {

class ProductsOfAFile : public test::companion, public testing::WithParamInterface<std::string> {
 protected:
  static constexpr i4 stations = 90, models = 3;

  ProductsOfAFile() {
    folder.write("mesh", "20 16 12\n0 0 80\n20*20\n16*25\n12*10\n");
    std::string locations = fmt::format("62.0 -4.0 52000.0\n58.0 -10.0 1\n{}\n", stations);
    for (i4 i = 0; i < stations; ++i)
      locations += fmt::format("{} {} {}\n", 3 + 43 * (i % 9), 5 + 39 * (i / 9), 95 + i % 7);
    folder.write("loc", locations);
    output_of("make mesh null loc g.mtx " + GetParam());
    const capture warning(console());
    getpar(folder.path("g.mtx"));
    survey.ndata = store.ndata_mtx;
    get_active_cells("null", mesh.itop);
  }
  ~ProductsOfAFile() override { omp_set_num_threads(threads_before_); }

  /// Every product of one model and of a block.
  static std::vector<r8> all_products() {
    const block m = random(cells.ncell), d = random(stations);
    block Gm(stations, models), Gtd(cells.ncell, models), GtGm(cells.ncell, models);
    GPROD_BLOCK(m, Gm);
    GTPROD_BLOCK(Gtd, d);
    GTGPROD_BLOCK(m, GtGm);
    std::vector<r8> all;
    const auto append = [&](std::span<const r8> more) { all.insert(all.end(), more.begin(), more.end()); };
    for (const block* result : {&Gm, &Gtd, &GtGm}) append(result->elements());
    owned_array1<r8> data(stations), model(cells.ncell), normal(cells.ncell);
    GPROD(first_of(m), data.elements());
    GTPROD(model.elements(), first_of(d));
    GTGPROD(first_of(m), normal.elements());
    for (const auto* result : {&data, &model, &normal}) append(result->elements());
    return all;
  }

 private:
  using block = owned_array2<r8>;

  static block random(i4 length) {
    std::mt19937 generator(7);
    std::normal_distribution<r8> normal;
    block all(length, models);
    for (r8& x : all) x = normal(generator);
    return all;
  }
  static std::span<const r8> first_of(const block& all) {
    return all.elements().first(static_cast<std::size_t>(all.extent(1)));
  }

  test::fresh_problem problem_;
  const int threads_before_ = omp_get_max_threads();
};

TEST_P(ProductsOfAFile, HaveTheSameBitsForEveryNumberOfThreads) {
  omp_set_num_threads(1);
  const std::vector<r8> expected = all_products();
  EXPECT_THAT(expected, testing::Contains(testing::Ne(0.0)));
  for (const int threads : {2, 3, 16}) {
    omp_set_num_threads(threads);
    const std::vector<r8> products = all_products();
    EXPECT_EQ(std::memcmp(products.data(), expected.data(), expected.size() * sizeof(r8)), 0) << threads;
  }
}

INSTANTIATE_TEST_SUITE_P(Forms, ProductsOfAFile, testing::Values("--wavelet d4 --tolerance 1e-2", "--dense"),
                         [](const auto& of) { return of.param == "--dense" ? "Dense" : "Compressed"; });

}  // namespace
}  // namespace velko
