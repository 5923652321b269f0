// TCP plumbing shared by the proxy port and the admin port: a listener that runs one thread per
// connection up to a limit, and reads and writes that a stop request interrupts.
#ifndef VELA_SIM_NET_H_
#define VELA_SIM_NET_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

namespace sim {

// "ADDR:PORT" into its parts; false when it isn't a dotted-quad address and a port number.
bool ParseHostPort(const std::string& text, std::string* host, uint16_t* port);

// Results of ReadSome besides a byte count.
inline constexpr long kReadEof = 0;
inline constexpr long kReadError = -1;
inline constexpr long kReadTimeout = -2;
inline constexpr long kReadStopped = -3;

// Reads what is there, waiting at most `timeoutMs` real milliseconds (-1: no limit) or until
// `stopFd` becomes readable.
long ReadSome(int fd, int stopFd, uint8_t* buffer, size_t size, int timeoutMs);
// Writes all bytes unless the peer goes away or `stopFd` becomes readable.
bool SendAll(int fd, int stopFd, const uint8_t* data, size_t size);

class Listener {
 public:
  // Serves one accepted connection; returns when it is done. The listener then closes the
  // socket.
  using Handler = std::function<void(int fd, int stopFd)>;

  // Binds host:port (port 0 picks one) and starts accepting. Null with *error on failure.
  static std::unique_ptr<Listener> Start(const std::string& host, uint16_t port,
                                         size_t maxConnections, const char* what, Handler handler,
                                         std::string* error);
  ~Listener();
  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;

  // Stops accepting, wakes every connection and joins them. Idempotent.
  void Stop();
  uint16_t port() const { return port_; }
  const std::string& host() const { return host_; }

 private:
  struct Connection {
    std::thread thread;
    bool done = false;  // guarded by Listener::mutex_
  };
  Listener(int listenFd, int stopFd, std::string host, uint16_t port, size_t maxConnections,
           const char* what, Handler handler);
  void AcceptLoop();
  void ReapLocked();

  const int listenFd_;
  const int stopFd_;  // eventfd, readable once Stop was called
  const std::string host_;
  const uint16_t port_;
  const size_t maxConnections_;
  const char* const what_;
  const Handler handler_;
  std::thread acceptThread_;
  std::mutex mutex_;
  std::list<Connection> connections_;  // guarded by mutex_
  bool stopped_ = false;               // guarded by mutex_
};

}  // namespace sim

#endif  // VELA_SIM_NET_H_
