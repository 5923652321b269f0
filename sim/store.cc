#include "sim/store.h"

#include "sim/inventory.h"

namespace sim {

namespace {

constexpr const char* kSchema =
    "CREATE TABLE IF NOT EXISTS globals(id INTEGER PRIMARY KEY CHECK (id = 1), doc TEXT NOT NULL);"
    "CREATE TABLE IF NOT EXISTS subsystems(position INTEGER PRIMARY KEY, doc TEXT NOT NULL);";

// Finalizes a prepared statement on every path.
class Statement {
 public:
  Statement(sqlite3* db, const char* sql) { sqlite3_prepare_v2(db, sql, -1, &stmt_, nullptr); }
  ~Statement() { sqlite3_finalize(stmt_); }
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;
  sqlite3_stmt* get() const { return stmt_; }

 private:
  sqlite3_stmt* stmt_ = nullptr;
};

}  // namespace

std::unique_ptr<Store> Store::Open(const std::string& path, std::string* error) {
  sqlite3* db = nullptr;
  if (sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr) !=
      SQLITE_OK) {
    *error = "cannot open state " + path + ": " + (db ? sqlite3_errmsg(db) : "out of memory");
    sqlite3_close(db);
    return nullptr;
  }
  std::unique_ptr<Store> store(new Store(db));
  sqlite3_busy_timeout(db, 5000);
  // WAL keeps a committed transaction in the log file before COMMIT returns, which is what a
  // killed process needs; fsync on every commit would only add power-loss safety.
  if (!store->Exec("PRAGMA journal_mode=WAL; PRAGMA synchronous=NORMAL;", error) ||
      !store->Exec(kSchema, error)) {
    *error = "state " + path + ": " + *error;
    return nullptr;
  }
  return store;
}

Store::Store(sqlite3* db) : db_(db) {}

Store::~Store() { sqlite3_close(db_); }

bool Store::Exec(const char* sql, std::string* error) {
  char* message = nullptr;
  if (sqlite3_exec(db_, sql, nullptr, nullptr, &message) != SQLITE_OK) {
    *error = message ? message : sqlite3_errmsg(db_);
    sqlite3_free(message);
    return false;
  }
  return true;
}

bool Store::HasState() {
  Statement count(db_, "SELECT COUNT(*) FROM globals");
  return count.get() && sqlite3_step(count.get()) == SQLITE_ROW &&
         sqlite3_column_int(count.get(), 0) > 0;
}

bool Store::Load(Model* model, std::string* error) {
  Model loaded;
  {
    Statement globals(db_, "SELECT doc FROM globals WHERE id = 1");
    if (!globals.get() || sqlite3_step(globals.get()) != SQLITE_ROW) {
      *error = "the state file holds no state";
      return false;
    }
    const char* text = reinterpret_cast<const char*>(sqlite3_column_text(globals.get(), 0));
    if (!ModelGlobalsFromJson(text ? text : "", &loaded, error)) return false;
  }
  Statement rows(db_, "SELECT doc FROM subsystems ORDER BY position");
  if (!rows.get()) {
    *error = sqlite3_errmsg(db_);
    return false;
  }
  while (sqlite3_step(rows.get()) == SQLITE_ROW) {
    const char* text = reinterpret_cast<const char*>(sqlite3_column_text(rows.get(), 0));
    Subsystem subsystem;
    if (!SubsystemFromJson(text ? text : "", &subsystem, error)) return false;
    loaded.subsystems.push_back(std::move(subsystem));
  }
  if (!ValidateModel(loaded, error)) return false;
  *model = std::move(loaded);
  return true;
}

bool Store::Commit(const Model& model, size_t subsystemIndex, std::string* error) {
  if (!Exec("BEGIN IMMEDIATE", error)) return false;
  bool ok = true;
  {
    Statement globals(db_, "INSERT OR REPLACE INTO globals(id, doc) VALUES (1, ?1)");
    const std::string doc = ModelGlobalsToJson(model);
    ok = globals.get() &&
         sqlite3_bind_text(globals.get(), 1, doc.c_str(), -1, SQLITE_TRANSIENT) == SQLITE_OK &&
         sqlite3_step(globals.get()) == SQLITE_DONE;
  }
  for (size_t i = 0; ok && i < model.subsystems.size(); ++i) {
    if (subsystemIndex != SIZE_MAX && i != subsystemIndex) continue;
    Statement row(db_, "INSERT OR REPLACE INTO subsystems(position, doc) VALUES (?1, ?2)");
    const std::string doc = SubsystemToJson(model.subsystems[i]);
    ok = row.get() &&
         sqlite3_bind_int64(row.get(), 1, static_cast<sqlite3_int64>(i)) == SQLITE_OK &&
         sqlite3_bind_text(row.get(), 2, doc.c_str(), -1, SQLITE_TRANSIENT) == SQLITE_OK &&
         sqlite3_step(row.get()) == SQLITE_DONE;
  }
  if (ok) {
    Statement trim(db_, "DELETE FROM subsystems WHERE position >= ?1");
    ok = trim.get() &&
         sqlite3_bind_int64(trim.get(), 1, static_cast<sqlite3_int64>(model.subsystems.size())) ==
             SQLITE_OK &&
         sqlite3_step(trim.get()) == SQLITE_DONE;
  }
  if (!ok) {
    *error = sqlite3_errmsg(db_);
    std::string ignored;
    Exec("ROLLBACK", &ignored);
    return false;
  }
  return Exec("COMMIT", error);
}

}  // namespace sim
