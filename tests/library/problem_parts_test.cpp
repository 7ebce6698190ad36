#include "library/problem_parts.h"

#include <gmock/gmock.h>

#include <limits>

#include "tests/library/parts.h"
#include "tests/support/sensitivity_file.h"
#include "tests/support/temporary_folder.h"

namespace velko {
namespace {

using test::refusal_of;
using test::small_parts;
using testing::Each;
using testing::ElementsAre;
using testing::ElementsAreArray;

TEST(ProblemParts, FillTheWholeStateOfADenseProblem) {
  const small_parts from;
  problem_parts parts = from.dense();
  parts.xobs = from.xobs;
  problem p = make_problem(parts);
  const problem_scope scope(p);
  EXPECT_THAT(mesh.xnode.elements(), ElementsAreArray(from.xnode));
  EXPECT_THAT(mesh.dx.elements(), ElementsAre(5, 5, 15));
  EXPECT_THAT(mesh.dz.elements(), ElementsAre(1, 2, 3, 4));
  EXPECT_EQ(mesh.ztop, 100);
  EXPECT_EQ(mesh.itop(1, 2), 2);
  EXPECT_EQ(mesh.itop(2, 1), 1);
  EXPECT_FALSE(store.compressed);
  EXPECT_EQ(store.ncol, 20);
  EXPECT_EQ(store.Gfull(20, 3), from.Gfull.back());
  EXPECT_THAT(store.wtz.elements(), ElementsAreArray(from.wtz));
  EXPECT_THAT(store.gdiag.elements(), Each(0));
  EXPECT_EQ(cells.ncell, 20);
  EXPECT_EQ(survey.ndata, 3);
  EXPECT_THAT(survey.xobs.elements(), ElementsAre(1, 2, 3));
  EXPECT_THAT(survey.zobs.elements(), ElementsAre(0, 0, 0));
}

TEST(ProblemParts, FillTheWholeStateOfACompressedProblem) {
  const small_parts from;
  problem p = make_problem(from.sparse());
  const problem_scope scope(p);
  EXPECT_TRUE(store.compressed);
  EXPECT_THAT((std::array{store.ncube_y, store.ncube_x, store.ncube_z, store.ncube}),
              ElementsAre(2, 4, 4, 32));
  EXPECT_EQ(wavelet.filter_len, 2);
  ASSERT_EQ(store.Gs.size(), 3);
  EXPECT_THAT(store.Gs(1).idx.elements(), ElementsAreArray(from.idx.data(), 9));
  EXPECT_EQ(store.Gs(2).idx.size(), 0);
  EXPECT_THAT(store.Gs(3).val.elements(), ElementsAreArray(from.val.data() + 9, 3));
}

TEST(ProblemParts, SurfaceAndWeightsMayBeLeftOut) {
  const small_parts from;
  problem_parts parts = from.without_rows();
  parts.itop = {};
  parts.wtz = {};
  parts.ndata = 0;
  problem p = make_problem(parts);
  const problem_scope scope(p);
  EXPECT_EQ(store.ncol, 24);
  EXPECT_THAT(store.wtz.elements(), Each(1));
}

TEST(ProblemParts, ThatDoNotFitAreRefusedByName) {
  using change = std::function<void(small_parts&, problem_parts&)>;
  const auto refusal = [](bool sparse, const change& spoil) {
    small_parts from;
    problem_parts parts = sparse ? from.sparse() : from.dense();
    spoil(from, parts);
    return refusal_of([&] { make_problem(parts); });
  };
  const std::vector<r8> one{1}, back{0, 2, 1}, no_number{0, std::numeric_limits<r8>::quiet_NaN()};
  const std::vector<i4> deep{0, 1, 2, 0, 5, 0}, high{0, 1, 2, 0, -1, 0}, air(6, 4);
  EXPECT_EQ(refusal(false, [&](auto&, auto& p) { p.ynode = one; }), "ynode does not ascend");
  EXPECT_EQ(refusal(false, [&](auto&, auto& p) { p.xnode = back; }), "xnode does not ascend");
  EXPECT_EQ(refusal(false, [&](auto&, auto& p) { p.znode = no_number; }), "znode does not ascend");
  EXPECT_EQ(refusal(false, [&](auto&, auto& p) { p.itop = p.itop.first(5); }), "size(itop) /= ny x nx");
  for (const auto& outside : {deep, high})
    EXPECT_EQ(refusal(false, [&](auto&, auto& p) { p.itop = outside; }), "itop outside 0..nz");
  EXPECT_EQ(refusal(false, [&](auto&, auto& p) { p.itop = air; }), "ERROR: all cells are inactive.");
  EXPECT_EQ(refusal(false, [&](auto&, auto& p) { p.wtz = one; }), "size(wtz) /= ncol");
  EXPECT_EQ(refusal(false, [&](auto&, auto& p) { p.gdiag = one; }), "size(gdiag) /= ncol");
  EXPECT_EQ(refusal(false, [&](auto&, auto& p) { p.zobs = one; }), "size(zobs) /= ndata");
  for (const i4 ndata : {0, 2, 4, -1, std::numeric_limits<i4>::min()}) {
    EXPECT_EQ(refusal(false, [&](auto&, auto& p) { p.ndata = ndata; }), "size(Gfull) /= ncol x ndata");
    EXPECT_EQ(refusal(true, [&](auto&, auto& p) { p.ndata = ndata; }), "row_start does not fit the rows");
  }
  EXPECT_EQ(refusal(true, [](auto& from, auto& p) { p.Gfull = from.Gfull; }), "a dense G and sparse rows");
  EXPECT_EQ(refusal(true, [](auto&, auto& p) { p.Gs.wfilter = {}; }), "size(wfilter) < 1");
  EXPECT_EQ(refusal(true, [](auto&, auto& p) { p.Gs.ncube = {4, 4, 6}; }), "ncube is no power of two");
  EXPECT_EQ(refusal(true, [](auto&, auto& p) { p.Gs.ncube = {4, -4, 4}; }), "ncube is no power of two");
  EXPECT_EQ(refusal(true,
                    [](auto&, auto& p) {
                      p.Gs.ncube = {4, 4, 2};
                    }),
            "the cube is smaller than the mesh");
  EXPECT_EQ(refusal(true,
                    [](auto&, auto& p) {
                      p.Gs.ncube = {1 << 20, 1 << 10, 4};
                    }),
            "ncube beyond 32 bits");
  EXPECT_EQ(refusal(true, [](auto&, auto& p) { p.Gs.val = p.Gs.val.first(11); }), "size(val) /= size(idx)");
  for (const std::vector<i8>& start : std::vector<std::vector<i8>>{
           {1, 9, 9, 12}, {0, 9, 8, 12}, {0, 9, 9, 11}, {0, -1, 9, 12}, {0, 13, 13, 12}, {0}})
    EXPECT_EQ(refusal(true, [&](auto&, auto& p) { p.Gs.row_start = start; }),
              "row_start does not fit the rows");
  for (const i4 at : {0, 33, -1, std::numeric_limits<i4>::max()})
    EXPECT_EQ(refusal(true, [&](auto& from, auto&) { from.idx[5] = at; }), "idx outside the cube");
}

class LoadedProblem : public testing::Test {
 protected:
  std::string sensitivity() const {
    return folder_.write("g.mtx",
                         test::sensitivity_file(1, 2, 2).itop({1, 0}).haar().row({{1, 1.0F}}).bytes());
  }
  std::string locations(const std::string& count) const {
    return folder_.write("loc", "65 -12.5 54321\n90 0 1\n" + count + "\n1 2 3\n4 5 6\n");
  }
  test::temporary_folder folder_;
};

TEST_F(LoadedProblem, HoldsTheFilesAndSaysNothing) {
  const capture said(console());
  problem p = load_problem(sensitivity(), locations("1"));
  EXPECT_EQ(said.text, "");
  const problem_scope scope(p);
  EXPECT_EQ(store.ncol, 3);
  EXPECT_EQ(survey.ndata, 1);
  EXPECT_EQ(survey.incl, 65);
  EXPECT_EQ(cells.ncell, 3);
}

TEST_F(LoadedProblem, OfFilesThatDoNotFitIsRefused) {
  EXPECT_EQ(refusal_of([&] { load_problem(sensitivity(), locations("2")); }),
            "the number of data differs in location and sensitivity file");
  EXPECT_EQ(refusal_of([&] { load_problem(folder_.path("none")); }),
            "ERROR: sensitivity file not found: " + folder_.path("none"));
  EXPECT_EQ(refusal_of([&] { load_problem(folder_.write("bad", "12345678")); }),
            "ERROR reading sensitivity file " + folder_.path("bad"));
}

}  // namespace
}  // namespace velko
