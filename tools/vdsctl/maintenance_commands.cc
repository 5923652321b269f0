#include "tools/vdsctl/maintenance_commands.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <limits>

#include "platform/strings.h"
#include "tools/vdsctl/enclosure_map.h"
#include "tools/vdsctl/json.h"
#include "tools/vdsctl/names.h"
#include "tools/vdsctl/words.h"

namespace vdsctl {

namespace {

// The members of VDS_HINTS as applyhints names them, with the mask bit a boolean stands for.
struct HintMember {
  const char* name;
  ULONGLONG limit;  // 1 for a boolean
  ULONGLONG bit;    // 0: none
  void (*set)(VDS_HINTS&, ULONGLONG);
  ULONGLONG (*get)(const VDS_HINTS&);
};

#define VDSCTL_HINT(member, limit, bit)                                                      \
  HintMember {                                                                               \
#member, limit, bit,                                                                       \
        [](VDS_HINTS& h, ULONGLONG v) { h.member = static_cast<decltype(h.member)>(v); },      \
        [](const VDS_HINTS& h) { return static_cast<ULONGLONG>(h.member); } \
  }

const HintMember kHintMembers[] = {
    VDSCTL_HINT(ullHintMask, std::numeric_limits<ULONGLONG>::max(), 0),
    VDSCTL_HINT(ullExpectedMaximumSize, std::numeric_limits<ULONGLONG>::max(), 0),
    VDSCTL_HINT(ulOptimalReadSize, std::numeric_limits<ULONG>::max(), 0),
    VDSCTL_HINT(ulOptimalReadAlignment, std::numeric_limits<ULONG>::max(), 0),
    VDSCTL_HINT(ulOptimalWriteSize, std::numeric_limits<ULONG>::max(), 0),
    VDSCTL_HINT(ulOptimalWriteAlignment, std::numeric_limits<ULONG>::max(), 0),
    VDSCTL_HINT(ulMaximumDriveCount, std::numeric_limits<ULONG>::max(), 0),
    VDSCTL_HINT(ulStripeSize, std::numeric_limits<ULONG>::max(), 0),
    VDSCTL_HINT(bFastCrashRecoveryRequired, 1, 0x1),
    VDSCTL_HINT(bMostlyReads, 1, 0x2),
    VDSCTL_HINT(bOptimizeForSequentialReads, 1, 0x4),
    VDSCTL_HINT(bOptimizeForSequentialWrites, 1, 0x8),
    VDSCTL_HINT(bRemapEnabled, 1, 0x20),
    VDSCTL_HINT(bReadBackVerifyEnabled, 1, 0x10),
    VDSCTL_HINT(bWriteThroughCachingEnabled, 1, 0x40),
    VDSCTL_HINT(bHardwareChecksumEnabled, 1, 0x80),
    VDSCTL_HINT(bIsYankable, 1, 0x100),
    VDSCTL_HINT(sRebuildPriority, std::numeric_limits<SHORT>::max(), 0),
};
#undef VDSCTL_HINT

bool ParseApplyHints(const std::vector<std::string>& words, size_t from, VDS_HINTS* hints,
                     std::string* error) {
  *hints = VDS_HINTS{};
  bool maskGiven = false;
  ULONGLONG impliedBits = 0;
  for (size_t i = from; i < words.size(); ++i) {
    const std::string& word = words[i];
    const size_t equals = word.find('=');
    const std::string key = Lower(word.substr(0, equals));
    const std::string value = equals == std::string::npos ? "" : word.substr(equals + 1);
    const HintMember* member = nullptr;
    if (key == "hints") {
      member = &kHintMembers[0];
    } else {
      for (const HintMember& candidate : kHintMembers) {
        if (key == Lower(candidate.name)) member = &candidate;
      }
    }
    if (equals == std::string::npos || member == nullptr) {
      *error = "\"" + word +
               "\" is not understood: applyhints wants hints=0xMASK and VDS_HINTS members as "
               "key=value (bMostlyReads=true, ulStripeSize=65536, ...).";
      return false;
    }
    ULONGLONG number = 0;
    bool flag = false;
    if (member->limit == 1) {
      if (!ParseBool(value, &flag)) {
        *error = std::string(member->name) + "= wants true or false, not \"" + value + "\".";
        return false;
      }
      number = flag ? 1 : 0;
      impliedBits |= member->bit;
    } else if (!ParseNumber(value, member->limit, &number)) {
      *error = std::string(member->name) + "= wants a number (decimal or 0x hex) up to " +
               std::to_string(member->limit) + ", not \"" + value + "\".";
      return false;
    }
    if (member == &kHintMembers[0]) maskGiven = true;
    member->set(*hints, number);
  }
  // Without a mask, the booleans named are the ones that apply.
  if (!maskGiven) hints->ullHintMask = impliedBits;
  return true;
}

bool ParsePorts(const std::string& text, std::vector<int>* ports, std::string* error) {
  ports->clear();
  if (text.empty()) return true;
  size_t start = 0;
  while (start <= text.size()) {
    const size_t end = std::min(text.find(',', start), text.size());
    int index = 0;
    if (!ParseIndex(text.substr(start, end - start), &index)) {
      *error = "ports= wants port numbers separated by commas, not \"" + text + "\".";
      return false;
    }
    if (std::find(ports->begin(), ports->end(), index) == ports->end()) ports->push_back(index);
    start = end + 1;
  }
  return true;
}

struct VerbForm {
  const char* word;
  const char* usage;
};
const VerbForm kVerbForms[] = {
    {"delete", "delete lun N"},
    {"name", "name lun N NAME | name subsystem N NAME"},
    {"hints", "hints lun N"},
    {"applyhints", "applyhints lun N [hints=0xMASK] [key=value ...]"},
    {"associate", "associate lun N ports=i,j,..."},
    {"setflag", "setflag drive N hotspare=true|false"},
    {"maintenance", "maintenance drive N blink|unblink [count=N] | maintenance controller N beep"},
    {"flushcache", "flushcache controller N"},
    {"invalidatecache", "invalidatecache controller N"},
    {"refresh", "refresh provider"},
    {"reenumerate", "reenumerate provider | reenumerate subsystem N"},
    {"show", "show enclosures"},
};

// The kind a verb works on when the shell's line leaves it out ("hints", "maintenance beep").
const char* ImpliedKind(const std::string& verb, const std::vector<std::string>& words) {
  if (verb == "setflag") return "drive";
  if (verb == "flushcache" || verb == "invalidatecache") return "controller";
  if (verb == "maintenance") {
    return words.size() > 1 && Lower(words[1]) == "beep" ? "controller" : "drive";
  }
  if (verb == "delete" || verb == "name" || verb == "hints" || verb == "applyhints" ||
      verb == "associate") {
    return "lun";
  }
  return nullptr;
}

}  // namespace

std::string MaintenanceUsage(const std::string& verb) {
  for (const VerbForm& form : kVerbForms) {
    if (Lower(verb) == form.word) return form.usage;
  }
  return "";
}

ParseOutcome ParseMaintenanceWords(const std::vector<std::string>& given, bool selection,
                                   MaintenanceRequest* request, std::string* error) {
  if (given.empty()) return ParseOutcome::kNotMine;
  std::vector<std::string> words = given;
  const std::string verb = Lower(words[0]);
  if (selection && (words.size() < 2 || !ParseKind(words[1]))) {
    if (const char* kind = ImpliedKind(verb, words)) words.insert(words.begin() + 1, kind);
  }
  const std::string usage = MaintenanceUsage(verb);
  if (usage.empty()) return ParseOutcome::kNotMine;
  *request = MaintenanceRequest{};
  const auto bad = [&](const std::string& why) {
    *error = why.empty() ? "Usage: " + usage : why + " Usage: " + usage;
    return ParseOutcome::kBad;
  };
  const std::string second = words.size() > 1 ? Lower(words[1]) : "";
  if (verb == "refresh") {
    // The shell's own refresh does the same.
    if (selection) return ParseOutcome::kNotMine;
    if (words.size() != 2 || second != "provider") return bad("");
    request->verb = MaintenanceVerb::kRefresh;
    return ParseOutcome::kParsed;
  }
  if (verb == "show") {
    if (words.size() != 2 || !MatchesKeyword(words[1], "enclosures")) return bad("");
    request->verb = MaintenanceVerb::kShowEnclosures;
    return ParseOutcome::kParsed;
  }
  if (verb == "reenumerate" && second == "provider") {
    if (words.size() != 2) return bad("");
    request->verb = MaintenanceVerb::kReenumerate;
    return ParseOutcome::kParsed;
  }
  const std::optional<Kind> kind = words.size() > 1 ? ParseKind(words[1]) : std::nullopt;
  // The object, when the next word names one.
  size_t next = 2;
  if (words.size() > 2) {
    ObjectRef ref = ParseObjectRef(words[2]);
    if (ref.by != ObjectRef::By::kInvalid) {
      request->object = ref;
      next = 3;
    }
  }
  request->kind = kind;
  const auto needObject = [&]() { return !request->object && !selection; };
  if (verb == "reenumerate") {
    // "reenumerate subsystems" without a number is the shell's enumeration of all of them.
    if (kind != Kind::kSubsystem || (selection && !request->object)) {
      return selection ? ParseOutcome::kNotMine : bad("");
    }
    if (!request->object || words.size() != next) return bad("");
    request->verb = MaintenanceVerb::kReenumerate;
    return ParseOutcome::kParsed;
  }
  if (verb == "name") {
    if (kind != Kind::kLun && kind != Kind::kSubsystem) return bad("name wants lun or subsystem.");
    request->verb = MaintenanceVerb::kName;
    // "name lun 3" in the shell names the selected LUN "3".
    if (request->object && words.size() == 3 && selection) {
      request->object.reset();
      next = 2;
    }
    if (needObject() || words.size() <= next) return bad("The name is missing.");
    for (size_t i = next; i < words.size(); ++i) {
      request->name += (i > next ? " " : "") + words[i];
    }
    return ParseOutcome::kParsed;
  }
  const Kind wanted = verb == "setflag"                                   ? Kind::kDrive
                      : verb == "flushcache" || verb == "invalidatecache" ? Kind::kController
                      : verb == "maintenance" ? kind.value_or(Kind::kDrive)
                                              : Kind::kLun;
  if (kind != wanted ||
      (verb == "maintenance" && wanted != Kind::kDrive && wanted != Kind::kController)) {
    return bad("");
  }
  if (needObject()) return bad("The " + KindWord(wanted) + " number is missing.");
  const std::vector<std::string> rest(words.begin() + static_cast<std::ptrdiff_t>(next),
                                      words.end());
  if (verb == "delete" || verb == "hints" || verb == "flushcache" || verb == "invalidatecache") {
    if (!rest.empty()) return bad("\"" + rest[0] + "\" is not understood.");
    request->verb = verb == "delete"       ? MaintenanceVerb::kDelete
                    : verb == "hints"      ? MaintenanceVerb::kHints
                    : verb == "flushcache" ? MaintenanceVerb::kFlushCache
                                           : MaintenanceVerb::kInvalidateCache;
    return ParseOutcome::kParsed;
  }
  if (verb == "applyhints") {
    request->verb = MaintenanceVerb::kApplyHints;
    return ParseApplyHints(rest, 0, &request->hints, error) ? ParseOutcome::kParsed
                                                            : ParseOutcome::kBad;
  }
  if (verb == "associate") {
    request->verb = MaintenanceVerb::kAssociate;
    if (rest.size() != 1 || Lower(rest[0]).rfind("ports=", 0) != 0) return bad("");
    return ParsePorts(rest[0].substr(6), &request->ports, error) ? ParseOutcome::kParsed
                                                                 : ParseOutcome::kBad;
  }
  if (verb == "setflag") {
    request->verb = MaintenanceVerb::kSetFlag;
    if (rest.size() != 1 || Lower(rest[0]).rfind("hotspare=", 0) != 0 ||
        !ParseBool(rest[0].substr(9), &request->hotspare)) {
      return bad("");
    }
    return ParseOutcome::kParsed;
  }
  // maintenance
  if (rest.empty()) return bad("The operation is missing.");
  const std::string operation = Lower(rest[0]);
  if (wanted == Kind::kController) {
    if (operation != "beep" || rest.size() != 1) return bad("");
    request->verb = MaintenanceVerb::kBeep;
    return ParseOutcome::kParsed;
  }
  if (operation != "blink" && operation != "unblink") return bad("");
  request->verb = operation == "blink" ? MaintenanceVerb::kBlink : MaintenanceVerb::kUnblink;
  if (rest.size() == 2) {
    ULONGLONG count = 0;
    if (operation != "blink" || Lower(rest[1]).rfind("count=", 0) != 0 ||
        !ParseNumber(rest[1].substr(6), std::numeric_limits<ULONG>::max(), &count)) {
      return bad("count= wants a number of pulses, after blink.");
    }
    request->count = static_cast<ULONG>(count);
  } else if (rest.size() > 2) {
    return bad("");
  }
  return ParseOutcome::kParsed;
}

Json HintsJson(const VDS_HINTS& hints) {
  Json out = Json::object();
  for (const HintMember& member : kHintMembers) {
    const ULONGLONG value = member.get(hints);
    if (member.limit == 1) {
      out[member.name] = value != 0;
    } else if (std::string(member.name) == "sRebuildPriority") {
      out[member.name] = static_cast<int>(hints.sRebuildPriority);
    } else {
      out[member.name] = value;
    }
  }
  return out;
}

MaintenanceCommands::MaintenanceCommands(Model* model, Commands* commands, Output* output,
                                         bool colour)
    : model_(model), commands_(commands), output_(output), colour_(colour) {}

ExitCode MaintenanceCommands::Failed(HRESULT hr, const char* call) {
  output_->CallFailed(CallError{hr, call});
  return kExitFatal;
}

ExitCode MaintenanceCommands::Done(const std::string& text) {
  if (output_->Json()) {
    output_->Document(Json{{"ok", true}});
  } else {
    output_->Text(text + "\n");
  }
  return kExitOk;
}

ExitCode MaintenanceCommands::Object(const GUID& id, Kind kind, const IID& iid, void** out) {
  *out = nullptr;
  void* raw = nullptr;
  HRESULT hr = model_->ProviderObject()->QueryInterface(IID_IVdsProviderPrivate, &raw);
  if (FAILED(hr)) return Failed(hr, "IUnknown::QueryInterface");
  ComPtr<IVdsProviderPrivate> provider;
  provider.Attach(static_cast<IVdsProviderPrivate*>(raw));
  const VDS_OBJECT_TYPE type = kind == Kind::kSubsystem    ? VDS_OT_SUB_SYSTEM
                               : kind == Kind::kController ? VDS_OT_CONTROLLER
                               : kind == Kind::kDrive      ? VDS_OT_DRIVE
                                                           : VDS_OT_LUN;
  IUnknown* unknown = nullptr;
  hr = provider->GetObject(id, type, &unknown);
  if (FAILED(hr)) return Failed(hr, "IVdsProviderPrivate::GetObject");
  hr = unknown->QueryInterface(iid, out);
  unknown->Release();
  if (FAILED(hr)) return Failed(hr, "IUnknown::QueryInterface");
  return kExitOk;
}

ExitCode MaintenanceCommands::Run(const MaintenanceRequest& request, std::optional<int> subsystem,
                                  std::optional<GUID> selected) {
  if (request.verb == MaintenanceVerb::kShowEnclosures) {
    return ShowEnclosures(model_, output_, subsystem, blinking_, colour_);
  }
  if (!request.kind) {
    ComPtr<IVdsHwProvider> hw;
    void* raw = nullptr;
    const HRESULT hr = model_->ProviderObject()->QueryInterface(IID_IVdsHwProvider, &raw);
    if (FAILED(hr)) return Failed(hr, "IUnknown::QueryInterface");
    hw.Attach(static_cast<IVdsHwProvider*>(raw));
    if (request.verb == MaintenanceVerb::kRefresh) {
      if (HRESULT result = hw->Refresh(); FAILED(result)) {
        return Failed(result, "IVdsHwProvider::Refresh");
      }
      return Done("The provider has been refreshed.");
    }
    if (HRESULT result = hw->Reenumerate(); FAILED(result)) {
      return Failed(result, "IVdsHwProvider::Reenumerate");
    }
    return Done("The provider has enumerated its subsystems again.");
  }
  const Kind kind = *request.kind;
  GUID id{};
  std::optional<int> index;
  std::optional<int> within;
  if (request.object) {
    const int scope = KindIsPerSubsystem(kind) ? subsystem.value_or(0) : 0;
    int found = 0;
    if (ExitCode code = commands_->Find(kind, scope, *request.object, &id, &found)) return code;
  } else if (selected) {
    id = *selected;
  } else {
    output_->Problem("There is no " + KindWord(kind) + " selected.");
    return kExitSyntax;
  }
  if (ExitCode code = commands_->FindIndex(kind, id, &index, &within)) return code;
  if (!index) {
    output_->Problem("The " + KindWord(kind) + " is gone.");
    return kExitSyntax;
  }
  return RunOn(request, id, *index, within.value_or(0));
}

ExitCode MaintenanceCommands::RunOn(const MaintenanceRequest& request, const GUID& id, int index,
                                    int subsystem) {
  const std::string title = std::string(KindTitle(*request.kind)) + " " + std::to_string(index);
  void* raw = nullptr;
  switch (request.verb) {
    case MaintenanceVerb::kDelete: {
      if (ExitCode code = Object(id, Kind::kLun, IID_IVdsLun, &raw)) return code;
      ComPtr<IVdsLun> lun;
      lun.Attach(static_cast<IVdsLun*>(raw));
      if (HRESULT hr = lun->Delete(); FAILED(hr)) return Failed(hr, "IVdsLun::Delete");
      return Done(title + " has been deleted.");
    }
    case MaintenanceVerb::kName: {
      std::u16string name = Utf8ToUtf16(request.name);
      HRESULT hr;
      const char* call;
      if (*request.kind == Kind::kLun) {
        call = "IVdsLunNaming::SetFriendlyName";
        if (ExitCode code = Object(id, Kind::kLun, IID_IVdsLunNaming, &raw)) return code;
        ComPtr<IVdsLunNaming> naming;
        naming.Attach(static_cast<IVdsLunNaming*>(raw));
        hr = naming->SetFriendlyName(name.data());
      } else {
        call = "IVdsSubSystemNaming::SetFriendlyName";
        if (ExitCode code = Object(id, Kind::kSubsystem, IID_IVdsSubSystemNaming, &raw)) {
          return code;
        }
        ComPtr<IVdsSubSystemNaming> naming;
        naming.Attach(static_cast<IVdsSubSystemNaming*>(raw));
        hr = naming->SetFriendlyName(name.data());
      }
      if (FAILED(hr)) return Failed(hr, call);
      if (hr == VDS_S_NAME_TRUNCATED) {
        if (output_->Json()) {
          output_->Document(Json{{"ok", true}, {"truncated", true}});
        } else {
          output_->Text(title +
                        ": the name was cut to 80 characters; it shows after the next "
                        "refresh.\n");
        }
        return kExitOk;
      }
      return Done(title + " is now named \"" + request.name + "\".");
    }
    case MaintenanceVerb::kHints:
      return Hints(id, index);
    case MaintenanceVerb::kApplyHints:
      return ApplyHints(id, index, request.hints);
    case MaintenanceVerb::kAssociate:
      return Associate(id, index, subsystem, request.ports);
    case MaintenanceVerb::kSetFlag: {
      if (ExitCode code = Object(id, Kind::kDrive, IID_IVdsDrive, &raw)) return code;
      ComPtr<IVdsDrive> drive;
      drive.Attach(static_cast<IVdsDrive*>(raw));
      if (request.hotspare) {
        if (HRESULT hr = drive->SetFlags(VDS_DF_HOTSPARE); FAILED(hr)) {
          return Failed(hr, "IVdsDrive::SetFlags");
        }
        return Done(title + " is now a hot spare.");
      }
      if (HRESULT hr = drive->ClearFlags(VDS_DF_HOTSPARE); FAILED(hr)) {
        return Failed(hr, "IVdsDrive::ClearFlags");
      }
      return Done(title + " is no longer a hot spare.");
    }
    case MaintenanceVerb::kBlink:
    case MaintenanceVerb::kUnblink:
    case MaintenanceVerb::kBeep: {
      const Kind kind = request.verb == MaintenanceVerb::kBeep ? Kind::kController : Kind::kDrive;
      if (ExitCode code = Object(id, kind, IID_IVdsMaintenance, &raw)) return code;
      ComPtr<IVdsMaintenance> maintenance;
      maintenance.Attach(static_cast<IVdsMaintenance*>(raw));
      HRESULT hr;
      const char* call;
      std::string done;
      if (request.verb == MaintenanceVerb::kBeep) {
        call = "IVdsMaintenance::StartMaintenance";
        hr = maintenance->StartMaintenance(VDS_MTO_BEEP_ALARM);
        done = title + ": the alarm has been told.";
      } else if (request.count) {
        call = "IVdsMaintenance::PulseMaintenance";
        hr = maintenance->PulseMaintenance(VDS_MTO_BLINK_LIGHT, *request.count);
        done = title + " has blinked " + std::to_string(*request.count) + " times.";
      } else if (request.verb == MaintenanceVerb::kBlink) {
        call = "IVdsMaintenance::StartMaintenance";
        hr = maintenance->StartMaintenance(VDS_MTO_BLINK_LIGHT);
        done = title + " is blinking.";
      } else {
        call = "IVdsMaintenance::StopMaintenance";
        hr = maintenance->StopMaintenance(VDS_MTO_BLINK_LIGHT);
        done = title + " no longer blinks.";
      }
      if (FAILED(hr)) return Failed(hr, call);
      // A pulse ends with the light off.
      if (request.verb == MaintenanceVerb::kBlink && !request.count) {
        blinking_.insert(id);
      } else if (request.verb != MaintenanceVerb::kBeep) {
        blinking_.erase(id);
      }
      return Done(done);
    }
    case MaintenanceVerb::kFlushCache:
    case MaintenanceVerb::kInvalidateCache: {
      if (ExitCode code = Object(id, Kind::kController, IID_IVdsController, &raw)) return code;
      ComPtr<IVdsController> controller;
      controller.Attach(static_cast<IVdsController*>(raw));
      const bool flush = request.verb == MaintenanceVerb::kFlushCache;
      const HRESULT hr = flush ? controller->FlushCache() : controller->InvalidateCache();
      if (FAILED(hr)) {
        return Failed(hr, flush ? "IVdsController::FlushCache" : "IVdsController::InvalidateCache");
      }
      return Done(title +
                  (flush ? ": the cache has been flushed." : ": the cache has been invalidated."));
    }
    case MaintenanceVerb::kReenumerate: {
      if (ExitCode code = Object(id, Kind::kSubsystem, IID_IVdsSubSystem, &raw)) return code;
      ComPtr<IVdsSubSystem> object;
      object.Attach(static_cast<IVdsSubSystem*>(raw));
      if (HRESULT hr = object->Reenumerate(); FAILED(hr)) {
        return Failed(hr, "IVdsSubSystem::Reenumerate");
      }
      return Done(title + " has been enumerated again.");
    }
    case MaintenanceVerb::kRefresh:
    case MaintenanceVerb::kShowEnclosures:
      break;
  }
  return kExitOk;
}

ExitCode MaintenanceCommands::Hints(const GUID& id, int index) {
  void* raw = nullptr;
  if (ExitCode code = Object(id, Kind::kLun, IID_IVdsLun, &raw)) return code;
  ComPtr<IVdsLun> lun;
  lun.Attach(static_cast<IVdsLun*>(raw));
  VDS_HINTS hints{};
  if (HRESULT hr = lun->QueryHints(&hints); FAILED(hr)) return Failed(hr, "IVdsLun::QueryHints");
  const Json members = HintsJson(hints);
  if (output_->Json()) {
    output_->Document(Json{{"hints", members}});
    return kExitOk;
  }
  std::string text = "Hints of LUN " + std::to_string(index) + ":\n";
  for (const auto& [name, value] : members.items()) {
    std::string shown = value.dump();
    if (name == "ullHintMask") {
      char hex[24];
      std::snprintf(hex, sizeof hex, "0x%016llx",
                    static_cast<unsigned long long>(hints.ullHintMask));
      shown = hex;
    }
    text += "  " + name + std::string(name.size() < 30 ? 30 - name.size() : 1, ' ') + shown + "\n";
  }
  output_->Text(text);
  return kExitOk;
}

ExitCode MaintenanceCommands::ApplyHints(const GUID& id, int index, const VDS_HINTS& request) {
  void* raw = nullptr;
  if (ExitCode code = Object(id, Kind::kLun, IID_IVdsLun, &raw)) return code;
  ComPtr<IVdsLun> lun;
  lun.Attach(static_cast<IVdsLun*>(raw));
  VDS_HINTS hints = request;
  if (HRESULT hr = lun->ApplyHints(&hints); FAILED(hr)) return Failed(hr, "IVdsLun::ApplyHints");
  return Done("The hints have been applied to LUN " + std::to_string(index) + ".");
}

ExitCode MaintenanceCommands::Associate(const GUID& id, int index, int subsystem,
                                        const std::vector<int>& ports) {
  std::vector<PortRow> rows;
  if (CallResult error = model_->Ports(subsystem, &rows)) {
    output_->CallFailed(*error);
    return kExitFatal;
  }
  std::vector<VDS_OBJECT_ID> ids;
  for (int port : ports) {
    const auto row = std::find_if(rows.begin(), rows.end(), [&](const PortRow& candidate) {
      return candidate.index == port;
    });
    if (row == rows.end()) {
      output_->Problem("There is no port " + std::to_string(port) + " in subsystem " +
                       std::to_string(subsystem) + ".");
      return kExitSyntax;
    }
    ids.push_back(row->prop.id);
  }
  void* raw = nullptr;
  if (ExitCode code = Object(id, Kind::kLun, IID_IVdsLunControllerPorts, &raw)) return code;
  ComPtr<IVdsLunControllerPorts> lun;
  lun.Attach(static_cast<IVdsLunControllerPorts*>(raw));
  const HRESULT hr = lun->AssociateControllerPorts(ids.empty() ? nullptr : ids.data(),
                                                   static_cast<LONG>(ids.size()), nullptr, 0);
  if (FAILED(hr)) return Failed(hr, "IVdsLunControllerPorts::AssociateControllerPorts");
  return Done("LUN " + std::to_string(index) + " is associated with " +
              (ids.empty() ? std::string("no port in particular") : "the ports given") + ".");
}

}  // namespace vdsctl
