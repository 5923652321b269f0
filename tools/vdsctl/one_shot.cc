#include "tools/vdsctl/one_shot.h"

namespace vdsctl {

ExitCode CommandContext::Subsystem(const std::string& text, std::optional<int>* index) const {
  index->reset();
  if (text.empty()) return kExitOk;
  int found = 0;
  if (ExitCode code = commands->ResolveSubsystem(text, &found)) return code;
  *index = found;
  return kExitOk;
}

void CommandTable::Add(CLI::App* subcommand, CommandRun run, bool needsProxy) {
  entries_.push_back(Entry{subcommand, std::move(run), needsProxy});
}

const CommandTable::Entry* CommandTable::Given() const {
  for (const Entry& entry : entries_) {
    if (entry.subcommand->parsed()) return &entry;
  }
  return nullptr;
}

CLI::Validator KindValidator() {
  return CLI::Validator(
      [](std::string& word) -> std::string {
        if (ParseKind(word)) return "";
        return "Unknown object type '" + word + "'." + DidYouMean(word, KindPlurals());
      },
      "KIND");
}

CLI::Option* AddSubsystemOption(CLI::App* subcommand, std::string* text, const std::string& help) {
  return subcommand->add_option("--subsystem", *text, help)->type_name("N|NAME");
}

}  // namespace vdsctl
