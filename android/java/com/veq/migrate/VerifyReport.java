package com.veq.migrate;

import java.util.List;

/**
 * The comparison of the output with a fresh conversion of the stores.
 *
 * @param holdsEverything no converted record is missing from the output or
 *                        differs there (records only the output holds, such
 *                        as the SDK's own since, do not count against it):
 *                        what an app should know before it deletes the
 *                        legacy stores for good
 * @param tables          one entry per new table
 */
public record VerifyReport(boolean holdsEverything, List<Table> tables) {
  public VerifyReport {
    tables = List.copyOf(tables);
  }

  /**
   * One new table: records the conversion gives ({@code expected}), records
   * the output holds, converted records the output lacks ({@code missing}),
   * holds with other values ({@code differing}), and output records no
   * conversion gives ({@code extra}).
   */
  public record Table(String table, long expected, long output, long missing, long differing, long extra) {}

  /** The figures of one new table, or null when there is no such table. */
  public Table table(String name) {
    for (Table table : tables) {
      if (table.table().equals(name)) {
        return table;
      }
    }
    return null;
  }
}
