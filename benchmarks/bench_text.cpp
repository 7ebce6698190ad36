/// Text files against bare loops: what the formats cost on top of turning digits into numbers and back.
///
/// Reading  read_model, read_cube, read_data_file and read_mesh_file, from files in the page cache, beside a loop of
///          std::from_chars over the same text in memory, which knows where each number begins, and strtod, fscanf and
///          a stream over the same file, fast_float in the same loop, and list-directed reads of Fortran
/// Skipping read_data_file over a million blank lines beside std::memchr
/// Writing  write_predicted_data beside loops of std::to_chars and of fmt into memory, fprintf, and formatted writes of
///          Fortran
/// Rates    are bytes of text per second
#include <benchmark/benchmark.h>
#include <fast_float/fast_float.h>
#include <fcntl.h>
#include <fmt/compile.h>
#include <fmt/format.h>
#include <unistd.h>

#include <array>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>
#include <span>
#include <string>
#include <vector>

#include "files/active_cells.h"
#include "files/data_file.h"
#include "files/mesh_file.h"
#include "files/model_file.h"
#include "files/predicted_data.h"
#include "reports/program_stop.h"
#include "store/state.h"
#include "tests/support/temporary_folder.h"

extern "C" {  // benchmarks/peers/text.f90
void fortran_read_model(const char* name, int length, int n, double* x);
void fortran_read_locations(const char* name, int length, int n, double* x);
void fortran_write_data(const char* name, int length, int n, const double* x, const double* y,
                        const double* z, const double* d);
}

namespace {

using namespace velko;

constexpr i4 nx = 128, ny = 128, nz = 64;  // cells of the mesh
constexpr i4 cell_count = nx * ny * nz;
constexpr i4 datum_count = 200000;

const test::temporary_folder& folder() {
  static const test::temporary_folder one;
  return one;
}

/// Numbers as a modelling program prints them (%.6E) or as an array library saves them (%.18e).
std::string lines_of_numbers(const char* format, i4 count, int columns) {
  std::mt19937_64 random(11);
  std::normal_distribution<r8> values(0, 1e-2);
  std::string text;
  std::array<char, 40> number;
  for (i4 i = 0; i < count; ++i)
    for (int c = 1; c <= columns; ++c) {
      std::snprintf(number.data(), number.size(), format, values(random));
      text += number.data();
      text += c < columns ? ' ' : '\n';
    }
  return text;
}

constexpr std::array<const char*, 3> formats{"%.4f", "%.6E", "%.18e"};

/// One text of a million values for each format, in memory and in a file.
struct model_text {
  std::string text, name;
  std::vector<r8> values;
};

std::vector<r8> values_by_from_chars(const std::string& text, std::vector<r8> values) {
  const char *p = text.data(), *last = p + text.size();
  for (r8& x : values) {
    while (*p == ' ' || *p == '\n') ++p;
    p = std::from_chars(p, last, x).ptr;
  }
  return values;
}

const model_text& model_in(std::int64_t format) {
  static std::array<model_text, formats.size()> all;
  model_text& m = all[static_cast<std::size_t>(format)];
  if (m.text.empty()) {
    m.text = lines_of_numbers(formats[static_cast<std::size_t>(format)], cell_count, 1);
    m.name = folder().write("model" + std::to_string(format), m.text);
    m.values = values_by_from_chars(m.text, std::vector<r8>(cell_count));
  }
  return m;
}

void count_text(benchmark::State& state, std::size_t bytes, i4 numbers) {
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytes));
  state.counters["ns_per_number"] =
      benchmark::Counter(static_cast<r8>(numbers) * 1e-9,
                         benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void set_mesh() {
  reset_state();
  mesh.ny = ny;
  mesh.nx = nx;
  mesh.nz = nz;
  mesh.itop = owned_array2<i4>(ny, nx);
  get_active_cells("null", mesh.itop);
}

template <class reader>
void measure_model(benchmark::State& state, const reader& read) {
  const model_text& m = model_in(state.range(0));
  std::vector<r8> values(cell_count);
  read(m, values);
  if (values != m.values) return state.SkipWithError("wrong values");
  for (auto _ : state) read(m, values);
  count_text(state, m.text.size(), cell_count);
  state.SetLabel(formats[static_cast<std::size_t>(state.range(0))]);
}

void BM_read_model(benchmark::State& state) {
  set_mesh();
  measure_model(state, [](const model_text& m, std::vector<r8>& values) {
    read_model(m.name, "model", values, {}, mesh.itop);
  });
}
void BM_model_from_chars(benchmark::State& state) {
  measure_model(state, [](const model_text& m, std::vector<r8>& values) {
    values = values_by_from_chars(m.text, std::move(values));
  });
}
void BM_model_fast_float(benchmark::State& state) {
  measure_model(state, [](const model_text& m, std::vector<r8>& values) {
    const char *p = m.text.data(), *last = p + m.text.size();
    for (r8& x : values) {
      while (*p == ' ' || *p == '\n') ++p;
      p = fast_float::from_chars(p, last, x).ptr;
    }
  });
}
void BM_model_Fortran(benchmark::State& state) {
  measure_model(state, [](const model_text& m, std::vector<r8>& values) {
    fortran_read_model(m.name.data(), static_cast<int>(m.name.size()), cell_count, values.data());
  });
}
void BM_model_strtod(benchmark::State& state) {
  measure_model(state, [](const model_text& m, std::vector<r8>& values) {
    char* p = const_cast<char*>(m.text.data());
    for (r8& x : values) x = std::strtod(p, &p);
  });
}
void BM_model_fscanf(benchmark::State& state) {
  measure_model(state, [](const model_text& m, std::vector<r8>& values) {
    std::FILE* file = std::fopen(m.name.c_str(), "r");
    for (r8& x : values)
      if (std::fscanf(file, "%lf", &x) != 1) break;
    std::fclose(file);
  });
}
void BM_model_stream(benchmark::State& state) {
  measure_model(state, [](const model_text& m, std::vector<r8>& values) {
    std::ifstream in(m.name);
    for (r8& x : values) in >> x;
  });
}
BENCHMARK(BM_read_model)->DenseRange(0, 2)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_model_from_chars)->DenseRange(0, 2)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_model_fast_float)->DenseRange(0, 2)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_model_Fortran)->DenseRange(0, 2)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_model_strtod)->DenseRange(0, 2)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_model_fscanf)->DenseRange(0, 2)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_model_stream)->DenseRange(0, 2)->Unit(benchmark::kMillisecond);

/// The same numbers as a whole array in one read, sixteen to a line and one to a line.
void BM_read_cube(benchmark::State& state) {
  set_mesh();
  owned_array3<r8> cube(nz, nx, ny);
  const auto columns = static_cast<int>(state.range(1));
  const std::string text =
      lines_of_numbers(formats[static_cast<std::size_t>(state.range(0))], cell_count / columns, columns);
  const std::string name = folder().write("cube", text);
  read_cube(name, "cube", cube, {}, mesh.itop);
  if (!std::equal(cube.begin(), cube.end(), model_in(state.range(0)).values.begin()))
    return state.SkipWithError("wrong values");
  for (auto _ : state) read_cube(name, "cube", cube, {}, mesh.itop);
  count_text(state, text.size(), cell_count);
  state.SetLabel(formats[static_cast<std::size_t>(state.range(0))]);
}
BENCHMARK(BM_read_cube)->ArgsProduct({{0, 1, 2}, {1, 16}})->Unit(benchmark::kMillisecond);

/// Data lines of two decimals: locations with three columns, or observations with five, the last one above 0.
std::string data_lines(int columns) {
  std::mt19937_64 random(13);
  std::normal_distribution<r8> values(0, 1e3);
  std::string text;
  std::array<char, 40> number;
  for (i4 i = 0; i < datum_count; ++i)
    for (int c = 1; c <= columns; ++c) {
      const r8 x = values(random);
      std::snprintf(number.data(), number.size(), c < columns ? "%.2f " : "%.2f\n", c < 5 ? x : 1 + x * x);
      text += number.data();
    }
  return text;
}
void BM_read_data_file(benchmark::State& state) {
  const auto columns = static_cast<int>(state.range(0));
  const std::string lines = data_lines(columns);
  const std::string name =
      folder().write("locations", "65 0 5e4\n90 0 1\n" + std::to_string(datum_count) + "\n" + lines);
  reset_state();
  store.ndata_mtx = datum_count;
  read_data_file(name, columns > 3);
  const std::vector<r8> values =
      values_by_from_chars(lines, std::vector<r8>(static_cast<std::size_t>(columns) * datum_count));
  const r8 last = columns > 3 ? survey.derr(datum_count) : survey.zobs(datum_count);
  if (last != values.back()) return state.SkipWithError("wrong values");
  for (auto _ : state) read_data_file(name, columns > 3);
  count_text(state, lines.size(), columns * datum_count);
}
void BM_data_from_chars(benchmark::State& state) {
  const auto columns = static_cast<int>(state.range(0));
  const std::string lines = data_lines(columns);
  std::vector<r8> values(static_cast<std::size_t>(columns) * datum_count);
  for (auto _ : state) values = values_by_from_chars(lines, std::move(values));
  count_text(state, lines.size(), columns * datum_count);
}
void BM_data_Fortran(benchmark::State& state) {
  const std::string lines = data_lines(3);
  const std::string name =
      folder().write("fortran", "65 0 5e4\n90 0 1\n" + std::to_string(datum_count) + "\n" + lines);
  std::vector<r8> values(std::size_t{3} * datum_count);
  for (auto _ : state)
    fortran_read_locations(name.data(), static_cast<int>(name.size()), datum_count, values.data());
  if (values != values_by_from_chars(lines, values)) return state.SkipWithError("wrong values");
  count_text(state, lines.size(), 3 * datum_count);
}
void BM_data_fast_float(benchmark::State& state) {
  const auto columns = static_cast<int>(state.range(0));
  const std::string lines = data_lines(columns);
  std::vector<r8> values(static_cast<std::size_t>(columns) * datum_count);
  for (auto _ : state) {
    const char *p = lines.data(), *last = p + lines.size();
    for (r8& x : values) {
      while (*p == ' ' || *p == '\n') ++p;
      p = fast_float::from_chars(p, last, x).ptr;
    }
  }
  if (values != values_by_from_chars(lines, values)) return state.SkipWithError("wrong values");
  count_text(state, lines.size(), columns * datum_count);
}
BENCHMARK(BM_data_Fortran)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_read_data_file)->Arg(3)->Arg(5)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_data_fast_float)->Arg(3)->Arg(5)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_data_from_chars)->Arg(3)->Arg(5)->Unit(benchmark::kMillisecond);

/// A location file that is blank but for its last lines, beside the search for line feeds alone.
constexpr i4 blank_count = 1000000;

std::string blank_lines() {
  return std::string(blank_count, '\n') + "65 0 5e4\n90 0 1\n1\n1 2 3\n";
}
void count_lines(benchmark::State& state) {
  state.counters["ns_per_line"] = benchmark::Counter(
      blank_count * 1e-9, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}
void BM_skip_blank_lines(benchmark::State& state) {
  const std::string name = folder().write("blanks", blank_lines());
  reset_state();
  read_data_file(name, false);
  if (survey.zobs(1) != 3) return state.SkipWithError("wrong values");
  for (auto _ : state) read_data_file(name, false);
  count_lines(state);
}
void BM_blank_lines_memchr(benchmark::State& state) {
  const std::string text = blank_lines();
  for (auto _ : state) {
    const char *p = text.data(), *last = p + text.size();
    while (p != last)
      p = static_cast<const char*>(std::memchr(p, '\n', static_cast<std::size_t>(last - p))) + 1;
    benchmark::DoNotOptimize(p);
  }
  count_lines(state);
}
BENCHMARK(BM_skip_blank_lines)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_blank_lines_memchr)->Unit(benchmark::kMillisecond);

/// A mesh with a million widths along x, all on one line: the list itself, without a line for each value.
void BM_read_mesh_file(benchmark::State& state) {
  std::string widths = lines_of_numbers("%.2f", 1, cell_count);
  const std::string name =
      folder().write("mesh", std::to_string(cell_count) + " 1 1\n0 0 0\n" + widths + "1\n1\n");
  reset_state();
  read_mesh_file(name);
  const std::vector<r8> values = values_by_from_chars(widths, std::vector<r8>(cell_count));
  if (!std::equal(values.begin(), values.end(), mesh.dx.begin())) return state.SkipWithError("wrong values");
  for (auto _ : state) read_mesh_file(name);
  count_text(state, widths.size(), cell_count);
}
BENCHMARK(BM_read_mesh_file)->Unit(benchmark::kMillisecond);

/// A list of active cells, sixteen to a line.
void BM_read_active_file(benchmark::State& state) {
  std::string text;
  for (i4 c = 1; c <= cell_count; ++c) text += c % 16 == 0 ? "1\n" : "0 ";
  const std::string name = folder().write("active", text);
  owned_array3<i4> act(nz, nx, ny);
  for (auto _ : state) read_active_file(name, act);
  count_text(state, text.size(), cell_count);
}
BENCHMARK(BM_read_active_file)->Unit(benchmark::kMillisecond);

void set_survey() {
  reset_state();
  std::mt19937_64 random(12);
  std::normal_distribution<r8> values(0, 1e3);
  survey.idir = 1;
  survey.ndata = datum_count;
  for (owned_array1<r8>* x : {&survey.xobs, &survey.yobs, &survey.zobs}) {
    *x = owned_array1<r8>(datum_count);
    for (r8& value : *x) value = values(random);
  }
}

void print_data(std::FILE* file) {
  std::fprintf(file, "%10.2f%10.2f%10.2f  !! incl, decl, geomag\n", 0., 0., 0.);
  std::fprintf(file, "%10.2f%10.2f%7d     !! aincl, adecl, idir\n", 0., 0., 1);
  std::fprintf(file, "%7d                         !! # of data\n", survey.ndata);
  for (i4 i = 1; i <= survey.ndata; ++i)
    std::fprintf(file, "%17.9E%17.9E%17.9E  %14.6E\n", survey.xobs(i), survey.yobs(i), survey.zobs(i),
                 survey.zobs(i));
}

void BM_write_predicted_data(benchmark::State& state) {
  set_survey();
  const std::string ours = folder().path("ours.vlk"), theirs = folder().path("theirs.vlk");
  write_predicted_data(ours, survey.zobs.elements());
  std::FILE* file = std::fopen(theirs.c_str(), "w");
  print_data(file);
  std::fclose(file);
  const std::string text = folder().read("ours.vlk");
  if (text != folder().read("theirs.vlk")) return state.SkipWithError("wrong text");
  for (auto _ : state) write_predicted_data(ours, survey.zobs.elements());
  count_text(state, text.size(), 4 * datum_count);
}
void BM_write_fprintf(benchmark::State& state) {
  set_survey();
  for (auto _ : state) {
    std::FILE* file = std::fopen(folder().path("theirs.vlk").c_str(), "w");
    print_data(file);
    std::fclose(file);
  }
  count_text(state, std::filesystem::file_size(folder().path("theirs.vlk")), 4 * datum_count);
}
void BM_write_to_chars(benchmark::State& state) {
  set_survey();
  std::vector<char> text(std::size_t{80} * datum_count);
  for (auto _ : state) {
    char* p = text.data();
    for (i4 i = 1; i <= survey.ndata; ++i) {
      for (const r8 x : {survey.xobs(i), survey.yobs(i), survey.zobs(i)})
        p = std::to_chars(p, p + 40, x, std::chars_format::scientific, 9).ptr;
      p = std::to_chars(p, p + 40, survey.zobs(i), std::chars_format::scientific, 6).ptr;
    }
    benchmark::DoNotOptimize(p);
  }
  count_text(state, std::size_t{68} * datum_count, 4 * datum_count);
}
void BM_write_fmt(benchmark::State& state) {
  set_survey();
  fmt::memory_buffer text;
  for (auto _ : state) {
    text.clear();
    for (i4 i = 1; i <= survey.ndata; ++i)
      fmt::format_to(std::back_inserter(text), FMT_COMPILE("{:17.9E}{:17.9E}{:17.9E}  {:14.6E}\n"),
                     survey.xobs(i), survey.yobs(i), survey.zobs(i), survey.zobs(i));
    benchmark::DoNotOptimize(text.data());
  }
  count_text(state, text.size(), 4 * datum_count);
}
void BM_write_Fortran(benchmark::State& state) {
  set_survey();
  const std::string name = folder().path("fortran.vlk");
  for (auto _ : state)
    fortran_write_data(name.data(), static_cast<int>(name.size()), survey.ndata, survey.xobs.data(),
                       survey.yobs.data(), survey.zobs.data(), survey.zobs.data());
  const std::string ours = folder().path("ours.vlk");
  write_predicted_data(ours, survey.zobs.elements());
  if (!folder().read("ours.vlk").ends_with(folder().read("fortran.vlk")))
    return state.SkipWithError("wrong text");
  count_text(state, std::filesystem::file_size(name), 4 * datum_count);
}
BENCHMARK(BM_write_fmt)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_write_Fortran)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_write_predicted_data)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_write_fprintf)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_write_to_chars)->Unit(benchmark::kMillisecond);

}  // namespace
