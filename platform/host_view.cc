#include "platform/host_view.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <mutex>
#include <sstream>

#include "platform/wbem.h"

namespace {

using nlohmann::json;

constexpr char kNamespace[] = "ROOT\\WMI";

// The members of a method's in-parameter object by name; null when absent or not an object.
const json* Member(const json& object, const char* name) {
  if (!object.is_object()) return nullptr;
  auto it = object.find(name);
  return it == object.end() ? nullptr : &*it;
}

bool ReadU32(const json& object, const char* name, uint32_t* value) {
  const json* member = Member(object, name);
  if (member == nullptr || !member->is_number_integer()) return false;
  if (member->is_number_unsigned()) {
    uint64_t number = member->get<uint64_t>();
    if (number > UINT32_MAX) return false;
    *value = static_cast<uint32_t>(number);
    return true;
  }
  int64_t number = member->get<int64_t>();
  if (number < INT32_MIN) return false;
  *value = static_cast<uint32_t>(number);
  return true;
}

bool ReadPathId(const json& object, const char* name, uint64_t* value) {
  const json* member = Member(object, name);
  if (member == nullptr) return false;
  if (member->is_string()) return ParseDecimalU64(member->get<std::string>(), value);
  if (member->is_number_unsigned()) {
    *value = member->get<uint64_t>();
    return true;
  }
  return false;
}

// The instance of `className` in the namespace whose InstanceName is `instance`.
json* FindInstance(json& wmi, const char* className, const std::string& instance) {
  auto cls = wmi.find(className);
  if (cls == wmi.end() || !cls->is_array()) return nullptr;
  for (json& object : *cls) {
    const json* name = Member(object, "InstanceName");
    if (name != nullptr && name->is_string() && name->get<std::string>() == instance) {
      return &object;
    }
  }
  return nullptr;
}

// The path of `record`'s DSM_Paths with that id, or null.
json* FindDsmPath(json& policy, uint64_t pathId) {
  auto paths = policy.find("DSM_Paths");
  if (paths == policy.end() || !paths->is_array()) return nullptr;
  for (json& path : *paths) {
    uint64_t id = 0;
    if (ReadPathId(path, "DsmPathId", &id) && id == pathId) return &path;
  }
  return nullptr;
}

struct PathChange {
  uint64_t id;
  json fields;  // the members to write
};

// Checks a load balance in-parameter and gives the policy and per-path changes.
HRESULT ReadPolicyChange(const json& in, bool v2, uint32_t* policy,
                         std::vector<PathChange>* changes) {
  const json* lbp = Member(in, "LoadBalancePolicy");
  uint32_t count = 0;
  if (lbp == nullptr || !ReadU32(*lbp, "LoadBalancePolicy", policy) ||
      !ReadU32(*lbp, "DSMPathCount", &count) || *policy < 1 || *policy > 6) {
    return WBEM_E_INVALID_PARAMETER;
  }
  const json* paths = Member(*lbp, "DSM_Paths");
  if (paths == nullptr || !paths->is_array() || paths->size() != count) {
    return WBEM_E_INVALID_PARAMETER;
  }
  static const char* const kV2Fields[] = {"PathWeight", "PrimaryPath", "OptimizedPath",
                                          "PreferredPath"};
  static const char* const kV1Fields[] = {"PathWeight", "PrimaryPath"};
  for (const json& path : *paths) {
    PathChange change{0, json::object()};
    if (!ReadPathId(path, "DsmPathId", &change.id)) return WBEM_E_INVALID_PARAMETER;
    auto put = [&](const char* field) {
      uint32_t value = 0;
      if (!ReadU32(path, field, &value)) return false;
      change.fields[field] = value;
      return true;
    };
    if (v2) {
      for (const char* field : kV2Fields) {
        if (!put(field)) return WBEM_E_INVALID_PARAMETER;
      }
    } else {
      for (const char* field : kV1Fields) {
        if (!put(field)) return WBEM_E_INVALID_PARAMETER;
      }
    }
    changes->push_back(std::move(change));
  }
  return S_OK;
}

// Writes policy and path changes into one record; `only` limits the fields (null: all).
bool ApplyToRecord(json* record, uint32_t policy, const std::vector<PathChange>& changes,
                   bool checkPaths, const char* const* only, size_t onlyCount) {
  if (record == nullptr || !record->is_object()) return !checkPaths;
  auto found = record->find("LoadBalancePolicy");
  if (found == record->end() || !found->is_object()) return !checkPaths;
  json& lbp = *found;
  for (const PathChange& change : changes) {
    json* path = FindDsmPath(lbp, change.id);
    if (path == nullptr) {
      if (checkPaths) return false;
      continue;
    }
    for (auto& [field, value] : change.fields.items()) {
      bool wanted = only == nullptr;
      for (size_t i = 0; i < onlyCount && !wanted; ++i) wanted = field == only[i];
      if (wanted) (*path)[field] = value;
    }
  }
  lbp["LoadBalancePolicy"] = policy;
  return true;
}

HRESULT SetLoadBalancePolicy(json& wmi, const std::string& instance, const json& in, bool v2) {
  uint32_t policy = 0;
  std::vector<PathChange> changes;
  HRESULT hr = ReadPolicyChange(in, v2, &policy, &changes);
  if (hr != S_OK) return hr;
  const char* mainClass = v2 ? "DSM_QueryLBPolicy_V2" : "DSM_QueryLBPolicy";
  const char* otherClass = v2 ? "DSM_QueryLBPolicy" : "DSM_QueryLBPolicy_V2";
  json* main = FindInstance(wmi, mainClass, instance);
  if (main == nullptr) return WBEM_E_NOT_FOUND;
  // Check every path before changing anything.
  json trial = *main;
  if (!ApplyToRecord(&trial, policy, changes, true, nullptr, 0)) return WBEM_E_INVALID_PARAMETER;
  *main = std::move(trial);
  static const char* const kShared[] = {"PathWeight", "PrimaryPath"};
  ApplyToRecord(FindInstance(wmi, otherClass, instance), policy, changes, false, kShared, 2);
  return S_OK;
}

HRESULT SetPathStatus(json& wmi, const json& in) {
  const json* set = Member(in, "setPathStatus");
  const json* list = set == nullptr ? nullptr : Member(*set, "DSM_PathStatus");
  uint32_t count = 0;
  if (list == nullptr || !list->is_array() || !ReadU32(*set, "DSMPathStatusCount", &count) ||
      count != list->size()) {
    return WBEM_E_INVALID_PARAMETER;
  }
  auto records = wmi.find("DSM_QueryLBPolicy_V2");
  for (const json& entry : *list) {
    uint64_t id = 0;
    uint32_t status = 0;
    if (!ReadPathId(entry, "PathId", &id) || !ReadU32(entry, "PathStatus", &status)) {
      return WBEM_E_INVALID_PARAMETER;
    }
    if (records == wmi.end() || !records->is_array()) continue;
    for (json& record : *records) {
      if (!record.is_object()) continue;
      auto lbp = record.find("LoadBalancePolicy");
      if (lbp == record.end() || !lbp->is_object()) continue;
      json* path = FindDsmPath(*lbp, id);
      if (path == nullptr) continue;
      (*path)["FailedPath"] = status == 5 ? 1 : 0;
      if (status == 1) (*path)["PrimaryPath"] = 1;
      if (status == 7) (*path)["PrimaryPath"] = 0;
    }
  }
  return S_OK;
}

void Journal(const std::string& path, const std::string& className, const std::string& instance,
             const std::string& method, const json& in, HRESULT hr) {
  json line = {{"class", className},
               {"instance", instance},
               {"method", method},
               {"in", in},
               {"hr", static_cast<uint32_t>(hr)}};
  std::ofstream out(path + ".calls", std::ios::app);
  out << line.dump(-1, ' ', false, json::error_handler_t::replace) << '\n';
}

}  // namespace

std::string HostViewPath() {
  const char* path = std::getenv("VELA_HOST_VIEW");
  return path == nullptr ? std::string() : std::string(path);
}

namespace {

// The last view read, kept while its file stays the same one: a provider reads the view at every
// inventory step and every path lookup, and a large one costs far more to parse than to copy.
struct ViewCache {
  std::mutex mutex;
  std::string path;     // guarded by mutex
  struct stat file {};  // guarded by mutex
  json view;            // guarded by mutex
};

ViewCache& TheViewCache() {
  static ViewCache cache;
  return cache;
}

bool SameFile(const struct stat& a, const struct stat& b) {
  return a.st_ino == b.st_ino && a.st_dev == b.st_dev && a.st_size == b.st_size &&
         a.st_mtim.tv_sec == b.st_mtim.tv_sec && a.st_mtim.tv_nsec == b.st_mtim.tv_nsec;
}

}  // namespace

bool ReadHostView(const std::string& path, nlohmann::json* view) {
  struct stat before {};
  const bool known = stat(path.c_str(), &before) == 0;
  ViewCache& cache = TheViewCache();
  if (known) {
    std::lock_guard<std::mutex> lock(cache.mutex);
    if (cache.path == path && SameFile(cache.file, before)) {
      *view = cache.view;
      return true;
    }
  }
  std::ifstream in(path);
  if (!in) {
    SetHostViewProblem("host view " + path + " can't be read");
    return false;
  }
  json parsed = json::parse(in, nullptr, false);
  if (parsed.is_discarded() || !parsed.is_object()) {
    SetHostViewProblem("host view " + path + " is not a JSON object");
    return false;
  }
  struct stat after {};
  if (known && stat(path.c_str(), &after) == 0 && SameFile(before, after)) {
    std::lock_guard<std::mutex> lock(cache.mutex);
    cache.path = path;
    cache.file = after;
    cache.view = parsed;
  }
  *view = std::move(parsed);
  return true;
}

bool WriteHostView(const std::string& path, const nlohmann::json& view) {
  std::string temp = path + ".tmp." + std::to_string(getpid());
  {
    std::ofstream out(temp, std::ios::trunc);
    out << view.dump(2, ' ', false, json::error_handler_t::replace) << '\n';
    if (!out.flush()) {
      SetHostViewProblem("host view " + path + " can't be written");
      unlink(temp.c_str());
      return false;
    }
  }
  if (rename(temp.c_str(), path.c_str()) != 0) {
    SetHostViewProblem("host view " + path + " can't be replaced");
    unlink(temp.c_str());
    return false;
  }
  return true;
}

HostViewLock::HostViewLock(const std::string& path)
    : m_fd(open((path + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644)) {
  if (m_fd >= 0) flock(m_fd, LOCK_EX);
}

HostViewLock::~HostViewLock() {
  if (m_fd >= 0) close(m_fd);  // releases the lock
}

HRESULT ApplyHostViewMethod(const std::string& path, const std::string& className,
                            const std::string& instance, const std::string& method,
                            const nlohmann::json& in) {
  HostViewLock lock(path);
  json view;
  HRESULT hr = WBEM_E_FAILED;
  if (ReadHostView(path, &view)) {
    auto root = view.find("wmi");
    json* found = nullptr;
    if (root != view.end() && root->is_object()) {
      auto ns = root->find(kNamespace);
      if (ns != root->end() && ns->is_object()) found = &*ns;
    }
    json& wmi = found != nullptr ? *found : view;
    if (found == nullptr) {
      hr = WBEM_E_NOT_FOUND;
    } else if (className == "DSM_LB_Operations" && method == "DsmSetLoadBalancePolicyALUA") {
      hr = SetLoadBalancePolicy(wmi, instance, in, true);
    } else if (className == "DSM_LB_Operations" && method == "DsmSetLoadBalancePolicy") {
      hr = SetLoadBalancePolicy(wmi, instance, in, false);
    } else if (className == "MORDSM_WMI_METHODS" && method == "MorDsmSetPathStatus") {
      hr = SetPathStatus(wmi, in);
    } else {
      hr = WBEM_E_INVALID_METHOD;
    }
    if (hr == S_OK && !WriteHostView(path, view)) hr = WBEM_E_FAILED;
  }
  Journal(path, className, instance, method, in, hr);
  return hr;
}
