#include "builder/record_writer.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <vector>

#include "files/output_file.h"
#include "tests/support/temporary_folder.h"

namespace velko {
namespace {

using test::temporary_folder;

/// Words and text in the bytes of a file.
std::string word(i4 value) {
  std::string bytes(4, '\0');
  std::memcpy(bytes.data(), &value, 4);
  return bytes;
}

bytes_view view(std::string_view text) {
  return std::as_bytes(std::span(text));
}

std::string written(const std::vector<std::string>& records, i4 limit = longest_segment) {
  temporary_folder folder;
  output_file file(folder.path("records"));
  record_writer writer(file, limit);
  for (const std::string& record : records) writer.write({view(record)});
  file.keep();
  return folder.read("records");
}

TEST(RecordWriter, FramesThePayloadWithItsLength) {
  EXPECT_EQ(written({"abc", "defgh"}), word(3) + "abc" + word(3) + word(5) + "defgh" + word(5));
}

TEST(RecordWriter, EmptyRecordIsTwoZeroLengths) {
  EXPECT_EQ(written({""}), word(0) + word(0));
}

TEST(RecordWriter, JoinsThePieces) {
  temporary_folder folder;
  output_file file(folder.path("records"));
  const i4 count = 7;
  record_writer(file).write({bytes_of(count), view(""), view("xy"), view("z")});
  file.keep();
  EXPECT_EQ(folder.read("records"), word(7) + word(7) + "xyz" + word(7));
}

TEST(RecordWriter, PayloadOfTheLimitIsOneSegment) {
  EXPECT_EQ(written({"abcd"}, 4), word(4) + "abcd" + word(4));
}

TEST(RecordWriter, LongerPayloadIsSplitWithSignsThatTellWhatComesAndWhatWent) {
  EXPECT_EQ(written({"abcdefghij"}, 4),
            word(-4) + "abcd" + word(4) + word(-4) + "efgh" + word(-4) + word(2) + "ij" + word(-2));
}

TEST(RecordWriter, SegmentsMayEndInsideAPiece) {
  temporary_folder folder;
  output_file file(folder.path("records"));
  record_writer(file, 4).write({view("abc"), view("defg"), view("h")});
  file.keep();
  EXPECT_EQ(folder.read("records"), word(-4) + "abcd" + word(4) + word(4) + "efgh" + word(-4));
}

TEST(RecordWriter, RecordBehindASegmentedOneStartsAnew) {
  EXPECT_EQ(written({"abcde", "f"}, 4),
            word(-4) + "abcd" + word(4) + word(1) + "e" + word(-1) + word(1) + "f" + word(1));
}

/// The judge's run-time splits records at 64 bytes.
class FortranJudge : public testing::TestWithParam<int> {
 protected:
  int judge(const std::string& verb, const std::string& file) const {
    const std::string command =
        std::string(JUDGE_SEGMENTS) + " " + verb + " " + std::to_string(GetParam()) + " " + file;
    return std::system(command.c_str());
  }
  temporary_folder folder;
};

TEST_P(FortranJudge, WritesTheSameBytesAndReadsOurs) {
  std::string payload;
  for (int n = 1; n <= GetParam(); ++n) payload.push_back(static_cast<char>(n % 128));
  const std::string bytes = written({payload, "end!"}, 64);
  ASSERT_EQ(judge("write", folder.path("theirs")), 0);
  EXPECT_EQ(folder.read("theirs"), bytes);
  EXPECT_EQ(judge("read", folder.write("ours", bytes)), 0);
}

INSTANTIATE_TEST_SUITE_P(Segments, FortranJudge, testing::Values(0, 1, 63, 64, 65, 127, 128, 129, 1000));

}  // namespace
}  // namespace velko
