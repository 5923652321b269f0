#include "proxy/tidegate_exchange.h"

#include <algorithm>
#include <cstring>

#include "diag/debug_log.h"
#include "proxy/byte_order.h"
#include "proxy/frame.h"

CommandFrame::CommandFrame(const CommandName& name, size_t requestLen, bool clearPayload)
    : m_name(name),
      m_frame(g_requestBuffer.get()),
      m_payload(m_frame != nullptr ? m_frame + kPacketHeaderSize : nullptr),
      m_requestLen(requestLen) {
  if (m_frame == nullptr) return;
  build_header(m_frame, RSREQUEST, name.opCode);
  SetFrameDataLen(m_frame, static_cast<uint32_t>(requestLen));
  if (clearPayload) std::memset(m_payload, 0, requestLen);
}

bool CommandFrame::Exchange(bool logFailures, std::source_location where) {
  const int line = static_cast<int>(where.line());
  if (m_frame == nullptr) {
    if (logFailures) {
      DebugPrintf("OOP!! Tidegate::%s exec_cmnd(Line %d) error, it return len = %d\n",
                  m_name.method, line, -1);
    }
    return false;
  }
  m_headerBytes = exec_cmnd(m_frame, static_cast<int>(kPacketHeaderSize + m_requestLen), m_frame,
                            static_cast<int>(kPacketHeaderSize));
  if (m_headerBytes < 1) {
    if (logFailures) {
      DebugPrintf("OOP!! Tidegate::%s exec_cmnd(Line %d) error, it return len = %d\n",
                  m_name.method, line, m_headerBytes);
    }
    return false;
  }
  const int got = ReadReplyPayload(m_frame, kRequestBufferSize, m_headerBytes, &m_replyDataLen);
  if (m_headerBytes == static_cast<int>(kPacketHeaderSize) && m_replyDataLen != 0 &&
      got != static_cast<int>(m_replyDataLen)) {
    if (logFailures) {
      DebugPrintf(
          "OOP!! Tidegate::%s ph->DataLen(Line %d) error, the len = %d, ntohl(ph->DataLen) = %d\n",
          m_name.method, line, got, static_cast<int>(m_replyDataLen));
    }
    return false;
  }
  m_replyPayloadBytes = got > 0 ? static_cast<size_t>(got) : 0;
  PacketHeader header{};
  DecodePacketHeader(m_frame, &header);
  if (header.DataType != RSREPLY || header.OpCode != m_name.opCode) {
    if (logFailures) {
      DebugPrintf(
          "OOP!! Tidegate::%s DataType or OpCode(Line %d) error, ph->DataType(=%d), RSREPLY(=%d), "
          "ph->OpCode(=%d), %s(=%d) \n",
          m_name.method, line, static_cast<int>(header.DataType), static_cast<int>(RSREPLY),
          static_cast<int>(header.OpCode), m_name.opName, static_cast<int>(m_name.opCodeLogged));
    }
    return false;
  }
  return true;
}

uint32_t CommandFrame::Status() const { return get_be32(m_payload + kPayloadOffStatus); }

void CommandFrame::LogStatus(std::source_location where) const {
  DebugPrintf("OOP!! Tidegate::%s return error code(Line %d) error, it return len = %d\n",
              m_name.method, static_cast<int>(where.line()), static_cast<int>(Status()));
}

size_t CommandFrame::Available() const { return std::max(m_replyPayloadBytes, m_requestLen); }

bool CommandFrame::Covers(size_t offset, size_t size, bool log, std::source_location where) const {
  if (offset + size <= Available()) return true;
  if (log) {
    DebugPrintf(
        "OOP!! Tidegate::%s ph->DataLen(Line %d) error, the len = %d, ntohl(ph->DataLen) = %d\n",
        m_name.method, static_cast<int>(where.line()), static_cast<int>(m_replyPayloadBytes),
        static_cast<int>(m_replyDataLen));
  }
  return false;
}

void LogCommandEntry(const CommandName& name) { DebugPrintf("Tidegate::%s\n", name.method); }

void LogCommandExit(const CommandName& name) { DebugPrintf("Tidegate::%s exit\n", name.method); }

void PutSerial(const void* serial, uint8_t* at) {
  if (serial != nullptr) std::memcpy(at, serial, 32);
}

void PutText(const char* text, uint8_t* at, size_t size) {
  if (text != nullptr) std::memcpy(at, text, strnlen(text, size));
}
