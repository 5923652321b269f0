#include "tools/vdsctl/health.h"

#include <cctype>

#include "tools/vdsctl/names.h"

namespace vdsctl {

namespace {

// Every kind's status enumeration gives 1 to online.
constexpr int32_t kOnline = 1;

Text NameOf(const PoolRow& row) { return row.pwszName; }
template <class Row>
Text NameOf(const Row& row) {
  return row.pwszFriendlyName;
}
std::optional<int> SubsystemOf(const SubsystemRow&) { return std::nullopt; }
std::optional<int> SubsystemOf(const PoolRow& row) { return row.subsystem; }
template <class Row>
std::optional<int> SubsystemOf(const Row& row) {
  return row.subsystem;
}
std::optional<VDS_HEALTH> HealthOf(const PortRow&) { return std::nullopt; }
template <class Row>
std::optional<VDS_HEALTH> HealthOf(const Row& row) {
  return row.prop.health;
}

template <class Row>
void Check(Kind kind, const std::vector<Row>& rows, std::vector<HealthProblem>* problems,
           int* checked) {
  for (const Row& row : rows) {
    ++*checked;
    const std::optional<VDS_HEALTH> health = HealthOf(row);
    const int32_t status = static_cast<int32_t>(row.prop.status);
    if (status == kOnline && (!health || *health == VDS_H_HEALTHY)) continue;
    problems->push_back(
        HealthProblem{kind, row.index, SubsystemOf(row), NameOf(row), status, health});
  }
}

std::string Lower(std::string word) {
  for (char& c : word) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return word;
}

}  // namespace

CallResult FindHealthProblems(Model* model, std::vector<HealthProblem>* problems, int* checked) {
  *checked = 0;
  std::vector<SubsystemRow> subsystems;
  if (CallResult error = model->Subsystems(&subsystems)) return error;
  Check(Kind::kSubsystem, subsystems, problems, checked);
  std::vector<ControllerRow> controllers;
  if (CallResult error = model->Controllers(std::nullopt, &controllers)) return error;
  Check(Kind::kController, controllers, problems, checked);
  std::vector<PortRow> ports;
  if (CallResult error = model->Ports(std::nullopt, &ports)) return error;
  Check(Kind::kPort, ports, problems, checked);
  std::vector<DriveRow> drives;
  if (CallResult error = model->Drives(std::nullopt, &drives)) return error;
  Check(Kind::kDrive, drives, problems, checked);
  std::vector<LunRow> luns;
  if (CallResult error = model->Luns(std::nullopt, &luns)) return error;
  Check(Kind::kLun, luns, problems, checked);
  // A provider may have storage pools turned off; then it has none to be unhealthy.
  std::vector<PoolRow> pools;
  if (CallResult error = model->Pools(&pools); error && error->hr != VDS_E_NOT_SUPPORTED) {
    return error;
  }
  Check(Kind::kPool, pools, problems, checked);
  return {};
}

std::string HealthProblemText(const HealthProblem& problem) {
  std::string text = std::string(KindTitle(problem.kind)) + " " + std::to_string(problem.index);
  if (problem.subsystem && problem.kind != Kind::kSubsystem) {
    text += " in subsystem " + std::to_string(*problem.subsystem);
  }
  if (problem.name && !problem.name->empty()) text += " (" + *problem.name + ")";
  text += ": " + StatusWord(problem.status);
  if (problem.health) text += ", " + HealthWord(*problem.health);
  return text;
}

Json HealthProblemJson(const HealthProblem& problem) {
  Json json{{"kind", KindSingular(problem.kind)}, {"index", problem.index}};
  if (problem.kind != Kind::kSubsystem) {
    json["subsystem"] = problem.subsystem ? Json(*problem.subsystem) : Json(nullptr);
  }
  json["name"] = problem.name ? Json(*problem.name) : Json(nullptr);
  json["status"] = problem.status;
  json["statusName"] = Lower(StatusWord(problem.status));
  if (problem.health) {
    json["health"] = *problem.health;
    json["healthName"] = Lower(HealthWord(*problem.health));
  }
  return json;
}

ExitCode ShowHealth(Model* model, Output* output) {
  std::vector<HealthProblem> problems;
  int checked = 0;
  if (CallResult error = FindHealthProblems(model, &problems, &checked)) {
    output->CallFailed(*error);
    return kExitFatal;
  }
  if (output->Json()) {
    Json list = Json::array();
    for (const HealthProblem& problem : problems) list.push_back(HealthProblemJson(problem));
    output->Document(Json{
        {"health", {{"healthy", problems.empty()}, {"checked", checked}, {"problems", list}}}});
  } else if (problems.empty()) {
    output->Text("All " + std::to_string(checked) + " objects are online and healthy.\n");
  } else {
    std::string text;
    for (const HealthProblem& problem : problems) text += HealthProblemText(problem) + "\n";
    output->Text(text);
  }
  return problems.empty() ? kExitOk : kExitFatal;
}

}  // namespace vdsctl
