// The pipe endpoint over a Unix-domain stream socket, with an eventfd as the wake-up.
#include "platform/pipe_endpoint.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace {

class SocketPipe : public PipeEndpoint {
 public:
  SocketPipe(std::string path, int listener, int wake)
      : m_path(std::move(path)), m_listener(listener), m_wake(wake) {}
  ~SocketPipe() override {
    Close();
    close(m_wake);
  }

  uint32_t Connect() override {
    for (;;) {
      if (const uint32_t error = WaitReadable(m_listener); error != 0) return error;
      const int client = accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC);
      if (client >= 0) {
        m_client = client;
        return 0;
      }
      if (errno != EINTR) return static_cast<uint32_t>(errno);
    }
  }

  uint32_t Read(void* buffer, uint32_t size, uint32_t* got) override {
    *got = 0;
    for (;;) {
      if (const uint32_t error = WaitReadable(m_client); error != 0) return error;
      const ssize_t count = read(m_client, buffer, size);
      if (count >= 0) {
        *got = static_cast<uint32_t>(count);
        return 0;
      }
      if (errno != EINTR) return static_cast<uint32_t>(errno);
    }
  }

  uint32_t Write(const void* buffer, uint32_t size, uint32_t* written) override {
    *written = 0;
    for (;;) {
      const ssize_t count = send(m_client, buffer, size, MSG_NOSIGNAL);
      if (count >= 0) {
        *written = static_cast<uint32_t>(count);
        return 0;
      }
      if (errno != EINTR) return static_cast<uint32_t>(errno);
    }
  }

  uint32_t Disconnect() override {
    const int client = m_client;
    m_client = -1;
    return close(client) == 0 ? 0 : static_cast<uint32_t>(errno);
  }

  uint32_t Close() override {
    if (m_listener < 0) return 0;
    const uint32_t result = close(m_listener) == 0 ? 0 : static_cast<uint32_t>(errno);
    m_listener = -1;
    unlink(m_path.c_str());
    if (m_client >= 0) close(m_client);
    m_client = -1;
    return result;
  }

  uint32_t Wake() override {
    const uint64_t one = 1;
    return write(m_wake, &one, sizeof one) == static_cast<ssize_t>(sizeof one)
               ? 0
               : static_cast<uint32_t>(errno);
  }

 private:
  // Blocks until `fd` is readable or the wake-up has come.
  uint32_t WaitReadable(int fd) {
    pollfd fds[2] = {{fd, POLLIN, 0}, {m_wake, POLLIN, 0}};
    for (;;) {
      const int ready = poll(fds, 2, -1);
      if (ready < 0 && errno == EINTR) continue;
      if (ready < 0) return static_cast<uint32_t>(errno);
      if (fds[1].revents != 0) return kPipeAborted;
      return 0;
    }
  }

  const std::string m_path;
  int m_listener;     // the serving thread's; -1 once closed
  int m_client = -1;  // the serving thread's
  const int m_wake;   // written by any thread, closed with the object
};

}  // namespace

std::string PipeEndpointPath(const std::string& name) {
  const char* directory = std::getenv("VELA_PIPE_DIR");
  std::string path = directory != nullptr && *directory != '\0' ? directory : "/tmp";
  return path + "/" + name;
}

std::unique_ptr<PipeEndpoint> PipeEndpoint::Create(const std::string& name, int maxInstances,
                                                   uint32_t* error) {
  const std::string path = PipeEndpointPath(name);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof address.sun_path) {
    *error = ENAMETOOLONG;
    return nullptr;
  }
  std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
  const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const int wake = listener >= 0 ? eventfd(0, EFD_CLOEXEC) : -1;
  if (wake >= 0) unlink(path.c_str());
  if (listener < 0 || wake < 0 ||
      bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
      listen(listener, maxInstances) != 0) {
    *error = static_cast<uint32_t>(errno);
    if (listener >= 0) close(listener);
    if (wake >= 0) close(wake);
    return nullptr;
  }
  return std::make_unique<SocketPipe>(path, listener, wake);
}
