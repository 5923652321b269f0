// The serial number text under which the host's multipath layer lists a LUN's disk, formed from
// the LUN's 32-byte partition serial through the 16-byte NAA form the array reports in page 0x83.
#ifndef VELA_IDENTIFY_DISK_SN_H_
#define VELA_IDENTIFY_DISK_SN_H_

#include <cstdint>
#include <string>

// The NAA form: the company identifier (bytes 0 to 2) shifted behind NAA nibble 6, bytes 3 to 5
// and 8 to 12 of the serial, zeros elsewhere.
void NaaFromPartitionSn(const uint8_t partitionSn[32], uint8_t naa[16]);

// The NAA form as 32 upper-case hex digits.
std::string GetDiskSnFromPartitionSn_New(const uint8_t partitionSn[32]);

// The NAA form with each byte in hex without its leading zero ("0" for 0), as the host's
// multipath layer lists it without hotfix kb2990170. Shorter than 32 digits, not reversible.
std::string GetDiskSnFromPartitionSn_OLD(const uint8_t partitionSn[32]);

#endif  // VELA_IDENTIFY_DISK_SN_H_
