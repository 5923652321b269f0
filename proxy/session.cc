#include "proxy/session.h"

#include <libintl.h>

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <string>

#include "diag/debug_log.h"
#include "diag/event_log.h"
#include "platform/clock.h"
#include "platform/registry.h"
#include "platform/system.h"
#include "platform/winerror.h"
#include "platform/winsock.h"
#include "proxy/frame.h"
#include "proxy/iasocket.h"
#include "proxy/pipe_server.h"
#include "proxy/session_format.h"

std::atomic<int> process_event{0};

namespace {

constexpr char kConfigFileName[] = "tidegate.conf";
constexpr char kProxyServiceName[] = "tidegate";
constexpr int kConnectAttempts = 10;
constexpr int kShutdownRounds = 10;
constexpr size_t kConfigLineSize = 260;

// Session values. ProxyInit writes them before any other thread of the client exists;
// afterwards only the session steps touch them, one at a time (the provider's lock orders
// reconnect after ProxyInit and before ProxyUnInit).
char g_agentAddress[16] = {};
char g_userName[33] = {};
char g_password[49] = {};
uint16_t g_listenPort = 0;
uint32_t g_handshakeWord = 0;
// Once set, the "lost" event is never reported again in this process.
std::atomic<bool> g_connectionLost{false};

void TrimRight(char* text) {
  size_t len = std::strlen(text);
  while (len > 0 && static_cast<unsigned char>(text[len - 1]) <= 0x20) text[--len] = '\0';
}

char* Trim(char* text) {
  TrimRight(text);
  while (*text == ' ' || *text == '\t') ++text;
  return text;
}

void StripControlTail(char* line) {
  size_t len = std::strlen(line);
  while (len > 0 && static_cast<unsigned char>(line[len - 1]) <= 0x1F) line[--len] = '\0';
}

// Decimal text up to the first non-digit, as atoi reads it; out-of-range text saturates.
long DecimalValue(const char* text) { return std::strtol(text, nullptr, 10); }

void HandleConfigLine(char* raw, ProxyConfig* config) {
  StripControlTail(raw);
  char* line = Trim(raw);
  if (line[0] == '#') return;
  char* save = nullptr;
  const char* label = strtok_r(line, ":", &save);
  char* value = strtok_r(nullptr, ":", &save);
  if (label == nullptr || value == nullptr) return;
  value = Trim(value);
  // Labels are nine characters wide, blank padded: "port" without its padding is unknown.
  if (std::strcmp(label, "version  ") == 0) {
    config->version = static_cast<int32_t>(DecimalValue(value));
  } else if (std::strcmp(label, "ipaddress") == 0) {
    config->address = winsock::inet_addr(value);
  } else if (std::strcmp(label, "username ") == 0) {
    std::memset(config->userName, 0, sizeof config->userName);
    std::strncpy(config->userName, value, sizeof config->userName - 1);
  } else if (std::strcmp(label, "password ") == 0) {
    std::memset(config->password, 0, sizeof config->password);
    std::strncpy(config->password, value, sizeof config->password - 1);
  } else if (std::strcmp(label, "port     ") == 0) {
    config->port = static_cast<uint16_t>(DecimalValue(value));
  }
}

FILE* OpenConfigFile(const std::string& windowsPath) {
  const std::string path = HostPath(windowsPath.c_str());
  FILE* file = std::fopen(path.c_str(), "r");
  if (file != nullptr) {
    DebugPrintf("Open %s success.\n", path.c_str());
  } else {
    DebugPrintf("Cannot open file: %s\n", path.c_str());
  }
  return file;
}

std::string ConfigPathFromRegistry() {
  const std::string keyName =
      std::string("SYSTEM\\CurrentControlSet\\Services\\") + kProxyServiceName + "\\Parameters";
  HKEY key = nullptr;
  if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, keyName.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) {
    const std::u16string wideName(keyName.begin(), keyName.end());
    DebugPrintf("Could not open the registry key:%S\n", wideName.c_str());
    return std::string();
  }
  char path[MAX_PATH] = {};
  DWORD type = 0;
  DWORD size = sizeof path - 1;
  const LONG result = RegQueryValueExA(key, "ConfigurationFile", nullptr, &type,
                                       reinterpret_cast<BYTE*>(path), &size);
  RegCloseKey(key);
  if (result != ERROR_SUCCESS || type != REG_SZ) {
    DebugPrintf("Could not get the registry key 'ConfigurationFile' value\n");
    return std::string();
  }
  return std::string(path);
}

// The three places in their fixed order; the first file that opens ends the search.
FILE* FindConfigFile() {
  char directory[MAX_PATH] = {};
  GetSystemDirectoryA(directory, sizeof directory);
  FILE* file = OpenConfigFile(std::string(directory) + "\\" + kConfigFileName);
  if (file != nullptr) return file;
  file = OpenConfigFile(ConfigPathFromRegistry());
  if (file != nullptr) return file;
  GetWindowsDirectoryA(directory, sizeof directory);
  return OpenConfigFile(std::string(directory) + "\\SysWOW64\\" + kConfigFileName);
}

// What handshake and login do with the low byte of a status word other than success.
int SessionStatusFailure(uint32_t lowByte) {
  if (lowByte == kSessionStatusUnknownUser) {
    std::printf("unknown user.");
  } else if (lowByte == kSessionStatusBadPassword) {
    DebugPrintf("invalid password.\n");
  } else {
    DebugPrintf("unknown status.\n");
  }
  return -1;
}

// Sends the frame of `payloadLen` bytes already in `buffer` and reads the session reply.
// Returns the announced payload bytes read, or -1 when the exchange failed.
int SessionExchange(uint8_t* buffer, size_t payloadLen) {
  SetFrameDataLen(buffer, static_cast<uint32_t>(payloadLen));
  const int got = exec_cmnd(buffer, static_cast<int>(kPacketHeaderSize + payloadLen), buffer,
                            static_cast<int>(kPacketHeaderSize));
  if (got < 1) return -1;
  uint32_t dataLen = 0;
  return ReadReplyPayload(buffer, kRequestBufferSize, got, &dataLen);
}

bool IsSessionReply(const uint8_t* buffer, uint32_t opCode) {
  PacketHeader header{};
  DecodePacketHeader(buffer, &header);
  return header.DataType == RSSESSION && header.OpCode == opCode;
}

void PrintDataTypeLine(const uint8_t* buffer) {
  PacketHeader header{};
  DecodePacketHeader(buffer, &header);
  std::printf("datatype = %d   opcode = %d", static_cast<int>(header.DataType),
              static_cast<int>(header.OpCode));
}

void InstalledSignalHandler(int signal) {
  // Only the flag here: the debug log is not safe to enter from a signal handler.
  (void)signal;
  g_isTerminating = 1;
}

}  // namespace

void ReadProxyConfig(FILE* file, ProxyConfig* config) {
  char line[kConfigLineSize];
  // A last line without a line end sets end-of-file in its own read and is not handled.
  while (std::fgets(line, sizeof line, file) != nullptr && !std::feof(file)) {
    HandleConfigLine(line, config);
  }
}

bool ProxyConfigComplete(const ProxyConfig& config) {
  return config.userName[0] != '\0' && config.password[0] != '\0' && config.address != 0 &&
         config.port != 0 && config.version != 0;
}

int ProxyInit() {
  g_isTerminating = 0;
  AllocateRequestBuffer();

  ProxyConfig config;
  if (FILE* file = FindConfigFile(); file != nullptr) {
    ReadProxyConfig(file, &config);
    std::fclose(file);
  }
  if (!ProxyConfigComplete(config)) {
    DebugPrintf("Read proxy confige file failed!\n");
    return -1;
  }

  std::strncpy(g_agentAddress, winsock::inet_ntoa(config.address).c_str(),
               sizeof g_agentAddress - 1);
  std::memcpy(g_userName, config.userName, sizeof g_userName);
  std::memcpy(g_password, config.password, sizeof g_password);
  g_listenPort = config.port;
  DebugPrintf("AgentIP = %s\n", g_agentAddress);
  DebugPrintf("UserName = %s\n", g_userName);
  DebugPrintf("Proxy Listen Port = %d\n", g_listenPort);

  // A load after one that failed past this point finds the pipe and its thread still serving
  // (create_listen keeps them) and the connection whose logon failed still open.
  if (create_listen() != 0) return -1;

  DebugPrintf("Connecting to %s ... \n", g_agentAddress);
  CloseProxySocket();
  bool connected = false;
  for (int attempt = 0; attempt < kConnectAttempts && !connected; ++attempt) {
    connected = socket_connect(g_agentAddress, g_listenPort) == 0;
  }
  if (!connected) return -1;
  DebugPrintf("Success!\n");
  std::signal(SIGINT, InstalledSignalHandler);
  std::signal(SIGTERM, InstalledSignalHandler);
  return proxy_logon();
}

int proxy_logon() {
  uint8_t* buffer = g_requestBuffer.get();
  int result = handshake(buffer);
  if (result == kVersionMismatch) {
    DebugPrintf(
        "Version incompatibility! The version of the tidegate and the vds provider must "
        "match.\n");
    return kVersionMismatch;
  }
  if (result != 0) return result;
  result = login(buffer);
  if (result != 0) return result;
  return negotiate_listen_port(buffer);
}

int handshake(uint8_t* buffer) {
  build_header(buffer, RSSESSION, SESSION_HANDSHAKE);
  std::memcpy(buffer + kPacketHeaderSize, kHandshakeToken, kHandshakePayloadSize);
  const int got = SessionExchange(buffer, kHandshakePayloadSize);
  if (got < 0) return -1;
  if (got != 0 && got != static_cast<int>(kHandshakeReplySize)) return -1;
  if (!IsSessionReply(buffer, SESSION_HANDSHAKE_REPLY)) return -1;
  SessionReply reply;
  DecodeHandshakeReply(buffer + kPacketHeaderSize, &reply);
  g_handshakeWord = reply.word;
  if ((reply.status & kProtocolGenerationMask) != (kProtocolGeneration << 8)) {
    return kVersionMismatch;
  }
  const uint32_t lowByte = reply.status & 0xFF;
  if (lowByte == kSessionStatusOk) return 0;
  return SessionStatusFailure(lowByte);
}

int login(uint8_t* buffer) {
  build_header(buffer, RSSESSION, SESSION_LOGIN);
  EncodeLoginPayload(g_userName, g_password, g_handshakeWord, buffer + kPacketHeaderSize);
  const int got = SessionExchange(buffer, kLoginPayloadSize);
  if (got < 0) return -1;
  if (got != 0 && got != static_cast<int>(kLoginReplySize)) return -1;
  if (!IsSessionReply(buffer, SESSION_LOGIN_REPLY)) {
    PrintDataTypeLine(buffer);
    return -1;
  }
  SessionReply reply;
  DecodeLoginReply(buffer + kPacketHeaderSize, &reply);
  if (reply.status == kSessionStatusOk) {
    g_sessionKey = reply.word;
    return 0;
  }
  return SessionStatusFailure(reply.status);
}

int negotiate_listen_port(uint8_t* buffer) {
  build_header(buffer, RSSESSION, SESSION_NEGOTIATE);
  EncodeNegotiatePayload(PipeNumber(), buffer + kPacketHeaderSize);
  if (SessionExchange(buffer, kNegotiatePayloadSize) < 0) return -1;
  if (!IsSessionReply(buffer, SESSION_NEGOTIATE_REPLY)) {
    PrintDataTypeLine(buffer);
    return -1;
  }
  return 0;
}

int reconnect() {
  if (g_isTerminating != 0) return -1;
  // The monitor calls this under the provider's lock, but a Wait polls and grows the partition
  // outside it: the whole repair holds the command lock, so no command shares the buffer with
  // the logon frames or sends on a socket this closes and replaces.
  ProxyCommandLock lock;
  uint8_t* buffer = g_requestBuffer.get();
  if (buffer == nullptr) return -1;
  int result = handshake(buffer);
  if (result == 0) return 0;

  DebugPrintf("Reconnecting... (handshake returned err %d)\n", result);
  if (!g_connectionLost.exchange(true)) {
    LogWarningEvent(gettext(kTextProxyLost));
  }
  // Unload may begin at any step: each one looks at the terminating flag first.
  auto terminating = [] { return g_isTerminating != 0; };
  result = -1;
  for (int attempt = 0; attempt < kConnectAttempts && result != 0 && !terminating(); ++attempt) {
    CloseProxySocket();
    result = socket_connect(g_agentAddress, g_listenPort);
  }
  if (result != 0) {
    DebugPrintf("reconnect failed (err %d)\n", result);
    return result;
  }
  if (terminating()) return -1;
  result = handshake(buffer);
  if (result != 0) {
    DebugPrintf("Reconnect failed (err %d)\n", result);
    if (result == kVersionMismatch) {
      DebugPrintf(
          "Version incompatibility! The version of the tidegate and the vds provider must "
          "match.\n");
    }
    return result;
  }
  if (terminating()) return -1;
  result = login(buffer);
  if (result != 0) {
    DebugPrintf("Reconnect login failed (err %d)\n", result);
    return result;
  }
  if (terminating()) return -1;
  result = negotiate_listen_port(buffer);
  if (result != 0) DebugPrintf("Reconnect negotiate_listen_port failed (err %d)\n", result);
  LogInfoEvent(gettext(kTextProxyRestored));
  return result;
}

void shut() {
  if (uint8_t* buffer = g_requestBuffer.get(); buffer != nullptr) {
    build_header(buffer, RSSESSION, SESSION_CLOSE);
    SetFrameDataLen(buffer, 0);
    exec_cmnd(buffer, static_cast<int>(kPacketHeaderSize), buffer,
              static_cast<int>(kPacketHeaderSize));
  }
  CloseProxySocket();
}

void sig_action(int signal) {
  g_isTerminating = 1;
  DebugPrintf("sig_action %d\n", signal);
}

void ProxyUnInit() {
  DebugPrintf("ProxyUnInit enter\n");
  sig_action(-1);
  shut();
  if (PipeListenerActive()) delete_listener();
  DebugPrintf("waiting for threads to complete\n");
  for (int round = 1; round <= kShutdownRounds; ++round) {
    Sleep(1000);
    if (g_recvEventsRunning == 0 && process_event == 0) break;
    if (round == kShutdownRounds) {
      DebugPrintf("timed out waiting for threads to finish: recv_events=%d process_event=%d\n",
                  g_recvEventsRunning.load(), process_event.load());
    }
  }
  ReleasePipeThread();
  {
    // A command still running on another thread keeps the buffer until it is done.
    ProxyCommandLock lock;
    FreeRequestBuffer();
  }
  DebugPrintf("ProxyUnInit leave\n");
}

const char* ProxyAgentAddress() { return g_agentAddress; }
uint16_t ProxyListenPort() { return g_listenPort; }
