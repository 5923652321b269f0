// CLunPlex: one copy of a LUN's data. Every LUN has one; a mirror LUN has two, which split the
// member drives by the low bit of their member order.
#ifndef VELA_OBJECTS_PLEX_H_
#define VELA_OBJECTS_PLEX_H_

#include "platform/com.h"
#include "platform/vds.h"
#include "provider/vds_base.h"

class CProvider;
class CSubSystem;
class CLun;
class CDrive;

class CLunPlex : public ComObject<IVdsLunPlex>, public CVdsBase {
 public:
  CLunPlex();

  // Copies the LUN's properties; `second` for the plex named " Plex2". The LUN sets the split
  // marks before. The caller holds hNotificationMutex.
  HRESULT Initialize(const VDS_OBJECT_ID* id, CProvider* pProvider, CSubSystem* pSubSystem,
                     CLun* pLun, bool second);
  void Dispose() override;
  void SetSplit(bool isSplit, bool isFirstPlex) {
    m_isSplit = isSplit;
    m_isFirstPlex = isFirstPlex;
  }

  // IVdsLunPlex
  HRESULT GetProperties(VDS_LUN_PLEX_PROP* pPlexProp) override;
  HRESULT GetLun(IVdsLun** ppLun) override;
  HRESULT QueryExtents(VDS_DRIVE_EXTENT** ppExtentArray, LONG* plNumberOfExtents) override;
  HRESULT QueryHints(VDS_HINTS* pHints) override;
  HRESULT ApplyHints(VDS_HINTS* pHints) override;

  const VDS_LUN_PLEX_PROP& Prop() const { return m_prop; }

 protected:
  ~CLunPlex() override;

 private:
  // A drive of the subsystem that holds data of this plex.
  bool IsPlexDrive(const CDrive& drive) const;

  // All guarded by hNotificationMutex.
  ProviderRef m_pProvider;
  CSubSystem* m_pSubSystem = nullptr;  // one reference
  CLun* m_pLun = nullptr;              // one reference
  VDS_LUN_PLEX_PROP m_prop{};
  bool m_isFirstPlex = false;
  bool m_isSplit = false;
};

// The plex type of a LUN type (a two-drive mirror's halves are simple, a wider one's stripes).
VDS_LUN_PLEX_TYPE PlexTypeOf(VDS_LUN_TYPE lunType, int32_t numDrives);

#endif  // VELA_OBJECTS_PLEX_H_
