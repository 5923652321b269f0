// The proxy session: the configuration file, logon, reconnect and shutdown.
//
// ProxyInit runs once on the loading thread, reconnect on the event thread under the provider's
// lock, ProxyUnInit on the unloading thread; none of them takes tidegate_lock_vds.
#ifndef VELA_PROXY_SESSION_H_
#define VELA_PROXY_SESSION_H_

#include <atomic>
#include <cstdint>
#include <cstdio>

// Running mark of the provider's monitor threads: each sets it to 1 at the top of its loop and a
// thread that ends sets it to 0. ProxyUnInit waits for it.
extern std::atomic<int> process_event;

// The values of tidegate.conf. Text fields keep room for a terminating zero behind their cut.
struct ProxyConfig {
  int32_t version = 0;
  uint32_t address = 0;  // network order, as inet_addr gives it
  char userName[33] = {};
  char password[49] = {};
  uint16_t port = 0;
};

// Reads tidegate.conf lines from `file` into `config` (fixed-column labels, see
// docs/tidegate-conf.md). Fields the file does not name keep their values.
void ReadProxyConfig(FILE* file, ProxyConfig* config);
// User name and password not empty, address, port and version not zero.
bool ProxyConfigComplete(const ProxyConfig& config);

// Brings the session up: configuration, pipe listener, connection, logon. 0 when the session
// stands, 29 when the protocol versions differ, otherwise non-zero.
int ProxyInit();
// handshake, login, negotiate_listen_port; the result of ProxyInit's last step.
int proxy_logon();
// The session steps; each uses `buffer` (the request buffer) and returns 0 or a failure.
int handshake(uint8_t* buffer);
int login(uint8_t* buffer);
int negotiate_listen_port(uint8_t* buffer);
// Probes the connection with a handshake and rebuilds it when that fails. 0 when it works.
int reconnect();
// Sends the close frame (waiting for a reply like every exchange) and closes the socket.
void shut();
// Sets the terminating flag; installed for SIGINT and SIGTERM by ProxyInit.
void sig_action(int signal);
// Ends the session and waits up to ten rounds of one second for the pipe thread and the
// monitor threads.
void ProxyUnInit();

// The session values ProxyInit keeps, for tests and the tools.
const char* ProxyAgentAddress();
uint16_t ProxyListenPort();

#endif  // VELA_PROXY_SESSION_H_
