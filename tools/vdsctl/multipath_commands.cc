#include "tools/vdsctl/multipath_commands.h"

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "tools/vdsctl/commands.h"
#include "tools/vdsctl/json.h"
#include "tools/vdsctl/table.h"

namespace vdsctl {

namespace {

struct PolicyWord {
  VDS_LOADBALANCE_POLICY_ENUM policy;
  const char* name;
};
constexpr PolicyWord kPolicies[] = {
    {VDS_LBP_UNKNOWN, "unknown"},
    {VDS_LBP_FAILOVER, "failover"},
    {VDS_LBP_ROUND_ROBIN, "roundrobin"},
    {VDS_LBP_ROUND_ROBIN_WITH_SUBSET, "roundrobinsubset"},
    {VDS_LBP_DYN_LEAST_QUEUE_DEPTH, "leastqueue"},
    {VDS_LBP_WEIGHTED_PATHS, "weighted"},
    {VDS_LBP_LEAST_BLOCKS, "leastblocks"},
    {VDS_LBP_VENDOR_SPECIFIC, "vendor"},
};

struct StatusWord {
  VDS_PATH_STATUS status;
  const char* name;
};
constexpr StatusWord kStatuses[] = {{VDS_MPS_UNKNOWN, "unknown"},
                                    {VDS_MPS_ONLINE, "online"},
                                    {VDS_MPS_FAILED, "failed"},
                                    {VDS_MPS_STANDBY, "standby"}};

std::string StatusName(VDS_PATH_STATUS status) {
  for (const StatusWord& word : kStatuses) {
    if (word.status == status) return word.name;
  }
  return std::to_string(status);
}

bool ParseNumber(const std::string& text, uint64_t max, uint64_t* value) {
  if (text.empty()) return false;
  char* end = nullptr;
  errno = 0;
  unsigned long long number = std::strtoull(text.c_str(), &end, 0);
  if (errno != 0 || *end != 0 || text[0] == '-' || number > max) return false;
  *value = number;
  return true;
}

std::string WwnText(const VDS_WWN& wwn) {
  char text[17];
  const UCHAR* w = wwn.rguchWwn;
  std::snprintf(text, sizeof(text), "%02x%02x%02x%02x%02x%02x%02x%02x", w[0], w[1], w[2], w[3],
                w[4], w[5], w[6], w[7]);
  return text;
}

std::string PathIdText(uint64_t id) {
  char text[24];
  std::snprintf(text, sizeof(text), "0x%llx", static_cast<unsigned long long>(id));
  return text;
}

Json HbaPortJson(const VDS_HBAPORT_PROP& prop) {
  Json json;
  json["id"] = GuidToString(prop.id);
  json["wwnNode"] = WwnText(prop.wwnNode);
  json["wwnPort"] = WwnText(prop.wwnPort);
  json["type"] = prop.type;
  json["status"] = prop.status;
  json["ulPortSpeed"] = prop.ulPortSpeed;
  json["ulSupportedPortSpeed"] = prop.ulSupportedPortSpeed;
  return json;
}

// Frees what GetPathInfo handed out.
class PathList {
 public:
  PathList() = default;
  ~PathList() {
    for (LONG i = 0; i < count; ++i) CoTaskMemFree(paths[i].pHbaPortProp);
    CoTaskMemFree(paths);
  }
  PathList(const PathList&) = delete;
  PathList& operator=(const PathList&) = delete;

  VDS_PATH_INFO* paths = nullptr;
  LONG count = 0;
};

}  // namespace

std::string PolicyName(VDS_LOADBALANCE_POLICY_ENUM policy) {
  for (const PolicyWord& word : kPolicies) {
    if (word.policy == policy) return word.name;
  }
  return std::to_string(policy);
}

std::optional<VDS_LOADBALANCE_POLICY_ENUM> ParsePolicy(const std::string& word) {
  for (const PolicyWord& entry : kPolicies) {
    if (word == entry.name) return entry.policy;
  }
  uint64_t number = 0;
  if (ParseNumber(word, INT32_MAX, &number)) {
    return static_cast<VDS_LOADBALANCE_POLICY_ENUM>(number);
  }
  return std::nullopt;
}

std::optional<VDS_PATH_STATUS> ParsePathStatus(const std::string& word) {
  for (const StatusWord& entry : kStatuses) {
    if (word == entry.name) return entry.status;
  }
  uint64_t number = 0;
  if (ParseNumber(word, INT32_MAX, &number)) return static_cast<VDS_PATH_STATUS>(number);
  return std::nullopt;
}

bool ParseWwn(const std::string& text, VDS_WWN* wwn) {
  std::string digits;
  for (char c : text) {
    if (c != ':') digits += c;
  }
  if (digits.size() != 16) return false;
  for (size_t i = 0; i < 8; ++i) {
    uint64_t value = 0;
    std::string pair = "0x" + digits.substr(i * 2, 2);
    if (!std::isxdigit(static_cast<unsigned char>(digits[i * 2])) ||
        !std::isxdigit(static_cast<unsigned char>(digits[i * 2 + 1])) ||
        !ParseNumber(pair, 0xff, &value)) {
      return false;
    }
    wwn->rguchWwn[i] = static_cast<UCHAR>(value);
  }
  return true;
}

bool ParsePolicyWords(const std::vector<std::string>& words, PolicyRequest* request,
                      std::string* problem) {
  for (const std::string& word : words) {
    size_t equals = word.find('=');
    std::string key = word.substr(0, equals);
    std::string list = equals == std::string::npos ? "" : word.substr(equals + 1);
    if (equals == std::string::npos || (key != "primary" && key != "weight") || list.empty()) {
      *problem = "Expected primary=PATHID,... or weight=PATHID:WEIGHT,..., not " + word + ".";
      return false;
    }
    size_t start = 0;
    while (start <= list.size()) {
      size_t comma = list.find(',', start);
      std::string item =
          list.substr(start, comma == std::string::npos ? std::string::npos : comma - start);
      uint64_t id = 0;
      uint64_t weight = 0;
      size_t colon = item.find(':');
      bool ok = key == "primary" ? ParseNumber(item, UINT64_MAX, &id)
                                 : colon != std::string::npos &&
                                       ParseNumber(item.substr(0, colon), UINT64_MAX, &id) &&
                                       ParseNumber(item.substr(colon + 1), UINT32_MAX, &weight);
      if (!ok) {
        *problem = "Cannot read " + item + " in " + word + ".";
        return false;
      }
      if (key == "primary") {
        request->primary.push_back(id);
      } else {
        request->weights.emplace_back(id, static_cast<ULONG>(weight));
      }
      if (comma == std::string::npos) break;
      start = comma + 1;
    }
  }
  return true;
}

MultipathCommands::MultipathCommands(IVdsProvider* provider, Model* model, Output* output)
    : provider_(provider), model_(model), output_(output) {}

ExitCode MultipathCommands::FindLun(int subsystem, int lun, ComPtr<IVdsLunMpio>* mpio) {
  std::vector<LunRow> rows;
  if (CallResult error = model_->Luns(subsystem, &rows)) {
    output_->CallFailed(*error);
    return kExitFatal;
  }
  for (const LunRow& row : rows) {
    if (row.index != lun) continue;
    ComPtr<IVdsProviderPrivate> priv;
    HRESULT hr = provider_->QueryInterface(IID_IVdsProviderPrivate,
                                           reinterpret_cast<void**>(priv.ReleaseAndGetAddressOf()));
    ComPtr<IUnknown> object;
    if (hr >= 0) hr = priv->GetObject(row.prop.id, VDS_OT_LUN, object.ReleaseAndGetAddressOf());
    if (hr < 0) {
      output_->CallFailed({hr, "IVdsProviderPrivate::GetObject"});
      return kExitFatal;
    }
    hr = object->QueryInterface(IID_IVdsLunMpio,
                                reinterpret_cast<void**>(mpio->ReleaseAndGetAddressOf()));
    if (hr < 0) {
      output_->CallFailed({hr, "IUnknown::QueryInterface(IVdsLunMpio)"});
      return kExitFatal;
    }
    return kExitOk;
  }
  output_->Problem("There is no LUN " + std::to_string(lun) + " in subsystem " +
                   std::to_string(subsystem) + ".");
  return kExitSyntax;
}

ExitCode MultipathCommands::ListPaths(int subsystem, int lun) {
  ComPtr<IVdsLunMpio> mpio;
  if (ExitCode code = FindLun(subsystem, lun, &mpio); code != kExitOk) return code;
  PathList list;
  if (HRESULT hr = mpio->GetPathInfo(&list.paths, &list.count); hr < 0) {
    output_->CallFailed({hr, "IVdsLunMpio::GetPathInfo"});
    return kExitFatal;
  }
  std::vector<PortRow> ports;
  if (CallResult error = model_->Ports(subsystem, &ports)) {
    output_->CallFailed(*error);
    return kExitFatal;
  }
  auto portIndex = [&](const GUID& id) -> std::optional<int> {
    for (const PortRow& port : ports) {
      if (port.prop.id == id) return port.index;
    }
    return std::nullopt;
  };
  if (output_->Json()) {
    Json paths = Json::array();
    for (LONG i = 0; i < list.count; ++i) {
      const VDS_PATH_INFO& path = list.paths[i];
      Json json;
      json["pathId"] = {{"ullSourceId", path.pathId.ullSourceId},
                        {"ullPathId", path.pathId.ullPathId}};
      json["type"] = path.type;
      json["status"] = path.status;
      json["controllerPortId"] = GuidToString(path.controllerPortId);
      json["hbaPortId"] = GuidToString(path.hbaPortId);
      json["hbaPort"] = path.pHbaPortProp != nullptr ? HbaPortJson(*path.pHbaPortProp) : Json();
      std::optional<int> index = portIndex(path.controllerPortId);
      json["controllerPort"] = index ? Json(*index) : Json();
      paths.push_back(std::move(json));
    }
    output_->Document(Json{{"paths", std::move(paths)}});
    return kExitOk;
  }
  Table table({{"Path"}, {"HBA port WWN"}, {"Controller port", Align::kRight}, {"Status"}});
  for (LONG i = 0; i < list.count; ++i) {
    const VDS_PATH_INFO& path = list.paths[i];
    std::optional<int> index = portIndex(path.controllerPortId);
    table.AddRow({PathIdText(path.pathId.ullPathId),
                  path.pHbaPortProp != nullptr ? WwnText(path.pHbaPortProp->wwnPort) : "",
                  index ? std::to_string(*index) : "-", StatusName(path.status)});
  }
  output_->Text(list.count == 0 ? "LUN " + std::to_string(lun) + " has no host paths.\n"
                                : table.Render());
  return kExitOk;
}

ExitCode MultipathCommands::WritePolicy(IVdsLunMpio* mpio, int lun) {
  VDS_LOADBALANCE_POLICY_ENUM policy = VDS_LBP_UNKNOWN;
  VDS_PATH_POLICY* paths = nullptr;
  LONG count = 0;
  if (HRESULT hr = mpio->GetLoadBalancePolicy(&policy, &paths, &count); hr < 0) {
    output_->CallFailed({hr, "IVdsLunMpio::GetLoadBalancePolicy"});
    return kExitFatal;
  }
  if (output_->Json()) {
    Json list = Json::array();
    for (LONG i = 0; i < count; ++i) {
      list.push_back({{"pathId", paths[i].pathId.ullPathId},
                      {"primary", paths[i].bPrimaryPath != 0},
                      {"weight", paths[i].ulWeight}});
    }
    output_->Document(Json{{"policy", policy}, {"name", PolicyName(policy)}, {"paths", list}});
  } else {
    std::string text = "Load balance policy of LUN " + std::to_string(lun) + ": " +
                       PolicyName(policy) + " (" + std::to_string(policy) + ")\n";
    if (count > 0) {
      Table table({{"Path"}, {"Primary"}, {"Weight", Align::kRight}});
      for (LONG i = 0; i < count; ++i) {
        table.AddRow({PathIdText(paths[i].pathId.ullPathId), paths[i].bPrimaryPath ? "yes" : "no",
                      std::to_string(paths[i].ulWeight)});
      }
      text += table.Render();
    }
    output_->Text(text);
  }
  CoTaskMemFree(paths);
  return kExitOk;
}

ExitCode MultipathCommands::ShowPolicy(int subsystem, int lun) {
  ComPtr<IVdsLunMpio> mpio;
  if (ExitCode code = FindLun(subsystem, lun, &mpio); code != kExitOk) return code;
  return WritePolicy(mpio.Get(), lun);
}

ExitCode MultipathCommands::SetPolicy(int subsystem, int lun, const PolicyRequest& request) {
  ComPtr<IVdsLunMpio> mpio;
  if (ExitCode code = FindLun(subsystem, lun, &mpio); code != kExitOk) return code;
  PathList list;
  if (HRESULT hr = mpio->GetPathInfo(&list.paths, &list.count); hr < 0) {
    output_->CallFailed({hr, "IVdsLunMpio::GetPathInfo"});
    return kExitFatal;
  }
  std::vector<VDS_PATH_POLICY> paths;
  for (LONG i = 0; i < list.count; ++i) {
    VDS_PATH_POLICY path{};
    path.pathId = list.paths[i].pathId;
    for (uint64_t id : request.primary) path.bPrimaryPath |= id == path.pathId.ullPathId;
    for (const auto& [id, weight] : request.weights) {
      if (id == path.pathId.ullPathId) path.ulWeight = weight;
    }
    paths.push_back(path);
  }
  for (uint64_t id : request.primary) {
    bool known = false;
    for (const VDS_PATH_POLICY& path : paths) known = known || path.pathId.ullPathId == id;
    if (!known) {
      output_->Problem("LUN " + std::to_string(lun) + " has no path " + PathIdText(id) + ".");
      return kExitSyntax;
    }
  }
  HRESULT hr = mpio->SetLoadBalancePolicy(request.policy, paths.empty() ? nullptr : paths.data(),
                                          static_cast<LONG>(paths.size()));
  if (hr < 0) {
    output_->CallFailed({hr, "IVdsLunMpio::SetLoadBalancePolicy"});
    return kExitFatal;
  }
  return WritePolicy(mpio.Get(), lun);
}

ExitCode MultipathCommands::ShowSupportedPolicies(int subsystem, int lun) {
  ComPtr<IVdsLunMpio> mpio;
  if (ExitCode code = FindLun(subsystem, lun, &mpio); code != kExitOk) return code;
  ULONG flags = 0;
  if (HRESULT hr = mpio->GetSupportedLbPolicies(&flags); hr < 0) {
    output_->CallFailed({hr, "IVdsLunMpio::GetSupportedLbPolicies"});
    return kExitFatal;
  }
  Json list = Json::array();
  std::string text;
  for (const PolicyWord& word : kPolicies) {
    if (word.policy == VDS_LBP_UNKNOWN || (flags & (1u << (word.policy - 1))) == 0) continue;
    list.push_back({{"policy", word.policy}, {"name", word.name}});
    text += std::to_string(word.policy) + "  " + word.name + "\n";
  }
  if (output_->Json()) {
    output_->Document(Json{{"flags", flags}, {"policies", list}});
  } else {
    output_->Text(text);
  }
  return kExitOk;
}

ExitCode MultipathCommands::SetPathStatus(const VDS_WWN& hbaPort, VDS_PATH_STATUS status) {
  // The port as the LUNs' paths show it, for its node name; a WWN no path shows is taken as
  // both names.
  VDS_HBAPORT_PROP prop{};
  prop.wwnNode = hbaPort;
  prop.wwnPort = hbaPort;
  std::vector<LunRow> luns;
  if (CallResult error = model_->Luns(std::nullopt, &luns)) {
    output_->CallFailed(*error);
    return kExitFatal;
  }
  bool found = false;
  for (const LunRow& row : luns) {
    ComPtr<IVdsLunMpio> mpio;
    if (found || FindLun(row.subsystem, row.index, &mpio) != kExitOk) continue;
    PathList list;
    if (mpio->GetPathInfo(&list.paths, &list.count) < 0) continue;
    for (LONG i = 0; i < list.count && !found; ++i) {
      const VDS_HBAPORT_PROP* port = list.paths[i].pHbaPortProp;
      if (port != nullptr && std::memcmp(port->wwnPort.rguchWwn, hbaPort.rguchWwn, 8) == 0) {
        prop = *port;
        found = true;
      }
    }
  }
  ComPtr<IVdsHwProviderPrivateMpio> mpio;
  HRESULT hr = provider_->QueryInterface(IID_IVdsHwProviderPrivateMpio,
                                         reinterpret_cast<void**>(mpio.ReleaseAndGetAddressOf()));
  if (hr >= 0) hr = mpio->SetAllPathStatusesFromHbaPort(prop, status);
  if (hr < 0) {
    output_->CallFailed({hr, "IVdsHwProviderPrivateMpio::SetAllPathStatusesFromHbaPort"});
    return kExitFatal;
  }
  if (output_->Json()) {
    output_->Document(Json{{"hbaPort", WwnText(hbaPort)},
                           {"wwnNode", WwnText(prop.wwnNode)},
                           {"status", status},
                           {"name", StatusName(status)}});
  } else {
    output_->Text("Paths of HBA port " + WwnText(hbaPort) + " (node " + WwnText(prop.wwnNode) +
                  ") set to " + StatusName(status) + ".\n");
  }
  return kExitOk;
}

ExitCode RunMultipathCommand(const std::string& command, const std::vector<std::string>& words,
                             int subsystem, MultipathCommands* commands, Output* output) {
  auto usage = [&](const std::string& form) {
    output->Problem("Usage: vdsctl " + form);
    return kExitBadArguments;
  };
  if (command == "setpathstatus") {
    const char* form = "setpathstatus hbaport WWN online|failed|standby|unknown";
    VDS_WWN wwn{};
    std::optional<VDS_PATH_STATUS> status;
    if (words.size() != 3 || words[0] != "hbaport" || !ParseWwn(words[1], &wwn) ||
        !(status = ParsePathStatus(words[2]))) {
      return usage(form);
    }
    return commands->SetPathStatus(wwn, *status);
  }
  const std::string form =
      command == "lbpolicy"
          ? "lbpolicy lun N [set POLICY [primary=PATHID,...] [weight=PATHID:WEIGHT,...]]"
          : (command == "paths" ? "list paths" : command) + " lun N";
  uint64_t lun = 0;
  if (words.size() < 2 || words[0] != "lun" || !ParseNumber(words[1], INT32_MAX, &lun)) {
    return usage(form);
  }
  const int index = static_cast<int>(lun);
  if (command == "lbpolicy" && words.size() > 2) {
    PolicyRequest request;
    std::optional<VDS_LOADBALANCE_POLICY_ENUM> policy;
    if (words[2] != "set" || words.size() < 4 || !(policy = ParsePolicy(words[3]))) {
      return usage(form);
    }
    request.policy = *policy;
    std::string problem;
    if (!ParsePolicyWords({words.begin() + 4, words.end()}, &request, &problem)) {
      output->Problem(problem);
      return kExitBadArguments;
    }
    return commands->SetPolicy(subsystem, index, request);
  }
  if (words.size() != 2) return usage(form);
  if (command == "paths") return commands->ListPaths(subsystem, index);
  if (command == "lbpolicy") return commands->ShowPolicy(subsystem, index);
  return commands->ShowSupportedPolicies(subsystem, index);
}

}  // namespace vdsctl
