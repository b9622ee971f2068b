// Scratch directories and one-value queries shared by the tests.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "collaborators/fmdb.h"

namespace veq {

// A fresh directory for the running test, removed when it ends.
struct ScratchDir {
  std::filesystem::path path = std::filesystem::temp_directory_path() /
                               ("veq-" + std::to_string(getpid()) + "-" +
                                ::testing::UnitTest::GetInstance()->current_test_info()->name());
  ScratchDir() {
    std::filesystem::remove_all(path);
    std::filesystem::create_directories(path);
  }
  ~ScratchDir() { std::filesystem::remove_all(path); }
  std::string operator/(const std::string& name) const { return (path / name).string(); }
};

// The first column of the first row, or -1 when the query yields nothing.
inline int64_t queryInt(VEQFMDatabase* db, const std::string& sql) {
  auto rs = db->executeQuery(sql);
  return rs && rs->next() ? rs->objectForColumnIndex(0).integerValue() : -1;
}

}  // namespace veq
