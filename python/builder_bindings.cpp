/// Sensitivity files made: from mesh, surface and survey, or from rows that the caller has. velko/making.py is what users see.
#include <omp.h>
#include <pybind11/stl.h>

#include <chrono>
#include <cstdio>
#include <optional>
#include <string>

#include "builder/daubechies.h"
#include "builder/form_choice.h"
#include "builder/growing_file.h"
#include "builder/input_checks.h"
#include "builder/likely_mistakes.h"
#include "builder/part_joining.h"
#include "builder/run_memory.h"
#include "builder/run_notes.h"
#include "builder/sensitivity_builder.h"
#include "builder/sensitivity_scan.h"
#include "builder/sensitivity_writer.h"
#include "files/output_file.h"
#include "python/bindings.h"
#include "python/conversions.h"
#include "python/library_call.h"
#include "reports/interruption.h"
#include "reports/program_stop.h"
#include "reports/reports.h"
#include "threads/team.h"

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

/// What the caller wishes of the form, as velko/making.py puts it.
form_wishes wishes_from(const py::dict& form) {
  const auto number = [&](const char* name) { return form[name].cast<std::optional<r8>>(); };
  form_wishes wishes{form["wavelet"].cast<std::string>(), form["dense"].cast<bool>(), number("tolerance"),
                     number("accuracy"), form["largest"].cast<r8>()};
  if (const auto kind = form["weights"].cast<std::optional<i4>>())
    wishes.weights = static_cast<weighting::kind_t>(*kind);
  wishes.beta = form["beta"].cast<r8>();
  wishes.z0 = number("z0");
  return wishes;
}

/// Mesh and survey, and how the rows are to be made.
struct row_request {
  mesh_state m;
  survey_state s;
  form_wishes wishes;
  survey_rows rows;
  int threads = 0;
  bool allow_buried = false;
};

row_request request_from(const py::handle& of_mesh, const py::handle& of_survey, const py::dict& form,
                         const py::dict& run) {
  const auto [first, last] = run["rows"].cast<std::pair<i4, i4>>();
  return {mesh_from(of_mesh), survey_from(of_survey),     wishes_from(form),
          {first, last},      run["threads"].cast<int>(), run["allow_buried"].cast<bool>()};
}

void check(const row_request& r) {
  check_mesh(r.m);
  check_surface(r.m);
  check_survey(r.s);
  for (const std::string& mistake : likely_mistakes(r.m, r.s)) report(mistake);
  const std::string buried = burial_of(r.m, r.s);
  if (buried.empty()) return;
  if (!r.allow_buried) stop_program(buried + cause_of_burial(r.m, r.s) + "; allow_buried=True takes them");
  report(buried);
}

py::dict to_python(const row_statistics& rows) {
  py::dict d, trials;
  d["rows"] = rows.made;
  d["least"] = rows.least;
  d["median"] = rows.median;
  d["most"] = rows.most;
  d["stored"] = rows.stored;
  d["loss"] = rows.loss;
  d["largest_loss"] = rows.largest_loss;
  d["off"] = rows.largest_one_norm;
  for (const trial_error& trial : rows.trials) trials[py::str(std::string(trial.model))] = trial.error;
  d["trials"] = trials;
  const verification& v = rows.verified;
  d["verified"] =
      v.count == 0 ? py::object(py::none()) : py::make_tuple(v.count, v.loss, v.one_norm, v.beyond);
  return d;
}

/// What is the same for rows that were made and for those that were tried.
py::dict to_python(const row_request& r, const matrix_form& form, const row_statistics& rows, i8 bytes,
                   r8 seconds) {
  py::dict d = to_python(rows);
  d["bytes"] = bytes;
  d["dense_bytes"] = i8{4} * r.rows.count() * columns_of(r.m);
  d["cells"] = columns_of(r.m);
  d["wavelet"] = form.compressed() ? py::object(py::str(r.wishes.wavelet)) : py::object(py::none());
  d["tolerance"] = form.tolerance;
  d["weights"] = std::string(weighting_names[static_cast<std::size_t>(form.weights.kind)]);
  d["memory"] = py::none();
  d["seconds"] = seconds;
  return d;
}

r8 seconds_since(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<r8>(std::chrono::steady_clock::now() - start).count();
}

struct rows_of_file {
  row_statistics rows;
  i8 bytes = 0;
};

/// Fills a file, and gives it its name with `finish`.
template <class file_type, class function>
rows_of_file fill(file_type& file, const row_request& r, const matrix_form& form, i4 to_verify,
                  progress& shown, run_notes* notes, function&& finish) {
  record_writer records(file);
  const auto row_is_written = [&](i4 done) {
    end_if_interrupted();
    shown.show(done);
  };
  rows_of_file made;
  made.rows = write_sensitivity(records, r.m, r.s, form, r.rows, row_is_written, to_verify, notes);
  made.bytes = records.position();
  finish();
  return made;
}

/// note_every: seconds between two notes of how far the run is, for another to go on; None: no notes.
py::dict make(const std::string& file, const py::handle& of_mesh, const py::handle& of_survey,
              const py::dict& of_form, const py::dict& run, const py::object& callback) {
  problem p;
  const row_request r = request_from(of_mesh, of_survey, of_form, run);
  const auto note_every = run["note_every"].cast<std::optional<r8>>();
  const i4 to_verify = run["verify"].cast<i4>();
  progress shown(callback, r.rows.count());
  matrix_form form;
  rows_of_file made;
  const auto start = std::chrono::steady_clock::now();
  in_library(p, file, [&] {
    check(r);
    const threads_of_call team(r.threads);
    form = form_for(r.wishes, r.m, r.s);
    if (!note_every) {
      output_file out(file);
      made = fill(out, r, form, to_verify, shown, nullptr, [&] { out.keep(); });
      return;
    }
    const std::string notes_file = file + ".notes";
    growing_file out(file);
    run_notes notes(out, notes_file, *note_every);
    made = fill(out, r, form, to_verify, shown, &notes, [&] { out.finish(); });
    std::remove(notes_file.c_str());
  });
  return to_python(r, form, made.rows, made.bytes, seconds_since(start));
}

/// What all rows would be like, judged by a few.
py::dict try_rows(const py::handle& of_mesh, const py::handle& of_survey, const py::dict& of_form,
                  const py::dict& run) {
  problem p;
  const row_request r = request_from(of_mesh, of_survey, of_form, run);
  matrix_form form;
  row_sample sample;
  int threads = 0;
  in_library(p, "", [&] {
    check(r);
    const threads_of_call team(r.threads);
    form = form_for(r.wishes, r.m, r.s);
    sample = sample_rows(r.m, r.s, form);
    threads = team_size();
  });
  const r8 of_rows = static_cast<r8>(sample.rows.stored) / sample.rows.made * (form.compressed() ? 8 : 4);
  const r8 bytes = of_rows * r.rows.count() + 16.0 * columns_of(r.m);
  py::dict d =
      to_python(r, form, sample.rows, static_cast<i8>(bytes), sample.seconds * r.rows.count() / threads);
  d["memory"] = memory_for(r.m, r.s, r.rows, sample, threads);
  return d;
}

/// Rows, and how many of them were brought back for the diagonal.
py::tuple join(const std::string& file, const std::vector<std::string>& parts, const py::object& callback) {
  problem p;
  joined_file joined;
  std::optional<progress> shown;
  in_library(p, file, [&] {
    output_file out(file);
    joined = join_parts(out, parts, [&](i4 done, i4 all) {
      end_if_interrupted();
      if (!shown) shown.emplace(callback, all);
      shown->show(done);
    });
    out.keep();
  });
  return py::make_tuple(joined.rows, joined.restored);
}

/// Faults, whether there is a provenance, whether the file was read to its end, and the bytes of a run.
py::tuple check_file(const std::string& file, const py::object& of_survey) {
  problem p;
  std::optional<survey_state> s;
  if (!of_survey.is_none()) s = survey_from(of_survey);
  sensitivity_contents contents;
  std::vector<std::string> faults, apart;
  in_library(p, file, [&] {
    contents = scan_sensitivity_file(file);
    faults = contents.faults;
    faults.insert(faults.end(), contents.damaged.begin(), contents.damaged.end());
    if (s) apart = differences_to(*s, contents);
  });
  return py::make_tuple(faults, apart, contents.made.has_value(), contents.complete,
                        contents.complete ? bytes_of_a_run(contents) : 0.0);
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
  m.def("try_rows", try_rows);
  m.def("join", join);
  m.def("check_file", check_file);
  m.def("write_rows", write_rows);
  m.def("wavelet_filter", [](const std::string& name) { return wavelet_filter(name); });
  m.attr("wavelet_names") = py::cast(std::vector<std::string>(wavelet_names.begin(), wavelet_names.end()));
}

}  // namespace velko::python
