#include "tools/vdsctl/output.h"

#include "tools/vdsctl/names.h"

namespace vdsctl {

Output::Output(bool json, bool pretty, std::ostream& out, std::ostream& err)
    : json_(json), pretty_(pretty), out_(out), err_(err) {}

void Output::Text(const std::string& text) {
  std::lock_guard<std::mutex> lock(mutex_);
  out_ << text << std::flush;
}

void Output::Document(const vdsctl::Json& document) {
  std::lock_guard<std::mutex> lock(mutex_);
  // Text that is not UTF-8 (a mistyped shell line, an argument) must not abort the tool: such
  // bytes are written as U+FFFD.
  out_ << document.dump(pretty_ ? 2 : -1, ' ', false, vdsctl::Json::error_handler_t::replace)
       << "\n"
       << std::flush;
}

void Output::ConnectionChanged(bool lost, const std::string& proxy) {
  connectionLost_ = lost;
  if (json_) {
    Document(
        vdsctl::Json{{"connection", {{"proxy", proxy}, {"state", lost ? "lost" : "restored"}}}});
  } else if (lost) {
    Interjection("Connection to the proxy at " + proxy +
                 " lost; what is listed may be out of date.\n");
  } else {
    Interjection("Connection to the proxy at " + proxy + " restored.\n");
  }
}

void Output::SetScriptLine(int line) { scriptLine_ = line; }

std::string Output::LinePrefix() const {
  const int line = scriptLine_;
  return line > 0 ? "line " + std::to_string(line) + ": " : "";
}

void Output::CallFailed(const CallError& error) {
  if (json_) {
    vdsctl::Json document = ErrorJson(error.hr, error.call);
    if (scriptLine_ > 0) document["error"]["line"] = scriptLine_.load();
    Document(document);
    return;
  }
  std::lock_guard<std::mutex> lock(mutex_);
  err_ << LinePrefix() << error.call << " failed: " << HResultText(error.hr) << " ("
       << HResultHex(error.hr) << ").\n"
       << std::flush;
}

void Output::Problem(const std::string& message) { Problem(message, vdsctl::Json::object()); }

void Output::Problem(const std::string& message, const vdsctl::Json& details) {
  if (json_) {
    vdsctl::Json error{{"message", message}};
    for (const auto& [name, value] : details.items()) error[name] = value;
    if (scriptLine_ > 0) error["line"] = scriptLine_.load();
    Document(vdsctl::Json{{"error", std::move(error)}});
    return;
  }
  Warning(LinePrefix() + message);
}

void Output::Warning(const std::string& message) {
  std::lock_guard<std::mutex> lock(mutex_);
  err_ << message << "\n" << std::flush;
}

void Output::Prompt(const std::string& prompt) {
  std::lock_guard<std::mutex> lock(mutex_);
  prompt_ = prompt;
  if (!interject_) out_ << prompt << std::flush;
}

void Output::SetInterjector(std::function<void(const std::string&)> interject) {
  std::lock_guard<std::mutex> lock(mutex_);
  interject_ = std::move(interject);
}

void Output::PromptAnswered() {
  std::lock_guard<std::mutex> lock(mutex_);
  prompt_.clear();
}

void Output::Interjection(const std::string& text) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (prompt_.empty()) {
    out_ << text << std::flush;
  } else if (interject_) {
    interject_(text);
  } else {
    out_ << "\n" << text << prompt_ << std::flush;
  }
}

void Output::Notification(const VDS_NOTIFICATION& notification,
                          const std::optional<ObjectLabel>& label) {
  if (json_) {
    vdsctl::Json document{{"objectType", notification.objectType},
                          {"ulEvent", notification.SubSystem.ulEvent},
                          {"id", GuidToString(notification.SubSystem.subSystemId)}};
    if (label) {
      document["kind"] = KindSingular(label->kind);
      document["index"] = label->index;
      if (label->subsystem) document["subsystem"] = *label->subsystem;
      document["name"] = label->name ? vdsctl::Json(*label->name) : vdsctl::Json(nullptr);
    }
    Document(vdsctl::Json{{"notification", std::move(document)}});
    return;
  }
  Interjection("Notification: " + NotificationText(notification, label) + "\n");
}

}  // namespace vdsctl
