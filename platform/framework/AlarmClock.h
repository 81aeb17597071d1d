// The clock that alarms measure their periods on. The plain AlarmClock is
// the monotonic clock, which runs by itself: each alarm's thread sleeps
// until its period ends. A simulation puts in a clock that only its controls
// move; then no alarm thread waits for a deadline, and the controls step the
// alarms through Framework.h (NextDueAlarm, PostDueAlarm).
#pragma once

#include <cstdint>

namespace dakfw {

class AlarmClock {
public:
    AlarmClock() = default;
    virtual ~AlarmClock() = default;
    AlarmClock(const AlarmClock&) = delete;
    AlarmClock& operator=(const AlarmClock&) = delete;

    // Nanoseconds on the clock; only differences mean anything.
    virtual uint64_t NowNs() const;
    // Whether periods end by themselves as the clock runs (alarm threads
    // sleep until then), or only when the controls step the alarms.
    virtual bool RunsByItself() const { return true; }
};

// The alarm clock in use; the monotonic clock until another is put in.
AlarmClock& AlarmTime();
// Puts `clock` in (null: the monotonic clock again). Every created alarm
// starts its period again on the new clock.
void UseAlarmClock(AlarmClock* clock);

}  // namespace dakfw
