#include "platform/com.h"

namespace {
std::atomic<LONG> g_moduleLocks{0};
}  // namespace

void ModuleLock() { g_moduleLocks.fetch_add(1, std::memory_order_relaxed); }

void ModuleUnlock() { g_moduleLocks.fetch_sub(1, std::memory_order_relaxed); }

LONG ModuleLockCount() { return g_moduleLocks.load(std::memory_order_relaxed); }
