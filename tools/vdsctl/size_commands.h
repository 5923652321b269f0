// The sizing commands of vdsctl: `maxsize create|pool|extend`, `extend lun N` with its progress
// display, and `shrink lun N`; shared by the one-shot form and the shell. Their words are parsed
// here; the calls go through the provider's VDS interfaces like every other command.
#ifndef VELA_TOOLS_VDSCTL_SIZE_COMMANDS_H_
#define VELA_TOOLS_VDSCTL_SIZE_COMMANDS_H_

#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "platform/vds.h"
#include "tools/vdsctl/call_error.h"
#include "tools/vdsctl/model.h"
#include "tools/vdsctl/output.h"
#include "tools/vdsctl/provision_commands.h"

namespace vdsctl {

// What `maxsize ...`, `extend lun ...` and `shrink lun ...` ask for.
struct SizeArgs {
  enum class Verb { kMaxCreate, kMaxPool, kMaxExtend, kExtend, kShrink } verb = Verb::kMaxCreate;
  VDS_LUN_TYPE type = VDS_LT_UNKNOWN;  // maxsize create, maxsize pool
  int object = 0;                      // the pool (maxsize pool) or the LUN (the others)
  std::vector<int> drives;             // indexes as `list drives` prints them
  ULONGLONG size = 0;                  // extend, shrink
  VDS_HINTS hints{};                   // maxsize create
};

// Parses a whole line that begins with "maxsize", "extend" or "shrink" (any case). Nothing when
// the first word is none of them; else false with a one-line reason, or true.
std::optional<bool> ParseSizeWords(const std::vector<std::string>& words, SizeArgs* args,
                                   std::string* error);

// How the progress of an extension is shown while Wait runs.
enum class ProgressStyle {
  kNone,   // --json: nothing
  kBar,    // a terminal: one line redrawn in place
  kLines,  // anything else: a line for each tenth reached
};

class SizeCommands {
 public:
  // Progress goes to `progress` (standard error: it is no result of the command).
  SizeCommands(Model* model, Output* output, ProgressStyle style, std::ostream& progress);
  SizeCommands(const SizeCommands&) = delete;
  SizeCommands& operator=(const SizeCommands&) = delete;

  ExitCode Run(int subsystem, const SizeArgs& args);

 private:
  ExitCode MaxCreate(int subsystem, const SizeArgs& args);
  ExitCode MaxPool(const SizeArgs& args);
  ExitCode MaxExtend(int subsystem, const SizeArgs& args);
  ExitCode Extend(int subsystem, const SizeArgs& args);
  ExitCode Shrink(int subsystem, const SizeArgs& args);

  ExitCode Failed(HRESULT hr, const char* call);
  ExitCode ReportSize(ULONGLONG bytes);
  ExitCode DriveIds(int subsystem, const std::vector<int>& drives, std::vector<VDS_OBJECT_ID>* ids);
  ExitCode Lun(int subsystem, int index, ComPtr<IVdsLun>* lun, LunRow* row);
  // IVdsAsync::Wait, with the progress shown from QueryStatus on a second thread.
  HRESULT WaitWithProgress(IVdsAsync* async, HRESULT* result, VDS_ASYNC_OUTPUT* out);

  Model* model_;
  Output* output_;
  const ProgressStyle style_;
  std::ostream& progress_;
};

// One line of the progress display: "Extending [#####     ]  50%  0:07".
std::string ProgressBar(ULONG percent, uint64_t elapsedSeconds);

// IVdsHwProviderStoragePools::CreateLunInStoragePool for pool `pool` (as `list pools` numbers
// it); *subsystem takes the pool's subsystem. On failure the problem is reported on `output`.
ExitCode StartCreateInPool(Model* model, Output* output, int pool, const CreateLunArgs& args,
                           IVdsAsync** async, int* subsystem);

}  // namespace vdsctl

#endif  // VELA_TOOLS_VDSCTL_SIZE_COMMANDS_H_
