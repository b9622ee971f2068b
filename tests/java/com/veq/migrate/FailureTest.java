package com.veq.migrate;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertSame;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.OutputStream;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.time.Duration;
import java.util.ArrayList;
import java.util.List;
import org.junit.jupiter.api.BeforeAll;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

/** Bad input gives the library's message; a throwing listener stops the run as documented. */
class FailureTest {
  @TempDir static Path fixtures;

  @BeforeAll
  static void generate() throws Exception {
    Tool.fixtures(fixtures);
  }

  private static Path store(String name) {
    return fixtures.resolve(name + ".sqlite");
  }

  @Test
  void badInputIsRefusedWithTheLibrarysMessage(@TempDir Path dir) throws Exception {
    // A name outside the Basic Multilingual Plane must cross the JNI boundary intact.
    Path missing = Files.createDirectories(dir.resolve("\u00dcber \ud83d\ude00")).resolve("missing.sqlite");
    Path out = dir.resolve("new.sqlite");
    Tool.Result tool = Tool.run(dir, "run", "--ios", missing.toString(), "--out", out.toString(), "--time-zone", "UTC");
    assertEquals(2, tool.status(), tool.err());
    MigrationException e = assertThrows(MigrationException.class, Migration.builder(out).iosStore(missing)::open);
    assertEquals(MigrationException.Reason.STORE, e.reason());
    assertEquals(Tool.problem(tool), e.getMessage(), "the tool's words");
    assertEquals(null, e.report());
    MigrationException overInput = assertThrows(
        MigrationException.class, Migration.builder(store("android")).androidStore(store("android"))::open);
    assertEquals(MigrationException.Reason.OUTPUT, overInput.reason());
    assertTrue(overInput.getMessage().startsWith(store("android") + ": "), overInput.getMessage());
    MigrationException zone = assertThrows(MigrationException.class,
                                           Migration.builder(out).iosStore(store("ios")).timeZone("Mars/Base")::open);
    assertEquals(MigrationException.Reason.ZONE, zone.reason());
    assertTrue(zone.getMessage().contains("Mars/Base"), zone.getMessage());
    assertFalse(Files.exists(out), "a refused open leaves no output behind");
  }

  @Test
  void aLockedOutputIsRefusedAfterTheLockWait(@TempDir Path dir) throws Exception {
    Path out = dir.resolve("new.sqlite");
    Path held = dir.resolve("held");
    Process holder = new ProcessBuilder("sqlite3", out.toString()).redirectErrorStream(true).start();
    try (OutputStream in = holder.getOutputStream()) {
      // The shell holds the write lock of an open transaction until its input ends.
      in.write(("CREATE TABLE held(x);\nBEGIN IMMEDIATE;\nINSERT INTO held VALUES (1);\n.shell touch '" + held
                + "'\n").getBytes(StandardCharsets.UTF_8));
      in.flush();
      for (int i = 0; i < 500 && !Files.exists(held); ++i) {
        Thread.sleep(10);
      }
      assertTrue(Files.exists(held));
      MigrationException e = assertThrows(
          MigrationException.class,
          Migration.builder(out).iosStore(store("ios")).timeZone("UTC").lockWait(Duration.ofMillis(200))::open);
      assertEquals(MigrationException.Reason.LOCKED, e.reason());
      assertTrue(e.getMessage().startsWith(out + ": locked by another process"), e.getMessage());
    } finally {
      holder.destroy();
      holder.waitFor();
    }
  }

  static final class Stop extends RuntimeException {
    private static final long serialVersionUID = 1L;
  }

  private static Migration android(Path dir) {
    return Migration.builder(dir.resolve("new.sqlite")).androidStore(store("android")).timeZone("UTC").open();
  }

  private static long records(Path db, String table) throws Exception {
    Tool.Result r = Tool.exec(db.getParent(), List.of("sqlite3", db.toString(), "SELECT count(*) FROM " + table));
    return Long.parseLong(r.out().strip());
  }

  @Test
  void aThrowingListenerRollsItsTableBackAndReachesTheCaller(@TempDir Path dir) throws Exception {
    Stop stop = new Stop();
    List<String> heardAfter = new ArrayList<>();
    try (Migration migration = android(dir)) {
      Migration.Listener listener = new Migration.Listener() {
        boolean thrown;

        @Override
        public void rowMigrated(Row row) {
          if (thrown) {
            heardAfter.add(row.table());
          } else if (row.table().equals("HEALTH_SPORT_ITEM") && row.position() == 4) {
            thrown = true;
            throw stop;
          }
        }

        @Override
        public void tableFinished(TableSummary summary) {
          if (thrown) {
            heardAfter.add(summary.table());
          }
        }
      };
      assertSame(stop, assertThrows(Stop.class, () -> migration.migrateStore(Store.ANDROID, listener)));
      assertEquals(List.of(), heardAfter);
      // The tables before it were committed; none of its rows was kept.
      assertTrue(records(dir.resolve("new.sqlite"), "health_sport") > 0);
      assertEquals(0, records(dir.resolve("new.sqlite"), "health_sport_item"));

      // The migration goes on from the stopped table.
      MigrationReport rerun = migration.migrateTable(Store.ANDROID, "HEALTH_SPORT_ITEM");
      TableSummary items = rerun.table(Store.ANDROID, "HEALTH_SPORT_ITEM");
      assertEquals(items.rows(), items.inserted() + items.skipped());
      assertEquals(items.inserted(), records(dir.resolve("new.sqlite"), "health_sport_item"));
    }
  }

  @Test
  void aListenerThrowingAtATablesEndKeepsItAndStopsBeforeTheNext(@TempDir Path dir) throws Exception {
    Stop stop = new Stop();
    List<String> started = new ArrayList<>();
    try (Migration migration = android(dir)) {
      assertSame(stop, assertThrows(Stop.class, () -> migration.migrateStore(Store.ANDROID, new Migration.Listener() {
        @Override
        public void tableStarted(Store store, String table, long rows) {
          started.add(table);
        }

        @Override
        public void tableFinished(TableSummary summary) {
          if (summary.table().equals("HEALTH_SPORT")) {
            throw stop;
          }
        }
      })));
      assertEquals("HEALTH_SPORT", started.get(started.size() - 1));
      assertTrue(records(dir.resolve("new.sqlite"), "health_sport") > 0);
    }
  }

  @Test
  void aListenerMayNotCallItsMigration(@TempDir Path dir) throws Exception {
    List<Class<?>> refusals = new ArrayList<>();
    try (Migration migration = android(dir)) {
      MigrationReport report = migration.migrateTable(Store.ANDROID, "BASIC_INFOS", new Migration.Listener() {
        @Override
        public void rowMigrated(Row row) {
          for (Runnable call : List.<Runnable>of(migration::close, migration::verify, migration::rowCounts,
                                                  () -> migration.migrateAll())) {
            try {
              call.run();
            } catch (IllegalStateException e) {
              refusals.add(e.getClass());
            }
          }
        }
      });
      // Two rows, four refusals each; the run went on undisturbed.
      assertEquals(8, refusals.size(), refusals.toString());
      TableSummary devices = report.table(Store.ANDROID, "BASIC_INFOS");
      assertEquals(List.of(2L, 2L), List.of(devices.rows(), devices.kept()));
    }
  }
}
