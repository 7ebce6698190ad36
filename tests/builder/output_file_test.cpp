#include "builder/output_file.h"

#include <gmock/gmock.h>

#include <filesystem>
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
  EXPECT_THROW(output_file{folder.path()}, std::system_error);
  EXPECT_THROW(output_file{"/dev/null"}, std::system_error);
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
