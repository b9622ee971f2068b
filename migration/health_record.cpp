// health_record.cpp — one health record filled by column name, and the
// base values every health statement starts with.

#include "migration/health_record.h"

#include <stdexcept>
#include <utility>

#include "migration/pro_db_manager.h"

namespace veq {
namespace {

constexpr size_t kBaseValueCount = VEQHealthRecord::kBaseValueCount;

// Appends the six values every health statement starts with.
void appendBaseData(VEQArray* args) {
  args->emplace_back(1);
  for (size_t i = 1; i < kBaseValueCount; ++i) args->emplace_back(std::string());
}

}  // namespace

VEQArray VEQProDBManager::getBaseData() {
  VEQArray base;
  base.reserve(kBaseValueCount);
  appendBaseData(&base);
  return base;
}

namespace {

std::string fieldError(VEQHealthTable table, std::string_view column, std::string_view problem) {
  return std::string(VEQSyncSqlManager::tableName(table)) + ": column \"" + std::string(column) + "\" " +
         std::string(problem);
}

}  // namespace

VEQHealthRecord::VEQHealthRecord(VEQHealthTable table, VEQRecordLayout layout)
    : table_(table),
      layout_(layout),
      columns_(&VEQSyncSqlManager::recordColumns(table)),
      omitted_(std::string_view::npos) {
  const std::vector<std::string_view>& columns = *columns_;
  if (columns.size() > 64) throw std::logic_error("health record: more than 64 columns");
  if (layout == VEQRecordLayout::kShort) {
    const std::string_view omits = VEQSyncSqlManager::shortLayoutOmits(table);
    if (omits.empty()) throw std::logic_error(fieldError(table, "", "table has no short layout"));
    for (size_t i = 0; i < columns.size(); ++i)
      if (columns[i] == omits) omitted_ = i;
    if (omitted_ == 0) next_ = 1;  // the column expected first is never the omitted one
  }
  values_.reserve(kBaseValueCount + columns.size() + 1);  // room for the pk
  appendBaseData(&values_);
  values_.resize(kBaseValueCount + columns.size());
}

VEQHealthRecord::VEQHealthRecord(VEQHealthTable table, std::initializer_list<Field> fields, VEQRecordLayout layout)
    : VEQHealthRecord(table, layout) {
  for (const Field& field : fields) set(field.column, std::move(field.value));
}

size_t VEQHealthRecord::positionOf(std::string_view column) const {
  const std::vector<std::string_view>& columns = *columns_;
  for (size_t i = 0; i < columns.size(); ++i)
    if (columns[i] == column) return i;
  throw std::logic_error(fieldError(table_, column, "does not exist"));
}

VEQHealthRecord& VEQHealthRecord::setSearched(std::string_view column, VEQValue value) {
  const size_t i = positionOf(column);
  if (i == omitted_) throw std::logic_error(fieldError(table_, column, "is not part of the short layout"));
  if (setMask_ & (uint64_t{1} << i)) throw std::logic_error(fieldError(table_, column, "is set twice"));
  place(i, std::move(value));
  return *this;
}

const VEQValue& VEQHealthRecord::operator[](std::string_view column) const {
  return values_[kBaseValueCount + positionOf(column)];
}

VEQArray VEQHealthRecord::takeArguments() {
  const std::vector<std::string_view>& columns = *columns_;
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

}  // namespace veq
