#include "tools/vdsctl/kinds.h"

#include <algorithm>
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

namespace {

size_t EditDistance(std::string_view a, std::string_view b) {
  std::vector<size_t> row(b.size() + 1);
  for (size_t j = 0; j <= b.size(); ++j) row[j] = j;
  for (size_t i = 1; i <= a.size(); ++i) {
    size_t diagonal = row[0];
    row[0] = i;
    for (size_t j = 1; j <= b.size(); ++j) {
      const size_t above = row[j];
      const bool same = std::tolower(static_cast<unsigned char>(a[i - 1])) ==
                        std::tolower(static_cast<unsigned char>(b[j - 1]));
      row[j] = std::min({row[j] + 1, row[j - 1] + 1, diagonal + (same ? 0 : 1)});
      diagonal = above;
    }
  }
  return row[b.size()];
}

}  // namespace

std::string DidYouMean(std::string_view word, const std::vector<std::string_view>& candidates) {
  const size_t limit = std::max<size_t>(word.size() <= 4 ? 1 : 2, word.size() / 3);
  std::string_view best;
  size_t bestDistance = limit + 1;
  for (std::string_view candidate : candidates) {
    const size_t distance = EditDistance(word, candidate);
    if (distance < bestDistance) {
      best = candidate;
      bestDistance = distance;
    }
  }
  return best.empty() ? "" : " Did you mean '" + std::string(best) + "'?";
}

std::vector<std::string_view> KindPlurals() {
  std::vector<std::string_view> words;
  for (const KindWords& kind : kKinds) words.push_back(kind.plural);
  return words;
}

std::optional<Kind> ParseKind(std::string_view word) {
  for (const KindWords& words : kKinds) {
    if (MatchesKeyword(word, words.plural)) return words.kind;
  }
  return std::nullopt;
}

}  // namespace vdsctl
