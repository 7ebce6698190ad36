#include "reports/channel.h"

#include <gtest/gtest.h>

#include <stdexcept>

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

TEST(Channel, RefusedWriteIsNotedWithItsNameAndEndsNothing) {
  std::FILE* full = std::fopen("/dev/full", "w");
  ASSERT_NE(full, nullptr);
  channel c("console", full);
  c.write_line("too much");
  EXPECT_EQ(c.failure(), "");
  EXPECT_NO_THROW(c.check());
  c.flush();
  EXPECT_EQ(c.failure(), "cannot write to the console: No space left on device");
  c.write_line("more");
  c.flush();
  EXPECT_EQ(c.failure(), "cannot write to the console: No space left on device");
  EXPECT_THROW(c.check(), std::runtime_error);
  std::fclose(full);
}

TEST(Channel, ThatIsSentElsewhereStartsAnew) {
  std::FILE* full = std::fopen("/dev/full", "w");
  ASSERT_NE(full, nullptr);
  channel c("console", full);
  c.write_line("too much");
  c.flush();
  c.send_to(nullptr);
  EXPECT_EQ(c.failure(), "");
  std::fclose(full);
}

}  // namespace
}  // namespace velko
