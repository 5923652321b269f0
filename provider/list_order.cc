#include "provider/list_order.h"

#include <algorithm>
#include <string_view>

#include "objects/controller.h"
#include "objects/drive.h"
#include "objects/lun.h"
#include "objects/pool.h"

namespace {

using Entry = std::pair<GUID, VDS_OBJECT>;

std::u16string_view NameOf(const CLun* lun) {
  LPCWSTR name = lun->Prop().pwszFriendlyName;
  return name == nullptr ? std::u16string_view() : std::u16string_view(name);
}

bool OfListClass(const VDS_OBJECT& entry) {
  CVdsBase* object = entry.pObject;
  if (object == nullptr) return false;
  switch (entry.type) {
    case VDS_OT_CONTROLLER:
      return dynamic_cast<CController*>(object) != nullptr;
    case VDS_OT_DRIVE:
      return dynamic_cast<CDrive*>(object) != nullptr;
    case VDS_OT_LUN:
      return dynamic_cast<CLun*>(object) != nullptr;
    case VDS_OT_STORAGE_POOL:
      return dynamic_cast<CPool*>(object) != nullptr;
    default:
      return true;
  }
}

bool ListOrderLess(const Entry& a, const Entry& b) {
  switch (a.second.type) {
    case VDS_OT_CONTROLLER: {
      auto* x = static_cast<CController*>(a.second.pObject);
      auto* y = static_cast<CController*>(b.second.pObject);
      return x->ControllerId() > y->ControllerId();
    }
    case VDS_OT_DRIVE: {
      auto* x = static_cast<CDrive*>(a.second.pObject);
      auto* y = static_cast<CDrive*>(b.second.pObject);
      if (x->Enclosure() != y->Enclosure()) return x->Enclosure() < y->Enclosure();
      return x->Slot() < y->Slot();
    }
    case VDS_OT_LUN: {
      auto* x = static_cast<CLun*>(a.second.pObject);
      auto* y = static_cast<CLun*>(b.second.pObject);
      if (x->Owner() != y->Owner()) return x->Owner() > y->Owner();
      if (x->PartitionOrder() != y->PartitionOrder()) {
        return x->PartitionOrder() < y->PartitionOrder();
      }
      return NameOf(x) < NameOf(y);
    }
    case VDS_OT_STORAGE_POOL: {
      auto* x = static_cast<CPool*>(a.second.pObject);
      auto* y = static_cast<CPool*>(b.second.pObject);
      return x->SortKey() < y->SortKey();
    }
    default:
      return false;
  }
}

}  // namespace

void SortByListOrder(std::vector<Entry>* entries) {
  if (entries->empty()) return;
  // A map holds one type of one class; a list where that is not so keeps its id order rather
  // than be read through the wrong class.
  const VDS_OBJECT_TYPE type = entries->front().second.type;
  for (const Entry& entry : *entries) {
    if (entry.second.type != type || !OfListClass(entry.second)) return;
  }
  std::stable_sort(entries->begin(), entries->end(), ListOrderLess);
}
