// Field-by-field JSON conversion of the model's parts. Readers take defaults for missing
// fields and throw std::exception on values of the wrong kind; the callers in inventory.cc
// catch and report. Writers emit the full form, which the readers load back unchanged.
#ifndef VELA_SIM_JSON_FIELDS_H_
#define VELA_SIM_JSON_FIELDS_H_

#include <nlohmann/json.hpp>

#include "sim/model.h"

namespace sim {

void DriveFromJson(const nlohmann::json& in, Drive* drive);
void PartitionFromJson(const nlohmann::json& in, Partition* partition);
// Everything of a vdisk but its partitions.
void VdiskFromJson(const nlohmann::json& in, Vdisk* vdisk);
// Identity, unified data, controllers and enclosures of a subsystem.
void SubsystemHeadFromJson(const nlohmann::json& in, Subsystem* subsystem);
void HbaPortFromJson(const nlohmann::json& in, HbaPort* port);
void GlobalsFromJson(const nlohmann::json& in, Model* model);

nlohmann::json SubsystemFullJson(const Subsystem& subsystem);
nlohmann::json HbaPortJson(const HbaPort& port);
nlohmann::json GlobalsJson(const Model& model);

// Hex text of bytes, and back; separators ':' and '-' are skipped when reading. Throws when the
// text does not give exactly `size` bytes.
std::string HexText(const uint8_t* bytes, size_t size);
void ParseHex(const std::string& text, uint8_t* out, size_t size);

}  // namespace sim

#endif  // VELA_SIM_JSON_FIELDS_H_
