// The process-wide registry of stream clocks: one clock per service handle,
// created on first use and owned here until Exit().

#include <map>
#include <memory>
#include <utility>

#include "Common/DakLog.h"
#include "StreamClock/TCStreamClock.h"
#include "TCMutex.h"
#include "TIStreamClock.h"

namespace {
constexpr const char* kSourcePath = "src/StreamClock";
}  // namespace

TCMutex* TIStreamClock::t_pStreamClockMutex = nullptr;
std::map<DAKHandle, TIStreamClock*>* TIStreamClock::t_streamClockMap = nullptr;

TIStreamClock::~TIStreamClock() = default;

void TIStreamClock::Init()
{
    if (t_pStreamClockMutex == nullptr) {
        auto* pMutex = new TCMutex();
        // A failed creation shows up as an assertion on every later lock.
        static_cast<void>(pMutex->Create());
        t_pStreamClockMutex = pMutex;
    }
    if (t_streamClockMap == nullptr) {
        t_streamClockMap = new std::map<DAKHandle, TIStreamClock*>();
    }
}

TIStreamClock* TIStreamClock::Instance(const DAKHandle& handle)
{
    if (t_pStreamClockMutex == nullptr) {
        DAK_ASSERT_REPORT(dak::msg::kAssertRegistryMutex, kSourcePath);
        return nullptr;
    }
    if (t_streamClockMap == nullptr) {
        DAK_ASSERT_REPORT(dak::msg::kAssertRegistryMap, kSourcePath);
        return nullptr;
    }

    const TCMutexGuard guard(*t_pStreamClockMutex);
    auto it = t_streamClockMap->lower_bound(handle);
    if (it != t_streamClockMap->end() && !(handle < it->first)) {
        return it->second;
    }
    // Built under the registry lock, so two threads asking for the same new
    // handle get one clock; if the insertion throws, the clock goes again.
    auto pClock = std::make_unique<TCStreamClock>(handle);
    t_streamClockMap->emplace_hint(it, handle, pClock.get());
    return pClock.release();
}

void TIStreamClock::Exit()
{
    if (t_pStreamClockMutex == nullptr || t_streamClockMap == nullptr) {
        return;
    }
    {
        const TCMutexGuard guard(*t_pStreamClockMutex);
        // Smallest handle first.
        while (!t_streamClockMap->empty()) {
            auto first = t_streamClockMap->begin();
            delete first->second;
            t_streamClockMap->erase(first);
        }
    }

    delete t_streamClockMap;
    t_streamClockMap = nullptr;

    t_pStreamClockMutex->Destroy();
    delete t_pStreamClockMutex;
    t_pStreamClockMutex = nullptr;
}
