/// Text pieces: a file's text on its way, handed on in large pieces.
#pragma once

#include <fmt/format.h>

#include <iterator>
#include <span>
#include <string>
#include <utility>

#include "files/output_file.h"

namespace velko {

class text_pieces {
 public:
  explicit text_pieces(output_file& file) : file_(file) {}
  text_pieces(const text_pieces&) = delete;
  text_pieces& operator=(const text_pieces&) = delete;

  template <class... values>
  void add(fmt::format_string<values...> words, values&&... v) {
    fmt::format_to(std::back_inserter(text_), words, std::forward<values>(v)...);
    if (text_.size() > piece) flush();
  }

  /// What is left; the last call.
  void flush() {
    file_.write(std::as_bytes(std::span(text_)));
    text_.clear();
  }

 private:
  static constexpr std::size_t piece = 1 << 16;

  output_file& file_;
  std::string text_;
};

}  // namespace velko
