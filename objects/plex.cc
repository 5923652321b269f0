#include "objects/plex.h"

#include <cstring>
#include <utility>
#include <vector>

#include "diag/debug_log.h"
#include "objects/drive.h"
#include "objects/drive_rules.h"
#include "objects/lun.h"
#include "objects/object_util.h"
#include "objects/subsystem.h"
#include "platform/strings.h"
#include "provider/list_order.h"
#include "provider/provider.h"
#include "provisioning/utility.h"

VDS_LUN_PLEX_TYPE PlexTypeOf(VDS_LUN_TYPE lunType, int32_t numDrives) {
  switch (lunType) {
    case VDS_LT_FAULT_TOLERANT:
      return VDS_LPT_RAID2;
    case VDS_LT_MIRROR:
      return numDrives == 2 ? VDS_LPT_SIMPLE : VDS_LPT_STRIPE;
    case VDS_LT_SIMPLE:
    case VDS_LT_SPAN:
    case VDS_LT_STRIPE:
    case VDS_LT_PARITY:
    case VDS_LT_RAID2:
    case VDS_LT_RAID3:
    case VDS_LT_RAID5:
    case VDS_LT_RAID6:
    case VDS_LT_RAID10:
    case VDS_LT_RAID30:
    case VDS_LT_RAID50:
    case VDS_LT_RAID60:
      return static_cast<VDS_LUN_PLEX_TYPE>(lunType);
    default:
      return VDS_LPT_UNKNOWN;
  }
}

CLunPlex::CLunPlex() : CVdsBase(VDS_OT_LUN_PLEX, GetUnknown()) {}

CLunPlex::~CLunPlex() {
  MutexGuard guard(hNotificationMutex, "CLunPlex::~CLunPlex");
  Dispose();
}

bool CLunPlex::IsPlexDrive(const CDrive& drive) const {
  if (drive.IsFreeDrive() && (drive.Prop().ulFlags & VDS_DF_HOTSPARE) == 0) return false;
  if (!DriveInVdisk(drive.VdiskSn(), m_pLun->ArraySn())) return false;
  if (drive.ContainerIndex() == kNoIndex && drive.DriveIndex() == kNoIndex) return false;
  if (m_isSplit && (drive.MemberOrder() & 1) != (m_isFirstPlex ? 0 : 1)) return false;
  return true;
}

HRESULT CLunPlex::Initialize(const VDS_OBJECT_ID* id, CProvider* pProvider, CSubSystem* pSubSystem,
                             CLun* pLun, bool second) {
  InitializeCounter counter(pProvider);
  if (id == nullptr || pProvider == nullptr || pSubSystem == nullptr || pLun == nullptr) {
    return E_POINTER;
  }
  Dispose();
  m_pProvider.Attach(pProvider);
  pSubSystem->AddRef();
  m_pSubSystem = pSubSystem;
  pLun->AddRef();
  m_pLun = pLun;

  const VDS_LUN_PROP& lun = pLun->Prop();
  m_prop.id = *id;
  m_prop.ullSize = lun.ullSize;
  m_prop.type = PlexTypeOf(lun.type, pLun->NumDrives());
  m_prop.status = static_cast<VDS_LUN_PLEX_STATUS>(lun.status);
  m_prop.health = lun.health;
  if (m_isSplit && lun.health == VDS_H_FAILING_REDUNDANCY) {
    int live = 0;
    for (const auto& [driveId, entry] : pSubSystem->Drives()) {
      if (IsPlexDrive(*static_cast<CDrive*>(entry.pObject))) ++live;
    }
    const int half = pLun->NumDrives() / 2;
    if (live == half) {
      m_prop.status = VDS_LPS_ONLINE;
      m_prop.health = VDS_H_HEALTHY;
    } else if (live < half) {
      m_prop.status = VDS_LPS_FAILED;
      m_prop.health = VDS_H_FAILED;
    }
  }
  m_prop.TransitionState = VDS_TS_STABLE;
  m_prop.ulFlags = 0;
  m_prop.ulStripeSize = pLun->StripeSize();
  m_prop.sRebuildPriority = 0;
  pProvider->AddObject(*id, VDS_OBJECT{VDS_OT_LUN_PLEX, this});
  const std::u16string name = PropText(lun.pwszIdentification) + (second ? u" Plex2" : u" Plex");
  pProvider->AddName(*id, name, this);
  DebugPrintf("CLunPlex::Initialize() PlexIden = %s, PlexType = %d, StripeSize=%d\n",
              Utf16ToUtf8(name).c_str(), m_prop.type, m_prop.ulStripeSize);
  return S_OK;
}

void CLunPlex::Dispose() {
  if (m_pProvider) m_pProvider->RemoveObject(m_prop.id);
  m_prop = VDS_LUN_PLEX_PROP{};
  m_pProvider.Reset();
  if (m_pLun != nullptr) std::exchange(m_pLun, nullptr)->Release();
  if (m_pSubSystem != nullptr) std::exchange(m_pSubSystem, nullptr)->Release();
}

HRESULT CLunPlex::GetProperties(VDS_LUN_PLEX_PROP* pPlexProp) {
  if (pPlexProp == nullptr) return E_POINTER;
  MutexGuard guard(hNotificationMutex, "CLunPlex::GetProperties");
  *pPlexProp = m_prop;
  return S_OK;
}

HRESULT CLunPlex::GetLun(IVdsLun** ppLun) {
  if (ppLun == nullptr) return E_POINTER;
  MutexGuard guard(hNotificationMutex, "CLunPlex::GetLun");
  if (m_pLun == nullptr) return E_UNEXPECTED;
  m_pLun->AddRef();
  *ppLun = m_pLun;
  return S_OK;
}

HRESULT CLunPlex::QueryExtents(VDS_DRIVE_EXTENT** ppExtentArray, LONG* plNumberOfExtents) {
  if (ppExtentArray == nullptr || plNumberOfExtents == nullptr) return S_OK;
  MutexGuard guard(hNotificationMutex, "CLunPlex::QueryExtents");
  *plNumberOfExtents = 0;
  if (m_pSubSystem == nullptr || m_pLun == nullptr) return S_OK;
  std::vector<std::pair<GUID, VDS_OBJECT>> drives(m_pSubSystem->Drives().begin(),
                                                  m_pSubSystem->Drives().end());
  SortByListOrder(&drives);
  std::vector<VDS_DRIVE_EXTENT> kept;
  for (const auto& [driveId, entry] : drives) {
    auto* drive = static_cast<CDrive*>(entry.pObject);
    if (!IsPlexDrive(*drive)) continue;
    VDS_DRIVE_EXTENT* extents = nullptr;
    LONG count = 0;
    if (FAILED(drive->QueryExtents(&extents, &count))) continue;
    for (LONG i = 0; i < count; ++i) {
      if (extents[i].LunId != m_pLun->Prop().id) continue;
      DebugPrintf("CLunPlex::QueryExtents() find matched extend, ullSize = 0x%I64x, %s\n",
                  extents[i].ullSize, GuidLogText(extents[i].LunId).c_str());
      kept.push_back(extents[i]);
    }
    CoTaskMemFree(extents);
  }
  if (!kept.empty()) {
    auto* result =
        static_cast<VDS_DRIVE_EXTENT*>(CoTaskMemAlloc(kept.size() * sizeof(VDS_DRIVE_EXTENT)));
    if (result == nullptr) return E_OUTOFMEMORY;
    std::memcpy(result, kept.data(), kept.size() * sizeof(VDS_DRIVE_EXTENT));
    *ppExtentArray = result;
    *plNumberOfExtents = static_cast<LONG>(kept.size());
  }
  DebugPrintf("CLunPlex::QueryExtents() return S_OK, Extents.size =%d\n",
              static_cast<int>(kept.size()));
  return S_OK;
}

HRESULT CLunPlex::QueryHints(VDS_HINTS* pHints) {
  if (pHints == nullptr) return E_POINTER;
  MutexGuard guard(hNotificationMutex, "CLunPlex::QueryHints");
  *pHints = VDS_HINTS{};
  pHints->ullHintMask = 0x10c;
  pHints->ulOptimalReadSize = m_prop.ulStripeSize;
  pHints->ulOptimalReadAlignment = m_prop.ulStripeSize;
  pHints->ulOptimalWriteSize = m_prop.ulStripeSize;
  pHints->ulOptimalWriteAlignment = m_prop.ulStripeSize;
  pHints->ulStripeSize = m_prop.ulStripeSize;
  pHints->ulMaximumDriveCount = 0x80;
  pHints->bOptimizeForSequentialReads = TRUE;
  pHints->bOptimizeForSequentialWrites = TRUE;
  pHints->bIsYankable = TRUE;
  if (m_pLun != nullptr) {
    // The level travels back through the private bits a create request would carry.
    switch (m_pLun->RaidLevel()) {
      case VELA_RAID5:
        pHints->bMostlyReads = TRUE;
        pHints->ullHintMask = kHintMaskRaid5 | 0x10e;
        break;
      case VELA_RAID50:
        pHints->bMostlyReads = TRUE;
        pHints->ullHintMask = kHintMaskRaid50 | 0x10e;
        break;
      case VELA_RAID3:
        pHints->bMostlyReads = TRUE;
        pHints->ullHintMask = kHintMaskRaid3 | 0x10e;
        break;
      default:
        break;
    }
    static constexpr ULONGLONG kKindBits[] = {0, kHintMaskSnapPoolLun, kHintMaskMasterVolume,
                                              kHintMaskSnapshot};
    const uint8_t kind = m_pLun->PartType();
    if (kind >= 1 && kind <= 3) pHints->ullHintMask |= kKindBits[kind];
  }
  DebugPrintf(
      "CLunPlex::QueryHints ullHintMask = 0x%I64x, ulStripeSize = %d, ulMaximumDriveCount = %d, "
      "bMostlyReads = %d\n",
      pHints->ullHintMask, pHints->ulStripeSize, pHints->ulMaximumDriveCount, pHints->bMostlyReads);
  return S_OK;
}

HRESULT CLunPlex::ApplyHints(VDS_HINTS* pHints) {
  if (pHints == nullptr) return E_POINTER;
  return VDS_E_NOT_SUPPORTED;
}
