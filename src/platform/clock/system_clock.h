// The machine's own clocks, read as the calendar records the time conversions compare.
#pragma once

#include "core/time/clock.h"

namespace kestrova {

class SystemClock : public Clock {
public:
    CalendarRecord localNow() const override;
    CalendarRecord utcNow() const override;
    int64_t currentUtcOffsetSeconds() const override;
};

}  // namespace kestrova
