// The machine's own clocks, read as the calendar records the time conversions compare. Every
// conversion reads both clocks; the records change once a second, so each is worked out once per
// second (the zone lookup behind a local calendar record is a file check, too slow per row).
#pragma once

#include <ctime>

#include "core/time/clock.h"

namespace kestrova {

class SystemClock : public Clock {
public:
    CalendarRecord localNow() const override;
    CalendarRecord utcNow() const override;
    ClockReading readBoth() const override;
    std::optional<int64_t> secondNow() const override;
    int64_t currentUtcOffsetSeconds() const override;

private:
    // The calendar records of the second they were made in.
    struct Second {
        std::time_t at = -1;
        unsigned zone = 0;  // the zone generation the records were made in
        std::tm local{};
        std::tm utc{};
    };
    const Second& thisSecond(long* milliseconds) const;
    mutable Second cached_;
};

}  // namespace kestrova
