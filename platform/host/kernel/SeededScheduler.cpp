// The seeded scheduler (see Schedulers.h). At each point where the platform
// lets a thread block or post, the baton holder asks a generator seeded by
// the seed which runnable thread goes on; a thread that cannot go on (an
// empty queue, a taken semaphore or lock, a thread it joins, an idle it
// waits for) hands the baton to one that can. The seed also sets how often
// the holder keeps the baton when it may, so that a sweep of seeds sees
// threads run far ahead as well as switch often. The choice is std::mt19937
// (its sequence is fixed by the C++ standard) reduced to a range by
// rejection here, so the same seed chooses alike on every library and word
// size.
#include <sched.h>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <iterator>
#include <memory>
#include <mutex>
#include <optional>
#include <random>
#include <thread>
#include <vector>

#include "Schedulers.h"

namespace {

struct SimThread {
    const void* owner = nullptr;  // the TCThread; null for the controller
    std::condition_variable turn;
    bool runnable = true;
    bool ended = false;
    const void* waitingOn = nullptr;
};

}  // namespace

struct dakhost::kernel::SeededScheduler::State {
    std::mutex lock;
    // The controller first, then the threads in the order they were made.
    std::vector<std::unique_ptr<SimThread>> threads;
    std::atomic<SimThread*> current{nullptr};  // written under `lock` only
    std::mt19937 generator;
    uint32_t seed = 0;
    // How often (in percent) a thread that may go on at a point keeps the
    // baton; drawn from the seed, so that some seeds let a thread run far
    // ahead of the others and some switch at almost every point.
    uint32_t stayPercent = 0;
    uint64_t choices = 0;
    bool stuckReported = false;
};

namespace {

using Scheduler = dakhost::kernel::SeededScheduler::State;

// The calling thread's place among the simulated threads; null outside them.
thread_local SimThread* tlsSim = nullptr;

// A number below `n` (n > 0) from the generator, alike on every platform.
uint32_t Below(std::mt19937& generator, uint32_t n)
{
    const uint64_t range = uint64_t{1} << 32U;
    const uint64_t limit = range - range % n;
    uint64_t draw = 0;
    do {
        draw = static_cast<uint32_t>(generator());
    } while (draw >= limit);
    return static_cast<uint32_t>(draw % n);
}

// The stay rates a seed picks from.
constexpr uint32_t kStayPercents[] = {0, 50, 80, 95};

// The next holder among the runnable threads; null when none can run. A
// runnable `self` keeps the baton at the seed's stay rate.
SimThread* Choose(Scheduler& s, SimThread* self)
{
    std::vector<SimThread*> runnable;
    for (const auto& thread : s.threads) {
        if (thread->runnable && !thread->ended) {
            runnable.push_back(thread.get());
        }
    }
    if (runnable.empty()) {
        return nullptr;
    }
    if (runnable.size() == 1) {
        return runnable.front();
    }
    ++s.choices;
    if (self != nullptr && self->runnable && Below(s.generator, 100) < s.stayPercent) {
        return self;
    }
    return runnable[Below(s.generator, static_cast<uint32_t>(runnable.size()))];
}

// How long a thread waiting for the baton watches for it before it sleeps.
constexpr int kWatchRounds = 1000;

void Relax()
{
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#elif defined(__arm__) || defined(__aarch64__)
    asm volatile("yield");
#endif
}

// Whether this process may run on more than one processor (its affinity,
// not the machine's count: `taskset -c 0` leaves one).
bool MayRunOnTwo()
{
    cpu_set_t set;
    CPU_ZERO(&set);
    if (sched_getaffinity(0, sizeof set, &set) != 0) {
        return std::thread::hardware_concurrency() > 1;
    }
    return CPU_COUNT(&set) > 1;
}

// Waits until the baton is `self`'s. Hand-overs are what a seeded run
// spends its time on, and the thread that took the baton usually gives it
// back within microseconds: with a second processor to run it, the waiter
// watches for a few microseconds without the lock before it sleeps, so that
// most hand-overs cost no wake-up by the kernel. Who runs next is chosen
// under the lock either way.
void AwaitTurn(Scheduler& s, std::unique_lock<std::mutex>& lock, SimThread* self)
{
    static const bool kWatch = MayRunOnTwo();
    if (kWatch && s.current.load(std::memory_order_acquire) != self) {
        lock.unlock();
        for (int round = 0; round < kWatchRounds; ++round) {
            if (s.current.load(std::memory_order_acquire) == self) {
                break;
            }
            Relax();
        }
        lock.lock();
    }
    self->turn.wait(lock, [&s, self] { return s.current.load(std::memory_order_relaxed) == self; });
}

// Gives the baton to `next` and waits until it comes back to `self`.
void HandOver(Scheduler& s, std::unique_lock<std::mutex>& lock, SimThread* self, SimThread* next)
{
    if (next == self) {
        return;
    }
    s.current = next;
    next->turn.notify_one();
    AwaitTurn(s, lock, self);
}

void ReportStuck(Scheduler& s)
{
    if (!s.stuckReported) {
        s.stuckReported = true;
        std::fprintf(stderr, "dakhost: every simulated thread waits and none can go on (seed %u)\n",
                     static_cast<unsigned>(s.seed));
    }
}

SimThread* Find(Scheduler& s, const void* owner)
{
    for (const auto& thread : s.threads) {
        if (thread->owner == owner) {
            return thread.get();
        }
    }
    return nullptr;
}

}  // namespace

namespace dakhost::kernel {

SeededScheduler::SeededScheduler(uint32_t seed) : m_state(std::make_unique<State>())
{
    State& s = *m_state;
    auto controller = std::make_unique<SimThread>();
    tlsSim = controller.get();
    s.current = controller.get();
    s.threads.push_back(std::move(controller));
    s.seed = seed;
    s.generator.seed(seed);
    s.stayPercent = kStayPercents[Below(s.generator, std::size(kStayPercents))];
}

SeededScheduler::~SeededScheduler()
{
    tlsSim = nullptr;
}

bool SeededScheduler::Cooperating() const
{
    return tlsSim != nullptr;
}

uint64_t SeededScheduler::Choices()
{
    const std::lock_guard<std::mutex> lock(m_state->lock);
    return m_state->choices;
}

void SeededScheduler::Point()
{
    if (!Cooperating()) {
        return;
    }
    State& s = *m_state;
    std::unique_lock<std::mutex> lock(s.lock);
    SimThread* next = Choose(s, tlsSim);
    if (next != nullptr) {
        HandOver(s, lock, tlsSim, next);
    }
}

void SeededScheduler::Block(const void* key)
{
    State& s = *m_state;
    std::unique_lock<std::mutex> lock(s.lock);
    SimThread* self = tlsSim;
    self->runnable = false;
    self->waitingOn = key;
    SimThread* next = Choose(s, nullptr);
    if (next == nullptr) {
        // A real deadlock of the simulated threads: it hangs as it would on
        // a set, but says so first.
        ReportStuck(s);
    } else {
        s.current = next;
        next->turn.notify_one();
    }
    AwaitTurn(s, lock, self);
}

// A simulated thread gives the baton away while it waits, holding no lock;
// a thread outside the simulation waits on the condition.
void SeededScheduler::Wait(pthread_mutex_t& lock, pthread_cond_t& cond, const void* key)
{
    if (!Cooperating()) {
        pthread_cond_wait(&cond, &lock);
        return;
    }
    pthread_mutex_unlock(&lock);
    Block(key);
    pthread_mutex_lock(&lock);
}

void SeededScheduler::Wait(std::unique_lock<std::mutex>& lock, std::condition_variable& cond,
                           const void* key)
{
    if (!Cooperating()) {
        cond.wait(lock);
        return;
    }
    lock.unlock();
    Block(key);
    lock.lock();
}

void SeededScheduler::Wake(const void* key)
{
    State& s = *m_state;
    const std::lock_guard<std::mutex> lock(s.lock);
    for (const auto& thread : s.threads) {
        if (!thread->runnable && thread->waitingOn == key) {
            thread->runnable = true;
            thread->waitingOn = nullptr;
        }
    }
}

void SeededScheduler::Adopt(const void* owner)
{
    if (!Cooperating()) {
        return;
    }
    State& s = *m_state;
    const std::lock_guard<std::mutex> lock(s.lock);
    // An object made where an ended thread's object was takes its place.
    for (auto it = s.threads.begin(); it != s.threads.end(); ++it) {
        if ((*it)->owner == owner) {
            s.threads.erase(it);
            break;
        }
    }
    auto thread = std::make_unique<SimThread>();
    thread->owner = owner;
    s.threads.push_back(std::move(thread));
}

void SeededScheduler::Begin(const void* owner)
{
    State& s = *m_state;
    std::unique_lock<std::mutex> lock(s.lock);
    SimThread* self = Find(s, owner);
    if (self == nullptr) {
        return;  // made by a thread outside the simulation: runs freely
    }
    tlsSim = self;
    AwaitTurn(s, lock, self);
}

void SeededScheduler::End()
{
    if (tlsSim == nullptr) {
        return;
    }
    State& s = *m_state;
    const std::lock_guard<std::mutex> lock(s.lock);
    SimThread* self = tlsSim;
    tlsSim = nullptr;
    self->ended = true;
    self->runnable = false;
    for (const auto& thread : s.threads) {
        if (!thread->runnable && thread->waitingOn == self->owner) {
            thread->runnable = true;
            thread->waitingOn = nullptr;
        }
    }
    SimThread* next = Choose(s, nullptr);
    s.current = next;
    if (next != nullptr) {
        next->turn.notify_one();
    } else {
        ReportStuck(s);
    }
}

void SeededScheduler::Join(const void* owner)
{
    if (!Cooperating()) {
        return;
    }
    State& s = *m_state;
    for (;;) {
        {
            const std::lock_guard<std::mutex> lock(s.lock);
            const SimThread* thread = Find(s, owner);
            if (thread == nullptr || thread->ended) {
                return;
            }
        }
        Block(owner);
    }
}

void SeededScheduler::Forget(const void* owner)
{
    State& s = *m_state;
    const std::lock_guard<std::mutex> lock(s.lock);
    for (auto it = s.threads.begin(); it != s.threads.end(); ++it) {
        if ((*it)->owner == owner && owner != nullptr) {
            s.threads.erase(it);
            return;
        }
    }
}

}  // namespace dakhost::kernel
