// A failed call into the provider: its result code and the interface method that gave it.
#ifndef VELA_TOOLS_VDSCTL_CALL_ERROR_H_
#define VELA_TOOLS_VDSCTL_CALL_ERROR_H_

#include <optional>
#include <string>

#include "platform/wintypes.h"

namespace vdsctl {

struct CallError {
  HRESULT hr = 0;
  std::string call;  // "IVdsSubSystem::GetDrive"
};

// Empty on success.
using CallResult = std::optional<CallError>;

// DiskRAID's exit codes, which scripts written for it already test.
enum ExitCode : int {
  kExitOk = 0,
  kExitFatal = 1,
  kExitBadArguments = 2,
  kExitFileError = 3,
  kExitServiceFailure = 4,
  kExitSyntax = 5,
};

}  // namespace vdsctl

#endif  // VELA_TOOLS_VDSCTL_CALL_ERROR_H_
