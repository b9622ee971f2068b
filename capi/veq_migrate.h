/* veq_migrate.h — the migration library's C interface (C99).
 *
 * What it does: converts one user's legacy SQLite stores (the legacy iOS
 * store, the legacy Android store and the Android store of cloud data; any
 * of them may be absent) into the new database, table by table, each table
 * in one transaction; reports what became of every row; and checks
 * afterwards that the new database holds everything the stores imply, which
 * is what an app should know before it deletes the legacy stores for good.
 * Swift imports this header as it is; Java reaches it through the JNI
 * library built over it.
 *
 * A typical use:
 *
 *   veq_migration* m = veq_migration_create();
 *   veq_migration_set_zone_named(m, "Europe/Berlin");      // optional
 *   if (veq_migration_open(m, "new.sqlite", "ios.sqlite", NULL, NULL) != VEQ_OK)
 *     fprintf(stderr, "%s\n", veq_migration_error(m));
 *   veq_migration_set_user_defaults(m, "defaults.json");  // optional
 *   veq_migration_set_callbacks(m, on_row, on_table, my_context);
 *   veq_status s = veq_migration_run_all(m);
 *   for (size_t i = 0; i < veq_migration_table_count(m); ++i)
 *     use(veq_migration_table(m, i));
 *   int holds_everything = 0;
 *   if (veq_migration_verify(m, &holds_everything) == VEQ_OK && holds_everything)
 *     delete_the_legacy_stores();
 *   veq_migration_destroy(m);
 *
 * Handles. A veq_migration is one migration of one user: its own device
 * registries, zone, user defaults, open stores and output, shared with no
 * other handle. Two handles used on two threads migrate two users at once.
 *
 * Threads. The calls on one handle must not overlap: one thread at a time,
 * and a run works entirely on the thread that called it (callbacks included;
 * the library starts no thread). From inside a callback the only calls
 * allowed on the running handle are the read-only accessors
 * (veq_migration_error, veq_migration_table_count, veq_migration_table …);
 * any other call returns VEQ_ERROR_BUSY, and veq_migration_destroy must not
 * be called there at all.
 *
 * Ownership. The caller owns the handle (veq_migration_create) and frees it
 * with veq_migration_destroy, which closes the stores and the output. Every
 * string and struct the library hands out is the library's: never free it.
 *   - veq_migration_error(): valid until the next call on the handle.
 *   - a veq_row_event and the summary given to a table callback, with their
 *     strings: valid during the callback only (copy what you keep).
 *   - veq_migration_table(), veq_migration_not_converted(): valid until the
 *     next run call (run_table, run_store, run_all), open or destroy.
 *   - veq_migration_verify_table(): valid until the next veq_migration_verify
 *     or destroy.
 *   - veq_migration_plan_table(), veq_migration_zone_name(): valid until the
 *     next call that changes the stores or the zone, or destroy.
 *   - Strings the caller passes in are copied; they need only live for the
 *     call. The user pointer given with callbacks or a zone is the caller's;
 *     the library only passes it back (and hands a zone's to its release
 *     function, when one is given, once the zone is no longer used).
 *
 * Errors. Every call that can fail returns a veq_status: VEQ_OK, or the kind
 * of failure, with veq_migration_error() saying what went wrong as one line
 * that names the file: "<file>: <problem>", for instance
 *   "ios.sqlite: no such file", "new.sqlite: locked by another process; gave
 *   up after waiting 10.0 s for its write lock", "new.sqlite: the output names
 *   the same file as the iOS store", "unknown time zone \"Mars/Base\": …".
 * No C++ exception ever leaves the library. A failed call changes nothing
 * unless its description says otherwise.
 *
 * Runs. A run call migrates one table, every table of one store, or every
 * store (iOS, Android, Android cloud, in that order), each legacy table in
 * its own transaction on the output. It returns
 *   VEQ_OK            every table it was asked for ran (rows may still have
 *                     been skipped or have failed: see the summaries);
 *   VEQ_ERROR_STOPPED the callbacks asked it to stop;
 *   VEQ_ERROR_DISK_FULL / VEQ_ERROR_IO  a fatal error (full disk; I/O, lost
 *                     lock, damaged output, a store that cannot be read to
 *                     its end, a failed commit) ended it.
 * A stopped run rolls back the table it was in (none of its rows is kept);
 * the tables before it stay committed, and a later run may go on from the
 * stopped table. The message says what stopped it and where:
 *   "database or disk is full while migrating ios t_sport_item; that table
 *    was rolled back and the run stopped".
 * The summaries of the tables that ran (the stopped one included, with
 * rolled_back set) are readable after any of these results.
 *
 * Versions. veq_migrate_version() is the library's version ("0.1.0");
 * veq_migrate_api_version() the VEQ_MIGRATE_API_VERSION it implements.
 * Within one API version, functions and enum values are only ever added,
 * and the structs handed out only grow at their end.
 */
#ifndef VEQ_MIGRATE_H
#define VEQ_MIGRATE_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#if defined(_WIN32)
#define VEQ_API
#elif defined(__GNUC__)
#define VEQ_API __attribute__((visibility("default")))
#else
#define VEQ_API
#endif

#define VEQ_MIGRATE_API_VERSION 1

/* ---- Versions --------------------------------------------------------- */

VEQ_API const char* veq_migrate_version(void);
VEQ_API int veq_migrate_api_version(void);

/* ---- Status codes ----------------------------------------------------- */

typedef enum veq_status {
  VEQ_OK = 0,
  /* A NULL handle or required string, an unknown store or zone kind, a
   * table the store does not hold or no conversion takes, a store that is
   * not open, a call out of order (a run before open, open twice). */
  VEQ_ERROR_ARGUMENT = 1,
  /* A legacy store cannot be used: no such file, a directory, not a SQLite
   * database, truncated, corrupt, unreadable. */
  VEQ_ERROR_STORE = 2,
  /* The output cannot be used: it names an input, its directory is
   * missing, it is not writable, it is not a sound SQLite database. */
  VEQ_ERROR_OUTPUT = 3,
  /* Another process holds the output's write lock beyond the lock wait. */
  VEQ_ERROR_LOCKED = 4,
  /* The user-defaults file: missing, not a JSON object, the same file as a
   * store or the output, or it could not be written back after a run. */
  VEQ_ERROR_DEFAULTS = 5,
  /* The zone cannot be resolved (unknown name, no zone database, a $TZ
   * the C library cannot read). */
  VEQ_ERROR_ZONE = 6,
  /* A callback asked the run to stop. */
  VEQ_ERROR_STOPPED = 7,
  /* The run stopped: the output's disk is full. */
  VEQ_ERROR_DISK_FULL = 8,
  /* The run stopped on another fatal error: I/O, a lost lock, a damaged
   * output, a store that could not be read to a table's end, a failed
   * commit. */
  VEQ_ERROR_IO = 9,
  /* A call on a handle whose run is in progress (from inside a callback). */
  VEQ_ERROR_BUSY = 10,
  VEQ_ERROR_NO_MEMORY = 11,
  /* Anything else; the message says what. */
  VEQ_ERROR_INTERNAL = 12
} veq_status;

/* A short stable name of a status: "ok", "argument", "store", "output",
 * "locked", "defaults", "zone", "stopped", "disk_full", "io", "busy",
 * "no_memory", "internal"; "unknown" for any other value. */
VEQ_API const char* veq_status_name(veq_status status);

/* ---- Stores, outcomes, skip reasons ----------------------------------- */

typedef enum veq_store {
  VEQ_STORE_IOS = 0,
  VEQ_STORE_ANDROID = 1,
  VEQ_STORE_ANDROID_CLOUD = 2
} veq_store;
#define VEQ_STORE_COUNT 3

/* The store's label in summaries and messages: "ios", "android",
 * "android_cloud"; NULL for any other value. */
VEQ_API const char* veq_store_label(veq_store store);

/* What became of one legacy row. */
typedef enum veq_row_outcome {
  VEQ_ROW_UNSTATED = 0,     /* the conversion said nothing (none does) */
  VEQ_ROW_INSERTED = 1,     /* a new record was written */
  VEQ_ROW_UPDATED = 2,      /* its record existed and was rewritten */
  VEQ_ROW_KEPT = 3,         /* nothing needed writing, on purpose */
  VEQ_ROW_SKIPPED = 4,      /* the row cannot be placed; see the reason */
  VEQ_ROW_WRITE_FAILED = 5  /* the write failed; see the message */
} veq_row_outcome;

/* Why a row was skipped. */
typedef enum veq_skip_reason {
  VEQ_SKIP_NONE = 0,
  VEQ_SKIP_NO_DEVICE_KEY = 1,          /* the row names no device */
  VEQ_SKIP_NO_USER_ID = 2,             /* a user row without a user id */
  VEQ_SKIP_UNKNOWN_DEVICE = 3,         /* its device is in no registry */
  VEQ_SKIP_NO_DATE = 4,                /* day or time missing, 0 or negative */
  VEQ_SKIP_YEAR_1970 = 5,              /* a day of 1970: an unset device clock */
  VEQ_SKIP_DURATION_OVER_ONE_DAY = 6   /* a workout longer than a day */
} veq_skip_reason;
/* Room in veq_table_summary.skip_reasons; reasons may be added below it. */
#define VEQ_SKIP_REASON_CAPACITY 16

/* Short stable names ("inserted", "updated", "kept", "skipped",
 * "write_failed", "unstated"; "no_device_key", "no_user_id",
 * "unknown_device", "no_date", "year_1970", "duration_over_one_day"; ""
 * for VEQ_SKIP_NONE) and a sentence for people ("the row names no device",
 * …; "" for VEQ_SKIP_NONE). NULL for values out of range. */
VEQ_API const char* veq_outcome_name(veq_row_outcome outcome);
VEQ_API const char* veq_skip_reason_name(veq_skip_reason reason);
VEQ_API const char* veq_skip_reason_text(veq_skip_reason reason);

/* ---- Handle ----------------------------------------------------------- */

typedef struct veq_migration veq_migration;

/* A new handle: no stores, no output, the platform's local zone, an empty
 * user-defaults store, no callbacks, a lock wait of 10 s. NULL only when
 * out of memory. */
VEQ_API veq_migration* veq_migration_create(void);
/* Closes the stores and the output and frees the handle and everything it
 * handed out. NULL is allowed. Not from inside a callback. */
VEQ_API void veq_migration_destroy(veq_migration* migration);

/* The message of the last call on this handle that failed ("" when the last
 * call succeeded). Never NULL for a non-NULL handle; "" for NULL. */
VEQ_API const char* veq_migration_error(const veq_migration* migration);

/* ---- Zone ------------------------------------------------------------- */
/* Every day and time of the legacy stores is read in the migration's zone.
 * Setting it applies to the runs and verifications after the call. On
 * failure the zone stays as it was. */

/* The platform's local zone (the default): the phone's own zone, through
 * the C library. VEQ_ERROR_ZONE when the platform cannot resolve it. */
VEQ_API veq_status veq_migration_set_zone_local(veq_migration* migration);
/* An IANA zone ("Asia/Tokyo") from the zone database installed on the
 * system. "UTC" needs none. VEQ_ERROR_ZONE for a name the database does not
 * know, or when there is no database (phones: prefer the kit's zone). */
VEQ_API veq_status veq_migration_set_zone_named(veq_migration* migration, const char* iana_name);

/* A zone the kit answers from its platform's zone rules: offset_at(user,
 * instant) gives the offset from UTC in seconds east in effect at `instant`
 * (seconds since 1970-01-01T00:00:00Z). It must depend on the instant alone
 * and is called on the thread of the run or verification that needs it.
 * `name` is the zone's name for messages ("Europe/Berlin"). `release`, when
 * not NULL, is called once with `user` when the library no longer uses the
 * zone (another zone set, or the handle destroyed), also when this call
 * fails. */
typedef int64_t (*veq_zone_offset_fn)(void* user, int64_t instant);
VEQ_API veq_status veq_migration_set_zone_callback(veq_migration* migration, const char* name,
                                                   veq_zone_offset_fn offset_at, void* user,
                                                   void (*release)(void* user));

/* The zone in effect, as "<name> (<where its rules come from>)": "Asia/Tokyo
 * (tz database /usr/share/zoneinfo)", "local time (platform C library)",
 * "Europe/Berlin (kit)". NULL when the zone cannot be resolved (the error
 * then says why). */
VEQ_API const char* veq_migration_zone_name(veq_migration* migration);

/* ---- Opening ---------------------------------------------------------- */

/* How long open waits for another process's write lock on the output before
 * it gives up with VEQ_ERROR_LOCKED (default 10000 ms). Before open. */
VEQ_API veq_status veq_migration_set_lock_wait(veq_migration* migration, int milliseconds);

/* Opens the legacy stores (NULL or "" for a store that is absent; at least
 * one must be given) and the output, and fills the device registries from
 * the stores' device tables. Checks, in this order, writing nothing until
 * the last: each store opens read-only and is a sound SQLite database (a
 * store is never changed: opened immutable, or read from a private copy when
 * its last writer left a log or journal beside it); the output is none of
 * the stores, its directory exists and it can be written; it is absent,
 * empty or a sound SQLite database; its write lock can be taken within the
 * lock wait. Then the output is created when absent and given the new
 * schema. On failure nothing stays open, a file this call created is
 * removed, and the status is VEQ_ERROR_STORE, VEQ_ERROR_OUTPUT,
 * VEQ_ERROR_LOCKED or VEQ_ERROR_ARGUMENT (no store given, already open).
 * A handle is opened once. */
VEQ_API veq_status veq_migration_open(veq_migration* migration, const char* output_path, const char* ios_path,
                                      const char* android_path, const char* android_cloud_path);

/* The user defaults of the app, kept in a JSON file (one object). After
 * open. Loads the file (it must exist, hold one JSON object and be none of
 * the stores and not the output); the run calls then read and take over
 * the device binding it holds, and each run call that was not stopped
 * writes the file back (through a new file renamed into place).
 * VEQ_ERROR_DEFAULTS on failure, the store then as it was. Without this
 * call the user defaults are an empty store, never written. */
VEQ_API veq_status veq_migration_set_user_defaults(veq_migration* migration, const char* path);

/* Fills the three device registries again from the open stores' device
 * tables ("t_user_device", "BASIC_INFOS"), as open did. Needed only after
 * the kit changed those tables. */
VEQ_API veq_status veq_migration_fill_registries(veq_migration* migration);
/* Records in a store's device registry (0 for a store that is absent). */
VEQ_API veq_status veq_migration_registry_size(veq_migration* migration, veq_store store, int64_t* records);

/* ---- The plan, and counts for a progress screen ----------------------- */

/* The tables a run of `store` migrates, in the order it runs them: the
 * store's tables that a conversion takes, its device table first. 0 and
 * NULL for a store that is absent or an index out of range. */
VEQ_API size_t veq_migration_plan_count(veq_migration* migration, veq_store store);
VEQ_API const char* veq_migration_plan_table(veq_migration* migration, veq_store store, size_t index);

/* Rows of the tables a run of `store` migrates (0 for an absent store):
 * exactly the number of row callbacks a whole run of the store makes when
 * nothing stops it. Counted now, so call it before a run. */
VEQ_API veq_status veq_migration_store_rows(veq_migration* migration, veq_store store, int64_t* rows);
/* Rows of one table of a store. */
VEQ_API veq_status veq_migration_table_rows(veq_migration* migration, veq_store store, const char* table,
                                            int64_t* rows);

/* ---- Callbacks -------------------------------------------------------- */

/* One legacy row, as its conversion reported it. */
typedef struct veq_row_event {
  const char* store;        /* "ios", "android", "android_cloud" */
  const char* table;        /* the legacy table */
  int64_t position;         /* the row's place in the table's reading order, from 0 */
  int succeeded;            /* the conversion's own report (skips report success) */
  veq_row_outcome outcome;
  veq_skip_reason reason;   /* VEQ_SKIP_NONE unless skipped */
  const char* message;      /* write failed: the database's message; else "" */
} veq_row_event;

/* What one legacy table gave. */
typedef struct veq_table_summary {
  const char* store;          /* "ios", "android", "android_cloud" */
  const char* table;
  int64_t rows;               /* in the legacy table; -1 when it could not be counted */
  int64_t succeeded;          /* the conversions' reports of success */
  int64_t failed;             /* and of failure */
  int64_t inserted;           /* row outcomes */
  int64_t updated;
  int64_t kept;
  int64_t skipped;
  int64_t write_failed;
  int64_t unstated;
  int64_t skip_reasons[VEQ_SKIP_REASON_CAPACITY]; /* skipped rows, indexed by veq_skip_reason */
  int64_t failed_statements;  /* statements that failed in the output while the table ran */
  const char* first_error;    /* the first of them's message; "" when none */
  int rolled_back;            /* the run stopped in this table: none of its rows was kept */
} veq_table_summary;

/* Called after each row. Return 0 to go on; anything else stops the run:
 * the table in progress is rolled back and the run call returns
 * VEQ_ERROR_STOPPED. */
typedef int (*veq_row_callback)(void* user, const veq_row_event* row);

typedef enum veq_table_event {
  VEQ_TABLE_STARTED = 0,   /* before the first row: the summary holds the rows only */
  VEQ_TABLE_FINISHED = 1   /* after the table's transaction ended, committed or rolled back */
} veq_table_event;
/* Called as each table starts and finishes. Return 0 to go on. Anything
 * else stops the run with VEQ_ERROR_STOPPED: at VEQ_TABLE_STARTED before the
 * table's first row (the table is then summarised as rolled back, nothing
 * of it written), at VEQ_TABLE_FINISHED before the next table starts (this
 * table stays as it ended; a run with no table left ends VEQ_OK). */
typedef int (*veq_table_callback)(void* user, const veq_table_summary* table, veq_table_event event);

/* The callbacks of the runs to come; either may be NULL. Replaces any set
 * before. */
VEQ_API veq_status veq_migration_set_callbacks(veq_migration* migration, veq_row_callback on_row,
                                               veq_table_callback on_table, void* user);

/* ---- Runs ------------------------------------------------------------- */
/* Results as described at the top. Each run call replaces the summaries of
 * the one before. */

/* One legacy table of an open store, through the conversion a store run
 * would give it (VEQ_ERROR_ARGUMENT for a table not in the store's plan). */
VEQ_API veq_status veq_migration_run_table(veq_migration* migration, veq_store store, const char* table);
/* Every table of the store's plan, in order (VEQ_ERROR_ARGUMENT for a store
 * that is not open). */
VEQ_API veq_status veq_migration_run_store(veq_migration* migration, veq_store store);
/* Every open store, iOS, Android, Android cloud; stops where a store's run
 * stopped. */
VEQ_API veq_status veq_migration_run_all(veq_migration* migration);

/* The summaries of the last run call, in the order the tables ran. */
VEQ_API size_t veq_migration_table_count(const veq_migration* migration);
VEQ_API const veq_table_summary* veq_migration_table(const veq_migration* migration, size_t index);
/* Tables of the stores the last run call visited that no conversion takes:
 * their store label and name in *store and *table. VEQ_ERROR_ARGUMENT for an
 * index out of range. */
VEQ_API size_t veq_migration_not_converted_count(const veq_migration* migration);
VEQ_API veq_status veq_migration_not_converted(const veq_migration* migration, size_t index, const char** store,
                                               const char** table);

/* ---- Verification ----------------------------------------------------- */

/* One new table: records a fresh conversion of the stores gives
 * (expected), records the output holds, and converted records the output
 * lacks (missing), holds with other values (differing) or output records no
 * conversion gives (extra). Records are matched on their key columns and
 * compared on every column but the primary key, value and type; the device
 * binding that the first run takes over from the user defaults is not
 * compared. */
typedef struct veq_verify_table {
  const char* table;
  int64_t expected;
  int64_t output;
  int64_t missing;
  int64_t differing;
  int64_t extra;
} veq_verify_table;

/* Converts the open stores (with the user-defaults file as it now is, and
 * the handle's zone) into a scratch database that is removed afterwards,
 * and compares it with the output, every new table. *holds_everything is 1
 * when nothing is missing or differing (extra records, such as the SDK's
 * own since, do not count against it), else 0. Reads the output, writes
 * nothing of the caller's. VEQ_OK whatever the verdict; an error only when
 * the comparison could not be made. No callbacks are called. */
VEQ_API veq_status veq_migration_verify(veq_migration* migration, int* holds_everything);
VEQ_API size_t veq_migration_verify_count(const veq_migration* migration);
VEQ_API const veq_verify_table* veq_migration_verify_table(const veq_migration* migration, size_t index);

#ifdef __cplusplus
}
#endif

#endif /* VEQ_MIGRATE_H */
