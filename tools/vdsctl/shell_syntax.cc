#include "tools/vdsctl/shell_syntax.h"

#include <cctype>
#include <vector>

namespace vdsctl {

namespace {

std::vector<std::string_view> SplitWords(std::string_view line) {
  std::vector<std::string_view> words;
  size_t pos = 0;
  while (pos < line.size()) {
    const size_t start = line.find_first_not_of(" \t\r\n", pos);
    if (start == std::string_view::npos) break;
    size_t end = line.find_first_of(" \t\r\n", start);
    if (end == std::string_view::npos) end = line.size();
    words.push_back(line.substr(start, end - start));
    pos = end;
  }
  return words;
}

struct VerbWord {
  std::string_view keyword;
  Verb verb;
};

constexpr VerbWord kVerbs[] = {
    {"list", Verb::kList},
    {"select", Verb::kSelect},
    {"detail", Verb::kDetail},
    {"refresh", Verb::kRefresh},
    {"reenumerate", Verb::kReenumerate},
    {"health", Verb::kHealth},
    {"help", Verb::kHelp},
    {"exit", Verb::kExit},
    {"quit", Verb::kExit},
};

bool Fail(std::string* error, std::string text) {
  *error = std::move(text);
  return false;
}

}  // namespace

bool ParseShellLine(std::string_view line, ShellCommand* command, std::string* error) {
  *command = ShellCommand{};
  const std::vector<std::string_view> words = SplitWords(line);
  if (words.empty() || words[0].front() == '#' || MatchesKeyword(words[0], "rem", 3)) {
    return true;
  }
  for (const VerbWord& verb : kVerbs) {
    if (MatchesKeyword(words[0], verb.keyword)) command->verb = verb.verb;
  }
  // DiskRAID users type "?" for help.
  if (words[0] == "?") command->verb = Verb::kHelp;
  if (command->verb == Verb::kNone) {
    std::vector<std::string_view> verbs;
    for (const VerbWord& verb : kVerbs) verbs.push_back(verb.keyword);
    return Fail(error,
                "Unknown command '" + std::string(words[0]) + "'." + DidYouMean(words[0], verbs));
  }

  size_t max_words = 1;
  switch (command->verb) {
    case Verb::kList:
    case Verb::kSelect:
      if (words.size() < 2) return Fail(error, "The object type is missing.");
      // A name or serial may hold blanks: the rest of the line is the object.
      max_words = command->verb == Verb::kSelect ? words.size() : 2;
      break;
    case Verb::kDetail:
      max_words = 2;
      break;
    case Verb::kRefresh:
      if (words.size() != 2 || !MatchesKeyword(words[1], "provider")) {
        return Fail(error, "Usage: refresh provider");
      }
      return true;
    case Verb::kReenumerate:
      if (words.size() != 2) return Fail(error, "Usage: reenumerate subsystems|drives");
      command->kind = ParseKind(words[1]);
      if (command->kind != Kind::kSubsystem && command->kind != Kind::kDrive) {
        return Fail(error, "Usage: reenumerate subsystems|drives");
      }
      return true;
    case Verb::kHealth:
    case Verb::kHelp:
    case Verb::kExit:
    case Verb::kNone:
      break;
  }
  if (words.size() > max_words) {
    return Fail(error, "Too many arguments: " + std::string(words[max_words]));
  }
  if (words.size() >= 2) {
    command->kind = ParseKind(words[1]);
    if (!command->kind) {
      return Fail(error, "Unknown object type '" + std::string(words[1]) + "'." +
                             DidYouMean(words[1], KindPlurals()));
    }
  }
  if (words.size() >= 3) {
    std::string_view rest = line.substr(static_cast<size_t>(words[2].data() - line.data()));
    while (!rest.empty() && std::isspace(static_cast<unsigned char>(rest.back()))) {
      rest.remove_suffix(1);
    }
    command->object = ParseObjectRef(rest);
    if (command->object->by == ObjectRef::By::kInvalid) {
      return Fail(error, "Not an object number, name=TEXT or serial=TEXT: " + std::string(rest));
    }
  }
  return true;
}

std::string ShellHelpText() {
  return "list subsystems|controllers|ports|drives|luns|plexes|pools\n"
         "                      list objects; the selected one is marked with *\n"
         "select subsystem|controller|port|drive|lun|plex|pool [N|name=TEXT|serial=TEXT]\n"
         "                      give the object the focus, or show the focus\n"
         "detail [subsystem|controller|port|drive|lun|plex|pool]\n"
         "                      show the selected object\n"
         "refresh provider      have the provider read the arrays again\n"
         "reenumerate subsystems|drives\n"
         "                      have the provider look for new subsystems or drives\n"
         "reenumerate provider|subsystem N\n"
         "                      the same for the provider, or for one subsystem\n"
         "delete|name|hints|applyhints|associate lun [N] ...\n"
         "setflag|maintenance drive [N] ...\n"
         "maintenance|flushcache|invalidatecache controller [N] ...\n"
         "                      change the object named, or the selected one\n"
         "show enclosures       each enclosure as a grid of slots\n"
         "health                every object that is not online and healthy\n"
         "help                  show this text\n"
         "exit                  leave the shell\n";
}

}  // namespace vdsctl
