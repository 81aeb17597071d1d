#include "StreamClock/TCStreamClock.h"

#include <cerrno>
#include <ctime>

#include "Common/DakLog.h"
#include "DakOs.h"
#include "TCAgentMgr.h"
#include "TCObjectFactory.h"
#include "TCVConfProvider.h"
#include "TIAgent.h"

namespace {

constexpr const char* kSourcePath = "src/StreamClock";

// Stream times are taken from 2001-01-01 00:00:00 to 2099-12-31 23:59:59 UTC.
constexpr unsigned long kFirstValidUtc = 978307200UL;
constexpr unsigned long kLastValidUtc = 4102444799UL;
constexpr unsigned long kValidSpan = kLastValidUtc - kFirstValidUtc;

// The system time is left alone while it is within this many seconds of the
// stream and the stream already drives it.
constexpr int32_t kToleratedDiff = 5;

uint32_t Low32(unsigned long value)
{
    return static_cast<uint32_t>(value);
}

}  // namespace

TCStreamClock::TCStreamClock(const DAKHandle& handle) : m_handle(handle)
{
    if (!m_mutex.Create()) {
        DAK_LOG(dak::msg::kStreamNoMutex);
    }
    m_Initialize();

    TCObjectFactory* pObjectFactory = TCObjectFactory::GetInstance();
    if (pObjectFactory == nullptr) {
        DAK_ASSERT_REPORT(dak::msg::kAssertObjectFactory, kSourcePath);
        return;
    }
    // reset() deletes the helper itself if it cannot allocate its count.
    m_pProductHelper.reset(pObjectFactory->GetTimeProductHelper());
}

TCStreamClock::~TCStreamClock()
{
    if (m_mutex.FlagCreate()) {
        m_mutex.Destroy();
    }
    m_pProductHelper.reset();
}

void TCStreamClock::m_Initialize()
{
    m_dst.store(false, std::memory_order_relaxed);
    m_streamTimeSet = false;
    m_streamOffset = 0;
    m_systemOffset = 0;
    m_clockMode = 0;
    m_timeOfchange = kNoTimeOffsetRecord;
    m_nextTimeOffset = -1;
    m_localOffset = -1;
    m_pSystemTimeManager = TISystemTimeManager::Instance();
}

bool TCStreamClock::m_GetBaseClock(unsigned long* pBase)
{
    timespec now{};
    if (dakos::clock_gettime(CLOCK_MONOTONIC, &now) != 0) {
        DAK_LOG(dak::msg::kBaseClockFailed, errno);
        return false;
    }
    *pBase = static_cast<unsigned long>(now.tv_sec);
    return true;
}

unsigned long TCStreamClock::StreamClock(bool* pIsSet)
{
    const TCMutexGuard guard(m_mutex);
    if (pIsSet != nullptr) {
        *pIsSet = m_streamTimeSet;
    }
    unsigned long base = 0;
    if (!m_GetBaseClock(&base)) {
        DAK_LOG(dak::msg::kStreamClockNoBase);
        return 0;
    }
    return Low32(base) + m_streamOffset;
}

unsigned long TCStreamClock::StreamClockOfSystem(bool* pIsSet)
{
    const TCMutexGuard guard(m_mutex);
    if (pIsSet != nullptr) {
        *pIsSet = m_streamTimeSet;
    }
    unsigned long base = 0;
    if (!m_GetBaseClock(&base)) {
        DAK_LOG(dak::msg::kSystemStreamClockNoBase);
        return 0;
    }
    return Low32(base) + m_systemOffset;
}

bool TCStreamClock::SetStreamClock(unsigned long utc, bool isScan, int clockMode)
{
    const TCMutexGuard guard(m_mutex);
    DAK_LOG(dak::msg::kTable, utc, isScan, clockMode);

    // One unsigned comparison covers both ends of the range.
    if (utc - kFirstValidUtc > kValidSpan) {
        DAK_LOG(dak::msg::kTableInvalid, utc, kFirstValidUtc - 1, kLastValidUtc + 1);
        DAK_LOG(dak::msg::kTableInvalidShort, utc, kFirstValidUtc - 1, kLastValidUtc + 1);
        return false;
    }

    unsigned long base = 0;
    if (!m_GetBaseClock(&base)) {
        DAK_LOG(dak::msg::kTableNoBase);
        return false;
    }
    const uint32_t offset = Low32(utc) - Low32(base);
    m_streamOffset = offset;

    // Held until the end: the agent must not go away while it is asked, and
    // the decision stands while the system time manager is called.
    TCAgentMgr* pAgentMgr = TCAgentMgr::Instance();
    const TCReadGuard agentGuard(pAgentMgr->m_agentLock);
    TSAgentInstanceKey key;
    key.agentType = AGENT_TYPE_TIME_UPDATE;
    auto* pUpdateAgent = dynamic_cast<TITimeUpdateAgent*>(pAgentMgr->m_Instance(key));
    const bool bUpdateSystemTime =
        pUpdateAgent == nullptr || pUpdateAgent->IsUpdateSystemTime(m_handle);

    if (!bUpdateSystemTime || clockMode != m_clockMode) {
        DAK_LOG(dak::msg::kTableNotTaken, clockMode, m_clockMode, bUpdateSystemTime);
        return false;
    }

    m_streamTimeSet = true;
    m_systemOffset = offset;

    const int tvClockMode = TCVConfProvider::GetTvClockMode();

    if (TCVConfProvider::GetFirstSTTTime() == 0 && !isScan) {
        // The store keeps a signed word; the bits are the UTC seconds.
        TCVConfProvider::SetFirstSTTTime(static_cast<int>(Low32(utc)));
        DAK_LOG(dak::msg::kFirstTable, utc, m_handle.profileId, m_handle.subId);
    }

    // Without a product helper (no object factory at construction) nothing
    // says the product has a clock, so the stream does not drive it.
    const bool clockAvailable =
        tvClockMode == 0 && m_pProductHelper && m_pProductHelper->IsClockAvailable();
    if (!clockAvailable || m_pSystemTimeManager == nullptr) {
        DAK_LOG(dak::msg::kTableManual, tvClockMode, utc);
        return true;
    }

    unsigned long oldTime = 0;
    ETypeOfAutoClock autoClockType = AutoType_max;
    m_pSystemTimeManager->GetSystemTime(oldTime);
    m_pSystemTimeManager->GetAutoClockType(autoClockType);
    const auto diff = static_cast<int32_t>(Low32(oldTime) - Low32(utc));
    // The set's long is 32 bits: from 2038-01-19 03:14:08 on it prints negative.
    DAK_LOG(dak::msg::kTableSystemBefore, static_cast<long>(static_cast<int32_t>(Low32(oldTime))),
            diff, static_cast<int>(autoClockType));
    if (diff > kToleratedDiff || diff < -kToleratedDiff || autoClockType != AutoType_stream) {
        DAK_LOG(dak::msg::kTableSets, utc);
        m_pSystemTimeManager->SetSystemTime(utc, SetType_stream,
                                            m_dst.load(std::memory_order_relaxed));
    }
    return true;
}

void TCStreamClock::SetMode(int mode)
{
    const TCMutexGuard guard(m_mutex);
    m_clockMode = mode;
}

int TCStreamClock::GetMode()
{
    const TCMutexGuard guard(m_mutex);
    return m_clockMode;
}

void TCStreamClock::SetStreamDST(bool bOnOfft, int mode)
{
    DAK_LOG(dak::msg::kStreamDst, bOnOfft, mode);

    const TCMutexGuard guard(m_mutex);
    if (TCVConfProvider::GetTvClockMode() != 0 || mode != m_clockMode ||
        bOnOfft == m_dst.load(std::memory_order_relaxed)) {
        return;
    }
    m_dst.store(bOnOfft, std::memory_order_relaxed);

    ETypeOfAutoClock autoClockType = AutoType_max;
    if (m_pSystemTimeManager != nullptr) {
        m_pSystemTimeManager->GetAutoClockType(autoClockType);
    }
    if (autoClockType == AutoType_stream) {
        TCVConfProvider::SetFlagDST(bOnOfft ? 1 : 0);
    }
    DAK_LOG(dak::msg::kStreamDstTaken, bOnOfft, m_clockMode, static_cast<int>(autoClockType));
}

bool TCStreamClock::StreamDST()
{
    DAK_LOG(dak::msg::kStreamDstRead, m_dst.load(std::memory_order_relaxed));

    const TCMutexGuard guard(m_mutex);
    return m_dst.load(std::memory_order_relaxed);
}

bool TCStreamClock::SetDVBTimeOffset(unsigned long timeOfchange, int nextTimeOffset,
                                     int localOffset)
{
    const TCMutexGuard guard(m_mutex);
    // Kept at the caller's width: only 0xFFFFFFFF itself means "no record".
    m_timeOfchange = timeOfchange;
    m_nextTimeOffset = nextTimeOffset;
    m_localOffset = localOffset;
    DAK_LOG(dak::msg::kDvbOffset, timeOfchange, nextTimeOffset, localOffset);
    return true;
}

bool TCStreamClock::GetDVBTimeOffset(unsigned long& timeOfchange, int& nextTimeOffset,
                                     int& localOffset)
{
    const TCMutexGuard guard(m_mutex);
    if (m_timeOfchange == kNoTimeOffsetRecord) {
        return false;
    }
    timeOfchange = m_timeOfchange;
    nextTimeOffset = m_nextTimeOffset;
    localOffset = m_localOffset;
    return true;
}

void TCStreamClock::Reset()
{
    const TCMutexGuard guard(m_mutex);
    m_Initialize();
}
