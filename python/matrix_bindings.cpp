/// A sensitivity file as an object: its G in products, its arrays where they lie. velko/operators.py makes the linear
/// operator of it.
#include <algorithm>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "files/active_cells.h"
#include "products/model_block.h"
#include "products/model_mapping.h"
#include "products/products.h"
#include "python/bindings.h"
#include "python/conversions.h"
#include "python/library_call.h"
#include "reports/program_stop.h"
#include "store/getpar.h"
#include "threads/team.h"
#include "wavelet/wtn_mod.h"

namespace velko::python {

namespace {

constexpr i4 models_of_a_pass = 8;  // as GPROD_BLOCK takes them at most

/// Vectors of an array, however they lie in it.
struct vectors {
  const r8* first;
  i8 length;
  i4 count;
  i8 to_next_element, to_next_vector;

  bool is_block() const { return to_next_element == 1 && (count == 1 || to_next_vector == length); }
  vectors some(i4 l, i4 n) const {
    return {first + (l - 1) * to_next_vector, length, n, to_next_element, to_next_vector};
  }
};

/// Opened once, then only read. Its arrays stay where they are, inside of a call and outside, as long as the object lives;
/// NumPy's arrays over them keep it alive.
class sensitivity {
 public:
  explicit sensitivity(std::string file_name) : file_(std::move(file_name)) {
    in_library(
        problem_, file_,
        [this] {
          getpar(file_);
          get_active_cells("null", mesh.itop);
          if (cells.ncell != store.ncol) stop_program("ncol is not the number of cells below the surface");
          survey.ndata = store.ndata_mtx;
          store.Gs_used =
              true;  // from here on views of the rows may be held: they are never taken from the file again
          look();
        },
        {}, console_lines::dropped);
  }

  i4 ndata() const { return ndata_; }
  i4 ncol() const { return ncol_; }
  bool compressed() const { return compressed_; }
  py::tuple cube() const { return py::make_tuple(ncube_[2], ncube_[1], ncube_[0]); }
  i4 ncube() const { return ncube_[0] * ncube_[1] * ncube_[2]; }
  i8 stored_bytes() const { return stored_bytes_; }

  array1<const r8> weights() const { return wtz_; }
  array1<const r8> diagonal() const { return gdiag_; }
  array1<const r8> filter() const { return wfilter_; }
  const sparse_row& row(i4 i) const { return Gs_(checked(i)); }
  array1<const r4> dense_row(i4 i) const { return Gfull_.row(checked(i)); }

  /// Data of each model one behind the other. What the weights or the strides ask for is one pass over the models.
  void forward(const vectors& models, r8* data, bool weighted) {
    in_library(problem_, file_, [&] {
      const array2<r8> d(data, ndata_, models.count);
      if (!weighted && models.is_block()) return product_of(block_at(models), d);
      for (i4 l = 1; l <= models.count; l += models_of_a_pass) {
        const vectors some = models.some(l, std::min(models_of_a_pass, models.count - l + 1));
        product_of(gathered(some, weighted), array2<r8>(&d(1, l), ndata_, some.count));
      }
    });
  }

  void adjoint(const vectors& data, r8* models, bool weighted) {
    in_library(problem_, file_, [&] {
      const array2<r8> m(models, ncol_, data.count);
      GTPROD_BLOCK(m, data.is_block() ? block_at(data) : gathered(data, false), work_);
      for (i4 l = 1; weighted && l <= data.count; ++l) multiply_by_weights({&m(1, l), extent(ncol_)});
    });
  }

  void normal(const r8* x, r8* y, bool weighted) {
    in_library(problem_, file_, [&] {
      const std::span<r8> result(y, extent(ncol_));
      GTGPROD(weighted_model(x, weighted), result);
      if (weighted) multiply_by_weights(result);
    });
  }

  /// W P m: what the stored rows of a compressed G act on.
  void coefficients(const r8* m, r8* cube, bool weighted) {
    in_library(problem_, file_, [&] {
      const std::span<r8> c(cube, extent(ncube()));
      MODEL_TO_CUBE(weighted_model(m, weighted), c, mesh.ny, mesh.nx, mesh.nz, store.ncube_y, store.ncube_x,
                    store.ncube_z, 0);
      WTN(c, ncube_, 1);
    });
  }

  /// One row over the cells below the surface.
  void cells_of_row(i4 i, r8* values, bool weighted) {
    in_library(problem_, file_, [&] {
      const std::span<r8> result(values, extent(ncol_));
      if (compressed_)
        restore(row(i), result);
      else
        std::copy(dense_row(i).begin(), dense_row(i).end(), result.begin());
      check_rows_in_place();
      if (weighted) multiply_by_weights(result);
    });
  }

  py::dict mesh_of_rows() {
    mesh_state copy;
    in_library(problem_, file_, [&] {
      copy.ny = mesh.ny;
      copy.nx = mesh.nx;
      copy.nz = mesh.nz;
      copy.ztop = mesh.ztop;
      for (const auto& [to, from] : {std::pair{&copy.xnode, &mesh.xnode},
                                     {&copy.ynode, &mesh.ynode},
                                     {&copy.znode, &mesh.znode},
                                     {&copy.dx, &mesh.dx},
                                     {&copy.dy, &mesh.dy},
                                     {&copy.dz, &mesh.dz}})
        *to = owned_array1<r8>(std::as_const(*from).elements());
      copy.itop = owned_array2<i4>(uninitialised, mesh.ny, mesh.nx);
      std::copy(mesh.itop.begin(), mesh.itop.end(), copy.itop.begin());
    });
    return to_python(std::move(copy));
  }

 private:
  static std::size_t extent(i8 n) { return static_cast<std::size_t>(n); }

  i4 checked(i4 i) const {
    if (i < 1 || i > ndata_) throw py::index_error("G has no such row");
    return i;
  }

  /// Views of the arrays, which stay where they are when the problem leaves the place of the shared state.
  void look() {
    ndata_ = store.ndata_mtx;
    ncol_ = store.ncol;
    compressed_ = store.compressed;
    ncube_ = {store.ncube_z, store.ncube_x, store.ncube_y};
    wtz_ = std::as_const(store.wtz);
    gdiag_ = std::as_const(store.gdiag);
    wfilter_ = std::as_const(store.wfilter);
    Gs_ = std::as_const(store.Gs);
    Gfull_ = {store.Gfull.first(), store.Gfull.extent(1), store.Gfull.extent(2),
              store.Gfull.leading_dimension()};
    stored_bytes_ = Gfull_.size() * i8{sizeof(r4)};
    for (const sparse_row& r : Gs_) stored_bytes_ += r.idx.size() * i8{sizeof(i4) + sizeof(r4)};
  }

  static array2<const r8> block_at(const vectors& v) { return array2<const r8>(v.first, v.length, v.count); }

  void product_of(array2<const r8> m, array2<r8> d) {
    if (m.extent(2) == 1) return GPROD(m.elements(), d.elements());
    GPROD_BLOCK(m, d, work_);
  }

  void multiply_by_weights(std::span<r8> m) const {
    const r8* w = wtz_.data();
#pragma omp parallel for schedule(static) num_threads(team_size())
    for (std::size_t n = 0; n < m.size(); ++n) m[n] *= w[n];
  }

  /// Vectors one behind another, times the weights where these count; until the next call.
  array2<const r8> gathered(const vectors& from, bool weighted) {
    const i8 size = from.length * from.count;
    if (block_.size() < size) block_ = owned_array1<r8>(uninitialised, size);
    const r8* w = weighted ? wtz_.data() : nullptr;
    constexpr i8 tile = 2048;  // of all vectors it stays in the cache, whatever the strides
#pragma omp parallel for schedule(static) num_threads(team_size())
    for (i8 begin = 0; begin < from.length; begin += tile)
      for (i4 l = 0; l < from.count; ++l) {
        const i8 end = std::min(begin + tile, from.length);
        r8* to = block_.data() + l * from.length;
        const r8* element = from.first + l * from.to_next_vector;
        for (i8 n = begin; n < end; ++n) to[n] = element[n * from.to_next_element];
        if (w != nullptr)
          for (i8 n = begin; n < end; ++n) to[n] *= w[n];
      }
    return array2<const r8>(block_.data(), from.length, from.count);
  }

  std::span<const r8> weighted_model(const r8* m, bool weighted) {
    if (!weighted) return {m, extent(ncol_)};
    return gathered({m, ncol_, 1, 1, 0}, true).elements();
  }

  void restore(const sparse_row& r, std::span<r8> values) const {
    owned_array1<r8> cube(ncube());
    for (i8 k = 1; k <= r.idx.size(); ++k) {
      if (r.idx(k) < 1 || r.idx(k) > ncube()) stop_program("idx outside the cube");
      cube(r.idx(k)) += r8{r.val(k)};
    }
    WTN(cube.elements(), ncube_, -1);
    CUBE_TO_MODEL(values, std::as_const(cube).elements(), mesh.ny, mesh.nx, mesh.nz, store.ncube_y,
                  store.ncube_x, store.ncube_z);
  }

  std::string file_;
  problem problem_;
  owned_array1<r8> block_;  // of models on their way, kept for the next
  block_work work_;
  i4 ndata_ = 0, ncol_ = 0;
  bool compressed_ = false;
  std::array<i4, 3> ncube_{};  // z, x, y
  i8 stored_bytes_ = 0;
  array1<const r8> wtz_, gdiag_, wfilter_;
  array1<const sparse_row> Gs_;
  dense_matrix Gfull_;
};

/// An array over elements that `owner` keeps; nobody can write to it.
template <class T>
py::array_t<T> view(array1<const T> elements, const py::object& owner) {
  py::array_t<T> seen({elements.size()}, {static_cast<py::ssize_t>(sizeof(T))}, elements.data(), owner);
  seen.attr("setflags")(false);
  return seen;
}

using vectors_of_python = py::array_t<r8, py::array::forcecast>;  // aligned

/// Those of an array (length), or (length, count).
vectors vectors_of(const vectors_of_python& x, i8 length) {
  if (x.ndim() < 1 || x.ndim() > 2 || x.shape(0) != length) throw py::value_error("dimension mismatch");
  const bool is_block = x.ndim() == 2;
  return {x.data(), length, static_cast<i4>(is_block ? x.shape(1) : 1), x.strides(0) / i8{sizeof(r8)},
          is_block ? x.strides(1) / i8{sizeof(r8)} : 0};
}

/// Each vector in one piece.
py::array_t<r8> room_for(const vectors_of_python& x, i8 length) {
  if (x.ndim() == 1) return py::array_t<r8>(length);
  const i8 bytes = sizeof(r8);
  return py::array_t<r8>({length, i8{x.shape(1)}}, {bytes, bytes * length});
}

py::array_t<r8> forward(sensitivity& g, const vectors_of_python& models, bool weighted) {
  const vectors m = vectors_of(models, g.ncol());
  py::array_t<r8> data = room_for(models, g.ndata());
  g.forward(m, data.mutable_data(), weighted);
  return data;
}

py::array_t<r8> adjoint(sensitivity& g, const vectors_of_python& data, bool weighted) {
  const vectors d = vectors_of(data, g.ndata());
  py::array_t<r8> models = room_for(data, g.ncol());
  g.adjoint(d, models.mutable_data(), weighted);
  return models;
}

py::array_t<r8> normal(sensitivity& g, const input<r8>& x, bool weighted) {
  if (x.ndim() != 1 || x.size() != g.ncol()) throw py::value_error("dimension mismatch");
  py::array_t<r8> y(i8{g.ncol()});
  g.normal(x.data(), y.mutable_data(), weighted);
  return y;
}

py::array_t<r8> coefficients(sensitivity& g, const input<r8>& m, bool weighted) {
  if (m.ndim() != 1 || m.size() != g.ncol()) throw py::value_error("dimension mismatch");
  py::array_t<r8> cube(i8{g.ncube()});
  g.coefficients(m.data(), cube.mutable_data(), weighted);
  return cube;
}

py::array_t<r8> cells_of_row(sensitivity& g, i4 i, bool weighted) {
  py::array_t<r8> values(i8{g.ncol()});
  g.cells_of_row(i + 1, values.mutable_data(), weighted);
  return values;
}

/// A compressed row as positions, from 1, and values; a dense one as values.
py::object stored_row(const py::object& self, i4 i) {
  const auto& g = self.cast<const sensitivity&>();
  if (!g.compressed()) return view(g.dense_row(i + 1), self);
  const sparse_row& row = g.row(i + 1);
  return py::make_tuple(view<i4>(row.idx, self), view<r4>(row.val, self));
}

py::array_t<i8> entries_of_rows(const sensitivity& g) {
  py::array_t<i8> nnz(i8{g.ndata()});
  for (i4 i = 1; i <= g.ndata(); ++i) nnz.mutable_data()[i - 1] = g.row(i).idx.size();
  return nnz;
}

}  // namespace

void add_matrix(py::module_& m) {
  const auto view_of = [](array1<const r8> (sensitivity::*member)() const) {
    return
        [member](const py::object& self) { return view((self.cast<const sensitivity&>().*member)(), self); };
  };
  py::class_<sensitivity>(m, "Sensitivity")
      .def(py::init<std::string>())
      .def_property_readonly("ndata", &sensitivity::ndata)
      .def_property_readonly("ncol", &sensitivity::ncol)
      .def_property_readonly("compressed", &sensitivity::compressed)
      .def_property_readonly("cube", &sensitivity::cube)
      .def_property_readonly("stored_bytes", &sensitivity::stored_bytes)
      .def_property_readonly("weights", view_of(&sensitivity::weights))
      .def_property_readonly("diagonal", view_of(&sensitivity::diagonal))
      .def_property_readonly("filter", view_of(&sensitivity::filter))
      .def("mesh", &sensitivity::mesh_of_rows)
      .def("forward", forward)
      .def("adjoint", adjoint)
      .def("normal", normal)
      .def("coefficients", coefficients)
      .def("cells_of_row", cells_of_row)
      .def("stored_row", stored_row)
      .def("entries_of_rows", entries_of_rows);
}

}  // namespace velko::python
