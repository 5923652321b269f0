#include "tools/vdsctl/size_commands.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <limits>
#include <mutex>
#include <thread>

#include "platform/clock.h"
#include "platform/strings.h"
#include "tools/vdsctl/json.h"
#include "tools/vdsctl/names.h"
#include "tools/vdsctl/table.h"
#include "tools/vdsctl/views.h"
#include "tools/vdsctl/words.h"

namespace vdsctl {

namespace {

constexpr ULONGLONG kMB = 1ULL << 20;
// How often the progress display asks the async object, in the provider's (scaled) time.
constexpr DWORD kProgressPollMs = 1000;
constexpr int kBarWidth = 30;

bool ParseIndex(const std::string& text, int* index) {
  if (text.empty() || text.size() > 9 ||
      text.find_first_not_of("0123456789") != std::string::npos) {
    return false;
  }
  *index = std::stoi(text);
  return true;
}

// The type word of `maxsize create|pool`, by the words create lun takes.
bool ParseType(const std::string& word, VDS_LUN_TYPE* type, std::string* error) {
  CreateLunArgs create;
  if (word.find('=') != std::string::npos && Lower(word).rfind("type=", 0) != 0) {
    *error = "\"" + word + "\" is no LUN type.";
    return false;
  }
  if (!ParseCreateLunWords({word}, &create, error)) return false;
  *type = create.type;
  return true;
}

// key=value words after the fixed ones; `allowed` names the keys this verb takes.
bool ParseOptions(const std::vector<std::string>& words, size_t first,
                  const std::vector<std::string>& allowed, const std::string& usage, SizeArgs* args,
                  std::string* error) {
  for (size_t i = first; i < words.size(); ++i) {
    const std::string& word = words[i];
    const size_t equals = word.find('=');
    const std::string key = Lower(word.substr(0, equals));
    const std::string value = equals == std::string::npos ? "" : word.substr(equals + 1);
    if (equals == std::string::npos ||
        std::find(allowed.begin(), allowed.end(), key) == allowed.end()) {
      *error = "\"" + word + "\" is not understood: " + usage + ".";
      return false;
    }
    if (key == "drives") {
      if (!args->drives.empty()) {
        *error = "drives= is given twice.";
        return false;
      }
      if (!ParseDrives(value, &args->drives, error)) return false;
      continue;
    }
    if (key == "size") {
      if (!ParseSize(value, kMB, &args->size)) {
        *error = "size= wants a size such as 10GB or 512 (MB), not \"" + value + "\".";
        return false;
      }
      continue;
    }
    // The hint keys mean what they mean to create lun.
    CreateLunArgs create;
    if (!ParseCreateLunWords({"default", word}, &create, error)) {
      *error = "\"" + word + "\" is not understood: " + usage + ".";
      return false;
    }
    if (key == "hints") {
      args->hints.ullHintMask = create.hints.ullHintMask;
    } else if (key == "stripesize") {
      args->hints.ulStripeSize = create.hints.ulStripeSize;
    } else if (key == "maxdrives") {
      args->hints.ulMaximumDriveCount = create.hints.ulMaximumDriveCount;
    }
  }
  return true;
}

}  // namespace

std::optional<bool> ParseSizeWords(const std::vector<std::string>& words, SizeArgs* args,
                                   std::string* error) {
  if (words.empty()) return std::nullopt;
  const std::string verb = Lower(words[0]);
  if (verb != "maxsize" && verb != "extend" && verb != "shrink") return std::nullopt;
  *args = SizeArgs{};
  const std::string second = words.size() > 1 ? Lower(words[1]) : "";
  if (verb == "maxsize") {
    const std::string usage =
        "maxsize create TYPE [drives=i,j,...] [hints=0xMASK] [stripesize=N] [maxdrives=N], "
        "maxsize pool N TYPE, or maxsize extend lun N [drives=i,j,...]";
    if (second == "create" && words.size() > 2) {
      args->verb = SizeArgs::Verb::kMaxCreate;
      return ParseType(words[2], &args->type, error) &&
             ParseOptions(words, 3, {"drives", "hints", "stripesize", "maxdrives"}, usage, args,
                          error);
    }
    if (second == "pool" && words.size() == 4) {
      args->verb = SizeArgs::Verb::kMaxPool;
      if (!ParseIndex(words[2], &args->object)) {
        *error = "maxsize pool wants a pool number, not \"" + words[2] + "\".";
        return false;
      }
      return ParseType(words[3], &args->type, error);
    }
    if (second == "extend" && words.size() > 3 && Lower(words[2]) == "lun") {
      args->verb = SizeArgs::Verb::kMaxExtend;
      if (!ParseIndex(words[3], &args->object)) {
        *error = "maxsize extend lun wants a LUN number, not \"" + words[3] + "\".";
        return false;
      }
      return ParseOptions(words, 4, {"drives"}, usage, args, error);
    }
    *error = "maxsize wants: " + usage + ".";
    return false;
  }
  const bool extend = verb == "extend";
  const std::string usage =
      extend ? "extend lun N [size=N] [drives=i,j,...]" : "shrink lun N size=N";
  if (second != "lun" || words.size() < 3 || !ParseIndex(words[2], &args->object)) {
    *error = verb + " wants: " + usage + ".";
    return false;
  }
  args->verb = extend ? SizeArgs::Verb::kExtend : SizeArgs::Verb::kShrink;
  if (!ParseOptions(
          words, 3,
          extend ? std::vector<std::string>{"size", "drives"} : std::vector<std::string>{"size"},
          usage, args, error)) {
    return false;
  }
  if (!extend && words.size() != 4) {
    *error = "shrink wants: " + usage + ".";
    return false;
  }
  return true;
}

std::string ProgressBar(ULONG percent, uint64_t elapsedSeconds) {
  const ULONG shown = std::min<ULONG>(percent, 100);
  const int filled = static_cast<int>(shown * kBarWidth / 100);
  char time[32];
  std::snprintf(time, sizeof(time), "%llu:%02llu",
                static_cast<unsigned long long>(elapsedSeconds / 60),
                static_cast<unsigned long long>(elapsedSeconds % 60));
  char number[8];
  std::snprintf(number, sizeof(number), "%3u%%", static_cast<unsigned>(shown));
  return "Extending [" + std::string(static_cast<size_t>(filled), '#') +
         std::string(static_cast<size_t>(kBarWidth - filled), ' ') + "] " + number + "  " + time;
}

SizeCommands::SizeCommands(Model* model, Output* output, ProgressStyle style,
                           std::ostream& progress)
    : model_(model), output_(output), style_(style), progress_(progress) {}

ExitCode SizeCommands::Run(int subsystem, const SizeArgs& args) {
  switch (args.verb) {
    case SizeArgs::Verb::kMaxCreate:
      return MaxCreate(subsystem, args);
    case SizeArgs::Verb::kMaxPool:
      return MaxPool(args);
    case SizeArgs::Verb::kMaxExtend:
      return MaxExtend(subsystem, args);
    case SizeArgs::Verb::kExtend:
      return Extend(subsystem, args);
    case SizeArgs::Verb::kShrink:
      return Shrink(subsystem, args);
  }
  return kExitBadArguments;
}

ExitCode SizeCommands::Failed(HRESULT hr, const char* call) {
  output_->CallFailed(CallError{hr, call});
  return kExitFatal;
}

ExitCode SizeCommands::ReportSize(ULONGLONG bytes) {
  if (output_->Json()) {
    output_->Document(Json{{"size", bytes}});
  } else {
    output_->Text(HumanSize(bytes) + " (" + std::to_string(bytes) + " bytes)\n");
  }
  return kExitOk;
}

ExitCode SizeCommands::DriveIds(int subsystem, const std::vector<int>& drives,
                                std::vector<VDS_OBJECT_ID>* ids) {
  if (drives.empty()) return kExitOk;
  std::vector<DriveRow> rows;
  if (CallResult error = model_->Drives(subsystem, &rows)) {
    output_->CallFailed(*error);
    return kExitFatal;
  }
  for (int index : drives) {
    const auto row = std::find_if(rows.begin(), rows.end(),
                                  [&](const DriveRow& drive) { return drive.index == index; });
    if (row == rows.end()) {
      output_->Problem("There is no drive " + std::to_string(index) + " in subsystem " +
                       std::to_string(subsystem) + ".");
      return kExitBadArguments;
    }
    ids->push_back(row->prop.id);
  }
  return kExitOk;
}

ExitCode SizeCommands::Lun(int subsystem, int index, ComPtr<IVdsLun>* lun, LunRow* out) {
  std::vector<LunRow> rows;
  if (CallResult error = model_->Luns(subsystem, &rows)) {
    output_->CallFailed(*error);
    return kExitFatal;
  }
  const auto row =
      std::find_if(rows.begin(), rows.end(), [&](const LunRow& r) { return r.index == index; });
  if (row == rows.end()) {
    output_->Problem("There is no LUN " + std::to_string(index) + " in subsystem " +
                     std::to_string(subsystem) + ".");
    return kExitBadArguments;
  }
  *out = *row;
  IUnknown* unknown = nullptr;
  void* raw = nullptr;
  ComPtr<IVdsSubSystem> object;
  if (CallResult error = model_->SubsystemObject(subsystem, &object)) {
    output_->CallFailed(*error);
    return kExitFatal;
  }
  IEnumVdsObject* list = nullptr;
  HRESULT hr = object->QueryLuns(&list);
  if (FAILED(hr)) return Failed(hr, "IVdsSubSystem::QueryLuns");
  ComPtr<IEnumVdsObject> holder;
  holder.Attach(list);
  ULONG fetched = 0;
  while (!*lun && list->Next(1, &unknown, &fetched) == S_OK && fetched == 1) {
    ComPtr<IUnknown> element;
    element.Attach(unknown);
    if (FAILED(unknown->QueryInterface(IID_IVdsLun, &raw))) continue;
    ComPtr<IVdsLun> candidate;
    candidate.Attach(static_cast<IVdsLun*>(raw));
    VDS_LUN_PROP prop{};
    if (FAILED(candidate->GetProperties(&prop))) continue;
    CoTaskMemFree(prop.pwszFriendlyName);
    CoTaskMemFree(prop.pwszIdentification);
    CoTaskMemFree(prop.pwszUnmaskingList);
    if (prop.id == row->prop.id) *lun = std::move(candidate);
  }
  if (!*lun) return Failed(VDS_E_OBJECT_NOT_FOUND, "IVdsSubSystem::QueryLuns");
  return kExitOk;
}

ExitCode SizeCommands::MaxCreate(int subsystem, const SizeArgs& args) {
  ComPtr<IVdsSubSystem> object;
  if (CallResult error = model_->SubsystemObject(subsystem, &object)) {
    output_->CallFailed(*error);
    return kExitFatal;
  }
  if (!object) {
    output_->Problem("There is no subsystem " + std::to_string(subsystem) + ".");
    return kExitBadArguments;
  }
  std::vector<VDS_OBJECT_ID> ids;
  if (ExitCode code = DriveIds(subsystem, args.drives, &ids)) return code;
  VDS_HINTS hints = args.hints;
  ULONGLONG size = 0;
  const HRESULT hr = object->QueryMaxLunCreateSize(args.type, ids.empty() ? nullptr : ids.data(),
                                                   static_cast<LONG>(ids.size()), &hints, &size);
  if (FAILED(hr)) return Failed(hr, "IVdsSubSystem::QueryMaxLunCreateSize");
  return ReportSize(size);
}

ExitCode SizeCommands::MaxPool(const SizeArgs& args) {
  std::vector<PoolRow> pools;
  if (CallResult error = model_->Pools(&pools)) {
    output_->CallFailed(*error);
    return kExitFatal;
  }
  if (args.object < 0 || static_cast<size_t>(args.object) >= pools.size()) {
    output_->Problem("There is no pool " + std::to_string(args.object) + ".");
    return kExitBadArguments;
  }
  void* raw = nullptr;
  HRESULT hr = model_->ProviderObject()->QueryInterface(IID_IVdsHwProviderStoragePools, &raw);
  if (FAILED(hr)) return Failed(hr, "IUnknown::QueryInterface");
  ComPtr<IVdsHwProviderStoragePools> provider;
  provider.Attach(static_cast<IVdsHwProviderStoragePools*>(raw));
  VDS_HINTS2 hints{};
  ULONGLONG size = 0;
  hr = provider->QueryMaxLunCreateSizeInStoragePool(
      args.type, pools[static_cast<size_t>(args.object)].prop.id, &hints, &size);
  if (FAILED(hr)) {
    return Failed(hr, "IVdsHwProviderStoragePools::QueryMaxLunCreateSizeInStoragePool");
  }
  return ReportSize(size);
}

ExitCode SizeCommands::MaxExtend(int subsystem, const SizeArgs& args) {
  ComPtr<IVdsLun> lun;
  LunRow row;
  if (ExitCode code = Lun(subsystem, args.object, &lun, &row)) return code;
  std::vector<VDS_OBJECT_ID> ids;
  if (ExitCode code = DriveIds(subsystem, args.drives, &ids)) return code;
  ULONGLONG size = 0;
  const HRESULT hr = lun->QueryMaxLunExtendSize(ids.empty() ? nullptr : ids.data(),
                                                static_cast<LONG>(ids.size()), &size);
  if (FAILED(hr)) return Failed(hr, "IVdsLun::QueryMaxLunExtendSize");
  return ReportSize(size);
}

HRESULT SizeCommands::WaitWithProgress(IVdsAsync* async, HRESULT* result, VDS_ASYNC_OUTPUT* out) {
  if (style_ == ProgressStyle::kNone) return async->Wait(result, out);
  std::mutex mutex;
  std::condition_variable done;
  bool finished = false;
  const auto start = std::chrono::steady_clock::now();
  std::thread display([&] {
    int lastTenth = -1;
    bool drawn = false;
    for (;;) {
      HRESULT status = S_OK;
      ULONG percent = 0;
      if (SUCCEEDED(async->QueryStatus(&status, &percent))) {
        const auto elapsed = static_cast<uint64_t>(std::chrono::duration_cast<std::chrono::seconds>(
                                                       std::chrono::steady_clock::now() - start)
                                                       .count());
        if (style_ == ProgressStyle::kBar) {
          progress_ << '\r' << ProgressBar(percent, elapsed) << std::flush;
          drawn = true;
        } else if (static_cast<int>(std::min<ULONG>(percent, 100) / 10) > lastTenth) {
          lastTenth = static_cast<int>(std::min<ULONG>(percent, 100) / 10);
          progress_ << ProgressBar(percent, elapsed) << '\n' << std::flush;
        }
      }
      std::unique_lock<std::mutex> lock(mutex);
      if (done.wait_for(lock, ScaledDuration(kProgressPollMs), [&] { return finished; })) break;
    }
    if (drawn) progress_ << '\n' << std::flush;
  });
  const HRESULT hr = async->Wait(result, out);
  {
    std::lock_guard<std::mutex> lock(mutex);
    finished = true;
  }
  done.notify_one();
  display.join();
  return hr;
}

ExitCode SizeCommands::Extend(int subsystem, const SizeArgs& args) {
  ComPtr<IVdsLun> lun;
  LunRow row;
  if (ExitCode code = Lun(subsystem, args.object, &lun, &row)) return code;
  std::vector<VDS_OBJECT_ID> ids;
  if (ExitCode code = DriveIds(subsystem, args.drives, &ids)) return code;
  IVdsAsync* rawAsync = nullptr;
  HRESULT hr = lun->Extend(args.size, ids.empty() ? nullptr : ids.data(),
                           static_cast<LONG>(ids.size()), &rawAsync);
  if (FAILED(hr)) return Failed(hr, "IVdsLun::Extend");
  ComPtr<IVdsAsync> async;
  async.Attach(rawAsync);
  HRESULT result = S_OK;
  VDS_ASYNC_OUTPUT out{};
  hr = WaitWithProgress(async.Get(), &result, &out);
  if (out.cl.pLunUnk != nullptr) out.cl.pLunUnk->Release();
  if (FAILED(hr)) return Failed(hr, "IVdsAsync::Wait");
  if (FAILED(result)) return Failed(result, "IVdsAsync::Wait");
  std::vector<LunRow> rows;
  if (CallResult error = model_->Luns(subsystem, &rows)) {
    output_->CallFailed(*error);
    return kExitFatal;
  }
  const auto now = std::find_if(rows.begin(), rows.end(),
                                [&](const LunRow& r) { return r.prop.id == row.prop.id; });
  if (now == rows.end()) return Failed(VDS_E_OBJECT_NOT_FOUND, "IVdsSubSystem::QueryLuns");
  if (output_->Json()) {
    output_->Document(Json{{"lun", ToJson(*now)}});
  } else {
    output_->Text(
        "LUN " + std::to_string(now->index) + " extended: " + HumanSize(row.prop.ullSize) + " to " +
        HumanSize(now->prop.ullSize) + ".\n" + ListText(std::vector<LunRow>{*now}, GUID_NULL));
  }
  return kExitOk;
}

ExitCode SizeCommands::Shrink(int subsystem, const SizeArgs& args) {
  ComPtr<IVdsLun> lun;
  LunRow row;
  if (ExitCode code = Lun(subsystem, args.object, &lun, &row)) return code;
  IVdsAsync* rawAsync = nullptr;
  const HRESULT hr = lun->Shrink(args.size, &rawAsync);
  if (rawAsync != nullptr) rawAsync->Release();
  if (FAILED(hr)) return Failed(hr, "IVdsLun::Shrink");
  if (output_->Json()) {
    output_->Document(Json{{"done", "LUN " + std::to_string(row.index) + " shrunk."}});
  } else {
    output_->Text("LUN " + std::to_string(row.index) + " shrunk.\n");
  }
  return kExitOk;
}

ExitCode StartCreateInPool(Model* model, Output* output, int pool, const CreateLunArgs& args,
                           IVdsAsync** async, int* subsystem) {
  std::vector<PoolRow> pools;
  if (CallResult error = model->Pools(&pools)) {
    output->CallFailed(*error);
    return kExitFatal;
  }
  if (pool < 0 || static_cast<size_t>(pool) >= pools.size()) {
    output->Problem("There is no pool " + std::to_string(pool) + ".");
    return kExitBadArguments;
  }
  const PoolRow& row = pools[static_cast<size_t>(pool)];
  *subsystem = row.subsystem.value_or(0);
  void* raw = nullptr;
  HRESULT hr = model->ProviderObject()->QueryInterface(IID_IVdsHwProviderStoragePools, &raw);
  if (FAILED(hr)) {
    output->CallFailed(CallError{hr, "IUnknown::QueryInterface"});
    return kExitFatal;
  }
  ComPtr<IVdsHwProviderStoragePools> provider;
  provider.Attach(static_cast<IVdsHwProviderStoragePools*>(raw));
  // The hint bits the platform ties to a boolean travel with their boolean.
  VDS_HINTS2 hints{};
  hints.ullHintMask = args.hints.ullHintMask;
  hints.ulMaximumDriveCount = args.hints.ulMaximumDriveCount;
  hints.ulStripeSize = args.hints.ulStripeSize;
  hints.bMostlyReads = args.hints.bMostlyReads;
  hints.bAllocateHotSpare = (args.hints.ullHintMask & 0x200) != 0 ? TRUE : FALSE;
  hints.bUseMirroredCache = (args.hints.ullHintMask & 0x800) != 0 ? TRUE : FALSE;
  hints.bReadCachingEnabled = (args.hints.ullHintMask & 0x1000) != 0 ? TRUE : FALSE;
  hints.bWriteCachingEnabled = (args.hints.ullHintMask & 0x2000) != 0 ? TRUE : FALSE;
  hints.bMediaScanEnabled = (args.hints.ullHintMask & 0x4000) != 0 ? TRUE : FALSE;
  hints.bConsistencyCheckEnabled = (args.hints.ullHintMask & 0x8000) != 0 ? TRUE : FALSE;
  std::u16string list = Utf8ToUtf16(args.unmask);
  hr = provider->CreateLunInStoragePool(args.type, args.size, row.prop.id, list.data(), &hints,
                                        async);
  if (FAILED(hr)) {
    output->CallFailed(CallError{hr, "IVdsHwProviderStoragePools::CreateLunInStoragePool"});
    return kExitFatal;
  }
  return kExitOk;
}

}  // namespace vdsctl
