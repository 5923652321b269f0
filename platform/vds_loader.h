// The disk service's side of provider registration: the VDS loader class, which a provider
// creates out of process to reach IVdsAdmin, and the list of hardware providers it keeps in the
// registry.
//
//   HKEY_LOCAL_MACHINE\SYSTEM\CurrentControlSet\Services\vds\HardwareProviders\{provider id}
//     @            REG_SZ     provider name
//     "CLSID"      REG_SZ     class id, braced
//     "Type"       REG_DWORD  VDS_PROVIDER_TYPE
//     "Version"    REG_SZ     version text
//     "VersionId"  REG_SZ     version id, braced
//
// The service is there unless its key says it is disabled ("Start" = 4 under
// ...\Services\vds); creating the loader also fails when the registry cannot be written, since
// the service could not keep its list.
#ifndef VELA_PLATFORM_VDS_LOADER_H_
#define VELA_PLATFORM_VDS_LOADER_H_

#include "platform/com.h"

inline constexpr char kVdsServiceKey[] = "SYSTEM\\CurrentControlSet\\Services\\vds";
inline constexpr char kVdsHardwareProvidersKey[] =
    "SYSTEM\\CurrentControlSet\\Services\\vds\\HardwareProviders";

// The disk service's IVdsAdmin, as CoCreateInstance makes it for CLSID_VdsLoader: fails when
// the service is disabled or cannot write its list.
HRESULT CreateVdsAdmin(REFIID riid, void** ppv);

#endif  // VELA_PLATFORM_VDS_LOADER_H_
