// How a command names one object: by its number, by its name ("name=TEXT", the friendly name) or
// by its serial ("serial=TEXT", the identification text).
#ifndef VELA_TOOLS_VDSCTL_OBJECT_REF_H_
#define VELA_TOOLS_VDSCTL_OBJECT_REF_H_

#include <string>
#include <string_view>

namespace vdsctl {

struct ObjectRef {
  enum class By { kIndex, kName, kSerial, kText, kInvalid };
  By by = By::kInvalid;
  int index = 0;     // kIndex
  std::string text;  // kName, kSerial, kText: the text; kInvalid: the word as given

  static ObjectRef Index(int index) { return ObjectRef{By::kIndex, index, ""}; }
};

// "12" is an index, "name=..." and "serial=..." (case-insensitive keys) a name or a serial.
// Anything else is kText when `allowText` (a subsystem may be named by its identification or
// name as it stands), else kInvalid.
ObjectRef ParseObjectRef(std::string_view word, bool allowText = false);

// The reference as the user wrote it: "12", "name=db".
std::string ObjectRefText(const ObjectRef& ref);

// A non-negative decimal number that fits an int, and nothing else.
bool ParseIndex(std::string_view word, int* index);

}  // namespace vdsctl

#endif  // VELA_TOOLS_VDSCTL_OBJECT_REF_H_
