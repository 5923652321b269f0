// Walks the provider's lists into rows, the way a storage management tool sees them: each call
// asks the provider afresh. Objects of a subsystem are numbered from 0 in the provider's own
// list order within that subsystem; `subsystem` limits a walk to one subsystem (all when empty).
#ifndef VELA_TOOLS_VDSCTL_MODEL_H_
#define VELA_TOOLS_VDSCTL_MODEL_H_

#include <optional>
#include <vector>

#include "platform/com.h"
#include "platform/vds.h"
#include "tools/vdsctl/call_error.h"
#include "tools/vdsctl/rows.h"

namespace vdsctl {

class Model {
 public:
  // `provider` must stay loaded while the model is used.
  explicit Model(IVdsProvider* provider);
  Model(const Model&) = delete;
  Model& operator=(const Model&) = delete;

  CallResult Provider(ProviderRow* row);
  // The provider the model walks.
  IVdsProvider* ProviderObject() const { return provider_; }
  CallResult Subsystems(std::vector<SubsystemRow>* rows);
  CallResult Controllers(std::optional<int> subsystem, std::vector<ControllerRow>* rows);
  CallResult Ports(std::optional<int> subsystem, std::vector<PortRow>* rows);
  CallResult Drives(std::optional<int> subsystem, std::vector<DriveRow>* rows);
  CallResult Luns(std::optional<int> subsystem, std::vector<LunRow>* rows);
  CallResult Plexes(std::optional<int> subsystem, std::vector<PlexRow>* rows);
  CallResult Pools(std::vector<PoolRow>* rows);

  // Subsystem `index` in list order; null (and no error) when there is none.
  CallResult SubsystemObject(int index, ComPtr<IVdsSubSystem>* object);

  // IVdsHwProvider::Refresh and ::Reenumerate, and IVdsSubSystem::Reenumerate of each subsystem
  // (or of the one given).
  CallResult Refresh();
  CallResult ReenumerateSubsystems();
  CallResult ReenumerateDrives(std::optional<int> subsystem);

 private:
  struct Subsystem {
    int index;
    ComPtr<IVdsSubSystem> object;
  };
  CallResult HwProvider(ComPtr<IVdsHwProvider>* hw);
  CallResult SubsystemObjects(std::optional<int> only, std::vector<Subsystem>* out);

  IVdsProvider* provider_;
};

}  // namespace vdsctl

#endif  // VELA_TOOLS_VDSCTL_MODEL_H_
