/* c_api_test.c — the C interface used from C99, on generated legacy stores.
 *
 * Usage: c_api_test STORES_DIR WORK_DIR
 *   STORES_DIR holds ios.sqlite, android.sqlite, android_cloud.sqlite and
 *   defaults.json (the tool's `fixtures` command writes them); WORK_DIR is
 *   an existing directory the test may fill.
 * Exit status 0 when every check passed; each failed check prints a line. */
#include <sqlite3.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "veq_migrate.h"

static int failures = 0;

#define CHECK(cond)                                                        \
  do {                                                                     \
    if (!(cond)) {                                                         \
      fprintf(stderr, "%s:%d: check failed: %s\n", __FILE__, __LINE__, #cond); \
      ++failures;                                                          \
    }                                                                      \
  } while (0)

#define CHECK_STATUS(call, expected)                                                         \
  do {                                                                                       \
    veq_status got_ = (call);                                                                \
    if (got_ != (expected)) {                                                                \
      fprintf(stderr, "%s:%d: %s gave %s, not %s: %s\n", __FILE__, __LINE__, #call,          \
              veq_status_name(got_), veq_status_name(expected), veq_migration_error(m));     \
      ++failures;                                                                            \
    }                                                                                        \
  } while (0)

static const char* stores_dir;
static const char* work_dir;

static const char* in_dir(const char* dir, const char* name) {
  static char paths[8][1024];
  static int next = 0;
  char* p = paths[next++ % 8];
  snprintf(p, sizeof paths[0], "%s/%s", dir, name);
  return p;
}

static void remove_output(const char* path) {
  char journal[1100];
  remove(path);
  snprintf(journal, sizeof journal, "%s-journal", path);
  remove(journal);
}

static void copy_file(const char* from, const char* to) {
  char buffer[4096];
  size_t n;
  FILE* in = fopen(from, "rb");
  FILE* out = fopen(to, "wb");
  if (in && out) {
    while ((n = fread(buffer, 1, sizeof buffer, in)) > 0) fwrite(buffer, 1, n, out);
  }
  if (in) fclose(in);
  if (out) fclose(out);
}

static int contains(const char* text, const char* part) { return text && strstr(text, part) != NULL; }

/* A migration over all three generated stores, in UTC, with a copy of the
 * defaults (a run writes them back). */
static veq_migration* open_all(const char* output) {
  const char* defaults = in_dir(work_dir, "defaults.json");
  veq_migration* m = veq_migration_create();
  remove_output(output);
  copy_file(in_dir(stores_dir, "defaults.json"), defaults);
  CHECK_STATUS(veq_migration_set_zone_named(m, "UTC"), VEQ_OK);
  CHECK_STATUS(veq_migration_open(m, output, in_dir(stores_dir, "ios.sqlite"), in_dir(stores_dir, "android.sqlite"),
                                  in_dir(stores_dir, "android_cloud.sqlite")),
               VEQ_OK);
  CHECK_STATUS(veq_migration_set_user_defaults(m, defaults), VEQ_OK);
  return m;
}

/* ---- What the callbacks saw ------------------------------------------ */

typedef struct {
  int64_t rows;
  int64_t rows_of_store[VEQ_STORE_COUNT];
  int64_t outcomes[VEQ_ROW_WRITE_FAILED + 1];
  int64_t bad_events;     /* positions out of order, messages where none belong */
  int64_t failure_reports;
  int64_t next_position;
  int started, finished;
  int64_t stop_at_row;    /* stop when this many rows were seen (-1: never) */
  int stop_after_tables;  /* stop at this finished table (0: never) */
  veq_status nested;      /* what a call from inside a callback got */
} seen_t;

static int store_index(const char* label) {
  int i;
  for (i = 0; i < VEQ_STORE_COUNT; ++i) {
    if (strcmp(label, veq_store_label((veq_store)i)) == 0) return i;
  }
  return 0;
}

static veq_migration* current;

static int on_row(void* user, const veq_row_event* row) {
  seen_t* seen = (seen_t*)user;
  if (row->position != seen->next_position) ++seen->bad_events;
  if ((row->outcome == VEQ_ROW_WRITE_FAILED) != (row->message[0] != '\0')) ++seen->bad_events;
  if ((row->outcome == VEQ_ROW_SKIPPED) != (row->reason != VEQ_SKIP_NONE)) ++seen->bad_events;
  seen->next_position = row->position + 1;
  ++seen->rows;
  ++seen->rows_of_store[store_index(row->store)];
  ++seen->outcomes[row->outcome];
  if (!row->succeeded) ++seen->failure_reports;
  if (seen->rows == 1) seen->nested = veq_migration_run_all(current);
  return seen->stop_at_row >= 0 && seen->rows >= seen->stop_at_row;
}

static int on_table(void* user, const veq_table_summary* table, veq_table_event event) {
  seen_t* seen = (seen_t*)user;
  (void)table;
  seen->next_position = 0;
  if (event == VEQ_TABLE_STARTED) ++seen->started;
  if (event == VEQ_TABLE_FINISHED) ++seen->finished;
  return event == VEQ_TABLE_FINISHED && seen->finished == seen->stop_after_tables;
}

static seen_t new_seen(void) {
  seen_t seen;
  memset(&seen, 0, sizeof seen);
  seen.stop_at_row = -1;
  return seen;
}

static int64_t summed(const veq_table_summary* t) {
  return t->inserted + t->updated + t->kept + t->skipped + t->write_failed + t->unstated;
}

static int64_t exec_count(const char* path, const char* sql) {
  sqlite3* db = NULL;
  sqlite3_stmt* stmt = NULL;
  int64_t n = -1;
  if (sqlite3_open(path, &db) == SQLITE_OK && sqlite3_prepare_v2(db, sql, -1, &stmt, NULL) == SQLITE_OK) {
    n = sqlite3_step(stmt) == SQLITE_ROW ? sqlite3_column_int64(stmt, 0) : sqlite3_changes(db);
  }
  sqlite3_finalize(stmt);
  sqlite3_close(db);
  return n;
}

static const veq_verify_table* verify_table(const veq_migration* m, const char* name) {
  size_t i;
  for (i = 0; i < veq_migration_verify_count(m); ++i) {
    if (strcmp(veq_migration_verify_table(m, i)->table, name) == 0) return veq_migration_verify_table(m, i);
  }
  return NULL;
}

/* ---- The cases -------------------------------------------------------- */

/* Every store migrates; callbacks, counts and summaries agree; the output
 * verifies, and no longer does once a record is deleted from it. */
static void whole_migration_then_verify(void) {
  const char* output = in_dir(work_dir, "all.sqlite");
  veq_migration* m = open_all(output);
  seen_t seen = new_seen();
  int64_t store_rows[VEQ_STORE_COUNT], total = 0, registry = 0, failure_reports = 0;
  int holds = -1, i;
  size_t t;
  const veq_verify_table* sport;

  for (i = 0; i < VEQ_STORE_COUNT; ++i) {
    CHECK_STATUS(veq_migration_store_rows(m, (veq_store)i, &store_rows[i]), VEQ_OK);
    CHECK(store_rows[i] > 0);
    total += store_rows[i];
  }
  CHECK_STATUS(veq_migration_registry_size(m, VEQ_STORE_IOS, &registry), VEQ_OK);
  CHECK(registry > 0);
  CHECK(strcmp(veq_migration_plan_table(m, VEQ_STORE_IOS, 0), "t_user_device") == 0);

  current = m;
  CHECK_STATUS(veq_migration_set_callbacks(m, on_row, on_table, &seen), VEQ_OK);
  CHECK_STATUS(veq_migration_run_all(m), VEQ_OK);
  CHECK(seen.nested == VEQ_ERROR_BUSY);
  CHECK(seen.bad_events == 0);
  CHECK(seen.rows == total);
  for (i = 0; i < VEQ_STORE_COUNT; ++i) CHECK(seen.rows_of_store[i] == store_rows[i]);
  CHECK(seen.outcomes[VEQ_ROW_INSERTED] > 0 && seen.outcomes[VEQ_ROW_SKIPPED] > 0);
  CHECK(seen.outcomes[VEQ_ROW_WRITE_FAILED] == 0 && seen.outcomes[VEQ_ROW_UNSTATED] == 0);

  CHECK(veq_migration_table_count(m) == (size_t)seen.finished && seen.started == seen.finished);
  for (t = 0; t < veq_migration_table_count(m); ++t) {
    const veq_table_summary* s = veq_migration_table(m, t);
    int64_t skips = 0;
    int r;
    for (r = 0; r < VEQ_SKIP_REASON_CAPACITY; ++r) skips += s->skip_reasons[r];
    CHECK(s->rows == summed(s) && s->rows == s->succeeded + s->failed);
    CHECK(skips == s->skipped && !s->rolled_back && s->first_error[0] == '\0');
    failure_reports += s->failed;
  }
  CHECK(seen.failure_reports == failure_reports);

  CHECK_STATUS(veq_migration_verify(m, &holds), VEQ_OK);
  CHECK(holds == 1);
  sport = verify_table(m, "health_sport");
  CHECK(sport && sport->expected > 0 && sport->expected == sport->output && sport->missing == 0);

  CHECK(exec_count(output, "DELETE FROM health_sport WHERE pk = (SELECT MIN(pk) FROM health_sport)") == 1);
  CHECK_STATUS(veq_migration_verify(m, &holds), VEQ_OK);
  CHECK(holds == 0);
  sport = verify_table(m, "health_sport");
  CHECK(sport && sport->missing == 1 && sport->output == sport->expected - 1);
  veq_migration_destroy(m);
}

/* A callback's stop rolls the table in progress back; running the store
 * again completes the output. A stop at a table's end keeps that table. */
static void stopping_and_going_on(void) {
  const char* output = in_dir(work_dir, "stopped.sqlite");
  veq_migration* m = open_all(output);
  seen_t seen = new_seen();
  const veq_table_summary* last;
  int holds = -1;

  current = m;
  seen.stop_at_row = 2000; /* inside one of the iOS health tables */
  veq_migration_set_callbacks(m, on_row, on_table, &seen);
  CHECK_STATUS(veq_migration_run_store(m, VEQ_STORE_IOS), VEQ_ERROR_STOPPED);
  CHECK(contains(veq_migration_error(m), "stopped by the caller while migrating ios "));
  last = veq_migration_table(m, veq_migration_table_count(m) - 1);
  CHECK(last && last->rolled_back && last->rows > summed(last));
  CHECK_STATUS(veq_migration_verify(m, &holds), VEQ_OK);
  CHECK(holds == 0);

  seen = new_seen();
  seen.stop_after_tables = 1;
  CHECK_STATUS(veq_migration_run_store(m, VEQ_STORE_ANDROID), VEQ_ERROR_STOPPED);
  CHECK(veq_migration_table_count(m) == 2);
  CHECK(!veq_migration_table(m, 0)->rolled_back && veq_migration_table(m, 1)->rolled_back);
  CHECK(summed(veq_migration_table(m, 1)) == 0);

  veq_migration_set_callbacks(m, NULL, NULL, NULL);
  CHECK_STATUS(veq_migration_run_all(m), VEQ_OK);
  CHECK_STATUS(veq_migration_verify(m, &holds), VEQ_OK);
  CHECK(holds == 1);
  veq_migration_destroy(m);
}

/* One table of the plan runs alone; tables outside it are refused. */
static void one_table(void) {
  const char* output = in_dir(work_dir, "one.sqlite");
  veq_migration* m = open_all(output);
  int64_t rows = 0;
  CHECK_STATUS(veq_migration_table_rows(m, VEQ_STORE_IOS, "t_sport_data", &rows), VEQ_OK);
  CHECK_STATUS(veq_migration_run_table(m, VEQ_STORE_IOS, "t_sport_data"), VEQ_OK);
  CHECK(veq_migration_table_count(m) == 1 && veq_migration_table(m, 0)->rows == rows);
  CHECK(exec_count(output, "SELECT COUNT(*) FROM health_sport") == veq_migration_table(m, 0)->inserted);
  CHECK_STATUS(veq_migration_run_table(m, VEQ_STORE_IOS, "no_such_table"), VEQ_ERROR_ARGUMENT);
  CHECK(contains(veq_migration_error(m), "no_such_table"));
  CHECK_STATUS(veq_migration_run_store(m, VEQ_STORE_ANDROID_CLOUD), VEQ_OK);
  veq_migration_destroy(m);
}

/* Bad input: a status and a message naming the file, nothing opened. */
static void refusals(void) {
  const char* output = in_dir(work_dir, "refused.sqlite");
  const char* ios = in_dir(stores_dir, "ios.sqlite");
  const char* not_sqlite = in_dir(work_dir, "not_sqlite.sqlite");
  veq_migration* m = veq_migration_create();
  FILE* f = fopen(not_sqlite, "w");
  sqlite3* holder = NULL;
  int holds = 0;
  if (f) {
    fputs("these are not the pages of a database\n", f);
    fclose(f);
  }
  remove_output(output);

  CHECK(veq_migration_run_all(NULL) == VEQ_ERROR_ARGUMENT);
  CHECK_STATUS(veq_migration_run_all(m), VEQ_ERROR_ARGUMENT);
  CHECK_STATUS(veq_migration_verify(m, &holds), VEQ_ERROR_ARGUMENT);
  CHECK_STATUS(veq_migration_set_zone_named(m, "Mars/Olympus_Mons"), VEQ_ERROR_ZONE);
  CHECK(contains(veq_migration_error(m), "Mars/Olympus_Mons"));
  CHECK_STATUS(veq_migration_open(m, output, NULL, NULL, NULL), VEQ_ERROR_ARGUMENT);
  CHECK_STATUS(veq_migration_open(m, output, in_dir(work_dir, "missing.sqlite"), NULL, NULL), VEQ_ERROR_STORE);
  CHECK(contains(veq_migration_error(m), "missing.sqlite: no such file"));
  CHECK_STATUS(veq_migration_open(m, output, NULL, not_sqlite, NULL), VEQ_ERROR_STORE);
  CHECK(contains(veq_migration_error(m), "not a SQLite database"));
  CHECK_STATUS(veq_migration_open(m, ios, ios, NULL, NULL), VEQ_ERROR_OUTPUT);
  CHECK(contains(veq_migration_error(m), "the output names the same file as the iOS store"));
  CHECK_STATUS(veq_migration_open(m, in_dir(work_dir, "no_dir/new.sqlite"), ios, NULL, NULL), VEQ_ERROR_OUTPUT);
  CHECK(contains(veq_migration_error(m), "no such directory"));

  /* Another connection holds the output's write lock. */
  CHECK(sqlite3_open(output, &holder) == SQLITE_OK);
  CHECK(sqlite3_exec(holder, "CREATE TABLE kit_own (x); BEGIN IMMEDIATE;", NULL, NULL, NULL) == SQLITE_OK);
  CHECK_STATUS(veq_migration_set_lock_wait(m, 50), VEQ_OK);
  CHECK_STATUS(veq_migration_open(m, output, ios, NULL, NULL), VEQ_ERROR_LOCKED);
  CHECK(contains(veq_migration_error(m), "locked by another process"));
  sqlite3_exec(holder, "ROLLBACK;", NULL, NULL, NULL);
  sqlite3_close(holder);

  CHECK_STATUS(veq_migration_open(m, output, ios, NULL, NULL), VEQ_OK);
  CHECK_STATUS(veq_migration_open(m, output, ios, NULL, NULL), VEQ_ERROR_ARGUMENT);
  CHECK_STATUS(veq_migration_run_store(m, VEQ_STORE_ANDROID), VEQ_ERROR_ARGUMENT);
  CHECK_STATUS(veq_migration_set_user_defaults(m, in_dir(work_dir, "no_defaults.json")), VEQ_ERROR_DEFAULTS);
  CHECK(contains(veq_migration_error(m), "no_defaults.json: no such file"));
  CHECK_STATUS(veq_migration_set_user_defaults(m, output), VEQ_ERROR_DEFAULTS);
  CHECK(contains(veq_migration_error(m), "the user-defaults file names the same file as the output"));
  CHECK_STATUS(veq_migration_set_user_defaults(m, not_sqlite), VEQ_ERROR_DEFAULTS);
  veq_migration_destroy(m);
}

/* A kit's zone answers every date; it is released once, when replaced. */
typedef struct {
  int64_t offset;
  long calls;
  int released;
} kit_zone_t;

static int64_t kit_offset(void* user, int64_t instant) {
  kit_zone_t* zone = (kit_zone_t*)user;
  (void)instant;
  ++zone->calls;
  return zone->offset;
}

static void kit_release(void* user) { ++((kit_zone_t*)user)->released; }

static void kit_zone(void) {
  const char* output = in_dir(work_dir, "kit_zone.sqlite");
  kit_zone_t tokyo = {9 * 3600, 0, 0};
  veq_migration* m = veq_migration_create();
  int holds = 0;
  remove_output(output);
  CHECK_STATUS(veq_migration_set_zone_callback(m, "Asia/Tokyo", kit_offset, &tokyo, kit_release), VEQ_OK);
  CHECK(contains(veq_migration_zone_name(m), "Asia/Tokyo (kit)"));
  CHECK_STATUS(veq_migration_open(m, output, NULL, in_dir(stores_dir, "android.sqlite"), NULL), VEQ_OK);
  CHECK_STATUS(veq_migration_run_all(m), VEQ_OK);
  CHECK(tokyo.calls > 0);
  CHECK_STATUS(veq_migration_verify(m, &holds), VEQ_OK);
  CHECK(holds == 1 && tokyo.released == 0);
  /* The same stores read in UTC give other day stamps. */
  CHECK_STATUS(veq_migration_set_zone_named(m, "UTC"), VEQ_OK);
  CHECK(tokyo.released == 1);
  CHECK_STATUS(veq_migration_verify(m, &holds), VEQ_OK);
  CHECK(holds == 0);
  veq_migration_destroy(m);
  CHECK(tokyo.released == 1);
}

int main(int argc, char** argv) {
  if (argc != 3) {
    fprintf(stderr, "usage: c_api_test STORES_DIR WORK_DIR\n");
    return 2;
  }
  stores_dir = argv[1];
  work_dir = argv[2];
  CHECK(veq_migrate_api_version() == VEQ_MIGRATE_API_VERSION);
  whole_migration_then_verify();
  stopping_and_going_on();
  one_table();
  refusals();
  kit_zone();
  if (failures == 0) printf("c_api_test: every check passed\n");
  return failures == 0 ? 0 : 1;
}
