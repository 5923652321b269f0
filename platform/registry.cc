#include "platform/registry.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <mutex>
#include <sstream>
#include <vector>

#include "platform/strings.h"
#include "platform/winerror.h"

namespace {

constexpr char kDefaultFile[] = "/etc/velavds/registry.reg";

struct Override {
  std::string keyPath;
  RegistryValue value;
};

struct FileIdentity {
  bool exists = false;
  struct timespec mtime = {};
  off_t size = 0;
  ino_t inode = 0;

  bool operator==(const FileIdentity& other) const {
    return exists == other.exists && mtime.tv_sec == other.mtime.tv_sec &&
           mtime.tv_nsec == other.mtime.tv_nsec && size == other.size && inode == other.inode;
  }
};

class Registry {
 public:
  std::mutex lock;
  // Everything below is guarded by `lock`.
  std::string explicitPath;
  bool loaded = false;
  std::string loadedPath;
  FileIdentity loadedIdentity;
  RegistryTree fileTree;  // what the file says
  RegistryTree tree;      // fileTree with the overrides applied
  std::vector<Override> overrides;
  std::map<uintptr_t, std::string> openKeys;  // handle -> full key path
  uintptr_t nextHandle = 0x1000;

  std::string PathLocked() const {
    if (!explicitPath.empty()) return explicitPath;
    const char* env = std::getenv("VELA_REGISTRY");
    return (env != nullptr && *env != '\0') ? env : kDefaultFile;
  }

  static FileIdentity Identify(const std::string& path) {
    FileIdentity identity;
    struct stat info;
    if (stat(path.c_str(), &info) == 0) {
      identity.exists = true;
      identity.mtime = info.st_mtim;
      identity.size = info.st_size;
      identity.inode = info.st_ino;
    }
    return identity;
  }

  void ApplyOverridesLocked() {
    tree = fileTree;
    for (const Override& entry : overrides) {
      RegistryAddKey(tree, entry.keyPath).values[RegistryLower(entry.value.name)] = entry.value;
    }
  }

  // Reads the file again when it is not the one read last.
  void RefreshLocked() {
    std::string path = PathLocked();
    FileIdentity identity = Identify(path);
    if (loaded && path == loadedPath && identity == loadedIdentity) return;
    loaded = true;
    loadedPath = path;
    loadedIdentity = identity;
    fileTree.clear();
    if (identity.exists) {
      std::ifstream in(path, std::ios::binary);
      std::ostringstream text;
      text << in.rdbuf();
      std::vector<std::string> errors;
      if (!ParseRegistryText(text.str(), &fileTree, &errors)) {
        std::fprintf(stderr, "registry file %s ignored\n", path.c_str());
      }
      for (const std::string& error : errors) {
        std::fprintf(stderr, "registry file %s: %s\n", path.c_str(), error.c_str());
      }
    }
    ApplyOverridesLocked();
  }

  // Every change is one transaction on the file: under an exclusive advisory lock on
  // "FILE.lock", the file is read afresh, `change` edits that tree, and the result is written to
  // a new file beside it that is renamed over the old one. So two processes that change the
  // registry at once lose nothing, and a crash leaves the old or the new file, never half of one.
  // A file that could not be read whole is not rewritten: what it holds beyond what was read
  // would be lost.
  template <class Change>
  LONG ChangeLocked(Change change) {
    std::string path = PathLocked();
    int lockFd = open((path + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
    if (lockFd < 0) return errno == ENOENT ? ERROR_PATH_NOT_FOUND : ERROR_ACCESS_DENIED;
    while (flock(lockFd, LOCK_EX) != 0 && errno == EINTR) {
    }
    LONG status = ChangeUnderLock(path, change);
    close(lockFd);
    return status;
  }

  template <class Change>
  LONG ChangeUnderLock(const std::string& path, Change change) {
    RegistryTree fresh;
    FileIdentity identity = Identify(path);
    if (identity.exists) {
      std::string text;
      if (!ReadWhole(path, &text)) return ERROR_ACCESS_DENIED;
      std::vector<std::string> errors;
      bool blank = text.find_first_not_of(" \t\r\n") == std::string::npos;
      if (!blank && (!ParseRegistryText(text, &fresh, &errors) || !errors.empty())) {
        std::fprintf(stderr, "registry file %s not changed: it holds lines that cannot be read\n",
                     path.c_str());
        return ERROR_BADDB;
      }
    }
    // A file marked read-only stays as it is, also for a user whom the file system would let
    // replace it.
    struct stat info;
    if (identity.exists && (access(path.c_str(), W_OK) != 0 ||
                            (stat(path.c_str(), &info) == 0 && (info.st_mode & 0222) == 0))) {
      return ERROR_ACCESS_DENIED;
    }
    std::string before = FormatRegistryText(fresh);
    LONG status = change(fresh);
    if (status != ERROR_SUCCESS) return status;
    std::string after = FormatRegistryText(fresh);
    if (after != before || !identity.exists) {
      status = WriteReplacing(path, after);
      if (status != ERROR_SUCCESS) return status;
    }
    fileTree = std::move(fresh);
    loaded = true;
    loadedPath = path;
    loadedIdentity = Identify(path);
    ApplyOverridesLocked();
    return ERROR_SUCCESS;
  }

  static bool ReadWhole(const std::string& path, std::string* text) {
    std::ifstream in(path, std::ios::binary);
    if (!in) return false;
    std::ostringstream buffer;
    buffer << in.rdbuf();
    *text = buffer.str();
    return !in.bad();
  }

  // Writes `text` to a new file in the folder of `path`, flushes it to the disk and renames it
  // over `path`. The new file keeps the old one's permission bits.
  static LONG WriteReplacing(const std::string& path, const std::string& text) {
    std::string temp = path + ".XXXXXX";
    int fd = mkostemp(temp.data(), O_CLOEXEC);
    if (fd < 0) return errno == ENOENT ? ERROR_PATH_NOT_FOUND : ERROR_ACCESS_DENIED;
    struct stat old;
    fchmod(fd, stat(path.c_str(), &old) == 0 ? (old.st_mode & 07777) : 0644);
    bool ok = true;
    for (size_t done = 0; ok && done < text.size();) {
      ssize_t n = write(fd, text.data() + done, text.size() - done);
      if (n < 0 && errno == EINTR) continue;
      ok = n > 0;
      if (ok) done += static_cast<size_t>(n);
    }
    ok = ok && fsync(fd) == 0;
    ok = (close(fd) == 0) && ok;
    if (!ok || rename(temp.c_str(), path.c_str()) != 0) {
      unlink(temp.c_str());
      return ERROR_ACCESS_DENIED;
    }
    std::string folder = path.substr(0, path.find_last_of('/') + 1);
    int dirFd = open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (dirFd >= 0) {
      fsync(dirFd);
      close(dirFd);
    }
    return ERROR_SUCCESS;
  }

  // The full path a handle names, or false for an unknown handle.
  bool KeyPathLocked(HKEY key, std::string* path) const {
    if (key == HKEY_LOCAL_MACHINE) {
      *path = "HKEY_LOCAL_MACHINE";
      return true;
    }
    if (key == HKEY_CLASSES_ROOT) {
      *path = "HKEY_CLASSES_ROOT";
      return true;
    }
    auto it = openKeys.find(reinterpret_cast<uintptr_t>(key));
    if (it == openKeys.end()) return false;
    *path = it->second;
    return true;
  }

  bool JoinLocked(HKEY key, const std::string& subKey, std::string* path) const {
    if (!KeyPathLocked(key, path)) return false;
    std::string sub = subKey;
    while (!sub.empty() && sub.back() == '\\') sub.pop_back();
    if (!sub.empty() && sub.front() == '\\') return false;
    if (sub.find("\\\\") != std::string::npos) return false;
    if (!sub.empty()) *path += "\\" + sub;
    return true;
  }

  bool ExistsLocked(const std::string& path) const {
    return tree.count(RegistryLower(path)) != 0 || RegistryLower(path) == "hkey_local_machine" ||
           RegistryLower(path) == "hkey_classes_root";
  }

  HKEY NewHandleLocked(const std::string& path) {
    uintptr_t value = nextHandle;
    nextHandle += 4;
    openKeys[value] = path;
    return reinterpret_cast<HKEY>(value);
  }

  const RegistryValue* FindValueLocked(HKEY key, const std::string& name, LONG* status) {
    std::string path;
    if (!KeyPathLocked(key, &path)) {
      *status = ERROR_INVALID_HANDLE;
      return nullptr;
    }
    auto keyIt = tree.find(RegistryLower(path));
    if (keyIt == tree.end()) {
      *status = ERROR_FILE_NOT_FOUND;
      return nullptr;
    }
    auto valueIt = keyIt->second.values.find(RegistryLower(name));
    if (valueIt == keyIt->second.values.end()) {
      *status = ERROR_FILE_NOT_FOUND;
      return nullptr;
    }
    *status = ERROR_SUCCESS;
    return &valueIt->second;
  }
};

Registry& TheRegistry() {
  // Destroyed with the module's statics: keys are only used between attach and detach.
  static Registry registry;
  return registry;
}

bool IsStringType(DWORD type) {
  return type == REG_SZ || type == REG_EXPAND_SZ || type == REG_MULTI_SZ;
}

// The A form of a string value: UTF-8 with its terminators.
std::vector<uint8_t> NarrowData(const std::vector<uint8_t>& data) {
  std::u16string wide;
  for (size_t i = 0; i + 1 < data.size(); i += 2) {
    wide += static_cast<char16_t>(data[i] | (data[i + 1] << 8));
  }
  std::string narrow = Utf16ToUtf8(wide);
  return std::vector<uint8_t>(narrow.begin(), narrow.end());
}

LONG CopyData(const std::vector<uint8_t>& bytes, DWORD valueType, LPDWORD type, LPBYTE data,
              LPDWORD dataSize) {
  if (data != nullptr && dataSize == nullptr) return ERROR_INVALID_PARAMETER;
  if (type != nullptr) *type = valueType;
  if (dataSize == nullptr) return ERROR_SUCCESS;
  auto needed = static_cast<DWORD>(bytes.size());
  if (data == nullptr) {
    *dataSize = needed;
    return ERROR_SUCCESS;
  }
  if (*dataSize < needed) {
    *dataSize = needed;
    return ERROR_MORE_DATA;
  }
  if (!bytes.empty()) std::memcpy(data, bytes.data(), bytes.size());
  *dataSize = needed;
  return ERROR_SUCCESS;
}

std::string Narrow(LPCWSTR text) { return Utf16ToUtf8(text); }

LONG OpenKey(HKEY key, const std::string& subKey, PHKEY result) {
  if (result == nullptr) return ERROR_INVALID_PARAMETER;
  *result = nullptr;
  Registry& registry = TheRegistry();
  std::lock_guard<std::mutex> guard(registry.lock);
  registry.RefreshLocked();
  std::string path;
  if (!registry.KeyPathLocked(key, &path)) return ERROR_INVALID_HANDLE;
  if (!registry.JoinLocked(key, subKey, &path)) return ERROR_FILE_NOT_FOUND;
  if (!registry.ExistsLocked(path)) return ERROR_FILE_NOT_FOUND;
  *result = registry.NewHandleLocked(path);
  return ERROR_SUCCESS;
}

LONG QueryValue(HKEY key, const std::string& name, bool narrow, LPDWORD type, LPBYTE data,
                LPDWORD dataSize) {
  Registry& registry = TheRegistry();
  std::lock_guard<std::mutex> guard(registry.lock);
  LONG status;
  const RegistryValue* value = registry.FindValueLocked(key, name, &status);
  if (value == nullptr) return status;
  if (narrow && IsStringType(value->type)) {
    return CopyData(NarrowData(value->data), value->type, type, data, dataSize);
  }
  return CopyData(value->data, value->type, type, data, dataSize);
}

}  // namespace

void SetRegistryFile(const std::string& path) {
  Registry& registry = TheRegistry();
  std::lock_guard<std::mutex> guard(registry.lock);
  registry.explicitPath = path;
  registry.loaded = false;
}

void RegistryResetForTesting() {
  Registry& registry = TheRegistry();
  std::lock_guard<std::mutex> guard(registry.lock);
  registry.explicitPath.clear();
  registry.overrides.clear();
  registry.loaded = false;
}

std::string RegistryFilePath() {
  Registry& registry = TheRegistry();
  std::lock_guard<std::mutex> guard(registry.lock);
  return registry.PathLocked();
}

bool RegistryOverride(const std::string& keyPath, const std::string& valueName,
                      const std::string& text) {
  std::string path = keyPath;
  while (!path.empty() && path.back() == '\\') path.pop_back();
  std::string root = RegistryLower(path.substr(0, path.find('\\')));
  if (root != "hkey_local_machine" && root != "hkey_classes_root") return false;
  if (path.find("\\\\") != std::string::npos) return false;
  Override entry;
  entry.keyPath = path;
  entry.value.name = valueName;
  RegistryTree scratch;
  std::vector<std::string> errors;
  if (text.rfind("dword:", 0) != 0) {
    std::string body = text;
    if (body.size() >= 2 && body.front() == '"' && body.back() == '"') {
      body = body.substr(1, body.size() - 2);
    }
    entry.value.type = REG_SZ;
    entry.value.data = RegistryStringData(body);
  } else {
    // Let the file parser judge the dword text, so both accept the same forms.
    std::string probe =
        "Windows Registry Editor Version 5.00\n[HKEY_LOCAL_MACHINE\\X]\n\"v\"=" + text + "\n";
    if (!ParseRegistryText(probe, &scratch, &errors) || !errors.empty()) return false;
    entry.value.type = REG_DWORD;
    entry.value.data = scratch["hkey_local_machine\\x"].values["v"].data;
  }
  Registry& registry = TheRegistry();
  std::lock_guard<std::mutex> guard(registry.lock);
  registry.RefreshLocked();
  registry.overrides.push_back(std::move(entry));
  registry.ApplyOverridesLocked();
  return true;
}

LONG RegOpenKeyExA(HKEY key, LPCSTR subKey, DWORD, REGSAM, PHKEY result) {
  return OpenKey(key, subKey ? subKey : "", result);
}

LONG RegOpenKeyExW(HKEY key, LPCWSTR subKey, DWORD, REGSAM, PHKEY result) {
  return OpenKey(key, Narrow(subKey), result);
}

LONG RegCloseKey(HKEY key) {
  if (key == HKEY_LOCAL_MACHINE || key == HKEY_CLASSES_ROOT) return ERROR_SUCCESS;
  Registry& registry = TheRegistry();
  std::lock_guard<std::mutex> guard(registry.lock);
  return registry.openKeys.erase(reinterpret_cast<uintptr_t>(key)) ? ERROR_SUCCESS
                                                                   : ERROR_INVALID_HANDLE;
}

LONG RegQueryValueExA(HKEY key, LPCSTR name, LPDWORD, LPDWORD type, LPBYTE data, LPDWORD dataSize) {
  return QueryValue(key, name ? name : "", true, type, data, dataSize);
}

LONG RegQueryValueExW(HKEY key, LPCWSTR name, LPDWORD, LPDWORD type, LPBYTE data,
                      LPDWORD dataSize) {
  return QueryValue(key, Narrow(name), false, type, data, dataSize);
}

LONG RegGetValueW(HKEY key, LPCWSTR subKey, LPCWSTR name, DWORD flags, LPDWORD type, void* data,
                  LPDWORD dataSize) {
  HKEY opened = key;
  if (subKey != nullptr && *subKey != 0) {
    LONG status = RegOpenKeyExW(key, subKey, 0, KEY_READ, &opened);
    if (status != ERROR_SUCCESS) return status;
  }
  LONG status;
  {
    Registry& registry = TheRegistry();
    std::lock_guard<std::mutex> guard(registry.lock);
    const RegistryValue* value = registry.FindValueLocked(opened, Narrow(name), &status);
    if (value != nullptr) {
      bool typeOk = ((flags & RRF_RT_REG_SZ) && value->type == REG_SZ) ||
                    ((flags & RRF_RT_REG_DWORD) && value->type == REG_DWORD &&
                     value->data.size() == sizeof(DWORD));
      status = typeOk
                   ? CopyData(value->data, value->type, type, static_cast<LPBYTE>(data), dataSize)
                   : ERROR_UNSUPPORTED_TYPE;
    }
  }
  if (opened != key) RegCloseKey(opened);
  return status;
}

LONG RegCreateKeyExW(HKEY key, LPCWSTR subKey, DWORD, LPWSTR, DWORD, REGSAM, void*, PHKEY result,
                     LPDWORD disposition) {
  if (result == nullptr) return ERROR_INVALID_PARAMETER;
  *result = nullptr;
  Registry& registry = TheRegistry();
  std::lock_guard<std::mutex> guard(registry.lock);
  std::string path;
  if (!registry.KeyPathLocked(key, &path)) return ERROR_INVALID_HANDLE;
  if (!registry.JoinLocked(key, Narrow(subKey), &path)) return ERROR_INVALID_PARAMETER;
  bool existed = true;
  LONG status = registry.ChangeLocked([&](RegistryTree& tree) {
    existed = tree.count(RegistryLower(path)) != 0;
    if (!existed) RegistryAddKey(tree, path);
    return ERROR_SUCCESS;
  });
  if (status != ERROR_SUCCESS) return status;
  if (disposition != nullptr)
    *disposition = existed ? REG_OPENED_EXISTING_KEY : REG_CREATED_NEW_KEY;
  *result = registry.NewHandleLocked(path);
  return ERROR_SUCCESS;
}

LONG RegSetValueExW(HKEY key, LPCWSTR name, DWORD, DWORD type, const BYTE* data, DWORD dataSize) {
  if (data == nullptr && dataSize != 0) return ERROR_INVALID_PARAMETER;
  Registry& registry = TheRegistry();
  std::lock_guard<std::mutex> guard(registry.lock);
  std::string path;
  if (!registry.KeyPathLocked(key, &path)) return ERROR_INVALID_HANDLE;
  RegistryValue value;
  value.name = Narrow(name);
  value.type = type;
  if (dataSize != 0) value.data.assign(data, data + dataSize);
  return registry.ChangeLocked([&](RegistryTree& tree) {
    // Another process may have deleted the key since it was opened.
    auto keyIt = tree.find(RegistryLower(path));
    if (keyIt == tree.end()) return ERROR_FILE_NOT_FOUND;
    keyIt->second.values[RegistryLower(value.name)] = value;
    return ERROR_SUCCESS;
  });
}

LONG RegDeleteValueW(HKEY key, LPCWSTR name) {
  Registry& registry = TheRegistry();
  std::lock_guard<std::mutex> guard(registry.lock);
  std::string path;
  if (!registry.KeyPathLocked(key, &path)) return ERROR_INVALID_HANDLE;
  return registry.ChangeLocked([&](RegistryTree& tree) {
    auto keyIt = tree.find(RegistryLower(path));
    if (keyIt == tree.end() || keyIt->second.values.erase(RegistryLower(Narrow(name))) == 0) {
      return ERROR_FILE_NOT_FOUND;
    }
    return ERROR_SUCCESS;
  });
}

LONG RegDeleteTreeW(HKEY key, LPCWSTR subKey) {
  Registry& registry = TheRegistry();
  std::lock_guard<std::mutex> guard(registry.lock);
  std::string path;
  if (!registry.KeyPathLocked(key, &path)) return ERROR_INVALID_HANDLE;
  if (!registry.JoinLocked(key, Narrow(subKey), &path)) return ERROR_INVALID_PARAMETER;
  return registry.ChangeLocked([&](RegistryTree& tree) {
    if (tree.count(RegistryLower(path)) == 0) return ERROR_FILE_NOT_FOUND;
    RegistryRemoveTree(tree, path);
    return ERROR_SUCCESS;
  });
}

LONG RegEnumKeyExW(HKEY key, DWORD index, LPWSTR name, LPDWORD nameSize, LPDWORD, LPWSTR className,
                   LPDWORD classSize, void*) {
  if (name == nullptr || nameSize == nullptr) return ERROR_INVALID_PARAMETER;
  Registry& registry = TheRegistry();
  std::lock_guard<std::mutex> guard(registry.lock);
  registry.RefreshLocked();
  std::string path;
  if (!registry.KeyPathLocked(key, &path)) return ERROR_INVALID_HANDLE;
  const std::string prefix = RegistryLower(path) + "\\";
  DWORD seen = 0;
  // The tree is ordered by lower-case path, so the direct children of a key follow it in order.
  for (auto it = registry.tree.lower_bound(prefix);
       it != registry.tree.end() && it->first.compare(0, prefix.size(), prefix) == 0; ++it) {
    if (it->first.find('\\', prefix.size()) != std::string::npos) continue;
    if (seen++ != index) continue;
    std::u16string child = Utf8ToUtf16(it->second.path.substr(prefix.size()));
    if (child.size() + 1 > *nameSize) return ERROR_MORE_DATA;
    child.copy(name, child.size());
    name[child.size()] = 0;
    *nameSize = static_cast<DWORD>(child.size());
    if (className != nullptr && classSize != nullptr && *classSize > 0) className[0] = 0;
    if (classSize != nullptr) *classSize = 0;
    return ERROR_SUCCESS;
  }
  return ERROR_NO_MORE_ITEMS;
}
