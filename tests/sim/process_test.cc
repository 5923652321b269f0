// The real tidegate-sim program: started from its command line, killed with SIGKILL right after
// acknowledged changes, started again on the same state file.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>

#include "proxy/byte_order.h"
#include "proxy/records.h"
#include "proxy/wire_format.h"
#include "tests/sim/sim_fixture.h"
#include "tests/sim/wire_requests.h"

namespace simtest {
namespace {

class Program {
 public:
  Program() = default;
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;
  // A program the test did not end (a failed assertion returned early) is killed: left running,
  // it would keep the test runner's output open and hold the whole run.
  ~Program() {
    if (pid_ > 0) Signal(SIGKILL);
  }

  // Starts tidegate-sim with `args` and reads its "listening on" and "admin on" lines.
  bool Start(const std::vector<std::string>& args) {
    int out[2];
    if (pipe(out) != 0) return false;
    pid_ = fork();
    if (pid_ == 0) {
      dup2(out[1], STDOUT_FILENO);
      close(out[0]);
      close(out[1]);
      std::vector<char*> argv{const_cast<char*>(VELA_TIDEGATE_SIM)};
      for (const std::string& arg : args) argv.push_back(const_cast<char*>(arg.c_str()));
      argv.push_back(nullptr);
      execv(argv[0], argv.data());
      _exit(127);
    }
    close(out[1]);
    FILE* lines = fdopen(out[0], "r");
    char line[256];
    bool ok = lines && std::fgets(line, sizeof line, lines) &&
              std::sscanf(line, "listening on 127.0.0.1:%hu", &port_) == 1 &&
              std::fgets(line, sizeof line, lines) &&
              std::sscanf(line, "admin on port %hu", &adminPort_) == 1;
    if (lines) std::fclose(lines);
    return ok;
  }
  // Sends admin lines and returns the answers.
  std::vector<std::string> Admin(const std::vector<std::string>& commands) {
    SimClient admin;
    std::vector<std::string> answers;
    if (!admin.Connect(adminPort_)) return answers;
    std::string text;
    for (const std::string& command : commands) text += command + "\n";
    admin.SendRaw(std::vector<uint8_t>(text.begin(), text.end()));
    std::string received;
    while (answers.size() < commands.size()) {
      char byte;
      if (!admin.ReadByte(&byte)) break;
      if (byte != '\n') {
        received += byte;
        continue;
      }
      answers.push_back(received);
      received.clear();
    }
    return answers;
  }
  int Signal(int signal) {
    kill(pid_, signal);
    int status = 0;
    waitpid(pid_, &status, 0);
    pid_ = -1;
    return status;
  }
  uint16_t port() const { return port_; }

 private:
  pid_t pid_ = -1;
  uint16_t port_ = 0;
  uint16_t adminPort_ = 0;
};

class TidegateSim : public SimFixture {
 protected:
  // The program's command line, after writing the configuration it reads: state in s.db,
  // listening and admin ports chosen by the system.
  std::vector<std::string> Args(const std::vector<std::string>& extra = {}) {
    std::ofstream(dir_ + "/tidegate.conf")
        << "version  : 1\nipaddress: 127.0.0.1\nport     : 9\nusername : " << kUser
        << "\npassword : " << kPassword << "\n";
    std::vector<std::string> args{"--conf",   dir_ + "/tidegate.conf", "--state", dir_ + "/s.db",
                                  "--listen", "127.0.0.1:0",           "--admin", "127.0.0.1:0"};
    args.insert(args.end(), extra.begin(), extra.end());
    return args;
  }
};

TEST_F(TidegateSim, KilledProgramKeepsEveryAcknowledgedChange) {
  const std::vector<std::string> args = Args();
  Program first;
  ASSERT_TRUE(first.Start(args));
  const std::vector<std::string> answers =
      first.Admin({"fail drive KSL00005SAS", "pull drive SSD00002SAS", "event 1002 72 2"});
  ASSERT_EQ(answers, (std::vector<std::string>{"ok", "ok", "ok"}));
  EXPECT_TRUE(WIFSIGNALED(first.Signal(SIGKILL)));

  Program second;
  ASSERT_TRUE(second.Start(args));
  SimClient client;
  ASSERT_TRUE(client.Connect(second.port()));
  ASSERT_EQ(client.Logon(kUser, kPassword), 1u);
  auto record = FetchController(client, 1002);
  ASSERT_EQ(record->numDrives, 23u);
  EXPECT_EQ(record->drives[4].howUsed, 7);
  std::vector<uint8_t> events = Request(kLenGetEvent, 1002);
  events[0xd] = 1;
  Reply reply;
  ASSERT_TRUE(client.Command(GET_EVENT, events, &reply));
  EXPECT_EQ(get_be32(reply.payload.data() + kEventListEntriesOffset + 8), 72u);
  client.Close();

  // SIGTERM ends it cleanly.
  const int status = second.Signal(SIGTERM);
  EXPECT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0);
}

TEST_F(TidegateSim, KillDuringABurstOfChangesLosesNoAcknowledgedOne) {
  const std::vector<std::string> args = Args({"--inventory", VELA_SIM_INVENTORIES "/blank.json"});
  Program first;
  ASSERT_TRUE(first.Start(args));
  SimClient client;
  ASSERT_TRUE(client.Connect(first.port()));
  ASSERT_EQ(client.Logon(kUser, kPassword), 1u);
  Reply reply;
  const std::vector<WireDrive> drives{{"KSL00001SAS", 0, 0}, {"KSL00002SAS", 0, 1}};
  ASSERT_TRUE(
      client.Command(CREATE_ARRAY, CreateArrayRequest(1001, 1, 1, drives, "BURST"), &reply));
  ASSERT_EQ(reply.status(), 0u);
  createArray created;
  ASSERT_TRUE(DecodeCreateArray(reply.payload.data(), reply.payload.size(), &created));
  // Acknowledged changes, then more sent without waiting, then the kill.
  constexpr int kAcknowledged = 25;
  for (int i = 0; i < kAcknowledged; ++i) {
    const std::string name = "B" + std::to_string(i);
    ASSERT_TRUE(client.Command(ADD_ARRAY_PART,
                               AddPartRequest(1001, created.array.serialNumber, 4096, name.c_str()),
                               &reply));
    ASSERT_EQ(reply.status(), 0u);
  }
  for (int i = 0; i < 10; ++i) {
    client.Send(RSREQUEST, ADD_ARRAY_PART,
                AddPartRequest(1001, created.array.serialNumber, 4096, "UNACKED"));
  }
  first.Signal(SIGKILL);

  Program second;
  ASSERT_TRUE(second.Start(args));
  SimClient again;
  ASSERT_TRUE(again.Connect(second.port()));
  ASSERT_EQ(again.Logon(kUser, kPassword), 1u);
  auto record = FetchController(again, 1001);
  ASSERT_EQ(record->numArrays, 1u);
  ASSERT_GE(record->arrays[0].numArrayPartitions, kAcknowledged);
  for (int i = 0; i < kAcknowledged; ++i) {
    EXPECT_EQ(std::string(record->partitions[0][i].name), "B" + std::to_string(i));
  }
  second.Signal(SIGTERM);
}

}  // namespace
}  // namespace simtest
