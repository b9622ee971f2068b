package com.veq.migrate;

import java.util.List;

/**
 * What a run call gave: one summary per legacy table in the order the tables
 * ran, and the tables of the visited stores that no conversion takes.
 */
public record MigrationReport(List<TableSummary> tables, List<TableName> notConverted) {
  public MigrationReport {
    tables = List.copyOf(tables);
    notConverted = List.copyOf(notConverted);
  }

  /** A legacy table, named with its store. */
  public record TableName(Store store, String table) {}

  /** The summary of one table, or null when the run did not send it. */
  public TableSummary table(Store store, String table) {
    for (TableSummary summary : tables) {
      if (summary.store() == store && summary.table().equals(table)) {
        return summary;
      }
    }
    return null;
  }
}
