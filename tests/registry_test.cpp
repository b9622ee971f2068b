// The manager instance of the current session and the device registries'
// look-ups.

#include <gtest/gtest.h>

#include <type_traits>

#include "migration/pro_db_manager.h"
#include "test_support.h"

namespace veq {
namespace {

using M = VEQProDBManager;

using VEQRegistry = SessionTest;

TEST_F(VEQRegistry, OneSharedInstanceAndFirstMatchLookUps) {
  static_assert(!std::is_copy_constructible_v<M> && !std::is_copy_assignable_v<M>);
  M& m = fresh_.session().manager();
  ASSERT_EQ(&m, &M::shareInstance());

  EXPECT_EQ(M::queryIosUserDeviceInfoWithKey("u1"), nullptr);
  EXPECT_EQ(M::queryAndroidCloudDidDeviceInfoWithKey(VEQValue(0)), nullptr);

  m.iosUserDevices() = {{{"user_id", "u0"}}, {{"user_id", "u1"}, {"smart_device_id", "AA"}}, {{"user_id", "u1"}}};
  EXPECT_EQ(M::queryIosUserDeviceInfoWithKey("u1"), &m.iosUserDevices()[1]);  // the registry's own record
  EXPECT_EQ(M::queryIosUserDeviceInfoWithKey("U1"), nullptr);

  m.setAndroidUserDevices({{{"D_ID", 0}}, {{"D_ID", 17}}, {{"D_ID", 17}}});
  m.setAndroidCloudUserDevices({{{"D_ID", 5}}});
  EXPECT_EQ(M::queryAndroidDidDeviceInfoWithKey(VEQValue("17")), &m.androidUserDevices()[1]);
  EXPECT_EQ(M::queryAndroidDidDeviceInfoWithKey(VEQValue("abc")), &m.androidUserDevices()[0]);
  EXPECT_EQ(M::queryAndroidDidDeviceInfoWithKey(VEQValue(5)), nullptr);  // each look-up reads its own registry
  EXPECT_EQ(M::queryAndroidCloudDidDeviceInfoWithKey(VEQValue("5")), &m.androidCloudUserDevices()[0]);
}

}  // namespace
}  // namespace veq
