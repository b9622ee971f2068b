// Shared manager instance and the device registries' look-ups.

#include <gtest/gtest.h>

#include <tuple>
#include <type_traits>
#include <utility>

#include "migration/pro_db_manager.h"

namespace veq {
namespace {

using M = VEQProDBManager;

TEST(VEQRegistry, OneSharedInstanceAndFirstMatchLookUps) {
  static_assert(!std::is_copy_constructible_v<M> && !std::is_copy_assignable_v<M>);
  M& m = M::shareInstance();
  ASSERT_EQ(&m, &M::shareInstance());
  // The registries are process-wide: put back what other tests left there.
  auto saved = std::make_tuple(std::exchange(m.iosUserDevices(), {}), std::exchange(m.androidUserDevices(), {}),
                               std::exchange(m.androidCloudUserDevices(), {}));

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

  m.setIosUserDevices(std::move(std::get<0>(saved)));
  m.setAndroidUserDevices(std::move(std::get<1>(saved)));
  m.setAndroidCloudUserDevices(std::move(std::get<2>(saved)));
}

}  // namespace
}  // namespace veq
