// The provider's notifications as the shell shows them: each names its object the way the
// listings do, by index and friendly name. Notifications arrive on the provider's threads, which
// must not wait for a walk of the lists, so they are queued and named on a thread of their own.
#ifndef VELA_TOOLS_VDSCTL_NOTICES_H_
#define VELA_TOOLS_VDSCTL_NOTICES_H_

#include <condition_variable>
#include <deque>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "platform/guid.h"
#include "platform/vds_types.h"
#include "tools/vdsctl/model.h"
#include "tools/vdsctl/output.h"

namespace vdsctl {

// Labels of the objects a notification can name: "LUN 3 \"Data\" of subsystem 0". An object
// that has left the lists keeps the label it had when it was last seen, so that a departure
// still names it.
class ObjectLabels {
 public:
  explicit ObjectLabels(Model* model) : model_(model) {}

  // Walks every list once, so that objects that depart before any other notice are known.
  void LearnAll();
  // The label of the notification's object; nothing when it was never listed.
  std::optional<ObjectLabel> Find(const VDS_NOTIFICATION& notification);

 private:
  // Walks the list of one notification target type; false for a type without a list.
  bool Learn(ULONG objectType);

  Model* model_;
  std::map<GUID, ObjectLabel> seen_;
};

class NoticeBoard {
 public:
  NoticeBoard(Model* model, Output* output);
  NoticeBoard(const NoticeBoard&) = delete;
  NoticeBoard& operator=(const NoticeBoard&) = delete;
  // Shows what is still queued, then stops the thread.
  ~NoticeBoard();

  // Any thread; returns at once.
  void Post(const VDS_NOTIFICATION& notification);

 private:
  void Run();

  ObjectLabels labels_;  // used by the thread only
  Output* output_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<VDS_NOTIFICATION> queue_;  // guarded by mutex_
  bool stop_ = false;                   // guarded by mutex_
  std::thread thread_;
};

}  // namespace vdsctl

#endif  // VELA_TOOLS_VDSCTL_NOTICES_H_
