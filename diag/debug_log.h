// The debug log: one text file, configured from the registry key
// HKEY_LOCAL_MACHINE\SYSTEM\CurrentControlSet\Services\VelaVDSProvider\Debug (FileName, ToFile,
// ToDebugger, TimeStamp, ForceFlush, MaxFileLength, DebugLevel), read when the log is opened and
// again every hundred writes, so it can be turned off, redirected or truncated while the
// provider runs.
//
// Formats are Windows printf strings (%I64d, %ls, %S ... see platform/winformat.h).
// Nothing here fails its caller. All calls are thread-safe.
#ifndef VELA_DIAG_DEBUG_LOG_H_
#define VELA_DIAG_DEBUG_LOG_H_

#include "platform/wintypes.h"

// Opens the log (counted): the registry decides, and `fileName`, when given, replaces the
// configured file name. Windows-style names go through HostPath.
void Debug(const char* fileName = nullptr);

// Ends one Debug; the file closes when the count falls to 0 or below.
void DebugClose();

// One message, prefixed "[pid/tid] " and cut at 1000 bytes; a line feed ends the log line.
void DebugPrintf(const char* format, ...);

// The inner writer: time stamps at line starts, then file and debugger. Cut at 2048 bytes.
void DebugPrintLine(const char* format, ...);

// A hex dump of `count` bytes, 16 per line, after a "====== title ====== count" line; a title
// that begins with a blank is instead the prefix of each line.
void DumpBytes(const char* title, const void* bytes, int count);

// The configured verbosity; the largest dumps are written only above 4.
DWORD GetDebugLevel();

// Closes the file and clears the counters, so that each test starts from a fresh process state.
void DebugResetForTesting();

#endif  // VELA_DIAG_DEBUG_LOG_H_
