// The 36-byte frame header that starts every message on the proxy connection and the
// heartbeat channel.
//
// OFFSET SIZE FIELD
//      0   12 Magic     "BLUEFJORD", zero padded
//     12    4 SeqNum    frame counter when the frame was built
//     16    4 SeqAuth   see ComputeSeqAuth
//     20    4 DataType  RSREQUEST, RSREPLY, RSSESSION, RSHEARTBEAT
//     24    4 OpCode
//     28    4 Reserved  zero when sent, ignored on receipt
//     32    4 DataLen   payload bytes after the header
// Every word is big-endian on the wire.
#ifndef VELA_PROXY_FRAME_H_
#define VELA_PROXY_FRAME_H_

#include <cstddef>
#include <cstdint>

#include "proxy/wire_format.h"

struct PacketHeader {
  uint8_t Magic[kPacketMagicFieldSize];
  uint32_t SeqNum;
  uint32_t SeqAuth;
  uint32_t DataType;
  uint32_t OpCode;
  uint32_t Reserved;
  uint32_t DataLen;
};

// Writes the 36 header bytes at `out` (which must hold kPacketHeaderSize bytes).
void EncodePacketHeader(const PacketHeader& header, uint8_t* out);
// Reads the 36 header bytes at `in` (which must hold kPacketHeaderSize bytes) into host order.
void DecodePacketHeader(const uint8_t* in, PacketHeader* header);
// Fills a header the way the frame builder does for a given counter and session key: magic,
// SeqNum, SeqAuth, DataType, OpCode; Reserved and DataLen zero.
PacketHeader MakePacketHeader(uint32_t dataType, uint32_t opCode, uint32_t counter,
                              uint32_t sessionKey);

// The sequence authenticator: IP-table entry chosen by the counter's low six bits, plus the
// session key, plus the counter, in wrapping 32-bit arithmetic.
uint32_t ComputeSeqAuth(uint32_t counter, uint32_t sessionKey);

// Reads or writes the DataLen word of an encoded header in place.
uint32_t GetFrameDataLen(const uint8_t* frame);
void SetFrameDataLen(uint8_t* frame, uint32_t dataLen);

#endif  // VELA_PROXY_FRAME_H_
