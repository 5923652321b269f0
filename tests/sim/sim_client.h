// A raw scripted client of the simulator for the tests: speaks the wire with the shared codecs,
// frame by frame, so that tests can also send what a real client never would.
#ifndef VELA_TESTS_SIM_SIM_CLIENT_H_
#define VELA_TESTS_SIM_SIM_CLIENT_H_

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "proxy/frame.h"
#include "proxy/records.h"

namespace simtest {

struct Reply {
  PacketHeader header{};
  std::vector<uint8_t> payload;
  uint32_t status() const;  // big-endian word at payload offset 4, or 0xFFFFFFFF when short
};

class SimClient {
 public:
  SimClient() = default;
  ~SimClient();
  SimClient(const SimClient&) = delete;
  SimClient& operator=(const SimClient&) = delete;

  bool Connect(uint16_t port);
  void Close();

  // Sends raw bytes.
  bool SendRaw(const std::vector<uint8_t>& bytes);
  // Sends one frame built the client's way (counter, session key, SeqAuth).
  bool Send(uint32_t dataType, uint32_t opCode, const std::vector<uint8_t>& payload);
  // Reads one whole frame; false when the connection closed or nothing came within the guard
  // time (10 s of real time, only ever reached when a test fails).
  bool Receive(Reply* reply);
  // Reads one byte (admin answers are lines); false at the end of the stream.
  bool ReadByte(char* byte);
  // True when the peer has closed the connection (a read gives end of stream).
  bool PeerClosed();

  // handshake + login (+ negotiate when pipe != 0). Returns the login status word.
  uint32_t Logon(const std::string& user, const std::string& password, uint16_t pipe = 0);
  // One command: request, reply.
  bool Command(uint32_t opCode, const std::vector<uint8_t>& payload, Reply* reply);

  uint32_t sessionKey() const { return sessionKey_; }
  void set_sessionKey(uint32_t key) { sessionKey_ = key; }

 private:
  int fd_ = -1;
  uint32_t counter_ = 0;
  uint32_t sessionKey_ = 0;
};

// A request payload of `size` bytes with a big-endian handle at offset 8.
std::vector<uint8_t> Request(size_t size, uint32_t handle);

// GET_CONTROLLER's request for controller `handle`.
std::vector<uint8_t> GetControllerRequest(uint32_t handle);
// The record of controller `handle`; an exchange or a record that fails fails the test.
std::unique_ptr<controllerData> FetchController(SimClient& client, uint32_t handle);

}  // namespace simtest

#endif  // VELA_TESTS_SIM_SIM_CLIENT_H_
