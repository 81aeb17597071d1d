// The time-setting vocabulary's printed names and the update rules, as pure
// functions of their inputs. The manager wraps them with the settings store
// and its log lines; keeping them pure lets every cell be checked directly.
#pragma once

#include <cstdint>

#include "TimeSettingTypes.h"

namespace dak {

constexpr const char* SettingTypeName(ETimeSettingType type)
{
    switch (type) {
        case SetType_manual:
            return "SetType_manual";
        case SetType_stream:
            return "SetType_stream";
        case SetType_net:
            return "SetType_net";
        case SetType_netfail:
            return "SetType_netfail";
        case SetType_sync:
            return "SetType_sync";
        case SetType_init:
            return "SetType_init";
        case SetType_facotryreset:
            return "SetType_facotryreset";
        default:
            return "SetType_unknown";  // 3 and everything outside 0-7
    }
}

constexpr const char* ReasonName(ESystemTimeReason reason)
{
    switch (reason) {
        case Reason_init:
            return "Reason_init";
        case Reason_micom:
            return "Reason_micom";
        case Reason_net:
            return "Reason_net";
        case Reason_stream:
            return "Reason_stream";
        default:
            return "Reason_unknown";
    }
}

constexpr const char* AutoClockTypeName(ETypeOfAutoClock type)
{
    switch (type) {
        case AutoType_stream:
            return "AutoType_stream";
        case AutoType_net:
            return "AutoType_net";
        case AutoType_max:
            return "AutoType_max";
        default:
            return "AutoType_unknown";
    }
}

// The setting type as the task applies it: a request carries the type on 16
// bits, read back with its sign, so 65536 arrives as 0 and 65537 as 1.
constexpr ETimeSettingType AppliedSettingType(ETimeSettingType type)
{
    return static_cast<ETimeSettingType>(static_cast<int16_t>(static_cast<uint16_t>(type)));
}

// May a setting of `type` overwrite a time held for the `stored` reason?
// Stream time always may; a stored value outside the vocabulary lets every
// setting through.
constexpr bool IsUpdatePermitted(ESystemTimeReason stored, ETimeSettingType type)
{
    switch (stored) {
        case Reason_init:
            // No accepted base yet: nothing may be copied from the hardware
            // clock (sync, init) and a network failure has nothing to undo.
            return type != SetType_netfail && type != SetType_sync && type != SetType_init;
        case Reason_micom:
            return true;
        case Reason_net:
            return type == SetType_stream || type == SetType_net || type == SetType_sync;
        case Reason_stream:
            return type == SetType_stream || type == SetType_sync;
        default:
            return true;
    }
}

// The reason a setting of `type` leaves behind; a sync keeps `stored` as it is.
constexpr ESystemTimeReason ReasonLeftBy(ETimeSettingType type, ESystemTimeReason stored)
{
    switch (type) {
        case SetType_manual:
        case SetType_netfail:
        case SetType_init:
        case SetType_facotryreset:
            return Reason_micom;
        case SetType_stream:
            return Reason_stream;
        case SetType_net:
            return Reason_net;
        case SetType_sync:
            return stored;
        default:
            return Reason_init;  // 3 and everything outside 0-7
    }
}

// What a setting of `type` does, once the task applies it, to the rest of
// the manager's state: the stored reason it leaves, the auto clock type, the
// settings subscriptions and which offset stands.
struct AcceptedSetting {
    ESystemTimeReason reason;    // stored before the clock is set, even if that fails
    bool setsAutoClock;          // false: the auto clock type stays as it is (a sync)
    ETypeOfAutoClock autoClock;  // the auto clock type from now on
    bool dropsNetworkTime;       // the network-time subscription is withdrawn
    bool dropsTimeMode;          // the clock-mode subscription is withdrawn
    bool watchesTimeMode;        // the clock-mode subscription is taken (while the clock is manual)
    bool takesNetworkOffset;     // the stored offset is the network's from now on
    bool restoresBroadcastOffset;  // a network offset gives way to the region's broadcast one
};

// A stream setting leaves the network for good (until the network sets the
// time again); a network setting takes its offset and watches for the clock
// going manual; a sync changes nothing but the time; every other setting
// makes the clock no automatic source's.
constexpr AcceptedSetting SettingAccepted(ETimeSettingType type, ESystemTimeReason stored)
{
    AcceptedSetting accepted{
        ReasonLeftBy(type, stored), true, AutoType_max, false, false, false, false, false};
    switch (type) {
        case SetType_stream:
            accepted.autoClock = AutoType_stream;
            accepted.dropsNetworkTime = true;
            accepted.dropsTimeMode = true;
            accepted.restoresBroadcastOffset = true;
            break;
        case SetType_net:
            accepted.autoClock = AutoType_net;
            accepted.takesNetworkOffset = true;
            accepted.watchesTimeMode = true;
            break;
        case SetType_sync:
            accepted.setsAutoClock = false;
            break;
        default:
            accepted.watchesTimeMode = true;
            break;
    }
    return accepted;
}

// The setting type with which start-up replays the hardware clock.
constexpr ETimeSettingType InitSettingTypeFor(ESystemTimeReason stored)
{
    switch (stored) {
        case Reason_net:
            return SetType_net;
        case Reason_stream:
            return SetType_stream;
        default:
            return SetType_init;
    }
}

}  // namespace dak
