// The maker of automatic vdisk and LUN names.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "diag/debug_log.h"
#include "provisioning/utility.h"
#include "proxy/tidegate.h"

namespace {

// Names in use, as far as this process knows them. Filled from the controllers when empty and
// kept as it stands otherwise, so a name another tool makes later stays unknown here. Guarded by
// the provider's notification mutex, which every caller of NewName holds.
std::vector<std::string>& NamesInUse() {
  static std::vector<std::string> names;
  return names;
}

// The result of the last call; guarded like the list.
char g_newNameBuffer[32];

std::string TextField(const char* field, size_t size) {
  return std::string(field, strnlen(field, size));
}

// Appends every vdisk name and every partition name of one controller. False when the
// controller can't be read.
bool AddControllerNames(DWORD handle, std::vector<std::string>* names) {
  auto data = std::make_unique<controllerData>();
  if (Tidegate::get_controller_data(handle, data.get()) != 0) return false;
  const size_t numArrays = ValidCount(data->numArrays, kMaxArrays);
  for (size_t i = 0; i < numArrays; ++i) {
    const array& vdisk = data->arrays[i];
    names->push_back(TextField(vdisk.name, sizeof(vdisk.name)));
    const size_t numParts = ValidCount(vdisk.numArrayPartitions, kMaxArrayPartitions);
    for (size_t j = 0; j < numParts; ++j) {
      const partition& part = data->partitions[i][j];
      names->push_back(TextField(part.name, sizeof(part.name)));
    }
  }
  return true;
}

const char* NamePattern(bool isVdisk, int kind) {
  if (isVdisk) return "VDS_VDISK_%d";
  switch (kind) {
    case kNameKindSnapPool:
      return "VDS_SP_LUN_%d";
    case kNameKindMasterVolume:
      return "VDS_MV_LUN_%d";
    case kNameKindSnapshot:
      return "VDS_SS_LUN_%d";
    default:
      return "VDS_LUN_%d";
  }
}

}  // namespace

const char* NewName(const subsystem& sub, bool isVdisk, int kind, const char* nameToRelease) {
  std::vector<std::string>& names = NamesInUse();
  if (nameToRelease != nullptr) {
    auto it = std::find(names.begin(), names.end(), nameToRelease);
    if (it != names.end()) names.erase(it);
    return nullptr;
  }
  if (names.empty()) {
    for (DWORD handle : {sub.controllerA, sub.controllerB}) {
      if (handle == 0) continue;
      if (!AddControllerNames(handle, &names)) return "VDS_LNU_ERROR";
    }
  }
  std::memset(g_newNameBuffer, 0, sizeof(g_newNameBuffer));
  const char* pattern = NamePattern(isVdisk, kind);
  for (int counter = 0;; ++counter) {
    std::snprintf(g_newNameBuffer, sizeof(g_newNameBuffer), pattern, counter);
    if (std::find(names.begin(), names.end(), g_newNameBuffer) == names.end()) break;
  }
  names.emplace_back(g_newNameBuffer);
  DebugPrintf("NewName %s\n", g_newNameBuffer);
  return g_newNameBuffer;
}

void ResetNewNamesForTesting() { NamesInUse().clear(); }
