#include "store/record_reader.h"

#include <gmock/gmock.h>

#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "store/mapped_file.h"
#include "tests/support/sensitivity_file.h"
#include "tests/support/temporary_folder.h"

namespace velko {
namespace {

using test::bytes_of;
using test::framed;

class RecordReader : public testing::Test {
 protected:
  record_reader& over(const std::string& bytes) {
    EXPECT_TRUE(in_.open(folder_.write("records", bytes)));
    return in_;
  }
  test::temporary_folder folder_;
  record_reader in_;
};

std::vector<i4> counted(i4 n) {
  std::vector<i4> values;
  for (i4 k = 1; k <= n; ++k) values.push_back(k);
  return values;
}

TEST_F(RecordReader, TakesItemsOneByOneAndSkipsTheRest) {
  record_reader& in = over(framed(bytes_of(counted(5))) + framed(bytes_of(i4{77})));
  i4 first = 0, second = 0, next = 0;
  ASSERT_TRUE(in.begin_record() && in.read(first) && in.read(second) && in.end_record());
  ASSERT_TRUE(in.begin_record() && in.read(next) && in.end_record());
  EXPECT_EQ(first, 1);
  EXPECT_EQ(second, 2);
  EXPECT_EQ(next, 77);
}

TEST_F(RecordReader, ReadThatAsksForMoreThanTheRecordHoldsFailsForGood) {
  record_reader& in = over(framed(bytes_of(i4{1})) + framed(bytes_of(i4{2})));
  r8 wide = 0;
  i4 narrow = 0;
  ASSERT_TRUE(in.begin_record());
  EXPECT_FALSE(in.read(wide));
  EXPECT_FALSE(in.read(narrow));
  EXPECT_FALSE(in.end_record());
  EXPECT_FALSE(in.begin_record());
}

TEST_F(RecordReader, EmptyRecordHasNoItems) {
  record_reader& in = over(framed("") + framed(bytes_of(i4{3})));
  i4 value = 0;
  ASSERT_TRUE(in.begin_record() && in.end_record());
  ASSERT_TRUE(in.begin_record() && in.read(value) && in.end_record());
  EXPECT_EQ(value, 3);
}

TEST_F(RecordReader, EveryPrefixOfAFileFails) {
  const std::string whole = framed(bytes_of(counted(3)));
  for (std::size_t length = 0; length < whole.size(); ++length) {
    record_reader in;
    ASSERT_TRUE(in.open(folder_.write("prefix", whole.substr(0, length))));
    std::vector<i4> values(3);
    EXPECT_FALSE(in.begin_record() && in.read_all(std::span(values)) && in.end_record()) << length;
  }
}

TEST_F(RecordReader, TrailingWordOfAnotherLengthIsAFailure) {
  record_reader& in = over(bytes_of(i4{4}) + bytes_of(i4{1}) + bytes_of(i4{5}) + "padding");
  i4 value = 0;
  ASSERT_TRUE(in.begin_record() && in.read(value));
  EXPECT_FALSE(in.end_record());
}

TEST_F(RecordReader, JoinsSegmentsOfEverySize) {
  const std::vector<i4> values = counted(50);
  for (std::size_t segment = 1; segment <= 201; segment += 3) {
    record_reader in;
    ASSERT_TRUE(in.open(folder_.write("segments", framed(bytes_of(values), segment) + framed("x", segment))));
    std::vector<i4> first(7), rest(43);
    ASSERT_TRUE(in.begin_record() && in.read_all(std::span(first)) && in.read_all(std::span(rest)) &&
                in.end_record() && in.begin_record())
        << segment;
    first.insert(first.end(), rest.begin(), rest.end());
    EXPECT_EQ(first, values) << segment;
  }
}

TEST_F(RecordReader, SkipsTheRestOfASegmentedRecord) {
  record_reader& in = over(framed(bytes_of(counted(50)), 12) + framed(bytes_of(i4{9})));
  i4 value = 0;
  ASSERT_TRUE(in.begin_record() && in.read(value) && in.end_record());
  ASSERT_TRUE(in.begin_record() && in.read(value) && in.end_record());
  EXPECT_EQ(value, 9);
}

TEST_F(RecordReader, RecordWhoseLastSegmentIsMissingFails) {
  const std::string two_segments = framed(bytes_of(counted(5)), 12);
  record_reader& in = over(two_segments.substr(0, 20));
  std::vector<i4> values(5);
  ASSERT_TRUE(in.begin_record());
  EXPECT_FALSE(in.read_all(std::span(values)));
}

TEST_F(RecordReader, LengthWordsAtTheEndsOfTheirRangeFailCleanly) {
  for (const i4 word : {std::numeric_limits<i4>::min(), std::numeric_limits<i4>::max(), -1}) {
    record_reader in;
    ASSERT_TRUE(in.open(folder_.write("extreme", bytes_of(word) + "some payload")));
    std::string taken(100, ' ');
    ASSERT_TRUE(in.begin_record());
    EXPECT_FALSE(in.read_all(std::span(taken)) && in.end_record());
  }
}

TEST_F(RecordReader, LongAndShortReadsMayAlternate) {
  const std::vector<i4> long_values = counted(300000);
  std::string bytes;
  for (int repeat = 0; repeat < 3; ++repeat)
    bytes += framed(bytes_of(i4{42}) + bytes_of(long_values) + "tail");
  record_reader& in = over(bytes);
  for (int repeat = 0; repeat < 3; ++repeat) {
    i4 count = 0;
    std::vector<i4> values(300000);
    ASSERT_TRUE(in.begin_record() && in.read(count) && in.read_all(std::span(values)) && in.end_record());
    EXPECT_EQ(count, 42);
    EXPECT_EQ(values, long_values);
  }
  EXPECT_FALSE(in.begin_record());
}

TEST_F(RecordReader, ShowsEveryByteThatIsReadOnceAndInOrder) {
  const std::vector<i4> many = counted(50000);
  const std::string bytes =
      framed(bytes_of(counted(5))) + framed(bytes_of(many)) + framed(bytes_of(counted(30000)));
  record_reader& in = over(bytes);
  std::string shown;
  in.show_to([&](std::span<const std::byte> piece) {
    shown.append(reinterpret_cast<const char*>(piece.data()), piece.size());
  });
  i4 first = 0;
  std::vector<i4> read(many.size());
  ASSERT_TRUE(in.begin_record() && in.read(first) && in.end_record());
  ASSERT_TRUE(in.begin_record() && in.read_all(std::span(read)) && in.end_record());
  ASSERT_TRUE(in.begin_record() && in.end_record());
  EXPECT_TRUE(shown == bytes);
  EXPECT_FALSE(in.begin_record());
  EXPECT_TRUE(shown == bytes);
}

TEST_F(RecordReader, SaysWhenARecordCannotHoldSoMuch) {
  record_reader& in = over(framed(bytes_of(counted(3))) + framed(bytes_of(counted(3)), 8));
  ASSERT_TRUE(in.begin_record());
  EXPECT_TRUE(in.may_hold(12));
  EXPECT_FALSE(in.may_hold(13));
  ASSERT_TRUE(in.end_record() && in.begin_record());
  EXPECT_TRUE(in.may_hold(13));  // the words of later segments are not known yet
}

TEST_F(RecordReader, SaysWhetherAByteIsLeftBehindARecord) {
  for (const std::string behind : {"", "x", "1234"}) {
    record_reader in;
    ASSERT_TRUE(in.open(folder_.write("records", framed(bytes_of(i4{1})) + behind)));
    ASSERT_TRUE(in.begin_record() && in.end_record());
    EXPECT_EQ(in.at_end(), behind.empty());
  }
}

TEST_F(RecordReader, DoesNotOpenWhatIsNoReadableFile) {
  for (const std::string& name :
       {folder_.path("missing"), folder_.path(), std::string(), std::string("   ")}) {
    record_reader in;
    EXPECT_FALSE(in.open(name)) << name;
  }
}

TEST_F(RecordReader, NameIsUsedUpToItsLastNonBlank) {
  folder_.write("file", framed(""));
  EXPECT_TRUE(in_.open(folder_.path("file") + "     "));
}

class RecordsInPlace : public RecordReader {
 protected:
  /// Records of three i4 each, then one of a single i4.
  static std::string three_alike() {
    return framed(bytes_of(counted(3))) + framed(bytes_of(std::vector<i4>{4, 5, 6})) +
           framed(bytes_of(counted(3))) + framed(bytes_of(i4{77}));
  }
  std::byte* taken(const std::string& bytes, i8 count, i8 payload) {
    over(bytes).read_in_place(file_);
    return in_.take_records_in_place(count, payload);
  }
  i4 next_item() {
    i4 item = 0;
    EXPECT_TRUE(in_.begin_record() && in_.read(item) && in_.end_record());
    return item;
  }
  mapped_file file_;
};

TEST_F(RecordsInPlace, RecordsThatAreAlikeStandAtEqualDistances) {
  const std::byte* const first = taken(three_alike(), 3, 12);
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(first, file_.bytes().data() + 4);
  EXPECT_EQ(std::memcmp(first + 20, bytes_of(std::vector<i4>{4, 5, 6}).data(), 12), 0);
  EXPECT_EQ(next_item(), 77);
}

TEST_F(RecordsInPlace, NothingIsTakenWhereRecordsDiffer) {
  std::string other_trailing_word = three_alike();
  other_trailing_word[36] = 8;  // of the second record
  const auto expect_none = [&](const std::string& bytes, i8 count, i8 payload) {
    record_reader in;
    mapped_file file;
    ASSERT_TRUE(in.open(folder_.write("records", bytes)));
    in.read_in_place(file);
    EXPECT_EQ(in.take_records_in_place(count, payload), nullptr) << count << " of " << payload;
  };
  expect_none(three_alike(), 4, 12);
  expect_none(three_alike(), 3, 8);
  expect_none(three_alike(), 3, 13);
  expect_none(three_alike(), 0, 12);
  expect_none(three_alike(), -1, 12);
  expect_none(three_alike(), std::numeric_limits<i4>::max(), i8{4} * std::numeric_limits<i4>::max());
  expect_none(other_trailing_word, 3, 12);
  expect_none(framed(bytes_of(counted(3)), 4), 1, 12);
  expect_none(three_alike().substr(0, 59), 3, 12);
}

TEST_F(RecordsInPlace, NothingIsTakenWithoutAMap) {
  EXPECT_EQ(over(three_alike()).take_records_in_place(3, 12), nullptr);
  EXPECT_EQ(next_item(), 1);
}

TEST_F(RecordsInPlace, NothingIsTakenWhereItemsAreNotAligned) {
  ASSERT_TRUE(over(framed("x") + three_alike()).begin_record() && in_.end_record());
  in_.read_in_place(file_);
  EXPECT_EQ(in_.take_records_in_place(3, 12), nullptr);
  EXPECT_EQ(next_item(), 1);
}

TEST_F(RecordsInPlace, ReadingGoesOnWhereTheMapIsGivenBack) {
  ASSERT_NE(taken(three_alike(), 2, 12), nullptr);
  in_.read_without(file_);
  EXPECT_TRUE(file_.bytes().empty());
  EXPECT_EQ(next_item(), 1);
  EXPECT_EQ(next_item(), 77);
  EXPECT_TRUE(in_.at_end());
}

TEST_F(RecordReader, HopsOverWhatIsSkippedFromOneRecordToTheNext) {
  const std::string first = framed(bytes_of(counted(5000))), second = framed(bytes_of(counted(300)), 64);
  record_reader& in = over(first + second + framed(bytes_of(i4{7})));
  ASSERT_TRUE(in.hop());
  i4 one = 0, last = 0;
  ASSERT_TRUE(in.begin_record() && in.read(one) && in.skip(4 * 4000) && in.end_record());
  EXPECT_EQ(one, 1);
  EXPECT_EQ(in.position(), static_cast<i8>(first.size()));
  ASSERT_TRUE(in.begin_record() && in.skip(4 * 299) && in.read(last) && in.end_record());
  EXPECT_EQ(last, 300);
  EXPECT_EQ(in.position(), static_cast<i8>(first.size() + second.size()));
  ASSERT_TRUE(in.begin_record() && in.read(last) && in.end_record());
  EXPECT_EQ(last, 7);
}

TEST_F(RecordReader, HopBeyondTheEndOfRecordOrFileFails) {
  const std::string record = framed(bytes_of(counted(5000)));
  {
    record_reader in;
    ASSERT_TRUE(in.open(folder_.write("whole", record)) && in.hop() && in.begin_record());
    EXPECT_FALSE(in.skip(4 * 5001));
  }
  for (const std::size_t left : {3UL, 4UL, 10000UL, record.size() - 1}) {
    record_reader in;
    ASSERT_TRUE(in.open(folder_.write("cut", record.substr(0, left))) && in.hop());
    EXPECT_FALSE(in.begin_record() && in.end_record()) << left;
  }
}

TEST_F(RecordReader, ReadsAPieceInPlaceAndGoesOnBehindIt) {
  const std::string before = framed(bytes_of(counted(2000))), piece = framed(bytes_of(counted(10)));
  record_reader in;
  ASSERT_TRUE(in.open(folder_.write("records", before + piece + framed(bytes_of(i4{7}))),
                      static_cast<i8>(before.size())));
  mapped_file file;
  in.read_in_place(file, static_cast<i8>(before.size() + piece.size()));
  EXPECT_EQ(file.bytes().size(), piece.size());
  ASSERT_TRUE(in.begin_record());
  const std::byte* ten = in.take_in_place(40);
  ASSERT_NE(ten, nullptr);
  EXPECT_EQ(reinterpret_cast<const i4*>(ten)[9], 10);
  i4 behind = 0;
  ASSERT_TRUE(in.end_record() && in.begin_record() && in.read(behind) && in.end_record());
  EXPECT_EQ(behind, 7);
}

}  // namespace
}  // namespace velko
