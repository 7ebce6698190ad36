#include "files/output_file.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include <filesystem>
#include <iterator>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>

#include "tests/support/temporary_folder.h"

namespace velko {
namespace {

using test::temporary_folder;

void put(output_file& file, std::string_view text) {
  file.write(std::as_bytes(std::span(text)));
}

std::size_t files_in(const temporary_folder& folder) {
  const std::filesystem::directory_iterator all(folder.path());
  return static_cast<std::size_t>(std::distance(begin(all), end(all)));
}

TEST(OutputFile, IsThereOnceItIsKept) {
  temporary_folder folder;
  output_file file(folder.path("target"));
  put(file, "bytes");
  EXPECT_FALSE(folder.holds("target"));
  file.keep();
  EXPECT_EQ(folder.read("target"), "bytes");
  EXPECT_EQ(file.bytes_written(), 5);
  EXPECT_EQ(files_in(folder), 1u);
}

TEST(OutputFile, ThatIsNotKeptLeavesNothing) {
  temporary_folder folder;
  { output_file(folder.path("target")).write({}); }
  EXPECT_EQ(files_in(folder), 0u);
}

TEST(OutputFile, ThatIsNotKeptLeavesWhatWasThere) {
  temporary_folder folder;
  folder.write("target", "before");
  {
    output_file file(folder.path("target"));
    put(file, "half");
  }
  EXPECT_EQ(folder.read("target"), "before");
  EXPECT_EQ(files_in(folder), 1u);
}

TEST(OutputFile, ThatIsKeptReplacesWhatWasThere) {
  temporary_folder folder;
  folder.write("target", "something longer than the new contents");
  output_file file(folder.path("target"));
  put(file, "new");
  file.keep();
  EXPECT_EQ(folder.read("target"), "new");
}

TEST(OutputFile, RefusesAFolderAndADevice) {
  temporary_folder folder;
  for (const std::string& name : {folder.path(), std::string("/dev/null")}) {
    try {
      output_file file(name);
      ADD_FAILURE() << name;
    } catch (const std::runtime_error& failure) {
      EXPECT_EQ(failure.what(), "cannot write " + name + ": not a regular file");
    }
  }
}

/// The descriptor is closed behind the file's back, and no byte waits: closing alone fails.
TEST(OutputFile, ThatCannotBeClosedLeavesWhatWasThere) {
  temporary_folder folder;
  folder.write("target", "before");
  const int lowest_free = dup(STDERR_FILENO);
  close(lowest_free);
  output_file file(folder.path("target"));
  ASSERT_EQ(close(lowest_free), 0);
  EXPECT_THROW(file.keep(), std::system_error);
  EXPECT_EQ(folder.read("target"), "before");
  EXPECT_EQ(files_in(folder), 1u);
}

TEST(OutputFile, ThatCannotTakeItsNameLeavesNothing) {
  temporary_folder folder;
  output_file file(folder.path("target"));
  std::filesystem::create_directory(folder.path("target"));
  EXPECT_THROW(file.keep(), std::system_error);
  EXPECT_EQ(files_in(folder), 1u);
}

TEST(OutputFile, FollowsALinkToItsFile) {
  temporary_folder folder;
  std::filesystem::create_directory(folder.path("elsewhere"));
  folder.write("elsewhere/target", "before");
  std::filesystem::create_symlink("elsewhere/target", folder.path("link"));
  output_file file(folder.path("link"));
  put(file, "after");
  file.keep();
  EXPECT_TRUE(std::filesystem::is_symlink(folder.path("link")));
  EXPECT_EQ(folder.read("elsewhere/target"), "after");
}

TEST(OutputFile, ReplacesALinkThatLeadsNowhere) {
  temporary_folder folder;
  std::filesystem::create_symlink("nowhere", folder.path("link"));
  output_file file(folder.path("link"));
  put(file, "bytes");
  file.keep();
  EXPECT_FALSE(std::filesystem::is_symlink(folder.path("link")));
  EXPECT_EQ(folder.read("link"), "bytes");
}

TEST(OutputFile, InAFolderThatIsNotThereFailsWithItsName) {
  temporary_folder folder;
  try {
    output_file file(folder.path("missing/target"));
    FAIL();
  } catch (const std::system_error& failure) {
    EXPECT_THAT(failure.what(), testing::HasSubstr("cannot write " + folder.path("missing/target")));
  }
}

}  // namespace
}  // namespace velko
