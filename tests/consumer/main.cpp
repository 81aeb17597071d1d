// Starts the time service the way a TV service process does, reads the
// system clock and a stream clock, and shuts down in order. Prints what it
// saw; exits 0 when every step worked.
#include <cstdio>

#include "TIStreamClock.h"
#include "TISystemTimeManager.h"

int main()
{
    TISystemTimeManager* manager = TISystemTimeManager::Instance();
    if (manager == nullptr || !manager->Init()) {
        std::puts("consumer: the time manager did not start");
        return 1;
    }
    TIStreamClock::Init();
    const DAKHandle handle;
    TIStreamClock* clock = TIStreamClock::Instance(handle);
    unsigned long utc = 0;
    const bool haveTime = manager->GetSystemTime(utc);
    bool streamSet = true;
    if (clock != nullptr) {
        clock->StreamClock(&streamSet);
    }
    TIStreamClock::Exit();
    TISystemTimeManager::Exit();

    std::printf("consumer: system time %s (%lu), stream clock %s\n", haveTime ? "read" : "unread",
                utc, clock == nullptr ? "missing" : (streamSet ? "set" : "not set yet"));
    return haveTime && clock != nullptr && !streamSet ? 0 : 1;
}
