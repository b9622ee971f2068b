package com.veq.migrate;

import java.util.Collections;
import java.util.EnumMap;
import java.util.Map;

/**
 * What one legacy table gave in a run. For every table that ran to its end,
 * rows = inserted + updated + kept + skipped + writeFailed + unstated.
 *
 * @param store            the store the table belongs to
 * @param table            the legacy table
 * @param rows             rows in the legacy table; -1 when they could not be counted
 * @param succeeded        the conversions' reports of success (skipped rows count here)
 * @param failed           and of failure
 * @param inserted         rows whose record was written new
 * @param updated          rows whose record existed and was rewritten
 * @param kept             rows with nothing to write
 * @param skipped          rows that cannot be placed, by reason in {@code skipReasons}
 * @param writeFailed      rows whose write failed
 * @param unstated         rows whose conversion said nothing
 * @param skipReasons      skipped rows by reason (reasons with no row left out)
 * @param failedStatements statements that failed in the output while the table ran
 * @param firstError       the first of them's message; "" when none
 * @param rolledBack       the run stopped in this table and none of its rows was kept
 */
public record TableSummary(Store store, String table, long rows, long succeeded, long failed, long inserted,
                           long updated, long kept, long skipped, long writeFailed, long unstated,
                           Map<SkipReason, Long> skipReasons, long failedStatements, String firstError,
                           boolean rolledBack) {
  public TableSummary {
    Map<SkipReason, Long> copy = new EnumMap<>(SkipReason.class);
    copy.putAll(skipReasons);
    skipReasons = Collections.unmodifiableMap(copy);
  }

  /** Rows with the given outcome. */
  public long rowsWith(RowOutcome outcome) {
    return switch (outcome) {
      case UNSTATED -> unstated;
      case INSERTED -> inserted;
      case UPDATED -> updated;
      case KEPT -> kept;
      case SKIPPED -> skipped;
      case WRITE_FAILED -> writeFailed;
    };
  }

  // Layout of the counts the JNI library hands over, in this order, followed
  // by one count per skip reason code.
  static final int ROWS = 0;
  static final int SUCCEEDED = 1;
  static final int FAILED = 2;
  static final int INSERTED = 3;
  static final int UPDATED = 4;
  static final int KEPT = 5;
  static final int SKIPPED = 6;
  static final int WRITE_FAILED = 7;
  static final int UNSTATED = 8;
  static final int FAILED_STATEMENTS = 9;
  static final int SKIP_REASONS = 10;

  /** Built by the JNI library from the C summary. */
  static TableSummary fromNative(String store, String table, long[] counts, String firstError,
                                 boolean rolledBack) {
    Map<SkipReason, Long> reasons = new EnumMap<>(SkipReason.class);
    for (SkipReason reason : SkipReason.values()) {
      long n = counts[SKIP_REASONS + reason.ordinal()];
      if (n != 0) {
        reasons.put(reason, n);
      }
    }
    return new TableSummary(Store.fromLabel(store), table, counts[ROWS], counts[SUCCEEDED], counts[FAILED],
                            counts[INSERTED], counts[UPDATED], counts[KEPT], counts[SKIPPED],
                            counts[WRITE_FAILED], counts[UNSTATED], reasons, counts[FAILED_STATEMENTS],
                            firstError, rolledBack);
  }
}
