// The Windows SDK calls behind the platform's Windows build, declared in plain C++ types.
//
// The logic's declarations (platform/*.h) keep their own scalar types in both builds (WCHAR is
// char16_t, DWORD uint32_t), which have the SDK's sizes but are not its types, so a file cannot
// include both them and <windows.h>. The files of this folder that implement the platform
// include the former and call these; sdk.cc alone includes the latter. Every function is the
// SDK call of the same name with its arguments passed through unchanged (wide strings are
// UTF-16 either way, handles and keys are the SDK's own values).
#ifndef VELA_PLATFORM_WIN_SDK_H_
#define VELA_PLATFORM_WIN_SDK_H_

#include <cstddef>
#include <cstdint>
#include <vector>

namespace winsdk {

uint32_t GetLastError();
void SetLastError(uint32_t error);

void* CoTaskMemAlloc(size_t size);
void CoTaskMemFree(void* block);
int32_t CoCreateGuid(void* guid);
int32_t CoCreateInstance(const void* clsid, void* outer, uint32_t context, const void* iid,
                         void** object);
int32_t CoSetProxyBlanket(void* proxy, uint32_t authnSvc, uint32_t authzSvc,
                          char16_t* serverPrincName, uint32_t authnLevel, uint32_t impLevel,
                          void* authInfo, uint32_t capabilities);

void* CreateMutexW(void* attributes, int32_t initialOwner, const char16_t* name);
void* OpenMutexW(uint32_t access, int32_t inherit, const char16_t* name);
int32_t ReleaseMutex(void* mutex);
uint32_t WaitForSingleObject(void* handle, uint32_t ms);
int32_t CloseHandle(void* handle);

int32_t RegOpenKeyExA(void* key, const char* subKey, uint32_t options, uint32_t access,
                      void** result);
int32_t RegOpenKeyExW(void* key, const char16_t* subKey, uint32_t options, uint32_t access,
                      void** result);
int32_t RegCloseKey(void* key);
int32_t RegQueryValueExA(void* key, const char* name, uint32_t* type, uint8_t* data,
                         uint32_t* dataSize);
int32_t RegQueryValueExW(void* key, const char16_t* name, uint32_t* type, uint8_t* data,
                         uint32_t* dataSize);
int32_t RegGetValueW(void* key, const char16_t* subKey, const char16_t* name, uint32_t flags,
                     uint32_t* type, void* data, uint32_t* dataSize);
int32_t RegCreateKeyExW(void* key, const char16_t* subKey, uint32_t options, uint32_t access,
                        void** result, uint32_t* disposition);
int32_t RegSetValueExW(void* key, const char16_t* name, uint32_t type, const uint8_t* data,
                       uint32_t dataSize);
int32_t RegDeleteValueW(void* key, const char16_t* name);
int32_t RegEnumKeyExW(void* key, uint32_t index, char16_t* name, uint32_t* nameSize);
int32_t RegDeleteTreeW(void* key, const char16_t* subKey);

void* RegisterEventSourceW(const char16_t* server, const char16_t* sourceName);
int32_t ReportEventA(void* eventLog, uint16_t type, uint16_t category, uint32_t eventId,
                     void* userSid, uint16_t numStrings, uint32_t dataSize, const char** strings,
                     void* rawData);
int32_t DeregisterEventSource(void* eventLog);

// GetVersionExW: the major and minor version; both left as they are when the call fails.
void GetVersion(uint32_t* major, uint32_t* minor);
uint32_t GetCurrentProcessId();
uint32_t GetCurrentThreadId();
uint32_t GetSystemDirectoryA(char* buffer, uint32_t size);
uint32_t GetWindowsDirectoryA(char* buffer, uint32_t size);
int32_t GetModuleHandleExW(uint32_t flags, const char16_t* moduleName, void** module);
uint32_t GetModuleFileNameW(void* module, char16_t* filename, uint32_t size);
void OutputDebugStringA(const char* text);

char16_t* SysAllocString(const char16_t* text);
char16_t* SysAllocStringLen(const char16_t* text, uint32_t length);
void SysFreeString(char16_t* text);
uint32_t SysStringLen(char16_t* text);
// VARIANTs and SAFEARRAYs by address: the platform's VARIANT has the system's layout.
void VariantInit(void* value);
int32_t VariantClear(void* value);
int32_t VariantCopy(void* dest, const void* src);
void* SafeArrayCreateVector(uint16_t vt, int32_t lowerBound, uint32_t count);
int32_t SafeArrayDestroy(void* array);
int32_t SafeArrayGetLBound(void* array, uint32_t dimension, int32_t* bound);
int32_t SafeArrayGetUBound(void* array, uint32_t dimension, int32_t* bound);
int32_t SafeArrayGetVartype(void* array, uint16_t* vt);
int32_t SafeArrayGetElement(void* array, const int32_t* index, void* element);
int32_t SafeArrayPutElement(void* array, const int32_t* index, const void* element);
int32_t SafeArrayCopy(void* array, void** copy);

void* LoadLibraryW(const char16_t* name);
void* GetProcAddress(void* module, const char* name);
int32_t FreeLibrary(void* module);

// Devices. CreateFileW's access, sharing and disposition values, checked against the SDK's in
// sdk.cc.
constexpr uint32_t kGenericRead = 0x80000000u;
constexpr uint32_t kGenericWrite = 0x40000000u;
constexpr uint32_t kFileShareRead = 0x1;
constexpr uint32_t kFileShareWrite = 0x2;
constexpr uint32_t kOpenExisting = 3;
void* CreateFileW(const char16_t* name, uint32_t access, uint32_t share, void* security,
                  uint32_t disposition, uint32_t flags, void* templateFile);

// DeviceIoControl with the storage control codes the device layer uses. Their structures are
// the SDK's own (filled and read in sdk.cc, so that their layout is the system's); these carry
// the same members in plain types. Each returns DeviceIoControl's result, the last error set.

// IOCTL_SCSI_PASS_THROUGH_DIRECT with a sense buffer behind the request. On a disk the class
// driver puts in the disk's own address; on an adapter pathId, targetId and lun choose the unit.
// Without dataIn no data moves. On return: the status, the bytes moved (never above
// bufferLength) and the sense (senseLength at most sizeof(sense)).
struct ScsiPassThroughDirect {
  uint8_t pathId = 0;
  uint8_t targetId = 0;
  uint8_t lun = 0;
  const uint8_t* cdb = nullptr;
  uint8_t cdbLength = 0;  // at most 16
  bool dataIn = false;
  void* buffer = nullptr;
  uint32_t bufferLength = 0;
  uint32_t timeoutSeconds = 0;
  uint8_t scsiStatus = 0;
  uint32_t transferred = 0;
  uint8_t sense[32] = {};
  uint32_t senseLength = 0;
};
int32_t ScsiPassThroughDirectIoctl(void* device, ScsiPassThroughDirect* command);

// IOCTL_SCSI_GET_ADDRESS: SCSI_ADDRESS.
struct ScsiAddressData {
  uint8_t portNumber = 0;
  uint8_t pathId = 0;
  uint8_t targetId = 0;
  uint8_t lun = 0;
};
int32_t ScsiGetAddressIoctl(void* device, ScsiAddressData* address);

// IOCTL_DISK_GET_DRIVE_LAYOUT_EX: the partition style with the MBR signature or the GPT disk
// id (the GUID's 16 bytes as the system lays them out).
constexpr uint32_t kPartitionStyleMbr = 0;
constexpr uint32_t kPartitionStyleGpt = 1;
struct DriveLayoutData {
  uint32_t partitionStyle = 0;
  uint32_t mbrSignature = 0;
  uint8_t gptDiskId[16] = {};
};
int32_t DiskGetDriveLayoutExIoctl(void* device, DriveLayoutData* layout);

// IOCTL_SCSI_GET_INQUIRY_DATA on an adapter: each SCSI_INQUIRY_DATA of every bus of the
// SCSI_ADAPTER_BUS_INFO, with its INQUIRY bytes. Offsets and lengths that point outside what
// the call returned end that bus's walk.
struct ScsiInquiryUnitData {
  uint8_t pathId = 0;
  uint8_t targetId = 0;
  uint8_t lun = 0;
  bool deviceClaimed = false;
  std::vector<uint8_t> inquiryData;
};
int32_t ScsiGetInquiryDataIoctl(void* adapter, std::vector<ScsiInquiryUnitData>* units);

}  // namespace winsdk

#endif  // VELA_PLATFORM_WIN_SDK_H_
