// The changing commands of vdsctl: `create lun` and `unmask lun`, shared by the one-shot form
// and the shell. Their words are parsed here (a usage error names the word at fault); the calls
// go through the provider's VDS interfaces like every other command.
#ifndef VELA_TOOLS_VDSCTL_PROVISION_COMMANDS_H_
#define VELA_TOOLS_VDSCTL_PROVISION_COMMANDS_H_

#include <optional>
#include <string>
#include <vector>

#include "platform/guid.h"
#include "platform/vds_types.h"
#include "tools/vdsctl/call_error.h"
#include "tools/vdsctl/model.h"
#include "tools/vdsctl/output.h"

namespace vdsctl {

// What `create lun TYPE [key=value ...]` asks for.
struct CreateLunArgs {
  VDS_LUN_TYPE type = VDS_LT_UNKNOWN;
  ULONGLONG size = 0;
  std::vector<int> drives;  // indexes as `list drives` prints them
  std::string unmask;       // as written ("*" for all)
  VDS_HINTS hints{};
  std::optional<int> pool;  // pool=N: in that storage pool, as `list pools` numbers them
};

// Parses the words after "create lun". False with a one-line reason.
bool ParseCreateLunWords(const std::vector<std::string>& words, CreateLunArgs* args,
                         std::string* error);
// "10GB", "512", "1TB": bytes, a bare number being MB, units powers of 1024. False on overflow.
bool ParseSize(const std::string& text, ULONGLONG defaultUnit, ULONGLONG* bytes);
// "all" is "*", "none" is "", anything else the list as written.
std::string UnmaskingListWord(const std::string& word);

class ProvisionCommands {
 public:
  // `hints2`: create through IVdsSubSystem2::CreateLun2.
  ProvisionCommands(Model* model, Output* output, bool hints2);
  ProvisionCommands(const ProvisionCommands&) = delete;
  ProvisionCommands& operator=(const ProvisionCommands&) = delete;

  // Creates the LUN in `subsystem` (or in the pool args.pool names), waits for it, prints it;
  // *created gets its id.
  ExitCode CreateLun(int subsystem, const CreateLunArgs& args, std::optional<GUID>* created);
  // IVdsLun::SetMask on LUN `index` of `subsystem`, or on the LUN with `id`.
  ExitCode Unmask(int subsystem, int index, const std::string& list);
  ExitCode UnmaskById(const GUID& id, const std::string& list);

 private:
  ExitCode Failed(HRESULT hr, const char* call);
  ExitCode Subsystem(int index, ComPtr<IVdsSubSystem>* object);
  ExitCode Announce(int subsystem, const GUID& id);
  ExitCode WaitAndAnnounce(int subsystem, IVdsAsync* rawAsync, std::optional<GUID>* created);

  Model* model_;
  Output* output_;
  const bool hints2_;
};

}  // namespace vdsctl

#endif  // VELA_TOOLS_VDSCTL_PROVISION_COMMANDS_H_
