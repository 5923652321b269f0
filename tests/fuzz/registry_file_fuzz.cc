// The registry file reader on arbitrary text. Properties:
//   - it never reads outside the text, whatever the escapes, continuations and hex values;
//   - a text it accepts gives a tree whose keys are indexed by their lower-case paths, every
//     ancestor present, and values indexed by their lower-case names;
//   - what it writes back it reads again to the same tree, and writing that gives the same text
//     (so a file the provider rewrites never drifts).
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "platform/registry_file.h"

namespace {

void Check(bool ok) {
  if (!ok) std::abort();
}

void CheckShape(const RegistryTree& tree) {
  for (const auto& [lower, key] : tree) {
    Check(lower == RegistryLower(key.path));
    const size_t slash = lower.rfind('\\');
    if (slash != std::string::npos) Check(tree.count(lower.substr(0, slash)) == 1);
    for (const auto& [name, value] : key.values) Check(name == RegistryLower(value.name));
  }
}

bool SameTree(const RegistryTree& a, const RegistryTree& b) {
  if (a.size() != b.size()) return false;
  for (auto i = a.begin(), j = b.begin(); i != a.end(); ++i, ++j) {
    if (i->first != j->first || i->second.path != j->second.path) return false;
    const auto& va = i->second.values;
    const auto& vb = j->second.values;
    if (va.size() != vb.size()) return false;
    for (auto x = va.begin(), y = vb.begin(); x != va.end(); ++x, ++y) {
      if (x->first != y->first || x->second.name != y->second.name ||
          x->second.type != y->second.type || x->second.data != y->second.data) {
        return false;
      }
    }
  }
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  // Most inputs would fail at the header line; half of them get it for free.
  std::string text;
  if (size > 0 && (data[0] & 1)) text = "Windows Registry Editor Version 5.00\n";
  if (size > 0) text.append(reinterpret_cast<const char*>(data) + 1, size - 1);

  RegistryTree tree;
  std::vector<std::string> errors;
  if (!ParseRegistryText(text, &tree, &errors)) {
    Check(tree.empty());
    return 0;
  }
  CheckShape(tree);

  // The first write normalises (string data to its text, values of other types to hex); from
  // there on reading and writing are each other's inverse.
  const std::string written = FormatRegistryText(tree);
  RegistryTree again;
  Check(ParseRegistryText(written, &again, nullptr));
  CheckShape(again);
  const std::string rewritten = FormatRegistryText(again);
  Check(rewritten == written);
  RegistryTree third;
  Check(ParseRegistryText(rewritten, &third, nullptr));
  Check(SameTree(again, third));
  return 0;
}
