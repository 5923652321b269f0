#include "proxy/frame.h"

#include <cstring>

#include "proxy/byte_order.h"

void EncodePacketHeader(const PacketHeader& header, uint8_t* out) {
  std::memcpy(out + kHeaderOffMagic, header.Magic, kPacketMagicFieldSize);
  put_be32(header.SeqNum, out + kHeaderOffSeqNum);
  put_be32(header.SeqAuth, out + kHeaderOffSeqAuth);
  put_be32(header.DataType, out + kHeaderOffDataType);
  put_be32(header.OpCode, out + kHeaderOffOpCode);
  put_be32(header.Reserved, out + kHeaderOffReserved);
  put_be32(header.DataLen, out + kHeaderOffDataLen);
}

void DecodePacketHeader(const uint8_t* in, PacketHeader* header) {
  std::memcpy(header->Magic, in + kHeaderOffMagic, kPacketMagicFieldSize);
  header->SeqNum = get_be32(in + kHeaderOffSeqNum);
  header->SeqAuth = get_be32(in + kHeaderOffSeqAuth);
  header->DataType = get_be32(in + kHeaderOffDataType);
  header->OpCode = get_be32(in + kHeaderOffOpCode);
  header->Reserved = get_be32(in + kHeaderOffReserved);
  header->DataLen = get_be32(in + kHeaderOffDataLen);
}

PacketHeader MakePacketHeader(uint32_t dataType, uint32_t opCode, uint32_t counter,
                              uint32_t sessionKey) {
  PacketHeader header{};
  header.DataType = dataType;
  header.OpCode = opCode;
  header.SeqNum = counter;
  header.SeqAuth = ComputeSeqAuth(counter, sessionKey);
  std::memcpy(header.Magic, kPacketMagic, kPacketMagicLen);
  return header;
}

uint32_t ComputeSeqAuth(uint32_t counter, uint32_t sessionKey) {
  return kDesInitialPermutation[counter & 0x3f] + sessionKey + counter;
}

uint32_t GetFrameDataLen(const uint8_t* frame) { return get_be32(frame + kHeaderOffDataLen); }

void SetFrameDataLen(uint8_t* frame, uint32_t dataLen) {
  put_be32(dataLen, frame + kHeaderOffDataLen);
}

static_assert(kHeaderOffMagic + kPacketMagicFieldSize == kHeaderOffSeqNum);
static_assert(kHeaderOffSeqNum + 4 == kHeaderOffSeqAuth);
static_assert(kHeaderOffSeqAuth + 4 == kHeaderOffDataType);
static_assert(kHeaderOffDataType + 4 == kHeaderOffOpCode);
static_assert(kHeaderOffOpCode + 4 == kHeaderOffReserved);
static_assert(kHeaderOffReserved + 4 == kHeaderOffDataLen);
static_assert(kHeaderOffDataLen + 4 == kPacketHeaderSize);
static_assert(sizeof(kPacketMagic) - 1 == kPacketMagicLen);
static_assert(kPacketMagicLen <= kPacketMagicFieldSize);
