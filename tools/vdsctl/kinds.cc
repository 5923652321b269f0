#include "tools/vdsctl/kinds.h"

#include <cctype>

namespace vdsctl {

namespace {

struct KindWords {
  Kind kind;
  std::string_view title;
  std::string_view singular;
  std::string_view plural;
};

constexpr KindWords kKinds[] = {
    {Kind::kSubsystem, "Subsystem", "subsystem", "subsystems"},
    {Kind::kController, "Controller", "controller", "controllers"},
    {Kind::kPort, "Port", "port", "ports"},
    {Kind::kDrive, "Drive", "drive", "drives"},
    {Kind::kLun, "LUN", "lun", "luns"},
    {Kind::kPlex, "Plex", "plex", "plexes"},
    {Kind::kPool, "Pool", "pool", "pools"},
};

const KindWords& WordsOf(Kind kind) { return kKinds[static_cast<size_t>(kind)]; }

}  // namespace

std::string_view KindTitle(Kind kind) { return WordsOf(kind).title; }

std::string_view KindSingular(Kind kind) { return WordsOf(kind).singular; }

std::string_view KindPlural(Kind kind) { return WordsOf(kind).plural; }

bool KindIsPerSubsystem(Kind kind) { return kind != Kind::kSubsystem && kind != Kind::kPool; }

bool MatchesKeyword(std::string_view word, std::string_view keyword, size_t min_length) {
  if (word.size() > keyword.size()) return false;
  if (word.size() < min_length && word.size() != keyword.size()) return false;
  for (size_t i = 0; i < word.size(); ++i) {
    if (std::tolower(static_cast<unsigned char>(word[i])) != keyword[i]) return false;
  }
  return true;
}

std::optional<Kind> ParseKind(std::string_view word) {
  for (const KindWords& words : kKinds) {
    if (MatchesKeyword(word, words.plural)) return words.kind;
  }
  return std::nullopt;
}

}  // namespace vdsctl
