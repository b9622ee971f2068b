// fmdb.h — the database layer: a SQLite connection, its result sets and a
// transaction queue. The one header callers include.
//
// Its parts, each with its contract at the top of its header:
//   fmdb_database.h         VEQFMDatabase: one connection; statements run
//                           with bound arguments, failures kept instead of
//                           thrown, a cache of what the current transaction
//                           learnt
//   fmdb_result_set.h       VEQFMResultSet: the rows of one query
//   fmdb_queue.h            VEQFMDatabaseQueue: serialised access and
//                           transactions that roll back on failure
//   fmdb_statement_cache.h  the connection's prepared statements, each text
//                           prepared once (internal to VEQFMDatabase)
#pragma once

#include "collaborators/fmdb_database.h"
#include "collaborators/fmdb_queue.h"
#include "collaborators/fmdb_result_set.h"
