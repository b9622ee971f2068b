#include "collaborators/health_tables.h"

namespace veq::health_tables {
namespace {

constexpr Column Int(std::string_view name) { return {name, Affinity::Integer}; }
constexpr Column Text(std::string_view name) { return {name, Affinity::Text}; }

}  // namespace

const std::vector<Column>& baseColumns() {
  static const std::vector<Column> columns = {
      Int("migration_state"), Text("user_id"),          Text("device_name"),
      Text("device_type"),    Text("firmware_version"), Text("remark"),
  };
  return columns;
}

const std::array<Table, kTableCount>& tables() {
  static const std::array<Table, kTableCount> all = {{
      {"health_sport", {true, "day_stamp", false},
       {Text("mac_addr"), Int("upload_state"), Int("item_count"), Int("step_goal"),
        Int("interval_minutes"), Int("start_minute"), Int("total_active_time"),
        Int("total_distance"), Int("total_calories"), Int("total_steps"), Text("date_text"),
        Int("day_stamp"), Int("day"), Int("month"), Int("year"), Int("recorded_item_count")}},
      {"health_sport_item", {true, "day_stamp", true},
       {Text("mac_addr"), Int("serial_number"), Int("day_stamp"), Int("distance"),
        Int("calories"), Int("active_time"), Int("steps"), Int("sport_mode")}},
      {"health_sleep", {true, "start_stamp", false},
       {Text("mac_addr"), Int("upload_state"), Int("start_stamp"), Int("day_stamp"), Int("day"),
        Int("month"), Int("year"), Text("date_text"), Int("sleep_score"), Int("deep_minutes"),
        Int("light_minutes"), Int("awake_minutes"), Int("awake_count"), Int("deep_count"),
        Int("light_count"), Int("total_minutes"), Int("end_minute"), Int("end_hour"),
        Int("item_count")}},
      {"health_sleep_item", {true, "day_stamp", true},
       {Text("mac_addr"), Int("serial_number"), Int("day_stamp"), Int("stage_stamp"),
        Int("duration"), Int("sleep_state")}},
      {"health_heart_rate", {true, "day_stamp", false},
       {Text("mac_addr"), Int("day_stamp"), Text("date_text"), Int("day"), Int("month"),
        Int("year"), Int("avg_hr"), Int("min_hr"), Int("warm_up_mins"), Int("anaerobic_mins"),
        Int("max_hr"), Int("limit_mins"), Int("aerobic_mins"), Int("burn_fat_mins"),
        Int("limit_threshold"), Int("aerobic_threshold"), Int("burn_fat_threshold"),
        Int("resting_hr"), Int("start_minute"), Int("item_count")}},
      {"health_heart_rate_item", {true, "day_stamp", true},
       {Text("mac_addr"), Int("serial_number"), Int("day_stamp"), Int("heart_rate"),
        Int("offset_minute")}},
      {"health_blood_pressure", {true, "day_stamp", false},
       {Text("mac_addr"), Int("upload_state"), Int("start_minute"), Int("day_stamp"),
        Text("date_text"), Int("day"), Int("month"), Int("year"), Int("systolic"),
        Int("diastolic"), Int("item_count")}},
      {"health_blood_pressure_item", {true, "day_stamp", true},
       {Text("mac_addr"), Int("upload_state"), Int("measure_stamp"), Int("day_stamp"),
        Int("serial_number"), Int("offset_minute"), Int("diastolic"), Int("systolic")}},
      // Android tracks carry no day stamp: midnight is the start less the
      // start's own time of day.
      {"health_gps", {true, "start_stamp", false},
       {Text("mac_addr"), Text("track_name"), Int("coordinate_system"), Int("point_interval"),
        Int("point_count"), Int("day_stamp"), Int("start_stamp"), Int("second"), Int("minute"),
        Int("hour"), Int("day"), Int("month"), Int("year")},
       ShortLayout{"day_stamp", "{start_stamp} - ({hour} * 3600 + {minute} * 60 + {second})"}},
      // Android points take the day stamp of their track; a point migrated
      // before its track gets it from the trigger when the track arrives.
      {"health_gps_point", {true, "start_stamp", true},
       {Text("mac_addr"), Int("day_stamp"), Int("start_stamp"), Text("longitude"),
        Text("latitude"), Int("serial_number")},
       ShortLayout{"day_stamp",
                   "SELECT day_stamp FROM health_gps WHERE mac_addr = {mac_addr} "
                   "AND start_stamp = {start_stamp}"},
       "CREATE TRIGGER IF NOT EXISTS health_gps_point_day AFTER INSERT ON health_gps BEGIN "
       "UPDATE health_gps_point SET day_stamp = NEW.day_stamp WHERE mac_addr = NEW.mac_addr "
       "AND start_stamp = NEW.start_stamp AND day_stamp IS NULL; END"},
      {"health_weight", {false, "day_stamp", false},
       {Text("bmi"), Text("body_fat_rate"), Text("muscle_mass"), Text("water_rate"),
        Text("bone_mass"), Text("visceral_fat"), Text("basal_metabolism"), Int("hand_entered"),
        Text("last_weight"), Text("weight_unit"), Text("display_unit"), Text("weight"),
        Int("measure_stamp"), Int("day_stamp"), Int("day"), Int("month"), Int("year")}},
      {"health_activity", {true, "start_stamp", false},
       {Text("mac_addr"), Int("started_on_device"), Int("saved"), Text("hr_values"),
        Int("warm_up_mins"), Int("anaerobic_mins"), Int("limit_mins"), Int("aerobic_mins"),
        Int("burn_fat_mins"), Int("max_hr"), Int("avg_hr"), Int("distance"), Int("calories"),
        Int("duration"), Int("steps"), Int("activity_type"), Int("packet_count"),
        Int("hr_item_count"), Int("hr_interval_minutes"), Int("data_length"),
        Int("start_stamp"), Int("day_stamp"), Int("second"), Int("minute"), Int("hour"),
        Int("day"), Int("month"), Int("year")}},
  }};
  return all;
}

std::vector<Column> allColumns(const Table& t) {
  std::vector<Column> columns = baseColumns();
  columns.insert(columns.end(), t.columns.begin(), t.columns.end());
  return columns;
}

std::vector<std::string_view> keyColumns(const Key& key) {
  std::vector<std::string_view> columns;
  if (key.byDevice) columns.emplace_back("mac_addr");
  columns.push_back(key.stamp);
  if (key.bySerial) columns.emplace_back("serial_number");
  return columns;
}

}  // namespace veq::health_tables
