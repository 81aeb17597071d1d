// The settings store's file: what the library keeps across a power cut.
//
// Format (text, one value a line, versioned, checksummed):
//
//     dak-time-settings 1
//     reason 3
//     dst 0
//     offset 60
//     auto-clock-type 0
//     first-stream-time 1700000000
//     crc32 5d2c07a1
//
// The last line is the CRC-32 (IEEE 802.3, as zlib's) of every byte before
// it, in eight lower-case hexadecimal digits. A file that is missing, of
// another version, with a key missing, repeated or unknown, a value out of
// range, or a checksum that does not match is damaged as a whole: the store
// then starts from the defaults and says so in one log line.
//
// A file is replaced, never rewritten in place: the new contents go to
// "<path>.tmp", which is flushed to the disk (fsync), renamed over the file
// and the folder flushed in turn, so that after a power cut or a kill at any
// moment the path holds either the old contents or the new, whole.
#pragma once

#include <cstdint>
#include <string>

namespace daklinux::detail {

struct StoredSettings {
    int reason = 0;  // ESystemTimeReason: Reason_init
    int flagDst = 0;
    int timeOffset = 0;       // minutes east of UTC
    int autoClockType = 2;    // ETypeOfAutoClock: AutoType_max
    int firstStreamTime = 0;  // 0: none yet
    bool operator==(const StoredSettings& other) const;
};

std::string FormatSettings(const StoredSettings& settings);
// False with a reason for a damaged text; `settings` is then untouched.
bool ParseSettings(const std::string& text, StoredSettings* settings, std::string* problem);

enum class LoadResult { Loaded, Missing, Damaged };
LoadResult LoadSettingsFile(const std::string& path, StoredSettings* settings,
                            std::string* problem);
// Atomic replace; false with a reason (errno's text) when any step failed.
bool SaveSettingsFile(const std::string& path, const StoredSettings& settings,
                      std::string* problem);

uint32_t Crc32(const char* data, size_t size);

}  // namespace daklinux::detail
