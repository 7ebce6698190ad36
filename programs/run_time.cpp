#include "programs/run_time.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace velko {

namespace {

constexpr const char* number_of_threads = "OMP_NUM_THREADS";
constexpr const char* others_are_allowed = "KMP_DUPLICATE_LIB_OK";
constexpr std::array<std::string_view, 3> private_prefixes{"KMP_", "GOMP_", "LIBOMP_"};
constexpr std::array<std::string_view, 8> kept{"KMP_AFFINITY", "KMP_BLOCKTIME",       "KMP_HW_SUBSET",
                                               "KMP_LIBRARY",  "KMP_SETTINGS",        "KMP_VERSION",
                                               "KMP_WARNINGS", "KMP_DUPLICATE_LIB_OK"};
constexpr std::array<std::string_view, 2> told_elsewhere{"OMP_DISPLAY_AFFINITY", "OMP_TOOL_VERBOSE_INIT"};

std::string_view without_blanks_around(std::string_view text) {
  constexpr std::string_view blanks = " \t";
  text.remove_prefix(std::min(text.find_first_not_of(blanks), text.size()));
  return text.substr(0, text.find_last_not_of(blanks) + 1);
}

/// The number at the front of a list; nothing where the list is none.
std::optional<int> first_of_list(std::string_view list) {
  if (list.find_first_not_of("0123456789, \t") != std::string_view::npos) return {};
  list = without_blanks_around(list.substr(0, list.find(',')));
  int number = 0;
  const auto [end, error] = std::from_chars(list.data(), list.data() + list.size(), number);
  if (error == std::errc::result_out_of_range) return most_threads();
  if (list.empty() || end != list.data() + list.size()) return {};
  return std::clamp(number, 1, most_threads());
}

void mend_number_of_threads() {
  const char* set = std::getenv(number_of_threads);
  if (set == nullptr) return;
  const std::optional<int> number = first_of_list(set);
  if (number) {
    setenv(number_of_threads, std::to_string(*number).c_str(), 1);
    return;
  }
  if (!without_blanks_around(set).empty())
    std::fprintf(stderr, "velko: %s is no number of threads, and is not used\n", number_of_threads);
  unsetenv(number_of_threads);
}

template <std::size_t n>
bool is_one_of(const std::array<std::string_view, n>& names, std::string_view name) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

bool is_private(std::string_view name) {
  return std::any_of(private_prefixes.begin(), private_prefixes.end(),
                     [&](std::string_view prefix) { return name.starts_with(prefix); });
}

/// The run-time reads numbers with 32 bits, and ends the process where one overflows.
bool holds_a_long_number(std::string_view text) {
  constexpr int most_digits = 9;
  int digits = 0;
  return std::any_of(text.begin(), text.end(), [&](char c) {
    digits = '0' <= c && c <= '9' ? digits + 1 : 0;
    return digits > most_digits;
  });
}

bool is_dropped(std::string_view name, std::string_view value) {
  const bool is_own = is_private(name);
  return is_one_of(told_elsewhere, name) || (is_own && !is_one_of(kept, name)) ||
         ((is_own || name.starts_with("OMP_")) && holds_a_long_number(value));
}

void drop_settings() {
  std::vector<std::string> names;
  for (char** setting = environ; *setting != nullptr; ++setting) {
    const std::string_view text = *setting;
    const std::string_view name = text.substr(0, text.find('='));
    if (is_dropped(name, text.substr(name.size()))) names.emplace_back(name);
  }
  for (const std::string& name : names) unsetenv(name.c_str());
}

/// The run-time dies of its own setting where it tells of places that the standard's settings made.
void choose_places() {
  if (std::getenv("OMP_PLACES") != nullptr || std::getenv("OMP_PROC_BIND") != nullptr)
    unsetenv("KMP_AFFINITY");
}

/// A page of them in memory where the program has no devices, as in a bare chroot. The limit of file sizes binds the page.
int open_zeros() {
  constexpr off_t page = 4096;
  int file = open("/dev/zero", O_RDWR | O_CLOEXEC);
  if (file < 0 && (file = memfd_create("zeros", MFD_CLOEXEC)) >= 0) static_cast<void>(ftruncate(file, page));
  return file;
}

}  // namespace

int most_threads() {
  return std::max(1024, static_cast<int>(std::thread::hardware_concurrency()));
}

void prepare_run_time() {
  mend_number_of_threads();
  drop_settings();
  choose_places();
  setenv(others_are_allowed, "TRUE", 1);  // see shm_open below
}

}  // namespace velko

/// Stands in for that of the system in the programs that link this file: the run-time asks for shared memory to enter itself
/// there. It is told that the memory is there already, and gets one that holds nothing, which it takes for that of another
/// run-time; so it neither writes nor removes anything, whatever /dev/shm and the limit of file sizes are. Others, such as MPI,
/// get the system's.
extern "C" int shm_open(const char* name, int flags, mode_t mode) {
  using opener = int (*)(const char*, int, mode_t);
  if (!std::string_view(name).starts_with("/__KMP_REGISTERED_LIB_"))
    return reinterpret_cast<opener>(dlsym(RTLD_NEXT, "shm_open"))(name, flags, mode);
  const bool makes_one = (flags & O_CREAT) != 0, only_reads = (flags & O_ACCMODE) == O_RDONLY;
  if (makes_one || only_reads) {
    errno = makes_one ? EEXIST : ENOENT;
    return -1;
  }
  return velko::open_zeros();
}
