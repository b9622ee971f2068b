// user_defaults.h — the application's persistent key-value store.
//
// Earlier releases kept a little state (the bound device and its binding
// flag) in the phone's user defaults. Off the phone the store lives in a JSON
// file: the tool loads it before a run and writes it back afterwards, so a
// take-over that removes keys during the run is persisted.
//
// Rules:
//   * objectForKey gives the null value for an absent key; stringForKey gives
//     a text as it is, a number as its "%@" text and "" for anything else;
//     boolForKey reads with the platform's boolValue (absent → NO).
//   * setObject with the null value removes the key, like storing nothing.
//   * Keys keep the order in which they were first set, in memory and file.
//   * loadFromFile replaces the whole store. A missing file loads as an
//     empty store; an empty file, or one that is not a JSON object (nested
//     no deeper than kMaxJsonDepth), is an error — a store that was written
//     holds at least "{}" — and the store is left as it was. saveToFile writes one JSON object through
//     a temporary file renamed into place, so a failed write keeps the old
//     file. Both return false with a message in *error (when given) on failure.
//   * standardUserDefaults() is the store of the calling thread's current
//     collaborator state (collaborator_state.h): each migration has its own.
//   * Not locked: the store is used from the migration's one thread.
#pragma once

#include <string>
#include <string_view>

#include "collaborators/value.h"

namespace veq {

class VEQUserDefaults {
 public:
  static VEQUserDefaults& standardUserDefaults();

  VEQValue objectForKey(std::string_view key) const;
  std::string stringForKey(std::string_view key) const;
  bool boolForKey(std::string_view key) const;

  void setObject(std::string_view key, VEQValue value);
  void removeObjectForKey(std::string_view key);
  void clear();

  VEQDict dictionaryRepresentation() const { return values_; }

  bool loadFromFile(const std::string& path, std::string* error);
  bool saveToFile(const std::string& path, std::string* error) const;

 private:
  VEQDict values_;
};

}  // namespace veq
