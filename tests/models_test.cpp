// Tests of the model schemas, the column-name rule and model values.

#include <gtest/gtest.h>

#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "collaborators/models.h"
#include "collaborators/sdk_utility.h"
#include "test_support.h"

namespace veq {
namespace {

TEST(ModelsTest, ColumnNamesAreSnakeCase) {
  // Runs of capitals form one word; a digit ends a word like a lower-case letter.
  for (auto [property, column] : {std::pair{"macAddr", "mac_addr"}, {"isOnQq", "is_on_qq"}, {"ch", "ch"},
                                  {"isOnFaceBook", "is_on_face_book"}, {"HIDPhoto", "hid_photo"},
                                  {"type2Fitness", "type2_fitness"}})
    EXPECT_EQ(veqColumnNameForProperty(property), column);
}

TEST(ModelsTest, EverySchemaIsWellFormed) {
  std::set<std::string> tables;
  for (const VEQModelSchema* schema : veqAllModelSchemas()) {
    SCOPED_TRACE(schema->className);
    std::set<std::string> columns;
    for (const VEQPropertySpec& p : schema->properties) {
      EXPECT_TRUE(columns.insert(p.column).second) << "duplicate column " << p.column;
    }
    ASSERT_GE(schema->indexOf("macAddr"), 0);
    EXPECT_EQ(schema->properties[schema->indexOf("macAddr")].kind, VEQPropertyKind::Text);
    EXPECT_EQ(schema->indexColumns.at(0), "mac_addr");
    if (!schema->tableName.empty()) {
      EXPECT_TRUE(tables.insert(schema->tableName).second) << schema->tableName;
    }

    std::unique_ptr<VEQModel> model = veqMakeModel(schema->className);
    ASSERT_NE(model, nullptr);
    EXPECT_EQ(&model->schema(), schema);
    EXPECT_EQ(veqModelSchemaNamed(schema->className), schema);
  }
  EXPECT_EQ(veqAllModelSchemas().size(), 44u);
  EXPECT_EQ(veqMakeModel("VEQNoSuchModel"), nullptr);

  // The class's own columns, then mac_addr and migration_state.
  std::vector<std::string> control;
  for (const VEQPropertySpec& p : VEQGetFuncTable5BluetoothModel::modelSchema().properties) control.push_back(p.column);
  EXPECT_EQ(control, (std::vector<std::string>{"take_photo", "music", "hid_photo", "five_hr_interval", "bind_auth",
                                               "fast_sync", "ex_func_table", "bind_code_auth", "mac_addr",
                                               "migration_state"}));
}

TEST(ModelsTest, CreateTableSqlDeclaresTypesByKind) {
  EXPECT_EQ(VEQSetWatchDiaInfoBluetoothModel::modelSchema().createTableSql(),
            "CREATE TABLE IF NOT EXISTS t_set_watch_dia (pk INTEGER PRIMARY KEY AUTOINCREMENT, "
            "dial_id INTEGER, mac_addr TEXT, migration_state INTEGER);"
            "CREATE INDEX IF NOT EXISTS t_set_watch_dia_mac_addr ON t_set_watch_dia(mac_addr);");
  std::string alarm = VEQSetAlarmInfoBluetoothModel::modelSchema().createTableSql();
  EXPECT_NE(alarm.find("ON t_set_alarm(mac_addr, alarm_id)"), std::string::npos) << alarm;
  EXPECT_EQ(VEQSetTimeInfoBluetoothModel::modelSchema().createTableSql(), "");
}

TEST(ModelsTest, ValuesStartAtZeroAndTakeTheirKind) {
  VEQSetAlarmInfoBluetoothModel alarm;
  EXPECT_FALSE(alarm.value("isOpen").boolValue());
  EXPECT_EQ(alarm.value("hour").integerValue(), 0);
  EXPECT_TRUE(alarm.value("repeat").isArray());
  EXPECT_EQ(alarm.values().size(), alarm.schema().properties.size());

  // The typed setters convert like the platform's property setters.
  alarm.setValue("isOpen", VEQValue("yes"));
  alarm.setValue("hour", VEQValue("7 o'clock"));
  alarm.setValue("repeat", VEQValue(VEQArray{1, 0}));
  EXPECT_EQ(alarm.value("isOpen"), VEQValue(true));
  EXPECT_EQ(alarm.value("hour"), VEQValue(int64_t{7}));
  EXPECT_EQ(alarm.value("repeat").array().size(), 2u);
  EXPECT_THROW(alarm.setValue("repeat", VEQValue(3)), std::logic_error);

  VEQGetDeviceInfoBluetoothModel info;
  EXPECT_TRUE(info.value("deviceId").isNull());
  info.setValue("deviceId", VEQValue(int64_t{1234}));
  EXPECT_EQ(info.value("deviceId"), VEQValue(int64_t{1234}));  // objects kept as given

  EXPECT_THROW(alarm.setBool("noSuchProperty", true), std::logic_error);
  EXPECT_THROW(alarm.value("alarm_id"), std::logic_error);  // columns are not property names
}

using ModelsSessionTest = SessionTest;

TEST_F(ModelsSessionTest, TimeInfoCarriesTheCurrentDate) {
  ASSERT_TRUE(VEQSDKUtility::setTimeZone("UTC"));
  VEQSDKUtility::setFixedNow(1719835506);  // 2024-07-01 12:05:06 UTC
  VEQSetTimeInfoBluetoothModel now;
  EXPECT_EQ(now.year(), 2024);
  EXPECT_EQ(now.value("second").integerValue(), 6);
  VEQSDKUtility::setFixedNow(4102444800);  // 2100-01-01 00:00:00 UTC
  EXPECT_EQ(VEQSetTimeInfoBluetoothModel().year(), 2100);
  EXPECT_EQ(now.tableName(), "");
}

}  // namespace
}  // namespace veq
