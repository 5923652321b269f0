// The HBA API of Windows: hbaapi.dll, loaded at the first HBA_LoadLibrary and freed at the last
// HBA_FreeLibrary; every other call goes to the library's own entry point.
#include "platform/hbaapi.h"

#include <mutex>

#include "platform/win/sdk.h"

namespace {

struct LibraryFunctions {
  HBA_STATUS (*LoadLibrary)();
  HBA_STATUS (*FreeLibrary)();
  HBA_UINT32 (*GetNumberOfAdapters)();
  HBA_STATUS (*GetAdapterName)(HBA_UINT32, char*);
  HBA_HANDLE (*OpenAdapter)(char*);
  void (*CloseAdapter)(HBA_HANDLE);
  HBA_STATUS (*GetAdapterAttributes)(HBA_HANDLE, HBA_ADAPTERATTRIBUTES*);
  HBA_STATUS (*GetAdapterPortAttributes)(HBA_HANDLE, HBA_UINT32, HBA_PORTATTRIBUTES*);
  HBA_STATUS (*GetFcpTargetMappingV2)(HBA_HANDLE, HBA_WWN, HBA_FCPTARGETMAPPINGV2*);
};

std::mutex g_mutex;
int g_loadCount = 0;             // guarded by g_mutex
void* g_library = nullptr;       // guarded by g_mutex
LibraryFunctions g_functions{};  // set while g_loadCount > 0
std::string g_problem;           // guarded by g_mutex

template <class T>
bool Resolve(void* library, const char* name, T* function) {
  *function = reinterpret_cast<T>(winsdk::GetProcAddress(library, name));
  if (*function != nullptr) return true;
  g_problem = std::string("the HBA library lacks ") + name;
  return false;
}

}  // namespace

HBA_STATUS HBA_LoadLibrary() {
  std::lock_guard<std::mutex> lock(g_mutex);
  if (g_loadCount > 0) {
    ++g_loadCount;
    return HBA_STATUS_OK;
  }
  g_problem.clear();
  void* library = winsdk::LoadLibraryW(u"hbaapi.dll");
  if (library == nullptr) {
    g_problem = "the HBA library hbaapi.dll can't be loaded: error " +
                std::to_string(winsdk::GetLastError());
    return HBA_STATUS_ERROR;
  }
  LibraryFunctions f{};
  if (!Resolve(library, "HBA_LoadLibrary", &f.LoadLibrary) ||
      !Resolve(library, "HBA_FreeLibrary", &f.FreeLibrary) ||
      !Resolve(library, "HBA_GetNumberOfAdapters", &f.GetNumberOfAdapters) ||
      !Resolve(library, "HBA_GetAdapterName", &f.GetAdapterName) ||
      !Resolve(library, "HBA_OpenAdapter", &f.OpenAdapter) ||
      !Resolve(library, "HBA_CloseAdapter", &f.CloseAdapter) ||
      !Resolve(library, "HBA_GetAdapterAttributes", &f.GetAdapterAttributes) ||
      !Resolve(library, "HBA_GetAdapterPortAttributes", &f.GetAdapterPortAttributes) ||
      !Resolve(library, "HBA_GetFcpTargetMappingV2", &f.GetFcpTargetMappingV2)) {
    winsdk::FreeLibrary(library);
    return HBA_STATUS_ERROR;
  }
  const HBA_STATUS status = f.LoadLibrary();
  if (status != HBA_STATUS_OK) {
    g_problem = "the HBA library hbaapi.dll failed to load its vendor libraries";
    winsdk::FreeLibrary(library);
    return status;
  }
  g_library = library;
  g_functions = f;
  g_loadCount = 1;
  return HBA_STATUS_OK;
}

HBA_STATUS HBA_FreeLibrary() {
  std::lock_guard<std::mutex> lock(g_mutex);
  if (g_loadCount == 0) return HBA_STATUS_ERROR;
  if (--g_loadCount > 0) return HBA_STATUS_OK;
  const HBA_STATUS status = g_functions.FreeLibrary();
  winsdk::FreeLibrary(g_library);
  g_library = nullptr;
  g_functions = {};
  return status;
}

// The calls below are made between a successful HBA_LoadLibrary and its HBA_FreeLibrary, as the
// API requires.
HBA_UINT32 HBA_GetNumberOfAdapters() { return g_functions.GetNumberOfAdapters(); }

HBA_STATUS HBA_GetAdapterName(HBA_UINT32 adapterindex, char* adaptername) {
  return g_functions.GetAdapterName(adapterindex, adaptername);
}

HBA_HANDLE HBA_OpenAdapter(char* adaptername) { return g_functions.OpenAdapter(adaptername); }

void HBA_CloseAdapter(HBA_HANDLE handle) { g_functions.CloseAdapter(handle); }

HBA_STATUS HBA_GetAdapterAttributes(HBA_HANDLE handle, HBA_ADAPTERATTRIBUTES* hbaattributes) {
  return g_functions.GetAdapterAttributes(handle, hbaattributes);
}

HBA_STATUS HBA_GetAdapterPortAttributes(HBA_HANDLE handle, HBA_UINT32 portindex,
                                        HBA_PORTATTRIBUTES* portattributes) {
  return g_functions.GetAdapterPortAttributes(handle, portindex, portattributes);
}

HBA_STATUS HBA_GetFcpTargetMappingV2(HBA_HANDLE handle, HBA_WWN hbaPortWWN,
                                     HBA_FCPTARGETMAPPINGV2* pmapping) {
  return g_functions.GetFcpTargetMappingV2(handle, hbaPortWWN, pmapping);
}

std::string HbaLibraryProblem() {
  std::lock_guard<std::mutex> lock(g_mutex);
  return g_problem;
}
