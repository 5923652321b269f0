#include "tools/vdsctl/object_ref.h"

#include <charconv>

#include "tools/vdsctl/kinds.h"

namespace vdsctl {

bool ParseIndex(std::string_view word, int* index) {
  if (word.empty() || word.front() == '-' || word.front() == '+') return false;
  const char* first = word.data();
  const char* last = first + word.size();
  auto [ptr, ec] = std::from_chars(first, last, *index);
  return ec == std::errc() && ptr == last;
}

ObjectRef ParseObjectRef(std::string_view word, bool allowText) {
  ObjectRef ref;
  if (ParseIndex(word, &ref.index)) {
    ref.by = ObjectRef::By::kIndex;
    return ref;
  }
  const size_t equals = word.find('=');
  if (equals != std::string_view::npos) {
    const std::string_view key = word.substr(0, equals);
    ref.text = std::string(word.substr(equals + 1));
    if (MatchesKeyword(key, "name", 4)) {
      ref.by = ObjectRef::By::kName;
      return ref;
    }
    if (MatchesKeyword(key, "serial", 6)) {
      ref.by = ObjectRef::By::kSerial;
      return ref;
    }
  }
  ref.text = std::string(word);
  ref.by = allowText && !word.empty() ? ObjectRef::By::kText : ObjectRef::By::kInvalid;
  return ref;
}

std::string ObjectRefText(const ObjectRef& ref) {
  switch (ref.by) {
    case ObjectRef::By::kIndex:
      return std::to_string(ref.index);
    case ObjectRef::By::kName:
      return "name=" + ref.text;
    case ObjectRef::By::kSerial:
      return "serial=" + ref.text;
    case ObjectRef::By::kText:
    case ObjectRef::By::kInvalid:
      break;
  }
  return ref.text;
}

}  // namespace vdsctl
