// rejects.cpp — the rejected rows of a run as JSON lines.
#include "cli/rejects.h"

#include <nlohmann/json.hpp>

#include "collaborators/json.h"
#include "collaborators/sql_identifier.h"

namespace veq {

namespace {

using Json = nlohmann::ordered_json;

// Marks where the rowid goes; replaced when the table ends.
constexpr const char* kRowidSlot = "\"rowid\":null";

}  // namespace

Problem RejectsFile::open() {
  if (!enabled()) return std::nullopt;
  file_.open(path_, std::ios::trunc);
  if (!file_) return "cannot write the rejects file";
  return std::nullopt;
}

void RejectsFile::note(const std::string& store, const std::string& table, int64_t position,
                       const VEQRowReport& report) {
  if (!enabled()) return;
  if (report.outcome != VEQRowOutcome::kSkipped && report.outcome != VEQRowOutcome::kWriteFailed) return;
  Json line = {{"store", store}, {"table", table}, {"rowid", nullptr}};
  line["row"] = report.row != nullptr
                    ? Json::parse(objectToJsonString(VEQValue(*report.row)).value_or("{}"), nullptr, false)
                    : Json::object();
  line["outcome"] = veqOutcomeName(report.outcome);
  if (report.outcome == VEQRowOutcome::kSkipped) {
    line["reason"] = veqSkipReasonName(report.reason);
    line["detail"] = veqSkipReasonText(report.reason);
  } else {
    line["message"] = report.message;
  }
  pending_.push_back({position, line.dump(-1, ' ', false, Json::error_handler_t::replace)});
}

bool RejectsFile::finishTable(VEQFMDatabase& legacy, const std::string& table) {
  if (pending_.empty()) return true;
  // Rowids of the noted places, in the scan order the driver read.
  std::vector<std::string> rowids(pending_.size(), "null");
  if (auto rs = legacy.executeQuery("SELECT rowid FROM " + sqlIdentifier(table) + " NOT INDEXED")) {
    size_t next = 0;
    for (int64_t position = 0; next < pending_.size() && rs->next(); ++position) {
      if (pending_[next].position == position) rowids[next++] = rs->objectForColumnIndex(0).description();
    }
  }
  for (size_t i = 0; i < pending_.size(); ++i) {
    std::string& line = pending_[i].lineWithoutRowid;
    line.replace(line.find(kRowidSlot), std::string(kRowidSlot).size(), "\"rowid\":" + rowids[i]);
    file_ << line << '\n';
  }
  written_ += static_cast<int64_t>(pending_.size());
  pending_.clear();
  file_.flush();
  return static_cast<bool>(file_);
}

}  // namespace veq
