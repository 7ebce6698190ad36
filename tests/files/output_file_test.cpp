#include "files/output_file.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <functional>
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

/// With a name beside the target until it is kept, as on systems without nameless files.
TEST(OutputFile, WithAnotherNameUntilItIsKeptDoesTheSame) {
  temporary_folder folder;
  folder.write("target", "before");
  for (const bool kept : {false, true}) {
    output_file file(folder.path("target"), output_file::in_place::never, output_file::until_kept::named);
    put(file, "after");
    EXPECT_EQ(files_in(folder), 2u);
    EXPECT_EQ(folder.read("target"), "before");
    if (kept) file.keep();
  }
  EXPECT_EQ(folder.read("target"), "after");
  EXPECT_EQ(files_in(folder), 1u);
}

TEST(OutputFile, ThatIsNotKeptHasNoNameAtAnyTime) {
  temporary_folder folder;
  output_file file(folder.path("target"));
  put(file, std::string(3 << 20, 'x'));
  EXPECT_EQ(files_in(folder), 0u);
}

TEST(OutputFile, TakesOverThePermissions) {
  temporary_folder folder;
  const std::string name = folder.write("target", "before");
  for (const std::filesystem::perms bits : {std::filesystem::perms(0600), std::filesystem::perms(0664)}) {
    std::filesystem::permissions(name, bits);
    output_file file(name);
    file.keep();
    EXPECT_EQ(std::filesystem::status(name).permissions(), bits);
  }
}

TEST(OutputFile, ThatIsNewHasThePermissionsThatTheUsersMaskLeaves) {
  temporary_folder folder;
  const mode_t mask = umask(027);
  output_file file(folder.path("target"));
  file.keep();
  umask(mask);
  EXPECT_EQ(std::filesystem::status(folder.path("target")).permissions(), std::filesystem::perms(0640));
}

TEST(OutputFile, MayHaveTheLongestNameOfTheSystem) {
  temporary_folder folder;
  const std::string name(255, 'n');
  folder.write(name, "before");
  for (const auto form : {output_file::until_kept::nameless, output_file::until_kept::named}) {
    output_file file(folder.path(name), output_file::in_place::never, form);
    put(file, "after");
    file.keep();
    EXPECT_EQ(folder.read(name), "after");
  }
  EXPECT_EQ(files_in(folder), 1u);
}

TEST(OutputFile, OfTwoAtATimeTheOneKeptLastIsThereWhole) {
  temporary_folder folder;
  output_file first(folder.path("target")), second(folder.path("target"));
  put(first, std::string(2 << 20, '1'));
  put(second, std::string(3 << 20, '2'));
  second.keep();
  first.keep();
  EXPECT_EQ(folder.read("target"), std::string(2 << 20, '1'));
  EXPECT_EQ(files_in(folder), 1u);
}

/// Signals that were sent at the wrong moment come behind it.
TEST(OutputFile, LeavesTheSignalsOfItsThreadAsTheyWere) {
  temporary_folder folder;
  output_file file(folder.path("target"));
  sigset_t before, after;
  pthread_sigmask(SIG_SETMASK, nullptr, &before);
  file.keep();
  pthread_sigmask(SIG_SETMASK, nullptr, &after);
  for (int number = 1; number < 32; ++number)
    EXPECT_EQ(sigismember(&after, number), sigismember(&before, number));
}

constexpr auto where_needed = output_file::in_place::where_needed;

TEST(OutputFile, InPlaceKeepsAllNamesOfAFile) {
  temporary_folder folder;
  folder.write("target", "before, and longer");
  std::filesystem::create_hard_link(folder.path("target"), folder.path("other name"));
  output_file file(folder.path("target"), where_needed);
  put(file, "after");
  file.keep();
  EXPECT_EQ(folder.read("other name"), "after");
}

TEST(OutputFile, InPlaceMakesTheFileOfALinkThatLeadsNowhere) {
  temporary_folder folder;
  std::filesystem::create_symlink("elsewhere", folder.path("link"));
  output_file file(folder.path("link"), where_needed);
  put(file, "bytes");
  file.keep();
  EXPECT_TRUE(std::filesystem::is_symlink(folder.path("link")));
  EXPECT_EQ(folder.read("elsewhere"), "bytes");
}

TEST(OutputFile, InPlaceGoesIntoAPipe) {
  temporary_folder folder;
  const std::string name = folder.path("pipe");
  ASSERT_EQ(mkfifo(name.c_str(), 0600), 0);
  const int reader = open(name.c_str(), O_RDONLY | O_NONBLOCK);
  output_file file(name, where_needed);
  put(file, "bytes");
  file.keep();
  std::string got(10, ' ');
  got.resize(static_cast<std::size_t>(read(reader, got.data(), got.size())));
  close(reader);
  EXPECT_EQ(got, "bytes");
}

TEST(OutputFile, InPlaceIsOnlyWhatCannotBeReplaced) {
  temporary_folder folder;
  folder.write("target", "before");
  {
    output_file file(folder.path("target"), where_needed);
    put(file, std::string(3 << 20, 'x'));
    EXPECT_EQ(folder.read("target"), "before");
  }
  EXPECT_EQ(folder.read("target"), "before");
}

/// Whether body, run as a user without privileges, finds what it expects.
bool as_nobody(const std::function<bool()>& body) {
  const pid_t child = fork();
  if (child == 0) {
    constexpr uid_t nobody = 65534;
    if (geteuid() == 0 && (setgid(nobody) != 0 || setuid(nobody) != 0)) _exit(2);
    _exit(body() ? 0 : 1);
  }
  int status = -1;
  waitpid(child, &status, 0);
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

TEST(OutputFile, InPlaceIsAWritableFileInAFolderThatTakesNoNewOnes) {
  temporary_folder folder;
  const std::string name = folder.write("target", "before");
  std::filesystem::permissions(name, std::filesystem::perms(0666));
  std::filesystem::permissions(folder.path(), std::filesystem::perms(0555));
  EXPECT_TRUE(as_nobody([&] {
    output_file file(name, where_needed);
    put(file, "after");
    file.keep();
    return true;
  }));
  EXPECT_EQ(folder.read("target"), "after");
  std::filesystem::permissions(folder.path(), std::filesystem::perms(0755));
}

TEST(OutputFile, ThatMayNotBeWrittenIsNotReplaced) {
  temporary_folder folder;
  const std::string name = folder.write("target", "before");
  std::filesystem::permissions(name, std::filesystem::perms(0444));
  std::filesystem::permissions(folder.path(), std::filesystem::perms(0777));
  for (const auto allowed : {output_file::in_place::never, where_needed})
    EXPECT_TRUE(as_nobody([&] {
      try {
        output_file file(name, allowed);
        return false;
      } catch (const std::system_error& failure) {
        return failure.code().value() == EACCES;
      }
    }));
  EXPECT_EQ(folder.read("target"), "before");
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
