// The text form of the registry store: the Windows registry export format.
//
//   Windows Registry Editor Version 5.00
//
//   [HKEY_LOCAL_MACHINE\SYSTEM\CurrentControlSet\Services\VelaVDSProvider\Debug]
//   "FileName"="/var/log/vds.debug"
//   "ToFile"=dword:00000001
//   @="default value"
//
// Strings take \\ and \" escapes; hex:, hex(N): values (with '\' line continuations) carry raw
// bytes of any type; [-KEY] and "Value"=- delete. Key and value names compare without case.
// A file whose first line is not the header is rejected whole; any other line that cannot be
// read is skipped, and each problem is reported with its line number.
#ifndef VELA_PLATFORM_REGISTRY_FILE_H_
#define VELA_PLATFORM_REGISTRY_FILE_H_

#include <map>
#include <string>
#include <vector>

#include "platform/wintypes.h"

constexpr DWORD REG_NONE = 0;
constexpr DWORD REG_SZ = 1;
constexpr DWORD REG_EXPAND_SZ = 2;
constexpr DWORD REG_BINARY = 3;
constexpr DWORD REG_DWORD = 4;
constexpr DWORD REG_MULTI_SZ = 7;
constexpr DWORD REG_QWORD = 11;

struct RegistryValue {
  std::string name;  // as written; empty for the default value
  DWORD type = REG_NONE;
  std::vector<uint8_t> data;  // Windows layout: strings UTF-16LE with terminator, DWORD LE
};

struct RegistryKey {
  std::string path;  // full path as written, "HKEY_LOCAL_MACHINE\SYSTEM\..."
  std::map<std::string, RegistryValue> values;  // by lower-case name
};

// All keys by lower-case full path. Every ancestor of a key is present too.
using RegistryTree = std::map<std::string, RegistryKey>;

std::string RegistryLower(const std::string& text);

// Adds the key and its ancestors; gives the key.
RegistryKey& RegistryAddKey(RegistryTree& tree, const std::string& path);

// Removes the key and everything below it.
void RegistryRemoveTree(RegistryTree& tree, const std::string& path);

// A string value's data (UTF-16LE, terminated) from UTF-8 text.
std::vector<uint8_t> RegistryStringData(const std::string& utf8);

// Reads `text` into `tree` (which it empties first). Gives false when the text is not a registry
// file at all; `errors` gets one message per problem ("line 7: ...").
bool ParseRegistryText(const std::string& text, RegistryTree* tree,
                       std::vector<std::string>* errors);

std::string FormatRegistryText(const RegistryTree& tree);

#endif  // VELA_PLATFORM_REGISTRY_FILE_H_
