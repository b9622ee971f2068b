package com.veq.migrate;

/**
 * One legacy row as its conversion reported it, handed to
 * {@link Migration.Listener#rowMigrated}.
 *
 * @param store     the store the row was read from
 * @param table     the legacy table
 * @param position  the row's place in the table's reading order, from 0
 * @param succeeded the conversion's own report (skipped rows report success)
 * @param outcome   what became of the row
 * @param reason    why it was skipped; {@link SkipReason#NONE} unless skipped
 * @param message   the database's message when the write failed, else ""
 */
public record Row(Store store, String table, long position, boolean succeeded, RowOutcome outcome,
                  SkipReason reason, String message) {}
