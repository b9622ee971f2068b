// scratch_directory.h — a throw-away place for converting the stores once
// more.
//
// Checking what a migration gives (verification, the tool's prediction and
// report pages) means running the real conversion without writing anything
// of the user's. A ScratchDirectory is a new temporary directory holding
//   * databasePath(): where the conversion writes; a copy of `startFrom`
//     when one is given (so that updates of an existing output are
//     predicted), with its -wal or -journal file (copyDatabaseFiles), so the
//     conversion starts from what the next open of `startFrom` would hold;
//   * defaultsPath(): a copy of the user-defaults file when one is given and
//     exists ("" otherwise), so writing the defaults back changes nothing of
//     the user's;
// every copy writable by the user whatever the originals' mode. The
// directory and everything in it are removed with the object.
//
// create() gives "<dir>: cannot make a scratch directory: <reason>" or
// "<dir>: cannot copy into the scratch directory: <reason>".
#pragma once

#include <string>

#include "files/problem.h"

namespace veq {

class ScratchDirectory {
 public:
  ScratchDirectory() = default;
  ~ScratchDirectory();
  ScratchDirectory(const ScratchDirectory&) = delete;
  ScratchDirectory& operator=(const ScratchDirectory&) = delete;

  Problem create(const std::string& startFrom, const std::string& defaults);

  const std::string& databasePath() const { return database_; }
  const std::string& defaultsPath() const { return defaults_; }

 private:
  std::string dir_;
  std::string database_;
  std::string defaults_;
};

}  // namespace veq
