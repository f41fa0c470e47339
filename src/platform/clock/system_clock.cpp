#include "platform/clock/system_clock.h"

#include <ctime>

namespace kestrova {
namespace {

CalendarRecord fromTm(const std::tm& t, long milliseconds) {
    return CalendarRecord{t.tm_year + 1900, t.tm_mon + 1, t.tm_wday, t.tm_mday,
                          t.tm_hour,        t.tm_min,     t.tm_sec,  static_cast<int>(milliseconds)};
}

}  // namespace

CalendarRecord SystemClock::localNow() const {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    std::tm t{};
    localtime_r(&now.tv_sec, &t);
    return fromTm(t, now.tv_nsec / 1000000);
}

CalendarRecord SystemClock::utcNow() const {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    std::tm t{};
    gmtime_r(&now.tv_sec, &t);
    return fromTm(t, now.tv_nsec / 1000000);
}

int64_t SystemClock::currentUtcOffsetSeconds() const {
    const std::time_t now = std::time(nullptr);
    std::tm t{};
    localtime_r(&now, &t);
    return t.tm_gmtoff;
}

}  // namespace kestrova
