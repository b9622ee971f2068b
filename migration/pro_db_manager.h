// pro_db_manager.h — the migration manager.
//
// VEQProDBManager migrates legacy SQLite stores into the new database, one
// legacy table per driver call:
//
//   jkdbDataMigrationWithTableName     tables of the legacy iOS store
//   androidDataMigrationWithTableName  health tables of the two legacy Android
//                                      stores and four legacy iOS health tables
//
// A driver resets the run state, opens one transaction on the new database,
// reads every row of the legacy table, converts each row with the routine
// that the table's name selects, and reports each row's outcome through the
// completion callback (table name, database or nullptr, success). Tables
// whose name selects no routine are ignored without a report. Inside the
// callback, lastRowReport() says what became of that row.
//
// The shared instance holds three device registries that the caller fills
// before a run: the legacy iOS user devices ("user_id", "smart_device_id",
// "band_status") and the devices of the two Android stores ("D_ID",
// "MAC_ADDRESS"). Look-ups return the first matching record, or nullptr.
//
// The shared instance is the one of the calling thread's current migration
// session (migration_session.h), and the static operations work on that
// session: its registries, its run state (the day whose items are being
// numbered and the last serial number) and its row report. One driver call
// at a time per session; two sessions on two threads run side by side.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "collaborators/fmdb.h"
#include "collaborators/sdk_utility.h"
#include "collaborators/value.h"
#include "migration/row_outcome.h"

namespace veq {

class VEQProDBManager {
 public:
  using CompletionCallback = std::function<void(const std::string& tableName, VEQFMDatabase* db, bool success)>;
  using SettingsRoutine = bool (*)(const VEQDict& dic, VEQFMDatabase* database);
  using HealthRoutine = bool (*)(const VEQDict& dic, VEQFMDatabaseQueue* oldQueue, VEQFMDatabase* database);

  // ---- Shared instance and device registries ------------------------------
  static VEQProDBManager& shareInstance();
  ~VEQProDBManager() = default;
  VEQProDBManager(const VEQProDBManager&) = delete;
  VEQProDBManager& operator=(const VEQProDBManager&) = delete;

  std::vector<VEQDict>& iosUserDevices() { return iosUserDevices_; }
  void setIosUserDevices(std::vector<VEQDict> devices) { iosUserDevices_ = std::move(devices); }
  std::vector<VEQDict>& androidUserDevices() { return androidUserDevices_; }
  void setAndroidUserDevices(std::vector<VEQDict> devices) { androidUserDevices_ = std::move(devices); }
  std::vector<VEQDict>& androidCloudUserDevices() { return androidCloudUserDevices_; }
  void setAndroidCloudUserDevices(std::vector<VEQDict> devices) { androidCloudUserDevices_ = std::move(devices); }

  // First record whose "user_id" equals `key` as text.
  static const VEQDict* queryIosUserDeviceInfoWithKey(const std::string& key);
  // First record whose "D_ID" equals the key's integer value.
  static const VEQDict* queryAndroidDidDeviceInfoWithKey(const VEQValue& key);
  static const VEQDict* queryAndroidCloudDidDeviceInfoWithKey(const VEQValue& key);

  // ---- Drivers -------------------------------------------------------------
  static void jkdbDataMigrationWithTableName(const std::string& tableName, VEQFMDatabaseQueue* dbQueue,
                                             VEQFMDatabaseQueue* oldQueue,
                                             const CompletionCallback& saveSetUpComplete);
  static void androidDataMigrationWithTableName(const std::string& tableName, VEQFMDatabaseQueue* dbQueue,
                                                VEQFMDatabaseQueue* oldQueue,
                                                const CompletionCallback& saveHealthComplete);
  // What became of the row the completion callback is reporting: inserted,
  // updated, kept, skipped (with the reason) or write failed (with the
  // database's message). See row_outcome.h.
  static const VEQRowReport& lastRowReport() { return veqRowReport(); }

  // Legacy table names each driver converts, in dispatch order (the special
  // acknowledged tables "t_user_device" and "BASIC_INFOS" are not listed).
  static std::vector<std::string> jkdbMigratableTableNames();
  static std::vector<std::string> androidMigratableTableNames();

  // ---- Run state and shared health-record rules ----------------------------
  static const std::string& currentDateStr();
  static void setCurrentDateStr(std::string dayStamp);
  static int32_t serialNumber();
  static void setSerialNumber(int32_t serial);
  // Serial number of the next unnumbered item keyed by `stamp`: 1 when the
  // stamp differs from currentDateStr (which then becomes the stamp),
  // otherwise one more than the last.
  static int32_t nextSerialNumberForStamp(const std::string& stamp);

  // The six values every health statement starts with: 1 and five "".
  static VEQArray getBaseData();
  // Normalises a legacy time stamp (seconds or milliseconds) to seconds,
  // correcting years of 3001 and later and Buddhist-era years.
  static std::string newTimeStampWithOldTimeStr(const std::string& oldTimeStr, VEQDateComponents* dateComponents);

  // ---- Device settings -------------------------------------------------------
  static bool deviceInfoDataMigrationWithDic(const VEQDict& dic, VEQFMDatabase* database);
  static bool userInfoDataMigrationWithDic(const VEQDict& dic, VEQFMDatabase* database);
  static bool alarmDataMigrationWithDic(const VEQDict& dic, VEQFMDatabase* database);
  static bool longSitDataMigrationWithDic(const VEQDict& dic, VEQFMDatabase* database);
  static bool noticeDataMigrationWithDic(const VEQDict& dic, VEQFMDatabase* database);
  static bool liveDataMigrationWithDic(const VEQDict& dic, VEQFMDatabase* database);
  static bool lostFindDataMigrationWithDic(const VEQDict& dic, VEQFMDatabase* database);
  static bool screenLightDataMigrationWithDic(const VEQDict& dic, VEQFMDatabase* database);
  static bool unitDataMigrationWithDic(const VEQDict& dic, VEQFMDatabase* database);
  static bool handGestureDataMigrationWithDic(const VEQDict& dic, VEQFMDatabase* database);
  static bool findPhoneDataMigrationWithDic(const VEQDict& dic, VEQFMDatabase* database);
  static bool openMusicDataMigrationWithDic(const VEQDict& dic, VEQFMDatabase* database);
  static bool doNotDisturbDataMigrationWithDic(const VEQDict& dic, VEQFMDatabase* database);
  static bool hrIntervalDataMigrationWithDic(const VEQDict& dic, VEQFMDatabase* database);
  static bool leftOrRightDataMigrationWithDic(const VEQDict& dic, VEQFMDatabase* database);
  static bool hrModelDataMigrationWithDic(const VEQDict& dic, VEQFMDatabase* database);
  static bool dispalyModeDataMigrationWithDic(const VEQDict& dic, VEQFMDatabase* database);
  static bool oneKeySOSDataMigrationWithDic(const VEQDict& dic, VEQFMDatabase* database);
  static bool sportShortcutDataMigrationWithDic(const VEQDict& dic, VEQFMDatabase* database);
  static bool weatherSwitchDataMigrationWithDic(const VEQDict& dic, VEQFMDatabase* database);
  static bool shortcurtDataMigrationWithDic(const VEQDict& dic, VEQFMDatabase* database);
  static bool watchDialDataMigrationWithDic(const VEQDict& dic, VEQFMDatabase* database);
  // The menstrual-cycle records are written without their device key, so
  // every run inserts them anew.
  static bool menstruationDataMigrationWithDic(const VEQDict& dic, VEQFMDatabase* database);
  static bool menstruationRemindDataMigrationWithDic(const VEQDict& dic, VEQFMDatabase* database);

  // ---- Function tables ------------------------------------------------------
  static bool funcTableDataMigrationWithDic(const VEQDict& dic, VEQFMDatabase* database);
  static bool mainFuncTableDataMigrationWithDic(const VEQDict& dic, VEQFMDatabase* database);
  static bool controlFuncTableDataMigrationWithDic(const VEQDict& dic, VEQFMDatabase* database);
  static bool callFuncTableDataMigrationWithDic(const VEQDict& dic, VEQFMDatabase* database);
  static bool noiftyFuncTableDataMigrationWithDic(const VEQDict& dic, VEQFMDatabase* database);
  static bool noifty1FuncTableDataMigrationWithDic(const VEQDict& dic, VEQFMDatabase* database);
  static bool noifty2FuncTableDataMigrationWithDic(const VEQDict& dic, VEQFMDatabase* database);
  static bool otherFuncTableDataMigrationWithDic(const VEQDict& dic, VEQFMDatabase* database);
  static bool smsFuncTableDataMigrationWithDic(const VEQDict& dic, VEQFMDatabase* database);
  static bool alarmFuncTableDataMigrationWithDic(const VEQDict& dic, VEQFMDatabase* database);
  static bool other2FuncTableDataMigrationWithDic(const VEQDict& dic, VEQFMDatabase* database);
  static bool type0FuncTableDataMigrationWithDic(const VEQDict& dic, VEQFMDatabase* database);
  static bool type1FuncTableDataMigrationWithDic(const VEQDict& dic, VEQFMDatabase* database);
  static bool type2FuncTableDataMigrationWithDic(const VEQDict& dic, VEQFMDatabase* database);
  static bool type3FuncTableDataMigrationWithDic(const VEQDict& dic, VEQFMDatabase* database);
  static bool main1FuncTableDataMigrationWithDic(const VEQDict& dic, VEQFMDatabase* database);
  static bool exFuncTableDataMigrationWithDic(const VEQDict& dic, VEQFMDatabase* database);
  static bool langFuncTableDataMigrationWithDic(const VEQDict& dic, VEQFMDatabase* database);
  static bool lang1FuncTableDataMigrationWithDic(const VEQDict& dic, VEQFMDatabase* database);

  // ---- Legacy iOS health ----------------------------------------------------
  static bool jkdbSportDataMigrationWithDic(const VEQDict& dic, VEQFMDatabaseQueue* oldQueue, VEQFMDatabase* database);
  static bool jkdbSportDataItemMigrationWithDic(const VEQDict& dic, VEQFMDatabaseQueue* oldQueue,
                                                VEQFMDatabase* database);
  static bool jkdbSleepDataMigrationWithDic(const VEQDict& dic, VEQFMDatabaseQueue* oldQueue, VEQFMDatabase* database);
  static bool jkdbSleepItemDataMigrationWithDic(const VEQDict& dic, VEQFMDatabaseQueue* oldQueue,
                                                VEQFMDatabase* database);
  static bool jkdbHrDataMigrationWithDic(const VEQDict& dic, VEQFMDatabaseQueue* oldQueue, VEQFMDatabase* database);
  static bool jkdbHrItemDataMigrationWithDic(const VEQDict& dic, VEQFMDatabaseQueue* oldQueue, VEQFMDatabase* database);
  static bool jkdbGpsDataMigrationWithDic(const VEQDict& dic, VEQFMDatabaseQueue* oldQueue, VEQFMDatabase* database);
  // Workouts, through the legacy iOS driver; the health driver's routine
  // below writes the same record and also accepts the older forms.
  static bool jkdbActivityDataMigrationWithDic(const VEQDict& dic, VEQFMDatabaseQueue* oldQueue,
                                               VEQFMDatabase* database);
  // Through the health driver.
  static bool iosBpDataMigrationWithDic(const VEQDict& dic, VEQFMDatabaseQueue* oldQueue, VEQFMDatabase* database);
  static bool iosBpItemDataMigrationWithDic(const VEQDict& dic, VEQFMDatabaseQueue* oldQueue, VEQFMDatabase* database);
  static bool iosWeightDataMigrationWithDic(const VEQDict& dic, VEQFMDatabaseQueue* oldQueue, VEQFMDatabase* database);
  static bool iosActiveDataMigrationWithDic(const VEQDict& dic, VEQFMDatabaseQueue* oldQueue, VEQFMDatabase* database);

  // ---- Android health (either Android store; see android_health/) ----------
  static bool androidHrDataMigrationWithDic(const VEQDict& dic, VEQFMDatabaseQueue* oldQueue, VEQFMDatabase* database);
  static bool androidHrItemDataMigrationWithDic(const VEQDict& dic, VEQFMDatabaseQueue* oldQueue,
                                                VEQFMDatabase* database);
  static bool androidSleepDataMigrationWithDic(const VEQDict& dic, VEQFMDatabaseQueue* oldQueue,
                                               VEQFMDatabase* database);
  static bool androidSleepItemDataMigrationWithDic(const VEQDict& dic, VEQFMDatabaseQueue* oldQueue,
                                                   VEQFMDatabase* database);
  static bool androidSportDataMigrationWithDic(const VEQDict& dic, VEQFMDatabaseQueue* oldQueue,
                                               VEQFMDatabase* database);
  static bool androidSportItemDataMigrationWithDic(const VEQDict& dic, VEQFMDatabaseQueue* oldQueue,
                                                   VEQFMDatabase* database);
  static bool androidWeightDataMigrationWithDic(const VEQDict& dic, VEQFMDatabaseQueue* oldQueue,
                                                VEQFMDatabase* database);
  static bool androidActiveDataMigrationWithDic(const VEQDict& dic, VEQFMDatabaseQueue* oldQueue,
                                                VEQFMDatabase* database);
  static bool androidBpDataMigrationWithDic(const VEQDict& dic, VEQFMDatabaseQueue* oldQueue, VEQFMDatabase* database);
  static bool androidBpItemDataMigrationWithDic(const VEQDict& dic, VEQFMDatabaseQueue* oldQueue,
                                                VEQFMDatabase* database);
  static bool androidGpsDataMigrationWithDic(const VEQDict& dic, VEQFMDatabaseQueue* oldQueue,
                                             VEQFMDatabase* database);
  static bool androidGpsItemDataMigrationWithDic(const VEQDict& dic, VEQFMDatabaseQueue* oldQueue,
                                                 VEQFMDatabase* database);

 private:
  friend class VEQMigrationSession;
  VEQProDBManager() = default;

  std::vector<VEQDict> iosUserDevices_;
  std::vector<VEQDict> androidUserDevices_;
  std::vector<VEQDict> androidCloudUserDevices_;
  std::string currentDateStr_;
  int32_t serialNumber_ = 0;
};

}  // namespace veq
