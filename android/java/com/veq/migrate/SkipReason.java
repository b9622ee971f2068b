package com.veq.migrate;

/**
 * Why a row was skipped. The constants stand in the order of the library's
 * codes, which {@link #fromCode} relies on.
 */
public enum SkipReason {
  /** The row was not skipped (label ""). */
  NONE(""),
  /** The row names no device. */
  NO_DEVICE_KEY("no_device_key"),
  /** A user row without a user id. */
  NO_USER_ID("no_user_id"),
  /** The row's user or device is in no device registry. */
  UNKNOWN_DEVICE("unknown_device"),
  /** The row's day or time is missing, 0 or negative. */
  NO_DATE("no_date"),
  /** A day of 1970: the device's clock was not set. */
  YEAR_1970("year_1970"),
  /** A workout longer than a day. */
  DURATION_OVER_ONE_DAY("duration_over_one_day");

  private static final SkipReason[] BY_CODE = values();
  private final String label;

  SkipReason(String label) {
    this.label = label;
  }

  /** The short stable name reports and files use ("no_device_key" …). */
  public String label() {
    return label;
  }

  static SkipReason fromCode(int code) {
    if (code < 0 || code >= BY_CODE.length) {
      throw new IllegalStateException("unknown skip reason code " + code);
    }
    return BY_CODE[code];
  }
}
