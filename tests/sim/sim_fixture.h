// A simulator in a private temporary directory (state file, heartbeat pipes) with its log lines
// captured, for the tests that talk to it over its sockets.
#ifndef VELA_TESTS_SIM_SIM_FIXTURE_H_
#define VELA_TESTS_SIM_SIM_FIXTURE_H_

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "sim/log.h"
#include "sim/simulator.h"
#include "tests/sim/sim_client.h"

namespace simtest {

inline constexpr char kUser[] = "admin";
inline constexpr char kPassword[] = "s3cret-pass";

class SimFixture : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/vela-sim-XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    dir_ = pattern;
    sim::SetSimLogSink([this](const std::string& line) {
      std::lock_guard<std::mutex> lock(logMutex_);
      log_.push_back(line);
    });
    options_.user = kUser;
    options_.password = kPassword;
    options_.listen = "127.0.0.1:0";
    options_.pipe_dir = dir_;
    options_.state_path = dir_ + "/state.db";
    // The array before anything was made on it; tests that want vdisks name their inventory.
    options_.inventory_path = VELA_SIM_INVENTORIES "/blank.json";
  }
  void TearDown() override {
    simulator_.reset();
    sim::SetSimLogSink(nullptr);
    std::filesystem::remove_all(dir_);
  }

  void StartSimulator() {
    std::string error;
    simulator_ = sim::Simulator::Start(options_, &error);
    ASSERT_NE(simulator_, nullptr) << error;
  }

  // A logged-on client of the running simulator.
  void Connect(SimClient* client) {
    ASSERT_TRUE(client->Connect(simulator_->Port()));
    ASSERT_EQ(client->Logon(kUser, kPassword), 1u);
  }

  bool Logged(const std::string& text) {
    std::lock_guard<std::mutex> lock(logMutex_);
    for (const std::string& line : log_) {
      if (line.find(text) != std::string::npos) return true;
    }
    return false;
  }

  std::string dir_;
  sim::SimOptions options_;
  std::unique_ptr<sim::Simulator> simulator_;
  std::mutex logMutex_;
  std::vector<std::string> log_;  // guarded by logMutex_
};

}  // namespace simtest

#endif  // VELA_TESTS_SIM_SIM_FIXTURE_H_
