/// Small problems for the products: mesh, surface, cells and G, put straight into the shared state.
#pragma once

#include <gtest/gtest.h>
#include <omp.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "reports/channel.h"
#include "reports/program_stop.h"
#include "store/state.h"
#include "tests/support/entry.h"
#include "tests/support/fresh_problem.h"
#include "wavelet/wtn_mod.h"

namespace velko::test {

using values = std::vector<r8>;

inline values random_values(std::size_t n, unsigned seed = 1) {
  std::mt19937 generator(seed);
  std::normal_distribution<r8> normal;
  values a(n);
  for (r8& x : a) x = normal(generator);
  return a;
}

/// What an output holds beforehand, to see that it stays.
constexpr r8 untouched = -99;

/// Starts with empty state, leaves none behind, and ends with the threads of the environment.
class products_test : public testing::Test {
 public:
  ~products_test() override { omp_set_num_threads(threads_before_); }

  static void set_haar() { SET_WTN_FILTER(values{std::sqrt(0.5), std::sqrt(0.5)}, 2); }
  static void set_daubechies_4() {
    const r8 s = std::sqrt(3.0), q = 4 * std::sqrt(2.0);
    SET_WTN_FILTER(values{(1 + s) / q, (3 + s) / q, (3 - s) / q, (1 - s) / q}, 4);
  }

  /// An uneven surface over 6 x 5 x 7 cells in a cube of 8 x 8 x 16, some cells inactive, of both kinds.
  static void set_uneven_problem() {
    std::vector<i4> itop(30);
    for (std::size_t i = 0; i < itop.size(); ++i) itop[i] = static_cast<i4>(i * i % 4);
    set_mesh(6, 5, 7, itop);
    set_cells([](i4 k, i4 j, i4 i) {
      const i4 at = k + 2 * j + 3 * i;
      return at % 11 == 0 ? 0 : at % 13 == 0 ? -1 : 1;
    });
    set_cube(8, 8, 16);
    set_daubechies_4();
  }

  /// A mesh with its surface at the given depths, y index fastest, or at the top.
  static void set_mesh(i4 ny, i4 nx, i4 nz, const std::vector<i4>& itop = {}) {
    mesh.ny = ny;
    mesh.nx = nx;
    mesh.nz = nz;
    mesh.itop = owned_array2<i4>(ny, nx);
    if (!itop.empty()) std::copy(itop.begin(), itop.end(), mesh.itop.begin());
  }

  /// Numbers the cells as get_active_cells does: mark(k, j, i) is 1, 0 or -1, and the surface wins over it.
  static void set_cells(const std::function<i4(i4, i4, i4)>& mark = [](i4, i4, i4) { return 1; }) {
    cells.cell_map = owned_array3<i4>(mesh.nz, mesh.nx, mesh.ny);
    cells.ntotal = static_cast<i4>(cells.cell_map.size());
    cells.ncell = cells.ninactive = cells.ninactive_inf = cells.nbelow = 0;
    for (i4 i = 1; i <= mesh.ny; ++i)
      for (i4 j = 1; j <= mesh.nx; ++j)
        for (i4 k = 1; k <= mesh.nz; ++k) {
          const i4 m = k <= mesh.itop(i, j) ? 0 : mark(k, j, i);
          i4& e = cells.cell_map(k, j, i);
          e = m == 1 ? ++cells.ncell : m == -1 ? -++cells.ninactive_inf : 0;
          if (m == 0) ++cells.ninactive;
          if (k > mesh.itop(i, j)) ++cells.nbelow;
        }
  }

  static void set_cube(i4 ncube_y, i4 ncube_x, i4 ncube_z) {
    store.ncube_y = ncube_y;
    store.ncube_x = ncube_x;
    store.ncube_z = ncube_z;
    store.ncube = ncube_y * ncube_x * ncube_z;
  }

  static void set_sparse_rows(const std::vector<std::vector<entry>>& rows) {
    const auto n = static_cast<i4>(rows.size());
    store.compressed = true;
    store.ndata_mtx = survey.ndata = n;
    store.Gs = owned_array1<sparse_row>(n);
    for (i4 i = 1; i <= n; ++i) store.Gs(i) = sparse_row_of(rows[static_cast<std::size_t>(i - 1)]);
  }

  /// Row i of G is rows[i].
  static void set_dense_rows(i4 ncol, const std::vector<std::vector<r4>>& rows) {
    store.compressed = false;
    store.ncol = ncol;
    store.ndata_mtx = survey.ndata = static_cast<i4>(rows.size());
    owned_array2<r4> elements(ncol, rows.size());
    r4* g = elements.data();
    for (const auto& row : rows) g = std::copy(row.begin(), row.end(), g);
    store.Gfull = std::move(elements);
  }

  static void set_random_sparse_rows(std::size_t rows) {
    std::mt19937 generator(11);
    std::vector<std::vector<entry>> all(rows);
    for (std::size_t i = 0; i < rows; ++i)
      for (std::size_t k = 0; k < i * 7 % 60; ++k)
        all[i].push_back({1 + static_cast<i4>(generator() % static_cast<unsigned>(store.ncube)),
                          static_cast<r4>(generator()) / 4e9f - 0.5f});
    set_sparse_rows(all);
  }
  static std::vector<std::vector<r4>> random_dense_rows(std::size_t rows, std::size_t ncol) {
    std::vector<std::vector<r4>> all(rows);
    for (std::size_t i = 0; i < rows; ++i)
      for (const r8 x : random_values(ncol, static_cast<unsigned>(i + 1)))
        all[i].push_back(static_cast<r4>(x));
    return all;
  }

 private:
  static sparse_row sparse_row_of(const std::vector<entry>& entries) {
    const auto nnz = static_cast<i8>(entries.size());
    sparse_row row{array1<r4>(reinterpret_cast<r4*>(store.Gs_memory.take(4 * nnz)), nnz),
                   array1<i4>(reinterpret_cast<i4*>(store.Gs_memory.take(4 * nnz)), nnz)};
    i4 k = 0;
    for (const entry& e : entries) {
      row.val(++k) = e.val;
      row.idx(k) = e.idx;
    }
    return row;
  }

  fresh_problem problem_;
  int threads_before_ = omp_get_max_threads();
};

/// 1, 2, ... n
inline values counting(std::size_t n) {
  values a(n);
  for (std::size_t i = 0; i < n; ++i) a[i] = static_cast<r8>(i + 1);
  return a;
}

inline bool same_bits(const values& a, const values& b) {
  return a.size() == b.size() && (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof(r8)) == 0);
}

/// The text that the body stops with, or how it ended otherwise.
inline std::string stop_of(const std::function<void()>& body) {
  const stop_or_done end = run_until_stop(body);
  return end.kind == stop_or_done::stopped ? end.text
         : end.kind == stop_or_done::done  ? "(done)"
                                           : "(failed)";
}

}  // namespace velko::test
