#include "collaborators/sdk_utility.h"

#include <algorithm>
#include <array>
#include <bit>
#include <chrono>
#include <cstdlib>
#include <exception>
#include <memory>

#include "collaborators/collaborator_state.h"

namespace veq {

namespace {

constexpr int64_t kSecondsPerDay = 86400;
// Civil fields handed to get1970timeTempWithYear are clamped to this range so
// that the arithmetic below cannot overflow.
constexpr int64_t kFieldLimit = 1'000'000'000;

int64_t floorDiv(int64_t a, int64_t b) {
  int64_t q = a / b;
  if (a % b != 0 && ((a < 0) != (b < 0))) --q;
  return q;
}

// Days since 1970-01-01 of a proleptic Gregorian date (month 1-12; the day
// may be any number and simply counts on from the first of the month).
int64_t daysFromCivil(int64_t y, int64_t m, int64_t d) {
  y -= m <= 2;
  const int64_t era = floorDiv(y, 400);
  const int64_t yoe = y - era * 400;
  const int64_t doy = (153 * (m > 2 ? m - 3 : m + 9) + 2) / 5;
  const int64_t doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + doe - 719468 + (d - 1);
}

void civilFromDays(int64_t z, VEQDateComponents* c) {
  z += 719468;
  const int64_t era = floorDiv(z, 146097);
  const int64_t doe = z - era * 146097;
  const int64_t yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  const int64_t doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  const int64_t mp = (5 * doy + 2) / 153;
  c->day = doy - (153 * mp + 2) / 5 + 1;
  c->month = mp < 10 ? mp + 3 : mp - 9;
  c->year = yoe + era * 400 + (c->month <= 2);
}

// Local seconds (seconds since 1970-01-01 00:00 on the zone's wall clock) of
// civil fields, normalised the way a calendar does: month 13 is January of
// the next year, day 0 the last day of the previous month, hour 24 the next
// day.
int64_t localSeconds(int64_t y, int64_t m, int64_t d, int64_t hh = 0, int64_t mi = 0,
                     int64_t ss = 0) {
  const int64_t yearShift = floorDiv(m - 1, 12);
  y += yearShift;
  m -= yearShift * 12;
  return daysFromCivil(y, m, d) * kSecondsPerDay + hh * 3600 + mi * 60 + ss;
}

// ---- The configured zone ----

// The zone, its generation and the fixed "now" are the current collaborator
// state's (collaborator_state.h). The results remembered below are per
// thread and tagged with the zone generation they were computed in; a
// generation is never handed out twice in the process, so whichever state
// the thread works in, a remembered result is used only in the zone it was
// computed in.

// The span of constant offset met last. Rows of one table fall mostly in one
// span, so this spares the zone's look-up; spans met one after another with
// the same offset join, so a zone that knows only its offsets (the C
// library's) soon has long spans too.
struct OffsetSpan {
  uint64_t epoch = 0;  // 0: empty
  int64_t begin = 0;
  int64_t end = 0;
  int64_t offset = 0;
};
thread_local OffsetSpan tSpan;

// UTC offset in effect at the instant `t`.
int64_t offsetAt(int64_t t) {
  VEQCollaboratorState& state = VEQCollaboratorState::current();
  const uint64_t epoch = state.zoneGeneration();
  if (tSpan.epoch == epoch && t >= tSpan.begin && t < tSpan.end) return tSpan.offset;
  VEQTimeZone::Span span = state.zone()->spanAt(t);
  if (tSpan.epoch == epoch && span.offset == tSpan.offset) {
    if (span.begin == tSpan.end) span.begin = tSpan.begin;
    if (span.end == tSpan.begin) span.end = tSpan.end;
  }
  tSpan = {epoch, span.begin, span.end, span.offset};
  return span.offset;
}

// The instant at which the zone's wall clock shows `local`, by the zone's
// rules for skipped and repeated local times (time_zone.h).
int64_t instantFromLocal(int64_t local, std::optional<int64_t> preferredOffset = std::nullopt) {
  VEQCollaboratorState& state = VEQCollaboratorState::current();
  if (tSpan.epoch == state.zoneGeneration()) {
    // Well inside a span (two days away from its ends, more than any offset
    // change) the wall time is unique.
    const int64_t candidate = local - tSpan.offset;
    if (candidate >= tSpan.begin + 2 * kSecondsPerDay && candidate < tSpan.end - 2 * kSecondsPerDay)
      return candidate;
  }
  const int64_t instant = state.zone()->instantOf(local, preferredOffset);
  offsetAt(instant);  // remembers the span the result lies in
  return instant;
}

VEQDateComponents componentsAt(int64_t t) {
  // Split first and add the offset to the second of the day, so that even
  // the extreme time stamps cannot overflow.
  int64_t days = t / kSecondsPerDay;
  int64_t secondOfDay = t % kSecondsPerDay;
  secondOfDay += offsetAt(t);
  days += floorDiv(secondOfDay, kSecondsPerDay);
  secondOfDay -= floorDiv(secondOfDay, kSecondsPerDay) * kSecondsPerDay;
  VEQDateComponents c;
  civilFromDays(days, &c);
  c.hour = secondOfDay / 3600;
  c.minute = secondOfDay / 60 % 60;
  c.second = secondOfDay % 60;
  return c;
}

// ---- Legacy date texts ----

bool allDigits(std::string_view s) {
  return !s.empty() && std::all_of(s.begin(), s.end(), [](char ch) { return ch >= '0' && ch <= '9'; });
}

int64_t digitsValue(std::string_view s) {
  int64_t v = 0;
  for (char ch : s) v = v * 10 + (ch - '0');
  return v;
}

// Whether `s` has the shape of `pattern`, where 'd' stands for a digit and
// every other character for itself.
bool matches(std::string_view s, std::string_view pattern) {
  if (s.size() != pattern.size()) return false;
  for (size_t i = 0; i < s.size(); ++i) {
    if (pattern[i] == 'd' ? (s[i] < '0' || s[i] > '9') : s[i] != pattern[i]) return false;
  }
  return true;
}

struct CivilForm {
  std::string_view pattern;
  // Offsets of year, month, day, hour, minute, second; -1 for an absent
  // field (taken as 0).
  int at[6];
  int width[6];
};

constexpr CivilForm kCivilForms[] = {
    {"dddddddddddddd", {0, 4, 6, 8, 10, 12}, {4, 2, 2, 2, 2, 2}},
    {"dddddddd", {0, 4, 6, -1, -1, -1}, {4, 2, 2, 0, 0, 0}},
    {"dddd-dd-dd dd:dd:dd", {0, 5, 8, 11, 14, 17}, {4, 2, 2, 2, 2, 2}},
    {"dddd-dd-dd", {0, 5, 8, -1, -1, -1}, {4, 2, 2, 0, 0, 0}},
};

// A legacy date text read as an instant. Civil forms are wall-clock times
// in the zone; a text of digits with an optional sign is a time stamp
// already, in milliseconds when `millisFromDigits` is not 0 and the text has
// at least that many digits.
int64_t legacyInstant(std::string_view s, size_t millisFromDigits) {
  for (const CivilForm& form : kCivilForms) {
    if (!matches(s, form.pattern)) continue;
    int64_t f[6];
    for (int i = 0; i < 6; ++i)
      f[i] = form.at[i] < 0 ? 0 : digitsValue(s.substr(form.at[i], form.width[i]));
    return instantFromLocal(localSeconds(f[0], f[1], f[2], f[3], f[4], f[5]));
  }
  std::string_view digits = s;
  if (!digits.empty() && (digits.front() == '+' || digits.front() == '-')) digits.remove_prefix(1);
  if (!allDigits(digits)) return 0;
  const int64_t stamp = VEQValue(s).integerValue();  // saturates like the platform
  if (millisFromDigits && digits.size() >= millisFromDigits) return stamp / 1000;
  return stamp;
}

// ---- Remembered conversions ----

// The last few results of one conversion on this thread. Legacy tables hold
// their rows day by day and track by track, so consecutive rows convert the
// same texts over and over; a hit costs a comparison instead of a parse and
// two zone look-ups. A conversion chain calls the same function with two
// different inputs per row (a date text, then the normalised date-time
// text), hence more than one entry.
template <typename Key, typename Result>
class Recent {
 public:
  template <typename Lookup, typename Compute>
  Result get(const Lookup& key, Compute compute) {
    const uint64_t epoch = VEQCollaboratorState::current().zoneGeneration();
    for (const Entry& e : entries_) {
      if (e.epoch == epoch && e.key == key) return e.result;
    }
    Entry& e = entries_[next_];
    next_ = (next_ + 1) % entries_.size();
    e.result = compute();
    e.key = Key(key);
    e.epoch = epoch;
    return e.result;
  }

 private:
  struct Entry {
    uint64_t epoch = 0;  // 0: empty
    Key key{};
    Result result{};
  };
  std::array<Entry, 2> entries_;
  size_t next_ = 0;
};

}  // namespace

// ---- Zone and clock ----

bool VEQSDKUtility::setTimeZone(const std::string& name) {
  if (name.empty()) return setTimeZone(std::shared_ptr<const VEQTimeZone>());
  try {
    return setTimeZone(VEQTimeZone::named(name));
  } catch (const VEQTimeZoneError&) {
    return false;
  }
}

bool VEQSDKUtility::setTimeZone(std::shared_ptr<const VEQTimeZone> zone) {
  return VEQCollaboratorState::current().setZone(std::move(zone));
}

std::shared_ptr<const VEQTimeZone> VEQSDKUtility::timeZone() { return VEQCollaboratorState::current().zone(); }

std::string VEQSDKUtility::timeZoneName() { return VEQCollaboratorState::current().zone()->name(); }

uint64_t VEQSDKUtility::timeZoneGeneration() { return VEQCollaboratorState::current().zoneGeneration(); }

void VEQSDKUtility::setFixedNow(std::optional<int64_t> epochSeconds) {
  VEQCollaboratorState::current().setFixedNow(epochSeconds);
}

int64_t VEQSDKUtility::now() {
  if (const std::optional<int64_t>& fixed = VEQCollaboratorState::current().fixedNow()) return *fixed;
  using namespace std::chrono;
  return duration_cast<seconds>(system_clock::now().time_since_epoch()).count();
}

int64_t VEQSDKUtility::currentYear() {
  // The year is remembered with the instants it spans in its zone, so "now"
  // is looked up in the zone once a year rather than once per row.
  struct Year {
    uint64_t epoch = 0;
    int64_t begin = 0, end = 0;  // [first instant, first instant of the next)
    int64_t year = 0;
  };
  thread_local Year last;
  const int64_t t = now();
  const uint64_t epoch = VEQCollaboratorState::current().zoneGeneration();
  if (last.epoch != epoch || t < last.begin || t >= last.end) {
    const int64_t year = componentsAt(t).year;
    last = {epoch, 1, 0, year};  // an empty span: remembered for nothing
    if (std::abs(year) < kFieldLimit) {
      last.begin = instantFromLocal(localSeconds(year, 1, 1));
      last.end = instantFromLocal(localSeconds(year + 1, 1, 1));
    }
  }
  return last.year;
}

// ---- Conversions ----

std::string VEQSDKUtility::timeStampFromtimeStr(std::string_view timeStr) {
  thread_local Recent<std::string, std::string> recent;
  return recent.get(timeStr, [&] { return std::to_string(legacyInstant(timeStr, 0)); });
}

VEQDateComponents VEQSDKUtility::dateComponentsWithDateStr(std::string_view dateStr) {
  thread_local Recent<int64_t, VEQDateComponents> recent;
  const int64_t t = VEQValue(dateStr).integerValue();
  return recent.get(t, [t] { return componentsAt(t); });
}

std::string VEQSDKUtility::get1970timeTempWithYear(int64_t year, int64_t andMonth, int64_t andDay) {
  using Day = std::array<int64_t, 3>;
  thread_local Recent<Day, std::string> recent;
  return recent.get(Day{year, andMonth, andDay}, [&] {
    const auto clampField = [](int64_t v) { return std::clamp(v, -kFieldLimit, kFieldLimit); };
    // Local midnight; when midnight is skipped, the gap rule of
    // instantFromLocal yields the first instant the day has.
    return std::to_string(
        instantFromLocal(localSeconds(clampField(year), clampField(andMonth), clampField(andDay))));
  });
}

std::string VEQSDKUtility::get1970timeTempWithDateStr(std::string_view dateStr) {
  thread_local Recent<std::string, std::string> recent;
  return recent.get(dateStr, [&] { return std::to_string(legacyInstant(dateStr, 13)); });
}

std::string VEQSDKUtility::timeStampWithYear(std::string_view timeStamp, int64_t year) {
  const int64_t t = VEQValue(timeStamp).integerValue();
  const VEQDateComponents c = componentsAt(t);
  const int64_t local =
      localSeconds(std::clamp(year, -kFieldLimit, kFieldLimit), c.month, c.day, c.hour, c.minute, c.second);
  return std::to_string(instantFromLocal(local, offsetAt(t)));
}

VEQArray VEQSDKUtility::getBinaryByDecimal(int64_t decimal) {
  // Negative fields are shown as the 32-bit two's complement of their low
  // 32 bits, the width the legacy devices store bit fields in.
  const uint64_t bits = decimal < 0 ? static_cast<uint32_t>(decimal) : static_cast<uint64_t>(decimal);
  const int width = std::max(decimal < 0 ? 32 : 8, static_cast<int>(std::bit_width(bits)));
  VEQArray digits;
  digits.reserve(static_cast<size_t>(width));
  for (int i = width - 1; i >= 0; --i) digits.emplace_back(static_cast<int>((bits >> i) & 1));
  return digits;
}

}  // namespace veq
