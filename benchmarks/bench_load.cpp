/// The load of a sensitivity file beside the same bytes read and dropped, and read into fresh memory without a look.
/// The file is in the page cache. VELKO_BENCH_MIB sets its size (256).
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "benchmarks/wanted_bytes.h"
#include "builder/record_writer.h"
#include "files/output_file.h"
#include "reports/channel.h"
#include "store/getpar.h"
#include "store/state.h"

namespace velko {
namespace {

constexpr i4 edge = 64, ncube = edge * edge * edge;

std::span<const std::byte> bytes_in(const auto& values) {
  return std::as_bytes(std::span(values));
}

void write_head(record_writer& out, i4 rows, i4 nfilter) {
  const std::vector<i4> header{rows, ncube, edge, edge, edge}, itop(std::size_t{edge} * edge, 0),
      cube{edge, edge, edge};
  const std::vector<r8> edges(3 * (edge + 1) + 1, 1.0), weights(ncube, 1.0);
  const std::vector<r8> filter(static_cast<std::size_t>(nfilter), 0.5);
  const i4 kind = 1;
  out.write({bytes_in(header)});
  out.write({bytes_in(edges)});
  out.write({bytes_in(itop)});
  out.write({bytes_of(nfilter), bytes_in(filter)});
  out.write({bytes_in(cube)});
  out.write({bytes_of(kind), bytes_in(weights)});
}

/// A file of rows that are all alike: `nnz` entries a row, or dense for 0.
std::string make_file(i4 nnz) {
  const std::string name =
      std::filesystem::temp_directory_path() / ("velko_bench_" + std::to_string(nnz) + ".mtx");
  const i8 row_bytes = nnz > 0 ? i8{8} * nnz : i8{4} * ncube;
  const i4 rows = static_cast<i4>(wanted_bytes() / row_bytes);
  output_file file(name);
  record_writer out(file);
  write_head(out, rows, nnz > 0 ? 4 : 0);
  const std::vector<i4> idx(static_cast<std::size_t>(nnz), 7);
  const std::vector<r4> val(static_cast<std::size_t>(nnz > 0 ? nnz : ncube), 0.25F);
  for (i4 i = 0; i < rows; ++i) {
    if (nnz > 0)
      out.write({bytes_of(nnz), bytes_in(idx), bytes_in(val)});
    else
      out.write({bytes_in(val)});
  }
  out.write({bytes_in(std::vector<r8>(ncube, 1.0))});
  file.keep();
  return name;
}

const std::string& file_with_rows_of(i4 nnz) {
  static std::vector<std::pair<i4, std::string>> made;
  for (const auto& [n, name] : made)
    if (n == nnz) return name;
  return made.emplace_back(nnz, make_file(nnz)).second;
}

bool loaded(i4 nnz) {
  if (nnz == 0) return store.Gfull.size() > 0 && store.Gfull(ncube, store.Gfull.extent(2)) == 0.25F;
  if (store.Gs.size() == 0) return false;
  const sparse_row& last = store.Gs(store.Gs.size());
  return last.idx.size() == nnz && last.idx(nnz) == 7;
}

void set_bytes(benchmark::State& state, const std::string& name) {
  state.SetBytesProcessed(state.iterations() * static_cast<i8>(std::filesystem::file_size(name)));
}

void BM_getpar(benchmark::State& state) {
  const i4 nnz = static_cast<i4>(state.range(0));
  const std::string& name = file_with_rows_of(nnz);
  const capture quiet(console());
  for (auto _ : state) {
    reset_state();
    getpar(name);
  }
  if (!loaded(nnz)) state.SkipWithError("wrong store");
  reset_state();
  set_bytes(state, name);
}

/// The machine's limit for any reader: what `cat FILE > /dev/null` has to do.
void BM_read_and_drop(benchmark::State& state) {
  const std::string& name = file_with_rows_of(static_cast<i4>(state.range(0)));
  std::vector<char> buffer(std::size_t{128} << 10);
  for (auto _ : state) {
    const int file = open(name.c_str(), O_RDONLY);
    while (read(file, buffer.data(), buffer.size()) > 0) benchmark::ClobberMemory();
    close(file);
  }
  set_bytes(state, name);
}

/// The limit for a reader that keeps what it reads: one read into fresh memory, with and without huge pages.
void BM_read_and_keep(benchmark::State& state) {
  const std::string& name = file_with_rows_of(static_cast<i4>(state.range(0)));
  const bool huge_pages = state.range(1) != 0;
  const auto bytes = std::filesystem::file_size(name);
  for (auto _ : state) {
    auto* target = static_cast<char*>(acquire_bytes(bytes, false));
    if (!huge_pages) madvise(target, bytes, MADV_NOHUGEPAGE);
    const int file = open(name.c_str(), O_RDONLY);
    for (std::size_t at = 0; at < bytes;)
      at += static_cast<std::size_t>(std::max<ssize_t>(1, read(file, target + at, bytes - at)));
    close(file);
    benchmark::DoNotOptimize(target);
    release_bytes(target, bytes);
  }
  set_bytes(state, name);
}

constexpr int dense = 0, short_rows = 100, long_rows = 13000;

BENCHMARK(BM_getpar)
    ->Arg(long_rows)
    ->Arg(short_rows)
    ->Arg(dense)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_read_and_drop)->Arg(long_rows)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_read_and_keep)
    ->Args({long_rows, 1})
    ->Args({long_rows, 0})
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace velko
