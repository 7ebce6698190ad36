/// Progress: how far a long task has come, on a terminal; and what to do when its user wants it to end.
#pragma once

#include <array>
#include <chrono>
#include <csignal>

#include "arrays/numbers.h"

namespace velko {

/// A line on the standard error stream that overwrites itself a few times a second, and is gone at the end.
class progress_line {
 public:
  /// Silent where the stream is no terminal.
  progress_line(i4 rows, bool quiet);
  progress_line(const progress_line&) = delete;
  progress_line& operator=(const progress_line&) = delete;
  ~progress_line() { clear(); }

  void show(i4 done);
  void clear();

 private:
  using clock = std::chrono::steady_clock;
  i4 rows_;
  bool visible_;
  clock::time_point start_ = clock::now(), next_ = start_;
};

/// Thrown by interruption::look.
struct interrupted {
  int signal;
};

/// What users, terminals, shells and batch systems send: Ctrl-C, Ctrl-\, a closed terminal, a job's end, no processor time
/// left.
inline constexpr std::array ending_signals{SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGXCPU};

/// While it lives, these signals are noted instead of ending the process at once. A second one of a kind ends it.
class interruption {
 public:
  interruption();
  interruption(const interruption&) = delete;
  interruption& operator=(const interruption&) = delete;
  ~interruption();

  /// Throws interrupted if one has come.
  void look() const;

 private:
  std::array<void (*)(int), ending_signals.size()> before_;
};

}  // namespace velko
