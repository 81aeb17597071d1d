// `dak-time-sim explain`: a set's log in; the decisions, the findings, the
// timeline, the trace and a replayable scenario out.
//
//   dak-time-sim explain [--trace FILE.jsonl] [--timeline FILE.svg]
//                        [--perfetto FILE.json] [--scenario FILE.scn]
//                        [--summary] [--quiet] [--jump SECONDS] LOG...
#pragma once

#include <string>
#include <vector>

namespace daksim::explain {

// The arguments after "explain"; the exit status: 0 explained, 2 a log
// could not be read or held none of the library's messages, or bad options.
int Run(const std::vector<std::string>& args);

}  // namespace daksim::explain
