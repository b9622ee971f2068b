// database_inspection.h — checking, opening and measuring SQLite files.
//
// openCheckedDatabase refuses a file before any migration work starts:
//   * a path that does not exist, is not a regular file or cannot be read;
//   * a file that does not start with the SQLite header ("not a SQLite
//     database"), including an empty file;
//   * a file shorter than the size its header records ("truncated");
//   * a file whose pages fail PRAGMA quick_check ("corrupt").
// quick_check reads every page once but skips the index-content cross-check
// of integrity_check; on a store of a million rows it costs a small fraction
// of the migration, which reads every row anyway (see docs/tool.md).
// The problem comes back as a short phrase for "veq-migrate: <file>: <problem>".
//
// Opened read-only (flags without SQLITE_OPEN_READWRITE), a legacy store is
// never changed and nothing is created beside it: it is opened immutable
// (no locks, no -shm file, no journal). A store that its last writer left
// with a non-empty -wal or -journal file needs recovery, which writes; it is
// read from a private copy (store and those files, in a new temporary
// directory removed with the last handle), so the data in the log is not
// lost and the original stays as it was.
//
// The same private copy serves `inspect` and `verify` for an existing output
// (copyDatabaseFiles): what they judge is what the next open of the output
// would hold, its log replayed or its journal rolled back, while the output
// and its log or journal are only read. Every copy is made readable and
// writable by its owner whatever the original's mode, so that SQLite can
// recover and write it when the originals are read-only.
//
// tableNames and rowCount, which answer for any open database, are the
// plan's (migration/migration_plan.h).
#pragma once

#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <system_error>

#include "files/problem.h"
#include "collaborators/fmdb.h"
#include "migration/migration_plan.h"

namespace veq {

// Opens `path` with sqlite3_open_v2 `flags` after the checks above into *db
// (left null on a problem).
Problem openCheckedDatabase(const std::string& path, int flags, std::shared_ptr<VEQFMDatabase>* db);

// The first column of the first row of a query as an integer (0 when none).
int64_t queryCount(VEQFMDatabase& db, const std::string& sql, const VEQArray& args = {});

// The "file:" URI of a path (absolute, with ?, # and % escaped), for URI
// parameters such as immutable=1.
std::string fileUriOf(const std::string& path);

// Copies `from` to `to` (which must not exist) and gives the copy owner read
// and write permission; failures in `ec`.
void copyWritable(const std::string& from, const std::string& to, std::error_code& ec);
// Copies a database file and its non-empty "-wal" and "-journal" files to
// `copy`, `copy`-wal and `copy`-journal with copyWritable; SQLite then
// recovers the copy as it would the original.
void copyDatabaseFiles(const std::string& path, const std::string& copy, std::error_code& ec);

}  // namespace veq
