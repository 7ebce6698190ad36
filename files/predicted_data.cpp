#include "files/predicted_data.h"

#include <cerrno>
#include <string>
#include <system_error>

#include "files/output_file.h"
#include "reports/program_stop.h"
#include "store/state.h"
#include "text/number_layout.h"

namespace velko {

namespace {

/// Unit 22: an output file, line by line.
class text_output {
 public:
  explicit text_output(std::string_view name)
      : file_(std::string(without_trailing_blanks(name)), output_file::in_place::where_needed) {}

  /// The text of the next line.
  std::string& line() { return line_; }

  void end_line() {
    line_ += '\n';
    file_.write(std::as_bytes(std::span(line_)));
    line_.clear();
  }

  void keep() { file_.keep(); }

 private:
  output_file file_;
  std::string line_;
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
  out.keep();
}

/// Name of the file of one iteration, "inv_007.pre". Programs of the suite keep it in a field of 30 characters.
std::string numbered_name(std::string_view base_name, std::string_view extension, i4 iteration) {
  constexpr std::size_t longest_name = 30;
  std::string name(without_trailing_blanks(base_name));
  name += '_';
  append_integer(name, iteration, 3, 3);
  name += '.';
  name += without_trailing_blanks(extension);
  if (name.size() > longest_name)
    throw std::system_error(ENAMETOOLONG, std::generic_category(), "cannot write " + name);
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
