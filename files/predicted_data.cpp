#include "files/predicted_data.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string>
#include <system_error>
#include <utility>

#include "reports/program_stop.h"
#include "store/state.h"
#include "text/number_layout.h"

namespace velko {

namespace {

[[noreturn]] void fail_to_write(const std::string& name, int reason) {
  throw std::system_error(reason, std::generic_category(), "cannot write " + name);
}

/// Unit 22: an output file, written in large pieces.
class text_output {
 public:
  explicit text_output(std::string_view name)
      : name_(without_trailing_blanks(name)),
        file_(open(name_.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666)) {
    if (file_ < 0) fail();
    text_.reserve(piece + longest_line);
  }
  text_output(const text_output&) = delete;
  text_output& operator=(const text_output&) = delete;
  ~text_output() {
    if (file_ >= 0) ::close(file_);
  }

  /// The text to which the next line is to be appended.
  std::string& line() { return text_; }

  void end_line() {
    text_ += '\n';
    if (text_.size() >= piece) write_text();
  }

  void close() {
    write_text();
    if (::close(std::exchange(file_, -1)) != 0) fail();
  }

 private:
  static constexpr std::size_t piece = std::size_t{256} << 10, longest_line = 100;

  [[noreturn]] void fail() const { fail_to_write(name_, errno); }

  void write_text() {
    std::string_view left = text_;
    while (!left.empty()) {
      const auto written = write(file_, left.data(), left.size());
      if (written < 0 && errno != EINTR) fail();
      left.remove_prefix(static_cast<std::size_t>(std::max<decltype(written)>(written, 0)));
    }
    text_.clear();
  }

  std::string name_;
  int file_;
  std::string text_;
};

void write_header(text_output& out) {
  std::string& line = out.line();
  for (r8 x : {survey.incl, survey.decl, survey.geomag}) append_fixed(line, x, 10, 2);
  line += "  !! incl, decl, geomag";
  out.end_line();
  for (r8 x : {survey.aincl, survey.adecl}) append_fixed(line, x, 10, 2);
  append_integer(line, survey.idir, 7);
  line += "     !! aincl, adecl, idir";
  out.end_line();
  append_integer(line, survey.ndata, 7);
  line += "                         !! # of data";
  out.end_line();
}

void write_datum(text_output& out, i4 i, r8 value) {
  std::string& line = out.line();
  for (r8 x : {survey.xobs(i), survey.yobs(i), survey.zobs(i)}) append_scientific(line, x, 17, 9);
  line += "  ";
  if (survey.idir < 1) {
    for (r8 x : {survey.aincl_obs(i), survey.adecl_obs(i)}) append_scientific(line, x, 12, 4);
    line += "  ";
  }
  append_scientific(line, value, 14, 6);
  out.end_line();
}

void check_size(const std::string& name, std::ptrdiff_t size) {
  if (size < survey.ndata) stop_program("size(" + name + ") < ndata");
}

/// The short data file leaves idir as it is and gives no directions.
void check_directions() {
  if (survey.idir >= 1) return;
  check_size("aincl_obs", survey.aincl_obs.size());
  check_size("adecl_obs", survey.adecl_obs.size());
}

/// The file with predicted(i) as the value of datum i.
template <class value>
void write_survey(std::string_view file_name, value&& predicted) {
  check_directions();
  text_output out(file_name);
  write_header(out);
  for (i4 i = 1; i <= survey.ndata; ++i) write_datum(out, i, predicted(i));
  out.close();
}

/// Name of the file of one iteration, "inv_007.pre". Programs of the suite keep it in a field of 30 characters.
std::string numbered_name(std::string_view base_name, std::string_view extension, i4 iteration) {
  constexpr std::size_t longest_name = 30;
  std::string name(without_trailing_blanks(base_name));
  name += '_';
  append_integer(name, iteration, 3, 3);
  name += '.';
  name += without_trailing_blanks(extension);
  if (name.size() > longest_name) fail_to_write(name, ENAMETOOLONG);
  return name;
}

}  // namespace

void write_predicted_data(std::string_view file_name, std::span<const r8> d) {
  check_size("d", std::ssize(d));
  write_survey(file_name, [d](i4 i) { return d[static_cast<std::size_t>(i - 1)]; });
}

/// An inversion holds its data divided by their standard deviations; the product undoes that.
void write_predicted_iter(std::string_view base_name, std::string_view extension, std::span<const r8> d,
                          i4 iteration) {
  check_size("d", std::ssize(d));
  check_size("derr", survey.derr.size());
  write_survey(numbered_name(base_name, extension, iteration),
               [d](i4 i) { return d[static_cast<std::size_t>(i - 1)] * survey.derr(i); });
}

}  // namespace velko
