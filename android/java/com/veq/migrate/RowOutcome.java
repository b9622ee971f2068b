package com.veq.migrate;

/**
 * What became of one legacy row. The constants stand in the order of the
 * library's codes, which {@link #fromCode} relies on.
 */
public enum RowOutcome {
  /** The conversion said nothing (none of the library's does). */
  UNSTATED("unstated"),
  /** A new record was written. */
  INSERTED("inserted"),
  /** The row's record existed and was rewritten in place. */
  UPDATED("updated"),
  /** Nothing needed writing, on purpose (or the row is only acknowledged). */
  KEPT("kept"),
  /** The row cannot be placed; {@link Row#reason()} says why. */
  SKIPPED("skipped"),
  /** The write failed; {@link Row#message()} holds the database's message. */
  WRITE_FAILED("write_failed");

  private static final RowOutcome[] BY_CODE = values();
  private final String label;

  RowOutcome(String label) {
    this.label = label;
  }

  /** The short stable name reports and files use ("inserted", "write_failed" …). */
  public String label() {
    return label;
  }

  static RowOutcome fromCode(int code) {
    if (code < 0 || code >= BY_CODE.length) {
      throw new IllegalStateException("unknown row outcome code " + code);
    }
    return BY_CODE[code];
  }
}
