// Migrates a user's legacy stores through the installed Java API, as an
// Android kit would after an upgrade, then checks the new database before
// the stores could be deleted.
//
// Usage (the jar and the JNI library installed under PREFIX):
//   java -Djava.library.path=PREFIX/lib/... -cp PREFIX/share/java/veq-migrate.jar \
//        examples/java_migrate/Main.java DIR
// DIR holds ios.sqlite, android.sqlite, android_cloud.sqlite and
// defaults.json (`veq-migrate fixtures --out DIR` writes such stores); the
// new database is written there as new.sqlite. Exit status 0 when every
// table ran and the new database holds everything the stores imply.
import com.veq.migrate.Migration;
import com.veq.migrate.MigrationReport;
import com.veq.migrate.Row;
import com.veq.migrate.RowOutcome;
import com.veq.migrate.Store;
import com.veq.migrate.TableSummary;
import com.veq.migrate.VerifyReport;
import java.nio.file.Files;
import java.nio.file.Path;
import java.time.ZoneId;
import java.util.Map;

public class Main {
  public static void main(String[] args) {
    Path dir = Path.of(args.length > 0 ? args[0] : ".");
    try (Migration migration = Migration.builder(dir.resolve("new.sqlite"))
             .iosStore(dir.resolve("ios.sqlite"))
             .androidStore(dir.resolve("android.sqlite"))
             .androidCloudStore(dir.resolve("android_cloud.sqlite"))
             .userDefaults(dir.resolve("defaults.json"))
             .timeZone(ZoneId.of("UTC"))
             .open()) {
      System.out.println("veq-migrate " + Migration.version() + ", zone " + migration.zoneName());
      Map<Store, Long> total = migration.rowCounts();
      long all = total.values().stream().mapToLong(Long::longValue).sum();
      long[] done = {0};
      MigrationReport report = migration.migrateAll(new Migration.Listener() {
        @Override
        public void rowMigrated(Row row) {
          if (++done[0] % 10000 == 0) {
            System.out.printf("  %d of %d rows%n", done[0], all);
          }
          if (row.outcome() == RowOutcome.WRITE_FAILED) {
            System.out.println("  " + row.table() + " row " + row.position() + ": " + row.message());
          }
        }
      });
      long inserted = 0;
      long skipped = 0;
      for (TableSummary table : report.tables()) {
        inserted += table.inserted();
        skipped += table.skipped();
      }
      System.out.printf("%d tables, %d rows: %d inserted, %d skipped%n", report.tables().size(), done[0], inserted,
                        skipped);
      VerifyReport verdict = migration.verify();
      System.out.println("the new database holds everything: " + (verdict.holdsEverything() ? "yes" : "no"));
      System.exit(verdict.holdsEverything() && done[0] == all && Files.exists(dir.resolve("new.sqlite")) ? 0 : 1);
    }
  }
}
