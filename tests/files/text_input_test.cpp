#include "files/text_input.h"

#include <unistd.h>

#include <filesystem>

#include "tests/files/reader_fixture.h"

namespace velko {
namespace {

using test::outcome_of;
using test::Silent;
using test::StopsAfter;

class TextInput : public test::text_reader {
 protected:
  static test::outcome opening(const std::string& name, const std::string& label = "data") {
    return outcome_of([&] { const text_input in(name, label); });
  }
};

TEST_F(TextInput, FileThatIsNotThereIsReportedAndNotMade) {
  const std::string name = folder_.path("none.txt");
  EXPECT_THAT(opening(name), StopsAfter("\n ERROR: data file not found: " + name + "\n"));
  EXPECT_FALSE(folder_.holds("none.txt"));
}

TEST_F(TextInput, DirectoryIsReportedAsNotFound) {
  EXPECT_THAT(opening(folder_.path(), "mesh  "),
              StopsAfter("\n ERROR: mesh file not found: " + folder_.path() + "\n"));
}

TEST_F(TextInput, FileThatMayNotBeReadIsReportedAsNotFound) {
  if (geteuid() ==
      0) {  // the superuser may read all files, so a name that is too long stands for the refusal
    const std::string name(5000, 'x');
    EXPECT_THAT(opening(name), StopsAfter("\n ERROR: data file not found: " + name + "\n"));
    return;
  }
  file("1\n");
  std::filesystem::permissions(name_, std::filesystem::perms::none);
  EXPECT_THAT(opening(name_), StopsAfter("\n ERROR: data file not found: " + name_ + "\n"));
}

TEST_F(TextInput, NameIsUsedUpToItsLastNonBlank) {
  EXPECT_THAT(opening(file("1\n") + "     "), Silent());
  EXPECT_THAT(opening("    "), StopsAfter("\n ERROR: data file not found: \n"));
}

TEST_F(TextInput, OnlyNamesThatBeginWithOneOfTwoFormsOfNullStandForNoFile) {
  for (const char* name : {"null", "NULL", "null   ", "nullify", "NULL/file"})
    EXPECT_TRUE(names_no_file(name)) << name;
  for (const char* name : {"", "nul", "NUL", "Null", "nULL", " null"})
    EXPECT_FALSE(names_no_file(name)) << name;
}

TEST_F(TextInput, BlanksAtTheFrontOfANameBelongToIt) {
  file("1\n");
  EXPECT_THAT(opening(" " + name_), StopsAfter("\n ERROR: data file not found:  " + name_ + "\n"));
}

TEST_F(TextInput, ReadOnlyFileCanBeRead) {
  file("1\n");
  std::filesystem::permissions(name_, std::filesystem::perms::owner_read);
  EXPECT_THAT(opening(name_), Silent());
}

TEST_F(TextInput, WindowKeepsWhatIsNotTakenWhileItGrows) {
  std::string text;
  for (int n = 0; n < 200000; ++n) text += std::to_string(n) + '\n';
  text_input in(file(text), "data");
  while (in.fetch_more()) continue;
  EXPECT_TRUE(std::string_view(in.begin(), static_cast<std::size_t>(in.end() - in.begin())) == text);
}

TEST_F(TextInput, SkipsLinesUpToTheEndOfTheText) {
  text_input in(file("one\ntwo\nlast"), "data");
  EXPECT_TRUE(in.skip_line());
  EXPECT_TRUE(in.skip_line());
  EXPECT_EQ(*in.begin(), 'l');
  EXPECT_TRUE(in.skip_line());
  EXPECT_FALSE(in.skip_line());
}

TEST_F(TextInput, RewindGoesBackToTheFirstCharacter) {
  text_input in(file("one\ntwo\n"), "data");
  while (in.skip_line()) continue;
  in.rewind();
  ASSERT_TRUE(in.fetch_more());
  EXPECT_EQ(*in.begin(), 'o');
}

TEST_F(TextInput, ReadThatTheSystemRefusesIsToldFromTheEndOfTheFile) {
  text_input in(test::unreadable_file, "data");
  EXPECT_EQ(in.read_error(), 0);
  EXPECT_FALSE(in.fetch_more());
  EXPECT_EQ(in.read_error(), EIO);
  EXPECT_THAT(outcome_of([&] { in.throw_read_error(); }).end.text, testing::HasSubstr("cannot read"));
}

}  // namespace
}  // namespace velko
