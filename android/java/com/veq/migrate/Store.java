package com.veq.migrate;

import java.util.Locale;

/** The three kinds of legacy store, in the order a whole migration runs them. */
public enum Store {
  /** The legacy iOS store (tables such as "t_user_device", "t_sport_data"). */
  IOS,
  /** The legacy Android store (tables such as "BASIC_INFOS", "HEALTH_HEART_RATE"). */
  ANDROID,
  /** The Android store of data that came from the cloud (the same tables). */
  ANDROID_CLOUD;

  /** The label in summaries and messages: "ios", "android", "android_cloud". */
  public String label() {
    // The library's name of the constant: its own name in lower case.
    return name().toLowerCase(Locale.ROOT);
  }

  static Store fromLabel(String label) {
    for (Store store : values()) {
      if (store.label().equals(label)) {
        return store;
      }
    }
    throw new IllegalStateException("unknown store label \"" + label + "\"");
  }
}
