package com.veq.migrate;

import java.util.Locale;

/**
 * What became of one legacy row. The constants stand in the order of the
 * library's codes, which {@link #fromCode} relies on.
 */
public enum RowOutcome {
  /** The conversion said nothing (none of the library's does). */
  UNSTATED,
  /** A new record was written. */
  INSERTED,
  /** The row's record existed and was rewritten in place. */
  UPDATED,
  /** Nothing needed writing, on purpose (or the row is only acknowledged). */
  KEPT,
  /** The row cannot be placed; {@link Row#reason()} says why. */
  SKIPPED,
  /** The write failed; {@link Row#message()} holds the database's message. */
  WRITE_FAILED;

  private static final RowOutcome[] BY_CODE = values();

  /** The short stable name reports and files use ("inserted", "write_failed" …). */
  public String label() {
    // The library's name of the constant: its own name in lower case.
    return name().toLowerCase(Locale.ROOT);
  }

  static RowOutcome fromCode(int code) {
    if (code < 0 || code >= BY_CODE.length) {
      throw new IllegalStateException("unknown row outcome code " + code);
    }
    return BY_CODE[code];
  }
}
