// What `dak-timed status` prints: the source the clock follows and why (the
// stored reason, the automatic clock type), each input's last table and its
// age, the hardware clock, the offset and the daylight-saving flag.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "DakLinuxPlatform.h"
#include "InputSet.h"

namespace dakd {

// `nowMs`: the monotonic clock, against which the inputs' ages are told.
std::string StatusText(const daklinux::Snapshot& snapshot, const std::vector<InputStatus>& inputs,
                       uint64_t nowMs);

}  // namespace dakd
