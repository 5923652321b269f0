// `vdsctl health`: every subsystem, controller, port, drive, LUN and pool that is not online and
// healthy, one line each, for monitoring. Exit 0 when there is none, 1 otherwise.
#ifndef VELA_TOOLS_VDSCTL_HEALTH_H_
#define VELA_TOOLS_VDSCTL_HEALTH_H_

#include <optional>
#include <string>
#include <vector>

#include "tools/vdsctl/call_error.h"
#include "tools/vdsctl/json.h"
#include "tools/vdsctl/kinds.h"
#include "tools/vdsctl/model.h"
#include "tools/vdsctl/output.h"

namespace vdsctl {

// One object that is not online and healthy.
struct HealthProblem {
  Kind kind;
  int index = 0;
  std::optional<int> subsystem;  // for objects of a subsystem (and pools on one)
  Text name;                     // the friendly name (a pool's name)
  int32_t status = 0;
  std::optional<VDS_HEALTH> health;  // ports have none
};

// The objects of the model that are not online and healthy, in the order subsystems,
// controllers, ports, drives, LUNs, pools; *checked gets how many objects were looked at.
CallResult FindHealthProblems(Model* model, std::vector<HealthProblem>* problems, int* checked);

// "Drive 11 in subsystem 0 (KSL00012SAS): Failed, Failed"
std::string HealthProblemText(const HealthProblem& problem);
Json HealthProblemJson(const HealthProblem& problem);

ExitCode ShowHealth(Model* model, Output* output);

}  // namespace vdsctl

#endif  // VELA_TOOLS_VDSCTL_HEALTH_H_
