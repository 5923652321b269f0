#include "tools/vdsctl/notices.h"

#include <utility>
#include <vector>

#include "tools/vdsctl/kinds.h"

namespace vdsctl {
namespace {

template <class Row>
ObjectLabel LabelOf(Kind kind, const Row& row, std::optional<int> subsystem) {
  return ObjectLabel{kind, row.index, subsystem, row.pwszFriendlyName};
}

}  // namespace

bool ObjectLabels::Learn(ULONG objectType) {
  auto keep = [this](const GUID& id, ObjectLabel label) { seen_[id] = std::move(label); };
  switch (objectType) {
    case VDS_NTT_SUB_SYSTEM: {
      std::vector<SubsystemRow> rows;
      if (model_->Subsystems(&rows)) return true;
      for (const auto& row : rows) keep(row.prop.id, LabelOf(Kind::kSubsystem, row, std::nullopt));
      return true;
    }
    case VDS_NTT_CONTROLLER: {
      std::vector<ControllerRow> rows;
      if (model_->Controllers(std::nullopt, &rows)) return true;
      for (const auto& row : rows)
        keep(row.prop.id, LabelOf(Kind::kController, row, row.subsystem));
      return true;
    }
    case VDS_NTT_PORT: {
      std::vector<PortRow> rows;
      if (model_->Ports(std::nullopt, &rows)) return true;
      for (const auto& row : rows) keep(row.prop.id, LabelOf(Kind::kPort, row, row.subsystem));
      return true;
    }
    case VDS_NTT_DRIVE: {
      std::vector<DriveRow> rows;
      if (model_->Drives(std::nullopt, &rows)) return true;
      for (const auto& row : rows) keep(row.prop.id, LabelOf(Kind::kDrive, row, row.subsystem));
      return true;
    }
    case VDS_NTT_LUN: {
      std::vector<LunRow> rows;
      if (model_->Luns(std::nullopt, &rows)) return true;
      for (const auto& row : rows) keep(row.prop.id, LabelOf(Kind::kLun, row, row.subsystem));
      return true;
    }
    default:
      return false;
  }
}

void ObjectLabels::LearnAll() {
  for (ULONG type :
       {VDS_NTT_SUB_SYSTEM, VDS_NTT_CONTROLLER, VDS_NTT_PORT, VDS_NTT_DRIVE, VDS_NTT_LUN}) {
    Learn(type);
  }
}

std::optional<ObjectLabel> ObjectLabels::Find(const VDS_NOTIFICATION& notification) {
  // Every member of the notification's union starts with ulEvent and the object's id.
  const GUID& id = notification.SubSystem.subSystemId;
  if (!Learn(notification.objectType)) return std::nullopt;
  auto found = seen_.find(id);
  if (found == seen_.end()) return std::nullopt;
  return found->second;
}

NoticeBoard::NoticeBoard(Model* model, Output* output)
    : labels_(model), output_(output), thread_([this] { Run(); }) {}

NoticeBoard::~NoticeBoard() {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    stop_ = true;
  }
  changed_.notify_all();
  thread_.join();
}

void NoticeBoard::Post(const VDS_NOTIFICATION& notification) {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    queue_.push_back(notification);
  }
  changed_.notify_all();
}

void NoticeBoard::Run() {
  bool learned = false;
  std::unique_lock<std::mutex> lock(mutex_);
  for (;;) {
    if (!learned && queue_.empty() && !stop_) {
      // Before the first notice: learn what is there, so that a departure can be named.
      lock.unlock();
      labels_.LearnAll();
      learned = true;
      lock.lock();
      continue;
    }
    changed_.wait(lock, [this] { return stop_ || !queue_.empty(); });
    if (queue_.empty()) return;
    const VDS_NOTIFICATION notification = queue_.front();
    queue_.pop_front();
    lock.unlock();
    output_->Notification(notification, labels_.Find(notification));
    lock.lock();
  }
}

}  // namespace vdsctl
