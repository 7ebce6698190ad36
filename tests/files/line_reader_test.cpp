#include "files/line_reader.h"

#include <array>
#include <vector>

#include "tests/files/reader_fixture.h"
#include "text/number_layout.h"

namespace velko {
namespace {

using test::Logs;
using test::outcome_of;
using testing::ElementsAre;
using testing::IsEmpty;

class LineReader : public test::text_reader {
 protected:
  /// All significant lines of a text, through a buffer of this width, without their padding.
  std::vector<std::string> lines(std::string_view text, std::size_t width = 1000) {
    text_input in(file(text), "data");
    std::vector<std::string> all;
    std::string line(width, '?');
    line_count_ = 0;
    while (read_next_line(in, line, &line_count_)) all.emplace_back(without_trailing_blanks(line));
    return all;
  }
  i4 line_count_ = 0;
};

TEST_F(LineReader, BlankLinesAndCommentsAreSkippedAnywhere) {
  EXPECT_THAT(lines("! first\n\none\n   \n!two\ntwo\n\n!\n"), ElementsAre("one", "two"));
}

TEST_F(LineReader, ExclamationMarkBehindABlankMakesNoComment) {
  EXPECT_THAT(lines(" ! no comment\n"), ElementsAre(" ! no comment"));
}

TEST_F(LineReader, LineOfTabsIsNotBlank) {
  EXPECT_THAT(lines("\t\t\n"), ElementsAre("\t\t"));
}

TEST_F(LineReader, PartOfALineThatDoesNotFitIsDropped) {
  EXPECT_THAT(lines(std::string(1000, 'a') + std::string(200, 'b') + "\nc\n"),
              ElementsAre(std::string(1000, 'a'), "c"));
}

TEST_F(LineReader, LineAsWideAsTheBufferFitsWithEitherLineEnd) {
  for (const char* line_end : {"\n", "\r\n"})
    for (std::size_t width = 3; width <= 6; ++width)
      EXPECT_THAT(lines(std::string("12345") + line_end + "6", width),
                  ElementsAre(std::string("12345").substr(0, width), "6"))
          << width;
}

TEST_F(LineReader, LineFarLongerThanTheInputBufferIsDroppedToItsEnd) {
  EXPECT_THAT(lines("a" + std::string(3000000, 'b') + "\nc", 1), ElementsAre("a", "c"));
}

TEST_F(LineReader, TakenLineIsTheNextOneWhateverItHolds) {
  text_input in(file("! comment\n\n  \r\n12345678\nend"), "data");
  std::array<char, 5> buffer;
  for (const char* line : {"! com", "", "  ", "12345", "end"}) EXPECT_EQ(take_line(in, buffer), line);
  EXPECT_EQ(take_line(in, buffer), std::nullopt);
}

TEST_F(LineReader, LineIsPaddedWithBlanks) {
  text_input in(file("ab\n"), "data");
  std::string line(5, '?');
  ASSERT_TRUE(read_next_line(in, line));
  EXPECT_EQ(line, "ab   ");
}

TEST_F(LineReader, LinesPassedOverAreNotCopied) {
  text_input in(file("! one\n\n     \n!\n"), "data");
  std::string line(5, '?');
  EXPECT_FALSE(read_next_line(in, line));
  EXPECT_EQ(line, "?????");
}

TEST_F(LineReader, WithoutPaddingALineLiesWhereItIsOrInTheBufferIfItsEndIsNotInSight) {
  const std::string far(3000000, 'b');
  text_input in(file("!\nab \r\n\n1234567\n" + far + "\nlast"), "data");
  std::string buffer(5, '?');
  EXPECT_EQ(next_line(in, buffer), "ab ");
  EXPECT_EQ(next_line(in, buffer, &line_count_), "12345");
  EXPECT_EQ(line_count_, 2);
  EXPECT_EQ(buffer, "?????");
  EXPECT_EQ(next_line(in, buffer), "bbbbb");
  EXPECT_EQ(buffer, "bbbbb");
  EXPECT_EQ(next_line(in, buffer), "last");
  EXPECT_EQ(next_line(in, buffer), std::nullopt);
}

TEST_F(LineReader, LineWithItsFirstSignBeyondTheWidthIsBlank) {
  EXPECT_THAT(lines("     a\n    b\n", 5), ElementsAre("    b"));
}

TEST_F(LineReader, LastLineWithoutALineEndIsRead) {
  EXPECT_THAT(lines("one\ntwo"), ElementsAre("one", "two"));
}

TEST_F(LineReader, CarriageReturnBelongsToTheLineEndOnlyInFrontOfALineFeed) {
  EXPECT_THAT(lines("one\r\n\r\n \r\nt\rwo\r\nlast\r"), ElementsAre("one", "t\rwo", "last\r"));
}

TEST_F(LineReader, FileOfCommentsAndBlankLinesHasNoSignificantLine) {
  EXPECT_THAT(lines("! one\n\n   \n!\n"), IsEmpty());
  EXPECT_THAT(lines(""), IsEmpty());
}

TEST_F(LineReader, CountsSkippedLinesAndTheFetchThatMeetsTheEnd) {
  lines("! one\n\nthree\nfour\n");
  EXPECT_EQ(line_count_, 5);
}

TEST_F(LineReader, ReadThatTheSystemRefusesEndsInTheRunTimesReport) {
  text_input in(test::unreadable_file, "data");
  std::string line(10, ' ');
  const test::outcome o = outcome_of([&] { read_next_line(in, line); });
  EXPECT_EQ(o.end.kind, stop_or_done::failed);
  EXPECT_THAT(o.end.text, testing::HasSubstr("cannot read"));
}

TEST(StripComment, BlanksOutEverythingFromTheFirstExclamationMark) {
  std::string line = "1 2 ! three ! four ";
  strip_comment(line);
  EXPECT_EQ(line, "1 2                ");
}

TEST(StripComment, LeavesALineWithoutOneAsItIs) {
  std::string line = "1 2  ";
  strip_comment(line);
  EXPECT_EQ(line, "1 2  ");
}

TEST(StripComment, BlanksOutALineThatIsAllComment) {
  std::string line = "! 1 2";
  strip_comment(line);
  EXPECT_EQ(line, "     ");
}

class Echo : public LineReader {
 protected:
  /// What the log says of a text under a name, between its heading and its end.
  std::string echoed(std::string_view text) {
    text_input in(file(text), "data");
    return outcome_of([&] { echo_input_file("name of the file   ", in); }).log;
  }
  const std::string rule_ = "\n" + std::string(64, '-') + "\n\n";
  const std::string heading_ = "\nReading input file: name of the file\n" + rule_;
};

TEST_F(Echo, CopiesTheFileIntoTheLogAloneBetweenHeadingAndRules) {
  text_input in(file("one\n\n! two\n  three"), "data");
  EXPECT_THAT(outcome_of([&] { echo_input_file("name of the file   ", in); }),
              Logs(heading_ + "one\n\n! two\n  three\n" + rule_));
}

TEST_F(Echo, CutsLinesAtTwoHundredCharacters) {
  EXPECT_EQ(echoed(std::string(200, 'x') + "\n" + std::string(201, 'y') + "\nz"),
            heading_ + std::string(200, 'x') + "\n" + std::string(200, 'y') + "\nz\n" + rule_);
}

TEST_F(Echo, LeavesOutTrailingBlanksAndCarriageReturnsOfLineEnds) {
  EXPECT_EQ(echoed("one   \r\n    \r\n" + std::string(199, ' ') + "xy\n"),
            heading_ + "one\n\n" + std::string(199, ' ') + "x\n" + rule_);
  EXPECT_EQ(echoed(std::string(200, ' ') + "x\n"), heading_ + "\n" + rule_);
}

TEST_F(Echo, OfAnEmptyFileIsHeadingAndRules) {
  EXPECT_EQ(echoed(""), heading_ + rule_);
}

TEST_F(Echo, RewindsTheFileSoThatItIsReadFromItsBeginning) {
  text_input in(file("one\n" + std::string(3000000, 'x') + "\nlast"), "data");
  const capture log(log_file());
  std::string line(4, ' ');
  for (int time = 1; time <= 2; ++time) {
    echo_input_file(name_, in);
    ASSERT_TRUE(read_next_line(in, line));
    EXPECT_EQ(line, "one ");
    in.rewind();
  }
}

TEST_F(Echo, ReadThatTheSystemRefusesEndsInTheRunTimesReport) {
  text_input in(test::unreadable_file, "data");
  EXPECT_EQ(outcome_of([&] { echo_input_file("x", in); }).end.kind, stop_or_done::failed);
}

}  // namespace
}  // namespace velko
