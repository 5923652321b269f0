// Changes the array undergoes by itself or by an operator (the admin socket), each logging the
// controller events a real array would log, so that the provider's monitor sees them.
// All functions run under the caller's model lock and leave the model consistent.
#ifndef VELA_SIM_CHANGES_H_
#define VELA_SIM_CHANGES_H_

#include <cstdint>
#include <string>

#include "sim/model.h"

namespace sim {

// Event codes the simulator logs. The provider refreshes on all of them; it also notifies on
// 8 and 62 (drive depart), 71 and 72 (controller), 103 and 105 (LUN modify), 106 (LUN arrive)
// and 108 (LUN depart).
inline constexpr uint32_t kEventVdiskHealth = 1;
inline constexpr uint32_t kEventVdiskCreated = 6;
inline constexpr uint32_t kEventDriveDepart = 8;
inline constexpr uint32_t kEventVdiskDeleted = 9;
inline constexpr uint32_t kEventJobComplete = 16;
inline constexpr uint32_t kEventJobStarted = 18;
inline constexpr uint32_t kEventSpareChanged = 21;
inline constexpr uint32_t kEventDriveFailed = 62;
inline constexpr uint32_t kEventControllerDepart = 71;
inline constexpr uint32_t kEventControllerArrive = 72;
inline constexpr uint32_t kEventLunModify = 103;
inline constexpr uint32_t kEventLunMapping = 105;
inline constexpr uint32_t kEventLunArrive = 106;
inline constexpr uint32_t kEventLunDepart = 108;
// param of 71/72 that asks the provider to rebuild its view.
inline constexpr uint32_t kControllerEventParamRefresh = 2;

// vdisk.health values the records carry.
inline constexpr uint8_t kVdiskHealthy = 0;
inline constexpr uint8_t kVdiskDegraded = 1;
inline constexpr uint8_t kVdiskOffline = 3;
inline constexpr uint8_t kVdiskFailed = 5;

// Ends the running job of a vdisk: an expansion's capacity becomes expandable space.
void FinishJob(Subsystem& subsystem, Vdisk& vdisk);

// Operator actions. Each returns false with *why when it does not apply.
bool FailDrive(Subsystem& subsystem, const std::string& serial, std::string* why);
bool PullDrive(Subsystem& subsystem, const std::string& serial, std::string* why);
void SetVdiskHealth(Subsystem& subsystem, Vdisk& vdisk, uint8_t health);

// Logs an event on one controller's log, for operator-made events.
void LogOperatorEvent(Controller& controller, uint32_t code, uint32_t param);

// Where vdisk `v` stands among the vdisks of its owning controller (its index in that
// controller's arrays table).
size_t ContainerIndex(const Subsystem& subsystem, size_t v);

}  // namespace sim

#endif  // VELA_SIM_CHANGES_H_
