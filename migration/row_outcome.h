// row_outcome.h — what became of the legacy row a conversion just handled.
//
// A conversion routine returns one boolean, and by contract it returns YES
// for rows it deliberately skips and for health rows whose write failed. The
// row outcome says what really happened, beside that boolean:
//
//   inserted      a new record was written
//   updated       the row's record existed and was rewritten in place
//   kept          nothing needed writing: the record exists and is left as
//                 it is on purpose (a GPS track head), or the row is only
//                 acknowledged (the device-registry tables)
//   skipped       the row cannot be placed; the reason says why
//   write failed  the UPDATE or INSERT failed; the message is the
//                 database's own
//
// Who states it:
//   * The drivers reset it before each row (outcome "unstated", the row
//     pointer set to the row being converted) and state "kept" for
//     acknowledged rows and "write failed" for rows of a database that does
//     not open.
//   * The per-device upsert and the health upsert state inserted, updated or
//     write failed themselves; a conversion routine only names its skips:
//         if (macAddr.empty()) return veqSkipRow(VEQSkipReason::kNoDeviceKey);
//   * Callers of a driver read VEQProDBManager::lastRowReport() inside the
//     completion callback; it describes the row being reported. Outside a
//     callback its content is unspecified.
//
// Cost: stating an outcome stores two bytes; only "write failed" copies a
// message (into a buffer that keeps its capacity between rows), so the
// common outcomes allocate nothing. Callers that ignore the report see the
// routines' results, the callbacks and the writes exactly as before.
//
// The report belongs to the current migration session, like the drivers'
// run state: one driver call at a time per session (migration_session.h).
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "collaborators/value.h"

namespace veq {

class VEQFMDatabase;

enum class VEQRowOutcome : uint8_t {
  kUnstated,  // the routine said nothing (no routine of this library does)
  kInserted,
  kUpdated,
  kKept,
  kSkipped,
  kWriteFailed,
};

// Why a row was skipped. Add a reason here (and its texts in
// row_outcome.cpp) when a routine needs one; keep the list short.
enum class VEQSkipReason : uint8_t {
  kNone,
  kNoDeviceKey,         // the row names no device ("smart_device_id" empty …)
  kNoUserId,            // a user row without "user_id"
  kUnknownDevice,       // the row's user or device id is in no registry, or
                        // its registry record holds no device key
  kNoDate,              // the day or time is missing, 0 or negative
  kYear1970,            // a day of 1970: an unset device clock
  kDurationOverOneDay,  // a workout of more than 86400 seconds
  kCount,
};

struct VEQRowReport {
  VEQRowOutcome outcome = VEQRowOutcome::kUnstated;
  VEQSkipReason reason = VEQSkipReason::kNone;  // set when skipped
  std::string message;                          // set when the write failed
  const VEQDict* row = nullptr;                 // the legacy row being reported
};

// Short stable names for reports and files: "inserted", "updated", "kept",
// "skipped", "write_failed", "unstated"; and "no_device_key", "no_user_id",
// "unknown_device", "no_date", "year_1970", "duration_over_one_day".
std::string_view veqOutcomeName(VEQRowOutcome outcome);
std::string_view veqSkipReasonName(VEQSkipReason reason);
// A sentence for people: "the row names no device", …
std::string_view veqSkipReasonText(VEQSkipReason reason);

// ---- Stating an outcome (conversion routines and upserts) -------------------

// Marks the row skipped; returns true, the result a skipping routine reports.
bool veqSkipRow(VEQSkipReason reason);
// Marks the row kept (its record deliberately left as it is).
void veqKeepRow();
// The outcome of one UPDATE (existed) or INSERT: inserted / updated when
// `written`, else write failed with the database's last error message. A
// row whose earlier write failed stays failed with the first message.
void veqRowWritten(VEQFMDatabase* db, bool existed, bool written);

// ---- Reading and resetting (drivers and their callers) ---------------------

const VEQRowReport& veqRowReport();
// Starts a new row: outcome unstated, no reason, no message, `row` current.
void veqBeginRow(const VEQDict* row);
// Marks the current row write failed with `message`.
void veqRowFailed(std::string_view message);

}  // namespace veq
