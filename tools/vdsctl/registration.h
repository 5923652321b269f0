// Provider registration as the platform's registration tool does it (load the module, call its
// DllRegisterServer or DllUnregisterServer), the list of hardware providers the disk service
// keeps in the registry, and the choice of the provider module a run loads.
//
// The registry read here is vdsctl's own view of the registry file (SetRegistryFile, else
// $VELA_REGISTRY, else the default); the module writes through its own copy, which reads
// $VELA_REGISTRY, so that must name the same file before a module is loaded.
#ifndef VELA_TOOLS_VDSCTL_REGISTRATION_H_
#define VELA_TOOLS_VDSCTL_REGISTRATION_H_

#include <string>
#include <vector>

#include "platform/guid.h"
#include "tools/vdsctl/call_error.h"
#include "tools/vdsctl/output.h"

namespace vdsctl {

// One entry of the disk service's list, with the class registration it leads to.
struct RegisteredProvider {
  std::string id;    // the key's name: the provider id, braced
  std::string name;  // empty when the entry has none
  std::string version;
  std::string versionId;
  std::string classId;
  std::string modulePath;  // the class's InprocServer32; empty when the class is not registered
};

std::vector<RegisteredProvider> RegisteredProviders();

// True when the module maps and its DllGetClassObject hands out a factory for `classId`. The
// module is unmapped again when it allows it.
bool ModuleLoads(const std::string& modulePath, const GUID& classId, std::string* why);

// `vdsctl register|unregister MODULE`.
ExitCode RunRegistration(const std::string& modulePath, bool unregister, Output* output);

// `vdsctl providers`.
ExitCode ShowProviders(Output* output);

// The module a run loads and the class it asks for.
struct ProviderChoice {
  std::string modulePath;
  GUID classId = GUID_NULL;
};

// --module PATH (or $VELA_PROVIDER_LIBRARY) wins; else a registered provider whose class has an
// InprocServer32, picked by `provider` (a name or an id) when several are; else `builtIn` with
// the class of the provider built with this vdsctl. False with a message when `provider` names
// none of them, or several are registered and `provider` is empty.
bool ChooseProvider(const std::string& module, const std::string& provider,
                    const std::string& builtIn, ProviderChoice* choice, std::string* message);

}  // namespace vdsctl

#endif  // VELA_TOOLS_VDSCTL_REGISTRATION_H_
