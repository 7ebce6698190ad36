/// messages_on_ranks MESSAGE_BYTES: vectors that take several messages of that size come through whole, in all ways. A rank
/// that gets anything else says so, and its exit status is 1. A step that stops on one rank stops on all.
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "mpi/ranks.h"
#include "reports/program_stop.h"

using namespace velko;

namespace {

int faults = 0;

void expect(bool holds, const char* what) {
  if (holds) return;
  ++faults;
  std::printf("%s\n", what);
}

std::vector<r8> numbers(std::size_t n, r8 from) {
  std::vector<r8> all(n);
  for (std::size_t k = 0; k < n; ++k) all[k] = from + static_cast<r8>(k);
  return all;
}

void check_length(const ranks& all, std::size_t n) {
  std::vector<r8> v = all.first() ? numbers(n, 1) : std::vector<r8>{};
  all.broadcast(v);
  expect(v == numbers(n, 1), "broadcast");

  std::vector<i8> begin{0};
  for (int r = 0; r < all.size(); ++r) begin.push_back(static_cast<i8>(n) * (r + 1) / all.size());
  const auto mine = static_cast<std::size_t>(all.rank());
  std::vector<r8> shared(n, -1.0);
  for (i8 k = begin[mine]; k < begin[mine + 1]; ++k)
    shared[static_cast<std::size_t>(k)] = static_cast<r8>(k + 1);
  all.share(shared, begin);
  expect(shared == numbers(n, 1), "share");

  std::vector<r8> sum = numbers(n, all.rank());
  all.sum(sum);
  for (std::size_t k = 0; k < n; ++k)
    expect(sum[k] == all.size() * static_cast<r8>(k) + all.size() * (all.size() - 1) / 2, "sum");

  std::vector<r8> from_before(n, -1.0), own = numbers(n, 100 * all.rank());
  {
    messages under_way;
    if (!all.first()) all.receive(from_before, all.rank() - 1, under_way);
    if (!all.last()) all.send(own, all.rank() + 1, under_way);
  }
  expect(all.first() || from_before == numbers(n, 100 * (all.rank() - 1)), "send and receive");
}

void check_stops(const ranks& all) {
  const stop_or_done end = run_until_stop([&] {
    all.together([&] {
      if (all.last()) stop_program("the last rank stops");
    });
  });
  expect(end == stop_or_done{stop_or_done::stopped, "the last rank stops"}, "stop of one rank");
  const stop_or_done failed = run_until_stop([&] { all.together([] { throw std::bad_alloc(); }); });
  expect(failed == stop_or_done{stop_or_done::failed, "velko: out of memory"}, "failure of all ranks");
}

}  // namespace

int main(int argc, char** argv) {
  const mpi_session mpi(argc, argv);
  const ranks all;
  if (argc != 2) return 2;
  largest_message() = std::atoll(argv[1]);
  for (const std::size_t n : {0UL, 1UL, 2UL, 7UL, 8UL, 9UL, 64UL, 1000UL}) check_length(all, n);
  check_stops(all);
  return faults == 0 ? 0 : 1;
}
