/// Two readers, one rule: the list-directed reader over a text in memory and over the same text in pieces
/// from a pipe, and the plain reader of the tests, have to agree on status, values, and where the next read
/// begins.
#include <fcntl.h>

#include <array>
#include <cmath>
#include <string>
#include <vector>

#include "files/list_directed.h"
#include "fuzz/fuzz_input.h"
#include "tests/support/slow_list_directed.h"

namespace {

using namespace velko;
using fuzz::expect;

constexpr std::size_t longest_text = 4096;
constexpr std::array<const char*, 6> item_types{"r", "i", "rrr", "iii", "rrirri", ""};
constexpr r8 kept = -77;

/// A pipe from which each read takes one piece, so that words and line ends fall apart at every place.
class text_in_pieces {
 public:
  text_in_pieces(std::string_view text, std::size_t piece) {
    std::array<int, 2> ends{};
    expect(pipe2(ends.data(), O_DIRECT | O_CLOEXEC) == 0);
    fcntl(ends[1], F_SETPIPE_SZ, 1 << 20);  // room for 256 pieces
    const std::size_t least = text.size() / 200 + 1;
    piece = std::max(piece, least);
    for (std::size_t at = 0; at < text.size(); at += piece) {
      const std::string_view next = text.substr(at, piece);
      expect(write(ends[1], next.data(), next.size()) == static_cast<ssize_t>(next.size()));
    }
    close(ends[1]);
    read_end_ = ends[0];
  }
  ~text_in_pieces() { close(read_end_); }
  std::string name() const { return "/proc/self/fd/" + std::to_string(read_end_); }

 private:
  int read_end_;
};

bool same(r8 a, r8 b) {
  return a == b || (std::isnan(a) && std::isnan(b));
}

void expect_same_read(text_input& in, const std::string& types, const test::slow_read& expected) {
  list_directed_read read(in);
  std::vector<r8> x(types.size(), kept);
  std::vector<i4> n(types.size(), static_cast<i4>(kept));
  for (std::size_t k = 0; k < types.size(); ++k) types[k] == 'r' ? read.item(x[k]) : read.item(n[k]);
  expect(read.finish() == expected.status);
  for (std::size_t k = 0; k < expected.values.size(); ++k)
    expect(same(types[k] == 'r' ? x[k] : n[k], expected.values[k].value_or(kept)));
}

void compare_readers(text_input& in, const std::string& text, const std::string& types) {
  const std::string plain = test::slow::with_plain_line_ends(text);
  test::slow_read expected;
  do {
    expected = test::read_slowly(plain, expected.behind, types);
    expect_same_read(in, types, expected);
  } while (expected.status == read_status::ok && expected.behind < plain.size());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t n) {
  fuzz::input in(bytes, std::min(n, longest_text));
  const std::string types = item_types[static_cast<std::size_t>(in.below(item_types.size()))];
  const auto piece = static_cast<std::size_t>(1 + in.below(8));
  const std::string text(in.rest());
  text_input whole{std::string_view(text)};
  compare_readers(whole, text, types);
  const text_in_pieces pieces(text, piece);
  text_input piecewise(pieces.name(), "data");
  compare_readers(piecewise, text, types);
  return 0;
}
