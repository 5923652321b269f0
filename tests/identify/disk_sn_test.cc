// The serial texts that key a LUN to its multipath disk.
#include "identify/disk_sn.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

uint8_t kSerial[32] = {0x12, 0x34, 0x56, 0xaa, 0xbb, 0x0c, 0xee, 0xff, 0x01,
                       0x22, 0x33, 0x44, 0x55, 0x99, 0x99, 0x99, 0x77};

}  // namespace

TEST(DiskSn, NaaFormShiftsTheCompanyIdentifierBehindNibbleSix) {
  uint8_t naa[16];
  NaaFromPartitionSn(kSerial, naa);
  const uint8_t expected[16] = {0x61, 0x23, 0x45, 0x60, 0x00, 0xaa, 0xbb, 0x0c,
                                0x01, 0x22, 0x33, 0x44, 0x55, 0x00, 0x00, 0x00};
  EXPECT_EQ(std::memcmp(naa, expected, 16), 0);
}

TEST(DiskSn, NewFormHasAllDigitsAndOldFormDropsLeadingZeros) {
  EXPECT_EQ(GetDiskSnFromPartitionSn_New(kSerial), "6123456000AABB0C0122334455000000");
  // Bytes 7 (0x0c) and 8 (0x01) lose a digit each; the zero bytes 4 and 13 to 15 give "0".
  EXPECT_EQ(GetDiskSnFromPartitionSn_OLD(kSerial), "612345600AABBC122334455000");
}
