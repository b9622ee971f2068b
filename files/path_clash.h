// path_clash.h — the rule that every file a migration writes is a file of
// its own.
//
// A caller lists each path with the label that names it in messages (the
// tool's option, "--ios"; the C interface's words, "the iOS store") and
// whether it writes the file (the user defaults are read and written back,
// so they count as written). findPathClash pairs every written entry with
// every other entry, in list order, and gives the first pair that names one
// file: under any spelling of the path ("..", ".", relative or absolute) or
// through a symlink. A pair of written entries is compared once, from the
// earlier one. Empty paths (files not given) are ignored.
//
// checkWrittenFiles adds what a writer needs: no clash ("<file>: <label>
// names the same file as <label>"), and each written file creatable where it
// is named ("is a directory", "no such directory", "not writable"). A file
// labelled as replaced (written through a new file renamed into place) needs
// a writable directory rather than a writable file.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "files/problem.h"

namespace veq {

struct NamedPath {
  std::string path;
  std::string option;  // the label: "--ios", "--out", "the output" …
  bool written;
  bool replaced = false;  // written through a new file renamed into place
};

struct PathClash {
  NamedPath written;
  NamedPath other;  // read, or written and listed after `written`
};

std::optional<PathClash> findPathClash(const std::vector<NamedPath>& paths);

// Whether two paths name one file: the same inode when both exist, else the
// same absolute path once every symlink and "..", "." of it is resolved.
bool sameFile(const std::string& a, const std::string& b);

// The first clash or unwritable file as "<file>: <problem>".
Problem checkWrittenFiles(const std::vector<NamedPath>& files);

}  // namespace veq
