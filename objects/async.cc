#include "objects/async.h"

#include <libintl.h>

#include <cstring>

#include "diag/debug_log.h"
#include "diag/event_log.h"
#include "objects/controller.h"
#include "objects/lun.h"
#include "objects/subsystem.h"
#include "platform/clock.h"
#include "provider/provider.h"
#include "proxy/tidegate.h"

namespace {

constexpr ULONG kDone = 100;
constexpr DWORD kPollMs = 2000;
constexpr DWORD kExpandRetryMs = 3000;
constexpr int kExpandRounds = 20;

}  // namespace

void CAsync::Initialize(CVdsAsyncObject* async, CSubSystem* subSystem, CController* controller,
                        VDS_ASYNC_OUTPUT_TYPE vdsType) {
  DebugPrintf("CAsync::Initialize() in.\n");
  if (subSystem != nullptr) subSystem->AddRef();
  if (controller != nullptr) controller->AddRef();
  async->m_pSubSystem = subSystem;
  async->m_pController = controller;
  async->m_vdsType = vdsType;
  async->m_waitForUtility = true;
  async->m_pExpandLun = nullptr;
  DebugPrintf("CAsync::Initialize() vdsType : %d\n", vdsType);
  DebugPrintf("CAsync::Initialize() out\n");
}

CVdsAsyncObject::~CVdsAsyncObject() {
  DebugPrintf("CVdsAsyncObject::~CVdsAsyncObject()\n");
  if (m_hEvent != INVALID_HANDLE_VALUE && m_hEvent != nullptr) CloseHandle(m_hEvent);
  if (m_pResult != nullptr) m_pResult->Release();
  if (m_pSubSystem != nullptr) m_pSubSystem->Release();
  if (m_pController != nullptr) m_pController->Release();
}

void CVdsAsyncObject::SetResult(IUnknown* result) {
  if (m_pResult != nullptr) m_pResult->Release();
  m_pResult = result;
  if (m_pResult != nullptr) m_pResult->AddRef();
}

void CVdsAsyncObject::SetExpansion(CLun* lun, const expandPart& request) {
  m_pExpandLun = lun;
  m_expandRequest = request;
}

HRESULT CVdsAsyncObject::Cancel() {
  DebugPrintf("CVdsAsyncObject::Cancel()\n");
  return E_NOTIMPL;
}

HRESULT CVdsAsyncObject::QueryStatus(HRESULT* pHrResult, ULONG* pulPercentCompleted) {
  DebugPrintf("CVdsAsyncObject::QueryStatus()\n");
  if (pHrResult == nullptr || pulPercentCompleted == nullptr) return E_POINTER;
  *pHrResult = S_OK;
  *pulPercentCompleted = kDone;
  if (m_vdsType == VDS_ASYNCOUT_CREATELUN && !m_waitForUtility) return S_OK;
  if (m_vdsType == VDS_ASYNCOUT_CREATELUN || m_vdsType == VDS_ASYNCOUT_EXTENDLUN) {
    const auto* lun = static_cast<CLun*>(static_cast<IVdsLun*>(m_pResult));
    if (lun != nullptr && m_pController != nullptr) {
      uint32_t percent = kDone;
      // A failure leaves the 100: the caller's poll ends.
      if (Tidegate::get_percent(m_pController->Handle(), lun->ArraySn(), &percent) == 0) {
        *pulPercentCompleted = percent;
      }
    }
    DebugPrintf("CVdsAsyncObject::QueryStatus() : pulPercentCompleted = %d\n",
                *pulPercentCompleted);
  }
  DebugPrintf("CVdsAsyncObject::QueryStatus() out\n");
  return S_OK;
}

HRESULT CVdsAsyncObject::Wait(HRESULT* pHrResult, VDS_ASYNC_OUTPUT* pAsyncOut) {
  DebugPrintf("CVdsAsyncObject::Wait()\n");
  if (pHrResult == nullptr || pAsyncOut == nullptr) return E_POINTER;
  std::memset(pAsyncOut, 0, sizeof(*pAsyncOut));
  *pHrResult = S_OK;
  pAsyncOut->type = m_vdsType;
  const bool lunResult = m_vdsType == VDS_ASYNCOUT_CREATELUN || m_vdsType == VDS_ASYNCOUT_EXTENDLUN;
  if (lunResult && m_pResult != nullptr) {
    m_pResult->AddRef();
    pAsyncOut->cl.pLunUnk = m_pResult;
  }
  if (m_vdsType == VDS_ASYNCOUT_CREATELUN) return S_OK;
  if (m_vdsType == VDS_ASYNCOUT_EXTENDLUN) {
    if (!m_waitForUtility) return S_OK;
    HRESULT hr = S_OK;
    ULONG percent = 0;
    do {
      QueryStatus(&hr, &percent);
      Sleep(kPollMs);
    } while (percent != kDone);
    if (m_pExpandLun != nullptr && FinishExpansion() != S_OK) return VDS_E_INTERNAL_ERROR;
    LogInfoEvent(gettext(kTextExpansionFinished));
  }
  if (m_vdsType == VDS_ASYNCOUT_CREATEPORTALGROUP && m_pResult != nullptr) {
    m_pResult->AddRef();
    pAsyncOut->cpg.pPortalGroupUnk = m_pResult;
  }
  DebugPrintf("CVdsAsyncObject::Wait() out\n");
  return S_OK;
}

HRESULT CVdsAsyncObject::FinishExpansion() {
  const DWORD handle = m_pController != nullptr ? m_pController->Handle() : 0;
  // A refresh may run Initialize on the LUN meanwhile: the serial is read under the lock.
  uint8_t arraySn[32];
  {
    MutexGuard guard(hNotificationMutex, "CVdsAsyncObject::Wait");
    std::memcpy(arraySn, m_pExpandLun->ArraySn(), sizeof(arraySn));
  }
  if (!ExpandPartRounds("CVdsAsyncObject::Wait() ", handle, arraySn, &m_expandRequest)) {
    return VDS_E_INTERNAL_ERROR;
  }
  // Done: a second Wait reports at once instead of growing the partition again.
  m_waitForUtility = false;
  {
    MutexGuard guard(hNotificationMutex, "CVdsAsyncObject::Wait");
    m_pExpandLun->SetSize(m_expandRequest.blockCount << 9);
  }
  DebugPrintf("CVdsAsyncObject::Wait(), after we expande size requestToAddSize = 0x%I64x\n",
              m_expandRequest.blockCount << 9);
  return S_OK;
}

bool ExpandPartRounds(const char* logPrefix, DWORD handle, const uint8_t* arraySn,
                      expandPart* request) {
  for (int counter = kExpandRounds; counter-- > 0;) {
    DebugPrintf("%sretry expand part %d\n", logPrefix, counter);
    Sleep(kExpandRetryMs);
    // The controllers take the request with and without the vdisk serial; rounds alternate.
    if (counter % 2 != 0) {
      std::memcpy(request->vdiskSerial, arraySn, sizeof(request->vdiskSerial));
    } else {
      std::memset(request->vdiskSerial, 0, sizeof(request->vdiskSerial));
    }
    const bool ok = Tidegate::expand_part(handle, *request) == 0;
    if (counter > 0) {
      if (ok) return true;
      continue;
    }
    // The last round reads the other way round: a refusal there means the partition has its
    // size already, an acceptance that the earlier rounds went wrong.
    if (ok) {
      LogErrorEvent(gettext(kTextExpansionFailed));
      return false;
    }
  }
  return true;
}
