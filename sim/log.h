// The simulator's own log: one line per event worth telling an operator (a dropped connection
// and why, a refused login, a SeqAuth violation). Lines go to standard error unless a sink is
// installed.
#ifndef VELA_SIM_LOG_H_
#define VELA_SIM_LOG_H_

#include <functional>
#include <string>

namespace sim {

void SimLog(const char* format, ...) __attribute__((format(printf, 1, 2)));

// Replaces the destination of log lines (tests capture them); an empty function restores
// standard error.
void SetSimLogSink(std::function<void(const std::string&)> sink);

}  // namespace sim

#endif  // VELA_SIM_LOG_H_
