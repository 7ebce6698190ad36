#include "python/library_call.h"

#include <pybind11/pybind11.h>
#include <signal.h>

#include <atomic>
#include <exception>
#include <mutex>
#include <sstream>
#include <vector>

#include "arrays/floating_point_mode.h"
#include "reports/interruption.h"
#include "reports/told_end.h"

namespace py = pybind11;

namespace velko::python {

namespace {

std::mutex in_the_library;

/// Not of the kind that run_until_stop takes for a failure of the library.
struct ended_by_python {
  std::exception_ptr failure;
};

struct sigaction handler_of_python;

void note_interrupt(int number) {
  ask_for_interruption();
  handler_of_python.sa_handler(number);
}

/// While it lives, Ctrl-C is noted on its way to Python, whose own handler notes it too and acts after the call.
class interrupt_watch {
 public:
  interrupt_watch() {
    forget_interruption();
    sigaction(SIGINT, nullptr, &handler_of_python);
    watching_ = (handler_of_python.sa_flags & SA_SIGINFO) == 0 && handler_of_python.sa_handler != SIG_DFL &&
                handler_of_python.sa_handler != SIG_IGN;
    if (!watching_) return;
    struct sigaction noting = handler_of_python;
    noting.sa_handler = note_interrupt;
    sigaction(SIGINT, &noting, nullptr);
  }
  interrupt_watch(const interrupt_watch&) = delete;
  interrupt_watch& operator=(const interrupt_watch&) = delete;
  ~interrupt_watch() {
    if (watching_) sigaction(SIGINT, &handler_of_python, nullptr);
    forget_interruption();
  }

 private:
  bool watching_ = false;
};

struct outcome {
  told_end told;
  bool was_interrupted = false;
  std::exception_ptr of_python = nullptr;
  text_fault fault = {};
};

/// Nothing where the file can't be looked at again.
text_fault fault_by(const diagnosis_of_file& explain) {
  text_fault fault;
  if (explain) run_until_stop([&] { fault = explain(); });
  return fault;
}

outcome run(problem& p, const std::function<void()>& body, const diagnosis_of_file& explain) {
  const std::lock_guard turn(in_the_library);
  const interrupt_watch watch;
  outcome result;
  try {
    const stop_or_done taken = run_until_stop([&] {
      const problem_scope in_place(p);
      const flush_to_zero_scope mode;
      result.told = run_and_tell(body);
    });
    if (taken.kind != stop_or_done::done) result.told.end = taken;
  } catch (const ended_by_python& by_python) {
    result.of_python = by_python.failure;
  }
  result.was_interrupted = interruption_is_asked_for();
  if (result.told.end.kind != stop_or_done::done && !result.was_interrupted) result.fault = fault_by(explain);
  return result;
}

std::vector<std::string> lines_of(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);)
    if (const auto first = line.find_first_not_of(' '); first != std::string::npos)
      lines.push_back(line.substr(first));
  return lines;
}

/// Some words begin with the program that they were made for.
std::string without_program(const std::string& text) {
  for (const std::string_view program : {"velkmtx: ", "velko: "})
    if (text.starts_with(program)) return text.substr(program.size());
  return text;
}

std::string joined(const std::vector<std::string>& lines) {
  std::string text;
  for (const std::string& line : lines) text += (text.empty() ? "" : "\n") + line;
  return text;
}

[[noreturn]] void raise(const py::object& error) {
  PyErr_SetObject(reinterpret_cast<PyObject*>(Py_TYPE(error.ptr())), error.ptr());
  throw py::error_already_set();
}

template <class T>
py::object unless(bool absent, const T& value) {
  return absent ? py::object(py::none()) : py::object(py::cast(value));
}

/// Readers put the line that they can't read, or the file's name, below their message.
[[noreturn]] void raise_stop(const outcome& result, const std::string& file) {
  std::vector<std::string> words = lines_of(result.told.console);
  if (!result.told.end.text.empty()) words.push_back(without_program(result.told.end.text));
  const py::module_ errors = py::module_::import("velko.errors");
  if (file.empty()) raise(errors.attr("Error")(joined(words)));
  if (words.size() == 2 && words[1] == file) words.pop_back();
  const text_fault& fault = result.fault;
  std::string line = fault.text;
  if (words.size() == 2 && words[0].starts_with("ERROR")) {
    if (line.empty()) line = words[1];
    words.pop_back();
  }
  raise(errors.attr("FileError")(file, joined(words), unless(fault.line == 0, fault.line),
                                 unless(fault.column == 0, fault.column), unless(line.empty(), line),
                                 unless(fault.empty(), fault.words)));
}

[[noreturn]] void raise_failure(const outcome& result, const std::string& file) {
  const std::string& text = result.told.end.text;
  if (text.find("memory") != std::string::npos) {
    PyErr_SetString(PyExc_MemoryError, text.c_str());
    throw py::error_already_set();
  }
  raise_stop(result, file);
}

/// Python's own handler decides what Ctrl-C means; where it means nothing, the work is lost all the same.
[[noreturn]] void raise_interrupt() {
  if (PyErr_CheckSignals() == 0) PyErr_SetNone(PyExc_KeyboardInterrupt);
  throw py::error_already_set();
}

void warn(const std::string& said) {
  const std::vector<std::string> words = lines_of(said);
  if (words.empty()) return;
  const py::object category = py::module_::import("velko.errors").attr("LibraryWarning");
  if (PyErr_WarnEx(category.ptr(), joined(words).c_str(), 2) != 0) throw py::error_already_set();
}

}  // namespace

void in_library(problem& p, const std::string& file, const std::function<void()>& body,
                const diagnosis_of_file& explain, console_lines lines) {
  outcome result;
  {
    const py::gil_scoped_release others_run;
    result = run(p, body, explain);
  }
  if (result.of_python) std::rethrow_exception(result.of_python);
  if (result.was_interrupted && result.told.end.kind != stop_or_done::done) raise_interrupt();
  if (result.told.end.kind == stop_or_done::stopped) raise_stop(result, file);
  if (result.told.end.kind == stop_or_done::failed) raise_failure(result, file);
  if (lines == console_lines::warnings) warn(result.told.console);
}

void with_python(const std::function<void()>& body) {
  const py::gil_scoped_acquire python;
  try {
    body();
  } catch (py::error_already_set&) {
    throw ended_by_python{std::current_exception()};
  }
}

void hold_library() {
  const py::gil_scoped_release others_run;
  in_the_library.lock();
}

void free_library() {
  in_the_library.unlock();
}

}  // namespace velko::python
