/// Small problems for the products: mesh, surface, cells and G, put straight into the shared state.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "store/state.h"
#include "tool/channel.h"
#include "tool/program_stop.h"

namespace velko::test {

using values = std::vector<r8>;

struct entry {
  i4 idx;
  r4 val;
};

/// Starts and ends with empty state.
class products_test : public testing::Test {
 public:
  products_test() { reset_state(); }
  ~products_test() override { reset_state(); }

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
    store.idx_min = 1;
    store.idx_max = 0;
    for (i4 i = 1; i <= n; ++i) store.Gs(i) = sparse_row_of(rows[static_cast<std::size_t>(i - 1)]);
  }

  /// Row i of G is rows[i].
  static void set_dense_rows(i4 ncol, const std::vector<std::vector<r4>>& rows) {
    store.compressed = false;
    store.ncol = ncol;
    store.ndata_mtx = survey.ndata = static_cast<i4>(rows.size());
    store.Gfull = owned_array2<r4>(ncol, rows.size());
    r4* g = store.Gfull.data();
    for (const auto& row : rows) g = std::copy(row.begin(), row.end(), g);
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
      const bool first = store.idx_min > store.idx_max;
      store.idx_min = first ? e.idx : std::min(store.idx_min, e.idx);
      store.idx_max = first ? e.idx : std::max(store.idx_max, e.idx);
    }
    return row;
  }
};

inline values random_values(std::size_t n, unsigned seed = 1) {
  std::mt19937 generator(seed);
  std::normal_distribution<r8> normal;
  values a(n);
  for (r8& x : a) x = normal(generator);
  return a;
}

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
