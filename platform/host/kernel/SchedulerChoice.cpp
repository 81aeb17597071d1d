// Which of the kernel's schedulers the task framework runs on.
#include <atomic>
#include <memory>
#include <mutex>

#include "Framework.h"
#include "Schedulers.h"

namespace {

struct Choice {
    std::mutex lock;
    std::atomic<dakhost::kernel::Mode> mode{dakhost::kernel::Mode::Real};
    dakhost::kernel::FixedRuleScheduler fixedRule;
    std::unique_ptr<dakhost::kernel::SeededScheduler> seeded;
    uint64_t choicesBefore = 0;  // of the seeded scheduler taken out last
};

// Never destroyed: threads may outlive the static destructors of the process.
Choice& Current()
{
    static auto* const choice = new Choice;
    return *choice;
}

}  // namespace

namespace dakhost::kernel {

Mode CurrentMode()
{
    return Current().mode.load();
}

bool UseMode(Mode mode, uint32_t seed)
{
    if (dakfw::TaskCount() != 0 || dakfw::AlarmCount() != 0) {
        return false;
    }
    Choice& c = Current();
    const std::lock_guard<std::mutex> lock(c.lock);
    dakfw::UseScheduler(nullptr);
    if (c.seeded) {
        c.choicesBefore = c.seeded->Choices();
        c.seeded.reset();
    }
    switch (mode) {
        case Mode::Real:
            break;
        case Mode::Fixed:
            dakfw::UseScheduler(&c.fixedRule);
            break;
        case Mode::Seeded:
            c.seeded = std::make_unique<SeededScheduler>(seed);
            dakfw::UseScheduler(c.seeded.get());
            break;
    }
    c.mode.store(mode);
    return true;
}

void EndOfTurn()
{
    switch (CurrentMode()) {
        case Mode::Fixed:
            dakfw::WaitIdle();
            break;
        case Mode::Seeded:
            dakfw::Turns().Point();
            break;
        case Mode::Real:
            break;
    }
}

uint64_t SeededChoices()
{
    Choice& c = Current();
    const std::lock_guard<std::mutex> lock(c.lock);
    return c.seeded ? c.seeded->Choices() : c.choicesBefore;
}

}  // namespace dakhost::kernel
