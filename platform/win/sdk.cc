// The one file of the platform that sees <windows.h>; see sdk.h.
#include "platform/win/sdk.h"

#include <objbase.h>
#include <oleauto.h>
#include <windows.h>

// The storage control codes and their structures, after <windows.h> they build on.
#include <ntddscsi.h>
#include <winioctl.h>

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace winsdk {
namespace {

LPCWSTR Wide(const char16_t* text) { return reinterpret_cast<LPCWSTR>(text); }
LPWSTR Wide(char16_t* text) { return reinterpret_cast<LPWSTR>(text); }
HKEY Key(void* key) { return static_cast<HKEY>(key); }
// DWORD is unsigned long in the SDK and uint32_t here: the same 32 bits, another type.
LPDWORD Dword(uint32_t* value) { return reinterpret_cast<LPDWORD>(value); }
static_assert(sizeof(DWORD) == sizeof(uint32_t) && sizeof(WCHAR) == sizeof(char16_t));
static_assert(sizeof(HRESULT) == sizeof(int32_t) && sizeof(LONG) == sizeof(int32_t));
static_assert(sizeof(VARIANT) == 24, "the platform's VARIANT has this size too");
static_assert(kGenericRead == GENERIC_READ && kGenericWrite == GENERIC_WRITE);
static_assert(kFileShareRead == FILE_SHARE_READ && kFileShareWrite == FILE_SHARE_WRITE);
static_assert(kOpenExisting == OPEN_EXISTING);
static_assert(kPartitionStyleMbr == PARTITION_STYLE_MBR &&
              kPartitionStyleGpt == PARTITION_STYLE_GPT);
static_assert(sizeof(GUID) == sizeof(DriveLayoutData::gptDiskId));

// A control code whose output grows with what the device has: called again with twice the
// buffer while the system says it is too small, up to `limit` bytes. The buffer keeps the
// bytes returned.
BOOL GrowingIoctl(HANDLE device, DWORD code, size_t initial, size_t limit,
                  std::vector<unsigned char>* buffer, DWORD* returned) {
  for (size_t size = initial;; size *= 2) {
    // Zeroed and 8-byte aligned, as the structures read out of it need.
    buffer->assign(size, 0);
    *returned = 0;
    const BOOL ok = ::DeviceIoControl(device, code, nullptr, 0, buffer->data(),
                                      static_cast<DWORD>(size), returned, nullptr);
    if (ok) {
      *returned = std::min<DWORD>(*returned, static_cast<DWORD>(size));
      return ok;
    }
    const DWORD error = ::GetLastError();
    if ((error != ERROR_INSUFFICIENT_BUFFER && error != ERROR_MORE_DATA) || size * 2 > limit) {
      return ok;
    }
  }
}

// One SCSI_INQUIRY_DATA chain of a bus: at most `count` entries, each wholly inside the
// `size` bytes returned.
void WalkInquiryChain(const unsigned char* data, size_t size, size_t offset, unsigned count,
                      std::vector<ScsiInquiryUnitData>* units) {
  const size_t header = offsetof(SCSI_INQUIRY_DATA, InquiryData);
  for (; offset != 0 && count > 0; --count) {
    if (offset > size || size - offset < header) return;
    SCSI_INQUIRY_DATA entry;
    std::memcpy(&entry, data + offset, header);
    if (entry.InquiryDataLength > size - offset - header) return;
    ScsiInquiryUnitData unit;
    unit.pathId = entry.PathId;
    unit.targetId = entry.TargetId;
    unit.lun = entry.Lun;
    unit.deviceClaimed = entry.DeviceClaimed != 0;
    const unsigned char* inquiry = data + offset + header;
    unit.inquiryData.assign(inquiry, inquiry + entry.InquiryDataLength);
    units->push_back(std::move(unit));
    offset = entry.NextInquiryDataOffset;
  }
}

}  // namespace

uint32_t GetLastError() { return ::GetLastError(); }
void SetLastError(uint32_t error) { ::SetLastError(error); }

void* CoTaskMemAlloc(size_t size) { return ::CoTaskMemAlloc(size); }
void CoTaskMemFree(void* block) { ::CoTaskMemFree(block); }
int32_t CoCreateGuid(void* guid) { return ::CoCreateGuid(static_cast<GUID*>(guid)); }

int32_t CoCreateInstance(const void* clsid, void* outer, uint32_t context, const void* iid,
                         void** object) {
  return ::CoCreateInstance(*static_cast<const CLSID*>(clsid), static_cast<IUnknown*>(outer),
                            context, *static_cast<const IID*>(iid), object);
}

int32_t CoSetProxyBlanket(void* proxy, uint32_t authnSvc, uint32_t authzSvc,
                          char16_t* serverPrincName, uint32_t authnLevel, uint32_t impLevel,
                          void* authInfo, uint32_t capabilities) {
  return ::CoSetProxyBlanket(static_cast<IUnknown*>(proxy), authnSvc, authzSvc,
                             Wide(serverPrincName), authnLevel, impLevel, authInfo, capabilities);
}

void* CreateMutexW(void* attributes, int32_t initialOwner, const char16_t* name) {
  return ::CreateMutexW(static_cast<LPSECURITY_ATTRIBUTES>(attributes), initialOwner, Wide(name));
}
void* OpenMutexW(uint32_t access, int32_t inherit, const char16_t* name) {
  return ::OpenMutexW(access, inherit, Wide(name));
}
int32_t ReleaseMutex(void* mutex) { return ::ReleaseMutex(mutex); }
uint32_t WaitForSingleObject(void* handle, uint32_t ms) {
  return ::WaitForSingleObject(handle, ms);
}
int32_t CloseHandle(void* handle) { return ::CloseHandle(handle); }

int32_t RegOpenKeyExA(void* key, const char* subKey, uint32_t options, uint32_t access,
                      void** result) {
  return ::RegOpenKeyExA(Key(key), subKey, options, access, reinterpret_cast<PHKEY>(result));
}
int32_t RegOpenKeyExW(void* key, const char16_t* subKey, uint32_t options, uint32_t access,
                      void** result) {
  return ::RegOpenKeyExW(Key(key), Wide(subKey), options, access, reinterpret_cast<PHKEY>(result));
}
int32_t RegCloseKey(void* key) { return ::RegCloseKey(Key(key)); }
int32_t RegQueryValueExA(void* key, const char* name, uint32_t* type, uint8_t* data,
                         uint32_t* dataSize) {
  return ::RegQueryValueExA(Key(key), name, nullptr, Dword(type), data, Dword(dataSize));
}
int32_t RegQueryValueExW(void* key, const char16_t* name, uint32_t* type, uint8_t* data,
                         uint32_t* dataSize) {
  return ::RegQueryValueExW(Key(key), Wide(name), nullptr, Dword(type), data, Dword(dataSize));
}
int32_t RegGetValueW(void* key, const char16_t* subKey, const char16_t* name, uint32_t flags,
                     uint32_t* type, void* data, uint32_t* dataSize) {
  return ::RegGetValueW(Key(key), Wide(subKey), Wide(name), flags, Dword(type), data,
                        Dword(dataSize));
}
int32_t RegCreateKeyExW(void* key, const char16_t* subKey, uint32_t options, uint32_t access,
                        void** result, uint32_t* disposition) {
  return ::RegCreateKeyExW(Key(key), Wide(subKey), 0, nullptr, options, access, nullptr,
                           reinterpret_cast<PHKEY>(result), Dword(disposition));
}
int32_t RegSetValueExW(void* key, const char16_t* name, uint32_t type, const uint8_t* data,
                       uint32_t dataSize) {
  return ::RegSetValueExW(Key(key), Wide(name), 0, type, data, dataSize);
}
int32_t RegDeleteValueW(void* key, const char16_t* name) {
  return ::RegDeleteValueW(Key(key), Wide(name));
}
int32_t RegEnumKeyExW(void* key, uint32_t index, char16_t* name, uint32_t* nameSize) {
  return ::RegEnumKeyExW(Key(key), index, Wide(name), Dword(nameSize), nullptr, nullptr, nullptr,
                         nullptr);
}
int32_t RegDeleteTreeW(void* key, const char16_t* subKey) {
  return ::RegDeleteTreeW(Key(key), Wide(subKey));
}

void* RegisterEventSourceW(const char16_t* server, const char16_t* sourceName) {
  return ::RegisterEventSourceW(Wide(server), Wide(sourceName));
}
int32_t ReportEventA(void* eventLog, uint16_t type, uint16_t category, uint32_t eventId,
                     void* userSid, uint16_t numStrings, uint32_t dataSize, const char** strings,
                     void* rawData) {
  return ::ReportEventA(eventLog, type, category, eventId, userSid, numStrings, dataSize, strings,
                        rawData);
}
int32_t DeregisterEventSource(void* eventLog) { return ::DeregisterEventSource(eventLog); }

void GetVersion(uint32_t* major, uint32_t* minor) {
  OSVERSIONINFOW info{};
  info.dwOSVersionInfoSize = sizeof info;
  // Deprecated for its compatibility answers, which are what the provider is meant to see.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
  const BOOL known = ::GetVersionExW(&info);
#pragma GCC diagnostic pop
  if (!known) return;
  *major = info.dwMajorVersion;
  *minor = info.dwMinorVersion;
}
uint32_t GetCurrentProcessId() { return ::GetCurrentProcessId(); }
uint32_t GetCurrentThreadId() { return ::GetCurrentThreadId(); }
uint32_t GetSystemDirectoryA(char* buffer, uint32_t size) {
  return ::GetSystemDirectoryA(buffer, size);
}
uint32_t GetWindowsDirectoryA(char* buffer, uint32_t size) {
  return ::GetWindowsDirectoryA(buffer, size);
}
int32_t GetModuleHandleExW(uint32_t flags, const char16_t* moduleName, void** module) {
  return ::GetModuleHandleExW(flags, Wide(moduleName), reinterpret_cast<HMODULE*>(module));
}
uint32_t GetModuleFileNameW(void* module, char16_t* filename, uint32_t size) {
  return ::GetModuleFileNameW(static_cast<HMODULE>(module), Wide(filename), size);
}
void OutputDebugStringA(const char* text) { ::OutputDebugStringA(text); }

char16_t* SysAllocString(const char16_t* text) {
  return reinterpret_cast<char16_t*>(::SysAllocString(Wide(text)));
}
char16_t* SysAllocStringLen(const char16_t* text, uint32_t length) {
  return reinterpret_cast<char16_t*>(::SysAllocStringLen(Wide(text), length));
}
void SysFreeString(char16_t* text) { ::SysFreeString(Wide(text)); }
uint32_t SysStringLen(char16_t* text) { return ::SysStringLen(Wide(text)); }

void VariantInit(void* value) { ::VariantInit(static_cast<VARIANT*>(value)); }
int32_t VariantClear(void* value) { return ::VariantClear(static_cast<VARIANT*>(value)); }
int32_t VariantCopy(void* dest, const void* src) {
  return ::VariantCopy(static_cast<VARIANT*>(dest),
                       const_cast<VARIANT*>(static_cast<const VARIANT*>(src)));
}
void* SafeArrayCreateVector(uint16_t vt, int32_t lowerBound, uint32_t count) {
  return ::SafeArrayCreateVector(vt, lowerBound, count);
}
int32_t SafeArrayDestroy(void* array) { return ::SafeArrayDestroy(static_cast<SAFEARRAY*>(array)); }
int32_t SafeArrayGetLBound(void* array, uint32_t dimension, int32_t* bound) {
  return ::SafeArrayGetLBound(static_cast<SAFEARRAY*>(array), dimension,
                              reinterpret_cast<LONG*>(bound));
}
int32_t SafeArrayGetUBound(void* array, uint32_t dimension, int32_t* bound) {
  return ::SafeArrayGetUBound(static_cast<SAFEARRAY*>(array), dimension,
                              reinterpret_cast<LONG*>(bound));
}
int32_t SafeArrayGetVartype(void* array, uint16_t* vt) {
  return ::SafeArrayGetVartype(static_cast<SAFEARRAY*>(array), vt);
}
// The system's two element calls read their index and the element put without changing them.
int32_t SafeArrayGetElement(void* array, const int32_t* index, void* element) {
  return ::SafeArrayGetElement(static_cast<SAFEARRAY*>(array),
                               reinterpret_cast<LONG*>(const_cast<int32_t*>(index)), element);
}
int32_t SafeArrayPutElement(void* array, const int32_t* index, const void* element) {
  return ::SafeArrayPutElement(static_cast<SAFEARRAY*>(array),
                               reinterpret_cast<LONG*>(const_cast<int32_t*>(index)),
                               const_cast<void*>(element));
}
int32_t SafeArrayCopy(void* array, void** copy) {
  return ::SafeArrayCopy(static_cast<SAFEARRAY*>(array), reinterpret_cast<SAFEARRAY**>(copy));
}

void* LoadLibraryW(const char16_t* name) { return ::LoadLibraryW(Wide(name)); }
void* GetProcAddress(void* module, const char* name) {
  return reinterpret_cast<void*>(::GetProcAddress(static_cast<HMODULE>(module), name));
}
int32_t FreeLibrary(void* module) { return ::FreeLibrary(static_cast<HMODULE>(module)); }

void* CreateFileW(const char16_t* name, uint32_t access, uint32_t share, void* security,
                  uint32_t disposition, uint32_t flags, void* templateFile) {
  return ::CreateFileW(Wide(name), access, share, static_cast<LPSECURITY_ATTRIBUTES>(security),
                       disposition, flags, templateFile);
}

int32_t ScsiPassThroughDirectIoctl(void* device, ScsiPassThroughDirect* command) {
  struct {
    SCSI_PASS_THROUGH_DIRECT request;
    ULONG align;
    UCHAR sense[sizeof(command->sense)];
  } block;
  std::memset(&block, 0, sizeof(block));
  if (command->cdb == nullptr || command->cdbLength == 0 ||
      command->cdbLength > sizeof(block.request.Cdb)) {
    ::SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
  }
  const bool dataIn = command->dataIn && command->buffer != nullptr && command->bufferLength > 0;
  block.request.Length = sizeof(block.request);
  block.request.PathId = command->pathId;
  block.request.TargetId = command->targetId;
  block.request.Lun = command->lun;
  block.request.CdbLength = command->cdbLength;
  block.request.SenseInfoLength = sizeof(block.sense);
  block.request.SenseInfoOffset = offsetof(decltype(block), sense);
  block.request.DataIn = dataIn ? SCSI_IOCTL_DATA_IN : SCSI_IOCTL_DATA_UNSPECIFIED;
  block.request.DataTransferLength = dataIn ? command->bufferLength : 0;
  block.request.DataBuffer = dataIn ? command->buffer : nullptr;
  block.request.TimeOutValue = command->timeoutSeconds;
  std::memcpy(block.request.Cdb, command->cdb, command->cdbLength);
  DWORD returned = 0;
  const BOOL ok =
      ::DeviceIoControl(static_cast<HANDLE>(device), IOCTL_SCSI_PASS_THROUGH_DIRECT, &block,
                        sizeof(block), &block, sizeof(block), &returned, nullptr);
  command->scsiStatus = 0;
  command->transferred = 0;
  command->senseLength = 0;
  if (!ok) return ok;
  command->scsiStatus = block.request.ScsiStatus;
  command->transferred =
      dataIn ? std::min<uint32_t>(block.request.DataTransferLength, command->bufferLength) : 0;
  // Sense is only there when the status asked for it; the driver leaves the length it was
  // given, or sets the bytes it wrote.
  if (block.request.ScsiStatus != 0) {
    command->senseLength =
        std::min<uint32_t>(block.request.SenseInfoLength, sizeof(command->sense));
    std::memcpy(command->sense, block.sense, command->senseLength);
  }
  return ok;
}

int32_t ScsiGetAddressIoctl(void* device, ScsiAddressData* address) {
  SCSI_ADDRESS data;
  std::memset(&data, 0, sizeof(data));
  data.Length = sizeof(data);
  DWORD returned = 0;
  const BOOL ok = ::DeviceIoControl(static_cast<HANDLE>(device), IOCTL_SCSI_GET_ADDRESS, nullptr, 0,
                                    &data, sizeof(data), &returned, nullptr);
  if (ok) {
    address->portNumber = data.PortNumber;
    address->pathId = data.PathId;
    address->targetId = data.TargetId;
    address->lun = data.Lun;
  }
  return ok;
}

int32_t DiskGetDriveLayoutExIoctl(void* device, DriveLayoutData* layout) {
  std::vector<unsigned char> buffer;
  DWORD returned = 0;
  const size_t initial =
      sizeof(DRIVE_LAYOUT_INFORMATION_EX) + 127 * sizeof(PARTITION_INFORMATION_EX);
  const BOOL ok = GrowingIoctl(static_cast<HANDLE>(device), IOCTL_DISK_GET_DRIVE_LAYOUT_EX, initial,
                               1u << 20, &buffer, &returned);
  if (!ok) return ok;
  const size_t header = offsetof(DRIVE_LAYOUT_INFORMATION_EX, PartitionEntry);
  if (returned < header) {
    ::SetLastError(ERROR_INVALID_DATA);
    return FALSE;
  }
  DRIVE_LAYOUT_INFORMATION_EX data;
  std::memcpy(&data, buffer.data(), header);
  *layout = DriveLayoutData{};
  layout->partitionStyle = data.PartitionStyle;
  if (data.PartitionStyle == PARTITION_STYLE_MBR) layout->mbrSignature = data.Mbr.Signature;
  if (data.PartitionStyle == PARTITION_STYLE_GPT) {
    std::memcpy(layout->gptDiskId, &data.Gpt.DiskId, sizeof(layout->gptDiskId));
  }
  return ok;
}

int32_t ScsiGetInquiryDataIoctl(void* adapter, std::vector<ScsiInquiryUnitData>* units) {
  units->clear();
  std::vector<unsigned char> buffer;
  DWORD returned = 0;
  const BOOL ok = GrowingIoctl(static_cast<HANDLE>(adapter), IOCTL_SCSI_GET_INQUIRY_DATA, 16u << 10,
                               1u << 20, &buffer, &returned);
  if (!ok) return ok;
  const unsigned char* data = buffer.data();
  const size_t size = returned;
  const size_t busesAt = offsetof(SCSI_ADAPTER_BUS_INFO, BusData);
  if (size < busesAt) return ok;
  SCSI_ADAPTER_BUS_INFO info;
  std::memcpy(&info, data, busesAt);
  for (unsigned bus = 0; bus < info.NumberOfBuses; ++bus) {
    const size_t at = busesAt + bus * sizeof(SCSI_BUS_DATA);
    if (at > size || size - at < sizeof(SCSI_BUS_DATA)) break;
    SCSI_BUS_DATA busData;
    std::memcpy(&busData, data + at, sizeof(busData));
    WalkInquiryChain(data, size, busData.InquiryDataOffset, busData.NumberOfLogicalUnits, units);
  }
  return ok;
}

}  // namespace winsdk
