#include "diag/debug_log.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <mutex>
#include <string>

#include "platform/registry.h"
#include "platform/strings.h"
#include "platform/system.h"
#include "platform/winerror.h"
#include "platform/winformat.h"

namespace {

constexpr char16_t kDebugKey[] = u"SYSTEM\\CurrentControlSet\\Services\\VelaVDSProvider\\Debug";
constexpr size_t kFileNameBytes = 256;
constexpr size_t kPrintfBuffer = 1000;
constexpr size_t kLineBuffer = 2048;
constexpr unsigned kRereadInterval = 100;

const char* const kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                               "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

struct DebugConfig {
  std::string FileName;  // at most kFileNameBytes - 1 bytes
  DWORD ToFile = 1;
  DWORD ToDebugger = 0;
  DWORD TimeStamp = 1;
  DWORD ForceFlush = 1;
  DWORD MaxFileLength = 0;
  DWORD DebugLevel = 0;
};

struct DebugState {
  DebugState() = default;
  DebugState(const DebugState&) = delete;
  DebugState& operator=(const DebugState&) = delete;
  // A log still open when the module goes (no matching DebugClose) is closed with it.
  ~DebugState() {
    if (file != nullptr && file != stdout && file != stderr) std::fclose(file);
  }

  std::mutex lock;
  // All guarded by `lock`.
  DebugConfig config;
  FILE* file = nullptr;
  int openCount = 0;
  unsigned callCounter = 0;
  bool lineStarted = false;
};

// Static storage, so that unloading the module frees it. The module's attach logs first, before
// it registers the detach, so this state is made earlier and destroyed later than the detach,
// whose last lines still find it alive. No thread of the module outlives the detach.
DebugState& State() {
  static DebugState state;
  return state;
}

// A DWORD value of the right type and size, else the old value stays.
void ReadDword(HKEY key, const char16_t* name, DWORD* value, bool flag) {
  DWORD type = 0, data = 0, size = sizeof(data);
  if (RegQueryValueExW(key, name, nullptr, &type, reinterpret_cast<BYTE*>(&data), &size) !=
          ERROR_SUCCESS ||
      type != REG_DWORD || size != sizeof(data)) {
    return;
  }
  *value = flag ? (data != 0 ? 1 : 0) : data;
}

void ReadFileName(HKEY key, std::string* fileName) {
  WCHAR wide[kFileNameBytes] = {};
  DWORD type = 0, size = sizeof(wide) - sizeof(WCHAR);  // room kept for a terminator
  if (RegQueryValueExW(key, u"FileName", nullptr, &type, reinterpret_cast<BYTE*>(wide), &size) !=
          ERROR_SUCCESS ||
      (type != REG_SZ && type != REG_EXPAND_SZ)) {
    return;
  }
  *fileName = NarrowLowByte(wide);
}

DebugConfig ReadConfig() {
  DebugConfig config;
  HKEY key = nullptr;
  bool opened = RegOpenKeyExW(HKEY_LOCAL_MACHINE, kDebugKey, 0, KEY_READ, &key) == ERROR_SUCCESS;
  if (opened) {
    ReadFileName(key, &config.FileName);
    ReadDword(key, u"ToFile", &config.ToFile, true);
    ReadDword(key, u"ToDebugger", &config.ToDebugger, true);
    ReadDword(key, u"TimeStamp", &config.TimeStamp, true);
    ReadDword(key, u"ForceFlush", &config.ForceFlush, true);
    ReadDword(key, u"MaxFileLength", &config.MaxFileLength, false);
  }
  config.DebugLevel = (config.ToFile || config.ToDebugger) ? 1 : 0;
  if (opened) {
    ReadDword(key, u"DebugLevel", &config.DebugLevel, false);
    RegCloseKey(key);
  }
  return config;
}

bool IsStandardStream(FILE* file) { return file == stdout || file == stderr; }

// "Jan 05, 2024 13:04:59" pieces of the local time.
struct Stamp {
  const char* month;
  unsigned day, year, hour, minute, second;
};

Stamp Now() {
  time_t now = time(nullptr);
  struct tm local = {};
  localtime_r(&now, &local);
  return {kMonths[local.tm_mon % 12],
          static_cast<unsigned>(local.tm_mday),
          static_cast<unsigned>(local.tm_year + 1900),
          static_cast<unsigned>(local.tm_hour),
          static_cast<unsigned>(local.tm_min),
          static_cast<unsigned>(local.tm_sec)};
}

// Writes `length` bytes of text line by line with the time stamps, to the file and the debugger.
void EmitLocked(DebugState& state, const char* text, size_t length) {
  const DebugConfig& config = state.config;
  bool toFile = state.file != nullptr && config.ToFile;
  const char* const end = text + length;
  for (const char* line = text; line < end;) {
    const auto* feed =
        static_cast<const char*>(std::memchr(line, '\n', static_cast<size_t>(end - line)));
    size_t piece = feed ? static_cast<size_t>(feed - line) + 1 : static_cast<size_t>(end - line);
    if (config.TimeStamp && !state.lineStarted) {
      if (toFile) {
        Stamp s = Now();
        std::fprintf(state.file, "%s %02u, %u %02u:%02u:%02u: ", s.month, s.day, s.year, s.hour,
                     s.minute, s.second);
      }
      state.lineStarted = true;
    }
    if (config.ToDebugger) OutputDebugStringA(std::string(line, piece).c_str());
    if (toFile) {
      std::fwrite(line, 1, piece, state.file);
      if (config.ForceFlush) std::fflush(state.file);
    }
    if (feed != nullptr) state.lineStarted = false;
    line += piece;
  }
}

void EmitLocked(DebugState& state, const char* text) { EmitLocked(state, text, std::strlen(text)); }

void EmitFormatLocked(DebugState& state, const char* format, ...) {
  char buffer[kLineBuffer];
  va_list args;
  va_start(args, format);
  WinVsnprintf(buffer, sizeof(buffer), format, args);
  va_end(args);
  EmitLocked(state, buffer);
}

void LengthCheckLocked(DebugState& state) {
  if (state.file == nullptr || state.config.MaxFileLength == 0) return;
  std::fflush(state.file);
  struct stat info;
  if (fstat(fileno(state.file), &info) != 0) return;
  auto length = static_cast<long long>(info.st_size);
  if (length <= static_cast<long long>(state.config.MaxFileLength)) return;
  if (ftruncate(fileno(state.file), 0) != 0) return;
  std::fseek(state.file, 0, SEEK_SET);
  state.lineStarted = false;
  EmitFormatLocked(state, "Truncated debug file, length was %I64d\n", length);
}

// Counts one write and, on every hundredth, reads the configuration again. True when the write
// would reach the file or the debugger: otherwise the caller need not even format it.
bool CountWrite() {
  DebugState& state = State();
  std::lock_guard<std::mutex> guard(state.lock);
  if (++state.callCounter % kRereadInterval == 0) {
    state.config = ReadConfig();
    LengthCheckLocked(state);
  }
  return state.config.ToDebugger || (state.file != nullptr && state.config.ToFile);
}

void Write(const char* text, size_t length) {
  DebugState& state = State();
  std::lock_guard<std::mutex> guard(state.lock);
  EmitLocked(state, text, length);
}

// Formats "[pid/tid] " and the message into one buffer (cut at its size) and writes it uncounted.
void WriteMessage(const char* format, va_list args) {
  char buffer[kPrintfBuffer];
  int prefix =
      std::snprintf(buffer, sizeof(buffer), "[%04d/%04d] ", static_cast<int>(GetCurrentProcessId()),
                    static_cast<int>(GetCurrentThreadId()));
  WinVsnprintf(buffer + prefix, sizeof(buffer) - static_cast<size_t>(prefix), format, args);
  Write(buffer, std::strlen(buffer));
}

void WriteMessage(const char* format, ...) {
  va_list args;
  va_start(args, format);
  WriteMessage(format, args);
  va_end(args);
}

}  // namespace

void Debug(const char* fileName) {
  DebugState& state = State();
  std::lock_guard<std::mutex> guard(state.lock);
  state.config = ReadConfig();
  if (fileName != nullptr) state.config.FileName = fileName;
  if (state.config.FileName.size() >= kFileNameBytes) {
    state.config.FileName.resize(kFileNameBytes - 1);
  }
  if (state.file == nullptr) {
    if (state.config.ToFile && !state.config.FileName.empty()) {
      state.file = std::fopen(HostPath(state.config.FileName.c_str()).c_str(), "a");
      if (state.file == nullptr) {
        int error = errno;
        std::fprintf(stderr, "Error '%s' (%d) opening debug output file.\n", std::strerror(error),
                     error);
      } else {
        LengthCheckLocked(state);
        if (state.config.ToFile) {
          const DebugConfig& c = state.config;
          Stamp s = Now();
          EmitLocked(state, (std::string(80, '#') + "\n").c_str());
          EmitFormatLocked(state, "# Debug file opened on %s %02u, %u %02u:%02u:%02u.\n", s.month,
                           s.day, s.year, s.hour, s.minute, s.second);
          EmitLocked(state, "Current debug configuration:\n");
          EmitFormatLocked(state, "    FileName=%s\n", c.FileName.c_str());
          EmitFormatLocked(state, "    ToFile=%u\n", c.ToFile);
          EmitFormatLocked(state, "    ToDebugger=%u\n", c.ToDebugger);
          EmitFormatLocked(state, "    TimeStamp=%u\n", c.TimeStamp);
          EmitFormatLocked(state, "    ForceFlush=%u\n", c.ForceFlush);
          EmitFormatLocked(state, "    MaxFileLength=%u\n", c.MaxFileLength);
          EmitFormatLocked(state, "    DebugLevel=%u\n", c.DebugLevel);
        }
      }
    }
  } else if (!IsStandardStream(state.file)) {
    EmitLocked(state, "Debug File already opened.\n");
  }
  ++state.openCount;
}

void DebugClose() {
  DebugState& state = State();
  std::lock_guard<std::mutex> guard(state.lock);
  if (--state.openCount <= 0 && state.file != nullptr) {
    if (!IsStandardStream(state.file)) std::fclose(state.file);
    state.file = nullptr;
    state.openCount = 0;
  }
}

void DebugPrintf(const char* format, ...) {
  if (!CountWrite()) return;
  va_list args;
  va_start(args, format);
  WriteMessage(format, args);
  va_end(args);
}

void DebugPrintLine(const char* format, ...) {
  if (!CountWrite()) return;
  char buffer[kLineBuffer];
  va_list args;
  va_start(args, format);
  WinVsnprintf(buffer, sizeof(buffer), format, args);
  va_end(args);
  Write(buffer, std::strlen(buffer));
}

void DumpBytes(const char* title, const void* bytes, int count) {
  const char* prefix = "";
  if (title != nullptr && title[0] == ' ') {
    prefix = title;
  } else {
    DebugPrintf("====== %s ====== %d\n", title ? title : "", count);
  }
  if (bytes == nullptr) return;
  const auto* data = static_cast<const uint8_t*>(bytes);
  for (long long offset = 0; offset < count; offset += 16) {
    if (!CountWrite()) continue;  // still one counted write per line, as if printed
    char body[16 * 3 + 16 + 1];
    size_t used = 0;
    int n = count - offset < 16 ? static_cast<int>(count - offset) : 16;
    for (int i = 0; i < 16; ++i) {
      if (i < n) {
        std::snprintf(body + used, sizeof(body) - used, "%02X ", data[offset + i]);
      } else {
        std::memcpy(body + used, "   ", 3);
      }
      used += 3;
    }
    for (int i = 0; i < n; ++i) {
      uint8_t c = data[offset + i];
      body[used++] = (c < 0x21 || c > 0x7E) ? '.' : static_cast<char>(c);
    }
    body[used] = '\0';
    WriteMessage("%s%s\n", prefix, body);
  }
}

DWORD GetDebugLevel() {
  DebugState& state = State();
  std::lock_guard<std::mutex> guard(state.lock);
  return state.config.DebugLevel;
}

void DebugResetForTesting() {
  DebugState& state = State();
  std::lock_guard<std::mutex> guard(state.lock);
  if (state.file != nullptr && !IsStandardStream(state.file)) std::fclose(state.file);
  state.file = nullptr;
  state.openCount = 0;
  state.callCounter = 0;
  state.lineStarted = false;
  state.config = DebugConfig();
}
