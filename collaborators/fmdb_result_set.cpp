#include "collaborators/fmdb_result_set.h"

#include <sqlite3.h>

#include <cstring>
#include <memory>
#include <strings.h>
#include <vector>

#include "collaborators/fmdb_database.h"

namespace veq {

namespace {

std::string columnText(sqlite3_stmt* stmt, int index) {
  const unsigned char* text = sqlite3_column_text(stmt, index);
  if (!text) return std::string();
  return std::string(reinterpret_cast<const char*>(text), static_cast<size_t>(sqlite3_column_bytes(stmt, index)));
}

}  // namespace

VEQFMResultSet::VEQFMResultSet(VEQFMDatabase* db, sqlite3_stmt* stmt, VEQCachedStatement* entry)
    : db_(db), stmt_(stmt), entry_(entry) {
  db_->openResultSets_.insert(this);
}

VEQFMResultSet::~VEQFMResultSet() { close(); }

void VEQFMResultSet::close() {
  if (!stmt_) return;
  db_->openResultSets_.erase(this);
  db_->releaseStatement(stmt_, entry_);
  stmt_ = nullptr;
}

bool VEQFMResultSet::next() {
  if (!stmt_) return false;
  const int rc = sqlite3_step(stmt_);
  if (rc == SQLITE_ROW) return true;
  if (rc != SQLITE_DONE) db_->recordError(sqlite3_errmsg(db_->db_), rc);
  return false;
}

int VEQFMResultSet::columnCount() const { return stmt_ ? sqlite3_column_count(stmt_) : 0; }

std::string VEQFMResultSet::columnName(int index) const {
  const char* name = stmt_ ? sqlite3_column_name(stmt_, index) : nullptr;
  return name ? std::string(name) : std::string();
}

int VEQFMResultSet::columnIndexForName(std::string_view name) const {
  const int count = columnCount();
  for (int i = 0; i < count; ++i) {
    const char* column = sqlite3_column_name(stmt_, i);
    if (column && std::strlen(column) == name.size() && strncasecmp(column, name.data(), name.size()) == 0)
      return i;
  }
  return -1;
}

bool VEQFMResultSet::columnIsNull(std::string_view name) const {
  const int i = columnIndexForName(name);
  return i < 0 || sqlite3_column_type(stmt_, i) == SQLITE_NULL;
}

std::string VEQFMResultSet::stringForColumn(std::string_view name) const {
  const int i = columnIndexForName(name);
  return i < 0 ? std::string() : columnText(stmt_, i);
}

int64_t VEQFMResultSet::longLongIntForColumn(std::string_view name) const {
  const int i = columnIndexForName(name);
  return i < 0 ? 0 : sqlite3_column_int64(stmt_, i);
}

int VEQFMResultSet::intForColumn(std::string_view name) const {
  const int i = columnIndexForName(name);
  return i < 0 ? 0 : sqlite3_column_int(stmt_, i);
}

bool VEQFMResultSet::boolForColumn(std::string_view name) const { return longLongIntForColumn(name) != 0; }

double VEQFMResultSet::doubleForColumn(std::string_view name) const {
  const int i = columnIndexForName(name);
  return i < 0 ? 0.0 : sqlite3_column_double(stmt_, i);
}

VEQValue VEQFMResultSet::objectForColumn(std::string_view name) const {
  return objectForColumnIndex(columnIndexForName(name));
}

VEQValue VEQFMResultSet::objectForColumnIndex(int index) const {
  VEQValue value;
  assignColumnIndex(index, &value);
  return value;
}

void VEQFMResultSet::assignColumnIndex(int index, VEQValue* value) const {
  if (!stmt_ || index < 0 || index >= columnCount()) {
    value->assignNull();
    return;
  }
  // One call into the statement; the column's value is then read as it is
  // stored, without a type conversion, on the thread that steps the query
  // (which is what makes reading an unprotected value safe).
  sqlite3_value* column = sqlite3_column_value(stmt_, index);
  switch (sqlite3_value_type(column)) {
    case SQLITE_INTEGER: value->assignInteger(sqlite3_value_int64(column)); return;
    case SQLITE_FLOAT: value->assignReal(sqlite3_value_double(column)); return;
    case SQLITE_TEXT: {
      // The text first, then its length: sqlite3_value_bytes after
      // sqlite3_value_text gives the length of that UTF-8 text.
      const unsigned char* text = sqlite3_value_text(column);
      const size_t size = static_cast<size_t>(sqlite3_value_bytes(column));
      value->assignText(text ? std::string_view(reinterpret_cast<const char*>(text), size) : std::string_view());
      return;
    }
    case SQLITE_BLOB: {
      const void* bytes = sqlite3_value_blob(column);
      const size_t size = static_cast<size_t>(sqlite3_value_bytes(column));
      value->assignText(bytes ? std::string_view(static_cast<const char*>(bytes), size) : std::string_view());
      return;
    }
    default: value->assignNull();
  }
}

bool VEQFMResultSet::columnIsBlobAtIndex(int index) const {
  return stmt_ && index >= 0 && index < columnCount() && sqlite3_column_type(stmt_, index) == SQLITE_BLOB;
}

VEQDict VEQFMResultSet::resultDictionary() const {
  const int count = columnCount();
  auto keys = std::make_shared<VEQDict::Keys>();
  std::vector<VEQValue> values;
  keys->reserve(static_cast<size_t>(count));
  values.reserve(static_cast<size_t>(count));
  for (int i = 0; i < count; ++i) {
    keys->push_back(columnName(i));
    values.push_back(objectForColumnIndex(i));
  }
  return VEQDict(std::move(keys), std::move(values));
}

}  // namespace veq
