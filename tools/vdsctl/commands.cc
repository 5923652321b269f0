#include "tools/vdsctl/commands.h"

#include <string>
#include <vector>

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
CallResult Fetch(Model* model, std::optional<int>, std::vector<PoolRow>* rows) {
  return model->Pools(rows);
}

int SubsystemOf(const SubsystemRow& row) { return row.index; }
int SubsystemOf(const PoolRow&) { return 0; }
template <class Row>
int SubsystemOf(const Row& row) {
  return row.subsystem;
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

}  // namespace

std::string KindWord(Kind kind) {
  return std::string(kind == Kind::kLun ? KindTitle(kind) : KindSingular(kind));
}

std::string NoSuchObjectText(Kind kind, int subsystem, int index) {
  std::string text = "There is no " + KindWord(kind) + " " + std::to_string(index);
  if (KindIsPerSubsystem(kind)) text += " in subsystem " + std::to_string(subsystem);
  return text + ".";
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
    if (output_->Json()) {
      Json list = Json::array();
      for (const auto& row : rows) list.push_back(ToJson(row));
      output_->Document(Json{{std::string(KindPlural(kind)), std::move(list)}});
    } else {
      output_->Text(ListText(rows, selected));
    }
    return kExitOk;
  });
}

ExitCode Commands::Detail(Kind kind, int subsystem, int index) {
  return WithRows(kind, [&](auto rows) {
    const std::optional<int> only =
        KindIsPerSubsystem(kind) ? std::optional<int>(subsystem) : std::nullopt;
    if (CallResult error = Fetch(model_, only, &rows)) {
      output_->CallFailed(*error);
      return kExitFatal;
    }
    for (const auto& row : rows) {
      if (row.index != index) continue;
      if (output_->Json()) {
        output_->Document(Json{{std::string(KindSingular(kind)), ToJson(row)}});
      } else {
        output_->Text(DetailText(row));
      }
      return kExitOk;
    }
    output_->Problem(NoSuchObjectText(kind, subsystem, index));
    return kExitSyntax;
  });
}

ExitCode Commands::FindId(Kind kind, int subsystem, int index, std::optional<GUID>* id) {
  return WithRows(kind, [&](auto rows) {
    const std::optional<int> only =
        KindIsPerSubsystem(kind) ? std::optional<int>(subsystem) : std::nullopt;
    if (CallResult error = Fetch(model_, only, &rows)) {
      output_->CallFailed(*error);
      return kExitFatal;
    }
    id->reset();
    for (const auto& row : rows) {
      if (row.index == index) *id = row.prop.id;
    }
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

}  // namespace vdsctl
