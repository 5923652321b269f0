#include "sim/log.h"

#include <cstdarg>
#include <cstdio>
#include <mutex>

namespace sim {

namespace {
std::mutex g_logMutex;
std::function<void(const std::string&)> g_sink;  // guarded by g_logMutex
}  // namespace

void SimLog(const char* format, ...) {
  char line[512];
  va_list args;
  va_start(args, format);
  std::vsnprintf(line, sizeof(line), format, args);
  va_end(args);
  std::lock_guard<std::mutex> lock(g_logMutex);
  if (g_sink) {
    g_sink(line);
  } else {
    std::fprintf(stderr, "tidegate-sim: %s\n", line);
  }
}

void SetSimLogSink(std::function<void(const std::string&)> sink) {
  std::lock_guard<std::mutex> lock(g_logMutex);
  g_sink = std::move(sink);
}

}  // namespace sim
