/// Problems of random sizes for the laws of the products: a mesh with a surface, cells of all three kinds, and random rows
/// in either form of G, put into the shared state.
#pragma once

#include <algorithm>
#include <string_view>

#include "products/products.h"
#include "tests/products/problem.h"

namespace velko::test {

/// Compressed G, dense G with active models, and dense G with models on all cells below the surface.
enum class form { compressed, dense_active, dense_compact };

constexpr std::string_view name_of(form f) {
  return f == form::compressed ? "compressed" : f == form::dense_active ? "dense_active" : "dense_compact";
}

/// Everything follows from the form and the seed. The filter is orthonormal.
class random_problem {
 public:
  random_problem(form of, unsigned seed) : form_(of), seed_(seed), generator_(seed + 1) {
    set_random_mesh();
    seed % 3 == 0 ? products_test::set_haar() : products_test::set_daubechies_4();
    rows_ = below(seed % 5 == 0 ? 4 : 60);  // now and then fewer than threads, or none
    if (form_ == form::compressed)
      products_test::set_random_sparse_rows(rows_);
    else
      products_test::set_dense_rows(
          cells.nbelow, products_test::random_dense_rows(rows_, static_cast<std::size_t>(cells.nbelow)));
  }

  std::size_t rows() const { return rows_; }
  std::size_t model_size() const {
    return static_cast<std::size_t>(form_ == form::dense_compact ? cells.nbelow : cells.ncell);
  }
  values random_model() const { return random_values(model_size(), seed_ + 1000); }
  values random_data() const { return random_values(rows_, seed_ + 2000); }

  values forward(const values& m) const {
    values d(rows_, untouched);
    GPROD(form_ == form::dense_active ? on_the_mesh(m) : m, d);
    return d;
  }
  values adjoint(const values& d) const {
    values m(model_size(), untouched);
    GTPROD(m, d);
    return m;
  }
  values normal(const values& x) const {
    values y(model_size(), untouched);
    GTGPROD(x, y);
    return y;
  }
  /// On one thread: the forward product gives the same bits on any number of them.
  std::vector<values> matrix_by_columns() const {
    const int threads = omp_get_max_threads();
    omp_set_num_threads(1);
    std::vector<values> columns;
    for (std::size_t k = 0; k < model_size(); ++k) {
      values unit(model_size(), 0.0);
      unit[k] = 1;
      columns.push_back(forward(unit));
    }
    omp_set_num_threads(threads);
    return columns;
  }

 private:
  // GPROD reads no active model in the dense form.
  static values on_the_mesh(const values& m) {
    values grid;
    for (const i4 e : cells.cell_map) grid.push_back(e > 0 ? m[static_cast<std::size_t>(e - 1)] : 0.0);
    return grid;
  }

  std::size_t below(std::size_t n) { return generator_() % n; }
  i4 edge() { return 1 + static_cast<i4>(below(9)); }
  /// A power of two not below n, and sometimes the next.
  i4 cube_edge(i4 n) {
    i4 power = 1;
    while (power < n) power *= 2;
    return power << below(2);
  }
  void set_random_mesh() {
    const i4 ny = edge(), nx = edge(), nz = edge();
    std::vector<i4> itop(static_cast<std::size_t>(ny * nx));
    for (i4& top : itop) top = below(2) == 0 ? 0 : static_cast<i4>(below(static_cast<std::size_t>(nz) + 1));
    products_test::set_mesh(ny, nx, nz, itop);
    products_test::set_cells([this](i4, i4, i4) { return std::min(static_cast<i4>(below(6)) - 1, 1); });
    const i4 ncube_y = cube_edge(ny), ncube_x = cube_edge(nx), ncube_z = cube_edge(nz);
    products_test::set_cube(ncube_y, ncube_x, ncube_z);
  }

  form form_;
  unsigned seed_;
  std::mt19937 generator_;
  std::size_t rows_ = 0;
};

}  // namespace velko::test
