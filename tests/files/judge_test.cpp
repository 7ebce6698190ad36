/// The Fortran run-time as judge: what it makes of lines of values, and how it writes numbers in fields.
#include "tests/files/judge.h"

#include <gmock/gmock.h>

#include <array>
#include <bit>
#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "files/list_directed.h"
#include "tests/files/random_lines.h"
#include "tests/support/temporary_folder.h"
#include "text/number_layout.h"

namespace velko {
namespace {

using test::hexadecimal;
using test::lines_of;
using test::output_of;

// --- list-directed reading ---------------------------------------------------------------------------------------

struct items {
  std::array<r8, 5> x;
  std::array<i4, 5> n;
  items() {
    x.fill(-77);
    n.fill(-77);
  }
};

/// One read as the judge makes it; the kinds are those of judge_list_directed.f90.
read_status read_kind(int kind, text_input& in, items& i) {
  switch (kind) {
    case 1:
      return read_list(in, i.x[0]);
    case 3:
      return read_list(in, std::span<i4>(i.n));
    case 4:
      return read_list(in, std::span<r8>(i.x));
    case 5:
    case 7:
      return read_list(in, i.x[0], i.x[1], i.n[0]);
    case 8:
      return read_list(in, i.n[0]);
    default:
      return read_list(in, i.x[0], i.x[1], i.x[2]);
  }
}

/// Status and values of a read in the judge's form. A failed read promises no values.
std::string shown(read_status status, const items& i) {
  if (status != read_status::ok) return status == read_status::end_of_input ? "-1;" : "1;";
  std::string line = "0";
  for (const r8 x : i.x) line += ' ' + hexadecimal(x);
  for (const i4 n : i.n) line += ' ' + std::to_string(n);
  return line + ';';
}

/// The judge is not asked where it is known to read otherwise than we mean to.
bool judge_is_asked(int kind, const std::string& text) {
  // A repeated constant belongs to each of its items in turn; the judge refuses one that meets both types.
  const bool mixes_types = kind == 5 || kind == 7;
  if (mixes_types && text.find('*') != text.npos) return false;
  return !test::line_begins_with_separator(text);
}

std::string our_answer(int kind, const std::string& text) {
  const bool of_line = kind >= 6;
  std::string line = text.substr(0, text.find('\n'));
  if (line.ends_with('\r')) line.pop_back();
  text_input in(of_line ? line : text);
  items first, second;
  const read_status status = read_kind(kind, in, first);
  const std::string answer = shown(status, first);
  if (of_line || status != read_status::ok) return answer;
  const read_status again = read_list(in, second.x[0], second.x[1]);
  return answer + shown(again, second);
}

TEST(Judge, FortranRunTimeReadsListsAsWeDo) {
  constexpr unsigned seed = 77123;
  constexpr int cases = 6000;
  test::random_lines random(seed);
  const test::temporary_folder folder;
  std::string list;
  std::vector<std::string> texts, ours;
  while (texts.size() < cases) {
    const int kind = 1 + static_cast<int>(random.below(8));
    const std::string text = random.text(6) + '\n', name = "case" + std::to_string(texts.size());
    if (!judge_is_asked(kind, text)) continue;
    folder.write(name, text);
    list += std::to_string(kind) + " '" + name + "'\n";
    ours.push_back(our_answer(kind, text));
    texts.push_back("kind " + std::to_string(kind) + ":\n" + text);
  }
  folder.write("cases", list);
  const auto judged = lines_of(output_of(JUDGE_LIST_DIRECTED " " + folder.path()));
  ASSERT_EQ(judged.size(), ours.size());
  for (std::size_t c = 0; c < cases; ++c) EXPECT_EQ(ours[c], judged[c]) << texts[c] << "seed " << seed;
}

// --- number layouts ----------------------------------------------------------------------------------------------

struct layout {
  const char* fortran;
  bool scientific;
  int width, decimals;
};

constexpr std::array<layout, 6> layouts{{{"F10.2", false, 10, 2},
                                         {"F20.2", false, 20, 2},
                                         {"1PE17.9", true, 17, 9},
                                         {"1PE14.6", true, 14, 6},
                                         {"1PE12.4", true, 12, 4},
                                         {"1PE11.4", true, 11, 4}}};

/// Values of every size, values near and on ties, and short decimals.
r8 any_value(std::mt19937_64& random) {
  switch (random() % 6) {
    case 0:
      return std::bit_cast<r8>(random());  // any bits
    case 1:
      return static_cast<r8>(static_cast<std::int64_t>(random() % 20001) - 10000) /
             8;  // ties in two decimals
    case 2:
      return static_cast<r8>(random() % 100000) / 100;
    case 3:
      return std::ldexp(static_cast<r8>(random() % 1000000), -static_cast<int>(random() % 40));
    case 4:
      return std::pow(10.0, static_cast<int>(random() % 616) - 308);
    default:
      return static_cast<r8>(random() % 2000001) - 1e6 + static_cast<r8>(random() % 1000) * 5e-3;
  }
}

std::string in_layout(const layout& l, r8 value) {
  std::string line;
  l.scientific ? append_scientific(line, value, l.width, l.decimals)
               : append_fixed(line, value, l.width, l.decimals);
  return line;
}

/// The judge shows the sign of a zero, and a sign in front of all that is not finite as it pleases: it is not asked.
bool judge_is_asked(r8 value, const std::string& shown) {
  return std::isfinite(value) && (value > 0 || shown.find_first_of("123456789*") != shown.npos);
}

std::string question(const std::string& layout, const std::string& value) {
  return layout + std::string(8 - layout.size(), ' ') + value + '\n';
}

TEST(Judge, FortranRunTimeWritesNumbersAsWeDo) {
  constexpr unsigned seed = 4411;
  std::mt19937_64 random(seed);
  std::string questions, ours;
  for (int trial = 0; trial < 20000; ++trial) {
    const r8 value = any_value(random);
    for (const layout& l : layouts) {
      const std::string shown = in_layout(l, value);
      if (!judge_is_asked(value, shown)) continue;
      questions += question(l.fortran, hexadecimal(value));
      ours += shown + '\n';
    }
    const auto n = static_cast<i4>(static_cast<std::int64_t>(random()) >> (32 + random() % 32));
    for (const int width : {2, 7, 8}) {
      questions += question("I" + std::to_string(width), std::to_string(n));
      append_integer(ours, n, width);
      ours += '\n';
    }
  }
  const test::temporary_folder folder;
  const std::string name = folder.write("questions", questions);
  const auto judged = lines_of(output_of(JUDGE_NUMBER_LAYOUT " < " + name)), asked = lines_of(questions),
             own = lines_of(ours);
  ASSERT_EQ(judged.size(), own.size());
  for (std::size_t a = 0; a < own.size() && !testing::Test::HasFailure(); ++a)
    EXPECT_EQ(own[a], judged[a]) << asked[a] << ", seed " << seed;
}

}  // namespace
}  // namespace velko
