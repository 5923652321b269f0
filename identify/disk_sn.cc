#include "identify/disk_sn.h"

#include <cstdio>

#include "diag/debug_log.h"

void NaaFromPartitionSn(const uint8_t s[32], uint8_t naa[16]) {
  naa[0] = static_cast<uint8_t>((s[0] >> 4) | 0x60);
  naa[1] = static_cast<uint8_t>((s[1] >> 4) ^ (s[0] << 4));
  naa[2] = static_cast<uint8_t>((s[2] >> 4) ^ (s[1] << 4));
  naa[3] = static_cast<uint8_t>(s[2] << 4);
  naa[4] = 0;
  naa[5] = s[3];
  naa[6] = s[4];
  naa[7] = s[5];
  for (int i = 0; i < 5; ++i) naa[8 + i] = s[8 + i];
  naa[13] = naa[14] = naa[15] = 0;
}

std::string GetDiskSnFromPartitionSn_New(const uint8_t partitionSn[32]) {
  uint8_t naa[16];
  NaaFromPartitionSn(partitionSn, naa);
  char text[33] = {};
  for (int i = 0; i < 16; ++i) std::snprintf(text + i * 2, 3, "%02X", naa[i]);
  DebugPrintf("DiskSn string: %s\n", text);
  DebugPrintf("CLun::GetDiskSnFromPartitionSn_New out, sn=%s\n", text);
  return text;
}

std::string GetDiskSnFromPartitionSn_OLD(const uint8_t partitionSn[32]) {
  uint8_t naa[16];
  NaaFromPartitionSn(partitionSn, naa);
  std::string text;
  for (uint8_t byte : naa) {
    char digits[3];
    std::snprintf(digits, sizeof(digits), "%X", byte);
    text += digits;
  }
  DebugPrintf("CLun::GetDiskSnFromPartitionSn_OLD out, sn=%s\n", text.c_str());
  return text;
}
