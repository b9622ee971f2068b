// sync_sql_manager.h — the SQL catalogue of the new health tables.
//
// The new schema's health tables (sport, sleep, heart rate, blood pressure
// and GPS, each a day/head table and an item table, plus weight and
// activity) are described in docs/health_schema.md. Every table starts with
// the six base columns that the base values fill, then the record's own
// columns in the order the conversions bind them. The tables are data
// (health_tables.h) and every statement is derived from them
// (health_sql.h); this class hands the statements out, each built once,
// under the names the kit calls them by.
//
// Exists-query builders return a complete SELECT of "pk" with the keys pasted
// in as quoted literals; each query is served by an index of its table.
// The statements take ?-placeholders: an INSERT takes the base values and
// the record's values, the matching UPDATE the same plus the primary key
// last. The GPS statements accept both writers' layouts (with and without
// the day time stamp); see docs/health_schema.md.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "collaborators/health_tables.h"

namespace veq {

class VEQSyncSqlManager {
 public:
  static const VEQSyncSqlManager& shareInstance();

  // Day / head records: (day or time stamp text, device key).
  static std::string querySportExistSqlStr(std::string_view timeStr, std::string_view macAddr);
  static std::string querySleepExistSqlStr(std::string_view timeStr, std::string_view macAddr);
  static std::string queryHrExistSqlStr(std::string_view timeStr, std::string_view macAddr);
  static std::string queryBpExistSqlStr(std::string_view timeStr, std::string_view macAddr);
  static std::string queryGpsExistSqlStr(std::string_view timeStr, std::string_view macAddr);
  static std::string queryActivityExistSqlStr(std::string_view timeStr, std::string_view macAddr);
  // Item records: (parent stamp text, serial number, device key).
  static std::string querySportItemExistSqlStr(std::string_view timeStr, int64_t serialNumber, std::string_view macAddr);
  static std::string querySleepItemExistSqlStr(std::string_view timeStr, int64_t serialNumber, std::string_view macAddr);
  static std::string queryHrItemExistSqlStr(std::string_view timeStr, int64_t serialNumber, std::string_view macAddr);
  static std::string queryBpItemExistSqlStr(std::string_view timeStr, int64_t serialNumber, std::string_view macAddr);
  static std::string queryGpsItemExistSqlStr(std::string_view timeStr, int64_t serialNumber, std::string_view macAddr);
  // Weight: the day stamp alone.
  static std::string queryWeightExistSqlStr(std::string_view dayStr);

  const std::string& sportInsertSqlStr() const;
  const std::string& sportUpdateSqlStr() const;
  const std::string& sportItemInsertSqlStr() const;
  const std::string& sportItemUpdateSqlStr() const;
  const std::string& sleepInsertSqlStr() const;
  const std::string& sleepUpdateSqlStr() const;
  const std::string& sleepItemInsertSqlStr() const;
  const std::string& sleepItemUpdateSqlStr() const;
  const std::string& hrInsertSqlStr() const;
  const std::string& hrUpdateSqlStr() const;
  const std::string& hrItemInsertSqlStr() const;
  const std::string& hrItemUpdateSqlStr() const;
  const std::string& bpInsertSqlStr() const;
  const std::string& bpUpdateSqlStr() const;
  const std::string& bpItemInsertSqlStr() const;
  const std::string& bpItemUpdateSqlStr() const;
  const std::string& gpsInsertSqlStr() const;
  const std::string& gpsUpdateSqlStr() const;
  const std::string& gpsItemInsertSqlStr() const;
  const std::string& gpsItemUpdateSqlStr() const;
  const std::string& weightInsertSqlStr() const;
  const std::string& weightUpdateSqlStr() const;
  const std::string& activityInsertSqlStr() const;
  const std::string& activityUpdateSqlStr() const;

  // The same statements chosen by table: the named accessors above are
  // these, one per table and statement.
  const std::string& insertSqlStr(VEQHealthTable table) const;
  const std::string& updateSqlStr(VEQHealthTable table) const;
  // The INSERT fed by the record stream (health_sql.h: streamInsertSql).
  const std::string& streamInsertSqlStr(VEQHealthTable table) const;
  // The update of the record whose keys are the record's own, found by the
  // statement itself: it takes the INSERT's arguments, leaves the key
  // columns and their index alone, and changes no row when no record has
  // those keys. "" for the GPS tables.
  const std::string& updateByKeysSqlStr(VEQHealthTable table) const;
  static std::string_view tableName(VEQHealthTable table);
  // The record's own columns (after the six base columns) in binding order.
  static const std::vector<std::string_view>& recordColumns(VEQHealthTable table);
  // The columns an exists query of the table compares, in query order: the
  // device key (not for weight), the stamp, the serial number (items).
  static std::vector<std::string_view> keyColumns(VEQHealthTable table);
  // Whether the key starts with the device key; the columns after it are
  // integers (stamp, serial number).
  static bool keyHasDevice(VEQHealthTable table);
  // Positions of the key columns in recordColumns, in keyColumns order.
  static const std::vector<size_t>& keyPositions(VEQHealthTable table);
  // The query of the highest key the table holds, for one device (bound as
  // the one parameter) when the key has the device:
  //   SELECT <stamp>[, serial_number] FROM <table> [WHERE mac_addr = ?]
  //   ORDER BY <stamp> DESC[, serial_number DESC] LIMIT 1
  // served by the table's key index.
  static const std::string& highestKeySqlStr(VEQHealthTable table);
  // The column a table's second, shorter layout leaves out ("day_stamp" of
  // the GPS tables); "" when the table has one layout.
  static std::string_view shortLayoutOmits(VEQHealthTable table);

  // CREATE TABLE / CREATE INDEX (and the GPS trigger) statements of every
  // health table, each safe to run on a database that already has them.
  static std::string healthSchemaSql();
  // Names of the health tables, in schema order.
  static const std::vector<std::string>& healthTableNames();

  VEQSyncSqlManager(const VEQSyncSqlManager&) = delete;
  VEQSyncSqlManager& operator=(const VEQSyncSqlManager&) = delete;

 private:
  VEQSyncSqlManager();
  struct Statements;
  const Statements& s() const;
};

}  // namespace veq
