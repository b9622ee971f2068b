package com.veq.migrate;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNotNull;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.StandardCopyOption;
import java.time.ZoneId;
import java.util.ArrayList;
import java.util.EnumMap;
import java.util.List;
import java.util.Map;
import java.util.TreeMap;
import java.util.concurrent.ConcurrentHashMap;
import org.junit.jupiter.api.BeforeAll;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

/** The Java API migrates the generated stores as the C++ tool does, and verifies the result. */
class MigrationTest {
  @TempDir static Path fixtures;

  @BeforeAll
  static void generate() throws Exception {
    Tool.fixtures(fixtures);
  }

  /** The tool's run of all three stores into dir/cpp.sqlite; its text report. */
  private static String toolRun(Path dir, String zone) throws Exception {
    Path defaults = Files.copy(fixtures.resolve("defaults.json"), dir.resolve("cpp-defaults.json"));
    Tool.Result result = Tool.run(dir, "run", "--ios", store("ios"), "--android", store("android"),
                                  "--android-cloud", store("android_cloud"), "--defaults", defaults.toString(),
                                  "--out", dir.resolve("cpp.sqlite").toString(), "--time-zone", zone,
                                  "--rejects", dir.resolve("rejects.jsonl").toString());
    assertEquals(0, result.status(), result.err());
    return result.out();
  }

  private static String store(String name) {
    return fixtures.resolve(name + ".sqlite").toString();
  }

  private static Migration.Builder builder(Path dir, String output) throws Exception {
    Path defaults = Files.copy(fixtures.resolve("defaults.json"), dir.resolve(output + "-defaults.json"),
                               StandardCopyOption.REPLACE_EXISTING);
    return Migration.builder(dir.resolve(output)).iosStore(Path.of(store("ios")))
                    .androidStore(Path.of(store("android"))).androidCloudStore(Path.of(store("android_cloud")))
                    .userDefaults(defaults);
  }

  /** Everything a listener hears, kept in order. */
  static final class Recorder implements Migration.Listener {
    final List<String> events = new ArrayList<>();
    final Map<String, List<Row>> rows = new TreeMap<>();
    final List<TableSummary> finished = new ArrayList<>();

    @Override
    public void tableStarted(Store store, String table, long rows) {
      events.add("start " + store.label() + " " + table + " " + rows);
    }

    @Override
    public void rowMigrated(Row row) {
      rows.computeIfAbsent(row.store().label() + " " + row.table(), k -> new ArrayList<>()).add(row);
    }

    @Override
    public void tableFinished(TableSummary summary) {
      events.add("finish " + summary.store().label() + " " + summary.table());
      finished.add(summary);
    }
  }

  @Test
  void migratesTheStoresAsTheToolDoesAndVerifies(@TempDir Path dir) throws Exception {
    Map<String, Tool.ReportLine> expected = Tool.report(toolRun(dir, "UTC"));
    Map<String, List<String>> rejects = Tool.rejects(dir.resolve("rejects.jsonl"));

    Recorder recorder = new Recorder();
    MigrationReport report;
    Map<Store, Long> rowCounts;
    try (Migration migration = builder(dir, "java.sqlite").timeZone("UTC").open()) {
      assertTrue(migration.registrySize(Store.IOS) > 0);
      rowCounts = migration.rowCounts();
      report = migration.migrateAll(recorder);
      assertEquals(Tool.dump(dir.resolve("cpp.sqlite")), Tool.dump(dir.resolve("java.sqlite")));

      VerifyReport verdict = migration.verify();
      assertTrue(verdict.holdsEverything(), verdict.toString());
      Tool.sql(dir.resolve("java.sqlite"), "DELETE FROM health_sport WHERE pk = (SELECT max(pk) FROM health_sport)");
      verdict = migration.verify();
      assertFalse(verdict.holdsEverything());
      assertEquals(1, verdict.table("health_sport").missing());
      for (VerifyReport.Table table : verdict.tables()) {
        if (!table.table().equals("health_sport")) {
          assertEquals(0, table.missing() + table.differing(), table.toString());
        }
      }
    }

    // The summaries, the tool's report and what the listener heard agree.
    assertEquals(List.copyOf(expected.keySet()),
                 report.tables().stream().map(t -> t.store().label() + " " + t.table()).toList());
    assertEquals(report.tables(), recorder.finished);
    Map<Store, Long> heard = new EnumMap<>(Store.class);
    for (TableSummary summary : report.tables()) {
      String key = summary.store().label() + " " + summary.table();
      Tool.ReportLine line = expected.get(key);
      assertEquals(List.of(line.rows(), line.inserted(), line.updated(), line.kept(), line.skipped(), line.failed(),
                           line.failedStatements()),
                   List.of(summary.rows(), summary.inserted(), summary.updated(), summary.kept(), summary.skipped(),
                           summary.writeFailed(), summary.failedStatements()), key);
      Map<String, Long> reasons = new TreeMap<>();
      summary.skipReasons().forEach((reason, n) -> reasons.put(reason.label(), n));
      assertEquals(line.skipReasons(), reasons, key);
      assertFalse(summary.rolledBack());

      List<Row> rows = recorder.rows.getOrDefault(key, List.of());
      assertEquals(summary.rows(), rows.size(), key);
      for (int i = 0; i < rows.size(); ++i) {
        assertEquals(i, rows.get(i).position(), key);
      }
      for (RowOutcome outcome : RowOutcome.values()) {
        assertEquals(summary.rowsWith(outcome), rows.stream().filter(r -> r.outcome() == outcome).count(),
                     key + " " + outcome);
      }
      List<String> rejected = rows.stream().filter(r -> r.outcome() == RowOutcome.SKIPPED
                                                         || r.outcome() == RowOutcome.WRITE_FAILED)
                                  .map(r -> r.outcome().label() + "/" + r.reason().label())
                                  .toList();
      assertEquals(rejects.getOrDefault(key, List.of()), rejected, key);
      heard.merge(summary.store(), (long) rows.size(), Long::sum);
      assertTrue(recorder.events.indexOf("start " + key + " " + summary.rows())
                 < recorder.events.indexOf("finish " + key), key);
    }
    assertEquals(rowCounts, heard);
  }

  @Test
  void theStorePlanRunTableByTableGivesTheSameRecords(@TempDir Path dir) throws Exception {
    toolRun(dir, "UTC");
    try (Migration migration = builder(dir, "java.sqlite").timeZone("UTC").open()) {
      for (Store store : Store.values()) {
        List<String> plan = migration.plan(store);
        assertFalse(plan.isEmpty(), store.label());
        for (String table : plan) {
          MigrationReport report = migration.migrateTable(store, table);
          assertEquals(1, report.tables().size());
          assertEquals(migration.tableRows(store, table), report.table(store, table).rows());
        }
      }
    }
    assertEquals(Tool.dump(dir.resolve("cpp.sqlite")), Tool.dump(dir.resolve("java.sqlite")));
  }

  @Test
  void aZoneFromTheJvmReadsDaysAsTheSameNamedZoneDoes(@TempDir Path dir) throws Exception {
    // A zone with daylight saving time: a wrong sign or unit of the offsets
    // moves days and times.
    toolRun(dir, "America/New_York");
    try (Migration migration = builder(dir, "java.sqlite").timeZone(ZoneId.of("America/New_York")).open()) {
      assertEquals("America/New_York (kit)", migration.zoneName());
      migration.migrateAll();
    }
    assertEquals(Tool.dump(dir.resolve("cpp.sqlite")), Tool.dump(dir.resolve("java.sqlite")));
  }

  @Test
  void twoMigrationsOnTwoThreadsMigrateAtOnce(@TempDir Path dir) throws Exception {
    toolRun(dir, "UTC");
    List<Thread> threads = new ArrayList<>();
    Map<String, Throwable> failures = new ConcurrentHashMap<>();
    Map<String, Long> rowsHeard = new ConcurrentHashMap<>();
    for (String output : List.of("first.sqlite", "second.sqlite")) {
      Migration.Builder builder = builder(dir, output).timeZone(ZoneId.of("UTC"));
      threads.add(new Thread(() -> {
        try (Migration migration = builder.open()) {
          migration.migrateAll(new Migration.Listener() {
            @Override
            public void rowMigrated(Row row) {
              rowsHeard.merge(output, 1L, Long::sum);
            }
          });
        } catch (Throwable e) {
          failures.put(output, e);
        }
      }));
    }
    threads.forEach(Thread::start);
    for (Thread thread : threads) {
      thread.join();
    }
    assertEquals(Map.of(), failures);
    assertEquals(rowsHeard.get("first.sqlite"), rowsHeard.get("second.sqlite"));
    Map<String, List<String>> expected = Tool.dump(dir.resolve("cpp.sqlite"));
    assertEquals(expected, Tool.dump(dir.resolve("first.sqlite")));
    assertEquals(expected, Tool.dump(dir.resolve("second.sqlite")));
  }

  @Test
  void theJavaNamesAreTheLibrarys() {
    for (RowOutcome outcome : RowOutcome.values()) {
      assertEquals(Migration.nativeOutcomeName(outcome.ordinal()), outcome.label());
    }
    for (SkipReason reason : SkipReason.values()) {
      assertEquals(Migration.nativeSkipReasonName(reason.ordinal()), reason.label());
    }
    assertNotNull(Migration.version());
  }
}
