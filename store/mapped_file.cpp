#include "store/mapped_file.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <unistd.h>
#define XXH_INLINE_ALL
#include <xxhash.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <limits>
#include <mutex>
#include <new>
#include <utility>

namespace velko {

namespace {

std::uint64_t checksum_of(std::span<const std::byte> bytes) {
  return XXH3_64bits(bytes.data(), bytes.size());
}

}  // namespace

/// The addresses of one mapped file, as the handler of SIGBUS sees them.
struct watched_range {
  std::atomic<unsigned> version = 0;  // odd while the bounds change
  std::atomic<std::byte*> begin = nullptr, end = nullptr;
  std::atomic<bool> lost = false;  // set for good once a page of the file was gone
  watched_range* next = nullptr;
};

namespace {

// A list that only grows, since the handler may walk it at any time: ranges of files that were given back serve others.
std::atomic<watched_range*> first_range = nullptr;
std::mutex ranges_change;
int ranges_in_use = 0;
bool handles_bus_errors = false;
struct sigaction handler_before;
const auto page_bytes = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));

/// Whether the range holds the address. A range whose bounds change meanwhile is not in use, so it holds none.
bool holds(const watched_range& range, const std::byte* at) {
  const unsigned version = range.version.load();
  const bool inside = range.begin.load() <= at && at < range.end.load();
  return inside && version % 2 == 0 && range.version.load() == version;
}

watched_range* range_of(const std::byte* at) {
  watched_range* range = first_range.load();
  while (range != nullptr && !holds(*range, at)) range = range->next;
  return range;
}

/// Puts zeros where a page of the file can't be had, and over all that follows: a file that was cut short costs one fault,
/// not one for each page. Async-signal-safe.
bool replace_from(std::byte* at) {
  watched_range* const range = range_of(at);
  if (range == nullptr) return false;
  range->lost = true;
  std::byte* const page = at - reinterpret_cast<std::uintptr_t>(at) % page_bytes;
  const auto length = static_cast<std::size_t>(range->end.load() - page);
  if (mmap(page, length, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE | MAP_FIXED, -1,
           0) == MAP_FAILED)
    return false;
  madvise(page, length, MADV_HUGEPAGE);  // a refusal costs only time
  return true;
}

/// The signal is held back until the handler returns, and then has its usual effect, whoever sent it.
void end_process_by(int number) {
  signal(number, SIG_DFL);
  raise(number);
}

void on_bus_error(int number, siginfo_t* info, void* context) {
  const int errno_before = errno;
  const bool by_an_access = info->si_code > 0;  // and not sent by a process
  if (by_an_access && replace_from(static_cast<std::byte*>(info->si_addr))) {
    errno = errno_before;
    return;
  }
  if ((handler_before.sa_flags & SA_SIGINFO) != 0)
    handler_before.sa_sigaction(number, info, context);
  else if (handler_before.sa_handler != SIG_DFL && handler_before.sa_handler != SIG_IGN)
    handler_before.sa_handler(number);
  else
    end_process_by(number);
}

void handle_bus_errors() {
  if (handles_bus_errors) return;
  struct sigaction handler {};
  handler.sa_sigaction = on_bus_error;
  handler.sa_flags = SA_SIGINFO;
  handles_bus_errors = sigaction(SIGBUS, &handler, &handler_before) == 0;
}

/// Somebody else's handler that came later stays, and so does ours, to which it may lead.
void handle_bus_errors_no_more() {
  struct sigaction now {};
  sigaction(SIGBUS, nullptr, &now);
  if ((now.sa_flags & SA_SIGINFO) == 0 || now.sa_sigaction != on_bus_error) return;
  sigaction(SIGBUS, &handler_before, nullptr);
  handles_bus_errors = false;
}

void unblock_bus_errors() {
  sigset_t bus_errors;
  sigemptyset(&bus_errors);
  sigaddset(&bus_errors, SIGBUS);
  pthread_sigmask(SIG_UNBLOCK, &bus_errors, nullptr);
}

void set_bounds(watched_range& range, std::byte* begin, std::byte* end) {
  ++range.version;
  range.begin = begin;
  range.end = end;
  ++range.version;
}

/// Null where memory is refused.
watched_range* free_range() {
  for (watched_range* range = first_range.load(); range != nullptr; range = range->next)
    if (range->begin.load() == nullptr) return range;
  auto* range = new (std::nothrow) watched_range;
  if (range == nullptr) return nullptr;
  range->next = first_range.load();
  first_range = range;
  return range;
}

/// Null where memory is refused.
watched_range* watch(std::span<std::byte> bytes) {
  const std::lock_guard alone(ranges_change);
  watched_range* const range = free_range();
  if (range == nullptr) return nullptr;
  range->lost = false;
  set_bounds(*range, bytes.data(), bytes.data() + bytes.size());
  ++ranges_in_use;
  handle_bus_errors();
  unblock_bus_errors();
  return range;
}

void end_watch(watched_range& range) {
  const std::lock_guard alone(ranges_change);
  set_bounds(range, nullptr, nullptr);
  if (--ranges_in_use == 0) handle_bus_errors_no_more();
}

}  // namespace

mapped_file& mapped_file::operator=(mapped_file&& other) noexcept {
  std::swap(bytes_, other.bytes_);
  std::swap(in_front_, other.in_front_);
  std::swap(watched_, other.watched_);
  std::swap(file_, other.file_);
  std::swap(at_first_, other.at_first_);
  std::swap(contents_, other.contents_);
  return *this;
}

mapped_file::~mapped_file() {
  if (watched_ != nullptr) end_watch(*watched_);
  if (!bytes_.empty()) munmap(bytes_.data() - in_front_, bytes_.size() + in_front_);
  if (file_ >= 0) close(file_);
}

bool mapped_file::map(int file) {
  return map(file, 0, std::numeric_limits<i8>::max());
}

bool mapped_file::map(int file, i8 begin, i8 end) {
  mapped_file piece;
  if (!piece.map_new(file, begin, end)) return false;
  *this = std::move(piece);
  return true;
}

bool mapped_file::map_new(int file, i8 begin, i8 end) {
  at_first_ = state_of(file);
  end = std::min(end, at_first_.size);
  if (!at_first_.known || begin < 0 || begin >= end) return false;
  in_front_ = static_cast<std::size_t>(begin) % page_bytes;
  const std::size_t size = static_cast<std::size_t>(end - begin) + in_front_;
  file_ = fcntl(file, F_DUPFD_CLOEXEC, 0);
  if (file_ < 0) return false;
  void* mapped = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_NORESERVE, file_,
                      begin - static_cast<i8>(in_front_));
  if (mapped == MAP_FAILED) return false;
  bytes_ = {static_cast<std::byte*>(mapped) + in_front_, size - in_front_};
  // A file that is not in memory yet comes in huge pages then (docs/rows_in_place.md). A refusal costs only time.
  madvise(mapped, size, MADV_HUGEPAGE);
  watched_ = watch({static_cast<std::byte*>(mapped), size});
  return watched_ != nullptr;
}

bool mapped_file::unchanged() const {
  return bytes_.empty() || (!watched_->lost.load() && state_of(file_) == at_first_);
}

void mapped_file::note_contents() {
  if (bytes_.empty() || contents_ || !unchanged()) return;
  const std::uint64_t sum = checksum_of(bytes_);
  if (unchanged()) contents_ = sum;
}

bool mapped_file::intact() {
  if (unchanged()) return true;
  const file_state now = state_of(file_);
  const bool same = contents_ ? now.size == at_first_.size && checksum_of(bytes_) == *contents_
                              : written_alike(now, at_first_);
  if (!same) return false;
  at_first_ = now;
  return unchanged();
}

std::string mapped_file::name_of_open_file() const {
  return "/proc/self/fd/" + std::to_string(file_);
}

}  // namespace velko
