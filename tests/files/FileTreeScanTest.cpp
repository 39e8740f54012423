#include <tvk/files/FileTreeScan.h>

#include <gtest/gtest.h>

#include <vector>

#include "support/Support.h"

using namespace tvk;

// What a scan does stands in files_test.py and tests/differential.

// Programs that were built with an earlier library call the operations by their places.
TEST(FileTreeScan, KeepsThePlacesOfItsOperations) {
  struct Opened : FileTreeScan {
    using FileTreeScan::onFile, FileTreeScan::onFolder, FileTreeScan::onFolderVisited;
  };
  using support::slotOf;
  const std::vector places = {slotOf(&File::closeIfOpen),   slotOf(&File::write),
                              slotOf(&File::rewind),        slotOf(&File::seekToEnd),
                              slotOf(&File::setName),       slotOf(&File::name),
                              slotOf(&File::openReadWrite), slotOf(&Opened::onFolder),
                              slotOf(&Opened::onFile),      slotOf(&Opened::onFolderVisited)};
  EXPECT_EQ(places, (std::vector<std::size_t>{3, 4, 5, 6, 7, 8, 9, 10, 11, 12}));
}

TEST(FileSpecification, Operations) {
  FileSpecification names;
  FileString out = "before";
  EXPECT_TRUE(names.isEmpty() && !names.singlePath(out, false) && out == "before" && !names.first(out));
  names.add(static_cast<const char*>(nullptr), true);
  names.folder = "/a/b/../c/";
  EXPECT_TRUE(names.singlePath(out, false) && out == "/a/b/../c/" && !names.singlePath(out, true));
  names.add("x");
  EXPECT_TRUE(!names.singlePath(out, false) && names.marks == std::vector<bool>({true, false}));
  EXPECT_TRUE(names.first(out) && out.empty() && names.next(out) && out == "x" && !names.next(out));
  EXPECT_TRUE(out.empty() && !names.isEmpty() && names.baseFolder("/f") == "/a/c/");
  names.recursive = names.singleKind = true;
  names.clear();
  EXPECT_TRUE(names.isEmpty() && names.marks.empty());
  EXPECT_EQ(names.cursor + names.recursive + names.singleKind, 0u);
  EXPECT_EQ(names.baseFolder("/f/./g"), "/f/g");
}
