/// refused_memory_on_ranks FILE: loads a sensitivity file and forms all products, again and again. Each time one rank is refused one
/// of the blocks of memory that it asks for, the first, the second, and so on. All ranks must end alike, with the words of a refusal
/// or with the products of a run that was refused nothing. Prints what differs; the exit status is then 1. Who waits for ever is killed.
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "files/active_cells.h"
#include "mpi/spread_matrix.h"
#include "reports/channel.h"
#include "reports/program_stop.h"
#include "store/problem.h"
#include "store/state.h"

namespace {

// Of the main thread: blocks that it asked for, and the number of the one that is refused; 0 for none.
thread_local long asked_for = 0, refused = 0;

bool is_refused() {
  return ++asked_for == refused;
}

}  // namespace

void* operator new(std::size_t bytes) {
  void* const block = is_refused() ? nullptr : std::malloc(std::max<std::size_t>(bytes, 1));
  return block != nullptr ? block : throw std::bad_alloc();
}
void operator delete(void* block) noexcept {
  std::free(block);
}
void operator delete(void* block, std::size_t) noexcept {
  std::free(block);
}

/// That of the arrays: the linker puts it in the place of aligned_alloc, in this program alone (--wrap), for MPI's own blocks are none of
/// ours.
extern "C" void* __wrap_aligned_alloc(std::size_t alignment, std::size_t bytes) noexcept {
  void* block = nullptr;
  return is_refused() || posix_memalign(&block, alignment, bytes) != 0 ? nullptr : block;
}

namespace {

using namespace velko;

constexpr i8 models = 3;
using values = std::vector<r8>;

struct vectors {
  values m, d, x, y;  // of several models; y begins as x
};

void make_ready(vectors& v) {
  get_active_cells("null", mesh.itop);
  survey.ndata = store.ndata_mtx;
  v.x = v.m = v.y = values(static_cast<std::size_t>(cells.ncell * models), 0.5);
  v.d = values(static_cast<std::size_t>(survey.ndata * models));
}

template <class T>
array2<T> block(std::vector<r8>& v) {
  return array2<T>(v.data(), std::ssize(v) / models, models);
}

std::span<r8> one(values& v) {
  return std::span<r8>(v).first(v.size() / models);
}

/// The load and all products, in a problem of their own. The countdown of the refusal begins behind what is not collective.
stop_or_done run(const ranks& all, const std::string& file, vectors& v, long refuse) {
  problem mine;
  const problem_scope at(mine);
  const stop_or_done end = run_until_stop([&] {
    asked_for = 0;
    refused = refuse;
    spread_matrix G(all, file);
    all.together([&] { make_ready(v); });
    G.forward(one(v.x), one(v.d));
    G.forward_block(block<const r8>(v.x), block<r8>(v.d));
    G.adjoint_block(block<r8>(v.m), block<const r8>(v.d));
    G.normal_block(block<const r8>(v.x), block<r8>(v.y));
    G.adjoint(one(v.m), one(v.d));
    G.normal(one(v.x), one(v.y));
  });
  refused = 0;
  return end;
}

bool same(const vectors& a, const vectors& b) {
  return a.m == b.m && a.d == b.d && a.y == b.y;
}

/// Whether all ranks ended as rank 0 did.
bool is_end_of_all(const ranks& all, const stop_or_done& end) {
  stop_or_done of_first = end;
  all.broadcast(of_first.kind);
  all.broadcast(of_first.text);
  return all.least(end == of_first ? 1 : 0) == 1;
}

int check(const ranks& all, const std::string& file) {
  vectors wanted;
  if (run(all, file, wanted, 0).kind != stop_or_done::done) return 1;
  int refusals = static_cast<int>(asked_for), ends = 0;
  all.broadcast(refusals, all.size() - 1);
  for (int n = 1; n <= refusals; ++n) {
    vectors v;
    const bool mine = all.rank() == n % all.size();
    const stop_or_done end = run(all, file, v, mine ? n : 0);
    const bool done = end.kind == stop_or_done::done;
    if (!is_end_of_all(all, end) || (done && !same(v, wanted))) {
      std::printf("rank %d, block %d: %s\n", all.rank(), n, done ? "other products" : end.text.c_str());
      return 1;
    }
    ends += done ? 0 : 1;
  }
  if (all.first()) std::printf("%d refusals, %d ends\n", refusals, ends);
  constexpr int fewest = 20;  // some steps do with less memory, or with none
  return ends > fewest ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  alarm(100);
  const mpi_session mpi(argc, argv);
  const ranks all;
  console().close();  // what is refused is told there
  return argc == 2 ? check(all, argv[1]) : 2;
}
