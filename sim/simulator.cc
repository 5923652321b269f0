#include "sim/simulator.h"

#include "sim/admin.h"
#include "sim/conf.h"
#include "sim/host_view.h"
#include "sim/inventory.h"
#include "sim/log.h"
#include "sim/net.h"
#include "sim/server.h"
#include "sim/state.h"
#include "sim/store.h"

namespace sim {

struct Simulator::Impl {
  std::unique_ptr<State> state;
  FaultInjector faults;
  RequestJournal journal;
  ServerContext server;
  AdminContext admin;
  std::unique_ptr<Listener> proxyListener;
  std::unique_ptr<Listener> adminListener;
};

namespace {

// The state to serve: the one in the state file, or a new one from the inventory.
std::unique_ptr<State> OpenState(const SimOptions& options, std::string* error) {
  std::unique_ptr<Store> store;
  Model model;
  if (!options.state_path.empty()) {
    store = Store::Open(options.state_path, error);
    if (!store) return nullptr;
    if (store->HasState()) {
      if (!store->Load(&model, error)) {
        *error = options.state_path + ": " + *error;
        return nullptr;
      }
      return std::make_unique<State>(std::move(model), std::move(store));
    }
  }
  const bool loaded = options.inventory_path.empty()
                          ? ParseInventory(DefaultInventoryText(), &model, error)
                          : LoadInventoryFile(options.inventory_path, &model, error);
  if (!loaded) return nullptr;
  auto state = std::make_unique<State>(std::move(model), std::move(store));
  if (!state->CommitAll(error)) return nullptr;
  return state;
}

}  // namespace

std::unique_ptr<Simulator> Simulator::Start(const SimOptions& options, std::string* error) {
  auto impl = std::make_unique<Impl>();
  ProxyConf conf;
  conf.address = "127.0.0.1";
  conf.user = options.user;
  conf.password = options.password;
  if (!options.conf_path.empty() && !LoadProxyConf(options.conf_path, &conf, error)) {
    return nullptr;
  }
  std::string host = conf.address;
  uint16_t port = conf.port;
  if (!options.listen.empty() && !ParseHostPort(options.listen, &host, &port)) {
    *error = "--listen wants ADDR:PORT, not " + options.listen;
    return nullptr;
  }
  std::string adminHost;
  uint16_t adminPort = 0;
  if (!options.admin.empty() && !ParseHostPort(options.admin, &adminHost, &adminPort)) {
    *error = "--admin wants ADDR:PORT, not " + options.admin;
    return nullptr;
  }

  std::vector<Wwn> hostWwns;
  for (const std::string& text : options.host_wwns) {
    Wwn wwn{};
    if (!ParseHostWwn(text, &wwn)) {
      *error = "--host-wwn wants WWNs of 16 hex digits, not " + text;
      return nullptr;
    }
    hostWwns.push_back(wwn);
  }

  impl->state = OpenState(options, error);
  if (!impl->state) return nullptr;
  if (!options.host_view_path.empty()) {
    const std::string path = options.host_view_path;
    std::string problem;
    bool written = false;
    impl->state->Read([&](const Model& model) {
      written = WriteHostViewFile(path, model, HostWwns(model, hostWwns), &problem);
    });
    if (!written) {
      *error = path + ": " + problem;
      return nullptr;
    }
    // Later failures are only logged: the first write showed that the file can be written.
    impl->state->SetCommitListener([path, hostWwns](const Model& model) {
      std::string why;
      if (!WriteHostViewFile(path, model, HostWwns(model, hostWwns), &why)) {
        SimLog("host view not written: %s", why.c_str());
      }
    });
  }

  impl->server.state = impl->state.get();
  impl->server.faults = &impl->faults;
  impl->server.journal = &impl->journal;
  impl->server.credentials = {conf.user, conf.password};
  impl->server.pipeDir = options.pipe_dir;
  impl->server.heartbeatSeconds = options.heartbeat_seconds;
  impl->server.frameTimeoutMs = options.frame_timeout_ms;
  impl->admin = {impl->state.get(), &impl->faults, &impl->server.heartbeatsEnabled, &impl->journal};

  Impl* raw = impl.get();
  impl->proxyListener = Listener::Start(
      host, port, options.max_sessions, "proxy port",
      [raw](int fd, int stopFd) { ServeConnection(raw->server, fd, stopFd); }, error);
  if (!impl->proxyListener) return nullptr;
  if (!options.admin.empty()) {
    impl->adminListener = Listener::Start(
        adminHost, adminPort, 8, "admin port",
        [raw](int fd, int stopFd) { ServeAdminConnection(raw->admin, fd, stopFd); }, error);
    if (!impl->adminListener) return nullptr;
  }
  return std::unique_ptr<Simulator>(new Simulator(std::move(impl)));
}

Simulator::Simulator(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}

Simulator::~Simulator() { Stop(); }

void Simulator::Stop() {
  if (impl_->adminListener) impl_->adminListener->Stop();
  impl_->proxyListener->Stop();
}

std::string Simulator::Address() const { return impl_->proxyListener->host(); }

uint16_t Simulator::Port() const { return impl_->proxyListener->port(); }

uint16_t Simulator::AdminPort() const {
  return impl_->adminListener ? impl_->adminListener->port() : 0;
}

std::string Simulator::ConfigurationText() const {
  ProxyConf conf;
  conf.version = 1;
  conf.address = Address() == "0.0.0.0" ? "127.0.0.1" : Address();
  conf.port = Port();
  conf.user = impl_->server.credentials.user;
  conf.password = impl_->server.credentials.password;
  return FormatProxyConf(conf);
}

std::string Simulator::Admin(const std::string& line) {
  return RunAdminCommand(impl_->admin, line);
}

}  // namespace sim
