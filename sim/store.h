// The array state on disk: a SQLite file with one row per subsystem (its full JSON form) and
// one row of model-wide values. Every Commit is one transaction, so a process killed at any
// point leaves either the state before a change or the state after it.
#ifndef VELA_SIM_STORE_H_
#define VELA_SIM_STORE_H_

#include <sqlite3.h>

#include <memory>
#include <string>

#include "sim/model.h"

namespace sim {

class Store {
 public:
  // Opens or creates the file and its tables. Null with *error on failure.
  static std::unique_ptr<Store> Open(const std::string& path, std::string* error);
  ~Store();
  Store(const Store&) = delete;
  Store& operator=(const Store&) = delete;

  // True when the file holds a state (a previous run committed one).
  bool HasState();
  // Reads the whole state. False with *error when the file holds none or it does not parse.
  bool Load(Model* model, std::string* error);
  // Writes the model-wide values and the subsystem at `subsystemIndex` (every subsystem when it
  // is SIZE_MAX) in one transaction; rows of subsystems that no longer exist are removed.
  bool Commit(const Model& model, size_t subsystemIndex, std::string* error);

 private:
  explicit Store(sqlite3* db);
  bool Exec(const char* sql, std::string* error);

  sqlite3* db_;  // owned; used by one thread at a time (the caller's model lock)
};

}  // namespace sim

#endif  // VELA_SIM_STORE_H_
