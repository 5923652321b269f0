// CLun::CreateAndInitialize and its two ways: a partition in an existing vdisk, tried first, and
// a new vdisk. The decisions are provisioning/create's and drive_select's; here the controllers
// are fetched (each change into a buffer of its own), the commands sent and the tree updated.
#include <cstring>
#include <memory>

#include "diag/debug_log.h"
#include "objects/controller.h"
#include "objects/drive.h"
#include "objects/lun.h"
#include "objects/object_util.h"
#include "objects/subsystem.h"
#include "platform/clock.h"
#include "provider/provider.h"
#include "provisioning/create.h"
#include "provisioning/utility.h"
#include "proxy/tidegate.h"

namespace {

constexpr DWORD kSettleMs = 1000;
// The largest size that rounds up to a whole MiB without wrapping past 2^64.
constexpr ULONGLONG kLargestRoundedSize = ~0xFFFFFULL;

ULONGLONG RoundedRequest(ULONGLONG size) {
  if (size == 0) return 0;
  return size > kLargestRoundedSize ? kLargestRoundedSize : ROUND_UP_TO_MB_BOUNDARY(size);
}

void LogLists(const char* method, const DriveLists& lists) {
  for (size_t i = 0; i < lists.size(); ++i) {
    DebugPrintf("%s Sn[%d]: %.32s\n", method, static_cast<int>(i),
                reinterpret_cast<const char*>(lists.vSn[i].data()));
    DebugPrintf("%s Loca[%d]: channelIndex=%d, driveIndex=%d\n", method, static_cast<int>(i),
                lists.vLoca[i].channelIndex, lists.vLoca[i].driveIndex);
  }
}

// The membership test of named drives, against the controller as it is now.
bool MembersAre(DWORD handle, const uint8_t* arraySerial, const std::vector<DriveSerial>& vSn) {
  DebugPrintf("HasSameMemberDrives()\n");
  auto data = std::make_unique<controllerData>();
  if (Tidegate::get_controller_data(handle, data.get()) != 0) return false;
  return HasSameMemberDrives(*data, arraySerial, vSn);
}

bool IsLunEntry(CVdsBase* object) { return object->ObjectType() == VDS_OT_LUN; }

}  // namespace

HRESULT CLun::CreateAndInitialize(const VDS_OBJECT_ID* pLunId, CProvider* pProvider,
                                  CSubSystem* pSubSystem, VDS_LUN_TYPE type, ULONGLONG ullSize,
                                  const VDS_OBJECT_ID* pDriveIdArray, LONG lNumberOfDrives,
                                  ULONG ulStripeSize, const VDS_HINTS* pHints) {
  DebugPrintf("CLun::CreateAndInitialize()\n");
  InitializeCounter counter(pProvider);
  if (pLunId == nullptr || pSubSystem == nullptr || pProvider == nullptr) {
    DebugPrintf(
        "OOP!!! CLun::CreateAndInitialize() pLunId == NULL || pSubSystem == NULL || pProvider == "
        "NULL  return E_INVALIDARG, line %d\n",
        __LINE__);
    return E_INVALIDARG;
  }
  Dispose();
  DebugPrintf("CLun::CreateAndInitialize print input parameter : \n");
  DebugPrintf(
      "CLun::CreateAndInitialize type=%d, ullSize=0x%I64x, ulStripeSize=%d, lNumberOfDrives=%d\n",
      type, ullSize, ulStripeSize, lNumberOfDrives);
  m_pProvider.Attach(pProvider);
  pSubSystem->AddRef();
  m_pSubSystem = pSubSystem;

  const bool named = pDriveIdArray != nullptr && lNumberOfDrives > 0;
  DriveLists lists;
  bool allFree = true;
  if (named) {
    const std::vector<DriveCandidate> drives = pSubSystem->DriveCandidates();
    const auto n = static_cast<ULONG>(lNumberOfDrives);
    if (!HasSameDriveType(drives, pDriveIdArray, n)) {
      DebugPrintf(
          "OOP!! CLun::CreateAndInitialize() line %d : the input drives has not same type(Mixed "
          "drives). return VDS_E_NOT_SUPPORTED\n",
          __LINE__);
      return VDS_E_NOT_SUPPORTED;
    }
    ULONGLONG sizeDrives = 0;
    allFree = DriveGuids2VelaSn(drives, pDriveIdArray, n, 0, &lists, &sizeDrives);
    if (sizeDrives < ullSize) {
      DebugPrintf(
          "OOP!! CLun::CreateAndInitialize() line %d : VDS_E_NOT_ENOUGH_SPACE, ullSizeDrives = "
          "0x%I64x, ullSize = 0x%I64x\n",
          __LINE__, sizeDrives, ullSize);
      return VDS_E_NOT_ENOUGH_SPACE;
    }
  }
  auto newArray = std::make_unique<array>();
  auto newPart = std::make_unique<partition>();
  const ULONGLONG size = RoundedRequest(ullSize);
  DebugPrintf("CLun::CreateAndInitialize need create lun's size = 0x%I64x\n", size);

  HRESULT hr = CreateLunByAddPartition(type, size, pDriveIdArray, lNumberOfDrives, ulStripeSize,
                                       &lists, pHints, newArray.get(), newPart.get());
  if (FAILED(hr)) {
    DebugPrintf("OOP!! CLun::CreateAndInitialize() CreateLunByAddPartition return Error!!\n");
    return hr;
  }
  bool madeVdisk = false;
  if (static_cast<int32_t>(newArray->numDrives) <= 0) {
    if (!allFree) {
      DebugPrintf(
          "Need create lun by create array, but it contain a used drive, so return "
          "VDS_E_DEVICE_IN_USE.\n");
      DebugPrintf(
          "OOP!! CLun::CreateAndInitialize() bAllFree == false  return VDS_E_DEVICE_IN_USE, line "
          "%d\n",
          __LINE__);
      return VDS_E_DEVICE_IN_USE;
    }
    hr = CreateLunByCreateArray(type, size, pDriveIdArray, lNumberOfDrives, ulStripeSize, &lists,
                                pHints, newArray.get(), newPart.get());
    if (FAILED(hr)) {
      DebugPrintf("OOP!! CLun::CreateAndInitialize() CreateLunByCreateArray return Error!!\n");
      return hr;
    }
    if (newArray->numDrives == 0) {
      DebugPrintf(
          "Error: in CLun::CreateAndInitialize(), numDrives == %d at line %d (should be > 0)\n", 0,
          __LINE__);
      return VDS_E_INTERNAL_ERROR;
    }
    madeVdisk = true;
  }
  const bool dummy =
      pHints != nullptr && IsSupportSpecialLun() && (pHints->ullHintMask & kHintMaskDummyLun) != 0;
  if (!dummy && newPart->name[0] == 0) {
    DebugPrintf("Error: in CLun::CreateAndInitialize(), strlen(NewPart.name) == 0 at line %d\n",
                __LINE__);
    return VDS_E_INTERNAL_ERROR;
  }
  for (CController* controller : pSubSystem->ControllersInOrder()) {
    if (controller->ControllerId() != newArray->owner) continue;
    Initialize(pLunId, pProvider, pSubSystem, controller, newArray.get(),
               dummy ? nullptr : newPart.get());
  }
  // The owner the controller named is none of this subsystem's: nothing to build the LUN on.
  if (m_pController == nullptr) {
    DebugPrintf("OOP!! CLun::CreateAndInitialize() no controller with index %d, line %d\n",
                newArray->owner, __LINE__);
    return VDS_E_INTERNAL_ERROR;
  }
  if (madeVdisk) {
    Sleep(kSettleMs);
    auto data = std::make_unique<controllerData>();
    if (Tidegate::get_controller_data(m_pController->Handle(), data.get()) != 0) {
      DebugPrintf(
          "OOP!!! CLun::CreateAndInitialize() get_controller_data false(m_pController->Handle() = "
          "%d)  return VDS_E_INTERNAL_ERROR, line %d\n",
          m_pController->Handle(), __LINE__);
      return VDS_E_INTERNAL_ERROR;
    }
    MarkMemberDrives(*data);
    m_driveType = newArray->driveType;
  }
  DebugPrintf("CLun::CreateAndInitialize() out\n");
  return S_OK;
}

void CLun::MarkMemberDrives(const controllerData& data) {
  const size_t numDrives = ValidCount(data.numDrives, kMaxDrives);
  for (const auto& [id, entry] : m_pSubSystem->Drives()) {
    auto* drive = static_cast<CDrive*>(entry.pObject);
    for (size_t i = 0; i < numDrives; ++i) {
      const ::drive& record = data.drives[i];
      if (std::memcmp(record.serialNumber, drive->DriveSn(), 32) != 0) continue;
      if (!DriveInVdisk(record.vdiskSerial, m_ArraySn)) continue;
      drive->InitializeAfterCreate(m_ArraySn, m_pController);
      drive->SetMemberOrder(record.memberOrder);
      break;
    }
  }
}

void CLun::DeleteDummyLun(const array& vdisk) {
  GUID guid{};
  CVdsBase* dummy = m_pProvider->FindByName(HexName(vdisk.serialNumber, 16), &guid, IsLunEntry);
  if (dummy == nullptr) {
    DebugPrintf("OOP!! Delete Dummy Lun after create lun error, can't found Dummy lun's GUID\n");
    return;
  }
  DebugPrintf("Delete Dummy Lun after create lun\n");
  const bool held = m_pSubSystem->Luns().count(guid) != 0;
  m_pSubSystem->DeleteLun(guid);
  m_pProvider->RemoveObject(guid);
  if (held) dummy->Unknown()->Release();
}

HRESULT CLun::CreateLunByAddPartition(VDS_LUN_TYPE type, ULONGLONG ullSize,
                                      const VDS_OBJECT_ID* pDriveIdArray, LONG lNumberOfDrives,
                                      ULONG ulStripeSize, DriveLists* lists,
                                      const VDS_HINTS* pHints, array* newArray,
                                      partition* newPart) {
  DebugPrintf("CLun::CreateLunByAddPartition\n");
  const std::vector<CController*> controllers = m_pSubSystem->ControllersInOrder();
  const UCHAR wantLevel = WantedVdiskLevel(type, m_SpecialRaidType);
  const ULONGLONG mask = pHints != nullptr ? pHints->ullHintMask : 0;
  const bool named = pDriveIdArray != nullptr && lNumberOfDrives > 0;
  DebugPrintf("CLun::CreateLunByAddPartition print input parameter: \n");
  DebugPrintf(
      "CLun::CreateLunByAddPartition type=%d, ullSize=0x%I64x, lNumberOfDrives=%d (%d spare(s)), "
      "ulStripeSize=%d\n",
      type, ullSize, lNumberOfDrives, named && (mask & kHintMaskHotSpare) != 0 ? 1 : 0,
      ulStripeSize);
  LogLists("CLun::CreateLunByAddPartition", *lists);
  if (pHints != nullptr && IsSupportSpecialLun() && (mask & kHintMaskDummyLun) != 0) return S_OK;

  const int kind = SpecialLunKind(mask);
  const uint8_t isSpecial = IsSpecialLun(mask) ? 1 : 0;
  ULONG maxPartitionPerController = maxPartitionPerArray;
  bool notPlaced = true;
  bool ctrlAUsable = true;
  bool ctrlBUsable = true;
  ULONGLONG size = ullSize;
  auto data = std::make_unique<controllerData>();
  for (CController* controller : controllers) {
    if (!notPlaced) break;
    const DWORD handle = controller->Handle();
    if (Tidegate::get_controller_data(handle, data.get()) != 0) {
      DebugPrintf("OOP!! CLun::CreateLunByAddPartition(Line %d), VDS_E_INTERNAL_ERROR\n", __LINE__);
      return VDS_E_INTERNAL_ERROR;
    }
    DebugPrintf(
        "CLun::CreateLunByAddPartition maxPartitionPerArray = %d, maxArrayPartitions = %d, maxLuns "
        "= %d!\n",
        maxPartitionPerArray, data->controller.maxArrayPartitions, data->controller.maxLuns);
    if (data->controller.maxArrayPartitions != 0) {
      maxPartitionPerController = data->controller.maxArrayPartitions >> 1;
    }
    DebugPrintf("CLun::CreateLunByCreateArray maxPartitionPerController = %d!\n",
                maxPartitionPerController);
    const uint8_t index = controller->ControllerId();
    bool& usable = index != 0 ? ctrlBUsable : ctrlAUsable;
    if (controller->Prop().status != VDS_CS_ONLINE || controller->Prop().health != VDS_H_HEALTHY) {
      usable = false;
      continue;
    }
    const size_t numArrays = ValidCount(data->numArrays, kMaxArrays);
    DebugPrintf("CLun::CreateLunByAddPartition: scanning arrays (phase 1)\n");
    for (size_t i = 0; i < numArrays; ++i) {
      const array& vdisk = data->arrays[i];
      DebugPrintf("CLun::CreateLunByAddPartition: examining vdisk %.20s\n", vdisk.name);
      if (VdiskOffline(vdisk)) {
        DebugPrintf("skipping array %.20s because it's offline or quarantined\n", vdisk.name);
        continue;
      }
      if (named && MembersAre(handle, vdisk.serialNumber, lists->vSn)) {
        if (data->numPartitions >= maxPartitionPerController) {
          DebugPrintf(
              "pCtrlData->parititionCount(%d) >= maxPartitionPerController(%d), return "
              "VDS_E_PARTITION_LIMIT_REACHED, line %d\n",
              data->numPartitions, maxPartitionPerController, __LINE__);
          return VDS_E_PARTITION_LIMIT_REACHED;
        }
      } else if (vdisk.numArrayPartitions >= maxPartitionPerArray) {
        DebugPrintf("this vdisk already contains the max number of partitions\n");
      }
    }
    if (data->numPartitions >= maxPartitionPerController) {
      usable = false;
      continue;
    }
    DebugPrintf("CLun::CreateLunByAddPartition: scanning arrays (phase 2)\n");
    for (size_t i = 0; i < numArrays && notPlaced; ++i) {
      const array& vdisk = data->arrays[i];
      DebugPrintf(
          "CLun::CreateLunByAddPartition: examining vdisk %.20s (%d drive(s) %d spare(s))\n",
          vdisk.name, vdisk.numDrives, vdisk.numSpares);
      if (SkipVdiskForPartition(vdisk, type, wantLevel, ulStripeSize, size)) continue;
      if (named && !MembersAre(handle, vdisk.serialNumber, lists->vSn)) continue;
      *newArray = vdisk;
      if (size == 0) {
        size = (vdisk.freeBlocks >> 11) << 20;
        if (size < kMinLunSizeBytes) {
          DebugPrintf(
              "OOP!! CLun::CreateLunByAddPartition(Line %d) VDS_E_NOT_ENOUGH_SPACE, ullSize == "
              "0!\n",
              __LINE__);
          continue;
        }
      }
      const bool wasEmpty = newArray->numArrayPartitions == 0;
      uint8_t id[32] = {};
      if (kind == kNameKindMasterVolume) {
        std::vector<backingStoreEntry> stores;
        const int rc = Tidegate::get_backing_store_list(handle, index, &stores);
        if (rc != 0) {
          DebugPrintf(
              "OOP!! CLun::CreateLunByAddPartition() get_backing_store_list return false, rtn(%d), "
              "line(%d)!\n",
              rc, __LINE__);
          return VDS_E_INTERNAL_ERROR;
        }
        DebugPrintf("Lun::CreateLunByAddPartition get_backing_store_list numEntries=%d\n",
                    static_cast<int>(stores.size()));
        if (stores.empty()) {
          DebugPrintf(
              "Lun::CreateLunByAddPartition get_backing_store_list numEntries=0, can't create "
              "mastervolume, return VDS_E_NOT_SUPPORTED\n");
          return VDS_E_NOT_SUPPORTED;
        }
        std::memcpy(id, EntryIdForVdisk(stores, vdisk.serialNumber), 16);
      }
      if (kind == kNameKindSnapshot) {
        std::vector<masterVolumeEntry> volumes;
        const int rc = Tidegate::get_master_volume_list(handle, index, index, nullptr, &volumes);
        if (rc != 0) {
          DebugPrintf(
              "OOP!! CLun::CreateLunByAddPartition() get_master_volume_list return false, rtn(%d), "
              "line(%d)!\n",
              rc, __LINE__);
          return S_OK;
        }
        DebugPrintf("Lun::CreateLunByAddPartition get_master_volume_list numEntries=%d\n",
                    static_cast<int>(volumes.size()));
        if (volumes.empty()) {
          DebugPrintf(
              "Lun::CreateLunByAddPartition get_master_volume_list numEntries=0, can't create "
              "snapshot, return VDS_E_NOT_SUPPORTED\n");
          return VDS_E_NOT_SUPPORTED;
        }
        const uint8_t* masterVolumeId = EntryIdForVdisk(volumes, vdisk.serialNumber);
        uint64_t tag = 0;
        if (Tidegate::get_dms_tag(handle, index, &tag) != 0) {
          DebugPrintf("OOP!! CLun::CreateLunByAddPartition get_dms_tag failed!\n");
          continue;
        }
        auto made = std::make_unique<RetndSnList>();
        const HRESULT result = SnapshotResult(Tidegate::create_snapshot(
            handle, vdisk.serialNumber, NewName(m_pSubSystem->Record(), false, kind, nullptr),
            isSpecial, kNameKindSnapshot, tag, masterVolumeId, made.get()));
        if (FAILED(result)) return result;
        if (result != S_OK) continue;
        if (made->numElements == 0) {
          DebugPrintf(
              "OOP!! CLun::CreateLunByAddPartition create_snapshot RetndSnList.numElements is "
              "0!\n");
          continue;
        }
        auto fresh = std::make_unique<controllerData>();
        if (Tidegate::get_controller_data(handle, fresh.get()) != 0) return VDS_E_INTERNAL_ERROR;
        const partition* snapshot = FindSnapshotPartition(*fresh, made->serials[0]);
        if (snapshot != nullptr) *newPart = *snapshot;
      } else {
        const HRESULT result = AddedPartitionResult(Tidegate::add_array_part(
            handle, vdisk.serialNumber, size, NewName(m_pSubSystem->Record(), false, kind, nullptr),
            isSpecial, static_cast<uint8_t>(kind), id, newPart));
        if (FAILED(result)) return result;
        if (result != S_OK) continue;
      }
      if (wasEmpty) DeleteDummyLun(*newArray);
      notPlaced = false;
    }
  }
  if (!ctrlAUsable && !ctrlBUsable) {
    DebugPrintf(
        "OOP!! CLun::CreateLunByAddPartition(Line %d) VDS_E_PARTITION_LIMIT_REACHED: Ctrl A and B "
        "shutdown both!\n",
        __LINE__);
    return VDS_E_PARTITION_LIMIT_REACHED;
  }
  if (notPlaced) *newArray = array{};
  DebugPrintf("CLun::CreateLunByAddPartition out\n");
  return S_OK;
}

HRESULT CLun::CreateLunByCreateArray(VDS_LUN_TYPE type, ULONGLONG ullSize,
                                     const VDS_OBJECT_ID* pDriveIdArray, LONG lNumberOfDrives,
                                     ULONG ulStripeSize, DriveLists* lists, const VDS_HINTS* pHints,
                                     array* newArray, partition* newPart) {
  const ULONGLONG mask = pHints != nullptr ? pHints->ullHintMask : 0;
  const ULONG numSpares = (mask & kHintMaskHotSpare) != 0 ? 1 : 0;
  DebugPrintf("CLun::CreateLunByCreateArray\n");
  DebugPrintf("CLun::CreateLunByCreateArray print input parameter: \n");
  DebugPrintf(
      "CLun::CreateLunByCreateArray type=%d, ullSize=0x%I64x, lNumberOfDrives=%d, "
      "ulStripeSize=%d, numSpares=%d\n",
      type, ullSize, lNumberOfDrives, ulStripeSize, numSpares);
  LogLists("CLun::CreateLunByCreateArray", *lists);
  const int kind = SpecialLunKind(mask);
  if (kind == kNameKindSnapshot) {
    DebugPrintf(
        "OOP!! CLun::CreateLunByCreateArray() line %d : create snapshot will create new vdisk, "
        "must error!\n",
        __LINE__);
    return VDS_E_NOT_SUPPORTED;
  }
  uint8_t groupWidth = 0;
  const bool named = pDriveIdArray != nullptr && lNumberOfDrives > 0;
  if (!named) {
    const UCHAR level = SelectRaidLevel(m_pSubSystem->Hints(), type);
    ULONGLONG total = 0;
    const ULONG found =
        SeekNewDrivesForCreate(m_pSubSystem->DriveCandidates(), m_pSubSystem->AllowedDriveType(),
                               level, type, numSpares, lists, &total);
    const NewVdiskDrives plan =
        PlanSelectedDrives(type, level, ullSize, found, total, m_pSubSystem->SupportRaid6());
    if (FAILED(plan.hr)) return plan.hr;
    type = plan.type;
    groupWidth = plan.groupWidth;
    lists->Truncate(plan.needed);
  }
  DebugPrintf("CLun::CreateLunByCreateArray after recalc, lNumberOfDrives %d\n",
              static_cast<int>(lists->size()));
  LogLists("CLun::CreateLunByCreateArray", *lists);
  if (named && !HasSameDriveType(m_pSubSystem->DriveCandidates(), pDriveIdArray,
                                 static_cast<ULONG>(lNumberOfDrives))) {
    DebugPrintf(
        "OOP!! CLun::CreateLunByCreateArray() line %d : the input drives has not same type(Mixed "
        "drives). return VDS_E_NOT_SUPPORTED\n",
        __LINE__);
    return VDS_E_NOT_SUPPORTED;
  }
  if (type == VDS_LT_MIRROR && lists->size() < 4 && ulStripeSize != 0) return VDS_E_NOT_SUPPORTED;

  const DWORD hA = m_pSubSystem->ControllerHandleA();
  const DWORD hB = m_pSubSystem->ControllerHandleB();
  ULONG maxPartitionPerController = maxPartitionPerArray;
  uint8_t backingStoreId[32] = {};
  bool backingFound = false;
  bool created = false;
  auto data = std::make_unique<controllerData>();
  const std::pair<uint8_t, DWORD> owners[] = {{kControllerIdA, hA}, {kControllerIdB, hB}};
  for (const auto& [index, handle] : owners) {
    if (handle == 0) continue;
    if (Tidegate::get_controller_data(handle, data.get()) != 0) return VDS_E_INTERNAL_ERROR;
    if (!ControllerTakesNewVdisk(*data, &maxPartitionPerController)) continue;
    if (kind == kNameKindMasterVolume) {
      std::vector<backingStoreEntry> stores;
      const int rc = Tidegate::get_backing_store_list(handle, index, &stores);
      if (rc != 0) {
        DebugPrintf(
            "OOP!! CLun::CreateLunByAddPartition() get_backing_store_list return false, rtn(%d), "
            "line(%d)!\n",
            rc, __LINE__);
        return VDS_E_INTERNAL_ERROR;
      }
      DebugPrintf("Lun::CreateLunByAddPartition get_backing_store_list numEntries=%d\n",
                  static_cast<int>(stores.size()));
      if (stores.empty()) {
        DebugPrintf(
            "Lun::CreateLunByAddPartition get_backing_store_list numEntries=0, cann't create "
            "mastervolume, continue\n");
        continue;
      }
      std::memcpy(backingStoreId, stores.front().id, sizeof(stores.front().id));
      backingFound = true;
    }
    const UCHAR level = VdsType2VelaRaidLevel(m_SpecialRaidType, type);
    for (int attempt = 0; attempt < 2 && !created; ++attempt) {
      created = Tidegate::create_array(handle, index, newArray, level, ulStripeSize, lists->vLoca,
                                       lists->vSn,
                                       NewName(m_pSubSystem->Record(), true, kNameKindLun, nullptr),
                                       groupWidth, numSpares) == 0;
    }
    if (created) break;
    if (handle == hB) {
      DebugPrintf("OOP!! CLun::CreateLunByCreateArray create_array failed!\n");
      return VDS_E_INTERNAL_ERROR;
    }
  }
  if (kind == kNameKindMasterVolume && !backingFound) {
    DebugPrintf(
        "Lun::CreateLunByAddPartition get_backing_store_list numEntries=0, cann't create "
        "mastervolume, return VDS_E_NOT_SUPPORTED\n");
    return VDS_E_NOT_SUPPORTED;
  }
  // No controller took the vdisk: the caller sees the blank record.
  if (!created) return S_OK;
  if (IsSupportSpecialLun() && (mask & kHintMaskDummyLun) != 0) {
    DebugPrintf("CLun::CreateLunByCreateArray isCreateDummyLun, array is created, return ok!\n");
    return S_OK;
  }
  const ULONGLONG size = NewVdiskPartitionSize(ullSize, *newArray);
  DWORD handle = 0;
  if (newArray->owner == kControllerIdA) {
    handle = hA;
  } else if (newArray->owner == kControllerIdB) {
    handle = hB;
  } else {
    return VDS_E_INTERNAL_ERROR;
  }
  return NewVdiskPartitionResult(Tidegate::add_array_part(
      handle, newArray->serialNumber, size, NewName(m_pSubSystem->Record(), false, kind, nullptr),
      IsSpecialLun(mask) ? 1 : 0, static_cast<uint8_t>(kind), backingStoreId, newPart));
}
