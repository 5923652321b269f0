#include "tools/vdsctl/commands.h"

#include <string>
#include <type_traits>
#include <vector>

#include "tools/vdsctl/identify_commands.h"
#include "tools/vdsctl/names.h"
#include "tools/vdsctl/views.h"

namespace vdsctl {

namespace {

CallResult Fetch(Model* model, std::optional<int> only, std::vector<SubsystemRow>* rows) {
  if (CallResult error = model->Subsystems(rows)) return error;
  if (only) std::erase_if(*rows, [&](const SubsystemRow& row) { return row.index != *only; });
  return {};
}
CallResult Fetch(Model* model, std::optional<int> only, std::vector<ControllerRow>* rows) {
  return model->Controllers(only, rows);
}
CallResult Fetch(Model* model, std::optional<int> only, std::vector<PortRow>* rows) {
  return model->Ports(only, rows);
}
CallResult Fetch(Model* model, std::optional<int> only, std::vector<DriveRow>* rows) {
  return model->Drives(only, rows);
}
CallResult Fetch(Model* model, std::optional<int> only, std::vector<LunRow>* rows) {
  return model->Luns(only, rows);
}
CallResult Fetch(Model* model, std::optional<int> only, std::vector<PlexRow>* rows) {
  return model->Plexes(only, rows);
}
CallResult Fetch(Model* model, std::optional<int> only, std::vector<PoolRow>* rows) {
  if (CallResult error = model->Pools(rows)) return error;
  if (only) std::erase_if(*rows, [&](const PoolRow& row) { return row.subsystem != only; });
  return {};
}

std::optional<int> SubsystemOf(const SubsystemRow& row) { return row.index; }
std::optional<int> SubsystemOf(const PoolRow& row) { return row.subsystem; }
template <class Row>
std::optional<int> SubsystemOf(const Row& row) {
  return row.subsystem;
}

// What name= and serial= compare with; plexes have neither, pools no serial.
Text NameOf(const PoolRow& row) { return row.pwszName; }
Text NameOf(const PlexRow&) { return std::nullopt; }
template <class Row>
Text NameOf(const Row& row) {
  return row.pwszFriendlyName;
}
Text SerialOf(const PoolRow&) { return std::nullopt; }
Text SerialOf(const PlexRow&) { return std::nullopt; }
template <class Row>
Text SerialOf(const Row& row) {
  return row.pwszIdentification;
}

// Calls `body` with an empty vector of the row type of `kind`.
template <class Body>
ExitCode WithRows(Kind kind, Body body) {
  switch (kind) {
    case Kind::kSubsystem:
      return body(std::vector<SubsystemRow>{});
    case Kind::kController:
      return body(std::vector<ControllerRow>{});
    case Kind::kPort:
      return body(std::vector<PortRow>{});
    case Kind::kDrive:
      return body(std::vector<DriveRow>{});
    case Kind::kLun:
      return body(std::vector<LunRow>{});
    case Kind::kPlex:
      return body(std::vector<PlexRow>{});
    case Kind::kPool:
      return body(std::vector<PoolRow>{});
  }
  return kExitFatal;
}

std::string PluralWord(Kind kind) {
  return kind == Kind::kLun ? "LUNs" : std::string(KindPlural(kind));
}

std::string NumberList(const std::vector<int>& numbers) {
  std::string text;
  for (size_t i = 0; i < numbers.size(); ++i) {
    if (i > 0) text += ", ";
    text += std::to_string(numbers[i]);
  }
  return text;
}

// The row `ref` names among `rows` (all of one subsystem, where the kind has one), or null with
// the reason in *problem.
template <class Row>
const Row* Pick(Kind kind, std::optional<int> subsystem, const std::vector<Row>& rows,
                const ObjectRef& ref, std::string* problem) {
  const std::string where =
      subsystem && KindIsPerSubsystem(kind) ? " in subsystem " + std::to_string(*subsystem) : "";
  const std::string range =
      rows.empty()
          ? (where.empty()
                 ? "there are no " + PluralWord(kind)
                 : "subsystem " + std::to_string(*subsystem) + " has no " + PluralWord(kind))
          : KindWord(kind) + " index must be a number from 0 to " + std::to_string(rows.size() - 1);
  std::vector<const Row*> found;
  switch (ref.by) {
    case ObjectRef::By::kIndex:
      for (const Row& row : rows) {
        if (row.index == ref.index) return &row;
      }
      *problem = "There is no " + KindWord(kind) + " " + std::to_string(ref.index) + where + " (" +
                 range + ").";
      return nullptr;
    case ObjectRef::By::kInvalid:
      *problem = "'" + ref.text + "' names no " + KindWord(kind) + ": " + range +
                 ", or name=TEXT or serial=TEXT.";
      return nullptr;
    case ObjectRef::By::kName:
    case ObjectRef::By::kSerial:
    case ObjectRef::By::kText:
      for (const Row& row : rows) {
        const Text name = NameOf(row);
        const Text serial = SerialOf(row);
        const bool byName = ref.by != ObjectRef::By::kSerial && name == ref.text;
        const bool bySerial = ref.by != ObjectRef::By::kName && serial == ref.text;
        if (byName || bySerial) found.push_back(&row);
      }
      break;
  }
  if (found.size() == 1) return found.front();
  const std::string named =
      ref.by == ObjectRef::By::kText ? "'" + ref.text + "'" : ObjectRefText(ref);
  if (found.empty()) {
    if (ref.by == ObjectRef::By::kName && kind == Kind::kPlex) {
      *problem = "Plexes have no name; give the plex's number.";
    } else if (ref.by == ObjectRef::By::kSerial && (kind == Kind::kPlex || kind == Kind::kPool)) {
      *problem = "A " + KindWord(kind) + " has no serial; give its number.";
    } else {
      *problem = "There is no " + KindWord(kind) + " with " +
                 (ref.by == ObjectRef::By::kText ? "the identification or name " : "") + named +
                 where + ".";
    }
    return nullptr;
  }
  std::vector<int> numbers;
  for (const Row* row : found) numbers.push_back(row->index);
  *problem = named + " names " + PluralWord(kind) + " " + NumberList(numbers) + where +
             "; give the number.";
  return nullptr;
}

}  // namespace

std::string KindWord(Kind kind) {
  return std::string(kind == Kind::kLun ? KindTitle(kind) : KindSingular(kind));
}

Commands::Commands(Model* model, Output* output) : model_(model), output_(output) {}

ExitCode Commands::ShowProvider() {
  ProviderRow row;
  if (CallResult error = model_->Provider(&row)) {
    output_->CallFailed(*error);
    return kExitFatal;
  }
  if (output_->Json()) {
    output_->Document(Json{{"provider", ToJson(row)}});
  } else {
    output_->Text(DetailText(row));
  }
  return kExitOk;
}

ExitCode Commands::List(Kind kind, std::optional<int> subsystem, const GUID& selected) {
  return WithRows(kind, [&](auto rows) {
    if (CallResult error = Fetch(model_, subsystem, &rows)) {
      output_->CallFailed(*error);
      return kExitFatal;
    }
    // A list made while the provider has lost its proxy shows the tree as it was.
    const bool lost = output_->ConnectionLost();
    if (output_->Json()) {
      Json list = Json::array();
      for (const auto& row : rows) list.push_back(ToJson(row));
      Json document{{std::string(KindPlural(kind)), std::move(list)}};
      if (lost) document["connection"] = "lost";
      output_->Document(document);
    } else {
      output_->Text((lost ? "(Listed while the connection to the proxy is lost.)\n" : "") +
                    ListText(rows, selected));
    }
    return kExitOk;
  });
}

ExitCode Commands::Detail(Kind kind, int subsystem, const ObjectRef& ref) {
  return WithRows(kind, [&](auto rows) {
    const std::optional<int> only =
        KindIsPerSubsystem(kind) ? std::optional<int>(subsystem) : std::nullopt;
    if (CallResult error = Fetch(model_, only, &rows)) {
      output_->CallFailed(*error);
      return kExitFatal;
    }
    std::string problem;
    const auto* row = Pick(kind, only, rows, ref, &problem);
    if (row == nullptr) {
      output_->Problem(problem);
      return kExitSyntax;
    }
    Json document = ToJson(*row);
    std::string text = DetailText(*row);
    if constexpr (std::is_same_v<std::decay_t<decltype(*row)>, LunRow>) {
      // A LUN's detail carries its identification data; a LUN that can't give it is still shown.
      Json identification;
      std::string words;
      if (CallResult error = GetLunIdentification(model_->ProviderObject(), row->prop.id,
                                                  &identification, &words)) {
        words = "Identification: not available (" + error->call + ": " +
                HResultText(error->hr) + ", " + HResultHex(error->hr) + ")\n";
      }
      document["identification"] = identification;
      text += words;
    }
    if (output_->Json()) {
      output_->Document(Json{{std::string(KindSingular(kind)), std::move(document)}});
    } else {
      output_->Text(text);
    }
    return kExitOk;
  });
}

ExitCode Commands::Find(Kind kind, int subsystem, const ObjectRef& ref, GUID* id, int* index) {
  return WithRows(kind, [&](auto rows) {
    const std::optional<int> only =
        KindIsPerSubsystem(kind) ? std::optional<int>(subsystem) : std::nullopt;
    if (CallResult error = Fetch(model_, only, &rows)) {
      output_->CallFailed(*error);
      return kExitFatal;
    }
    std::string problem;
    const auto* row = Pick(kind, only, rows, ref, &problem);
    if (row == nullptr) {
      output_->Problem(problem);
      return kExitSyntax;
    }
    *id = row->prop.id;
    *index = row->index;
    return kExitOk;
  });
}

ExitCode Commands::FindIndex(Kind kind, const GUID& id, std::optional<int>* index,
                             std::optional<int>* subsystem) {
  return WithRows(kind, [&](auto rows) {
    if (CallResult error = Fetch(model_, std::nullopt, &rows)) {
      output_->CallFailed(*error);
      return kExitFatal;
    }
    index->reset();
    subsystem->reset();
    for (const auto& row : rows) {
      if (row.prop.id == id) {
        *index = row.index;
        *subsystem = SubsystemOf(row);
      }
    }
    return kExitOk;
  });
}

ExitCode Commands::ResolveSubsystem(const std::string& text, int* index) {
  std::vector<SubsystemRow> rows;
  if (CallResult error = model_->Subsystems(&rows)) {
    output_->CallFailed(*error);
    return kExitFatal;
  }
  const ObjectRef ref = ParseObjectRef(text, true);
  if (ref.by == ObjectRef::By::kIndex) {
    for (const SubsystemRow& row : rows) {
      if (row.index == ref.index) {
        *index = row.index;
        return kExitOk;
      }
    }
    std::vector<int> numbers;
    for (const SubsystemRow& row : rows) numbers.push_back(row.index);
    output_->Problem(
        "There is no subsystem " + text + " (" +
        (rows.empty() ? std::string("there are none") : "subsystems: " + NumberList(numbers)) +
        ").");
    return kExitSyntax;
  }
  std::string problem;
  const SubsystemRow* row = Pick(Kind::kSubsystem, std::nullopt, rows, ref, &problem);
  if (row == nullptr) {
    output_->Problem(problem);
    return kExitSyntax;
  }
  *index = row->index;
  return kExitOk;
}

}  // namespace vdsctl
