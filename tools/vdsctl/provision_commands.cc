#include "tools/vdsctl/provision_commands.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <limits>
#include <utility>

#include "platform/strings.h"
#include "tools/vdsctl/json.h"
#include "tools/vdsctl/names.h"
#include "tools/vdsctl/size_commands.h"
#include "tools/vdsctl/table.h"
#include "tools/vdsctl/views.h"
#include "tools/vdsctl/words.h"

namespace vdsctl {

namespace {

constexpr ULONGLONG kMB = 1ULL << 20;
// Bits of ullHintMask that VDS_HINTS2 ties to a boolean of its own.
constexpr ULONGLONG kHotSpareBit = 0x200;
constexpr std::pair<ULONGLONG, BOOL VDS_HINTS2::*> kGatedBits[] = {
    {0x200, &VDS_HINTS2::bAllocateHotSpare},    {0x800, &VDS_HINTS2::bUseMirroredCache},
    {0x1000, &VDS_HINTS2::bReadCachingEnabled}, {0x2000, &VDS_HINTS2::bWriteCachingEnabled},
    {0x4000, &VDS_HINTS2::bMediaScanEnabled},   {0x8000, &VDS_HINTS2::bConsistencyCheckEnabled}};

const std::pair<const char*, VDS_LUN_TYPE> kTypeWords[] = {
    {"default", VDS_LT_DEFAULT},
    {"faulttolerant", VDS_LT_FAULT_TOLERANT},
    {"nonfaulttolerant", VDS_LT_NON_FAULT_TOLERANT},
    {"simple", VDS_LT_SIMPLE},
    {"span", VDS_LT_SPAN},
    {"stripe", VDS_LT_STRIPE},
    {"mirror", VDS_LT_MIRROR},
    {"raid", VDS_LT_PARITY},
    {"parity", VDS_LT_PARITY},
    {"raid3", VDS_LT_RAID3},
    {"raid5", VDS_LT_RAID5},
    {"raid6", VDS_LT_RAID6},
    {"raid10", VDS_LT_RAID10},
    {"raid30", VDS_LT_RAID30},
    {"raid50", VDS_LT_RAID50},
    {"raid60", VDS_LT_RAID60}};

}  // namespace

bool ParseSize(const std::string& text, ULONGLONG defaultUnit, ULONGLONG* bytes) {
  static const std::pair<const char*, ULONGLONG> kUnits[] = {
      {"tb", 1ULL << 40}, {"gb", 1ULL << 30}, {"mb", 1ULL << 20}, {"kb", 1ULL << 10}, {"b", 1}};
  const std::string lower = Lower(text);
  ULONGLONG unit = defaultUnit;
  std::string number = lower;
  for (const auto& [suffix, scale] : kUnits) {
    const size_t length = std::strlen(suffix);
    if (lower.size() > length && lower.compare(lower.size() - length, length, suffix) == 0) {
      unit = scale;
      number = lower.substr(0, lower.size() - length);
      break;
    }
  }
  if (number.empty() || number.find_first_not_of("0123456789") != std::string::npos) return false;
  ULONGLONG value = 0;
  if (!ParseNumber(number, std::numeric_limits<ULONGLONG>::max() / unit, &value)) return false;
  *bytes = value * unit;
  return true;
}

std::string UnmaskingListWord(const std::string& word) {
  const std::string lower = Lower(word);
  if (lower == "all") return "*";
  if (lower == "none") return "";
  return word;
}

bool ParseCreateLunWords(const std::vector<std::string>& words, CreateLunArgs* args,
                         std::string* error) {
  *args = CreateLunArgs{};
  if (words.empty()) {
    *error =
        "create lun wants a type: default, faulttolerant, nonfaulttolerant, simple, span, "
        "stripe, mirror, raid, parity, raid3, raid5, raid6, raid10, raid30, raid50, raid60 "
        "or type=N.";
    return false;
  }
  bool typed = false;
  for (const std::string& word : words) {
    const size_t equals = word.find('=');
    const std::string key = Lower(word.substr(0, equals));
    const std::string value = equals == std::string::npos ? "" : word.substr(equals + 1);
    if (equals == std::string::npos) {
      const auto* found = std::find_if(std::begin(kTypeWords), std::end(kTypeWords),
                                       [&](const auto& entry) { return key == entry.first; });
      if (typed || found == std::end(kTypeWords)) {
        *error = typed ? "The LUN type is given twice (\"" + word + "\")."
                       : "\"" + word + "\" is no LUN type.";
        return false;
      }
      args->type = found->second;
      typed = true;
      continue;
    }
    ULONGLONG number = 0;
    bool flag = false;
    if (key == "type" && ParseNumber(value, std::numeric_limits<int32_t>::max(), &number)) {
      if (typed) {
        *error = "The LUN type is given twice (\"" + word + "\").";
        return false;
      }
      args->type = static_cast<VDS_LUN_TYPE>(number);
      typed = true;
    } else if (key == "size" && ParseSize(value, kMB, &args->size)) {
    } else if (key == "drives") {
      if (!ParseDrives(value, &args->drives, error)) return false;
    } else if (key == "stripesize" && ParseSize(value, 1, &number) &&
               number <= std::numeric_limits<ULONG>::max()) {
      args->hints.ulStripeSize = static_cast<ULONG>(number);
    } else if (key == "unmask") {
      args->unmask = UnmaskingListWord(value);
    } else if (key == "hints" &&
               ParseNumber(value, std::numeric_limits<ULONGLONG>::max(), &number)) {
      args->hints.ullHintMask = number | (args->hints.ullHintMask & kHotSpareBit);
    } else if (key == "mostlyreads" && ParseBool(value, &flag)) {
      args->hints.bMostlyReads = flag ? TRUE : FALSE;
    } else if (key == "maxdrives" &&
               ParseNumber(value, std::numeric_limits<ULONG>::max(), &number)) {
      args->hints.ulMaximumDriveCount = static_cast<ULONG>(number);
    } else if (key == "hotspare" && ParseBool(value, &flag)) {
      if (flag) args->hints.ullHintMask |= kHotSpareBit;
    } else if (key == "pool" && ParseNumber(value, std::numeric_limits<int>::max(), &number)) {
      args->pool = static_cast<int>(number);
    } else {
      *error = "\"" + word +
               "\" is not understood: create lun TYPE [size=N] [drives=i,j,...] "
               "[stripesize=N] [unmask=LIST] [hints=0xMASK] [mostlyreads=true|false] "
               "[maxdrives=N] [hotspare=true] [pool=N].";
      return false;
    }
  }
  if (!typed) {
    *error = "create lun wants a type.";
    return false;
  }
  if (args->pool && !args->drives.empty()) {
    *error = "A LUN in a pool takes the pool's drives: pool= and drives= don't go together.";
    return false;
  }
  return true;
}

ProvisionCommands::ProvisionCommands(Model* model, Output* output, bool hints2)
    : model_(model), output_(output), hints2_(hints2) {}

ExitCode ProvisionCommands::Failed(HRESULT hr, const char* call) {
  output_->CallFailed(CallError{hr, call});
  return kExitFatal;
}

ExitCode ProvisionCommands::Subsystem(int index, ComPtr<IVdsSubSystem>* object) {
  if (CallResult error = model_->SubsystemObject(index, object)) {
    output_->CallFailed(*error);
    return kExitFatal;
  }
  if (!*object) {
    output_->Problem("There is no subsystem " + std::to_string(index) + ".");
    return kExitBadArguments;
  }
  return kExitOk;
}

ExitCode ProvisionCommands::CreateLun(int subsystem, const CreateLunArgs& args,
                                      std::optional<GUID>* created) {
  created->reset();
  IVdsAsync* rawAsync = nullptr;
  if (args.pool) {
    if (ExitCode code =
            StartCreateInPool(model_, output_, *args.pool, args, &rawAsync, &subsystem)) {
      return code;
    }
    return WaitAndAnnounce(subsystem, rawAsync, created);
  }
  ComPtr<IVdsSubSystem> object;
  if (ExitCode code = Subsystem(subsystem, &object)) return code;
  std::vector<VDS_OBJECT_ID> ids;
  if (!args.drives.empty()) {
    std::vector<DriveRow> rows;
    if (CallResult error = model_->Drives(subsystem, &rows)) {
      output_->CallFailed(*error);
      return kExitFatal;
    }
    for (int index : args.drives) {
      const auto row = std::find_if(rows.begin(), rows.end(),
                                    [&](const DriveRow& drive) { return drive.index == index; });
      if (row == rows.end()) {
        output_->Problem("There is no drive " + std::to_string(index) + " in subsystem " +
                         std::to_string(subsystem) + ".");
        return kExitBadArguments;
      }
      ids.push_back(row->prop.id);
    }
  }
  std::u16string list = Utf8ToUtf16(args.unmask);
  VDS_HINTS hints = args.hints;
  HRESULT hr;
  const char* call = "IVdsSubSystem::CreateLun";
  if (hints2_) {
    call = "IVdsSubSystem2::CreateLun2";
    void* raw = nullptr;
    hr = object->QueryInterface(IID_IVdsSubSystem2, &raw);
    if (FAILED(hr)) return Failed(hr, "IUnknown::QueryInterface");
    ComPtr<IVdsSubSystem2> object2;
    object2.Attach(static_cast<IVdsSubSystem2*>(raw));
    VDS_HINTS2 hints2{};
    hints2.ullHintMask = hints.ullHintMask;
    hints2.ulMaximumDriveCount = hints.ulMaximumDriveCount;
    hints2.ulStripeSize = hints.ulStripeSize;
    hints2.bMostlyReads = hints.bMostlyReads;
    // The mask bits the platform ties to a boolean travel with their boolean.
    for (const auto& [bit, member] : kGatedBits) {
      hints2.*member = (hints.ullHintMask & bit) != 0 ? TRUE : FALSE;
    }
    hr = object2->CreateLun2(args.type, args.size, ids.empty() ? nullptr : ids.data(),
                             static_cast<LONG>(ids.size()), list.data(), &hints2, &rawAsync);
  } else {
    hr = object->CreateLun(args.type, args.size, ids.empty() ? nullptr : ids.data(),
                           static_cast<LONG>(ids.size()), list.data(), &hints, &rawAsync);
  }
  if (FAILED(hr)) return Failed(hr, call);
  return WaitAndAnnounce(subsystem, rawAsync, created);
}

ExitCode ProvisionCommands::WaitAndAnnounce(int subsystem, IVdsAsync* rawAsync,
                                            std::optional<GUID>* created) {
  ComPtr<IVdsAsync> async;
  async.Attach(rawAsync);
  HRESULT result = S_OK;
  VDS_ASYNC_OUTPUT out{};
  HRESULT hr = async->Wait(&result, &out);
  if (FAILED(hr)) return Failed(hr, "IVdsAsync::Wait");
  if (FAILED(result)) return Failed(result, "IVdsAsync::Wait");
  ComPtr<IUnknown> lunUnknown;
  lunUnknown.Attach(out.cl.pLunUnk);
  if (!lunUnknown) return Failed(E_UNEXPECTED, "IVdsAsync::Wait");
  void* raw = nullptr;
  hr = lunUnknown->QueryInterface(IID_IVdsLun, &raw);
  if (FAILED(hr)) return Failed(hr, "IUnknown::QueryInterface");
  ComPtr<IVdsLun> lun;
  lun.Attach(static_cast<IVdsLun*>(raw));
  VDS_LUN_PROP prop{};
  hr = lun->GetProperties(&prop);
  if (FAILED(hr)) return Failed(hr, "IVdsLun::GetProperties");
  CoTaskMemFree(prop.pwszFriendlyName);
  CoTaskMemFree(prop.pwszIdentification);
  CoTaskMemFree(prop.pwszUnmaskingList);
  *created = prop.id;
  return Announce(subsystem, prop.id);
}

ExitCode ProvisionCommands::Announce(int subsystem, const GUID& id) {
  std::vector<LunRow> rows;
  if (CallResult error = model_->Luns(subsystem, &rows)) {
    output_->CallFailed(*error);
    return kExitFatal;
  }
  const auto row =
      std::find_if(rows.begin(), rows.end(), [&](const LunRow& lun) { return lun.prop.id == id; });
  if (row == rows.end()) return Failed(VDS_E_OBJECT_NOT_FOUND, "IVdsSubSystem::QueryLuns");
  if (output_->Json()) {
    output_->Document(Json{{"lun", ToJson(*row)}});
    return kExitOk;
  }
  // The owning controller, by the controllers' list order (A first).
  std::string owner;
  ComPtr<IVdsSubSystem> object;
  IEnumVdsObject* controllers = nullptr;
  if (model_->SubsystemObject(subsystem, &object) || !object ||
      FAILED(object->QueryControllers(&controllers))) {
    controllers = nullptr;
  }
  for (int index = 0; controllers != nullptr && owner.empty(); ++index) {
    IUnknown* unknown = nullptr;
    ULONG fetched = 0;
    if (controllers->Next(1, &unknown, &fetched) != S_OK || fetched != 1) break;
    IVdsController* controller = nullptr;
    IEnumVdsObject* luns = nullptr;
    if (SUCCEEDED(
            unknown->QueryInterface(IID_IVdsController, reinterpret_cast<void**>(&controller))) &&
        SUCCEEDED(controller->QueryAssociatedLuns(&luns)) && luns != nullptr) {
      IUnknown* lunUnknown = nullptr;
      while (owner.empty() && luns->Next(1, &lunUnknown, &fetched) == S_OK && fetched == 1) {
        IVdsLun* lun = nullptr;
        VDS_LUN_PROP prop{};
        if (SUCCEEDED(lunUnknown->QueryInterface(IID_IVdsLun, reinterpret_cast<void**>(&lun))) &&
            SUCCEEDED(lun->GetProperties(&prop))) {
          if (prop.id == id) owner = std::string(1, static_cast<char>('A' + index));
          CoTaskMemFree(prop.pwszFriendlyName);
          CoTaskMemFree(prop.pwszIdentification);
          CoTaskMemFree(prop.pwszUnmaskingList);
        }
        if (lun != nullptr) lun->Release();
        lunUnknown->Release();
      }
    }
    if (luns != nullptr) luns->Release();
    if (controller != nullptr) controller->Release();
    unknown->Release();
  }
  if (controllers != nullptr) controllers->Release();
  std::string line = "LUN " + std::to_string(row->index) +
                     " created: " + LunTypeWord(row->prop.type) + ", " +
                     HumanSize(row->prop.ullSize);
  if (!owner.empty()) line += ", on controller " + owner;
  output_->Text(line + ".\n" + ListText(std::vector<LunRow>{*row}, GUID_NULL));
  return kExitOk;
}

ExitCode ProvisionCommands::Unmask(int subsystem, int index, const std::string& list) {
  std::vector<LunRow> rows;
  if (CallResult error = model_->Luns(subsystem, &rows)) {
    output_->CallFailed(*error);
    return kExitFatal;
  }
  for (const LunRow& row : rows) {
    if (row.index == index) return UnmaskById(row.prop.id, list);
  }
  output_->Problem("There is no LUN " + std::to_string(index) + " in subsystem " +
                   std::to_string(subsystem) + ".");
  return kExitBadArguments;
}

ExitCode ProvisionCommands::UnmaskById(const GUID& id, const std::string& list) {
  std::vector<SubsystemRow> subsystems;
  if (CallResult error = model_->Subsystems(&subsystems)) {
    output_->CallFailed(*error);
    return kExitFatal;
  }
  for (const SubsystemRow& row : subsystems) {
    ComPtr<IVdsSubSystem> object;
    if (ExitCode code = Subsystem(row.index, &object)) return code;
    IEnumVdsObject* luns = nullptr;
    const HRESULT listed = object->QueryLuns(&luns);
    if (FAILED(listed)) return Failed(listed, "IVdsSubSystem::QueryLuns");
    ComPtr<IEnumVdsObject> holder;
    holder.Attach(luns);
    IUnknown* unknown = nullptr;
    ULONG fetched = 0;
    while (luns->Next(1, &unknown, &fetched) == S_OK && fetched == 1) {
      ComPtr<IUnknown> element;
      element.Attach(unknown);
      void* raw = nullptr;
      if (FAILED(unknown->QueryInterface(IID_IVdsLun, &raw))) continue;
      ComPtr<IVdsLun> lun;
      lun.Attach(static_cast<IVdsLun*>(raw));
      VDS_LUN_PROP prop{};
      if (FAILED(lun->GetProperties(&prop))) continue;
      CoTaskMemFree(prop.pwszFriendlyName);
      CoTaskMemFree(prop.pwszIdentification);
      CoTaskMemFree(prop.pwszUnmaskingList);
      if (prop.id != id) continue;
      std::u16string wide = Utf8ToUtf16(list);
      const HRESULT hr = lun->SetMask(wide.data());
      if (FAILED(hr)) return Failed(hr, "IVdsLun::SetMask");
      if (output_->Json()) {
        output_->Document(Json{{"ok", true}});
      } else {
        output_->Text(list.empty()  ? "The LUN is now hidden from every host.\n"
                      : list == "*" ? "The LUN is now visible to every host.\n"
                                    : "The LUN is now visible to " + list + ".\n");
      }
      return kExitOk;
    }
  }
  output_->Problem("The LUN is gone.");
  return kExitBadArguments;
}

}  // namespace vdsctl
