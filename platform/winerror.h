// Win32 error codes with their Windows values, and the per-thread last-error slot that the
// shims set on failure as their namesakes do.
#ifndef VELA_PLATFORM_WINERROR_H_
#define VELA_PLATFORM_WINERROR_H_

#include "platform/wintypes.h"

constexpr LONG ERROR_SUCCESS = 0;
constexpr LONG ERROR_FILE_NOT_FOUND = 2;
constexpr LONG ERROR_PATH_NOT_FOUND = 3;
constexpr LONG ERROR_ACCESS_DENIED = 5;
constexpr LONG ERROR_INVALID_HANDLE = 6;
constexpr LONG ERROR_NOT_ENOUGH_MEMORY = 8;
constexpr LONG ERROR_INVALID_DATA = 13;
constexpr LONG ERROR_INVALID_PARAMETER = 87;
constexpr LONG ERROR_BROKEN_PIPE = 109;
constexpr LONG ERROR_INSUFFICIENT_BUFFER = 122;
constexpr LONG ERROR_MOD_NOT_FOUND = 126;
constexpr LONG ERROR_ALREADY_EXISTS = 183;
constexpr LONG ERROR_PIPE_BUSY = 231;
constexpr LONG ERROR_NO_DATA = 232;
constexpr LONG ERROR_PIPE_NOT_CONNECTED = 233;
constexpr LONG ERROR_MORE_DATA = 234;
constexpr LONG ERROR_NO_MORE_ITEMS = 259;
constexpr LONG ERROR_NOT_OWNER = 288;
constexpr LONG ERROR_PIPE_CONNECTED = 535;
constexpr LONG ERROR_OPERATION_ABORTED = 995;
constexpr LONG ERROR_IO_PENDING = 997;
constexpr LONG ERROR_BADDB = 1009;
constexpr LONG ERROR_SERVICE_DISABLED = 1058;
constexpr LONG ERROR_TIMEOUT = 1460;
constexpr LONG ERROR_UNSUPPORTED_TYPE = 1630;

DWORD GetLastError();
void SetLastError(DWORD error);

#endif  // VELA_PLATFORM_WINERROR_H_
