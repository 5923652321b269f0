#include "diag/event_log.h"

#include <libintl.h>

#include <clocale>
#include <cstdarg>
#include <string>

#include "diag/debug_log.h"
#include "platform/eventlog.h"
#include "platform/registry.h"
#include "platform/strings.h"
#include "platform/system.h"
#include "platform/winerror.h"
#include "platform/winformat.h"

namespace {

constexpr char kTextDomain[] = "vdsprovider";
constexpr char16_t kSourceName[] = u"VelaVDSProvider";
constexpr char16_t kParametersKey[] =
    u"SYSTEM\\CurrentControlSet\\Services\\VelaVDSProvider\\Parameters";
constexpr DWORD kEventId = 1;
constexpr size_t kMessageBuffer = 256;
constexpr size_t kPathChars = 260;

void Report(WORD type, const char* message) {
  HANDLE source = RegisterEventSourceW(nullptr, kSourceName);
  if (source == nullptr) return;
  LPCSTR strings[1] = {message};
  ReportEventA(source, type, 0, kEventId, nullptr, 1, 0, strings, nullptr);
  DeregisterEventSource(source);
}

// The installation path, narrowed as the debug log narrows its file name; empty when absent.
std::string InstallPath() {
  HKEY key = nullptr;
  if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, kParametersKey, 0, KEY_READ, &key) != ERROR_SUCCESS) {
    return std::string();
  }
  WCHAR wide[kPathChars] = {};
  DWORD type = 0, size = sizeof(wide) - sizeof(WCHAR);
  LONG status =
      RegQueryValueExW(key, u"PATH", nullptr, &type, reinterpret_cast<BYTE*>(wide), &size);
  RegCloseKey(key);
  if (status != ERROR_SUCCESS || (type != REG_SZ && type != REG_EXPAND_SZ)) return std::string();
  return NarrowLowByte(wide);
}

}  // namespace

#define VELA_EVENT_ROUTINE(name, type, logLine)           \
  void name(const char* format, ...) {                    \
    char message[kMessageBuffer];                         \
    va_list args;                                         \
    va_start(args, format);                               \
    WinVsnprintf(message, sizeof(message), format, args); \
    va_end(args);                                         \
    Report(type, message);                                \
    DebugPrintf(logLine, message);                        \
  }

VELA_EVENT_ROUTINE(LogErrorEvent, EVENTLOG_ERROR_TYPE, "Logging Error Event \"%s\".\n")
VELA_EVENT_ROUTINE(LogWarningEvent, EVENTLOG_WARNING_TYPE, "Logging Warning Event \"%s\".\n")
VELA_EVENT_ROUTINE(LogInfoEvent, EVENTLOG_INFORMATION_TYPE, "Logging Info Event \"%s\".\n")

#undef VELA_EVENT_ROUTINE

void LangInit() {
  const char* locale = std::setlocale(LC_ALL, "");
  if (locale != nullptr) {
    DebugPrintf("LangInit: Current Locale is: %s\n", locale);
  } else {
    DebugPrintf("LangInit: Set Locale fail.\n");
  }

  std::string folder = HostPath(InstallPath().c_str());
  if (!folder.empty() && folder.back() != '/') folder += '/';
  folder += "locale";

  const char* bound = bindtextdomain(kTextDomain, folder.c_str());
  if (bound != nullptr) {
    DebugPrintf("LangInit: bindtextdomain is: %s\n", bound);
  } else {
    DebugPrintf("LangInit: bindtextdomain fail.\n");
  }
  const char* domain = textdomain(kTextDomain);
  if (domain != nullptr) {
    DebugPrintf("LangInit: textdomain is: %s\n", domain);
  } else {
    DebugPrintf("LangInit: textdomain fail.\n");
  }
}
