#include <gtest/gtest.h>

#include "collaborators/predicate.h"

namespace veq {
namespace {

TEST(Predicate, TextEqualsComparesTheTextFormAndFirstMatchWins) {
  const std::vector<VEQDict> devices{
      {{"smart_device_id", "none"}},
      {{"user_id", nullptr}, {"smart_device_id", "null"}},
      {{"user_id", "u1"}, {"smart_device_id", "A"}},
      {{"user_id", "u1"}, {"smart_device_id", "B"}},
      {{"user_id", 42}, {"smart_device_id", "C"}},
  };
  EXPECT_EQ(veqFirstWhereTextEquals(devices, "user_id", "u1"), &devices[2]);
  EXPECT_EQ(veqFirstWhereTextEquals(devices, "user_id", "42"), &devices[4]);
  EXPECT_EQ(veqFirstWhereTextEquals(devices, "user_id", ""), nullptr);  // absent / null never match
  EXPECT_EQ(veqFirstWhereTextEquals(devices, "user_id", "U1"), nullptr);
}

TEST(Predicate, IntegerEqualsReadsTheIntegerValue) {
  const std::vector<VEQDict> devices{
      {{"D_ID", nullptr}, {"MAC_ADDRESS", "null"}},
      {{"MAC_ADDRESS", "absent"}},
      {{"D_ID", "17"}, {"MAC_ADDRESS", "text17"}},
      {{"D_ID", 17}, {"MAC_ADDRESS", "number17"}},
      {{"D_ID", 0}, {"MAC_ADDRESS", "zero"}},
  };
  // The caller turns its key into an integer the platform's way.
  EXPECT_EQ(veqFirstWhereIntegerEquals(devices, "D_ID", VEQValue("17").integerValue()), &devices[2]);
  EXPECT_EQ(veqFirstWhereIntegerEquals(devices, "D_ID", VEQValue("abc").integerValue()), &devices[4]);
  EXPECT_EQ(veqFirstWhereIntegerEquals(std::vector<VEQDict>(devices.begin(), devices.begin() + 2),
                                       "D_ID", 0),
            nullptr);
  EXPECT_EQ(veqFirstWhereIntegerEquals(devices, "D_ID", 18), nullptr);
}

TEST(Predicate, AnyEqualsOneNeedsANumberOne) {
  EXPECT_TRUE(veqAnyEqualsOne({0, 0, 1}));
  EXPECT_TRUE(veqAnyEqualsOne({1.0}));
  EXPECT_FALSE(veqAnyEqualsOne({0, 0, 2}));
  EXPECT_FALSE(veqAnyEqualsOne({"1"}));
}

}  // namespace
}  // namespace veq
