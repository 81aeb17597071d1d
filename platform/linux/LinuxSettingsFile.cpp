// The settings store's file: format, checks and atomic replace.
#include "LinuxSettingsFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <sstream>

namespace daklinux::detail {

namespace {

constexpr const char* kMagic = "dak-time-settings 1";
constexpr const char* kCrcKey = "crc32 ";
constexpr size_t kMaxFileSize = 4096;

struct Field {
    const char* key;
    int StoredSettings::*value;
    long min;
    long max;
};

constexpr Field kFields[] = {
    {"reason", &StoredSettings::reason, 0, 3},
    {"dst", &StoredSettings::flagDst, INT_MIN, INT_MAX},
    {"offset", &StoredSettings::timeOffset, -1440L, 1440L},  // a day either way
    {"auto-clock-type", &StoredSettings::autoClockType, 0, 2},
    {"first-stream-time", &StoredSettings::firstStreamTime, INT_MIN, INT_MAX},
};
constexpr size_t kFieldCount = sizeof kFields / sizeof kFields[0];

std::string ErrnoText(const char* step, const std::string& path)
{
    return std::string(step) + " " + path + ": " + std::strerror(errno);
}

bool WriteAll(int fd, const std::string& text)
{
    size_t done = 0;
    while (done < text.size()) {
        const ssize_t n = ::write(fd, text.data() + done, text.size() - done);
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n <= 0) {
            return false;
        }
        done += static_cast<size_t>(n);
    }
    return true;
}

std::string FolderOf(const std::string& path)
{
    const size_t slash = path.rfind('/');
    if (slash == std::string::npos) {
        return ".";
    }
    return slash == 0 ? "/" : path.substr(0, slash);
}

bool ParseValue(const std::string& text, long* value)
{
    if (text.empty() || text.size() > 12) {
        return false;
    }
    char* end = nullptr;
    errno = 0;
    *value = std::strtol(text.c_str(), &end, 10);
    return errno == 0 && end != nullptr && *end == '\0';
}

}  // namespace

bool StoredSettings::operator==(const StoredSettings& other) const
{
    return std::all_of(std::begin(kFields), std::end(kFields), [this, &other](const Field& field) {
        return this->*field.value == other.*field.value;
    });
}

uint32_t Crc32(const char* data, size_t size)
{
    uint32_t crc = 0xFFFFFFFFU;
    for (size_t i = 0; i < size; ++i) {
        crc ^= static_cast<uint8_t>(data[i]);
        for (int bit = 0; bit < 8; ++bit) {
            crc = (crc >> 1U) ^ (0xEDB88320U & (0U - (crc & 1U)));
        }
    }
    return ~crc;
}

std::string FormatSettings(const StoredSettings& settings)
{
    std::string text = std::string(kMagic) + "\n";
    for (const Field& field : kFields) {
        text += std::string(field.key) + " " + std::to_string(settings.*field.value) + "\n";
    }
    char crc[24];
    std::snprintf(crc, sizeof crc, "%s%08x\n", kCrcKey, Crc32(text.data(), text.size()));
    return text + crc;
}

bool ParseSettings(const std::string& text, StoredSettings* settings, std::string* problem)
{
    const size_t crcAt = text.rfind(kCrcKey);
    if (text.empty()) {
        *problem = "empty";
        return false;
    }
    if (crcAt == std::string::npos || (crcAt != 0 && text[crcAt - 1] != '\n')) {
        *problem = "no checksum";
        return false;
    }
    const std::string stated = text.substr(crcAt + std::strlen(kCrcKey));
    char computed[16];
    std::snprintf(computed, sizeof computed, "%08x\n", Crc32(text.data(), crcAt));
    if (stated != computed) {
        *problem = "checksum mismatch";
        return false;
    }
    std::istringstream lines(text.substr(0, crcAt));
    std::string line;
    if (!std::getline(lines, line) || line != kMagic) {
        *problem = "not a settings file of version 1";
        return false;
    }
    StoredSettings read;
    bool seen[kFieldCount] = {};
    while (std::getline(lines, line)) {
        const size_t blank = line.find(' ');
        const std::string key = line.substr(0, blank);
        size_t index = 0;
        while (index < kFieldCount && key != kFields[index].key) {
            ++index;
        }
        long value = 0;
        if (index == kFieldCount || blank == std::string::npos || seen[index] ||
            !ParseValue(line.substr(blank + 1), &value) || value < kFields[index].min ||
            value > kFields[index].max) {
            *problem = "bad line '" + line.substr(0, 40) + "'";
            return false;
        }
        seen[index] = true;
        read.*kFields[index].value = static_cast<int>(value);
    }
    for (size_t index = 0; index < kFieldCount; ++index) {
        if (!seen[index]) {
            *problem = std::string("no ") + kFields[index].key;
            return false;
        }
    }
    *settings = read;
    return true;
}

LoadResult LoadSettingsFile(const std::string& path, StoredSettings* settings, std::string* problem)
{
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        *problem = ErrnoText("open", path);
        return errno == ENOENT ? LoadResult::Missing : LoadResult::Damaged;
    }
    std::string text;
    char buffer[1024];
    ssize_t n = 0;
    while ((n = ::read(fd, buffer, sizeof buffer)) != 0) {
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n < 0 || text.size() > kMaxFileSize) {
            *problem = n < 0 ? ErrnoText("read", path) : "larger than a settings file";
            ::close(fd);
            return LoadResult::Damaged;
        }
        text.append(buffer, static_cast<size_t>(n));
    }
    ::close(fd);
    return ParseSettings(text, settings, problem) ? LoadResult::Loaded : LoadResult::Damaged;
}

bool SaveSettingsFile(const std::string& path, const StoredSettings& settings, std::string* problem)
{
    const std::string temporary = path + ".tmp";
    const int fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0) {
        *problem = ErrnoText("open", temporary);
        return false;
    }
    const bool written = WriteAll(fd, FormatSettings(settings)) && ::fsync(fd) == 0;
    if (!written) {
        *problem = ErrnoText("write", temporary);
    }
    if (::close(fd) != 0 && written) {
        *problem = ErrnoText("close", temporary);
        return false;
    }
    if (!written) {
        return false;
    }
    if (::rename(temporary.c_str(), path.c_str()) != 0) {
        *problem = ErrnoText("rename", temporary);
        return false;
    }
    // The rename itself reaches the disk only with its folder.
    const std::string folder = FolderOf(path);
    const int dir = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (dir < 0 || ::fsync(dir) != 0) {
        *problem = ErrnoText("fsync", folder);
        if (dir >= 0) {
            ::close(dir);
        }
        return false;
    }
    ::close(dir);
    return true;
}

}  // namespace daklinux::detail
