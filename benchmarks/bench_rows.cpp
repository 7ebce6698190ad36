// Products with rows as compression leaves them for a real survey, beside CSR products and the speed at which the same
// bytes can be read. VELKO_BENCH_ROWS names sensitivity files (benchmarks/survey_rows makes three), separated by colons;
// the rows of each are repeated until they fill VELKO_BENCH_MIB (256).
#include <benchmark/benchmark.h>
#include <omp.h>

#include <Eigen/SparseCore>
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <initializer_list>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "benchmarks/product_problems.h"
#include "benchmarks/wanted_bytes.h"
#include "files/active_cells.h"
#include "products/model_block.h"
#include "products/sparse_rows.h"
#include "reports/channel.h"
#include "store/getpar.h"

namespace velko {
namespace {

/// As the products hold their cubes, and as the pages of a mapped file are held.
template <class number>
owned_array1<number> in_huge_pages(const std::vector<number>& from) {
  owned_array1<number> to(uninitialised, from.size());
  std::copy(from.begin(), from.end(), to.begin());
  return to;
}

/// The rows of a file, repeated, as Gs and as compressed-row storage.
struct survey_rows {
  explicit survey_rows(const std::string& name) {
    reset_state();
    const capture quiet(console());
    getpar(name);
    get_active_cells("null", mesh.itop);
    copy_rows();
    cube = in_huge_pages(random_values(static_cast<std::size_t>(store.ncube)));
    d.resize(first.size() - 1);
    survey.ndata = static_cast<i4>(d.size());
    store.Gs = owned_array1<sparse_row>(survey.ndata);
    for (std::size_t i = 0; i < d.size(); ++i) {
      auto* row = elements.data() + 2 * first[i];
      const i8 nnz = first[i + 1] - first[i];
      store.Gs(i + 1) = {array1<r4>(reinterpret_cast<r4*>(row + nnz), nnz), array1<i4>(row, nnz)};
    }
  }

  /// idx and val of a row stand one behind the other, as they do in the file.
  void copy_rows() {
    std::vector<i4> all;
    first.push_back(0);
    while (8 * first.back() < wanted_bytes())
      for (const sparse_row& row : store.Gs) {
        all.insert(all.end(), row.idx.begin(), row.idx.end());
        const auto* val = reinterpret_cast<const i4*>(row.val.data());
        all.insert(all.end(), val, val + row.val.size());
        for (const i4 at : row.idx) idx.push_back(at - 1);
        val64.insert(val64.end(), row.val.begin(), row.val.end());
        val32.insert(val32.end(), row.val.begin(), row.val.end());
        first.push_back(static_cast<i8>(idx.size()));
      }
    elements = in_huge_pages(all);
  }
  i8 bytes() const { return 8 * first.back(); }

  owned_array1<i4> elements;
  std::vector<i4> idx;
  std::vector<i8> first;
  std::vector<r4> val32;
  std::vector<r8> val64;
  owned_array1<r8> cube;
  values d;
};

/// The problem of one file at a time: each takes a gigabyte.
survey_rows& rows_of(const std::string& name) {
  static std::string at_hand;
  static std::unique_ptr<survey_rows> rows;
  if (name != at_hand) {
    rows.reset();
    rows = std::make_unique<survey_rows>(name);
    at_hand = name;
  }
  return *rows;
}

void csr(const survey_rows& p, values& y) {
#pragma omp parallel for schedule(static)
  for (i8 i = 0; i < static_cast<i8>(y.size()); ++i) {
    r8 s = 0;
    const auto row = static_cast<std::size_t>(i);
    for (auto k = static_cast<std::size_t>(p.first[row]); k < static_cast<std::size_t>(p.first[row + 1]); ++k)
      s += static_cast<r8>(p.val32[k]) * p.cube.data()[p.idx[k]];
    y[row] = s;
  }
}

r8 largest(const values& a) {
  r8 size = 0;
  for (const r8 x : a) size = std::max(size, std::abs(x));
  return size;
}

void set_bytes(benchmark::State& state, const survey_rows& p) {
  state.SetBytesProcessed(state.iterations() * p.bytes());
  state.counters["entries_per_row"] = static_cast<r8>(p.idx.size()) / static_cast<r8>(p.d.size());
}

void BM_CALC_GV(benchmark::State& state, const std::string& name) {
  survey_rows& p = rows_of(name);
  values y(p.d.size());
  CALC_GV(p.cube.elements(), p.d);
  csr(p, y);
  if (!agree(p.d, y, 1e-12 * largest(y))) return state.SkipWithError("wrong answer");
  for (auto _ : state) CALC_GV(p.cube.elements(), p.d);
  set_bytes(state, p);
}

void BM_CALC_GTV(benchmark::State& state, const std::string& name) {
  survey_rows& p = rows_of(name);
  owned_array1<r8> y(p.cube.size());
  CALC_GTV(p.d, y.elements());  // so that y has its pages
  for (auto _ : state) CALC_GTV(p.d, y.elements());
  set_bytes(state, p);
}

void BM_CALC_GTGV(benchmark::State& state, const std::string& name) {
  survey_rows& p = rows_of(name);
  owned_array1<r8> y(p.cube.size());
  CALC_GTGV_1LOOP(p.cube.elements(), y.elements());
  for (auto _ : state) CALC_GTGV_1LOOP(p.cube.elements(), y.elements());
  set_bytes(state, p);
}

/// What the normal loop stands for, in two passes.
void BM_forward_then_adjoint(benchmark::State& state, const std::string& name) {
  survey_rows& p = rows_of(name);
  owned_array1<r8> y(p.cube.size());
  const auto both = [&] {
    CALC_GV(p.cube.elements(), p.d);
    CALC_GTV(p.d, y.elements());
  };
  both();
  for (auto _ : state) both();
  set_bytes(state, p);
}

/// Several models at once: forward, adjoint and normal loop.
void BM_models(benchmark::State& state, const std::string& name, int which, i8 models) {
  survey_rows& p = rows_of(name);
  owned_array1<r8> v = in_huge_pages(random_values(static_cast<std::size_t>(p.cube.size() * models)));
  owned_array1<r8> y(v.size());
  values d = random_values(p.d.size() * static_cast<std::size_t>(models));
  const auto product = [&] {
    if (which == 0) CALC_GV(v.elements(), d, models);
    if (which == 1) CALC_GTV(d, y.elements(), models);
    if (which == 2) CALC_GTGV_1LOOP(v.elements(), y.elements(), models);
  };
  product();
  for (auto _ : state) product();
  set_bytes(state, p);
}

/// Whole products of a block of models, with the mapping and the transforms: 0 forward, 1 adjoint, 2 normal; with fresh memory
/// for each, or memory that is kept.
enum class memory_of_products { fresh, kept };
template <memory_of_products memory>
void BM_whole_products(benchmark::State& state, const std::string& name, int which, i8 models) {
  const survey_rows& p = rows_of(name);
  owned_array2<r8> m(cells.ncell, models), y(cells.ncell, models), d(survey.ndata, models);
  const values from = random_values(static_cast<std::size_t>(m.size()));
  std::copy(from.begin(), from.end(), m.begin());
  block_work kept;
  const auto product = [&] {
    block_work fresh;
    block_work& work = memory == memory_of_products::kept ? kept : fresh;
    if (which == 0) GPROD_BLOCK(m, d, work);
    if (which == 1) GTPROD_BLOCK(y, d, work);
    if (which == 2) GTGPROD_BLOCK(m, y, work);
  };
  product();
  for (auto _ : state) product();
  set_bytes(state, p);
}

/// The peer: compressed-row storage with r4 values, a plain loop.
void BM_CSR(benchmark::State& state, const std::string& name) {
  survey_rows& p = rows_of(name);
  for (auto _ : state) csr(p, p.d);
  set_bytes(state, p);
}

/// The peer from a library, which wants values of the vector's type. Bytes are those of the r4 matrix, to compare.
void BM_Eigen(benchmark::State& state, const std::string& name) {
  survey_rows& p = rows_of(name);
  const std::vector<int> first(p.first.begin(), p.first.end());
  const auto rows = static_cast<Eigen::Index>(p.d.size()), columns = static_cast<Eigen::Index>(p.cube.size());
  const Eigen::Map<const Eigen::SparseMatrix<r8, Eigen::RowMajor>> G(
      rows, columns, static_cast<Eigen::Index>(p.idx.size()), first.data(), p.idx.data(), p.val64.data());
  const Eigen::Map<const Eigen::VectorXd> cube(p.cube.data(), columns);
  Eigen::VectorXd d(rows);
  for (auto _ : state) d.noalias() = G * cube;
  values y(p.d.size());
  csr(p, y);
  if (!agree(values(d.begin(), d.end()), y, 1e-12 * largest(y))) return state.SkipWithError("wrong answer");
  set_bytes(state, p);
}

/// The limit: the same bytes, summed as integers on all threads.
void BM_parallel_pass(benchmark::State& state, const std::string& name) {
  survey_rows& p = rows_of(name);
  const auto* word = reinterpret_cast<const std::uint64_t*>(p.elements.data());
  for (auto _ : state) {
    std::uint64_t sum = 0;
#pragma omp parallel for schedule(static) reduction(+ : sum)
    for (i8 i = 0; i < p.bytes() / 8; ++i) sum += word[i];
    benchmark::DoNotOptimize(sum);
  }
  set_bytes(state, p);
}

/// A stronger limit: each thread reads four pieces of its part side by side, which one loop over a row can't.
void BM_pass_in_four_streams(benchmark::State& state, const std::string& name) {
  survey_rows& p = rows_of(name);
  const auto* word = reinterpret_cast<const std::uint64_t*>(p.elements.data());
  for (auto _ : state) {
    std::uint64_t sum = 0;
#pragma omp parallel reduction(+ : sum)
    {
      const i8 part = p.bytes() / 8 / omp_get_num_threads(), piece = part / 4;
      const std::uint64_t* at = word + part * omp_get_thread_num();
      std::uint64_t sums[4] = {};
      for (i8 i = 0; i < piece; ++i)
        for (i8 stream = 0; stream < 4; ++stream) sums[stream] += at[i + stream * piece];
      sum = sums[0] + sums[1] + sums[2] + sums[3];
    }
    benchmark::DoNotOptimize(sum);
  }
  set_bytes(state, p);
}

void register_all(const std::string& file) {
  const std::string name = file.substr(file.rfind('/') + 1);
  const auto add = [&](const char* what, void (*measure)(benchmark::State&, const std::string&)) {
    benchmark::RegisterBenchmark((name + "/" + what).c_str(), measure, file)
        ->UseRealTime()
        ->Unit(benchmark::kMillisecond);
  };
  add("parallel_pass", BM_parallel_pass);
  add("pass_in_four_streams", BM_pass_in_four_streams);
  add("CALC_GV", BM_CALC_GV);
  add("CSR", BM_CSR);
  add("Eigen", BM_Eigen);
  add("CALC_GTV", BM_CALC_GTV);
  add("CALC_GTGV_1LOOP", BM_CALC_GTGV);
  add("forward_then_adjoint", BM_forward_then_adjoint);
  const auto add_blocks = [&](std::array<const char*, 3> products, std::initializer_list<i8> numbers,
                              auto* measure) {
    for (int which = 0; which < 3; ++which)
      for (const i8 models : numbers)
        benchmark::RegisterBenchmark(
            (name + "/" + products[static_cast<std::size_t>(which)] + "/models:" + std::to_string(models))
                .c_str(),
            [=](benchmark::State& state) { measure(state, file, which, models); })
            ->UseRealTime()
            ->Unit(benchmark::kMillisecond);
  };
  add_blocks({"CALC_GV", "CALC_GTV", "CALC_GTGV_1LOOP"}, {2, 4, 8}, BM_models);
  add_blocks({"GPROD", "GTPROD", "GTGPROD"}, {1, 4, 8}, BM_whole_products<memory_of_products::fresh>);
  add_blocks({"GPROD_kept", "GTPROD_kept", "GTGPROD_kept"}, {4, 8},
             BM_whole_products<memory_of_products::kept>);
}

}  // namespace
}  // namespace velko

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  const char* files = std::getenv("VELKO_BENCH_ROWS");
  std::istringstream names(files != nullptr ? files : "");
  for (std::string file; std::getline(names, file, ':');) velko::register_all(file);
  benchmark::RunSpecifiedBenchmarks();
}
