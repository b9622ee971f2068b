package com.veq.migrate;

import java.util.Locale;

/**
 * Why a row was skipped. The constants stand in the order of the library's
 * codes, which {@link #fromCode} relies on.
 */
public enum SkipReason {
  /** The row was not skipped (label ""). */
  NONE,
  /** The row names no device. */
  NO_DEVICE_KEY,
  /** A user row without a user id. */
  NO_USER_ID,
  /** The row's user or device is in no device registry. */
  UNKNOWN_DEVICE,
  /** The row's day or time is missing, 0 or negative. */
  NO_DATE,
  /** A day of 1970: the device's clock was not set. */
  YEAR_1970,
  /** A workout longer than a day. */
  DURATION_OVER_ONE_DAY;

  private static final SkipReason[] BY_CODE = values();

  /** The short stable name reports and files use ("no_device_key" …). */
  public String label() {
    // The library's name of the constant: its own name in lower case.
    return this == NONE ? "" : name().toLowerCase(Locale.ROOT);
  }

  static SkipReason fromCode(int code) {
    if (code < 0 || code >= BY_CODE.length) {
      throw new IllegalStateException("unknown skip reason code " + code);
    }
    return BY_CODE[code];
  }
}
