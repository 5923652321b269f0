// The one array state of a simulator: the model behind its lock, the store that persists each
// change before the change is acknowledged, change generations for the refresh question, and
// background jobs that advance with the platform clock.
#ifndef VELA_SIM_STATE_H_
#define VELA_SIM_STATE_H_

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "sim/model.h"
#include "sim/store.h"

namespace sim {

// Status a command gets when its change could not be committed.
inline constexpr uint32_t kStatusStoreFailed = 0xE0;

class State {
 public:
  // `store` may be null: the state then lives in memory only.
  State(Model model, std::unique_ptr<Store> store);
  State(const State&) = delete;
  State& operator=(const State&) = delete;

  // Runs `read` on the model under the lock.
  void Read(const std::function<void(const Model&)>& read);

  // Runs `change` under the lock. It returns 0 when it changed the model (which is then
  // committed before Change returns) or a non-zero status when it refused, in which case it
  // must have left the model as it was. A commit failure restores the last committed state and
  // gives kStatusStoreFailed. `subsystemIndex` names the subsystem changed, SIZE_MAX for all.
  uint32_t Change(size_t subsystemIndex, const std::function<uint32_t(Model&)>& change);

  // Bumped by every committed change of the subsystem; a session compares it with the value it
  // saw last to answer whether a refresh is due.
  uint64_t Generation(const std::string& uniqueSn);

  // Commits the state as it stands (used once after creating it from an inventory).
  bool CommitAll(std::string* error);

  // Runs `listener` on the model after every committed change, under the lock.
  void SetCommitListener(std::function<void(const Model&)> listener);

 private:
  // Moves running jobs on by the platform time since the last call; a job that reaches 100
  // percent finishes and its subsystem is committed. Caller holds mutex_.
  void AdvanceJobs();
  uint32_t CommitLocked(size_t subsystemIndex);

  std::mutex mutex_;
  Model model_;                        // guarded by mutex_
  std::unique_ptr<Store> store_;       // guarded by mutex_
  std::vector<uint64_t> generations_;  // guarded by mutex_; one per subsystem
  uint64_t lastTick_ = 0;              // guarded by mutex_; platform ms of the last advance
  std::function<void(const Model&)> listener_;  // guarded by mutex_
};

}  // namespace sim

#endif  // VELA_SIM_STATE_H_
