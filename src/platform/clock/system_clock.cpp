#include "platform/clock/system_clock.h"

#include "platform/clock/time_zone.h"

namespace kestrova {
namespace {

CalendarRecord fromTm(const std::tm& t, long milliseconds) {
    return CalendarRecord{t.tm_year + 1900, t.tm_mon + 1, t.tm_wday, t.tm_mday,
                          t.tm_hour,        t.tm_min,     t.tm_sec,  static_cast<int>(milliseconds)};
}

}  // namespace

const SystemClock::Second& SystemClock::thisSecond(long* milliseconds) const {
    timespec now{};
    // The coarse clock (a few milliseconds behind at most) costs a memory read, not a time
    // stamp read: conversions ask for it once a row.
    clock_gettime(CLOCK_REALTIME_COARSE, &now);
    if (milliseconds) *milliseconds = now.tv_nsec / 1000000;
    // A zone put in force meanwhile (applyZone) makes the local record another one.
    const unsigned zone = zoneGeneration();
    if (now.tv_sec != cached_.at || zone != cached_.zone) {
        cached_.at = now.tv_sec;
        cached_.zone = zone;
        localtime_r(&now.tv_sec, &cached_.local);
        gmtime_r(&now.tv_sec, &cached_.utc);
    }
    return cached_;
}

CalendarRecord SystemClock::localNow() const {
    long ms = 0;
    return fromTm(thisSecond(&ms).local, ms);
}

CalendarRecord SystemClock::utcNow() const {
    long ms = 0;
    return fromTm(thisSecond(&ms).utc, ms);
}

ClockReading SystemClock::readBoth() const {
    long ms = 0;
    const Second& second = thisSecond(&ms);
    return {fromTm(second.local, ms), fromTm(second.utc, ms)};
}

std::optional<int64_t> SystemClock::secondNow() const {
    timespec now{};
    clock_gettime(CLOCK_REALTIME_COARSE, &now);
    // What is kept per second must also be worked out again when another zone is put in force
    // within it: the zone's generation is part of the value.
    return now.tv_sec ^ (static_cast<int64_t>(zoneGeneration()) << 48);
}

int64_t SystemClock::currentUtcOffsetSeconds() const { return thisSecond(nullptr).local.tm_gmtoff; }

}  // namespace kestrova
