// row_outcome.cpp — the current session's report of the row being converted.
#include "migration/row_outcome.h"

#include <array>

#include "collaborators/fmdb.h"
#include "migration/migration_session.h"

namespace veq {
namespace {

VEQRowReport& report() { return VEQMigrationSession::current().rowReport(); }

struct ReasonTexts {
  std::string_view name;
  std::string_view text;
};

constexpr std::array<ReasonTexts, static_cast<size_t>(VEQSkipReason::kCount)> kReasons = {{
    {"", ""},
    {"no_device_key", "the row names no device"},
    {"no_user_id", "the row names no user"},
    {"unknown_device", "the row's user or device is in no device registry"},
    {"no_date", "the row's day or time is missing, 0 or negative"},
    {"year_1970", "the row's day is in 1970 (an unset device clock)"},
    {"duration_over_one_day", "the workout lasts more than one day"},
}};

}  // namespace

std::string_view veqOutcomeName(VEQRowOutcome outcome) {
  switch (outcome) {
    case VEQRowOutcome::kUnstated: return "unstated";
    case VEQRowOutcome::kInserted: return "inserted";
    case VEQRowOutcome::kUpdated: return "updated";
    case VEQRowOutcome::kKept: return "kept";
    case VEQRowOutcome::kSkipped: return "skipped";
    case VEQRowOutcome::kWriteFailed: return "write_failed";
  }
  return "unstated";
}

std::string_view veqSkipReasonName(VEQSkipReason reason) {
  const auto i = static_cast<size_t>(reason);
  return i < kReasons.size() ? kReasons[i].name : "";
}

std::string_view veqSkipReasonText(VEQSkipReason reason) {
  const auto i = static_cast<size_t>(reason);
  return i < kReasons.size() ? kReasons[i].text : "";
}

bool veqSkipRow(VEQSkipReason reason) {
  VEQRowReport& r = report();
  r.outcome = VEQRowOutcome::kSkipped;
  r.reason = reason;
  return true;
}

void veqKeepRow() { report().outcome = VEQRowOutcome::kKept; }

void veqRowWritten(VEQFMDatabase* db, bool existed, bool written) {
  // A row that writes twice (a GPS head and its point) failed if either did;
  // the first failure's message stands.
  VEQRowReport& r = report();
  if (r.outcome == VEQRowOutcome::kWriteFailed) return;
  if (written) {
    r.outcome = existed ? VEQRowOutcome::kUpdated : VEQRowOutcome::kInserted;
    return;
  }
  veqRowFailed(db != nullptr ? db->lastErrorMessage() : std::string_view("no database"));
}

const VEQRowReport& veqRowReport() { return report(); }

void veqBeginRow(const VEQDict* row) {
  VEQRowReport& r = report();
  r.outcome = VEQRowOutcome::kUnstated;
  r.reason = VEQSkipReason::kNone;
  r.message.clear();  // keeps its capacity
  r.row = row;
}

void veqRowFailed(std::string_view message) {
  VEQRowReport& r = report();
  r.outcome = VEQRowOutcome::kWriteFailed;
  r.message.assign(message.data(), message.size());
}

}  // namespace veq
