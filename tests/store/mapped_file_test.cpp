#include "store/mapped_file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <setjmp.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "arrays/numbers.h"
#include "tests/support/temporary_folder.h"

namespace velko {
namespace {

constexpr std::size_t three_pages = 3 * 4096;

/// Lines of /proc/self/maps that name a part of these addresses.
int mappings_over(std::span<const std::byte> bytes) {
  const auto first = reinterpret_cast<std::uintptr_t>(bytes.data()), last = first + bytes.size();
  std::ifstream maps("/proc/self/maps");
  int found = 0;
  for (std::string line; std::getline(maps, line);) {
    std::uintptr_t begin = 0, end = 0;
    char dash = 0;
    std::istringstream(line) >> std::hex >> begin >> dash >> end;
    if (begin < last && first < end) ++found;
  }
  return found;
}

class MappedFile : public testing::Test {
 protected:
  bool map(const std::string& name) {
    const int file = open(name.c_str(), O_RDONLY | O_CLOEXEC);
    const bool done = file_.map(file);
    close(file);
    return done;
  }
  bool map_bytes(const std::string& bytes) { return map(name_ = folder_.write("file", bytes)); }
  void set_time_of_last_write(i8 seconds) {
    std::filesystem::last_write_time(name_, std::filesystem::file_time_type(std::chrono::seconds(seconds)));
  }
  char at(std::size_t position) const { return static_cast<char>(file_.bytes()[position]); }

  test::temporary_folder folder_;
  std::string name_;
  mapped_file file_;
};

TEST_F(MappedFile, HoldsTheBytesOfTheFile) {
  ASSERT_TRUE(map_bytes("sensitivity"));
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(file_.bytes().data()), file_.bytes().size()),
            "sensitivity");
  EXPECT_TRUE(file_.intact());
}

TEST_F(MappedFile, WhatIsWrittenThereNeverReachesTheFile) {
  ASSERT_TRUE(map_bytes("sensitivity"));
  file_.bytes()[0] = std::byte{'S'};
  EXPECT_EQ(at(0), 'S');
  EXPECT_EQ(folder_.read("file"), "sensitivity");
  EXPECT_TRUE(file_.intact());
}

TEST_F(MappedFile, EmptyFilesAndPipesAreNotMapped) {
  EXPECT_FALSE(map_bytes(""));
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  EXPECT_FALSE(file_.map(ends[0]));
  close(ends[0]);
  close(ends[1]);
  EXPECT_TRUE(file_.bytes().empty());
  EXPECT_TRUE(file_.intact());
}

TEST_F(MappedFile, MappedFileGivesWayToTheNext) {
  ASSERT_TRUE(map_bytes("one"));
  ASSERT_TRUE(map(folder_.write("other", "two")));
  EXPECT_EQ(at(0), 't');
  EXPECT_FALSE(map(folder_.write("empty", "")));
  EXPECT_EQ(at(0), 't');
}

/// Files side by side: in places of others that were given back, and moved about.
class MappedFiles : public testing::Test {
 protected:
  std::string name(std::size_t i) const { return folder_.path(std::to_string(i)); }
  mapped_file mapped(std::size_t i) const {
    folder_.write(std::to_string(i), std::string(three_pages, static_cast<char>('a' + i)));
    mapped_file made;
    const int file = open(name(i).c_str(), O_RDONLY | O_CLOEXEC);
    EXPECT_TRUE(made.map(file));
    close(file);
    return made;
  }

  test::temporary_folder folder_;
};

TEST_F(MappedFiles, OnlyTheOneThatWasCutReadsAsZerosAndIsTold) {
  std::vector<mapped_file> files;
  for (std::size_t i = 0; i < 9; ++i) files.push_back(mapped(i));
  files.erase(files.begin() + 4);
  files.push_back(mapped(9));
  std::filesystem::resize_file(name(9), 4096);
  std::filesystem::resize_file(name(2), 0);
  for (mapped_file& file : files) {
    const auto last = static_cast<char>(file.bytes()[three_pages - 1]);
    const bool cut = &file == &files[2] || &file == &files.back();
    EXPECT_EQ(last == '\0', cut);
    EXPECT_EQ(file.intact(), !cut);
  }
}

TEST_F(MappedFiles, AddressesOfAFileThatWasGivenBackAreLookedAfterNoMore) {
  std::optional<mapped_file> first(mapped(0));
  const mapped_file second = mapped(1);
  auto* const at = reinterpret_cast<volatile char*>(first->bytes().data());
  EXPECT_DEATH(
      {
        const int file = open(name(0).c_str(), O_RDONLY | O_CLOEXEC);
        first.reset();
        void* same = mmap(const_cast<char*>(at), 4096, PROT_READ, MAP_SHARED | MAP_FIXED, file, 0);
        std::filesystem::resize_file(name(0), 0);
        static_cast<void>(same == const_cast<char*>(at) && at[0] == 'a');
      },
      "");
}

TEST_F(MappedFiles, ThreadsMapAndLoseTheirsAtOnce) {
  std::vector<std::thread> threads;
  std::atomic<int> right = 0;
  for (std::size_t i = 0; i < 4; ++i)
    threads.emplace_back([&, i] {
      for (int turn = 0; turn < 50; ++turn) {
        mapped_file file = mapped(i);
        std::filesystem::resize_file(name(i), 4096);
        const auto at = [&](std::size_t p) { return static_cast<char>(file.bytes()[p]); };
        if (at(0) == static_cast<char>('a' + i) && at(three_pages - 1) == '\0' && !file.intact()) ++right;
      }
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(right, 4 * 50);
}

TEST_F(MappedFile, WithoutAFileDescriptorOfItsOwnAFileIsNotMapped) {
  const std::string name = folder_.write("file", "sensitivity");
  const int file = open(name.c_str(), O_RDONLY | O_CLOEXEC);
  rlimit before{};
  getrlimit(RLIMIT_NOFILE, &before);
  const rlimit no_more{static_cast<rlim_t>(file) + 1, before.rlim_max};
  setrlimit(RLIMIT_NOFILE, &no_more);
  EXPECT_FALSE(file_.map(file));
  setrlimit(RLIMIT_NOFILE, &before);
  EXPECT_TRUE(file_.map(file));
  EXPECT_TRUE(file_.intact());
  close(file);
}

TEST_F(MappedFile, PartThatWasCutOffReadsAsZerosAndIsTold) {
  ASSERT_TRUE(map_bytes(std::string(three_pages, 'x')));
  std::filesystem::resize_file(name_, 4096);
  EXPECT_EQ(at(0), 'x');
  EXPECT_EQ(at(4096), '\0');
  EXPECT_EQ(at(three_pages - 1), '\0');
  EXPECT_FALSE(file_.intact());
}

TEST_F(MappedFile, FirstFaultPutsOneMappingOfZerosOverAllThatIsGone) {
  ASSERT_TRUE(map_bytes(std::string(100 * 4096, 'x')));
  std::filesystem::resize_file(name_, 40 * 4096);
  EXPECT_EQ(at(70 * 4096), '\0');
  EXPECT_EQ(mappings_over(file_.bytes()), 2);
  EXPECT_EQ(at(40 * 4096), '\0');
  EXPECT_EQ(at(40 * 4096 - 1), 'x');
  EXPECT_EQ(mappings_over(file_.bytes()), 2);
}

TEST_F(MappedFile, BusErrorsThatTheProcessBlocksAreUnblocked) {
  sigset_t bus_errors, before;
  sigemptyset(&bus_errors);
  sigaddset(&bus_errors, SIGBUS);
  pthread_sigmask(SIG_BLOCK, &bus_errors, &before);
  ASSERT_TRUE(map_bytes(std::string(three_pages, 'x')));
  std::filesystem::resize_file(name_, 4096);
  EXPECT_EQ(at(4096), '\0');
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

TEST_F(MappedFile, CutIsToldEvenIfTheFileGetsItsLengthAndTimeBack) {
  ASSERT_TRUE(map_bytes(std::string(three_pages, 'x')));
  const auto time = std::filesystem::last_write_time(name_);
  std::filesystem::resize_file(name_, 4096);
  EXPECT_EQ(at(2 * 4096), '\0');
  std::filesystem::resize_file(name_, three_pages);
  std::filesystem::last_write_time(name_, time);
  EXPECT_FALSE(file_.intact());
}

TEST_F(MappedFile, GrownFileIsTold) {
  ASSERT_TRUE(map_bytes("sensitivity"));
  std::filesystem::resize_file(name_, 100);
  EXPECT_FALSE(file_.intact());
}

TEST_F(MappedFile, FileWrittenToIsTold) {
  name_ = folder_.write("file", "sensitivity");
  set_time_of_last_write(1000);
  ASSERT_TRUE(map(name_));
  EXPECT_TRUE(file_.intact());
  folder_.write("file", "SENSITIVITY");
  EXPECT_FALSE(file_.intact());
}

TEST_F(MappedFile, FileReplacedByAnotherOfItsNameIsStillThere) {
  ASSERT_TRUE(map_bytes("sensitivity"));
  std::filesystem::rename(folder_.write("new", "another one"), name_);
  EXPECT_EQ(at(0), 's');
  EXPECT_TRUE(file_.intact());
}

TEST_F(MappedFile, TouchedFileIsIntactOnceItsContentsWereNoted) {
  ASSERT_TRUE(map_bytes("sensitivity"));
  set_time_of_last_write(1000);
  file_.note_contents();  // too late
  EXPECT_FALSE(file_.intact());
  ASSERT_TRUE(map(name_));
  file_.note_contents();
  set_time_of_last_write(2000);
  EXPECT_FALSE(file_.unchanged());
  EXPECT_TRUE(file_.intact());
  EXPECT_TRUE(file_.unchanged());
}

TEST_F(MappedFile, FileWrittenToIsToldByItsContents) {
  ASSERT_TRUE(map_bytes("sensitivity"));
  file_.note_contents();
  folder_.write("file", "sensitivitY");
  set_time_of_last_write(2000);
  EXPECT_FALSE(file_.intact());
}

TEST_F(MappedFile, FileWrittenToWhoseTimeWasPutBackIsTold) {
  ASSERT_TRUE(map_bytes("sensitivity"));
  const auto time = std::filesystem::last_write_time(name_);
  std::this_thread::sleep_for(std::chrono::milliseconds(20));  // beyond the tick of any file system's clock
  folder_.write("file", "sensitivitY");
  std::filesystem::last_write_time(name_, time);
  EXPECT_FALSE(file_.unchanged());
  ASSERT_TRUE(map(name_));
  file_.note_contents();
  folder_.write("file", "sensitivitx");
  std::filesystem::last_write_time(name_, time);
  EXPECT_FALSE(file_.intact());
}

TEST_F(MappedFile, CutFileIsNotIntactWhateverWasNoted) {
  ASSERT_TRUE(map_bytes(std::string(three_pages, '\0')));
  file_.note_contents();
  std::filesystem::resize_file(name_, 4096);
  EXPECT_EQ(at(2 * 4096), '\0');
  std::filesystem::resize_file(name_, three_pages);
  EXPECT_FALSE(file_.intact());
}

TEST_F(MappedFile, OpenFileCanBeOpenedOnceMoreWithoutItsName) {
  ASSERT_TRUE(map_bytes("sensitivity"));
  std::filesystem::remove(name_);
  std::string bytes;
  std::ifstream(file_.name_of_open_file()) >> bytes;
  EXPECT_EQ(bytes, "sensitivity");
}

TEST_F(MappedFile, SignalThatAnotherProcessSendsStillEndsTheProcess) {
  ASSERT_TRUE(map_bytes("sensitivity"));
  EXPECT_DEATH(raise(SIGBUS), "");
}

// The handler that stood before, as a program that uses the library may have it.
sigjmp_buf way_out;
void leave(int) {
  siglongjmp(way_out, 1);
}

class MappedFileBesideAnotherHandler : public MappedFile {
 protected:
  MappedFileBesideAnotherHandler() {
    struct sigaction handler {};
    handler.sa_handler = leave;
    sigaction(SIGBUS, &handler, &before_);
  }
  ~MappedFileBesideAnotherHandler() override { sigaction(SIGBUS, &before_, nullptr); }

  static bool other_handler_stands() {
    struct sigaction now {};
    sigaction(SIGBUS, nullptr, &now);
    return now.sa_handler == leave;
  }

  struct sigaction before_ {};
};

TEST_F(MappedFileBesideAnotherHandler, HandlerStandsAgainAfterwards) {
  ASSERT_TRUE(map_bytes("sensitivity"));
  EXPECT_FALSE(other_handler_stands());
  mapped_file second = std::move(file_);
  EXPECT_FALSE(other_handler_stands());
  second = mapped_file();
  EXPECT_TRUE(other_handler_stands());
}

TEST_F(MappedFileBesideAnotherHandler, HandlerThatCameLaterStays) {
  struct sigaction before {};
  sigaction(SIGBUS, &before_, &before);
  ASSERT_TRUE(map_bytes("sensitivity"));
  sigaction(SIGBUS, &before, nullptr);
  file_ = mapped_file();
  EXPECT_TRUE(other_handler_stands());
}

TEST_F(MappedFileBesideAnotherHandler, FaultElsewhereIsLeftToIt) {
  ASSERT_TRUE(map_bytes("sensitivity"));
  const std::string other = folder_.write("other", "x");
  const int file = open(other.c_str(), O_RDWR | O_CLOEXEC);
  auto* page = static_cast<volatile char*>(mmap(nullptr, 4096, PROT_READ, MAP_SHARED, file, 0));
  std::filesystem::resize_file(other, 0);
  volatile bool reached = false;
  if (sigsetjmp(way_out, 1) == 0) {
    static_cast<void>(page[0]);
    reached = true;
  }
  EXPECT_FALSE(reached);
  EXPECT_TRUE(file_.intact());
  munmap(const_cast<char*>(page), 4096);
  close(file);
}

TEST_F(MappedFile, PieceIsMappedAloneAndGivenBackWhole) {
  std::string bytes(three_pages, 'a');
  bytes[5000] = 'b';
  name_ = folder_.write("file", bytes);
  const int file = open(name_.c_str(), O_RDONLY | O_CLOEXEC);
  std::span<std::byte> piece;
  {
    mapped_file part;
    ASSERT_TRUE(part.map(file, 5000, 5010));
    piece = part.bytes();
    EXPECT_EQ(piece.size(), 10U);
    EXPECT_EQ(static_cast<char>(piece[0]), 'b');
    EXPECT_TRUE(part.unchanged());
    EXPECT_EQ(mappings_over(piece), 1);
  }
  EXPECT_EQ(mappings_over(piece), 0);
  close(file);
}

TEST_F(MappedFile, PieceBehindTheFileIsRefusedAndOneBeyondItIsCut) {
  const int file = open(folder_.write("file", "0123456789").c_str(), O_RDONLY | O_CLOEXEC);
  mapped_file part;
  EXPECT_FALSE(part.map(file, 10, 20));
  EXPECT_FALSE(part.map(file, 5, 5));
  EXPECT_FALSE(part.map(file, -1, 5));
  ASSERT_TRUE(part.map(file, 8, 20));
  EXPECT_EQ(part.bytes().size(), 2U);
  close(file);
}

}  // namespace
}  // namespace velko
