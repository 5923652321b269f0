// The shared steps of every Tidegate:: method: the lock, the request frame, the exchange and the
// reply checks. Only the tidegate_*.cc files use this.
#ifndef VELA_PROXY_TIDEGATE_EXCHANGE_H_
#define VELA_PROXY_TIDEGATE_EXCHANGE_H_

#include <cstddef>
#include <cstdint>
#include <source_location>

#include "proxy/iasocket.h"

// How a method names itself in its log lines, and the opcode it sends and expects.
struct CommandName {
  const char* method;     // "get_version"
  const char* opName;     // symbolic opcode in the DataType line, "GET_VERSION"
  uint32_t opCodeLogged;  // value printed beside opName
  uint32_t opCode;        // value sent and expected
};

// One command exchange. Holds tidegate_lock_vds from construction to destruction, so that the
// request buffer is the caller's for that time.
class CommandFrame {
 public:
  // `clearPayload` false leaves the payload bytes of the previous frame in place.
  CommandFrame(const CommandName& name, size_t requestLen, bool clearPayload = true);
  CommandFrame(const CommandFrame&) = delete;
  CommandFrame& operator=(const CommandFrame&) = delete;

  // The request payload to fill, or null when the session has no request buffer.
  uint8_t* payload() const { return m_payload; }
  // The whole frame: header and payload.
  const uint8_t* frame() const { return m_frame; }

  // Sends the request and reads the reply; true when the transport, the payload length and the
  // frame type and opcode are good. `logFailures` writes the OOP!! lines of the first family.
  bool Exchange(bool logFailures = true,
                std::source_location where = std::source_location::current());

  // The reply's status word, in host order.
  uint32_t Status() const;
  // The first family's line for a non-zero status.
  void LogStatus(std::source_location where = std::source_location::current()) const;

  // Payload bytes this exchange defines: the reply's, and behind a shorter reply the request's
  // own (the reply is received over its request).
  size_t Available() const;
  // True when [offset, offset + size) lies within Available(); otherwise, when `log`, writes the
  // method's length line. A reply too short for what the method copies is refused.
  bool Covers(size_t offset, size_t size, bool log = true,
              std::source_location where = std::source_location::current()) const;

 private:
  ProxyCommandLock m_lock;  // first member: taken before the buffer is touched
  const CommandName& m_name;
  uint8_t* m_frame;    // the request buffer; guarded by m_lock
  uint8_t* m_payload;  // m_frame + header, or null
  size_t m_requestLen;
  int m_headerBytes = 0;
  size_t m_replyPayloadBytes = 0;
  uint32_t m_replyDataLen = 0;
};

// Entry and exit lines of a method.
void LogCommandEntry(const CommandName& name);
void LogCommandExit(const CommandName& name);

// A first-family command whose reply carries nothing for the caller: `fill` writes the request
// payload. 0, or -1 on any failure.
template <class Fill>
int RunPlainCommand(const CommandName& name, size_t requestLen, Fill fill) {
  LogCommandEntry(name);
  CommandFrame frame(name, requestLen);
  if (frame.payload() != nullptr) fill(frame.payload());
  if (!frame.Exchange()) return -1;
  if (frame.Status() != 0) {
    frame.LogStatus();
    return -1;
  }
  LogCommandExit(name);
  return 0;
}

// A second-family command without a reply body: the status word itself, or -1.
template <class Fill>
int RunStatusCommand(const CommandName& name, size_t requestLen, Fill fill) {
  LogCommandEntry(name);
  CommandFrame frame(name, requestLen);
  if (frame.payload() != nullptr) fill(frame.payload());
  if (!frame.Exchange(false)) return -1;
  return static_cast<int>(frame.Status());
}

// Copies 32 serial bytes into a request.
void PutSerial(const void* serial, uint8_t* at);
// Copies text into a fixed field of `size` bytes, cut to the field; the rest stays zero.
void PutText(const char* text, uint8_t* at, size_t size);

#endif  // VELA_PROXY_TIDEGATE_EXCHANGE_H_
