#include "builder/text_diagnosis.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string_view>
#include <vector>

#include "files/data_file.h"
#include "reports/reports.h"
#include "text/number_text.h"

namespace velko {

namespace {

constexpr std::size_t longest_line = 1000;  // of a location file, as far as it is read

bool is_blank(char c) {
  return c == ' ' || c == '\t' || c == '\r';
}

/// The whole file; nothing where it is not a regular one, such as a pipe that has run dry.
std::optional<std::string> text_of(const std::string& name) {
  std::error_code unknown;
  if (!std::filesystem::is_regular_file(name, unknown)) return std::nullopt;
  std::ifstream file(name, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(file), {});
}

enum class kind { real, integer };

/// Goes through values in free form, from a place in a text on.
class value_walk {
 public:
  explicit value_walk(std::string_view text) : text_(text) {}

  /// Takes a value of a kind. False where something else stands, or nothing; it is then at hand.
  bool take(kind wanted) {
    if (repeats_ == 0) value_ = {};
    if (slash_ || pass_repeat()) return true;
    pass_separators();
    if (at_ == text_.size()) return false;
    if (text_[at_] == '/') return slash_ = true;
    if (text_[at_] == ',') return true;  // a null value; its comma is passed with the next separators
    const std::string_view word = this->word();
    if (!is_value(word, wanted) && !begin_repeats(word, wanted)) return false;
    at_ += word.size();
    value_ = word;
    return true;
  }
  /// The next values begin on a new line.
  void end_line() {
    at_ = std::min(text_.find('\n', at_), text_.size());
    slash_ = false;
    repeats_ = 0;
    comma_may_follow_ = false;
  }
  std::string_view word() const {
    std::size_t end = at_;
    while (end < text_.size() && !is_blank(text_[end]) && text_[end] != '\n' && text_[end] != ',' &&
           text_[end] != '/')
      ++end;
    return text_.substr(at_, end - at_);
  }
  bool at_end() const { return at_ == text_.size(); }
  std::size_t place() const { return at_; }
  /// That was taken last, without its repeats; empty where it was a null value.
  std::string_view value() const { return value_.substr(value_.find('*') + 1); }
  std::size_t place_of_value() const { return at_ - value().size(); }

 private:
  static bool is_value(std::string_view word, kind wanted) {
    r8 real = 0;
    i4 integer = 0;
    return wanted == kind::real ? is_number(word, real) : is_number(word, integer);
  }
  bool begin_repeats(std::string_view word, kind wanted) {
    const std::size_t star = word.find('*');
    i4 count = 0;
    if (star == word.npos || !is_number(word.substr(0, star), count) || count < 1) return false;
    const std::string_view constant = word.substr(star + 1);
    if (!constant.empty() && !is_value(constant, wanted)) return false;
    repeats_ = count - 1;
    return true;
  }
  bool pass_repeat() {
    if (repeats_ == 0) return false;
    --repeats_;
    return true;
  }
  void pass_separators() {
    const auto pass_blanks = [&] {
      while (at_ < text_.size() && (is_blank(text_[at_]) || text_[at_] == '\n')) ++at_;
    };
    pass_blanks();
    if (comma_may_follow_ && at_ < text_.size() && text_[at_] == ',') {
      ++at_;
      pass_blanks();
    }
    comma_may_follow_ = true;
  }

  std::string_view text_, value_;
  std::size_t at_ = 0;
  i8 repeats_ = 0;
  bool slash_ = false, comma_may_follow_ = false;
};

bool begins_with_letter(std::string_view word) {
  return !word.empty() && std::isalpha(static_cast<unsigned char>(word.front())) != 0;
}

std::string quoted(std::string_view word) {
  constexpr std::size_t longest = 40;
  return word.size() > longest ? fmt::format("'{}...'", word.substr(0, longest)) : fmt::format("'{}'", word);
}

/// Where a place is, counted from 1.
struct line_and_column {
  std::size_t line, column;
};
line_and_column position_of(std::string_view text, std::size_t place) {
  const std::string_view before = text.substr(0, place);
  const std::size_t line_feed = before.rfind('\n');
  return {static_cast<std::size_t>(std::count(before.begin(), before.end(), '\n')) + 1,
          line_feed == before.npos ? place + 1 : place - line_feed};
}

/// Causes that show in the characters themselves.
std::string cause_in_characters(std::string_view text, std::string_view word, std::string_view comments) {
  if (text.starts_with("\xff\xfe") || text.starts_with("\xfe\xff") ||
      text.substr(0, 4).find('\0') != text.npos)
    return "the file is UTF-16; save it as plain text";
  if (word.starts_with("\xef\xbb\xbf"))
    return "a byte order mark stands in front; save the file without one, as plain UTF-8";
  if (word.starts_with('#') || word.starts_with("//") || word.starts_with('!') || word.ends_with('!'))
    return std::string(comments);
  if (word.find(';') != word.npos) return "values stand between blanks or commas, not semicolons";
  if (word.starts_with('"') || word.starts_with('\'')) return "numbers have no quotes";
  return {};
}

/// The text, and what is said of its first place that does not fit.
class diagnosis {
 public:
  diagnosis(std::string_view text, std::string_view comments) : text_(text), comments_(comments) {}

  text_fault bad_word(std::size_t place, std::string_view word, const std::string& wanted,
                      std::string cause) const {
    if (const std::string plain = cause_in_characters(text_, word, comments_); !plain.empty()) cause = plain;
    const auto [line, column] = position_of(text_, place);
    return {fmt::format("line {}, column {}: {} where {} is wanted", line, column, quoted(word), wanted) +
                behind(cause),
            static_cast<i8>(line), static_cast<i8>(column), line_at(place)};
  }
  text_fault line_ends(std::size_t place, const std::string& wanted, const std::string& cause) const {
    return of_line(place, fmt::format(" ends where {} is wanted", wanted) + behind(cause));
  }
  /// `words` go on behind the number of the line.
  text_fault of_line(std::size_t place, const std::string& words) const {
    const std::size_t line = position_of(text_, place).line;
    return {fmt::format("line {}", line) + words, static_cast<i8>(line), 0, line_at(place)};
  }
  static text_fault file_ends(const std::string& wanted, const std::string& cause) {
    return {"the file ends where " + wanted + " is wanted" + behind(cause)};
  }

 private:
  static std::string behind(const std::string& cause) { return cause.empty() ? "" : "; " + cause; }
  std::string line_at(std::size_t place) const {
    const std::size_t begin = place == 0 ? 0 : text_.rfind('\n', place - 1) + 1;  // npos + 1 is 0
    const std::string_view line = text_.substr(begin, text_.find('\n', begin) - begin);
    return std::string(line.substr(0, line.find_last_not_of('\r') + 1));
  }

  std::string_view text_, comments_;
};

// The data or location file: every record is a line.

struct wanted_value {
  kind type;
  std::string what;
  bool above_zero = false;
};

class data_walk {
 public:
  data_walk(std::string_view text, i4 columns)
      : text_(text), says_(text, "a comment is a line with ! in its first column"), columns_(columns) {}

  text_fault explain() {
    text_fault fault = header();
    for (i4 datum = 1; fault.empty() && datum <= ndata_; ++datum) fault = data_line(datum);
    return fault;
  }
  long count_lines() {
    long count = 0;
    while (next_line()) ++count;
    return count;
  }

 private:
  text_fault header() {
    text_fault fault = record({{kind::real, "the inclination of the inducing field"},
                               {kind::real, "its declination"},
                               {kind::real, "its strength"}},
                              "line 1");
    if (fault.empty())
      fault = record({{kind::real, "the inclination that is measured"},
                      {kind::real, "its declination"},
                      {kind::integer, "idir, 0 or 1,"}},
                     "line 2");
    i4 idir = 0;
    if (fault.empty() && is_number(value_, idir) && idir != 0 && idir != 1)
      return says_.bad_word(line_begin_ + value_place_, value_, "idir, 0 or 1,", lost_line());
    own_directions_ = idir == 0;
    if (fault.empty()) fault = record({{kind::integer, "the number of data"}}, "line 3");
    if (!fault.empty()) return fault;
    count_line_ = position_of(text_, line_begin_).line;
    if (!is_number(value_, ndata_)) ndata_ = 0;
    if (ndata_ < 1) return says_.of_line(line_begin_, fmt::format(": the number of data is {}", ndata_));
    return {};
  }

  text_fault data_line(i4 datum) {
    const auto of_datum = [&](const char* name) { return fmt::format("{} of datum {}", name, datum); };
    std::vector<wanted_value> values{
        {kind::real, of_datum("x")}, {kind::real, of_datum("y")}, {kind::real, of_datum("z")}};
    if (own_directions_) {
      values.push_back({kind::real, of_datum("the inclination")});
      values.push_back({kind::real, of_datum("the declination")});
    }
    if (columns_ == as_in_the_first_line) columns_ = numbers_behind(values.size());
    if (columns_ >= 1) values.push_back({kind::real, of_datum("the value")});
    if (columns_ >= 2) values.push_back({kind::real, of_datum("the standard deviation"), true});
    return record(values, of_datum("the line"));
  }

  /// Up to two, behind those of the station in the next line, up to a slash.
  i4 numbers_behind(std::size_t of_station) {
    const std::size_t here = next_;
    if (!next_line()) return 0;
    value_walk walk(line_.substr(0, line_.find('/')));
    std::size_t count = 0;
    while (count < of_station + 2 && walk.take(kind::real)) ++count;
    next_ = here;
    return static_cast<i4>(std::max(count, of_station) - of_station);
  }

  /// A line with so many values.
  text_fault record(const std::vector<wanted_value>& values, const std::string& name) {
    if (!next_line()) return says_.file_ends(name, cause_of_end());
    value_walk walk(line_);
    for (const wanted_value& v : values) {
      if (!walk.take(v.type)) {
        const std::size_t place = line_begin_ + walk.place();
        return walk.at_end() ? says_.line_ends(place, v.what, cause_of_short_line())
                             : says_.bad_word(place, walk.word(), v.what,
                                              cause_of_word(walk.word(), &v == &values.front()));
      }
      value_ = walk.value();
      value_place_ = walk.place_of_value();
      r8 number = 0;
      if (v.above_zero && is_number(value_, number) && number <= 0)
        return says_.bad_word(line_begin_ + value_place_, value_, v.what, "it has to be above 0");
    }
    ++records_;
    return {};
  }

  bool next_line() {
    while (next_ < text_.size()) {
      line_begin_ = next_;
      const std::size_t end = std::min(text_.find('\n', next_), text_.size());
      line_ = text_.substr(next_, std::min(end - next_, longest_line));
      next_ = end + 1;
      const bool is_comment = line_.starts_with('!');
      if (!is_comment &&
          std::any_of(line_.begin(), line_.end(), [](char c) { return c != ' ' && c != '\r'; }))
        return true;
    }
    return false;
  }

  std::string cause_of_end() const {
    if (records_ < 3)
      return "three lines stand in front of the data: the field, what is measured, the number of data";
    return fmt::format("line {} promises {} data, and lines for {} are there", count_line_, ndata_,
                       records_ - 3);
  }
  std::string cause_of_short_line() const {
    if (records_ >= 3)
      return own_directions_ ? "with idir 0 a line begins with x y z inclination declination" : "";
    i4 count = 0;
    value_walk walk(line_);
    const bool is_count =
        walk.take(kind::integer) && is_number(walk.value(), count) && !walk.take(kind::real);
    if (!is_count) return lost_line();
    if (records_ == 0)
      return "this is the short form, which begins with the number of data; two lines have to stand in front "
             "of it: "
             "inclination, declination and strength of the inducing field; inclination and declination of "
             "what is "
             "measured, and 1";
    return lost_line();
  }
  std::string lost_line() const {
    return "three lines stand in front of the data, the field, what is measured, the number of data; is one "
           "of them "
           "missing?";
  }
  std::string cause_of_word(std::string_view word, bool is_first) const {
    if (records_ >= 3)
      return is_first && begins_with_letter(word) ? "a data line begins with x y z: no names, no identifiers"
                                                  : "";
    if (begins_with_letter(word)) return "there is no line of headings in this file";
    return records_ == 0 ? "" : lost_line();
  }

  std::string_view text_;
  diagnosis says_;
  std::size_t next_ = 0, line_begin_ = 0, value_place_ = 0, count_line_ = 0;
  std::string_view line_, value_;
  int records_ = 0;
  i4 columns_;
  bool own_directions_ = false;
  i4 ndata_ = 0;
};

// The other files: values run across lines, in groups that begin on new ones.

class mesh_walk {
 public:
  explicit mesh_walk(std::string_view text)
      : says_(text, "there are no comments in a mesh file"), walk_(text) {}

  text_fault explain() {
    const std::vector<std::string> axes{"x", "y", "z"};
    std::vector<i4> counts(3);
    for (std::size_t n = 0; n < 3; ++n) {
      if (!walk_.take(kind::integer)) return complaint("the number of cells along " + axes[n], "");
      if (!is_number(walk_.value(), counts[n])) counts[n] = 0;
    }
    walk_.end_line();
    for (const char* what : {"x of the first edge", "y of the first edge", "the elevation of the top"})
      if (!walk_.take(kind::real)) return complaint(what, "");
    walk_.end_line();
    const std::string promise = fmt::format(
        "the first line promises {} x {} x {} cells; a list of widths that is too short takes those of the "
        "next",
        counts[0], counts[1], counts[2]);
    for (std::size_t n = 0; n < 3; ++n, walk_.end_line())
      for (i4 cell = 1; cell <= counts[n]; ++cell)
        if (!walk_.take(kind::real))
          return complaint(fmt::format("width {} along {}", cell, axes[n]), promise);
    return {};
  }

 private:
  text_fault complaint(const std::string& wanted, const std::string& promise) const {
    if (walk_.at_end()) return says_.file_ends(wanted, promise);
    const bool heading = promise.empty() && begins_with_letter(walk_.word());
    return says_.bad_word(walk_.place(), walk_.word(), wanted,
                          heading ? "there is no line of headings in this file" : "");
  }

  diagnosis says_;
  value_walk walk_;
};

class topography_walk {
 public:
  explicit topography_walk(std::string_view text)
      : text_(text),
        says_(text, "comments begin with ! in the first column and stand in front of the number of points") {}

  text_fault explain() {
    std::size_t begin = 0;
    while (begin < text_.size() && text_[begin] == '!')
      begin = std::min(text_.find('\n', begin), text_.size() - 1) + 1;
    const std::string blank(begin, ' ');  // places stay those of the file
    const std::string all = blank + std::string(text_.substr(begin));
    value_walk walk(all);
    if (!walk.take(kind::integer)) return complaint(walk, "the number of points", first_cause(walk));
    i4 count = 0;
    if (!is_number(walk.value(), count)) return {};
    if (count < 1) return {"the file has no points"};
    walk.end_line();
    for (i4 point = 1; point <= count; ++point, walk.end_line())
      for (const char* name : {"x", "y", "the elevation"}) {
        const auto wanted = [&] { return fmt::format("{} of point {}", name, point); };
        if (!walk.take(kind::real))
          return complaint(walk, wanted(),
                           walk.at_end() ? fmt::format("the first line promises {} points", count) : "");
        r8 value = 0;
        if (is_number(walk.value(), value) && !std::isfinite(value))
          return says_.bad_word(walk.place_of_value(), walk.value(), wanted(), "it has to be finite");
      }
    return {};
  }

 private:
  std::string first_cause(const value_walk& walk) const {
    r8 number = 0;
    if (is_number(walk.word(), number)) return "the first line has the number of points alone";
    return begins_with_letter(walk.word()) ? "the number of points comes first; there is no line of headings"
                                           : "";
  }
  text_fault complaint(const value_walk& walk, const std::string& wanted, const std::string& cause) const {
    return walk.at_end() ? says_.file_ends(wanted, cause)
                         : says_.bad_word(walk.place(), walk.word(), wanted, cause);
  }

  std::string_view text_;
  diagnosis says_;
};

/// Values for all cells of a mesh.
class cells_walk {
 public:
  cells_walk(std::string_view text, i8 values)
      : says_(text, "there are no comments in this file"), walk_(text), values_(values) {}

  /// Each value begins on a new line.
  text_fault explain_model() {
    text_fault fault;
    for (i8 n = 1; fault.empty() && n <= values_; ++n, walk_.end_line()) fault = value(n, kind::real);
    return fault.empty() ? one_too_many(kind::real) : fault;
  }
  text_fault explain_active() {
    for (i8 n = 1; n <= values_; ++n) {
      if (text_fault fault = value(n, kind::integer); !fault.empty()) return fault;
      i4 activity = 0;
      if (is_number(walk_.value(), activity) && (activity < -1 || activity > 1))
        return says_.bad_word(walk_.place_of_value(), walk_.value(), "-1, 0 or 1", "");
    }
    walk_.end_line();
    return one_too_many(kind::integer);
  }

 private:
  text_fault value(i8 n, kind type) {
    if (walk_.take(type)) return {};
    const std::string wanted = fmt::format("value {} of {}", n, values_);
    return walk_.at_end() ? says_.file_ends(wanted, "the mesh has as many cells")
                          : says_.bad_word(walk_.place(), walk_.word(), wanted, "");
  }
  text_fault one_too_many(kind type) {
    if (!walk_.take(type)) return {};
    return says_.of_line(walk_.place_of_value(),
                         fmt::format(" has a value more than the {} cells of the mesh", values_));
  }

  diagnosis says_;
  value_walk walk_;
  i8 values_;
};

/// explain(text), where there is a text.
template <class function>
text_fault explanation(const std::string& name, function&& explain) {
  const std::optional<std::string> text = text_of(name);
  return text ? explain(std::string_view(*text)) : text_fault();
}

}  // namespace

text_fault explain_data_file(const std::string& name, i4 columns) {
  return explanation(name, [=](std::string_view text) { return data_walk(text, columns).explain(); });
}

text_fault explain_mesh_file(const std::string& name) {
  return explanation(name, [](std::string_view text) { return mesh_walk(text).explain(); });
}

text_fault explain_topography_file(const std::string& name) {
  return explanation(name, [](std::string_view text) { return topography_walk(text).explain(); });
}

text_fault explain_model_file(const std::string& name, i8 values) {
  return explanation(name, [=](std::string_view text) { return cells_walk(text, values).explain_model(); });
}

text_fault explain_active_file(const std::string& name, i8 values) {
  return explanation(name, [=](std::string_view text) { return cells_walk(text, values).explain_active(); });
}

void read_or_explain(const std::function<void()>& read, const std::function<text_fault()>& explain) {
  const stop_or_done end = run_until_stop(read);
  if (end.kind == stop_or_done::done) return;
  const std::string words = explain().words;
  if (words.empty()) stop_program(end.text);
  if (end.text.empty()) report(words);
  stop_program(end.text.empty() ? "" : end.text + ": " + words);
}

std::string told_of_lines_behind(const std::string& name, i4 ndata) {
  constexpr long header = 3;
  const std::optional<std::string> text = text_of(name);
  const long more = text ? data_walk(*text, 0).count_lines() - header - ndata : 0;
  if (more <= 0) return {};
  return fmt::format(
      "{} has {} more lines behind those of its {} data; line 3 of those that are no comments is their "
      "number",
      name, more, ndata);
}

}  // namespace velko
