#include "sim/state.h"

#include "platform/clock.h"
#include "sim/changes.h"
#include "sim/log.h"

namespace sim {

State::State(Model model, std::unique_ptr<Store> store)
    : model_(std::move(model)),
      store_(std::move(store)),
      generations_(model_.subsystems.size(), 1),
      lastTick_(GetTickCount64()) {}

void State::Read(const std::function<void(const Model&)>& read) {
  std::lock_guard<std::mutex> lock(mutex_);
  AdvanceJobs();
  read(model_);
}

uint32_t State::Change(size_t subsystemIndex, const std::function<uint32_t(Model&)>& change) {
  std::lock_guard<std::mutex> lock(mutex_);
  AdvanceJobs();
  const uint32_t status = change(model_);
  if (status != 0) return status;
  return CommitLocked(subsystemIndex);
}

uint64_t State::Generation(const std::string& uniqueSn) {
  std::lock_guard<std::mutex> lock(mutex_);
  AdvanceJobs();
  for (size_t i = 0; i < model_.subsystems.size(); ++i) {
    if (model_.subsystems[i].uniqueSn == uniqueSn) return generations_[i];
  }
  return 0;
}

bool State::CommitAll(std::string* error) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (!store_) return true;
  return store_->Commit(model_, SIZE_MAX, error);
}

void State::SetCommitListener(std::function<void(const Model&)> listener) {
  std::lock_guard<std::mutex> lock(mutex_);
  listener_ = std::move(listener);
}

uint32_t State::CommitLocked(size_t subsystemIndex) {
  generations_.resize(model_.subsystems.size(), 1);
  for (size_t i = 0; i < generations_.size(); ++i) {
    if (subsystemIndex == SIZE_MAX || i == subsystemIndex) ++generations_[i];
  }
  std::string error;
  if (!store_ || store_->Commit(model_, subsystemIndex, &error)) {
    if (listener_) listener_(model_);
    return 0;
  }
  SimLog("state commit failed, change undone: %s", error.c_str());
  std::string reloadError;
  if (!store_->Load(&model_, &reloadError)) {
    SimLog("state reload failed: %s", reloadError.c_str());
  }
  return kStatusStoreFailed;
}

void State::AdvanceJobs() {
  const uint64_t now = GetTickCount64();
  const double seconds = static_cast<double>(now - lastTick_) / 1000.0;
  lastTick_ = now;
  for (size_t s = 0; s < model_.subsystems.size(); ++s) {
    bool finished = false;
    for (Vdisk& vdisk : model_.subsystems[s].vdisks) {
      if (vdisk.utilityRunning == 0) continue;
      vdisk.jobPercent += seconds * model_.limits.jobPercentPerSecond;
      if (vdisk.jobPercent < 100) continue;
      FinishJob(model_.subsystems[s], vdisk);
      finished = true;
    }
    if (finished) CommitLocked(s);
  }
}

}  // namespace sim
