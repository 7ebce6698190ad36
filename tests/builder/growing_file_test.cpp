/// A file that grows under another name until it is whole.
#include "builder/growing_file.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/support/temporary_folder.h"

namespace velko {
namespace {

bytes_view bytes_of_text(const std::string& text) {
  return std::as_bytes(std::span(text));
}

TEST(GrowingFile, HoldsShortAndLongPiecesInTheirOrder) {
  const test::temporary_folder folder;
  std::string expected;
  {
    growing_file file(folder.path("g"));
    for (const std::size_t length : {3u, 1000u, 3000000u, 7u, 1048570u, 6u, 1u, 1048577u, 2u}) {
      const std::string piece(length, static_cast<char>('a' + length % 26));
      file.write(bytes_of_text(piece));
      expected += piece;
    }
    EXPECT_FALSE(folder.holds("g"));
    file.finish();
  }
  EXPECT_TRUE(folder.read("g") == expected);
}

TEST(GrowingFile, GoesOnWhereItIsTold) {
  const test::temporary_folder folder;
  folder.write("g.unfinished", "abcdefgh");
  growing_file file(folder.path("g"));
  file.go_on_at(3);
  file.write(bytes_of_text("xyz"));
  file.finish();
  EXPECT_EQ(folder.read("g"), "abcxyz");
}

}  // namespace
}  // namespace velko
