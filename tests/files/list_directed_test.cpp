#include "files/list_directed.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include <array>
#include <string>
#include <thread>
#include <vector>

#include "tests/files/random_lines.h"
#include "tests/files/reader_fixture.h"
#include "tests/support/slow_list_directed.h"

namespace velko {
namespace {

using testing::Each;
using testing::ElementsAre;

constexpr r8 kept = -77;  // what an item holds before the read

/// Reals of one read of n items, from a text.
struct reals {
  read_status status;
  std::vector<r8> values;
};

reals read_reals(std::string_view text, std::size_t n) {
  reals read{read_status::ok, std::vector<r8>(n, kept)};
  text_input in(text);
  read.status = read_list(in, std::span<r8>(read.values));
  return read;
}

std::vector<r8> values_of(std::string_view text, std::size_t n) {
  const reals read = read_reals(text, n);
  EXPECT_EQ(read.status, read_status::ok) << text;
  return read.values;
}

read_status integer_status(std::string_view text) {
  text_input in(text);
  i4 n = 0;
  return read_list(in, n);
}

TEST(ListDirected, PlainLineIsOneNumberAndALineFeed) {
  for (const std::string_view text : {"12.5\nrest", " \t12.5\nrest"}) {
    text_input in(text);
    r8 x = kept;
    EXPECT_TRUE(read_plain_line(in, x)) << text;
    EXPECT_EQ(x, 12.5);
    EXPECT_EQ(std::string_view(in.begin(), 4), "rest");
  }
}

TEST(ListDirected, NothingIsTakenOfAnyOtherLine) {
  for (const std::string_view text :
       {"", "\n1\n", "1", "1 \n", "1\r\n", "1,\n", "1*\n", "2*3\n", "/\n", "x\n", "1 2\n", "1e\n"}) {
    text_input in(text);
    r8 x = kept;
    EXPECT_FALSE(read_plain_line(in, x)) << text;
    EXPECT_EQ(x, kept) << text;
    EXPECT_EQ(in.begin(), text.data()) << text;
  }
}

TEST(ListDirected, PlainNumbersOfALineStandBetweenBlanksAndTabs) {
  std::vector<r8> x(3, kept);
  EXPECT_TRUE(read_plain_numbers(" 1\t2.5  -3e2 x", x));
  EXPECT_THAT(x, ElementsAre(1, 2.5, -300));
}

TEST(ListDirected, LineOfOtherWordsLeavesAllItemsAsTheyWere) {
  for (const std::string_view line :
       {"", "1 2", "1 2 ", "1,2,3", "1 2 3/", "1 2*3", "1 2 2*", "1 / 3", "1 x 3", "1 2 3\r"}) {
    std::vector<r8> x(3, kept);
    EXPECT_FALSE(read_plain_numbers(line, x)) << line;
    EXPECT_THAT(x, Each(kept)) << line;
  }
}

TEST(ListDirected, BlanksTabsAndLineEndsSeparate) {
  EXPECT_THAT(values_of("1 2", 2), ElementsAre(1, 2));
  EXPECT_THAT(values_of("  1 \t 2  ", 2), ElementsAre(1, 2));
  EXPECT_THAT(values_of("1\t2\n3", 3), ElementsAre(1, 2, 3));
}

TEST(ListDirected, OneCommaSeparatesWithBlanksAroundIt) {
  EXPECT_THAT(values_of("1,2 , 3 ,4, 5", 5), ElementsAre(1, 2, 3, 4, 5));
}

TEST(ListDirected, CommaMayStandAtTheEndOfALineOrAtTheStartOfTheNext) {
  EXPECT_THAT(values_of("1,\n2", 2), ElementsAre(1, 2));
  EXPECT_THAT(values_of("1\n,2", 2), ElementsAre(1, 2));
  EXPECT_THAT(values_of("1,\n,2", 3), ElementsAre(1, kept, 2));
}

TEST(ListDirected, RepeatFormGivesSoManyValues) {
  EXPECT_THAT(values_of("20*100.0", 20), Each(100.0));
  EXPECT_THAT(values_of("2*1 3*-2,1*5", 6), ElementsAre(1, 1, -2, -2, -2, 5));
}

TEST(ListDirected, RepeatFormRunsOverItemsAndLines) {
  text_input in("3*4\n5 6");
  r8 a = 0, b = 0, c = 0, d = 0;
  i4 n = 0;
  EXPECT_EQ(read_list(in, a, n, b, c, d), read_status::ok);
  EXPECT_EQ(a, 4);
  EXPECT_EQ(n, 4);
  EXPECT_EQ(b, 4);
  EXPECT_EQ(c, 5);
  EXPECT_EQ(d, 6);
}

TEST(ListDirected, RepeatedValuesThatNoItemTakesAreSkipped) {
  text_input in("5*1 9\n2");
  r8 a = 0, b = 0;
  EXPECT_EQ(read_list(in, a), read_status::ok);
  EXPECT_EQ(read_list(in, b), read_status::ok);
  EXPECT_EQ(a, 1);
  EXPECT_EQ(b, 2);
}

TEST(ListDirected, RepeatCountIsAPositiveInteger) {
  for (const char* text : {"0*1", "-1*1", "+2*1", "1.0*1", "*1", "a*1", "2*3*4", "00*", "1 *2"})
    EXPECT_EQ(read_reals(text, 2).status, read_status::bad_value) << text;
  EXPECT_THAT(values_of("002*7", 2), ElementsAre(7, 7));
  EXPECT_THAT(values_of("99999999999999999999999999*7", 3), Each(7));
}

TEST(ListDirected, RepeatedConstantHasToBeAValueOfItsItem) {
  EXPECT_EQ(read_reals("2*x", 2).status, read_status::bad_value);
  EXPECT_EQ(integer_status("1*1.0"), read_status::bad_value);
}

TEST(ListDirected, SlashEndsTheReadAndTheRestKeepsWhatItHeld) {
  EXPECT_THAT(values_of("1 / 2 3", 3), ElementsAre(1, kept, kept));
  EXPECT_THAT(values_of("1/2", 2), ElementsAre(1, kept));
  EXPECT_THAT(values_of("/", 2), Each(kept));
  EXPECT_THAT(values_of("1,/", 2), ElementsAre(1, kept));
  EXPECT_THAT(values_of("2*1/", 3), ElementsAre(1, 1, kept));
}

TEST(ListDirected, ReadBehindASlashBeginsOnTheNextLine) {
  text_input in("/ 1 2\n3");
  r8 a = kept, b = kept;
  EXPECT_EQ(read_list(in, a), read_status::ok);
  EXPECT_EQ(read_list(in, b), read_status::ok);
  EXPECT_EQ(a, kept);
  EXPECT_EQ(b, 3);
}

TEST(ListDirected, NullValuesLeaveTheirItemsAsTheyWere) {
  EXPECT_THAT(values_of("1,,2", 3), ElementsAre(1, kept, 2));
  EXPECT_THAT(values_of(",1", 2), ElementsAre(kept, 1));
  EXPECT_THAT(values_of(" , ,1", 3), ElementsAre(kept, kept, 1));
  EXPECT_THAT(values_of("2* 1", 3), ElementsAre(kept, kept, 1));
  EXPECT_THAT(values_of("2*,1", 3), ElementsAre(kept, kept, 1));
  EXPECT_THAT(values_of("1 1*,,2", 4), ElementsAre(1, kept, kept, 2));
}

TEST(ListDirected, IntegerItemTakesNoPointAndNoExponent) {
  EXPECT_EQ(integer_status("5"), read_status::ok);
  for (const char* text : {"5.0", "5.", "5e0", "5d0", "5+0"})
    EXPECT_EQ(integer_status(text), read_status::bad_value) << text;
}

TEST(ListDirected, AnyOtherCharacterBelongsToTheValue) {
  for (const char* text : {"1!", "1;2", "1;", "!", "'1'", "1\r2", "1\r", "\v1", "1\f"})
    EXPECT_EQ(read_reals(text, 1).status, read_status::bad_value) << text;
  EXPECT_EQ(read_reals(std::string_view("1\0", 2), 1).status, read_status::bad_value);
  EXPECT_EQ(read_reals("1\xa0", 1).status, read_status::bad_value);
}

TEST(ListDirected, TrailingCommentIsHarmlessBehindASeparator) {
  EXPECT_THAT(values_of("1 2 !! comment", 2), ElementsAre(1, 2));
  EXPECT_THAT(values_of("1 2/!", 2), ElementsAre(1, 2));
}

TEST(ListDirected, TooFewValuesAreTheEndOfInput) {
  for (const char* text : {"", " ", "\n\n", "1 2", "1,2,", "2*1", "2*1\n", "1,"})
    EXPECT_EQ(read_reals(text, 3).status, read_status::end_of_input) << text;
}

TEST(ListDirected, BadValueCountsBeforeTheEndOfInput) {
  EXPECT_EQ(read_reals("1 x", 3).status, read_status::bad_value);
}

TEST(ListDirected, BlankLinesInFrontOfAValueArePassedOver) {
  EXPECT_THAT(values_of("\n \n\t\n1", 1), ElementsAre(1));
}

TEST(ListDirected, CarriageReturnInFrontOfALineFeedBelongsToTheLineEnd) {
  EXPECT_THAT(values_of("1 2\r\n\r\n,3\r\n", 3), ElementsAre(1, 2, 3));
  EXPECT_THAT(values_of("2*5\r\n", 2), Each(5));
  EXPECT_EQ(read_reals("1\r\r\n", 1).status, read_status::bad_value);
}

TEST(ListDirected, ReadWithoutItemsSkipsOneLine) {
  text_input in("words of no meaning\n5");
  r8 a = 0;
  EXPECT_EQ(read_list(in, std::span<r8>()), read_status::ok);
  EXPECT_EQ(read_list(in, a), read_status::ok);
  EXPECT_EQ(a, 5);
}

TEST(ListDirected, ReadWithoutItemsNeedsNoLine) {
  text_input in("");
  EXPECT_EQ(read_list(in, std::span<i4>()), read_status::ok);
}

TEST(ListDirected, ScalarThatIsReadAgainKeepsItsLastValue) {
  text_input in("5\n,\n/\n6");
  r8 x = 0;
  std::vector<r8> seen;
  while (read_list(in, x) == read_status::ok) seen.push_back(x);
  EXPECT_THAT(seen, ElementsAre(5, 5, 5, 6));
}

class ListDirectedFile : public test::text_reader {};

TEST_F(ListDirectedFile, ReadThatTheSystemRefusesIsABadValue) {
  text_input in(test::unreadable_file, "data");
  r8 x = 0;
  EXPECT_EQ(read_list(in, x), read_status::bad_value);
}

TEST_F(ListDirectedFile, ValueOfAMillionDigitsIsReadAcrossBuffers) {
  const std::string long_value = "0." + std::string(1000000, '0') + "5e1000001";
  text_input in(file("1 " + long_value + " 2*" + long_value + "\n7"), "data");
  std::array<r8, 5> x{};
  EXPECT_EQ(read_list(in, std::span<r8>(x)), read_status::ok);
  EXPECT_THAT(x, ElementsAre(1, 5, 5, 5, 7));
}

TEST_F(ListDirectedFile, ValueMayHaveSixteenMebibytesAndNotOneByteMore) {
  const std::string zeros((16 << 20) - 11, '0'), exponent = "e-16777205";  // as long as there are zeros
  for (const std::string more : {"", "0"}) {
    text_input in(file('1' + zeros + more + exponent), "data");
    r8 x = kept;
    EXPECT_EQ(read_list(in, x), more.empty() ? read_status::ok : read_status::bad_value);
    EXPECT_EQ(x, more.empty() ? 1 : kept);
  }
}

TEST_F(ListDirectedFile, DeviceThatNeverEndsHoldsABadValue) {
  text_input in("/dev/zero", "data");
  r8 x = kept;
  EXPECT_EQ(read_list(in, x), read_status::bad_value);
}

TEST_F(ListDirectedFile, WholeListOnOneLine) {
  constexpr int n = 300000;
  std::string line;
  for (int i = 0; i < n; ++i) line += std::to_string(i) + ' ';
  std::vector<i4> x(n), expected(n);
  for (int i = 0; i < n; ++i) expected[static_cast<std::size_t>(i)] = i;
  text_input in(file(line), "data");
  EXPECT_EQ(read_list(in, std::span<i4>(x)), read_status::ok);
  EXPECT_TRUE(x == expected);
}

/// Writes a text to a pipe in pieces of some bytes, from a thread of its own.
class piped_text {
 public:
  piped_text(std::string text, std::size_t piece) {
    std::array<int, 2> ends{};
    if (pipe(ends.data()) != 0) throw std::runtime_error("no pipe");
    read_end_ = ends[0];
    writer_ = std::thread([text = std::move(text), piece, end = ends[1]] {
      for (std::size_t at = 0; at < text.size(); at += piece)
        if (write(end, text.data() + at, std::min(piece, text.size() - at)) < 0) break;
      close(end);
    });
  }
  ~piped_text() {
    writer_.join();
    close(read_end_);
  }
  std::string name() const { return "/proc/self/fd/" + std::to_string(read_end_); }

 private:
  int read_end_;
  std::thread writer_;
};

TEST_F(ListDirectedFile, PipeThatGivesOneByteAtATimeReadsLikeAFile) {
  const piped_text pipe("12.5,\r\n2*-3\r\n\r\n4e2 junk\r\n,6\r7\r\n", 1);
  text_input in(pipe.name(), "data");
  std::array<r8, 4> x{};
  r8 y = kept, z = kept;
  EXPECT_EQ(read_list(in, std::span<r8>(x)), read_status::ok);
  EXPECT_EQ(read_list(in, y, z), read_status::bad_value);
  EXPECT_THAT(x, ElementsAre(12.5, -3, -3, 400));
  EXPECT_EQ(y, kept);
}

// --- two readers, one rule ---------------------------------------------------------------------------------------

void expect_same_value(r8 value, const test::slow_value& expected) {
  const r8 wanted = expected.value_or(kept);
  EXPECT_TRUE(value == wanted || (std::isnan(value) && std::isnan(wanted))) << value << " and " << wanted;
}

/// Reads items of these types with the first reader and compares with what the second one says.
void expect_same_read(text_input& in, const std::string& types, const test::slow_read& expected) {
  list_directed_read read(in);
  std::vector<r8> x(types.size(), kept);
  std::vector<i4> n(types.size(), static_cast<i4>(kept));
  for (std::size_t k = 0; k < types.size(); ++k) types[k] == 'r' ? read.item(x[k]) : read.item(n[k]);
  EXPECT_EQ(read.finish(), expected.status);
  for (std::size_t k = 0; k < expected.values.size(); ++k)
    expect_same_value(types[k] == 'r' ? x[k] : n[k], expected.values[k]);
}

TEST(TwoReaders, AgreeOnRandomText) {
  constexpr unsigned seed = 5061;
  test::random_lines random(seed);
  for (int trial = 0; trial < 20000 && !testing::Test::HasFailure(); ++trial) {
    const std::string text = random.text(8), plain = test::slow::with_plain_line_ends(text);
    text_input in(text);
    SCOPED_TRACE("seed " + std::to_string(seed) + ", text:\n" + text);
    std::size_t at = 0;
    test::slow_read expected;
    do {
      const std::string types = std::string(random.below(4), 'r') + std::string(random.below(3), 'i') + "r";
      expected = test::read_slowly(plain, at, types);
      at = expected.behind;
      expect_same_read(in, types, expected);
    } while (expected.status == read_status::ok && !testing::Test::HasFailure());
  }
}

}  // namespace
}  // namespace velko
