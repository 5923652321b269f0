// ScsiCmd: one SCSI command block sent to a host device through the platform's pass-through,
// bringing back status, transferred length and sense data. Used for INQUIRY on the host's
// disks, written as a general command class.
//
// The current address (scsiPort, scsiBus, scsiTarget, scsiLun, openedByAddress) is process-wide:
// one ScsiCmd may be in use at a time, and callers hold the refresh lock.
#ifndef VELA_IDENTIFY_SCSI_CMD_H_
#define VELA_IDENTIFY_SCSI_CMD_H_

#include <atomic>
#include <cstdint>
#include <memory>

#include "platform/scsi_device.h"

// The trace switch: above 0, commands and their outcome are printed to standard error.
extern std::atomic<int> g_scsiTrace;

extern uint32_t scsiPort;
extern uint32_t scsiBus;
extern uint32_t scsiTarget;
extern uint32_t scsiLun;
extern bool openedByAddress;

struct CodeName {
  uint32_t key;
  const char* text;  // null ends the table
};

// The command names by opcode, ended by a row with no text.
extern const CodeName ScsiOpcodeNames[];

// The first row's text for `key`, or null.
const char* LookupCode(uint32_t key, const CodeName* table);

// The length of a command block from the group of its opcode: 6, 10, 10, 0, 16, 12, 0, 0.
uint8_t CdbLength(uint8_t opcode);

class ScsiCmd {
 public:
  static constexpr uint32_t kDefaultTimeout = 60;
  static constexpr size_t kSenseLength = 24;

  // Opens the device (OpenScsiDevice).
  explicit ScsiCmd(const char* device);
  ~ScsiCmd() = default;
  ScsiCmd(const ScsiCmd&) = delete;
  ScsiCmd& operator=(const ScsiCmd&) = delete;

  bool IsOpen() const { return m_handle != nullptr; }
  // Copies the block (as long as its opcode says). A REQUEST SENSE without a buffer reads into
  // the sense field.
  void SetCdb(const uint8_t* cdb);
  // The caller's buffer, not owned; the transfer then reads from the device.
  void SetBuffer(void* buffer, uint32_t length);
  // Seconds; 0 restores the default. Returns the old value.
  uint32_t SetTimeout(uint32_t seconds);
  uint32_t SetRetries(uint32_t count);

  // Sends the command; true when it passed.
  bool Execute();
  // Polls with MODE SENSE(6) until the device answers or the timeout passes.
  void WaitUntilReady(bool failOnCheck);

  uint8_t Status() const { return m_status; }
  uint32_t Residual() const { return m_residual; }
  const uint8_t* Sense() const { return m_sense; }
  uint32_t SenseValid() const { return kSenseLength - m_senseMissing; }

 private:
  void OpenScsiDevice(const char* name);
  void Trace(bool sent) const;

  std::unique_ptr<ScsiDeviceNode> m_handle;  // null when none; this object opened it
  bool m_dataIn = false;
  uint32_t m_timeout = kDefaultTimeout;
  uint8_t m_cdb[16] = {};
  uint8_t* m_buffer = nullptr;
  uint32_t m_bufferLength = 0;
  uint8_t m_status = 0;
  uint32_t m_residual = 0;
  uint8_t m_sense[kSenseLength] = {};
  uint8_t m_senseMissing = 0;
  uint32_t m_retries = 0;
  char m_deviceName[260] = {};
};

#endif  // VELA_IDENTIFY_SCSI_CMD_H_
