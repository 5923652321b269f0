// What the provider's debug log says about its proxy session. The provider stays loaded, offline
// and empty when it cannot reach its proxy or the proxy refuses it, and tells nobody but its
// debug log; vdsctl has the provider write that log into its private folder (or reads the file
// the registry names) and reads the lines of this run, so that a failure is never shown as an
// empty list.
#ifndef VELA_TOOLS_VDSCTL_PROVIDER_LOG_H_
#define VELA_TOOLS_VDSCTL_PROVIDER_LOG_H_

#include <cstdint>
#include <string>
#include <string_view>

namespace vdsctl {

enum class SessionState {
  kUnknown,     // the log says nothing (no log, or the load has not got that far)
  kUp,          // logged on, and the proxy gave its list of subsystems
  kNoConfig,    // no complete tidegate.conf
  kNotStarted,  // the session did not start before connecting (heartbeat pipe)
  kRefused,     // the connection was refused
  kHandshake,   // the proxy refused the handshake (protocol generation)
  kLogon,       // the proxy refused the logon
  kNoAnswer,    // the proxy did not answer within the reply wait
  kNoList,      // logged on, but the list of subsystems failed
};

struct SessionReport {
  SessionState state = SessionState::kUnknown;
  std::string address;  // "127.0.0.1", empty when the log does not name it
  int port = 0;
  std::string detail;  // "invalid password", ...: more about a refused logon
  int listed = 0;      // subsystems the proxy listed (kUp)
  int skipped = 0;     // of those, skipped as iSCSI-only
};

// Reads the lines the provider wrote in this run.
SessionReport ReadSessionReport(std::string_view log);

// "127.0.0.1:5000", or "the configured address" when the log has not named it.
std::string ProxyAddressText(const SessionReport& report);

// "connection refused", "logon refused", ...: the cause in two or three words; empty for kUp
// and kUnknown.
std::string SessionCauseWords(const SessionReport& report);

// One line for a session that did not come up: "The proxy at 127.0.0.1:5000 cannot be used:
// connection refused." Empty when the session is up or the log says nothing.
std::string SessionFailureText(const SessionReport& report);

// Why a refresh left the provider without subsystems, from the lines it logged during the
// refresh: "the proxy did not give its list of subsystems", ...
std::string EmptyRefreshReason(std::string_view log);

// The file the provider logs to and where this run's lines begin in it.
class ProviderLog {
 public:
  ProviderLog() = default;
  // `path` on the host; the run's lines are those past the file's present length.
  explicit ProviderLog(std::string path);

  // This run's lines so far (empty without a file).
  std::string ReadRun() const;

  const std::string& Path() const { return path_; }
  uint64_t Start() const { return start_; }

 private:
  std::string path_;
  uint64_t start_ = 0;
};

}  // namespace vdsctl

#endif  // VELA_TOOLS_VDSCTL_PROVIDER_LOG_H_
