// The decisions of LUN masking: the unmasking list format, what a change of list sends (hosts
// removed one by one, the view for all removed, hosts added), and the unit numbers free for a
// mapping. CLun::SetMask fetches the views, calls these, and sends create_custom_view.
#ifndef VELA_PROVISIONING_MASK_H_
#define VELA_PROVISIONING_MASK_H_

#include <cstdint>
#include <string>
#include <vector>

#include "proxy/records.h"

// The three forms of an unmasking list.
enum class MaskForm { kNone, kAll, kHosts };

struct UnmaskingList {
  MaskForm form = MaskForm::kNone;
  std::vector<std::string> hosts;  // 16 upper-case hex digits each, no duplicates, list order
};

// Parses "" (nobody), "*" (every host) or "wwn;wwn;...". False for a character other than hex
// digits and ';' or an entry that is not exactly 16 digits long (an empty entry among them).
bool ParseUnmaskingList(const std::string& text, UnmaskingList* list);

// What a change from the stored list to the new one sends, in this order.
struct MaskPlan {
  bool unchanged = false;               // same hosts: nothing is sent
  std::vector<std::string> removeEach;  // hosts taken off one by one (bCreate false)
  bool removeAll = false;               // then the view for all taken off
  bool clearedOnly = false;             // the new list is empty: done after the removals
  bool onlyAdding = true;               // the stored hosts stay and the new ones are added
  std::vector<std::string> add;         // hosts that come, in list order
};
MaskPlan PlanMaskChange(const UnmaskingList& stored, const UnmaskingList& wanted);

// The stored list after the hosts in `added` were mapped.
std::string MaskResult(const UnmaskingList& stored, bool onlyAdding,
                       const std::vector<std::string>& added);

// Unit numbers a partition view holds: its LUN number when it is not 0, or 0 when the view's
// port field shows a mapping for all hosts.
void ViewUnitsInUse(const partitionView& view, std::vector<uint32_t>* used);
// Unit numbers under which one host (8-byte WWN) sees this view's partition.
void ViewUnitsForWwn(const partitionView& view, const uint8_t* wwn, std::vector<uint32_t>* used);

// The first number in [start, end) that `used` doesn't hold, or -1.
int FirstFreeUnit(const std::vector<uint32_t>& used, uint32_t start, uint32_t end);

// A WWN's 16 hex digits as its 8 bytes.
void WwnBytes(const std::string& wwn, uint8_t* bytes);

#endif  // VELA_PROVISIONING_MASK_H_
