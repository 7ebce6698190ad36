/// Sensitivity files made: from mesh, surface and survey, or from rows that the caller has. velko/making.py is what users see.
#include <omp.h>
#include <pybind11/stl.h>

#include <chrono>
#include <string>

#include "builder/daubechies.h"
#include "builder/input_checks.h"
#include "builder/sensitivity_builder.h"
#include "builder/sensitivity_writer.h"
#include "files/output_file.h"
#include "python/bindings.h"
#include "python/conversions.h"
#include "python/library_call.h"
#include "reports/interruption.h"
#include "reports/reports.h"

namespace velko::python {

namespace {

/// So many threads while it lives; below 1: those that there are.
class threads_of_call {
 public:
  explicit threads_of_call(int threads) {
    if (threads >= 1) omp_set_num_threads(threads);
  }
  threads_of_call(const threads_of_call&) = delete;
  threads_of_call& operator=(const threads_of_call&) = delete;
  ~threads_of_call() { omp_set_num_threads(before_); }

 private:
  int before_ = omp_get_max_threads();
};

/// Tells Python how many rows are done, several times a second and at the end.
class progress {
 public:
  progress(const py::object& callback, i4 rows) : callback_(callback), rows_(rows) {}

  void show(i4 done) {
    const auto now = std::chrono::steady_clock::now();
    if (callback_.is_none() || (done < rows_ && now < next_)) return;
    next_ = now + std::chrono::milliseconds(100);
    with_python([&] { callback_(done, rows_); });
  }

 private:
  const py::object& callback_;
  i4 rows_;
  std::chrono::steady_clock::time_point next_{};
};

void warn_of_buried_data(const survey_state& s, const mesh_state& m) {
  if (const i4 buried = count_data_in_cells(s, m); buried > 0)
    report(std::to_string(buried) + " of " + std::to_string(s.ndata) +
           " data lie in or on a cell below the surface");
}

py::dict to_python(const row_statistics& rows, r8 tolerance, i8 bytes, i4 ncol) {
  py::dict d;
  d["bytes"] = bytes;
  d["cells"] = ncol;
  d["least"] = rows.least;
  d["median"] = rows.median;
  d["most"] = rows.most;
  d["stored"] = rows.stored;
  d["loss"] = rows.loss;
  d["largest_loss"] = rows.largest_loss;
  d["tolerance"] = tolerance;
  return d;
}

constexpr r8 part_to_lose = 0.01;  // of data of trial models, where no tolerance is given

/// An empty wavelet: the dense form. A tolerance below 0: the one for the trial models. Weights below 0: the
/// usual ones. z0 below 0: the survey's.
py::dict make(const std::string& file, const py::handle& of_mesh, const py::handle& of_survey,
              const std::string& wavelet, r8 tolerance, i4 weights, r8 beta, r8 z0, int threads,
              const py::object& callback) {
  problem p;
  const mesh_state m = mesh_from(of_mesh);
  const survey_state s = survey_from(of_survey);
  matrix_form form;
  if (!wavelet.empty()) form.wfilter = wavelet_filter(wavelet);
  const i4 usual = form.compressed() && is_padded(m) ? weighting::volume : weighting::none;
  form.weights.kind = static_cast<weighting::kind_t>(weights < 0 ? usual : weights);
  form.weights.beta = beta;
  if (z0 >= 0) form.weights.z0 = z0;
  progress shown(callback, s.ndata);
  row_statistics rows;
  i8 bytes = 0;
  in_library(p, file, [&] {
    check_mesh(m);
    check_surface(m);
    check_survey(s);
    warn_of_buried_data(s, m);
    const threads_of_call team(threads);
    if (form.compressed())
      form.tolerance = tolerance >= 0 ? tolerance : tolerance_for(m, s, form, part_to_lose);
    output_file out(file);
    record_writer records(out);
    rows = write_sensitivity(records, m, s, form, {1, s.ndata}, [&](i4 done) {
      end_if_interrupted();
      shown.show(done);
    });
    bytes = out.bytes_written();
    out.keep();
  });
  return to_python(rows, form.tolerance, bytes, columns_of(m));
}

/// A payload of pieces, one behind another.
template <class T>
void append(row_payload& payload, const T* first, i8 count) {
  const auto* bytes = reinterpret_cast<const std::byte*>(first);
  payload.insert(payload.end(), bytes, bytes + count * i8{sizeof(T)});
}

/// Rows as dense values (rows, ncol), or as positions from 1 and values between starts.
void write_rows(const std::string& file, const py::handle& of_mesh, i4 count, const input<r8>& filter,
                const std::array<i4, 3>& cube, i4 wtz_kind, const input<r8>& weights,
                const input<r8>& diagonal, const input<i8>& starts, const input<i4>& positions,
                const input<r4>& values) {
  problem p;
  const mesh_state m = mesh_from(of_mesh);
  const i8 ncol = columns_of(m);
  in_library(p, file, [&] {
    output_file out(file);
    record_writer records(out);
    write_geometry(records, m, count, elements(filter), {cube[0], cube[1], cube[2]}, wtz_kind,
                   elements(weights));
    row_payload payload;
    for (i4 i = 0; i < count; ++i) {
      end_if_interrupted();
      payload.clear();
      if (filter.size() == 0) {
        append(payload, values.data() + i * ncol, ncol);
      } else {
        const i8 first = starts.data()[i];
        const auto nnz = static_cast<i4>(starts.data()[i + 1] - first);
        append(payload, &nnz, 1);
        append(payload, positions.data() + first, nnz);
        append(payload, values.data() + first, nnz);
      }
      write_row(records, payload);
    }
    write_diagonal(records, elements(diagonal));
    out.keep();
  });
}

}  // namespace

void add_builder(py::module_& m) {
  m.def("make", make);
  m.def("write_rows", write_rows);
  m.def("wavelet_filter", [](const std::string& name) { return wavelet_filter(name); });
  m.attr("wavelet_names") = py::cast(std::vector<std::string>(wavelet_names.begin(), wavelet_names.end()));
}

}  // namespace velko::python
