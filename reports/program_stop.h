/// The one way to end a program of the suite: the stop is thrown, and one function catches it.
///
/// What     stop_program ends the body that run_until_stop runs; so files close, the log vanishes, and a test
///          or a fuzz target sees the stop as a value. Nothing calls exit
/// Kinds    done: the body returned. stopped: stop_program, with its text or an empty one. failed: the
///          run-time's own failure (memory that has no report of its own, input or output that the system
///          refuses), with one line that says what failed
/// See      write_end: what a main does with the value
#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace velko {

struct stop_or_done {
  enum kind_t { done, stopped, failed };
  kind_t kind = done;
  std::string text;
  friend bool operator==(const stop_or_done&, const stop_or_done&) = default;
};

[[noreturn]] void stop_program(std::string_view text = {});

/// Ends the body as another one ended, in this process or in one that told it.
[[noreturn]] void end_as(const stop_or_done& end);

stop_or_done run_until_stop(const std::function<void()>& body);

/// Flushes the console, then writes the text, where there is one, as one line to the standard error stream; a line more where
/// the console has lost words.
void write_end(const stop_or_done& end);

}  // namespace velko
