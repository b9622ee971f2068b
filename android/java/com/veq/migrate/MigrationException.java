package com.veq.migrate;

/**
 * A failure the caller can act on, with the library's message, which names
 * the file and the problem ("ios.sqlite: no such file", "new.sqlite: locked
 * by another process; …"). {@link #reason()} says what kind of failure it
 * is. Mistakes of the calling code are not reported this way: they are
 * {@link IllegalArgumentException}s (a table the store does not hold, a
 * store that is not open) and {@link IllegalStateException}s (a closed
 * migration, a call from inside a listener).
 */
public class MigrationException extends RuntimeException {
  private static final long serialVersionUID = 1L;

  /** The kinds of failure. */
  public enum Reason {
    /** A legacy store cannot be used: no such file, not a SQLite database, corrupt … */
    STORE,
    /** The output cannot be used: it names an input, its folder is missing, not writable … */
    OUTPUT,
    /** Another process held the output's write lock beyond the lock wait. */
    LOCKED,
    /** The user-defaults file is missing, not a JSON object, or could not be written back. */
    DEFAULTS,
    /** The time zone cannot be resolved. */
    ZONE,
    /** The run stopped: the output's disk is full. The tables before the stop are committed. */
    DISK_FULL,
    /** The run stopped on another fatal error: I/O, a lost lock, a damaged file, a failed commit. */
    IO,
    /** Out of memory inside the library. */
    NO_MEMORY,
    /** Anything else; the message says what. */
    INTERNAL
  }

  private final Reason reason;
  private final transient MigrationReport report;

  MigrationException(Reason reason, String message, MigrationReport report) {
    super(message);
    this.reason = reason;
    this.report = report;
  }

  public Reason reason() {
    return reason;
  }

  /**
   * For a run that a fatal error stopped, the summaries of the tables that
   * ran, the stopped one last with {@link TableSummary#rolledBack()} set;
   * null for failures outside a run.
   */
  public MigrationReport report() {
    return report;
  }
}
