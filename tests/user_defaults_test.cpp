#include <gtest/gtest.h>

#include <fstream>

#include "collaborators/user_defaults.h"
#include "test_support.h"

namespace veq {
namespace {

class UserDefaults : public ::testing::Test {
 protected:
  std::string file(const char* name) const { return dir_ / name; }
  ScratchDir dir_;
};

TEST_F(UserDefaults, ReadsTheWayThePlatformDoes) {
  VEQUserDefaults d;
  d.setObject("lanya", "uuid-1");
  d.setObject("count", 3);
  d.setObject("flag", "YES");
  d.setObject("list", VEQArray{1});
  EXPECT_EQ(d.stringForKey("lanya"), "uuid-1");
  EXPECT_EQ(d.stringForKey("count"), "3");
  EXPECT_EQ(d.stringForKey("list"), "");
  EXPECT_TRUE(d.objectForKey("absent").isNull());
  EXPECT_TRUE(d.boolForKey("flag"));
  d.setObject("count", nullptr);
  d.removeObjectForKey("flag");
  EXPECT_EQ(d.dictionaryRepresentation(), (VEQDict{{"lanya", "uuid-1"}, {"list", VEQArray{1}}}));
}

TEST_F(UserDefaults, RoundTripThroughAFile) {
  VEQUserDefaults d;
  d.setObject("wareMacString", "AA:BB");
  d.setObject("BINDINGED", true);
  d.setObject("BLE_NAME", "Band ü");
  std::string error;
  ASSERT_TRUE(d.saveToFile(file("defaults.json"), &error)) << error;

  VEQUserDefaults loaded;
  loaded.setObject("stale", 1);
  ASSERT_TRUE(loaded.loadFromFile(file("defaults.json"), &error)) << error;
  const VEQDict all = loaded.dictionaryRepresentation();
  EXPECT_EQ(all, d.dictionaryRepresentation());
  EXPECT_EQ(all.keyAt(0), "wareMacString");
}

TEST_F(UserDefaults, MissingEmptyAndMalformedFiles) {
  VEQUserDefaults d;
  std::string error;
  d.setObject("kept", 1);
  EXPECT_TRUE(d.loadFromFile(file("missing.json"), &error));
  EXPECT_TRUE(d.dictionaryRepresentation().empty());

  d.setObject("kept", 1);
  const std::string deep = std::string(50000, '[') + std::string(50000, ']');
  for (const std::string bad : {"\n", "{\"a\":", "[1,2]", "42", deep.c_str()}) {
    std::ofstream(file("bad.json")) << bad;
    error.clear();
    EXPECT_FALSE(d.loadFromFile(file("bad.json"), &error)) << bad;
    EXPECT_NE(error.find("bad.json"), std::string::npos) << error;
    EXPECT_EQ(d.objectForKey("kept").integerValue(), 1);
  }
  EXPECT_FALSE(d.saveToFile(file("no/such/dir/defaults.json"), &error));
  EXPECT_FALSE(error.empty());
}

}  // namespace
}  // namespace veq
