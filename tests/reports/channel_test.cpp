#include "reports/channel.h"

#include <gtest/gtest.h>

#include <system_error>

#include "tests/support/temporary_folder.h"

namespace velko {
namespace {

TEST(Channel, WritesLinesInOrderEachEndedByALineFeed) {
  const test::temporary_folder folder;
  {
    std::FILE* file = std::fopen(folder.path("out").c_str(), "w");
    channel c("out", file);
    c.write_line("one");
    c.write_line("");
    c.write_text("two\nthree\n");
    c.flush();
    EXPECT_EQ(folder.read("out"), "one\n\ntwo\nthree\n");
    std::fclose(file);
  }
}

TEST(Channel, ClosedOneDropsWhatIsWritten) {
  channel c("closed");
  EXPECT_NO_THROW(c.write_line("lost"));
  EXPECT_NO_THROW(c.flush());
}

TEST(Channel, CaptureTakesTheTextWhileItLives) {
  channel c("captured");
  {
    capture held(c);
    c.write_line("seen");
    EXPECT_EQ(held.text, "seen\n");
  }
  EXPECT_NO_THROW(c.write_line("lost"));
}

TEST(Channel, ScratchFileTakesTextAndLeavesNoName) {
  channel c("scratch");
  c.open_scratch();
  EXPECT_NO_THROW({
    c.write_line("a message");
    c.flush();
    c.close();
  });
}

TEST(Channel, RefusedWriteIsAFailureThatNamesTheChannel) {
  std::FILE* full = std::fopen("/dev/full", "w");
  ASSERT_NE(full, nullptr);
  channel c("console", full);
  c.write_line("too much");
  try {
    c.flush();
    FAIL() << "the full device took the line";
  } catch (const std::system_error& failure) {
    EXPECT_STREQ(failure.what(), "cannot write to the console: No space left on device");
  }
  std::fclose(full);
}

}  // namespace
}  // namespace velko
