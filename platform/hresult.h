// COM result codes with their Windows SDK values, so that a result logged here reads the same as
// on Windows and a client can compare against the documented numbers.
#ifndef VELA_PLATFORM_HRESULT_H_
#define VELA_PLATFORM_HRESULT_H_

#include "platform/wintypes.h"

constexpr HRESULT MakeHResult(uint32_t value) { return static_cast<HRESULT>(value); }

constexpr HRESULT S_OK = 0;
constexpr HRESULT S_FALSE = 1;
constexpr HRESULT E_NOTIMPL = MakeHResult(0x80004001u);
constexpr HRESULT E_NOINTERFACE = MakeHResult(0x80004002u);
constexpr HRESULT E_POINTER = MakeHResult(0x80004003u);
constexpr HRESULT E_FAIL = MakeHResult(0x80004005u);
constexpr HRESULT E_UNEXPECTED = MakeHResult(0x8000FFFFu);
constexpr HRESULT E_OUTOFMEMORY = MakeHResult(0x8007000Eu);
constexpr HRESULT E_INVALIDARG = MakeHResult(0x80070057u);
constexpr HRESULT CLASS_E_NOAGGREGATION = MakeHResult(0x80040110u);
constexpr HRESULT CLASS_E_CLASSNOTAVAILABLE = MakeHResult(0x80040111u);
constexpr HRESULT REGDB_E_CLASSNOTREG = MakeHResult(0x80040154u);
constexpr HRESULT E_ACCESSDENIED = MakeHResult(0x80070005u);

// Virtual Disk Service codes (facility ITF, 0x24xx range).
constexpr HRESULT VDS_E_NOT_SUPPORTED = MakeHResult(0x80042400u);
constexpr HRESULT VDS_E_INITIALIZED_FAILED = MakeHResult(0x80042401u);
constexpr HRESULT VDS_E_ALREADY_REGISTERED = MakeHResult(0x80042403u);
constexpr HRESULT VDS_E_ANOTHER_CALL_IN_PROGRESS = MakeHResult(0x80042404u);
constexpr HRESULT VDS_E_OBJECT_NOT_FOUND = MakeHResult(0x80042405u);
constexpr HRESULT VDS_E_PARTITION_LIMIT_REACHED = MakeHResult(0x80042407u);
constexpr HRESULT VDS_E_OPERATION_PENDING = MakeHResult(0x80042409u);
constexpr HRESULT VDS_E_OBJECT_DELETED = MakeHResult(0x8004240Bu);
constexpr HRESULT VDS_E_NOT_ENOUGH_SPACE = MakeHResult(0x8004240Fu);
constexpr HRESULT VDS_E_NOT_ENOUGH_DRIVE = MakeHResult(0x80042410u);
constexpr HRESULT VDS_E_DEVICE_IN_USE = MakeHResult(0x80042413u);
constexpr HRESULT VDS_E_DISK_NOT_EMPTY = MakeHResult(0x80042414u);
constexpr HRESULT VDS_E_VOLUME_TOO_SMALL = MakeHResult(0x8004242Cu);
constexpr HRESULT VDS_E_OBJECT_STATUS_FAILED = MakeHResult(0x80042431u);
constexpr HRESULT VDS_E_INTERNAL_ERROR = MakeHResult(0x80042448u);
constexpr HRESULT VDS_E_DISK_NOT_ONLINE = MakeHResult(0x8004244Bu);
constexpr HRESULT VDS_E_NAME_NOT_UNIQUE = MakeHResult(0x80042467u);
constexpr HRESULT VDS_S_NAME_TRUNCATED = MakeHResult(0x00042700u);

constexpr bool SUCCEEDED(HRESULT hr) { return hr >= 0; }
constexpr bool FAILED(HRESULT hr) { return hr < 0; }

// A Win32 error code in the FACILITY_WIN32 form; 0 and negative values pass unchanged.
constexpr HRESULT HRESULT_FROM_WIN32(DWORD error) {
  return static_cast<HRESULT>(error) <= 0
             ? static_cast<HRESULT>(error)
             : MakeHResult((error & 0x0000FFFFu) | (7u << 16) | 0x80000000u);
}

// The symbolic name of a known code ("E_POINTER"), or null for a value not in the table.
const char* HResultName(HRESULT hr);

#endif  // VELA_PLATFORM_HRESULT_H_
