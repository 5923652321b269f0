// The model as JSON: the inventory files a user writes (docs/simulator.md), the built-in default
// inventory, and the full form that the store persists and the admin "dump" prints.
//
// The inventory form is lenient: every field has a default, a drive entry with "count" stands
// for a run of drives, a vdisk may name "memberCount" instead of its members, and serials are
// generated where they are left out. The full form spells everything out and loads back into an
// identical model.
#ifndef VELA_SIM_INVENTORY_H_
#define VELA_SIM_INVENTORY_H_

#include <string>

#include "sim/model.h"

namespace sim {

// Parses an inventory (either form) into *model. Returns false and fills *error on bad JSON, a
// bad value, or a model beyond the record limits.
bool ParseInventory(const std::string& text, Model* model, std::string* error);
bool LoadInventoryFile(const std::string& path, Model* model, std::string* error);

// The built-in default: one subsystem, two controllers with FC host ports, 12 SAS drives,
// 8 SATA drives, 4 SAS SSDs, no vdisks.
const char* DefaultInventoryText();

// The full form of one subsystem, of the model's other parts, and of the whole model.
std::string SubsystemToJson(const Subsystem& subsystem);
std::string ModelGlobalsToJson(const Model& model);
std::string ModelToJson(const Model& model, int indent);
// Reverse of SubsystemToJson / ModelGlobalsToJson, for the store.
bool SubsystemFromJson(const std::string& text, Subsystem* subsystem, std::string* error);
bool ModelGlobalsFromJson(const std::string& text, Model* model, std::string* error);

// Checks the limits and references of a model: counts within the record tables, members and
// spares that exist and are used as such, partitions inside their vdisk and not overlapping,
// unique handles and serials. Returns false with the first problem in *error.
bool ValidateModel(const Model& model, std::string* error);

}  // namespace sim

#endif  // VELA_SIM_INVENTORY_H_
