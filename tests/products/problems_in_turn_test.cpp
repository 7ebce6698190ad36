// Two problems in one process: the products of each in turn beside those of each alone.
#include <gmock/gmock.h>

#include <filesystem>

#include "products/products.h"
#include "store/cell_geometry.h"
#include "store/getpar.h"
#include "store/problem.h"
#include "tests/products/problem.h"
#include "tests/support/sensitivity_file.h"
#include "tests/support/temporary_folder.h"

namespace velko {
namespace {

using test::random_values;
using test::same_bits;
using test::sensitivity_file;
using test::values;

/// A file of rows longer than a page, in either form.
std::string file_of(bool compressed, i4 edge, i4 nrows) {
  sensitivity_file file(edge, edge, edge);
  const i4 ncells = edge * edge * edge;
  if (compressed) file.haar();
  for (i4 i = 0; i < nrows; ++i) {
    std::vector<test::entry> entries;
    std::vector<r4> dense;
    for (i4 at = 1; at <= ncells; ++at) {
      const r4 g = static_cast<r4>((at * 37 + i * 11) % 101) / 7;
      if (at % 3 == i % 3) entries.push_back({at, g});
      dense.push_back(g);
    }
    compressed ? file.row(entries) : file.dense_row(dense);
  }
  return file.bytes();
}

class ProblemsInTurn : public test::products_test, public testing::WithParamInterface<bool> {
 protected:
  void load(const std::string& name, bool compressed, i4 edge, i4 nrows) {
    const std::string file = folder_.write(name, file_of(compressed, edge, nrows));
    const capture quiet(console());
    getpar(file);
    survey.ndata = store.ndata_mtx;
    set_cells();
  }
  void load_north() { load("north", true, 16, 9); }
  void load_south() { load("south", GetParam(), 8, 13); }

  /// GPROD, GTPROD and GTGPROD of the problem at hand, one behind the other.
  static values products() {
    const auto rows = static_cast<std::size_t>(store.ndata_mtx), ncell = static_cast<std::size_t>(store.ncol);
    values d(rows), m(ncell), y(ncell);
    GPROD(random_values(ncell), d);
    GTPROD(m, d);
    GTGPROD(m, y);
    d.insert(d.end(), m.begin(), m.end());
    d.insert(d.end(), y.begin(), y.end());
    return d;
  }

  test::temporary_folder folder_;
};

INSTANTIATE_TEST_SUITE_P(BesideACompressedOne, ProblemsInTurn, testing::Bool(),
                         [](const auto& of) { return of.param ? "Compressed" : "Dense"; });

TEST_P(ProblemsInTurn, GiveTheBitsOfEachAlone) {
  load_north();
  const values north_alone = products();
  reset_state();
  load_south();
  const values south_alone = products();
  reset_state();

  problem north, south;
  {
    const problem_scope scope(north);
    load_north();
  }
  {
    const problem_scope scope(south);
    load_south();
  }
  for (int turn = 0; turn < 3; ++turn) {
    {
      const problem_scope scope(north);
      EXPECT_TRUE(same_bits(products(), north_alone));
    }
    {
      const problem_scope scope(south);
      EXPECT_TRUE(same_bits(products(), south_alone));
    }
  }
}

TEST_F(ProblemsInTurn, FileCutUnderOneLeavesTheOtherAlone) {
  problem north, other;
  const problem_scope outer(other);
  load("other", true, 16, 9);
  const values expected = products();
  {
    const problem_scope inner(north);
    load_north();
    std::filesystem::resize_file(folder_.path("north"), 5000);
    const capture said(console());
    EXPECT_EQ(test::stop_of([] { products(); }), "");
    EXPECT_THAT(said.text,
                testing::EndsWith("ERROR reading sensitivity file " + folder_.path("north") + "\n"));
  }
  EXPECT_EQ(products(), expected);
}

}  // namespace
}  // namespace velko
