// The framework's event record, copied into a task's queue by TCTask::Send.
#pragma once

#include <cstddef>
#include <cstdint>

class TCHandler;

struct TSEvent {
    uint32_t reserved0 = 0;
    TCHandler* receiver = nullptr;  // the handler the event is addressed to
    uint32_t reserved1 = 0;
    uint32_t eventId = 0;
    uint8_t payload[8] = {0, 0, 0, 0, 0, 0, 0, 0};
    uint32_t reserved2 = 0x0000FFFFU;
    uint16_t reserved3 = 0xFFFFU;
    uint16_t reserved4 = 0;  // not set by the framework's default
    uint8_t reserved5[8] = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
    uint32_t reserved6 = 0;
    uint8_t reserved7 = 0;
};

#if defined(__SIZEOF_POINTER__) && __SIZEOF_POINTER__ == 4
// On the 32-bit target the record layout is fixed.
static_assert(sizeof(TSEvent) == 48, "TSEvent must be 48 bytes");
static_assert(offsetof(TSEvent, receiver) == 4, "receiver at byte 4");
static_assert(offsetof(TSEvent, eventId) == 12, "eventId at byte 12");
static_assert(offsetof(TSEvent, payload) == 16, "payload at bytes 16-23");
static_assert(offsetof(TSEvent, reserved2) == 24, "reserved word at byte 24");
static_assert(offsetof(TSEvent, reserved3) == 28, "reserved half-word at byte 28");
static_assert(offsetof(TSEvent, reserved5) == 32, "reserved bytes at 32-39");
static_assert(offsetof(TSEvent, reserved6) == 40, "reserved word at byte 40");
static_assert(offsetof(TSEvent, reserved7) == 44, "reserved byte at 44");
#endif
static_assert(sizeof(((TSEvent*)nullptr)->payload) == 8, "payload is 8 bytes");
