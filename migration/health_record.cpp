// health_record.cpp — the rules every health conversion shares: run state,
// per-day serial numbers, base values, time-stamp normalisation and the
// insert-or-update step.

#include "migration/health_record.h"

#include <array>
#include <span>
#include <stdexcept>
#include <utility>

#include "collaborators/db_manager.h"
#include "collaborators/key_marks.h"
#include "collaborators/sdk_utility.h"
#include "migration/driver.h"
#include "migration/pro_db_manager.h"
#include "migration/row_outcome.h"

namespace veq {
namespace {

// Run state of the driver call in progress; both drivers reset it.
std::string gCurrentDateStr;
int32_t gSerialNumber = 0;

constexpr size_t kBaseValueCount = 6;

// Appends the six values every health statement starts with.
void appendBaseData(VEQArray* args) {
  args->emplace_back(1);
  for (size_t i = 1; i < kBaseValueCount; ++i) args->emplace_back(std::string());
}

}  // namespace

const std::string& VEQProDBManager::currentDateStr() { return gCurrentDateStr; }

void VEQProDBManager::setCurrentDateStr(std::string dayStamp) { gCurrentDateStr = std::move(dayStamp); }

int32_t VEQProDBManager::serialNumber() { return gSerialNumber; }

void VEQProDBManager::setSerialNumber(int32_t serial) { gSerialNumber = serial; }

int32_t VEQProDBManager::nextSerialNumberForStamp(const std::string& stamp) {
  if (gCurrentDateStr != stamp) {
    gCurrentDateStr = stamp;
    gSerialNumber = 1;
  } else {
    ++gSerialNumber;
  }
  return gSerialNumber;
}

VEQArray VEQProDBManager::getBaseData() {
  VEQArray base;
  base.reserve(kBaseValueCount);
  appendBaseData(&base);
  return base;
}

namespace {

std::string normalisedTimeStamp(const std::string& oldTimeStr, int64_t currentYear);

// The last normalisation of this thread: intervals come many to a stamp, and
// the result depends only on the text, the time zone and the current year.
struct LastNormalisation {
  std::string oldTimeStr;
  uint64_t zoneGeneration = 0;
  int64_t currentYear = 0;
  std::string result;
  VEQDateComponents components;
  bool valid = false;
};

thread_local LastNormalisation tLastNormalisation;

}  // namespace

std::string VEQProDBManager::newTimeStampWithOldTimeStr(const std::string& oldTimeStr,
                                                        VEQDateComponents* dateComponents) {
  LastNormalisation& last = tLastNormalisation;
  const int64_t currentYear = VEQSDKUtility::currentYear();
  const uint64_t zoneGeneration = VEQSDKUtility::timeZoneGeneration();
  if (last.valid && last.oldTimeStr == oldTimeStr && last.currentYear == currentYear &&
      last.zoneGeneration == zoneGeneration) {
    if (dateComponents != nullptr) *dateComponents = last.components;
    return last.result;
  }
  last.valid = false;
  last.result = normalisedTimeStamp(oldTimeStr, currentYear);
  last.components = VEQSDKUtility::dateComponentsWithDateStr(last.result);
  last.oldTimeStr = oldTimeStr;
  last.zoneGeneration = zoneGeneration;
  last.currentYear = currentYear;
  last.valid = true;
  if (dateComponents != nullptr) *dateComponents = last.components;
  return last.result;
}

namespace {

// A stamp whose year needs no correction comes back as its integer seconds,
// whatever the zone and the hour (also in the hour repeated when the clocks
// go back, which rebuilding it from its wall-clock fields would lose). A
// corrected one keeps its wall-clock fields in the corrected year and, where
// that local time occurs twice, the offset the original instant had.
std::string normalisedTimeStamp(const std::string& oldTimeStr, int64_t currentYear) {
  // Thirteen or more characters hold milliseconds.
  const std::string seconds = std::to_string(oldTimeStr.size() >= 13 ? VEQValue(oldTimeStr).integerValue() / 1000
                                                                     : VEQValue(oldTimeStr).integerValue());

  const VEQDateComponents c = VEQSDKUtility::dateComponentsWithDateStr(seconds);
  int64_t year = c.year;
  if (year >= 3001) year -= 1900;
  // A year far ahead of ours is counted in the Buddhist era.
  year = veqBuddhistEraCorrected(year, currentYear);
  if (year == c.year) return seconds;
  return VEQSDKUtility::timeStampWithYear(seconds, year);
}

}  // namespace

namespace {

std::string fieldError(VEQHealthTable table, std::string_view column, std::string_view problem) {
  return std::string(VEQSyncSqlManager::tableName(table)) + ": column \"" + std::string(column) + "\" " +
         std::string(problem);
}

}  // namespace

VEQHealthRecord::VEQHealthRecord(VEQHealthTable table, VEQRecordLayout layout)
    : table_(table), layout_(layout), omitted_(std::string_view::npos) {
  const std::vector<std::string_view>& columns = VEQSyncSqlManager::recordColumns(table);
  if (columns.size() > 64) throw std::logic_error("health record: more than 64 columns");
  if (layout == VEQRecordLayout::kShort) {
    const std::string_view omits = VEQSyncSqlManager::shortLayoutOmits(table);
    if (omits.empty()) throw std::logic_error(fieldError(table, "", "table has no short layout"));
    for (size_t i = 0; i < columns.size(); ++i)
      if (columns[i] == omits) omitted_ = i;
  }
  values_.reserve(kBaseValueCount + columns.size() + 1);  // room for the pk
  appendBaseData(&values_);
  values_.resize(kBaseValueCount + columns.size());
}

VEQHealthRecord::VEQHealthRecord(VEQHealthTable table, std::initializer_list<Field> fields, VEQRecordLayout layout)
    : VEQHealthRecord(table, layout) {
  for (const Field& field : fields) set(field.first, field.second);
}

size_t VEQHealthRecord::positionOf(std::string_view column) const {
  const std::vector<std::string_view>& columns = VEQSyncSqlManager::recordColumns(table_);
  if (next_ < columns.size() && columns[next_] == column) return next_;
  for (size_t i = 0; i < columns.size(); ++i)
    if (columns[i] == column) return i;
  throw std::logic_error(fieldError(table_, column, "does not exist"));
}

VEQHealthRecord& VEQHealthRecord::set(std::string_view column, VEQValue value) {
  const size_t i = positionOf(column);
  if (i == omitted_) throw std::logic_error(fieldError(table_, column, "is not part of the short layout"));
  if (setMask_ & (uint64_t{1} << i)) throw std::logic_error(fieldError(table_, column, "is set twice"));
  setMask_ |= uint64_t{1} << i;
  values_[kBaseValueCount + i] = std::move(value);
  next_ = i + 1 == omitted_ ? i + 2 : i + 1;
  return *this;
}

const VEQValue& VEQHealthRecord::operator[](std::string_view column) const {
  return values_[kBaseValueCount + positionOf(column)];
}

VEQArray VEQHealthRecord::takeArguments() {
  const std::vector<std::string_view>& columns = VEQSyncSqlManager::recordColumns(table_);
  for (size_t i = 0; i < columns.size(); ++i) {
    if (i != omitted_ && !(setMask_ & (uint64_t{1} << i))) {
      throw std::logic_error(fieldError(table_, columns[i], "is not set"));
    }
  }
  if (omitted_ != std::string_view::npos) {
    values_.erase(values_.begin() + static_cast<std::ptrdiff_t>(kBaseValueCount + omitted_));
    omitted_ = std::string_view::npos;
  }
  return std::move(values_);
}

const VEQValue& VEQHealthRecord::value(size_t column) const { return values_.at(kBaseValueCount + column); }

size_t VEQHealthRecord::argumentIndex(size_t column) const {
  if (column == omitted_) return std::string_view::npos;
  return kBaseValueCount + column - (omitted_ != std::string_view::npos && column > omitted_ ? 1 : 0);
}

int64_t veqBuddhistEraCorrected(int64_t year, int64_t currentYear) {
  return veqWrappingSubtract(year, currentYear) > 500 ? veqWrappingSubtract(year, 543) : year;
}

int64_t veqSleepStartStamp(int64_t dayStamp, int64_t endHour, int64_t endMinute, int64_t totalMinutes) {
  constexpr int64_t kMinutesPerDay = 1440, kSecondsPerDay = 86400;
  const int64_t startMinute =
      veqWrappingSubtract(veqWrappingAdd(veqWrappingMultiply(endHour, 60), endMinute), totalMinutes);
  if (startMinute >= 0) return veqWrappingAdd(veqWrappingMultiply(startMinute, 60), dayStamp);
  return veqWrappingAdd(veqWrappingMultiply(veqWrappingAdd(startMinute, kMinutesPerDay), 60),
                        veqWrappingSubtract(dayStamp, kSecondsPerDay));
}

namespace {

// True when the record's key columns hold exactly the values its look-up
// binds (same kind, same value): the record with those keys is then the one
// to update, and its keys need no rewriting.
bool recordHasKeys(const VEQHealthRecord& record, const VEQDBManager::HealthLookupKeys& keys) {
  const std::vector<size_t>& positions = VEQSyncSqlManager::keyPositions(record.table());
  if (positions.size() != keys.count) return false;
  for (size_t i = 0; i < keys.count; ++i) {
    const VEQValue& value = record.value(positions[i]);
    const VEQSqlParam& key = keys.values[i];
    const bool same = key.isText ? value.isText() && value.text() == key.chars
                                 : value.kind() == VEQValue::Kind::Integer && value.integerValue() == key.number;
    if (!same) return false;
  }
  return true;
}

// Reports the written record's keys (at `keyAt` in `args`) to the key marks.
// A key the layout leaves out is not reported; the marks notice the
// unreported write and learn the table again.
void noteKeys(VEQFMDatabase* db, VEQHealthTable table, VEQRecordWrite write, const VEQArray& args,
              const std::array<size_t, 3>& keyAt, size_t count) {
  std::array<const VEQValue*, 3> keys{};
  if (count > keys.size()) return;
  for (size_t i = 0; i < count; ++i) {
    if (keyAt[i] >= args.size()) return;
    keys[i] = &args[keyAt[i]];
  }
  veqNoteRecordKeys(db, table, std::span(keys).first(count), write);
}

}  // namespace

bool veqUpsertHealthRecord(VEQFMDatabase* db, const std::string& existsSql, VEQHealthRecord record,
                           VEQHealthWrite write) {
  const VEQHealthTable table = record.table();
  const VEQSyncSqlManager& sql = VEQSyncSqlManager::shareInstance();
  const std::vector<size_t>& keyPositions = VEQSyncSqlManager::keyPositions(table);
  std::array<size_t, 3> keyAt{};
  for (size_t i = 0; i < keyPositions.size() && i < keyAt.size(); ++i) keyAt[i] = record.argumentIndex(keyPositions[i]);

  bool exists = false, written = false;
  VEQRecordWrite how = VEQRecordWrite::kInsert;
  VEQArray args;
  const std::optional<VEQDBManager::HealthLookupKeys> keys =
      veqStraightforwardPaths() ? std::nullopt : VEQDBManager::readHealthLookup(table, existsSql);
  if (keys && db != nullptr && write == VEQHealthWrite::kUpsert && !sql.updateByKeysSqlStr(table).empty() &&
      recordHasKeys(record, *keys)) {
    // Look-up and update in one statement; an insert when it found nothing.
    args = record.takeArguments();
    written = true;
    if (veqKnownRecord(db, table, keys->span()) != VEQKnownRecord::kAbsent) {
      written = db->executeUpdate(sql.updateByKeysSqlStr(table), args);
      exists = written && db->changes() > 0;
      how = VEQRecordWrite::kUpdateKeepingKeys;
    }
    if (written && !exists) {
      written = db->executeUpdate(sql.insertSqlStr(table), args);
      how = VEQRecordWrite::kInsert;
    }
  } else {
    int64_t pk = 0;
    // The text is read once: its keys, when it has the constant look-up's
    // shape, go straight to that look-up.
    exists = keys && db != nullptr ? VEQDBManager::queryHealthRecordByKeys(db, table, *keys, &pk)
                                   : VEQDBManager::querySyncExistDataWithSqlDb(db, existsSql, &pk);
    if (exists && write == VEQHealthWrite::kInsertOnce) {
      veqKeepRow();
      return true;
    }
    args = record.takeArguments();
    if (exists) args.emplace_back(pk);
    written = db->executeUpdate(exists ? sql.updateSqlStr(table) : sql.insertSqlStr(table), args);
    how = exists ? VEQRecordWrite::kUpdate : VEQRecordWrite::kInsert;
  }
  veqRowWritten(db, exists, written);
  if (written && !veqStraightforwardPaths()) noteKeys(db, table, how, args, keyAt, keyPositions.size());
  return written;
}

}  // namespace veq
