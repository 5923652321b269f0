// The interfaces of the Virtual Disk Service that the hardware provider implements and the two
// it calls (IVdsAdviseSink, IVdsAdmin), as abstract classes whose operations stand in the slot
// order of the service's headers, each with its interface id. IVdsProviderPrivate,
// IVdsHwProviderPrivate and IVdsHwProviderPrivateMpio are the service's private provider
// interfaces.
#ifndef VELA_PLATFORM_VDS_INTERFACES_H_
#define VELA_PLATFORM_VDS_INTERFACES_H_

#include "platform/com.h"
#include "platform/guid.h"
#include "platform/hresult.h"
#include "platform/vds_types.h"
#include "platform/wintypes.h"

// The service's loader, through which a provider registers itself.
inline constexpr CLSID CLSID_VdsLoader = {
    0x9c38ed61, 0xd565, 0x4728, {0xae, 0xee, 0xc8, 0x09, 0x52, 0xf0, 0xec, 0xde}};

inline constexpr IID IID_IEnumVdsObject = {
    0x118610b7, 0x8d94, 0x4030, {0xb5, 0xb8, 0x50, 0x08, 0x89, 0x78, 0x8e, 0x4e}};
inline constexpr IID IID_IVdsAsync = {
    0xd5d23b6d, 0x5a55, 0x4492, {0x98, 0x89, 0x39, 0x7a, 0x3c, 0x2d, 0x2d, 0xbc}};
inline constexpr IID IID_IVdsAdviseSink = {
    0x8326cd1d, 0xcf59, 0x4936, {0xb7, 0x86, 0x5e, 0xfc, 0x08, 0x79, 0x8e, 0x25}};
inline constexpr IID IID_IVdsProvider = {
    0x10c5e575, 0x7984, 0x4e81, {0xa5, 0x6b, 0x43, 0x1f, 0x5f, 0x92, 0xae, 0x42}};
inline constexpr IID IID_IVdsProviderSupport = {
    0x1732be13, 0xe8f9, 0x4a03, {0xbf, 0xbc, 0x5f, 0x61, 0x6a, 0xa6, 0x6c, 0xe1}};
inline constexpr IID IID_IVdsProviderPrivate = {
    0x11f3cd41, 0xb7e8, 0x48ff, {0x94, 0x72, 0x9d, 0xff, 0x01, 0x8a, 0xa2, 0x92}};
inline constexpr IID IID_IVdsHwProvider = {
    0xd99bdaae, 0xb13a, 0x4178, {0x9f, 0xdb, 0xe2, 0x7f, 0x16, 0xb4, 0x60, 0x3e}};
inline constexpr IID IID_IVdsHwProviderType = {
    0x3e0f5166, 0x542d, 0x4fc6, {0x94, 0x7a, 0x01, 0x21, 0x74, 0x24, 0x0b, 0x7e}};
inline constexpr IID IID_IVdsHwProviderStoragePools = {
    0xd5b5937a, 0xf188, 0x4c79, {0xb8, 0x6c, 0x11, 0xc9, 0x20, 0xad, 0x11, 0xb8}};
inline constexpr IID IID_IVdsHwProviderPrivate = {
    0x98f17bf3, 0x9f33, 0x4c12, {0x87, 0x14, 0x8b, 0x40, 0x75, 0x09, 0x2c, 0x2e}};
inline constexpr IID IID_IVdsHwProviderPrivateMpio = {
    0x310a7715, 0xac2b, 0x4c6f, {0x98, 0x27, 0x3d, 0x74, 0x2f, 0x35, 0x16, 0x76}};
inline constexpr IID IID_IVdsSubSystem = {
    0x6fcee2d3, 0x6d90, 0x4f91, {0x80, 0xe2, 0xa5, 0xc7, 0xca, 0xac, 0xa9, 0xd8}};
inline constexpr IID IID_IVdsSubSystem2 = {
    0xbe666735, 0x7800, 0x4a77, {0x9d, 0x9c, 0x40, 0xf8, 0x5b, 0x87, 0xe2, 0x92}};
inline constexpr IID IID_IVdsSubSystemNaming = {
    0x0d70faa3, 0x9cd4, 0x4900, {0xaa, 0x20, 0x69, 0x81, 0xb6, 0xaa, 0xfc, 0x75}};
inline constexpr IID IID_IVdsController = {
    0xcb53d96e, 0xdffb, 0x474a, {0xa0, 0x78, 0x79, 0x0d, 0x1e, 0x2b, 0xc0, 0x82}};
inline constexpr IID IID_IVdsControllerControllerPort = {
    0xca5d735f, 0x6bae, 0x42c0, {0xb3, 0x0e, 0xf2, 0x66, 0x60, 0x45, 0xce, 0x71}};
inline constexpr IID IID_IVdsMaintenance = {
    0xdaebeef3, 0x8523, 0x47ed, {0xa2, 0xb9, 0x05, 0xce, 0xcc, 0xe2, 0xa1, 0xae}};
inline constexpr IID IID_IVdsControllerPort = {
    0x18691d0d, 0x4e7f, 0x43e8, {0x92, 0xe4, 0xcf, 0x44, 0xbe, 0xee, 0xd1, 0x1c}};
inline constexpr IID IID_IVdsDrive = {
    0xff24efa4, 0xaade, 0x4b6b, {0x89, 0x8b, 0xea, 0xa6, 0xa2, 0x08, 0x87, 0xc7}};
inline constexpr IID IID_IVdsDrive2 = {
    0x60b5a730, 0xaddf, 0x4436, {0x8c, 0xa7, 0x57, 0x69, 0xe2, 0xd1, 0xff, 0xa4}};
inline constexpr IID IID_IVdsLun = {
    0x3540a9c7, 0xe60f, 0x4111, {0xa8, 0x40, 0x8b, 0xba, 0x6c, 0x2c, 0x83, 0xd8}};
inline constexpr IID IID_IVdsLun2 = {
    0xe5b3a735, 0x9efb, 0x499a, {0x80, 0x71, 0x43, 0x94, 0xd9, 0xee, 0x6f, 0xcb}};
inline constexpr IID IID_IVdsLunNaming = {
    0x907504cb, 0x6b4e, 0x4d88, {0xa3, 0x4d, 0x17, 0xba, 0x66, 0x1f, 0xbb, 0x06}};
inline constexpr IID IID_IVdsLunMpio = {
    0x7c5fbae3, 0x333a, 0x48a1, {0xa9, 0x82, 0x33, 0xc1, 0x57, 0x88, 0xcd, 0xe3}};
inline constexpr IID IID_IVdsLunControllerPorts = {
    0x451fe266, 0xda6d, 0x406a, {0xbb, 0x60, 0x82, 0xe5, 0x34, 0xf8, 0x5a, 0xeb}};
inline constexpr IID IID_IVdsLunPlex = {
    0x0ee1a790, 0x5d2e, 0x4abb, {0x8c, 0x99, 0xc4, 0x81, 0xe8, 0xbe, 0x21, 0x38}};
inline constexpr IID IID_IVdsStoragePool = {
    0x932ca8cf, 0x0eb3, 0x4ba8, {0x96, 0x20, 0x22, 0x66, 0x5d, 0x7f, 0x84, 0x50}};
inline constexpr IID IID_IVdsAdmin = {
    0xd188e97d, 0x85aa, 0x4d33, {0xab, 0xc6, 0x26, 0x29, 0x9a, 0x10, 0xff, 0xc1}};

struct IVdsDrive;

struct IEnumVdsObject : IUnknown {
  virtual HRESULT Next(ULONG celt, IUnknown** ppObjectArray, ULONG* pcFetched) = 0;
  virtual HRESULT Skip(ULONG celt) = 0;
  virtual HRESULT Reset() = 0;
  virtual HRESULT Clone(IEnumVdsObject** ppEnum) = 0;

 protected:
  ~IEnumVdsObject() = default;
};
VELA_DECLARE_INTERFACE_ID(IEnumVdsObject, IID_IEnumVdsObject)

struct IVdsAsync : IUnknown {
  virtual HRESULT Cancel() = 0;
  virtual HRESULT Wait(HRESULT* pHrResult, VDS_ASYNC_OUTPUT* pAsyncOut) = 0;
  virtual HRESULT QueryStatus(HRESULT* pHrResult, ULONG* pulPercentCompleted) = 0;

 protected:
  ~IVdsAsync() = default;
};
VELA_DECLARE_INTERFACE_ID(IVdsAsync, IID_IVdsAsync)

struct IVdsAdviseSink : IUnknown {
  virtual HRESULT OnNotify(LONG lNumberOfNotifications, VDS_NOTIFICATION* pNotificationArray) = 0;

 protected:
  ~IVdsAdviseSink() = default;
};
VELA_DECLARE_INTERFACE_ID(IVdsAdviseSink, IID_IVdsAdviseSink)

struct IVdsProvider : IUnknown {
  virtual HRESULT GetProperties(VDS_PROVIDER_PROP* pProviderProp) = 0;

 protected:
  ~IVdsProvider() = default;
};
VELA_DECLARE_INTERFACE_ID(IVdsProvider, IID_IVdsProvider)

struct IVdsProviderSupport : IUnknown {
  virtual HRESULT GetVersionSupport(ULONG* ulVersionSupport) = 0;

 protected:
  ~IVdsProviderSupport() = default;
};
VELA_DECLARE_INTERFACE_ID(IVdsProviderSupport, IID_IVdsProviderSupport)

struct IVdsProviderPrivate : IUnknown {
  virtual HRESULT GetObject(VDS_OBJECT_ID ObjectId, VDS_OBJECT_TYPE type,
                            IUnknown** ppObjectUnk) = 0;
  virtual HRESULT OnLoad(LPWSTR pwszMachineName, IUnknown* pCallbackObject) = 0;
  virtual HRESULT OnUnload(BOOL bForceUnload) = 0;

 protected:
  ~IVdsProviderPrivate() = default;
};
VELA_DECLARE_INTERFACE_ID(IVdsProviderPrivate, IID_IVdsProviderPrivate)

struct IVdsHwProvider : IUnknown {
  virtual HRESULT QuerySubSystems(IEnumVdsObject** ppEnum) = 0;
  virtual HRESULT Reenumerate() = 0;
  virtual HRESULT Refresh() = 0;

 protected:
  ~IVdsHwProvider() = default;
};
VELA_DECLARE_INTERFACE_ID(IVdsHwProvider, IID_IVdsHwProvider)

struct IVdsHwProviderType : IUnknown {
  virtual HRESULT GetProviderType(VDS_HWPROVIDER_TYPE* pType) = 0;

 protected:
  ~IVdsHwProviderType() = default;
};
VELA_DECLARE_INTERFACE_ID(IVdsHwProviderType, IID_IVdsHwProviderType)

struct IVdsHwProviderStoragePools : IUnknown {
  virtual HRESULT QueryStoragePools(DWORD dwFlags, ULONGLONG ullRemainingFreeSpace,
                                    VDS_POOL_ATTRIBUTES* pPoolAttributes,
                                    IEnumVdsObject** ppEnum) = 0;
  virtual HRESULT CreateLunInStoragePool(VDS_LUN_TYPE type, ULONGLONG ullSizeInBytes,
                                         VDS_OBJECT_ID StoragePoolId, LPWSTR pwszUnmaskingList,
                                         VDS_HINTS2* pHints2, IVdsAsync** ppAsync) = 0;
  virtual HRESULT QueryMaxLunCreateSizeInStoragePool(VDS_LUN_TYPE type, VDS_OBJECT_ID StoragePoolId,
                                                     VDS_HINTS2* pHints2,
                                                     ULONGLONG* pullMaxLunSize) = 0;

 protected:
  ~IVdsHwProviderStoragePools() = default;
};
VELA_DECLARE_INTERFACE_ID(IVdsHwProviderStoragePools, IID_IVdsHwProviderStoragePools)

struct IVdsHwProviderPrivate : IUnknown {
  virtual HRESULT QueryIfCreatedLun(LPWSTR pwszDevicePath, VDS_LUN_INFORMATION* pVdsLunInformation,
                                    VDS_OBJECT_ID* pLunId) = 0;

 protected:
  ~IVdsHwProviderPrivate() = default;
};
VELA_DECLARE_INTERFACE_ID(IVdsHwProviderPrivate, IID_IVdsHwProviderPrivate)

struct IVdsHwProviderPrivateMpio : IUnknown {
  virtual HRESULT SetAllPathStatusesFromHbaPort(VDS_HBAPORT_PROP hbaPortProp,
                                                VDS_PATH_STATUS status) = 0;

 protected:
  ~IVdsHwProviderPrivateMpio() = default;
};
VELA_DECLARE_INTERFACE_ID(IVdsHwProviderPrivateMpio, IID_IVdsHwProviderPrivateMpio)

struct IVdsSubSystem : IUnknown {
  virtual HRESULT GetProperties(VDS_SUB_SYSTEM_PROP* pSubSystemProp) = 0;
  virtual HRESULT GetProvider(IVdsProvider** ppProvider) = 0;
  virtual HRESULT QueryControllers(IEnumVdsObject** ppEnum) = 0;
  virtual HRESULT QueryLuns(IEnumVdsObject** ppEnum) = 0;
  virtual HRESULT QueryDrives(IEnumVdsObject** ppEnum) = 0;
  virtual HRESULT GetDrive(SHORT sBusNumber, SHORT sSlotNumber, IVdsDrive** ppDrive) = 0;
  virtual HRESULT Reenumerate() = 0;
  virtual HRESULT SetControllerStatus(VDS_OBJECT_ID* pOnlineControllerIdArray,
                                      LONG lNumberOfOnlineControllers,
                                      VDS_OBJECT_ID* pOfflineControllerIdArray,
                                      LONG lNumberOfOfflineControllers) = 0;
  virtual HRESULT CreateLun(VDS_LUN_TYPE type, ULONGLONG ullSizeInBytes,
                            VDS_OBJECT_ID* pDriveIdArray, LONG lNumberOfDrives,
                            LPWSTR pwszUnmaskingList, VDS_HINTS* pHints, IVdsAsync** ppAsync) = 0;
  virtual HRESULT ReplaceDrive(VDS_OBJECT_ID DriveToBeReplaced, VDS_OBJECT_ID ReplacementDrive) = 0;
  virtual HRESULT SetStatus(VDS_SUB_SYSTEM_STATUS status) = 0;
  virtual HRESULT QueryMaxLunCreateSize(VDS_LUN_TYPE type, VDS_OBJECT_ID* pDriveIdArray,
                                        LONG lNumberOfDrives, VDS_HINTS* pHints,
                                        ULONGLONG* pullMaxLunSize) = 0;

 protected:
  ~IVdsSubSystem() = default;
};
VELA_DECLARE_INTERFACE_ID(IVdsSubSystem, IID_IVdsSubSystem)

struct IVdsSubSystem2 : IUnknown {
  virtual HRESULT GetProperties2(VDS_SUB_SYSTEM_PROP2* pSubSystemProp2) = 0;
  virtual HRESULT GetDrive2(SHORT sBusNumber, SHORT sSlotNumber, ULONG ulEnclosureNumber,
                            IVdsDrive** ppDrive) = 0;
  virtual HRESULT CreateLun2(VDS_LUN_TYPE type, ULONGLONG ullSizeInBytes,
                             VDS_OBJECT_ID* pDriveIdArray, LONG lNumberOfDrives,
                             LPWSTR pwszUnmaskingList, VDS_HINTS2* pHints2,
                             IVdsAsync** ppAsync) = 0;
  virtual HRESULT QueryMaxLunCreateSize2(VDS_LUN_TYPE type, VDS_OBJECT_ID* pDriveIdArray,
                                         LONG lNumberOfDrives, VDS_HINTS2* pHints2,
                                         ULONGLONG* pullMaxLunSize) = 0;

 protected:
  ~IVdsSubSystem2() = default;
};
VELA_DECLARE_INTERFACE_ID(IVdsSubSystem2, IID_IVdsSubSystem2)

struct IVdsSubSystemNaming : IUnknown {
  virtual HRESULT SetFriendlyName(LPWSTR pwszFriendlyName) = 0;

 protected:
  ~IVdsSubSystemNaming() = default;
};
VELA_DECLARE_INTERFACE_ID(IVdsSubSystemNaming, IID_IVdsSubSystemNaming)

struct IVdsController : IUnknown {
  virtual HRESULT GetProperties(VDS_CONTROLLER_PROP* pControllerProp) = 0;
  virtual HRESULT GetSubSystem(IVdsSubSystem** ppSubSystem) = 0;
  virtual HRESULT GetPortProperties(SHORT sPortNumber, VDS_PORT_PROP* pPortProp) = 0;
  virtual HRESULT FlushCache() = 0;
  virtual HRESULT InvalidateCache() = 0;
  virtual HRESULT Reset() = 0;
  virtual HRESULT QueryAssociatedLuns(IEnumVdsObject** ppEnum) = 0;
  virtual HRESULT SetStatus(VDS_CONTROLLER_STATUS status) = 0;

 protected:
  ~IVdsController() = default;
};
VELA_DECLARE_INTERFACE_ID(IVdsController, IID_IVdsController)

struct IVdsControllerControllerPort : IUnknown {
  virtual HRESULT QueryControllerPorts(IEnumVdsObject** ppEnum) = 0;

 protected:
  ~IVdsControllerControllerPort() = default;
};
VELA_DECLARE_INTERFACE_ID(IVdsControllerControllerPort, IID_IVdsControllerControllerPort)

struct IVdsMaintenance : IUnknown {
  virtual HRESULT StartMaintenance(VDS_MAINTENANCE_OPERATION operation) = 0;
  virtual HRESULT StopMaintenance(VDS_MAINTENANCE_OPERATION operation) = 0;
  virtual HRESULT PulseMaintenance(VDS_MAINTENANCE_OPERATION operation, ULONG ulCount) = 0;

 protected:
  ~IVdsMaintenance() = default;
};
VELA_DECLARE_INTERFACE_ID(IVdsMaintenance, IID_IVdsMaintenance)

struct IVdsControllerPort : IUnknown {
  virtual HRESULT GetProperties(VDS_PORT_PROP* pPortProp) = 0;
  virtual HRESULT GetController(IVdsController** ppController) = 0;
  virtual HRESULT QueryAssociatedLuns(IEnumVdsObject** ppEnum) = 0;
  virtual HRESULT Reset() = 0;
  virtual HRESULT SetStatus(VDS_PORT_STATUS status) = 0;

 protected:
  ~IVdsControllerPort() = default;
};
VELA_DECLARE_INTERFACE_ID(IVdsControllerPort, IID_IVdsControllerPort)

struct IVdsDrive : IUnknown {
  virtual HRESULT GetProperties(VDS_DRIVE_PROP* pDriveProp) = 0;
  virtual HRESULT GetSubSystem(IVdsSubSystem** ppSubSystem) = 0;
  virtual HRESULT QueryExtents(VDS_DRIVE_EXTENT** ppExtentArray, LONG* plNumberOfExtents) = 0;
  virtual HRESULT SetFlags(ULONG ulFlags) = 0;
  virtual HRESULT ClearFlags(ULONG ulFlags) = 0;
  virtual HRESULT SetStatus(VDS_DRIVE_STATUS status) = 0;

 protected:
  ~IVdsDrive() = default;
};
VELA_DECLARE_INTERFACE_ID(IVdsDrive, IID_IVdsDrive)

struct IVdsDrive2 : IUnknown {
  virtual HRESULT GetProperties2(VDS_DRIVE_PROP2* pDriveProp2) = 0;

 protected:
  ~IVdsDrive2() = default;
};
VELA_DECLARE_INTERFACE_ID(IVdsDrive2, IID_IVdsDrive2)

struct IVdsLun : IUnknown {
  virtual HRESULT GetProperties(VDS_LUN_PROP* pLunProp) = 0;
  virtual HRESULT GetSubSystem(IVdsSubSystem** ppSubSystem) = 0;
  virtual HRESULT GetIdentificationData(VDS_LUN_INFORMATION* pLunInfo) = 0;
  virtual HRESULT QueryActiveControllers(IEnumVdsObject** ppEnum) = 0;
  virtual HRESULT Extend(ULONGLONG ullNumberOfBytesToAdd, VDS_OBJECT_ID* pDriveIdArray,
                         LONG lNumberOfDrives, IVdsAsync** ppAsync) = 0;
  virtual HRESULT Shrink(ULONGLONG ullNumberOfBytesToRemove, IVdsAsync** ppAsync) = 0;
  virtual HRESULT QueryPlexes(IEnumVdsObject** ppEnum) = 0;
  virtual HRESULT AddPlex(VDS_OBJECT_ID lunId, IVdsAsync** ppAsync) = 0;
  virtual HRESULT RemovePlex(VDS_OBJECT_ID plexId, IVdsAsync** ppAsync) = 0;
  virtual HRESULT Recover(IVdsAsync** ppAsync) = 0;
  virtual HRESULT SetMask(LPWSTR pwszUnmaskingList) = 0;
  virtual HRESULT Delete() = 0;
  virtual HRESULT AssociateControllers(VDS_OBJECT_ID* pActiveControllerIdArray,
                                       LONG lNumberOfActiveControllers,
                                       VDS_OBJECT_ID* pInactiveControllerIdArray,
                                       LONG lNumberOfInactiveControllers) = 0;
  virtual HRESULT QueryHints(VDS_HINTS* pHints) = 0;
  virtual HRESULT ApplyHints(VDS_HINTS* pHints) = 0;
  virtual HRESULT SetStatus(VDS_LUN_STATUS status) = 0;
  virtual HRESULT QueryMaxLunExtendSize(VDS_OBJECT_ID* pDriveIdArray, LONG lNumberOfDrives,
                                        ULONGLONG* pullMaxBytesToBeAdded) = 0;

 protected:
  ~IVdsLun() = default;
};
VELA_DECLARE_INTERFACE_ID(IVdsLun, IID_IVdsLun)

struct IVdsLun2 : IUnknown {
  virtual HRESULT QueryHints2(VDS_HINTS2* pHints2) = 0;
  virtual HRESULT ApplyHints2(VDS_HINTS2* pHints2) = 0;

 protected:
  ~IVdsLun2() = default;
};
VELA_DECLARE_INTERFACE_ID(IVdsLun2, IID_IVdsLun2)

struct IVdsLunNaming : IUnknown {
  virtual HRESULT SetFriendlyName(LPWSTR pwszFriendlyName) = 0;

 protected:
  ~IVdsLunNaming() = default;
};
VELA_DECLARE_INTERFACE_ID(IVdsLunNaming, IID_IVdsLunNaming)

struct IVdsLunMpio : IUnknown {
  virtual HRESULT GetPathInfo(VDS_PATH_INFO** ppPaths, LONG* plNumberOfPaths) = 0;
  virtual HRESULT GetLoadBalancePolicy(VDS_LOADBALANCE_POLICY_ENUM* pPolicy,
                                       VDS_PATH_POLICY** ppPaths, LONG* plNumberOfPaths) = 0;
  virtual HRESULT SetLoadBalancePolicy(VDS_LOADBALANCE_POLICY_ENUM policy, VDS_PATH_POLICY* pPaths,
                                       LONG lNumberOfPaths) = 0;
  virtual HRESULT GetSupportedLbPolicies(ULONG* pulLbFlags) = 0;

 protected:
  ~IVdsLunMpio() = default;
};
VELA_DECLARE_INTERFACE_ID(IVdsLunMpio, IID_IVdsLunMpio)

struct IVdsLunControllerPorts : IUnknown {
  virtual HRESULT AssociateControllerPorts(VDS_OBJECT_ID* pActiveControllerPortIdArray,
                                           LONG lNumberOfActiveControllerPorts,
                                           VDS_OBJECT_ID* pInactiveControllerPortIdArray,
                                           LONG lNumberOfInactiveControllerPorts) = 0;
  virtual HRESULT QueryActiveControllerPorts(IEnumVdsObject** ppEnum) = 0;

 protected:
  ~IVdsLunControllerPorts() = default;
};
VELA_DECLARE_INTERFACE_ID(IVdsLunControllerPorts, IID_IVdsLunControllerPorts)

struct IVdsLunPlex : IUnknown {
  virtual HRESULT GetProperties(VDS_LUN_PLEX_PROP* pPlexProp) = 0;
  virtual HRESULT GetLun(IVdsLun** ppLun) = 0;
  virtual HRESULT QueryExtents(VDS_DRIVE_EXTENT** ppExtentArray, LONG* plNumberOfExtents) = 0;
  virtual HRESULT QueryHints(VDS_HINTS* pHints) = 0;
  virtual HRESULT ApplyHints(VDS_HINTS* pHints) = 0;

 protected:
  ~IVdsLunPlex() = default;
};
VELA_DECLARE_INTERFACE_ID(IVdsLunPlex, IID_IVdsLunPlex)

struct IVdsStoragePool : IUnknown {
  virtual HRESULT GetProvider(IVdsProvider** ppProvider) = 0;
  virtual HRESULT GetProperties(VDS_STORAGE_POOL_PROP* pStoragePoolProp) = 0;
  virtual HRESULT GetAttributes(VDS_POOL_ATTRIBUTES* pStoragePoolAttributes) = 0;
  virtual HRESULT QueryDriveExtents(VDS_STORAGE_POOL_DRIVE_EXTENT** ppExtentArray,
                                    LONG* plNumberOfExtents) = 0;
  virtual HRESULT QueryAllocatedLuns(IEnumVdsObject** ppEnum) = 0;
  virtual HRESULT QueryAllocatedStoragePools(IEnumVdsObject** ppEnum) = 0;

 protected:
  ~IVdsStoragePool() = default;
};
VELA_DECLARE_INTERFACE_ID(IVdsStoragePool, IID_IVdsStoragePool)

struct IVdsAdmin : IUnknown {
  virtual HRESULT RegisterProvider(VDS_OBJECT_ID providerId, CLSID providerClsid, LPWSTR pwszName,
                                   VDS_PROVIDER_TYPE type, LPWSTR pwszMachineName,
                                   LPWSTR pwszVersion, GUID guidVersionId) = 0;
  virtual HRESULT UnregisterProvider(VDS_OBJECT_ID providerId) = 0;

 protected:
  ~IVdsAdmin() = default;
};
VELA_DECLARE_INTERFACE_ID(IVdsAdmin, IID_IVdsAdmin)

#endif  // VELA_PLATFORM_VDS_INTERFACES_H_
