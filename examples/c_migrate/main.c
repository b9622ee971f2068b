/* c_migrate — an app's upgrade step, in C: migrate the legacy stores into
 * the new database with a progress line, list what each table gave, then
 * verify the output before the legacy stores may be deleted.
 *
 * Usage: c_migrate OUTPUT [--ios PATH] [--android PATH] [--android-cloud PATH]
 *                         [--defaults PATH] [--zone IANA_NAME]
 * Exit status: 0 when every table ran and the output holds everything the
 * stores imply; 1 otherwise; 2 for bad usage. */
#include <stdio.h>
#include <string.h>

#include <veq_migrate.h>

typedef struct {
  int64_t total; /* rows of every store, for the progress line */
  int64_t done;
  int last_percent;
} progress_t;

static int on_row(void* user, const veq_row_event* row) {
  progress_t* p = (progress_t*)user;
  int percent;
  ++p->done;
  percent = p->total > 0 ? (int)(p->done * 100 / p->total) : 100;
  if (percent / 10 != p->last_percent / 10) printf("  %3d%%  (%s %s)\n", percent, row->store, row->table);
  p->last_percent = percent;
  if (row->outcome == VEQ_ROW_WRITE_FAILED) {
    fprintf(stderr, "  %s row %lld: %s\n", row->table, (long long)row->position, row->message);
  }
  return 0; /* nonzero would stop the run and roll this table back */
}

static int fail(veq_migration* m, const char* what) {
  fprintf(stderr, "c_migrate: %s failed: %s\n", what, veq_migration_error(m));
  veq_migration_destroy(m);
  return 1;
}

int main(int argc, char** argv) {
  const char* paths[VEQ_STORE_COUNT] = {NULL, NULL, NULL};
  const char* defaults = NULL;
  const char* zone = NULL;
  progress_t progress = {0, 0, 0};
  veq_migration* m;
  veq_status status;
  size_t i;
  int s, holds = 0;
  int64_t rows;

  if (argc < 2 || (argc % 2) != 0) {
    fprintf(stderr, "usage: c_migrate OUTPUT [--ios|--android|--android-cloud|--defaults|--zone VALUE]...\n");
    return 2;
  }
  for (s = 2; s + 1 < argc; s += 2) {
    if (strcmp(argv[s], "--ios") == 0) paths[VEQ_STORE_IOS] = argv[s + 1];
    else if (strcmp(argv[s], "--android") == 0) paths[VEQ_STORE_ANDROID] = argv[s + 1];
    else if (strcmp(argv[s], "--android-cloud") == 0) paths[VEQ_STORE_ANDROID_CLOUD] = argv[s + 1];
    else if (strcmp(argv[s], "--defaults") == 0) defaults = argv[s + 1];
    else if (strcmp(argv[s], "--zone") == 0) zone = argv[s + 1];
    else {
      fprintf(stderr, "c_migrate: unknown option %s\n", argv[s]);
      return 2;
    }
  }

  printf("veq-migrate %s (C interface %d)\n", veq_migrate_version(), veq_migrate_api_version());
  m = veq_migration_create();
  if (!m) return 1;
  if (zone && veq_migration_set_zone_named(m, zone) != VEQ_OK) return fail(m, "setting the zone");
  if (veq_migration_open(m, argv[1], paths[0], paths[1], paths[2]) != VEQ_OK) return fail(m, "opening");
  if (defaults && veq_migration_set_user_defaults(m, defaults) != VEQ_OK) return fail(m, "loading the defaults");
  printf("zone: %s\n", veq_migration_zone_name(m));

  for (s = 0; s < VEQ_STORE_COUNT; ++s) {
    if (veq_migration_store_rows(m, (veq_store)s, &rows) != VEQ_OK) return fail(m, "counting");
    if (rows > 0) printf("%s store: %lld rows in %zu tables\n", veq_store_label((veq_store)s), (long long)rows,
                         veq_migration_plan_count(m, (veq_store)s));
    progress.total += rows;
  }

  veq_migration_set_callbacks(m, on_row, NULL, &progress);
  status = veq_migration_run_all(m);
  for (i = 0; i < veq_migration_table_count(m); ++i) {
    const veq_table_summary* t = veq_migration_table(m, i);
    if (t->rows == 0) continue;
    printf("%-14s %-28s %7lld rows: %lld inserted, %lld updated, %lld kept, %lld skipped, %lld failed%s\n", t->store,
           t->table, (long long)t->rows, (long long)t->inserted, (long long)t->updated, (long long)t->kept,
           (long long)t->skipped, (long long)t->write_failed, t->rolled_back ? " (rolled back)" : "");
  }
  if (status != VEQ_OK) return fail(m, "migrating");

  if (veq_migration_verify(m, &holds) != VEQ_OK) return fail(m, "verifying");
  for (i = 0; i < veq_migration_verify_count(m); ++i) {
    const veq_verify_table* t = veq_migration_verify_table(m, i);
    if (t->missing || t->differing) {
      printf("%s: %lld missing, %lld differing\n", t->table, (long long)t->missing, (long long)t->differing);
    }
  }
  printf(holds ? "the output holds everything the stores imply: the legacy stores may go\n"
               : "the output does NOT hold everything the stores imply: keep the legacy stores\n");
  veq_migration_destroy(m);
  return holds ? 0 : 1;
}
