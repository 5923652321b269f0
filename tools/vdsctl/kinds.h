// The object kinds that vdsctl lists, selects and details, and the words it uses for them.
#ifndef VELA_TOOLS_VDSCTL_KINDS_H_
#define VELA_TOOLS_VDSCTL_KINDS_H_

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vdsctl {

enum class Kind { kSubsystem, kController, kPort, kDrive, kLun, kPlex, kPool };

// How the listings name an object: its kind, its index (within its subsystem for the kinds that
// belong to one) and its friendly name.
struct ObjectLabel {
  Kind kind;
  int index;
  std::optional<int> subsystem;
  std::optional<std::string> name;
};

// "Subsystem", "Controller", "Port", "Drive", "LUN", "Plex", "Pool": the word in table headers
// and in shell messages.
std::string_view KindTitle(Kind kind);

// "subsystem", "controller", ...: the member name of one object in JSON.
std::string_view KindSingular(Kind kind);

// "subsystems", "controllers", ...: the member name of a JSON list.
std::string_view KindPlural(Kind kind);

// Objects of every kind but subsystems and pools are numbered within their subsystem.
bool KindIsPerSubsystem(Kind kind);

// Accepts the plural word in any case, or a prefix of it of three letters or more, which covers
// the singular: "sub", "controller", "lun", "luns", "plexes".
std::optional<Kind> ParseKind(std::string_view word);

// " Did you mean 'list'?" when one of `candidates` is close to `word` (case-insensitive edit
// distance of at most a third of its length, and at least 1 or 2), else "".
std::string DidYouMean(std::string_view word, const std::vector<std::string_view>& candidates);

// The plural words of every kind, in their order: the candidates for a mistyped kind.
std::vector<std::string_view> KindPlurals();

// Case-insensitive prefix match of at least `min_length` characters of `keyword`.
bool MatchesKeyword(std::string_view word, std::string_view keyword, size_t min_length = 3);

}  // namespace vdsctl

#endif  // VELA_TOOLS_VDSCTL_KINDS_H_
