// Scalar types of the Windows API, with their Windows sizes, so that wide buffers and records
// keep the byte counts the logic was written for.
#ifndef VELA_PLATFORM_WINTYPES_H_
#define VELA_PLATFORM_WINTYPES_H_

#include <cstddef>
#include <cstdint>

using BYTE = uint8_t;
using UCHAR = uint8_t;
using CHAR = char;
using WCHAR = char16_t;
using SHORT = int16_t;
using USHORT = uint16_t;
using WORD = uint16_t;
using INT = int32_t;
using UINT = uint32_t;
using LONG = int32_t;
using ULONG = uint32_t;
using DWORD = uint32_t;
using BOOL = int32_t;
using BOOLEAN = uint8_t;
using LONGLONG = int64_t;
using ULONGLONG = uint64_t;
using DWORDLONG = uint64_t;
using ULONG_PTR = uintptr_t;
using SIZE_T = size_t;
using HRESULT = int32_t;
using LPVOID = void*;
using PVOID = void*;
using LPCVOID = const void*;
using LPSTR = char*;
using LPCSTR = const char*;
using LPWSTR = WCHAR*;
using LPCWSTR = const WCHAR*;
using PWSTR = WCHAR*;
using HANDLE = void*;

constexpr BOOL TRUE = 1;
constexpr BOOL FALSE = 0;
constexpr DWORD INFINITE = 0xFFFFFFFFu;
constexpr DWORD MAX_PATH = 260;

#endif  // VELA_PLATFORM_WINTYPES_H_
