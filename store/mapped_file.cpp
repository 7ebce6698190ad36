#include "store/mapped_file.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <utility>

namespace velko {

namespace {

// What the handler may look at. `lost` is set for good once a page of the file at hand was gone.
std::atomic<std::byte*> watched_begin = nullptr, watched_end = nullptr;
std::atomic<bool> lost = false;
struct sigaction handler_before;

std::byte* start_of_page(std::byte* at, std::uintptr_t page_bytes) {
  return at - reinterpret_cast<std::uintptr_t>(at) % page_bytes;
}

/// Puts a page of zeros where a page of the file can't be had.
bool replace_page(std::byte* at) {
  if (at < watched_begin.load() || at >= watched_end.load()) return false;
  const auto page_bytes = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  lost = true;
  return mmap(start_of_page(at, page_bytes), page_bytes, PROT_READ | PROT_WRITE,
              MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED, -1, 0) != MAP_FAILED;
}

/// The signal is held back until the handler returns, and then has its usual effect, whoever sent it.
void end_process_by(int number) {
  signal(number, SIG_DFL);
  raise(number);
}

void on_bus_error(int number, siginfo_t* info, void* context) {
  const bool by_an_access = info->si_code > 0;  // and not sent by a process
  if (by_an_access && replace_page(static_cast<std::byte*>(info->si_addr))) return;
  if ((handler_before.sa_flags & SA_SIGINFO) != 0)
    handler_before.sa_sigaction(number, info, context);
  else if (handler_before.sa_handler != SIG_DFL && handler_before.sa_handler != SIG_IGN)
    handler_before.sa_handler(number);
  else
    end_process_by(number);
}

void watch(std::span<std::byte> bytes) {
  lost = false;
  watched_begin = bytes.data();
  watched_end = bytes.data() + bytes.size();
  struct sigaction handler {};
  handler.sa_sigaction = on_bus_error;
  handler.sa_flags = SA_SIGINFO;
  sigaction(SIGBUS, &handler, &handler_before);
}

void end_watch() {
  sigaction(SIGBUS, &handler_before, nullptr);
  watched_begin = watched_end = nullptr;
}

bool same_file_state(const struct stat& a, const struct stat& b) {
  return a.st_size == b.st_size && a.st_mtim.tv_sec == b.st_mtim.tv_sec &&
         a.st_mtim.tv_nsec == b.st_mtim.tv_nsec;
}

}  // namespace

mapped_file& mapped_file::operator=(mapped_file&& other) noexcept {
  std::swap(bytes_, other.bytes_);
  std::swap(file_, other.file_);
  std::swap(at_first_, other.at_first_);
  return *this;
}

mapped_file::~mapped_file() {
  if (bytes_.empty()) return;
  end_watch();
  munmap(bytes_.data(), bytes_.size());
  close(file_);
}

bool mapped_file::map(int file) {
  if (watched_begin.load() != nullptr || fstat(file, &at_first_) != 0) return false;
  if (!S_ISREG(at_first_.st_mode) || at_first_.st_size == 0) return false;
  const auto size = static_cast<std::size_t>(at_first_.st_size);
  const int own = fcntl(file, F_DUPFD_CLOEXEC, 0);
  if (own < 0) return false;
  void* mapped = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_NORESERVE, own, 0);
  if (mapped == MAP_FAILED) {
    close(own);
    return false;
  }
  // A file that is not in memory yet comes in huge pages then (docs/rows_in_place.md). A refusal costs only time.
  madvise(mapped, size, MADV_HUGEPAGE);
  bytes_ = {static_cast<std::byte*>(mapped), size};
  file_ = own;
  watch(bytes_);
  return true;
}

bool mapped_file::intact() const {
  struct stat now {};
  return bytes_.empty() || (!lost.load() && fstat(file_, &now) == 0 && same_file_state(now, at_first_));
}

}  // namespace velko
