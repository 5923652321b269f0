// The server end of a local named pipe, as the heartbeat channel serves one: one client at a
// time, connected (ConnectNamedPipe), read (ReadFile), written (WriteFile) and disconnected
// (DisconnectNamedPipe) in turn, and closed (CloseHandle) at the end.
//
// On Windows it is the named pipe "\\.\pipe\NAME" (byte mode). On POSIX it is a Unix-domain
// stream socket NAME in $VELA_PIPE_DIR (default /tmp); a client connection stands for a
// connected pipe.
//
// Every blocking call ends early with kPipeAborted once Wake has been called, from any thread,
// and so does every later call: a thread that serves the pipe sees the wake-up whenever it comes.
// Errors are the system's codes (errno values on POSIX). The declarations use plain integer
// types, so that the Windows implementation can see the SDK's headers beside them.
#ifndef VELA_PLATFORM_PIPE_ENDPOINT_H_
#define VELA_PLATFORM_PIPE_ENDPOINT_H_

#include <cstdint>
#include <memory>
#include <string>

// ERROR_OPERATION_ABORTED.
inline constexpr uint32_t kPipeAborted = 995;

// Where a pipe of that name lives on the host: "\\.\pipe\NAME", or the socket's path.
std::string PipeEndpointPath(const std::string& name);

class PipeEndpoint {
 public:
  // Makes the pipe (on POSIX after removing a stale file of that name). Null with the error in
  // *error when it cannot be made.
  static std::unique_ptr<PipeEndpoint> Create(const std::string& name, int maxInstances,
                                              uint32_t* error);

  PipeEndpoint(const PipeEndpoint&) = delete;
  PipeEndpoint& operator=(const PipeEndpoint&) = delete;
  virtual ~PipeEndpoint() = default;

  // Waits for a client. 0 or the error.
  virtual uint32_t Connect() = 0;
  // Waits for bytes from the connected client and reads up to `size` of them into *got; 0 bytes
  // with result 0 means the client has gone. 0 or the error.
  virtual uint32_t Read(void* buffer, uint32_t size, uint32_t* got) = 0;
  // Writes to the connected client; a client that has gone is an error, never a signal.
  virtual uint32_t Write(const void* buffer, uint32_t size, uint32_t* written) = 0;
  // Ends the connection with the client. 0 or the error.
  virtual uint32_t Disconnect() = 0;
  // Closes the pipe (and a connection still open, silently). 0 or the error of the close.
  virtual uint32_t Close() = 0;
  // Ends the waits, now and later. 0 or the error.
  virtual uint32_t Wake() = 0;

 protected:
  PipeEndpoint() = default;
};

#endif  // VELA_PLATFORM_PIPE_ENDPOINT_H_
