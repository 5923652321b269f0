#include "tools/vdsctl/provider_log.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace vdsctl {

namespace {

bool Has(std::string_view line, std::string_view text) {
  return line.find(text) != std::string_view::npos;
}

// The text after `label` up to the line end, when the line holds `label`.
bool ValueAfter(std::string_view line, std::string_view label, std::string* value) {
  const size_t at = line.find(label);
  if (at == std::string_view::npos) return false;
  std::string_view rest = line.substr(at + label.size());
  while (!rest.empty() && (rest.back() == '\r' || rest.back() == ' ')) rest.remove_suffix(1);
  *value = std::string(rest);
  return true;
}

}  // namespace

SessionReport ReadSessionReport(std::string_view log) {
  SessionReport report;
  bool connecting = false;
  bool connected = false;
  bool configFailed = false;
  bool versionMismatch = false;
  bool noAnswer = false;
  bool listFailed = false;
  bool listed = false;
  std::string failureDetail;
  size_t pos = 0;
  while (pos < log.size()) {
    size_t end = log.find('\n', pos);
    if (end == std::string_view::npos) end = log.size();
    const std::string_view line = log.substr(pos, end - pos);
    pos = end + 1;
    std::string value;
    if (ValueAfter(line, "AgentIP = ", &value)) {
      report.address = value;
    } else if (ValueAfter(line, "Proxy Listen Port = ", &value)) {
      report.port = std::atoi(value.c_str());
    } else if (Has(line, "Read proxy confige file failed!")) {
      configFailed = true;
    } else if (Has(line, "Connecting to ")) {
      connecting = true;
    } else if (Has(line, "Success!")) {
      connected = true;
    } else if (Has(line, "Version incompatibility!")) {
      versionMismatch = true;
    } else if (Has(line, "invalid password.")) {
      failureDetail = "invalid password";
    } else if (Has(line, "unknown status.")) {
      failureDetail = "unknown status";
    } else if (Has(line, "exec_cmnd FD_ISSET error")) {
      noAnswer = true;
    } else if (Has(line, "get_subsystems(VecSub) failed")) {
      listFailed = true;
    } else if (ValueAfter(line, "nSubSystem = ", &value)) {
      listed = true;
      report.listed = std::atoi(value.c_str());
    } else if (Has(line, "subsystem busType will be skip")) {
      ++report.skipped;
    }
  }
  report.detail = failureDetail;
  if (listed) {
    report.state = SessionState::kUp;
  } else if (configFailed) {
    report.state = SessionState::kNoConfig;
  } else if (!connecting) {
    report.state = report.address.empty() ? SessionState::kUnknown : SessionState::kNotStarted;
  } else if (!connected) {
    report.state = SessionState::kRefused;
  } else if (versionMismatch) {
    report.state = SessionState::kHandshake;
  } else if (listFailed) {
    report.state = SessionState::kNoList;
  } else if (noAnswer && failureDetail.empty()) {
    report.state = SessionState::kNoAnswer;
  } else {
    report.state = SessionState::kLogon;
  }
  return report;
}

std::string ProxyAddressText(const SessionReport& report) {
  if (report.address.empty()) return "the configured address";
  return report.address + ":" + std::to_string(report.port);
}

std::string SessionCauseWords(const SessionReport& report) {
  switch (report.state) {
    case SessionState::kNoConfig:
      return "no proxy configured";
    case SessionState::kNotStarted:
      return "session not started";
    case SessionState::kRefused:
      return "connection refused";
    case SessionState::kHandshake:
      return "handshake refused";
    case SessionState::kLogon:
      return "logon refused";
    case SessionState::kNoAnswer:
      return "no answer";
    case SessionState::kNoList:
      return "subsystem list refused";
    case SessionState::kUnknown:
    case SessionState::kUp:
      break;
  }
  return "";
}

std::string SessionFailureText(const SessionReport& report) {
  if (report.state == SessionState::kUnknown || report.state == SessionState::kUp) return "";
  if (report.state == SessionState::kNoConfig) {
    return "No proxy is configured: the provider found no complete tidegate.conf.";
  }
  std::string detail = report.detail;
  if (report.state == SessionState::kHandshake) {
    detail = "its protocol version does not match the provider's";
  } else if (report.state == SessionState::kNotStarted) {
    detail = "the heartbeat pipe did not open";
  }
  return "The proxy at " + ProxyAddressText(report) +
         " cannot be used: " + SessionCauseWords(report) +
         (detail.empty() ? "" : " (" + detail + ")") + ".";
}

std::string EmptyRefreshReason(std::string_view log) {
  if (log.find("get_subsystems(VecSub) failed") != std::string_view::npos) {
    return "the proxy did not give its list of subsystems";
  }
  const SessionReport report = ReadSessionReport(log);
  if (report.state != SessionState::kUp) return "the provider manages no subsystem now";
  if (report.listed == 0) return "the proxy lists no subsystems";
  std::string text = "the proxy lists " + std::to_string(report.listed) + " subsystem" +
                     (report.listed == 1 ? "" : "s") + "; none is managed by this provider";
  if (report.skipped > 0) text += ": iSCSI-only subsystems are skipped";
  return text;
}

ProviderLog::ProviderLog(std::string path) : path_(std::move(path)) {
  std::error_code ec;
  const auto size = std::filesystem::file_size(path_, ec);
  start_ = ec ? 0 : static_cast<uint64_t>(size);
}

std::string ProviderLog::ReadRun() const {
  if (path_.empty()) return "";
  std::ifstream in(path_, std::ios::binary);
  if (!in) return "";
  in.seekg(static_cast<std::streamoff>(start_));
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

}  // namespace vdsctl
