/**
 * @file TimeSettingTypes.h
 * @brief The time-setting vocabulary.
 *
 * The numbers are a stored format: reasons and auto clock types are kept in the settings
 * store and outlive a restart, so they never change. The enumerators' names are the names
 * the library prints in its log lines; a value without a name prints as "SetType_unknown",
 * "Reason_unknown" or "AutoType_unknown".
 *
 * The clock mode, which the library reads from the settings store and never writes, is not
 * an enumeration: 0 is the automatic clock, any other value the manual clock.
 */
#pragma once

/// Who or what sets the time in one request (TISystemTimeManager::SetSystemTime()).
/// 3 is unassigned.
enum ETimeSettingType : int {
    SetType_manual = 0,        ///< the user sets the time by hand
    SetType_stream = 1,        ///< a broadcast time table (a stream clock)
    SetType_net = 2,           ///< network time
    SetType_netfail = 4,       ///< a setting made because network time failed
    SetType_sync = 5,          ///< the periodic correction from the hardware clock
    SetType_init = 6,          ///< the start-up replay of the hardware clock
    SetType_facotryreset = 7,  ///< a setting made after a factory reset
};

/// Why the clock holds the time it holds: the class of source that set it last (a sync
/// leaves it as it was). It decides which later settings may overwrite the time.
enum ESystemTimeReason : int {
    /// No accepted time yet: neither start-up nor the periodic sync copies the hardware
    /// clock into the system clock.
    Reason_init = 0,
    /// Set by hand, after a network failure, at start-up or after a factory reset: the
    /// hardware clock's time may be copied back.
    Reason_micom = 1,
    /// Set from network time: a manual setting in automatic clock mode is refused.
    Reason_net = 2,
    /// Set from the broadcast stream: network time, and a manual setting in automatic
    /// clock mode, are refused.
    Reason_stream = 3,
};

/// The automatic source that the clock follows (TISystemTimeManager::GetAutoClockType()).
enum ETypeOfAutoClock : int {
    AutoType_stream = 0,  ///< the broadcast stream
    AutoType_net = 1,     ///< network time
    /// None: the value of a new manager, and after a setting other than stream, net or sync.
    AutoType_max = 2,
};
