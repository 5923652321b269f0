// CVdsAsyncObject: the IVdsAsync that a creation or an extension hands back. A creation has done
// its work by the time the client holds the object; an extension by added drives carries its
// unfinished second half (the prepared expand_part request), which the client's Wait runs once
// the vdisk's background expansion reports 100 %.
//
// Wait and QueryStatus take no provider lock: the Tidegate commands lock the session for
// themselves, and a refresh may run while a Wait polls for minutes.
#ifndef VELA_OBJECTS_ASYNC_H_
#define VELA_OBJECTS_ASYNC_H_

#include <atomic>

#include "platform/com.h"
#include "platform/handle.h"
#include "platform/vds.h"
#include "proxy/records.h"

class CSubSystem;
class CController;
class CLun;

class CVdsAsyncObject : public ComObject<IVdsAsync> {
 public:
  CVdsAsyncObject() = default;

  // IVdsAsync
  HRESULT Cancel() override;
  HRESULT Wait(HRESULT* pHrResult, VDS_ASYNC_OUTPUT* pAsyncOut) override;
  HRESULT QueryStatus(HRESULT* pHrResult, ULONG* pulPercentCompleted) override;

  // Releases the old result object and holds a reference to `result` (which may be null).
  void SetResult(IUnknown* result);
  // The second half of an extension: Wait grows `lun` (not owned; it outlives the object through
  // the result reference) by `request` after the vdisk's expansion.
  void SetExpansion(CLun* lun, const expandPart& request);
  // False: Wait and QueryStatus of an extension report at once.
  void SetWaitForUtility(bool wait) { m_waitForUtility = wait; }

 protected:
  ~CVdsAsyncObject() override;

 private:
  friend class CAsync;

  HRESULT FinishExpansion();

  // Set once by CAsync::Initialize and the setters above, before the client holds the object.
  VDS_ASYNC_OUTPUT_TYPE m_vdsType = VDS_ASYNCOUT_UNKNOWN;
  IUnknown* m_pResult = nullptr;  // one reference
  HANDLE m_hEvent = INVALID_HANDLE_VALUE;
  CSubSystem* m_pSubSystem = nullptr;    // one reference
  CController* m_pController = nullptr;  // one reference
  expandPart m_expandRequest{};
  std::atomic<bool> m_waitForUtility{false};  // Wait and QueryStatus may run on two threads
  CLun* m_pExpandLun = nullptr;               // not owned
};

class CAsync {
 public:
  CAsync() = delete;
  // Takes references to both, stores the type and arms the utility wait.
  static void Initialize(CVdsAsyncObject* async, CSubSystem* subSystem, CController* controller,
                         VDS_ASYNC_OUTPUT_TYPE vdsType);
};

// The rounds that grow a partition once its vdisk has the room: up to 20 expand_part requests,
// 3 s apart, the vdisk serial filled in on odd rounds and cleared on even ones. True when the
// partition counts as grown (a success before the last round, or a refusal in it); a success in
// the last round is reported to the event log as a failed expansion and gives false. Takes no
// lock; the command locks the session for itself.
bool ExpandPartRounds(const char* logPrefix, DWORD handle, const uint8_t* arraySn,
                      expandPart* request);

#endif  // VELA_OBJECTS_ASYNC_H_
