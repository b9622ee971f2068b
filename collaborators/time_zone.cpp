// time_zone.cpp — the zone interface's derived rules and the three zones
// that come with the library.
#include "collaborators/time_zone.h"

#include <date/tz.h>
#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <limits>

namespace veq {

namespace {

constexpr int64_t kSecondsPerDay = 86400;
// Instants further than about ±28,500 years from 1970 are looked up at this
// distance: inside what the tz library's year type and the C library's
// calendar fields can represent, and a zone's offset is constant that far out.
constexpr int64_t kFar = 900'000'000'000;
constexpr int64_t kWindow = 8 * kSecondsPerDay;
constexpr const char* kTzDatabase = "/usr/share/zoneinfo";

int64_t floorDiv(int64_t a, int64_t b) {
  int64_t q = a / b;
  if (a % b != 0 && ((a < 0) != (b < 0))) --q;
  return q;
}

// The span of an instant beyond ±kFar: everything out there has one offset.
VEQTimeZone::Span farSpan(int64_t t, int64_t offset) {
  if (t >= kFar) return {kFar, std::numeric_limits<int64_t>::max(), offset};
  return {std::numeric_limits<int64_t>::min(), -kFar, offset};
}

// ---- Platform local time ----

#if defined(__GLIBC__)
// Whether glibc resolves $TZ = `tz` to real rules. glibc reads a rules file
// (":name", "name" or "/path", under $TZDIR or the tz database) and failing
// that parses the text as a POSIX rule ("JST-9", "EST5EDT,M3.2.0,M11.1.0");
// when both fail it uses UTC silently. Returns the problem, or "" when the
// zone resolves.
std::string glibcZoneProblem(std::string_view tz) {
  const bool fileOnly = tz.front() == ':';
  if (fileOnly) tz.remove_prefix(1);
  if (tz.empty()) return "";  // ":" alone: the system's /etc/localtime
  std::string path(tz);
  std::string dir;
  if (tz.front() != '/') {
    const char* tzdir = std::getenv("TZDIR");
    dir = tzdir && *tzdir ? tzdir : kTzDatabase;
    path = dir + "/" + path;
  } else {
    dir = path;
  }
  std::ifstream file(path, std::ios::binary);
  char magic[4] = {};
  if (file.read(magic, 4) && std::string_view(magic, 4) == "TZif") return "";
  // A POSIX rule: a name of three or more letters (or one in <>), then an
  // offset; "UTC" and "GMT" alone mean UTC.
  if (!fileOnly) {
    if (tz == "UTC" || tz == "GMT") return "";
    size_t i = 0;
    if (tz.front() == '<') {
      i = tz.find('>');
      i = i == std::string_view::npos ? 0 : i + 1;
    } else {
      while (i < tz.size() && ((tz[i] >= 'A' && tz[i] <= 'Z') || (tz[i] >= 'a' && tz[i] <= 'z'))) ++i;
      if (i < 3) i = 0;
    }
    if (i > 0 && i < tz.size() && (tz[i] == '+' || tz[i] == '-')) ++i;
    if (i > 0 && i < tz.size() && tz[i] >= '0' && tz[i] <= '9') return "";
  }
  return "the C library finds no rules for it (looked in " + dir + ") and would use UTC";
}
#endif

class LocalTimeZone final : public VEQTimeZone {
 public:
  explicit LocalTimeZone(std::string tz) : tz_(std::move(tz)) {}

  int64_t offsetAt(int64_t t) const override {
    // time_t may be 32 bits: look up the nearest instant it can hold.
    using Limits = std::numeric_limits<time_t>;
    const int64_t lo = std::max<int64_t>(Limits::min(), -kFar), hi = std::min<int64_t>(Limits::max(), kFar);
    const time_t clamped = static_cast<time_t>(std::clamp(t, lo, hi));
    std::tm fields{};
    if (localtime_r(&clamped, &fields) == nullptr) throw VEQTimeZoneError(name() + ": the C library cannot convert an instant");
    return fields.tm_gmtoff;
  }
  std::string name() const override { return tz_.empty() ? "local time" : tz_; }
  std::string source() const override { return "platform C library"; }

 private:
  std::string tz_;  // $TZ when set
};

// ---- tz database ----

class TzDatabaseZone final : public VEQTimeZone {
 public:
  explicit TzDatabaseZone(const date::time_zone* zone) : zone_(zone) {}

  int64_t offsetAt(int64_t t) const override { return spanAt(t).offset; }
  Span spanAt(int64_t t) const override {
    const int64_t q = std::clamp(t, -kFar, kFar);
    date::sys_info info;
    try {
      info = zone_->get_info(date::sys_seconds{std::chrono::seconds{q}});
    } catch (const std::exception& e) {
      throw VEQTimeZoneError(name() + ": " + e.what());
    }
    if (q != t) return farSpan(t, info.offset.count());
    return {info.begin.time_since_epoch().count(), info.end.time_since_epoch().count(), info.offset.count()};
  }
  std::string name() const override { return std::string(zone_->name()); }
  std::string source() const override { return std::string("tz database ") + kTzDatabase; }

 private:
  const date::time_zone* zone_;
};

// ---- Fixed offset ----

class FixedTimeZone final : public VEQTimeZone {
 public:
  FixedTimeZone(int64_t offset, std::string name) : offset_(offset), name_(std::move(name)) {}

  int64_t offsetAt(int64_t) const override { return offset_; }
  Span spanAt(int64_t) const override {
    return {std::numeric_limits<int64_t>::min(), std::numeric_limits<int64_t>::max(), offset_};
  }
  std::string name() const override { return name_; }
  std::string source() const override { return "fixed offset"; }

 private:
  int64_t offset_;
  std::string name_;
};

}  // namespace

VEQTimeZone::Span VEQTimeZone::spanAt(int64_t t) const {
  if (t >= kFar || t < -kFar) return farSpan(t, offsetAt(t));
  const int64_t begin = floorDiv(t, kWindow) * kWindow, end = begin + kWindow;
  const int64_t first = offsetAt(begin), last = offsetAt(end - 1);
  if (first == last) return {begin, end, first};
  // One change inside the window: find its instant.
  int64_t lo = begin, hi = end - 1;  // offsetAt(lo) == first, offsetAt(hi) == last
  while (hi - lo > 1) {
    const int64_t mid = lo + (hi - lo) / 2;
    (offsetAt(mid) == first ? lo : hi) = mid;
  }
  return t < hi ? Span{begin, hi, first} : Span{hi, end, last};
}

int64_t VEQTimeZone::instantOf(int64_t local, std::optional<int64_t> preferredOffset) const {
  // The offsets two days before and after: any change that makes `local`
  // skipped or repeated lies between them.
  const int64_t q = std::clamp(local, -kFar, kFar);
  const int64_t before = offsetAt(q - 2 * kSecondsPerDay), after = offsetAt(q + 2 * kSecondsPerDay);
  // `local` read with offset o is the instant local - o; it is a real reading
  // when the zone has offset o at that instant.
  const bool withBefore = offsetAt(q - before) == before;
  const bool withAfter = before != after && offsetAt(q - after) == after;
  int64_t offset = before;  // also the gap rule: the offset before the change
  if (withBefore && withAfter) {
    if (preferredOffset == before || preferredOffset == after) {
      offset = *preferredOffset;
    } else {
      offset = std::max(before, after);  // the earlier instant
    }
  } else if (withAfter) {
    offset = after;
  }
  return local - offset;
}

std::shared_ptr<const VEQTimeZone> VEQTimeZone::local() {
  tzset();  // the C library reads $TZ again
  const char* tz = std::getenv("TZ");
  const std::string name = tz ? tz : "";
#if defined(__GLIBC__)
  if (!name.empty()) {
    if (const std::string problem = glibcZoneProblem(name); !problem.empty())
      throw VEQTimeZoneError(name + ": time zone of $TZ cannot be resolved: " + problem);
  }
#endif
  return std::make_shared<LocalTimeZone>(name);
}

std::shared_ptr<const VEQTimeZone> VEQTimeZone::named(std::string_view name) {
  if (name == "UTC" || name == "Etc/UTC") return fixed(0, std::string(name));
  try {
    return std::make_shared<TzDatabaseZone>(date::locate_zone(std::string(name)));
  } catch (const std::exception&) {
    std::ifstream probe(std::string(kTzDatabase) + "/UTC");
    if (!probe) {
      throw VEQTimeZoneError(std::string(name) + ": unknown time zone (no tz database in " + kTzDatabase + ")");
    }
    throw VEQTimeZoneError(std::string(name) + ": unknown time zone");
  }
}

std::shared_ptr<const VEQTimeZone> VEQTimeZone::fixed(int64_t offsetSeconds, std::string name) {
  if (name.empty() && offsetSeconds == 0) name = "UTC";
  if (name.empty()) {
    const uint64_t minutes = (offsetSeconds < 0 ? 0 - static_cast<uint64_t>(offsetSeconds) : offsetSeconds) / 60;
    name = fmt::format("UTC{}{:02}:{:02}", offsetSeconds < 0 ? '-' : '+', minutes / 60, minutes % 60);
  }
  return std::make_shared<FixedTimeZone>(offsetSeconds, std::move(name));
}

}  // namespace veq
