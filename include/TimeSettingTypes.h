// The time-setting vocabulary. The numbers are a stored format: reasons and
// auto clock types are kept in the settings store and outlive a restart.
#pragma once

// Who or what sets the time in one request. 3 is unassigned.
enum ETimeSettingType : int {
    SetType_manual = 0,
    SetType_stream = 1,
    SetType_net = 2,
    SetType_netfail = 4,
    SetType_sync = 5,
    SetType_init = 6,
    SetType_facotryreset = 7,
};

// Why the clock holds the time it holds: the class of source that set it last.
enum ESystemTimeReason : int {
    Reason_init = 0,
    Reason_micom = 1,
    Reason_net = 2,
    Reason_stream = 3,
};

// The automatic source that the clock follows.
enum ETypeOfAutoClock : int {
    AutoType_stream = 0,
    AutoType_net = 1,
    AutoType_max = 2,
};
