// The state a file's run leaves behind, printed after its last step.
#pragma once

#include <string>

namespace daksim {

class Runner;
class SignalBook;

void PrintSummary(Runner& runner, const std::string& name, const SignalBook& signals);

}  // namespace daksim
