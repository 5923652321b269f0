// A stand-in for the proxy service in tests: a loopback TCP server that takes its clients one
// after the other and plays one script against them, one step per request frame. It records every
// frame the client sent, can answer with arbitrary bytes, cut a reply short, close, or stay silent.
#ifndef VELA_TESTS_SUPPORT_SCRIPTED_PEER_H_
#define VELA_TESTS_SUPPORT_SCRIPTED_PEER_H_

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <thread>
#include <vector>

using Bytes = std::vector<uint8_t>;

// A frame as the proxy would send it: header (counter 0, key 0) and payload. `dataLen`
// overrides the DataLen word when given.
Bytes MakeFrame(uint32_t dataType, uint32_t opCode, const Bytes& payload);
Bytes MakeFrameWithDataLen(uint32_t dataType, uint32_t opCode, const Bytes& payload,
                           uint32_t dataLen);
// An RSREPLY frame for `opCode` whose payload is `size` zero bytes with `status` at offset 4.
Bytes MakeReply(uint32_t opCode, size_t size, uint32_t status = 0);

class ScriptedPeer {
 public:
  ScriptedPeer();
  ~ScriptedPeer();
  ScriptedPeer(const ScriptedPeer&) = delete;
  ScriptedPeer& operator=(const ScriptedPeer&) = delete;

  uint16_t port() const { return m_port; }

  // Script steps, each taken when the next request frame has been read.
  void Reply(Bytes bytes);          // send these bytes
  void ReplyAndClose(Bytes bytes);  // send, then close the connection
  void Close();                     // close without an answer
  void Stall();                     // never answer (until the peer is destroyed)
  // Send these bytes after `delay` of real time, as a slow proxy would.
  void ReplyAfter(std::chrono::milliseconds delay, Bytes bytes);

  // Every request frame received so far (header and payload).
  std::vector<Bytes> Requests();
  // Waits (real time, bounded) until `count` frames have been received.
  bool WaitForRequests(size_t count);

 private:
  enum class Action { kReply, kReplyAndClose, kClose, kStall };
  struct Step {
    Action action;
    Bytes bytes;
    std::chrono::milliseconds delay{0};
  };

  void Run();
  void Serve(int client);
  bool ReadFrame(int fd, Bytes* frame);
  void AddStep(Action action, Bytes bytes, std::chrono::milliseconds delay = {});

  int m_listen = -1;
  uint16_t m_port = 0;
  std::mutex m_lock;
  std::condition_variable m_changed;
  std::deque<Step> m_steps;       // guarded by m_lock
  std::vector<Bytes> m_requests;  // guarded by m_lock
  bool m_stopping = false;        // guarded by m_lock
  int m_client = -1;              // guarded by m_lock
  std::thread m_thread;
};

#endif  // VELA_TESTS_SUPPORT_SCRIPTED_PEER_H_
