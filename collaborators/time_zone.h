// time_zone.h — the time zone the date utilities work in, and where it
// comes from.
//
// A VEQTimeZone answers one question: the offset from UTC, in seconds east,
// in effect at an instant (seconds since 1970-01-01T00:00:00Z, any 64-bit
// value). Everything else derives from that: the instant a local wall time
// names, with the rules for skipped and repeated local times, and the spans
// of constant offset that the date utilities remember. A kit that has its
// platform's zone rules (an Android kit from its platform's zone object)
// implements offsetAt, name and source and hands the zone to
// VEQSDKUtility::setTimeZone.
//
// Three zones come with the library:
//   - local():  the platform's local time through the C library
//               (localtime_r): the phone's own zone on Android and iOS, $TZ
//               or /etc/localtime on Linux. The default.
//   - named():  an IANA zone ("Asia/Tokyo") from the tz database
//               (/usr/share/zoneinfo), where one is installed. "UTC" and
//               "Etc/UTC" need no database.
//   - fixed():  a constant offset, for tests and kits.
//
// A zone that cannot be resolved is an error (VEQTimeZoneError, whose text
// names the zone), never UTC in its place. In particular, with glibc a $TZ
// naming a zone whose rules file is missing makes the C library use UTC
// without a word; local() detects that and throws.
//
// Instants that do not fit the C library's time_t (32 bits on some phones)
// are looked up at the nearest instant that does: a zone's offset is
// constant that far out. Every value stays 64-bit.
//
// Zones are immutable and may be used from any thread.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace veq {

// A zone that cannot be resolved; what() names the zone and the reason.
class VEQTimeZoneError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class VEQTimeZone {
 public:
  virtual ~VEQTimeZone() = default;

  // Seconds east of UTC in effect at instant `t`. Must depend on `t` alone.
  virtual int64_t offsetAt(int64_t t) const = 0;
  // The zone's name for reports: "Asia/Tokyo", "local time", "UTC+05:45".
  virtual std::string name() const = 0;
  // Where its rules come from: "tz database /usr/share/zoneinfo",
  // "platform C library", "fixed offset"; a kit's zone says "kit".
  virtual std::string source() const { return "kit"; }

  // An interval [begin, end) of instants with one offset.
  struct Span {
    int64_t begin = 0;
    int64_t end = 0;
    int64_t offset = 0;
  };
  // The span of constant offset around `t`. The default looks at the 8-day
  // window holding `t`: when offsetAt agrees at its two ends the whole window
  // is one span, otherwise a binary search finds the change inside it. It
  // thus assumes a zone never changes its offset twice within 8 days, which
  // no zone in use does. Zones that know their spans override it.
  virtual Span spanAt(int64_t t) const;

  // The instant at which the zone's wall clock shows `local` (seconds since
  // 1970-01-01 00:00 on that clock). A local time skipped by a forward change
  // moves forward by the length of the gap (it is read with the offset before
  // the change); a local time that occurs twice takes the instant whose
  // offset is `preferredOffset` when that is one of the two, else the earlier
  // one. Derived from offsetAt.
  int64_t instantOf(int64_t local, std::optional<int64_t> preferredOffset = std::nullopt) const;

  // "name (source)", as reports show the zone.
  std::string description() const { return name() + " (" + source() + ")"; }

  // The platform's local time. Throws VEQTimeZoneError when $TZ names a zone
  // the C library cannot resolve (detected with glibc).
  static std::shared_ptr<const VEQTimeZone> local();
  // An IANA zone of the tz database. Throws VEQTimeZoneError for a name the
  // database does not know, or when there is no database.
  static std::shared_ptr<const VEQTimeZone> named(std::string_view name);
  // A constant offset (seconds east of UTC); `name` defaults to "UTC+hh:mm".
  static std::shared_ptr<const VEQTimeZone> fixed(int64_t offsetSeconds, std::string name = "");
};

}  // namespace veq
