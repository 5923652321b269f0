#include "identify/scsi_cmd.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "platform/clock.h"

std::atomic<int> g_scsiTrace{0};

uint32_t scsiPort = 0;
uint32_t scsiBus = 0;
uint32_t scsiTarget = 0;
uint32_t scsiLun = 0;
bool openedByAddress = false;

const CodeName ScsiOpcodeNames[] = {
    {0x00, "test unit ready"},
    {0x01, "rewind"},
    {0x03, "request sense"},
    {0x05, "read block limits"},
    {0x07, "initialize element status"},
    {0x08, "read"},
    {0x0a, "write"},
    {0x0f, "read reverse"},
    {0x10, "write filemarks"},
    {0x11, "space"},
    {0x12, "inquiry"},
    {0x13, "verify"},
    {0x14, "recover buffered data"},
    {0x15, "mode select(6)"},
    {0x16, "reserve unit"},
    {0x17, "release unit"},
    {0x18, "copy"},
    {0x19, "erase"},
    {0x1a, "mode sense(6)"},
    {0x1b, "load/unload"},
    {0x1c, "receive diagnostic results"},
    {0x1d, "send diagnostic"},
    {0x1e, "prevent/allow medium removal"},
    {0x2b, "locate"},
    {0x34, "read position"},
    {0x39, "compare"},
    {0x3a, "copy and verify"},
    {0x3b, "write buffer"},
    {0x3c, "read buffer"},
    {0x40, "change definition"},
    {0x4c, "log select"},
    {0x4d, "log sense"},
    {0x55, "mode select(10)"},
    {0x5a, "mode sense(10)"},
    {0xa5, "move medium"},
    {0xa5, "exchange medium"},
    {0xb5, "request volume element address"},
    {0xb6, "send volume tag"},
    {0xb8, "read element status"},
    {0, nullptr},
};

namespace {

constexpr uint8_t kOpRequestSense = 0x03;
constexpr uint8_t kOpModeSense6 = 0x1a;
constexpr uint8_t kStatusCheckCondition = 0x02;
constexpr uint8_t kSenseKeyNotReady = 2;
constexpr uint8_t kSenseKeyUnitAttention = 6;
constexpr uint8_t kAscResetOccurred = 0x29;

// "\\.\Scsi%d:Bus%d:ID%d:LUN%d", each number a plain decimal.
bool ParseAddressName(const char* name, uint32_t parts[4]) {
  static const char* const kWords[] = {"\\\\.\\Scsi", ":Bus", ":ID", ":LUN"};
  const char* at = name;
  for (int i = 0; i < 4; ++i) {
    const size_t length = std::strlen(kWords[i]);
    if (std::strncmp(at, kWords[i], length) != 0) return false;
    at += length;
    if (*at < '0' || *at > '9') return false;
    char* end = nullptr;
    errno = 0;
    const unsigned long value = std::strtoul(at, &end, 10);
    if (errno != 0 || value > UINT32_MAX) return false;
    parts[i] = static_cast<uint32_t>(value);
    at = end;
  }
  return *at == 0;
}

}  // namespace

const char* LookupCode(uint32_t key, const CodeName* table) {
  for (; table->text != nullptr; ++table) {
    if (table->key == key) return table->text;
  }
  return nullptr;
}

uint8_t CdbLength(uint8_t opcode) {
  static const uint8_t kLengths[8] = {6, 10, 10, 0, 16, 12, 0, 0};
  return kLengths[opcode >> 5];
}

ScsiCmd::ScsiCmd(const char* device) {
  std::snprintf(m_deviceName, sizeof(m_deviceName), "%s", device != nullptr ? device : "");
  OpenScsiDevice(m_deviceName);
  if (!IsOpen() && g_scsiTrace > 0) {
    std::fprintf(stderr, "ScsiCmd(): %s %s\n", "cannot open device", m_deviceName);
  }
}

void ScsiCmd::OpenScsiDevice(const char* name) {
  uint32_t parts[4] = {};
  if (std::strncmp(name, "\\\\.\\Scsi", 8) == 0 && ParseAddressName(name, parts)) {
    scsiPort = parts[0];
    scsiBus = parts[1];
    scsiTarget = parts[2];
    scsiLun = parts[3];
    openedByAddress = true;
    m_handle = OpenScsiDeviceNode("\\\\.\\Scsi" + std::to_string(scsiPort) + ":");
  } else {
    scsiPort = scsiBus = scsiTarget = scsiLun = 0;
    openedByAddress = false;
    m_handle = OpenScsiDeviceNode(name);
    ScsiAddress address;
    if (m_handle != nullptr && m_handle->GetAddress(&address)) {
      scsiPort = address.port;
      scsiBus = address.bus;
      scsiTarget = address.target;
      scsiLun = address.lun;
    }
  }
}

void ScsiCmd::SetCdb(const uint8_t* cdb) {
  std::memset(m_cdb, 0, sizeof(m_cdb));
  std::memcpy(m_cdb, cdb, CdbLength(cdb[0]));
  if (cdb[0] == kOpRequestSense && m_buffer == nullptr) {
    m_buffer = m_sense;
    m_bufferLength = kSenseLength;
  }
}

void ScsiCmd::SetBuffer(void* buffer, uint32_t length) {
  m_buffer = static_cast<uint8_t*>(buffer);
  m_bufferLength = length;
  m_dataIn = true;
}

uint32_t ScsiCmd::SetTimeout(uint32_t seconds) {
  const uint32_t old = m_timeout;
  m_timeout = seconds == 0 ? kDefaultTimeout : seconds;
  return old;
}

uint32_t ScsiCmd::SetRetries(uint32_t count) {
  const uint32_t old = m_retries;
  m_retries = count;
  return old;
}

void ScsiCmd::Trace(bool sent) const {
  const char* name = LookupCode(m_cdb[0], ScsiOpcodeNames);
  if (!sent) {
    std::fprintf(stderr, "SCSI_PASS_THROUGH failed for command %s\n", name ? name : "?");
    return;
  }
  std::fprintf(stderr, "%s: SCSI_PASS_THROUGH(%s) status 0x%x xfer'd %d:", m_deviceName,
               name ? name : "?", m_status, static_cast<int>(m_bufferLength - m_residual));
  std::fprintf(stderr, "\nCDB : ");
  for (uint8_t i = 0; i < CdbLength(m_cdb[0]); ++i) std::fprintf(stderr, " %02x", m_cdb[i]);
  if (m_dataIn && m_buffer != nullptr) {
    std::fprintf(stderr, "\nData: ");
    const uint32_t count = m_bufferLength - m_residual;
    for (uint32_t i = 0; i < count; ++i) {
      if (i > 0 && i % 16 == 0) std::fprintf(stderr, "\n    : ");
      std::fprintf(stderr, " %02x", m_buffer[i]);
    }
  }
  std::fprintf(stderr, "\n");
}

bool ScsiCmd::Execute() {
  if (m_handle == nullptr) return false;
  for (uint32_t attempt = 0; attempt <= m_retries; ++attempt) {
    ScsiPassThroughRequest request;
    request.cdb = m_cdb;
    request.cdbLength = CdbLength(m_cdb[0]);
    request.dataIn = m_dataIn;
    request.buffer = m_buffer;
    request.bufferLength = m_bufferLength;
    request.timeoutSeconds = m_timeout;
    request.address = {scsiPort, scsiBus, scsiTarget, scsiLun};
    ScsiPassThroughResult result;
    const bool sent = m_handle->PassThrough(request, &result);
    m_status = sent ? result.scsiStatus : 0;
    const uint32_t transferred = sent ? std::min(result.transferred, m_bufferLength) : 0;
    m_residual = m_bufferLength - transferred;
    const uint32_t senseLength = sent ? std::min<uint32_t>(result.senseLength, kSenseLength) : 0;
    std::memcpy(m_sense, result.sense, kSenseLength);
    m_senseMissing = static_cast<uint8_t>(kSenseLength - senseLength);
    if (g_scsiTrace > 0) Trace(sent);
    if (sent && m_status == 0) return true;
    if (sent && (m_status & kStatusCheckCondition) != 0) {
      if (senseLength < 14) return false;
      const uint8_t key = m_sense[2] & 0x0f;
      const uint8_t asc = m_sense[12];
      if (key != kSenseKeyNotReady && key != kSenseKeyUnitAttention) return false;
      if (asc == kAscResetOccurred && g_scsiTrace > 0) {
        std::fprintf(stderr, "%s: %s\n", m_deviceName, "device reset");
      }
      Sleep(attempt * 500);
    }
  }
  return false;
}

void ScsiCmd::WaitUntilReady(bool failOnCheck) {
  const uint32_t timeout = m_timeout == 0 ? kDefaultTimeout : m_timeout;
  const ULONGLONG deadline = GetTickCount64() + uint64_t{timeout} * 1000;
  uint8_t data[0x80];
  const uint8_t cdb[6] = {kOpModeSense6, 0x08, 0x3f, 0, sizeof(data), 0};
  SetCdb(cdb);
  SetBuffer(data, sizeof(data));
  for (int attempt = 0;; ++attempt) {
    if (Execute()) {
      if (attempt > 0) std::fprintf(stderr, "%s: %s\n", m_deviceName, "device is ready");
      return;
    }
    if ((m_status & kStatusCheckCondition) != 0) {
      if (!failOnCheck) return;
      const uint8_t key = m_sense[2] & 0x0f;
      if (SenseValid() >= 18 && (key == 4 || key == 5)) return;
    }
    if (GetTickCount64() >= deadline) {
      std::fprintf(stderr, "%s: %s\n", m_deviceName, "device did not become ready");
      return;
    }
    if (attempt == 0) std::fprintf(stderr, "waiting for device to be ready\n");
    Sleep(1000);
  }
}
