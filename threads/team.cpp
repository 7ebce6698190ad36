#include "threads/team.h"

#include <omp.h>
#include <pthread.h>
#include <semaphore.h>
#include <sys/mman.h>

#include <algorithm>
#include <atomic>
#include <mutex>
#include <new>
#include <vector>

#include "arrays/memory_limit.h"
#include "threads/held_signals.h"

/// LLVM's OpenMP run-time: the stack size of worker threads, in bytes, for those that are yet to start.
extern "C" void kmp_set_stacksize_s(std::size_t bytes);
extern "C" std::size_t kmp_get_stacksize_s();

namespace velko {

namespace {

constexpr std::size_t least_stack = std::size_t{256} << 10;
constexpr std::size_t run_time_needs = std::size_t{4} << 20;  // beside the stacks, for itself
// The run-time makes stacks a little larger than it was told. Those of threads that have ended are kept for the next ones, but
// only serve those that need no more.
constexpr std::size_t run_time_needs_of_a_thread = std::size_t{256} << 10;

/// Threads that wait until all of them have been started.
class waiting_threads {
 public:
  waiting_threads(int count, std::size_t stack) : end_lock_(end_) {
    sem_init(&ready_, 0, 0);
    threads_.reserve(static_cast<std::size_t>(count));
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, stack + run_time_needs_of_a_thread);
    pthread_t thread;
    while (this->count() < count && pthread_create(&thread, &attributes, wait, this) == 0) {
      threads_.push_back(thread);
      while (sem_wait(&ready_) != 0) continue;
    }
    pthread_attr_destroy(&attributes);
  }
  waiting_threads(const waiting_threads&) = delete;
  waiting_threads& operator=(const waiting_threads&) = delete;
  ~waiting_threads() {
    end_lock_.unlock();
    for (const pthread_t thread : threads_) pthread_join(thread, nullptr);
    sem_destroy(&ready_);
  }

  int count() const { return static_cast<int>(threads_.size()); }

 private:
  /// A worker of the run-time asks for its own attributes too, which takes a heap for the thread. A heap outlives its thread
  /// and serves the next.
  static void* wait(void* these) {
    auto& threads = *static_cast<waiting_threads*>(these);
    pthread_attr_t own;
    if (pthread_getattr_np(pthread_self(), &own) == 0) pthread_attr_destroy(&own);
    sem_post(&threads.ready_);
    const std::lock_guard until_the_end(threads.end_);
    return nullptr;
  }

  sem_t ready_{};
  std::mutex end_;
  std::unique_lock<std::mutex> end_lock_;
  std::vector<pthread_t> threads_;
};

bool can_map(std::size_t bytes) {
  void* mapped =
      mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  return mapped != MAP_FAILED && munmap(mapped, bytes) == 0;
}

/// So many of the workers can be had at a time, with what the run-time needs for them.
int workers_at_a_time(int wanted, std::size_t stack) {
  try {
    const held_signals hold;
    const waiting_threads all(wanted, stack);
    const auto count = static_cast<std::size_t>(all.count());
    return can_map(run_time_needs + count * run_time_needs_of_a_thread) ? all.count() : 0;
  } catch (const std::bad_alloc&) {
    return 0;
  }
}

/// With smaller stacks, where that helps and the run-time has not started its first team.
int workers_to_be_had(int wanted) {
  for (;;) {
    const std::size_t stack = kmp_get_stacksize_s();
    const int had = workers_at_a_time(wanted, stack);
    if (had == wanted || stack <= least_stack) return had;
    kmp_set_stacksize_s(std::max(stack / 2, least_stack));
    if (kmp_get_stacksize_s() >= stack) return had;
  }
}

/// Now, while what was tried can still be had.
void start_team(int threads) {
  const held_signals hold;
  std::atomic<int> started = 0;  // a region that does nothing would not be started
#pragma omp parallel num_threads(threads)
  started.fetch_add(1, std::memory_order_relaxed);
}

}  // namespace

int team_size() {
  thread_local int tried = 1, had = 1;
  const int wanted = omp_get_max_threads();
  if (omp_in_parallel() != 0 || wanted <= had) return wanted;
  if (wanted != tried) {
    tried = wanted;
    had = 1 + workers_to_be_had(wanted - 1);
    start_team(had);
  }
  return had;
}

void set_worker_stack(i8 bytes) {
  if (bytes < 1) return;
  constexpr i8 page = 4096;  // the run-time takes whole pages, the last one too
  const i8 most = memory_limit() / 4 / std::max(omp_get_max_threads() - 1, 1) / page * page;
  if (most >= page) kmp_set_stacksize_s(static_cast<std::size_t>(std::min(bytes, most)));
}

}  // namespace velko
