// The one rule for the files a command names: nothing it writes may be a
// file it reads (or, for `run`, another file it writes), however spelt.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "cli/command_paths.h"
#include "test_support.h"

namespace veq {
namespace {

TEST(CommandPaths, AReportOverAReadFileIsRefusedUnderAnySpelling) {
  ScratchDir dir;
  std::ofstream(dir / "ios.sqlite") << "x";
  std::ofstream(dir / "out.sqlite") << "x";
  std::filesystem::create_symlink(dir / "ios.sqlite", dir / "link");
  RunOptions stores;
  stores.iosPath = dir / "ios.sqlite";
  const std::string out = dir / "out.sqlite";
  const std::string respelt = (dir.path / ".." / dir.path.filename() / "." / "out.sqlite").string();

  EXPECT_EQ(reportOverInput("inspect", stores, "", dir / "link", ""),
            "veq-migrate: " + (dir / "link") + ": is also a file inspect reads\n");
  EXPECT_EQ(reportOverInput("verify", stores, out, dir / "r.json", respelt),
            "veq-migrate: " + respelt + ": is also a file verify reads\n");
  // Two reports naming one new file are no input.
  EXPECT_EQ(reportOverInput("inspect", stores, out, dir / "r", dir / "r"), "");

  // `run` also keeps its written files apart, naming the earlier one first.
  const std::optional<PathClash> clash = findPathClash(
      {{"", "--android", false}, {dir / "r", "--json", true}, {out, "--out", true}, {dir / "r", "--html", true}});
  ASSERT_TRUE(clash);
  EXPECT_EQ(clash->written.option + " " + clash->other.option, "--json --html");
  EXPECT_FALSE(findPathClash({{out, "--out", true}, {dir / "ios.sqlite", "--ios", false}, {"", "--json", true}}));
}

}  // namespace
}  // namespace veq
