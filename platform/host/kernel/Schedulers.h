// The kernel's schedulers of the task framework's threads. The real one is
// the framework's own (dakfw::Scheduler); the two deterministic ones run one
// simulated thread at a time:
//
// - FixedRuleScheduler gives tasks and alarms no thread. The thread that
//   put it in (the controller) runs on; the queued events are handled on it,
//   task by task in creation order and each in queue order, whenever it
//   waits for idle (the framework's WaitIdle takes the turns).
// - SeededScheduler gives tasks threads, but they pass one baton: at each
//   point where a thread posts or may block, the holder asks a generator
//   seeded by the seed which runnable thread goes on; a thread that cannot
//   go on hands the baton to one that can. The same seed chooses alike on
//   every C++ library and word size.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>

#include "Scheduler.h"

namespace dakhost::kernel {

class FixedRuleScheduler final : public dakfw::Scheduler {
public:
    bool TaskThreads() const override { return false; }
    bool AlarmThreads() const override { return false; }
};

class SeededScheduler final : public dakfw::Scheduler {
public:
    // The calling thread becomes the controller and holds the baton.
    explicit SeededScheduler(uint32_t seed);
    ~SeededScheduler() override;

    bool AlarmThreads() const override { return false; }
    void Point() override;
    void Wait(pthread_mutex_t& lock, pthread_cond_t& cond, const void* key) override;
    void Wait(std::unique_lock<std::mutex>& lock, std::condition_variable& cond,
              const void* key) override;
    void Wake(const void* key) override;
    void Adopt(const void* owner) override;
    void Begin(const void* owner) override;
    void End() override;
    void Join(const void* owner) override;
    void Forget(const void* owner) override;

    // Choices made among two or more runnable threads.
    uint64_t Choices();
    // Whether the calling thread passes the baton (a simulated thread).
    bool Cooperating() const;

    struct State;  // the simulated threads and the generator

private:
    void Block(const void* key);

    std::unique_ptr<State> m_state;
};

// ---- which scheduler is in ----------------------------------------------------------

enum class Mode { Real, Fixed, Seeded };
Mode CurrentMode();
// Puts the scheduler of `mode` in; false while a task or an alarm exists.
bool UseMode(Mode mode, uint32_t seed);
// The end of the controller's turn: with the fixed rule every task handles
// what is queued; with a seed one more choice of who runs; else nothing.
void EndOfTurn();
uint64_t SeededChoices();

}  // namespace dakhost::kernel
