#include "tools/vdsctl/shell.h"

#include <algorithm>
#include <cctype>
#include <sstream>
#include <string_view>
#include <vector>

#include "tools/vdsctl/health.h"

namespace vdsctl {

Shell::Shell(Model* model, Commands* commands, Output* output)
    : model_(model), commands_(commands), output_(output) {}

ExitCode Shell::Run(std::istream& in, bool interactive) {
  StreamLines lines(in, output_, interactive);
  return Run(lines, interactive);
}

ExitCode Shell::Run(LineSource& lines, bool interactive) {
  std::string line;
  for (int number = 1;; ++number) {
    if (!lines.Read("VDSCTL> ", &line)) break;
    // A script saved with a byte order mark: the mark is no part of its first command.
    if (number == 1 && line.rfind("\xEF\xBB\xBF", 0) == 0) line.erase(0, 3);
    bool exit = false;
    if (!interactive) output_->SetScriptLine(number);
    const ExitCode code = Execute(line, &exit);
    output_->SetScriptLine(0);
    if (code != kExitOk && !interactive) return code;
    if (exit) break;
  }
  if (interactive && !output_->Json()) output_->Text("\n");
  return kExitOk;
}

ExitCode Shell::Execute(const std::string& line, bool* exit) {
  std::string text = line;
  const size_t end = text.find_last_not_of(" \t\r");
  const size_t start = end == std::string::npos ? 0 : text.find_last_of(" \t", end);
  if (end != std::string::npos && start != std::string::npos &&
      text.compare(start + 1, end - start, "noerr") == 0) {
    text.resize(start);
    ExecuteOne(text, exit);
    return kExitOk;
  }
  return ExecuteOne(text, exit);
}

ExitCode Shell::ExecuteOne(const std::string& line, bool* exit) {
  std::vector<std::string> words;
  {
    std::istringstream in(line);
    for (std::string word; in >> word;) words.push_back(word);
  }
  if (provision_ != nullptr) {
    if (std::optional<ExitCode> code = Provision(words)) return *code;
  }
  if (maintenance_ != nullptr) {
    MaintenanceRequest request;
    std::string error;
    switch (ParseMaintenanceWords(words, true, &request, &error)) {
      case ParseOutcome::kNotMine:
        break;
      case ParseOutcome::kBad:
        output_->Problem(error);
        return kExitSyntax;
      case ParseOutcome::kParsed: {
        std::optional<int> subsystem;
        if (ExitCode code = ScopeSubsystem(&subsystem)) return code;
        return maintenance_->Run(request, subsystem,
                                 request.kind ? Focus(*request.kind) : std::nullopt);
      }
    }
  }
  if (sizes_ != nullptr) {
    SizeArgs args;
    std::string error;
    if (std::optional<bool> parsed = ParseSizeWords(words, &args, &error)) {
      if (!*parsed) {
        output_->Problem(error);
        return kExitSyntax;
      }
      std::optional<int> subsystem;
      if (ExitCode code = ScopeSubsystem(&subsystem)) return code;
      return sizes_->Run(subsystem.value_or(0), args);
    }
  }
  ShellCommand command;
  std::string error;
  if (!ParseShellLine(line, &command, &error)) {
    output_->Problem(error);
    return kExitSyntax;
  }
  switch (command.verb) {
    case Verb::kNone:
      return kExitOk;
    case Verb::kExit:
      *exit = true;
      return kExitOk;
    case Verb::kHelp:
      if (output_->Json()) {
        output_->Document(Json{{"help", ShellHelpText()}});
      } else {
        output_->Text(ShellHelpText());
      }
      return kExitOk;
    case Verb::kList:
      return List(*command.kind);
    case Verb::kSelect:
      return command.object ? Select(command) : ShowSelection(*command.kind);
    case Verb::kDetail:
      return Detail(command.kind);
    case Verb::kRefresh:
      return Refresh();
    case Verb::kHealth:
      return ShowHealth(model_, output_);
    case Verb::kReenumerate: {
      CallResult failure;
      if (command.kind == Kind::kSubsystem) {
        failure = model_->ReenumerateSubsystems();
      } else {
        std::optional<int> subsystem;
        if (ExitCode code = ScopeSubsystem(&subsystem)) return code;
        failure = model_->ReenumerateDrives(subsystem);
      }
      if (failure) {
        output_->CallFailed(*failure);
        return kExitFatal;
      }
      return Done("The provider has enumerated the " + std::string(KindPlural(*command.kind)) +
                  " again.");
    }
  }
  return kExitOk;
}

std::optional<ExitCode> Shell::Provision(const std::vector<std::string>& words) {
  if (words.empty()) return std::nullopt;
  std::string verb = words[0];
  for (char& c : verb) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  const bool lunWord = words.size() > 1 && (words[1] == "lun" || words[1] == "LUN");
  if (verb == "create") {
    CreateLunArgs args;
    std::string error = "create wants \"lun\": create lun TYPE [size=N] [drives=i,j,...] ...";
    if (!lunWord || !ParseCreateLunWords({words.begin() + 2, words.end()}, &args, &error)) {
      output_->Problem(error);
      return kExitSyntax;
    }
    std::optional<int> subsystem;
    if (ExitCode code = ScopeSubsystem(&subsystem)) return code;
    std::optional<GUID> created;
    return provision_->CreateLun(subsystem.value_or(0), args, &created);
  }
  if (verb != "unmask") return std::nullopt;
  if (lunWord && words.size() == 4 &&
      words[2].find_first_not_of("0123456789") == std::string::npos && words[2].size() < 10) {
    std::optional<int> subsystem;
    if (ExitCode code = ScopeSubsystem(&subsystem)) return code;
    return provision_->Unmask(subsystem.value_or(0), std::stoi(words[2]),
                              UnmaskingListWord(words[3]));
  }
  if (words.size() != 2) {
    output_->Problem("unmask wants: unmask all|none|LIST on the selected LUN, or unmask lun N ...");
    return kExitSyntax;
  }
  if (!Focus(Kind::kLun)) {
    output_->Problem("There is no LUN selected.");
    return kExitSyntax;
  }
  return provision_->UnmaskById(*Focus(Kind::kLun), UnmaskingListWord(words[1]));
}

ExitCode Shell::Done(const std::string& what) {
  if (output_->Json()) {
    output_->Document(Json{{"done", what}});
  } else {
    output_->Text(what + "\n");
  }
  return kExitOk;
}

ExitCode Shell::Refresh() {
  const size_t logBefore = log_ != nullptr ? log_->ReadRun().size() : 0;
  if (CallResult failure = model_->Refresh()) {
    output_->CallFailed(*failure);
    return kExitFatal;
  }
  if (ExitCode code = Done("The provider has been refreshed.")) return code;
  std::vector<SubsystemRow> rows;
  if (log_ == nullptr || model_->Subsystems(&rows) || !rows.empty()) return kExitOk;
  const std::string log = log_->ReadRun();
  output_->Warning(
      "The refresh left the provider without subsystems: " +
      EmptyRefreshReason(std::string_view(log).substr(std::min(logBefore, log.size()))) + ".");
  return kExitOk;
}

ExitCode Shell::ScopeSubsystem(std::optional<int>* subsystem) {
  subsystem->reset();
  if (Focus(Kind::kSubsystem)) {
    std::optional<int> index;
    std::optional<int> unused;
    if (ExitCode code =
            commands_->FindIndex(Kind::kSubsystem, *Focus(Kind::kSubsystem), &index, &unused)) {
      return code;
    }
    if (index) {
      *subsystem = index;
      return kExitOk;
    }
    Focus(Kind::kSubsystem).reset();
  }
  std::vector<SubsystemRow> rows;
  if (CallResult failure = model_->Subsystems(&rows)) {
    output_->CallFailed(*failure);
    return kExitFatal;
  }
  if (rows.size() == 1) *subsystem = 0;
  return kExitOk;
}

ExitCode Shell::Select(const ShellCommand& command) {
  const Kind kind = *command.kind;
  int subsystem = 0;
  if (KindIsPerSubsystem(kind)) {
    std::optional<int> scope;
    if (ExitCode code = ScopeSubsystem(&scope)) return code;
    if (!scope) {
      output_->Problem("There is no subsystem selected.");
      return kExitSyntax;
    }
    subsystem = *scope;
  }
  GUID id{};
  int index = 0;
  if (ExitCode code = commands_->Find(kind, subsystem, *command.object, &id, &index)) return code;
  if (kind == Kind::kSubsystem && Focus(kind) != id) {
    // The objects of the previous subsystem lose their focus with it.
    for (Kind other : {Kind::kController, Kind::kPort, Kind::kDrive, Kind::kLun, Kind::kPlex}) {
      Focus(other).reset();
    }
  }
  Focus(kind) = id;
  last_ = kind;
  if (output_->Json()) {
    Json selected{{"kind", KindSingular(kind)}, {"index", index}};
    if (KindIsPerSubsystem(kind)) selected["subsystem"] = subsystem;
    selected["id"] = GuidToString(id);
    output_->Document(Json{{"selected", std::move(selected)}});
  } else {
    output_->Text(std::string(KindTitle(kind)) + " " + std::to_string(index) +
                  " is now the selected " + KindWord(kind) + ".\n");
  }
  return kExitOk;
}

ExitCode Shell::ShowSelection(Kind kind) {
  std::optional<int> index;
  std::optional<int> subsystem;
  if (Focus(kind)) {
    if (ExitCode code = commands_->FindIndex(kind, *Focus(kind), &index, &subsystem)) return code;
  }
  if (output_->Json()) {
    Json selected = nullptr;
    if (index) {
      selected = Json{{"kind", KindSingular(kind)}, {"index", *index}};
      if (KindIsPerSubsystem(kind)) selected["subsystem"] = *subsystem;
      selected["id"] = GuidToString(*Focus(kind));
    }
    output_->Document(Json{{"selected", std::move(selected)}});
  } else if (index) {
    output_->Text(std::string(KindTitle(kind)) + " " + std::to_string(*index) +
                  " is the selected " + KindWord(kind) + ".\n");
  } else {
    output_->Text("There is no " + KindWord(kind) + " selected.\n");
  }
  return kExitOk;
}

ExitCode Shell::List(Kind kind) {
  std::optional<int> subsystem;
  if (KindIsPerSubsystem(kind) && Focus(Kind::kSubsystem)) {
    if (ExitCode code = ScopeSubsystem(&subsystem)) return code;
  }
  return commands_->List(kind, subsystem, Focus(kind).value_or(GUID_NULL));
}

ExitCode Shell::Detail(std::optional<Kind> kind) {
  if (!kind) kind = last_;
  if (!kind) {
    output_->Problem("There is no object selected.");
    return kExitSyntax;
  }
  std::optional<int> index;
  std::optional<int> subsystem;
  if (Focus(*kind)) {
    if (ExitCode code = commands_->FindIndex(*kind, *Focus(*kind), &index, &subsystem)) {
      return code;
    }
  }
  if (!index) {
    output_->Problem("There is no " + KindWord(*kind) + " selected.");
    return kExitSyntax;
  }
  return commands_->Detail(*kind, subsystem.value_or(0), ObjectRef::Index(*index));
}

}  // namespace vdsctl
