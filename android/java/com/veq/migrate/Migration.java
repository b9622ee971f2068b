package com.veq.migrate;

import java.nio.file.Path;
import java.time.Duration;
import java.time.Instant;
import java.time.ZoneId;
import java.time.zone.ZoneRules;
import java.util.ArrayList;
import java.util.Collections;
import java.util.EnumMap;
import java.util.List;
import java.util.Map;
import java.util.Objects;

/**
 * One user's migration: the legacy stores (iOS, Android, Android cloud; any
 * may be absent) converted into the new database, table by table, each table
 * in one transaction.
 *
 * <pre>{@code
 * try (Migration migration = Migration.builder(newDb).iosStore(ios).androidStore(android)
 *          .timeZone(ZoneId.systemDefault()).open()) {
 *   long rows = migration.rowCounts().values().stream().mapToLong(Long::longValue).sum();
 *   MigrationReport report = migration.migrateAll(listener);
 *   if (migration.verify().holdsEverything()) { deleteLegacyStores(); }
 * }
 * }</pre>
 *
 * <p><b>Threads.</b> A migration works on the thread that calls it, listener
 * included; the library starts no thread. Its methods are synchronized, so
 * calls from two threads take turns. Two migrations on two threads migrate
 * two users at once. A listener may not call the migration that is running
 * it: such a call throws {@link IllegalStateException}.
 *
 * <p><b>A listener that throws</b> stops the run: the table in progress is
 * rolled back (none of its rows is kept), the tables before it stay
 * committed, no later table runs, and the listener's exception reaches the
 * caller of the run method unchanged once the library has unwound; the
 * listener hears nothing more of that run. Thrown from
 * {@link Listener#tableFinished}, the table stays as it ended (it is already
 * committed) and the run stops before the next one. The migration stays
 * usable: a later run may go on from the stopped table.
 *
 * <p><b>Failures</b> the caller can act on are {@link MigrationException}s
 * carrying the library's message; a run that a fatal error (a full disk, an
 * I/O error) stopped throws one with the summaries of the tables that ran.
 *
 * <p>Close a migration when done with it (try-with-resources): it holds the
 * stores and the output open.
 */
public final class Migration implements AutoCloseable {
  static {
    String library = System.getProperty("veq.migrate.library");
    if (library != null && !library.isEmpty()) {
      System.load(library);
    } else {
      System.loadLibrary("veq_migrate_jni");
    }
  }

  /** Hears the tables and rows of a run, on the run's thread. Every method may be left out. */
  public interface Listener {
    /** Before the table's first row; {@code rows} is the number of rows in the legacy table. */
    default void tableStarted(Store store, String table, long rows) {}

    /** After each row. */
    default void rowMigrated(Row row) {}

    /** After the table's transaction ended, committed or rolled back. */
    default void tableFinished(TableSummary summary) {}
  }

  private long handle;
  private boolean running;

  private Migration(long handle) {
    this.handle = handle;
  }

  /** The library's version ("0.1.0"). */
  public static String version() {
    return nativeVersion();
  }

  /** A builder of a migration into the new database at {@code output}. */
  public static Builder builder(Path output) {
    return new Builder(output);
  }

  /** What a migration opens with. */
  public static final class Builder {
    private final Path output;
    private final Map<Store, Path> stores = new EnumMap<>(Store.class);
    private Path userDefaults;
    private String zoneName;
    private ZoneId zone;
    private Duration lockWait;

    private Builder(Path output) {
      this.output = Objects.requireNonNull(output, "output");
    }

    /** The legacy iOS store. */
    public Builder iosStore(Path path) {
      return store(Store.IOS, path);
    }

    /** The legacy Android store. */
    public Builder androidStore(Path path) {
      return store(Store.ANDROID, path);
    }

    /** The Android store of data from the cloud. */
    public Builder androidCloudStore(Path path) {
      return store(Store.ANDROID_CLOUD, path);
    }

    /** A legacy store of the given kind; null leaves it absent. */
    public Builder store(Store store, Path path) {
      stores.put(Objects.requireNonNull(store, "store"), path);
      return this;
    }

    /**
     * The app's user defaults, a JSON file holding one object. The runs read
     * the device binding it holds and write the file back.
     */
    public Builder userDefaults(Path path) {
      this.userDefaults = path;
      return this;
    }

    /**
     * An IANA zone ("Asia/Tokyo") from the zone database installed on the
     * system, which phones do not have: there, prefer {@link #timeZone(ZoneId)}.
     */
    public Builder timeZone(String ianaName) {
      this.zoneName = Objects.requireNonNull(ianaName, "ianaName");
      this.zone = null;
      return this;
    }

    /**
     * A zone whose rules the JVM answers ({@code ZoneId.systemDefault()} is
     * the phone's own). Without a zone the migration uses the platform's
     * local time through the C library.
     */
    public Builder timeZone(ZoneId zone) {
      this.zone = Objects.requireNonNull(zone, "zone");
      this.zoneName = null;
      return this;
    }

    /** How long opening waits for another process's write lock on the output (default 10 s). */
    public Builder lockWait(Duration wait) {
      this.lockWait = Objects.requireNonNull(wait, "wait");
      return this;
    }

    /**
     * Opens the stores (read-only, never changed) and the output (created
     * when absent, given the new schema), and fills the device registries
     * from the stores' device tables.
     *
     * @throws MigrationException a store, the output, the user defaults or
     *     the zone cannot be used, or the output stayed locked
     */
    public Migration open() {
      long handle = nativeCreate();
      try {
        if (zoneName != null) {
          nativeSetZoneNamed(handle, zoneName);
        } else if (zone != null) {
          nativeSetZoneRules(handle, zone.getId(), new ZoneOffsets(zone.getRules()));
        }
        if (lockWait != null) {
          nativeSetLockWait(handle, (int) Math.min(Integer.MAX_VALUE, Math.max(0, lockWait.toMillis())));
        }
        nativeOpen(handle, text(output), text(stores.get(Store.IOS)), text(stores.get(Store.ANDROID)),
                   text(stores.get(Store.ANDROID_CLOUD)));
        if (userDefaults != null) {
          nativeSetUserDefaults(handle, text(userDefaults));
        }
      } catch (RuntimeException | Error e) {
        nativeDestroy(handle);
        throw e;
      }
      return new Migration(handle);
    }

    private static String text(Path path) {
      return path == null ? null : path.toString();
    }
  }

  /** The zone the runs read days and times in: "Asia/Tokyo (tz database …)", "Europe/Berlin (kit)". */
  public synchronized String zoneName() {
    return nativeZoneName(idle());
  }

  /** Fills the device registries again from the stores, as opening did; after the app changed them. */
  public synchronized void fillRegistries() {
    nativeFillRegistries(idle());
  }

  /** Records in a store's device registry (0 for an absent store). */
  public synchronized long registrySize(Store store) {
    return nativeRegistrySize(idle(), store.ordinal());
  }

  /** The tables a run of the store migrates, in the order it runs them (empty for an absent store). */
  public synchronized List<String> plan(Store store) {
    return List.of(nativePlan(idle(), store.ordinal()));
  }

  /**
   * Rows a whole run of each store reports (0 for an absent store), counted
   * now: the total of a progress screen. A run that nothing stops calls
   * {@link Listener#rowMigrated} exactly this often.
   */
  public synchronized Map<Store, Long> rowCounts() {
    Map<Store, Long> counts = new EnumMap<>(Store.class);
    for (Store store : Store.values()) {
      counts.put(store, nativeStoreRows(idle(), store.ordinal()));
    }
    return Collections.unmodifiableMap(counts);
  }

  /** Rows of one legacy table. */
  public synchronized long tableRows(Store store, String table) {
    return nativeTableRows(idle(), store.ordinal(), Objects.requireNonNull(table, "table"));
  }

  /**
   * Migrates one table of a store through the conversion a store run gives it.
   *
   * @throws IllegalArgumentException the table is not in the store's plan
   */
  public MigrationReport migrateTable(Store store, String table, Listener listener) {
    return run(RUN_TABLE, store, Objects.requireNonNull(table, "table"), listener);
  }

  /** Migrates every table of the store's plan, in order. */
  public MigrationReport migrateStore(Store store, Listener listener) {
    return run(RUN_STORE, store, null, listener);
  }

  /** Migrates every open store: iOS, Android, Android cloud. */
  public MigrationReport migrateAll(Listener listener) {
    return run(RUN_ALL, Store.IOS, null, listener);
  }

  public MigrationReport migrateTable(Store store, String table) {
    return migrateTable(store, table, null);
  }

  public MigrationReport migrateStore(Store store) {
    return migrateStore(store, null);
  }

  public MigrationReport migrateAll() {
    return migrateAll(null);
  }

  /**
   * Converts the stores afresh into a scratch database (removed afterwards)
   * and compares it with the output, every new table. Writes nothing of the
   * caller's.
   */
  public synchronized VerifyReport verify() {
    long h = idle();
    boolean holdsEverything = nativeVerify(h);
    return new VerifyReport(holdsEverything, List.of(nativeVerifyTables(h)));
  }

  /** Closes the stores and the output. Calling it again does nothing. */
  @Override
  public synchronized void close() {
    if (running) {
      throw new IllegalStateException("a migration cannot be closed from inside its own listener");
    }
    if (handle != 0) {
      nativeDestroy(handle);
      handle = 0;
    }
  }

  // ---- Internals -----------------------------------------------------------

  static final int RUN_TABLE = 0;
  static final int RUN_STORE = 1;
  static final int RUN_ALL = 2;

  private static final int STATUS_OK = 0;
  private static final int STATUS_ARGUMENT = 1;
  private static final int STATUS_STOPPED = 7;
  private static final int STATUS_DISK_FULL = 8;
  private static final int STATUS_IO = 9;
  private static final int STATUS_BUSY = 10;

  private synchronized MigrationReport run(int what, Store store, String table, Listener listener) {
    long h = idle();
    Objects.requireNonNull(store, "store");
    int status;
    running = true;
    try {
      // A listener's exception, held while the library unwinds, is thrown
      // from here unchanged.
      status = nativeRun(h, what, store.ordinal(), table, listener == null ? null : new Dispatcher(listener));
    } finally {
      running = false;
    }
    MigrationReport report = report(h);
    if (status == STATUS_OK) {
      return report;
    }
    boolean ran = status == STATUS_STOPPED || status == STATUS_DISK_FULL || status == STATUS_IO;
    throw failure(status, nativeError(h), ran ? report : null);
  }

  private static MigrationReport report(long h) {
    String[] names = nativeNotConverted(h);
    List<MigrationReport.TableName> notConverted = new ArrayList<>(names.length / 2);
    for (int i = 0; i + 1 < names.length; i += 2) {
      notConverted.add(new MigrationReport.TableName(Store.fromLabel(names[i]), names[i + 1]));
    }
    return new MigrationReport(List.of(nativeTables(h)), notConverted);
  }

  private long live() {
    if (handle == 0) {
      throw new IllegalStateException("the migration is closed");
    }
    return handle;
  }

  private long idle() {
    long h = live();
    if (running) {
      throw new IllegalStateException("the migration is running: a listener may not call it");
    }
    return h;
  }

  /** The exception for a failed library call; also thrown by the JNI library. */
  static RuntimeException failure(int status, String message, MigrationReport report) {
    return switch (status) {
      case STATUS_ARGUMENT -> new IllegalArgumentException(message);
      case STATUS_BUSY -> new IllegalStateException(message);
      case 2 -> new MigrationException(MigrationException.Reason.STORE, message, report);
      case 3 -> new MigrationException(MigrationException.Reason.OUTPUT, message, report);
      case 4 -> new MigrationException(MigrationException.Reason.LOCKED, message, report);
      case 5 -> new MigrationException(MigrationException.Reason.DEFAULTS, message, report);
      case 6 -> new MigrationException(MigrationException.Reason.ZONE, message, report);
      case STATUS_DISK_FULL -> new MigrationException(MigrationException.Reason.DISK_FULL, message, report);
      case STATUS_IO -> new MigrationException(MigrationException.Reason.IO, message, report);
      case 11 -> new MigrationException(MigrationException.Reason.NO_MEMORY, message, report);
      default -> new MigrationException(MigrationException.Reason.INTERNAL, message, report);
    };
  }

  static RuntimeException failure(int status, String message) {
    return failure(status, message, null);
  }

  /** Turns the JNI library's plain calls into the listener's. */
  static final class Dispatcher {
    private final Listener listener;

    Dispatcher(Listener listener) {
      this.listener = listener;
    }

    void row(String store, String table, long position, boolean succeeded, int outcome, int reason,
             String message) {
      listener.rowMigrated(new Row(Store.fromLabel(store), table, position, succeeded, RowOutcome.fromCode(outcome),
                                   SkipReason.fromCode(reason), message == null ? "" : message));
    }

    void tableStarted(String store, String table, long rows) {
      listener.tableStarted(Store.fromLabel(store), table, rows);
    }

    void tableFinished(TableSummary summary) {
      listener.tableFinished(summary);
    }
  }

  /** A zone answered from the JVM's zone rules, called by the library during runs. */
  static final class ZoneOffsets {
    private static final long MIN = Instant.MIN.getEpochSecond();
    private static final long MAX = Instant.MAX.getEpochSecond();
    private final ZoneRules rules;

    ZoneOffsets(ZoneRules rules) {
      this.rules = rules;
    }

    int offsetAt(long instant) {
      // Instants beyond what Instant holds take the offset at its end: a
      // zone's offset is constant that far out.
      long clamped = Math.max(MIN, Math.min(MAX, instant));
      return rules.getOffset(Instant.ofEpochSecond(clamped)).getTotalSeconds();
    }
  }

  // ---- The JNI library -------------------------------------------------------

  static native String nativeVersion();

  static native String nativeOutcomeName(int code);

  static native String nativeSkipReasonName(int code);

  private static native long nativeCreate();

  private static native void nativeDestroy(long handle);

  private static native void nativeSetZoneNamed(long handle, String ianaName);

  private static native void nativeSetZoneRules(long handle, String name, ZoneOffsets zone);

  private static native String nativeZoneName(long handle);

  private static native void nativeSetLockWait(long handle, int milliseconds);

  private static native void nativeOpen(long handle, String output, String ios, String android, String androidCloud);

  private static native void nativeSetUserDefaults(long handle, String path);

  private static native void nativeFillRegistries(long handle);

  private static native long nativeRegistrySize(long handle, int store);

  private static native String[] nativePlan(long handle, int store);

  private static native long nativeStoreRows(long handle, int store);

  private static native long nativeTableRows(long handle, int store, String table);

  private static native int nativeRun(long handle, int what, int store, String table, Dispatcher dispatcher);

  private static native TableSummary[] nativeTables(long handle);

  private static native String[] nativeNotConverted(long handle);

  private static native String nativeError(long handle);

  private static native boolean nativeVerify(long handle);

  private static native VerifyReport.Table[] nativeVerifyTables(long handle);
}
