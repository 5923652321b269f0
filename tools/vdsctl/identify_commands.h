// The host's disks and which of them are this provider's LUNs (IVdsHwProvider::QueryIfCreatedLun
// on each disk's own identity), and a LUN's identification data (IVdsLun::GetIdentificationData).
#ifndef VELA_TOOLS_VDSCTL_IDENTIFY_COMMANDS_H_
#define VELA_TOOLS_VDSCTL_IDENTIFY_COMMANDS_H_

#include <string>

#include "platform/vds.h"
#include "tools/vdsctl/call_error.h"
#include "tools/vdsctl/json.h"
#include "tools/vdsctl/model.h"
#include "tools/vdsctl/output.h"

namespace vdsctl {

class IdentifyCommands {
 public:
  // `provider` must stay loaded while the commands are used.
  IdentifyCommands(IVdsProvider* provider, Model* model, Output* output);
  IdentifyCommands(const IdentifyCommands&) = delete;
  IdentifyCommands& operator=(const IdentifyCommands&) = delete;

  // Every disk the device layer lists, with the LUN the provider names for it or none.
  ExitCode ListDisks();
  // One disk: kExitOk with its LUN; kExitFatal when the provider says it is not one of its LUNs
  // or the device can't be read.
  ExitCode IdentifyDevice(const std::string& path);

 private:
  IVdsProvider* provider_;
  Model* model_;
  Output* output_;
};

// VDS_LUN_INFORMATION with its members by name; identifiers as {"type","codeSet","hex"}.
Json LunInformationJson(const VDS_LUN_INFORMATION& info);
// The same in words: vendor, product, revision, serial, signature and the identifiers in hex.
std::string LunInformationText(const VDS_LUN_INFORMATION& info);

// The LUN's identification data (IVdsLun::GetIdentificationData), as JSON and words.
CallResult GetLunIdentification(IVdsProvider* provider, const GUID& lunId, Json* json,
                                std::string* text);

}  // namespace vdsctl

#endif  // VELA_TOOLS_VDSCTL_IDENTIFY_COMMANDS_H_
