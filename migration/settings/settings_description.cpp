// settings_description.cpp — the one routine behind every settings and
// capability conversion.
#include "migration/settings/settings_description.h"

#include <memory>
#include <stdexcept>

#include <fmt/format.h>

#include "migration/pro_db_manager.h"
#include "migration/row_outcome.h"
#include "migration/settings/device_upsert.h"

namespace veq {

namespace {

[[noreturn]] void misfit(const VEQModel& model, const VEQColumnPair& pair, std::string_view why) {
  throw std::logic_error(fmt::format("{}.{} <- \"{}\": {}", model.schema().className, pair.property, pair.column, why));
}

// The column read the way the property's kind reads it, then converted.
VEQValue valueForPair(const VEQModel& model, const VEQColumnPair& pair, const VEQDict& row) {
  const int index = model.schema().indexOf(pair.property);
  if (index < 0) misfit(model, pair, "no such property");
  const VEQPropertyKind kind = model.schema().properties[index].kind;
  if (pair.conversion == VEQConversion::Constant) return pair.constant;

  switch (kind) {
    case VEQPropertyKind::Bool: {
      const bool flag = row.boolForKey(pair.column);
      if (pair.conversion == VEQConversion::AsIs) return flag;
      if (pair.conversion == VEQConversion::Negated) return !flag;
      misfit(model, pair, "a flag takes no arithmetic");
    }
    case VEQPropertyKind::Integer: {
      const int64_t n = row.integerForKey(pair.column);
      switch (pair.conversion) {
        case VEQConversion::AsIs: return n;
        case VEQConversion::PlusOne: return veqWrappingAdd(n, 1);
        case VEQConversion::TimesTwenty: return veqWrappingMultiply(n, 20);
        case VEQConversion::TwelveHourFlag: return int64_t{n != 0 ? 1 : 2};
        default: misfit(model, pair, "a count cannot be negated");
      }
    }
    case VEQPropertyKind::Text:
      if (pair.conversion != VEQConversion::AsIs) misfit(model, pair, "a text is copied as it is");
      return row.stringForKey(pair.column);
    case VEQPropertyKind::Object: {
      if (pair.conversion != VEQConversion::AsIs) misfit(model, pair, "an object is copied as it is");
      const VEQValue& stored = row[pair.column];
      return stored.isNull() ? VEQValue("") : stored;
    }
    case VEQPropertyKind::Array: break;
  }
  misfit(model, pair, "a list is computed, not read from a column");
}

std::string existsSqlFor(const VEQSettingsDescription& description, const VEQModel& model, const VEQDict& row,
                         const std::string& key) {
  if (description.lookup == VEQLookupRule::AlarmOfDevice) {
    return fmt::format("SELECT pk FROM {} WHERE alarm_id = {} AND mac_addr = '{}'", model.tableName(),
                       row.intForKey("alarm_id"), key);
  }
  return veqDeviceExistsSql(model.tableName(), key);
}

}  // namespace

bool veqMigrateSettingsRow(const VEQSettingsDescription& description, const VEQDict& row, VEQFMDatabase* db) {
  std::string key;
  const VEQDict* entry = nullptr;
  if (description.keyFrom == VEQDeviceKeyFrom::RowColumn) {
    key = veqDeviceKeyOfRow(row, description.keyColumn);
    if (key.empty()) return veqSkipRow(VEQSkipReason::kNoDeviceKey);
  } else {
    const std::string userId = row.stringForKey(description.keyColumn);
    if (userId.empty()) return veqSkipRow(VEQSkipReason::kNoUserId);
    entry = VEQProDBManager::queryIosUserDeviceInfoWithKey(userId);
    if (entry != nullptr) key = entry->stringForKey("smart_device_id");
    if (key.empty()) return veqSkipRow(VEQSkipReason::kUnknownDevice);
  }

  std::unique_ptr<VEQModel> model = veqMakeModel(description.modelClass);
  if (model == nullptr) throw std::logic_error("no model class " + std::string(description.modelClass));
  const std::string existsSql = existsSqlFor(description, *model, row, key);

  for (const VEQColumnPair& pair : description.pairs) model->setValue(pair.property, valueForPair(*model, pair, row));
  if (description.storesKey) model->setMacAddr(key);
  if (description.marksMigrated) model->setMigrationState(1);
  if (description.compute != nullptr) description.compute(VEQSettingsRow{row, key, entry}, *model);

  const VEQRecordLookup lookup = description.lookup == VEQLookupRule::DevicePositivePk
                                     ? VEQRecordLookup::PositivePk
                                     : VEQRecordLookup::ExistsQuery;
  return veqUpsertDeviceRecord(db, existsSql, *model, lookup);
}

}  // namespace veq
