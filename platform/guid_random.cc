// CoCreateGuid: version 4 GUIDs from a seeded generator.
#include <mutex>
#include <random>

#include "platform/guid.h"

HRESULT CoCreateGuid(GUID* guid) {
  if (guid == nullptr) return E_POINTER;
  static std::mutex lock;
  static std::mt19937_64 engine = [] {  // guarded by `lock`
    std::random_device device;
    std::seed_seq seed{device(), device(), device(), device(),
                       device(), device(), device(), device()};
    return std::mt19937_64(seed);
  }();
  uint64_t high, low;
  {
    std::lock_guard<std::mutex> guard(lock);
    high = engine();
    low = engine();
  }
  guid->Data1 = static_cast<uint32_t>(high >> 32);
  guid->Data2 = static_cast<uint16_t>(high >> 16);
  guid->Data3 = static_cast<uint16_t>((high & 0x0FFF) | 0x4000);  // version 4
  for (int i = 0; i < 8; ++i) guid->Data4[i] = static_cast<uint8_t>(low >> (56 - 8 * i));
  guid->Data4[0] = static_cast<uint8_t>((guid->Data4[0] & 0x3F) | 0x80);  // RFC 4122 variant
  return S_OK;
}
