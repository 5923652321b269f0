// The HBA API shim: a library loaded at run time, or the host view's adapters.
#include "platform/hbaapi.h"

#include <dlfcn.h>

#include <cstdlib>
#include <cstring>
#include <mutex>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "platform/host_view.h"

namespace {

using nlohmann::json;

constexpr char kDefaultLibrary[] = "libHBAAPI.so.2";

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

struct ViewPort {
  HBA_PORTATTRIBUTES attributes;
  std::vector<HBA_FCPSCSIENTRYV2> mappings;
};

struct ViewAdapter {
  std::string name;
  HBA_ADAPTERATTRIBUTES attributes;
  std::vector<ViewPort> ports;
};

// kList: a fixed list of adapters (the host view's, or none).
enum class Source { kNone, kLibrary, kList };

std::mutex g_mutex;
// All guarded by g_mutex.
Source g_source = Source::kNone;
int g_loadCount = 0;
void* g_library = nullptr;
LibraryFunctions g_functions{};
std::vector<ViewAdapter> g_adapters;
std::string g_problem;

template <class T>
bool Resolve(void* library, const char* name, T* function) {
  *function = reinterpret_cast<T>(dlsym(library, name));
  if (*function != nullptr) return true;
  g_problem = std::string("the HBA library lacks ") + name;
  return false;
}

HBA_STATUS LoadFromLibrary() {
  const char* named = std::getenv("VELA_HBAAPI_LIBRARY");
  std::string path = named != nullptr && *named != 0 ? named : kDefaultLibrary;
  void* library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) {
    const char* reason = dlerror();
    g_problem = "the HBA library " + path + " can't be loaded: " + (reason ? reason : "");
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
    dlclose(library);
    return HBA_STATUS_ERROR;
  }
  HBA_STATUS status = f.LoadLibrary();
  if (status != HBA_STATUS_OK) {
    // The common library fails its load when /etc/hba.conf names no vendor library that loads,
    // and then has no adapter: that is a host without adapters, not a broken library.
    bool noAdapters = f.GetNumberOfAdapters() == 0;
    g_problem = "the HBA library " + path + " failed to load its vendor libraries";
    dlclose(library);
    if (!noAdapters) return status;
    g_adapters.clear();
    g_source = Source::kList;
    return HBA_STATUS_OK;
  }
  g_library = library;
  g_functions = f;
  g_source = Source::kLibrary;
  return HBA_STATUS_OK;
}

// ---- The host view's adapters. A member of the wrong type fails the whole load. ----

struct ViewError {
  std::string what;
};

void Text(const json& object, const char* name, char* buffer, size_t size) {
  auto it = object.find(name);
  if (it == object.end()) return;
  if (!it->is_string()) throw ViewError{std::string("\"") + name + "\" is not a string"};
  std::string text = it->get<std::string>();
  size_t length = std::min(text.size(), size - 1);
  std::memcpy(buffer, text.data(), length);
  buffer[length] = 0;
}

HBA_UINT32 Number(const json& object, const char* name, HBA_UINT32 fallback) {
  auto it = object.find(name);
  if (it == object.end()) return fallback;
  if (!it->is_number_unsigned() || it->get<uint64_t>() > UINT32_MAX) {
    throw ViewError{std::string("\"") + name + "\" is not a 32-bit unsigned number"};
  }
  return static_cast<HBA_UINT32>(it->get<uint64_t>());
}

HBA_UINT64 Number64(const json& object, const char* name) {
  auto it = object.find(name);
  if (it == object.end()) return 0;
  if (!it->is_number_unsigned()) {
    throw ViewError{std::string("\"") + name + "\" is not an unsigned number"};
  }
  return it->get<uint64_t>();
}

void Wwn(const json& object, const char* name, HBA_WWN* wwn) {
  auto it = object.find(name);
  if (it == object.end()) return;
  std::string text = it->is_string() ? it->get<std::string>() : std::string();
  if (text.size() != 16) throw ViewError{std::string("\"") + name + "\" is not 16 hex digits"};
  for (size_t i = 0; i < 8; ++i) {
    int value = 0;
    for (size_t j = 0; j < 2; ++j) {
      char c = text[i * 2 + j];
      int digit = c >= '0' && c <= '9'   ? c - '0'
                  : c >= 'a' && c <= 'f' ? c - 'a' + 10
                  : c >= 'A' && c <= 'F' ? c - 'A' + 10
                                         : -1;
      if (digit < 0) throw ViewError{std::string("\"") + name + "\" is not 16 hex digits"};
      value = value * 16 + digit;
    }
    wwn->wwn[i] = static_cast<HBA_UINT8>(value);
  }
}

const json& Object(const json& parent, const char* name) {
  static const json kEmpty = json::object();
  auto it = parent.find(name);
  if (it == parent.end()) return kEmpty;
  if (!it->is_object()) throw ViewError{std::string("\"") + name + "\" is not an object"};
  return *it;
}

const json& Array(const json& parent, const char* name) {
  static const json kEmpty = json::array();
  auto it = parent.find(name);
  if (it == parent.end()) return kEmpty;
  if (!it->is_array()) throw ViewError{std::string("\"") + name + "\" is not an array"};
  return *it;
}

HBA_FCPSCSIENTRYV2 ReadMapping(const json& row) {
  if (!row.is_object()) throw ViewError{"a target mapping is not an object"};
  HBA_FCPSCSIENTRYV2 entry{};
  const json& scsi = Object(row, "ScsiId");
  Text(scsi, "OSDeviceName", entry.ScsiId.OSDeviceName, sizeof(entry.ScsiId.OSDeviceName));
  entry.ScsiId.ScsiBusNumber = Number(scsi, "ScsiBusNumber", 0);
  entry.ScsiId.ScsiTargetNumber = Number(scsi, "ScsiTargetNumber", 0);
  entry.ScsiId.ScsiOSLun = Number(scsi, "ScsiOSLun", 0);
  const json& fcp = Object(row, "FcpId");
  entry.FcpId.FcId = Number(fcp, "FcId", 0);
  Wwn(fcp, "NodeWWN", &entry.FcpId.NodeWWN);
  Wwn(fcp, "PortWWN", &entry.FcpId.PortWWN);
  entry.FcpId.FcpLun = Number64(fcp, "FcpLun");
  Text(row, "LUID", entry.LUID.buffer, sizeof(entry.LUID.buffer));
  return entry;
}

ViewPort ReadPort(const json& port) {
  if (!port.is_object()) throw ViewError{"a port is not an object"};
  ViewPort result{};
  HBA_PORTATTRIBUTES& a = result.attributes;
  Wwn(port, "NodeWWN", &a.NodeWWN);
  Wwn(port, "PortWWN", &a.PortWWN);
  a.PortFcId = Number(port, "PortFcId", 0);
  a.PortType = Number(port, "PortType", 0);
  a.PortState = Number(port, "PortState", 0);
  a.PortSupportedClassofService = Number(port, "PortSupportedClassofService", 0);
  Text(port, "PortSymbolicName", a.PortSymbolicName, sizeof(a.PortSymbolicName));
  Text(port, "OSDeviceName", a.OSDeviceName, sizeof(a.OSDeviceName));
  a.PortSupportedSpeed = Number(port, "PortSupportedSpeed", 0);
  a.PortSpeed = Number(port, "PortSpeed", 0);
  a.PortMaxFrameSize = Number(port, "PortMaxFrameSize", 0);
  Wwn(port, "FabricName", &a.FabricName);
  a.NumberofDiscoveredPorts = Number(port, "NumberofDiscoveredPorts", 0);
  for (const json& row : Array(port, "targetMappings")) result.mappings.push_back(ReadMapping(row));
  return result;
}

ViewAdapter ReadAdapter(const json& adapter) {
  if (!adapter.is_object()) throw ViewError{"an adapter is not an object"};
  ViewAdapter result{};
  auto name = adapter.find("name");
  if (name == adapter.end() || !name->is_string()) throw ViewError{"an adapter has no name"};
  result.name = name->get<std::string>();
  for (const json& port : Array(adapter, "ports")) result.ports.push_back(ReadPort(port));
  const json& attributes = Object(adapter, "attributes");
  HBA_ADAPTERATTRIBUTES& a = result.attributes;
  Text(attributes, "Manufacturer", a.Manufacturer, sizeof(a.Manufacturer));
  Text(attributes, "SerialNumber", a.SerialNumber, sizeof(a.SerialNumber));
  Text(attributes, "Model", a.Model, sizeof(a.Model));
  Text(attributes, "ModelDescription", a.ModelDescription, sizeof(a.ModelDescription));
  Wwn(attributes, "NodeWWN", &a.NodeWWN);
  Text(attributes, "NodeSymbolicName", a.NodeSymbolicName, sizeof(a.NodeSymbolicName));
  Text(attributes, "HardwareVersion", a.HardwareVersion, sizeof(a.HardwareVersion));
  Text(attributes, "DriverVersion", a.DriverVersion, sizeof(a.DriverVersion));
  Text(attributes, "OptionROMVersion", a.OptionROMVersion, sizeof(a.OptionROMVersion));
  Text(attributes, "FirmwareVersion", a.FirmwareVersion, sizeof(a.FirmwareVersion));
  a.VendorSpecificID = Number(attributes, "VendorSpecificID", 0);
  a.NumberOfPorts =
      Number(attributes, "NumberOfPorts", static_cast<HBA_UINT32>(result.ports.size()));
  Text(attributes, "DriverName", a.DriverName, sizeof(a.DriverName));
  return result;
}

HBA_STATUS LoadFromView(const std::string& path) {
  json view;
  {
    HostViewLock lock(path);
    if (!ReadHostView(path, &view)) {
      g_problem = HostViewProblem();
      return HBA_STATUS_ERROR;
    }
  }
  std::vector<ViewAdapter> adapters;
  try {
    for (const json& adapter : Array(view, "hba")) adapters.push_back(ReadAdapter(adapter));
  } catch (const ViewError& error) {
    g_problem = "host view " + path + " \"hba\": " + error.what;
    return HBA_STATUS_ERROR;
  }
  g_adapters = std::move(adapters);
  g_source = Source::kList;
  return HBA_STATUS_OK;
}

const ViewAdapter* ViewAdapterOf(HBA_HANDLE handle) {
  if (handle == 0 || handle > g_adapters.size()) return nullptr;
  return &g_adapters[handle - 1];
}

}  // namespace

HBA_STATUS HBA_LoadLibrary() {
  std::lock_guard<std::mutex> lock(g_mutex);
  if (g_loadCount > 0) {
    ++g_loadCount;
    return HBA_STATUS_OK;
  }
  g_problem.clear();
  std::string view = HostViewPath();
  HBA_STATUS status = view.empty() ? LoadFromLibrary() : LoadFromView(view);
  if (status == HBA_STATUS_OK) g_loadCount = 1;
  return status;
}

HBA_STATUS HBA_FreeLibrary() {
  std::lock_guard<std::mutex> lock(g_mutex);
  if (g_loadCount == 0) return HBA_STATUS_ERROR;
  if (--g_loadCount > 0) return HBA_STATUS_OK;
  HBA_STATUS status = HBA_STATUS_OK;
  if (g_source == Source::kLibrary) {
    status = g_functions.FreeLibrary();
    dlclose(g_library);
    g_library = nullptr;
    g_functions = {};
  }
  g_adapters.clear();
  g_source = Source::kNone;
  return status;
}

HBA_UINT32 HBA_GetNumberOfAdapters() {
  std::lock_guard<std::mutex> lock(g_mutex);
  switch (g_source) {
    case Source::kLibrary:
      return g_functions.GetNumberOfAdapters();
    case Source::kList:
      return static_cast<HBA_UINT32>(g_adapters.size());
    default:
      return 0;
  }
}

HBA_STATUS HBA_GetAdapterName(HBA_UINT32 adapterindex, char* adaptername) {
  std::lock_guard<std::mutex> lock(g_mutex);
  if (adapterindex >= UINT32_MAX || adaptername == nullptr) return HBA_STATUS_ERROR_ARG;
  if (g_source == Source::kLibrary) return g_functions.GetAdapterName(adapterindex, adaptername);
  const ViewAdapter* adapter =
      g_source == Source::kList ? ViewAdapterOf(adapterindex + 1) : nullptr;
  if (adapter == nullptr) return HBA_STATUS_ERROR_ILLEGAL_INDEX;
  size_t length = std::min<size_t>(adapter->name.size(), 255);
  std::memcpy(adaptername, adapter->name.data(), length);
  adaptername[length] = 0;
  return HBA_STATUS_OK;
}

HBA_HANDLE HBA_OpenAdapter(char* adaptername) {
  std::lock_guard<std::mutex> lock(g_mutex);
  if (adaptername == nullptr) return 0;
  if (g_source == Source::kLibrary) return g_functions.OpenAdapter(adaptername);
  if (g_source != Source::kList) return 0;
  for (size_t i = 0; i < g_adapters.size(); ++i) {
    if (g_adapters[i].name == adaptername) return static_cast<HBA_HANDLE>(i + 1);
  }
  return 0;
}

void HBA_CloseAdapter(HBA_HANDLE handle) {
  std::lock_guard<std::mutex> lock(g_mutex);
  if (g_source == Source::kLibrary) g_functions.CloseAdapter(handle);
}

HBA_STATUS HBA_GetAdapterAttributes(HBA_HANDLE handle, HBA_ADAPTERATTRIBUTES* hbaattributes) {
  std::lock_guard<std::mutex> lock(g_mutex);
  if (hbaattributes == nullptr) return HBA_STATUS_ERROR_ARG;
  if (g_source == Source::kLibrary) return g_functions.GetAdapterAttributes(handle, hbaattributes);
  const ViewAdapter* adapter = g_source == Source::kList ? ViewAdapterOf(handle) : nullptr;
  if (adapter == nullptr) return HBA_STATUS_ERROR_INVALID_HANDLE;
  *hbaattributes = adapter->attributes;
  return HBA_STATUS_OK;
}

HBA_STATUS HBA_GetAdapterPortAttributes(HBA_HANDLE handle, HBA_UINT32 portindex,
                                        HBA_PORTATTRIBUTES* portattributes) {
  std::lock_guard<std::mutex> lock(g_mutex);
  if (portattributes == nullptr) return HBA_STATUS_ERROR_ARG;
  if (g_source == Source::kLibrary) {
    return g_functions.GetAdapterPortAttributes(handle, portindex, portattributes);
  }
  const ViewAdapter* adapter = g_source == Source::kList ? ViewAdapterOf(handle) : nullptr;
  if (adapter == nullptr) return HBA_STATUS_ERROR_INVALID_HANDLE;
  if (portindex >= adapter->ports.size()) return HBA_STATUS_ERROR_ILLEGAL_INDEX;
  *portattributes = adapter->ports[portindex].attributes;
  return HBA_STATUS_OK;
}

HBA_STATUS HBA_GetFcpTargetMappingV2(HBA_HANDLE handle, HBA_WWN hbaPortWWN,
                                     HBA_FCPTARGETMAPPINGV2* pmapping) {
  std::lock_guard<std::mutex> lock(g_mutex);
  if (pmapping == nullptr) return HBA_STATUS_ERROR_ARG;
  if (g_source == Source::kLibrary) {
    return g_functions.GetFcpTargetMappingV2(handle, hbaPortWWN, pmapping);
  }
  const ViewAdapter* adapter = g_source == Source::kList ? ViewAdapterOf(handle) : nullptr;
  if (adapter == nullptr) return HBA_STATUS_ERROR_INVALID_HANDLE;
  for (const ViewPort& port : adapter->ports) {
    if (std::memcmp(port.attributes.PortWWN.wwn, hbaPortWWN.wwn, 8) != 0) continue;
    HBA_UINT32 room = pmapping->NumberOfEntries;
    size_t rows = std::min<size_t>(room, port.mappings.size());
    // The caller's block holds `room` rows after the header.
    auto* rowsAt =
        reinterpret_cast<unsigned char*>(pmapping) + offsetof(HBA_FCPTARGETMAPPINGV2, entry);
    for (size_t i = 0; i < rows; ++i) {
      std::memcpy(rowsAt + i * sizeof(HBA_FCPSCSIENTRYV2), &port.mappings[i],
                  sizeof(HBA_FCPSCSIENTRYV2));
    }
    pmapping->NumberOfEntries = static_cast<HBA_UINT32>(port.mappings.size());
    return port.mappings.size() > room ? HBA_STATUS_ERROR_MORE_DATA : HBA_STATUS_OK;
  }
  return HBA_STATUS_ERROR_ILLEGAL_WWN;
}

std::string HbaLibraryProblem() {
  std::lock_guard<std::mutex> lock(g_mutex);
  return g_problem;
}
