// The two clocks the conversions compare, as calendar records, so tests can pin any moment.
#pragma once

#include <QDate>
#include <cstdint>
#include <optional>

namespace kestrova {

// A broken-down time as the system's calendar calls return it.
struct CalendarRecord {
    int year = 1970;
    int month = 1;
    int dayOfWeek = 4;  // 0 = Sunday
    int day = 1;
    int hour = 0;
    int minute = 0;
    int second = 0;
    int millisecond = 0;
};

// Both clocks read at one moment.
struct ClockReading {
    CalendarRecord local;
    CalendarRecord utc;
};

class Clock {
public:
    virtual ~Clock() = default;
    virtual CalendarRecord localNow() const = 0;
    virtual CalendarRecord utcNow() const = 0;
    // What the zone offset compares, once per converted time: a clock may read both at once.
    virtual ClockReading readBoth() const { return {localNow(), utcNow()}; }
    // The whole second the clock stands at, where it can tell cheaply: both records stay the
    // same until it changes, so what is worked out from them may be kept until then. nullopt:
    // read the records every time.
    virtual std::optional<int64_t> secondNow() const { return std::nullopt; }
    // The zone bias in force now (local minus UTC), which is what a FILETIME conversion applies
    // whatever the date being converted.
    virtual int64_t currentUtcOffsetSeconds() const = 0;
    QDate today() const {
        const CalendarRecord r = localNow();
        return QDate(r.year, r.month, r.day);
    }
};

// A clock standing still, for tests and for reproducible command-line runs.
class FixedClock : public Clock {
public:
    FixedClock(CalendarRecord local, CalendarRecord utc) : local_(local), utc_(utc) {}
    CalendarRecord localNow() const override { return local_; }
    CalendarRecord utcNow() const override { return utc_; }
    std::optional<int64_t> secondNow() const override { return 0; }  // it stands still
    int64_t currentUtcOffsetSeconds() const override;

private:
    CalendarRecord local_;
    CalendarRecord utc_;
};

}  // namespace kestrova
