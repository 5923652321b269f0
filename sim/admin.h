// The operator's control language, one command per line, answered "ok", "error: <why>", or for
// "dump" the state as one line of JSON:
//   fault next N close|silent|short|wrong-opcode|status=<n> [opcode]
//   fail drive <serial>          pull drive <serial>
//   vdisk <name or serial> health <n>
//   event <controller handle> <code> [param]
//   heartbeat stop|start         dump
//   job rate <percent per second>
//   limit snapshots|master-volumes|partitions-per-array|array-partitions <n>
//   journal                      journal clear
#ifndef VELA_SIM_ADMIN_H_
#define VELA_SIM_ADMIN_H_

#include <atomic>
#include <string>

#include "sim/faults.h"
#include "sim/journal.h"
#include "sim/state.h"

namespace sim {

struct AdminContext {
  State* state = nullptr;
  FaultInjector* faults = nullptr;
  std::atomic<bool>* heartbeatsEnabled = nullptr;
  RequestJournal* journal = nullptr;
};

std::string RunAdminCommand(AdminContext& context, const std::string& line);

// Serves one admin connection: reads lines, answers each.
void ServeAdminConnection(AdminContext& context, int fd, int stopFd);

}  // namespace sim

#endif  // VELA_SIM_ADMIN_H_
