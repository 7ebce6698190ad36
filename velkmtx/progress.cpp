#include "velkmtx/progress.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <string>

namespace velko {

namespace {

std::atomic<int> noted_signal = 0;
static_assert(std::atomic<int>::is_always_lock_free);  // a handler writes it, any thread reads it

extern "C" void note_signal(int signal) {
  noted_signal = signal;
  std::signal(signal, SIG_DFL);
}

std::string clock_text(r8 seconds) {
  const i8 s = std::llround(seconds);
  return s < 3600 ? fmt::format("{}:{:02}", s / 60, s % 60)
                  : fmt::format("{}:{:02}:{:02}", s / 3600, s / 60 % 60, s % 60);
}

void to_terminal(const std::string& text) {
  std::fputs(text.c_str(), stderr);
  std::fflush(stderr);
}

constexpr auto clear_line = "\r\x1b[K";

}  // namespace

progress_line::progress_line(i4 rows, bool quiet)
    : rows_(rows), visible_(!quiet && isatty(STDERR_FILENO) == 1) {}

void progress_line::clear() {
  if (visible_) to_terminal(clear_line);
}

void progress_line::show(i4 done) {
  const clock::time_point now = clock::now();
  if (!visible_ || now < next_) return;
  next_ = now + std::chrono::milliseconds(200);
  constexpr i4 width = 30;
  const r8 seconds = std::chrono::duration<r8>(now - start_).count();
  const r8 rate = done / std::max(seconds, 1e-9);
  const auto filled = static_cast<std::size_t>(i8{done} * width / rows_);
  to_terminal(fmt::format("{}[{}{}] {} of {} rows, {:.1f} a second, {} left", clear_line,
                          std::string(filled, '='), std::string(width - filled, ' '), done, rows_, rate,
                          clock_text((rows_ - done) / rate)));
}

interruption::interruption() {
  noted_signal = 0;
  for (std::size_t n = 0; n < ending_signals.size(); ++n) {
    before_[n] = std::signal(ending_signals[n], note_signal);
    if (before_[n] == SIG_IGN) std::signal(ending_signals[n], SIG_IGN);  // as nohup asks
  }
}

interruption::~interruption() {
  for (std::size_t n = 0; n < ending_signals.size(); ++n) std::signal(ending_signals[n], before_[n]);
}

void interruption::look() const {
  if (noted_signal != 0) throw interrupted{noted_signal};
}

}  // namespace velko
