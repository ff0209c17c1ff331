#include "store.h"

#include <sqlite3.h>

#include <stdexcept>

namespace Sim {
namespace {

constexpr char kSchema[] = R"sql(
CREATE TABLE IF NOT EXISTS objects(kind TEXT NOT NULL, id TEXT NOT NULL, parent TEXT NOT NULL, doc TEXT NOT NULL,
                                   PRIMARY KEY(kind, id)) WITHOUT ROWID;
CREATE INDEX IF NOT EXISTS objects_by_parent ON objects(kind, parent);
CREATE TABLE IF NOT EXISTS counters(prefix TEXT PRIMARY KEY, last INTEGER NOT NULL) WITHOUT ROWID;
CREATE TABLE IF NOT EXISTS snapshots(name TEXT NOT NULL, kind TEXT NOT NULL, id TEXT NOT NULL, parent TEXT NOT NULL,
                                     doc TEXT NOT NULL, PRIMARY KEY(name, kind, id)) WITHOUT ROWID;
CREATE TABLE IF NOT EXISTS snapshot_names(name TEXT PRIMARY KEY) WITHOUT ROWID;
)sql";

// A statement failing on a database we opened and shaped ourselves is a broken disk or a bug:
// the operation in progress is abandoned (its binder answers with termination).
[[noreturn]] void Fail(sqlite3* db) { throw std::runtime_error(sqlite3_errmsg(db)); }

std::string Text(sqlite3_stmt* statement, int column) {
  auto const* text = reinterpret_cast<char const*>(sqlite3_column_text(statement, column));
  return text ? std::string(text, static_cast<std::size_t>(sqlite3_column_bytes(statement, column)))
              : std::string();
}

// Binds text parameters 1..n and resets the statement when it goes out of scope.
class Call {
 public:
  Call(sqlite3* db, sqlite3_stmt* statement, std::initializer_list<std::string const*> args)
      : db_(db), statement_(statement) {
    int index = 1;
    for (std::string const* arg : args) {
      if (sqlite3_bind_text(statement_, index++, arg->data(), static_cast<int>(arg->size()), SQLITE_STATIC) !=
          SQLITE_OK)
        Fail(db_);
    }
  }
  ~Call() {
    sqlite3_reset(statement_);
    sqlite3_clear_bindings(statement_);
  }
  bool Next() {
    int const rc = sqlite3_step(statement_);
    if (rc == SQLITE_ROW) return true;
    if (rc != SQLITE_DONE) Fail(db_);
    return false;
  }
  Store::Row RowAt() const {
    return {Text(statement_, 0), Text(statement_, 1), Text(statement_, 2), Text(statement_, 3)};
  }
  sqlite3_stmt* statement() const { return statement_; }

 private:
  sqlite3* db_;
  sqlite3_stmt* statement_;
};

}  // namespace

std::unique_ptr<Store> Store::Open(std::string const& path, std::list<Opax::BaseMessage>& messages) {
  sqlite3* db = nullptr;
  int const flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX;
  if (sqlite3_open_v2(path.c_str(), &db, flags, nullptr) != SQLITE_OK) {
    messages.push_back(Opax::BaseMessage(
        "nexar.sim.state.open",
        "Cannot open the state file '" + path + "': " + (db ? sqlite3_errmsg(db) : "out of memory") + ".",
        {path}));
    sqlite3_close(db);
    return nullptr;
  }
  std::unique_ptr<Store> store(new Store(db));
  try {
    // A file keeps its journal beside it, so that a restart after a kill finds every committed
    // operation; the state thread is the only writer.
    store->Execute("PRAGMA journal_mode=WAL; PRAGMA synchronous=NORMAL; PRAGMA foreign_keys=OFF;");
    store->Execute(kSchema);
  } catch (std::exception const& e) {
    messages.push_back(Opax::BaseMessage(
        "nexar.sim.state.schema", "The state file '" + path + "' cannot be used: " + e.what() + ".", {path}));
    return nullptr;
  }
  return store;
}

Store::~Store() {
  for (auto& entry : statements_) sqlite3_finalize(entry.second);
  sqlite3_close(db_);
}

void Store::Execute(char const* sql) {
  char* error = nullptr;
  if (sqlite3_exec(db_, sql, nullptr, nullptr, &error) != SQLITE_OK) {
    std::string text = error ? error : "unknown error";
    sqlite3_free(error);
    throw std::runtime_error(text);
  }
}

// Statements are prepared once and kept: the same few run on every call.
sqlite3_stmt* Store::Prepared(char const* sql) {
  for (auto& entry : statements_) {
    if (entry.first == sql) return entry.second;
  }
  sqlite3_stmt* statement = nullptr;
  if (sqlite3_prepare_v3(db_, sql, -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr) != SQLITE_OK)
    Fail(db_);
  statements_.emplace_back(sql, statement);
  return statement;
}

namespace {
constexpr char kPut[] = "INSERT OR REPLACE INTO objects(kind, id, parent, doc) VALUES(?1, ?2, ?3, ?4)";
constexpr char kGet[] = "SELECT kind, id, parent, doc FROM objects WHERE kind = ?1 AND id = ?2";
constexpr char kList[] = "SELECT kind, id, parent, doc FROM objects WHERE kind = ?1 ORDER BY id";
constexpr char kChildren[] =
    "SELECT kind, id, parent, doc FROM objects WHERE kind = ?1 AND parent = ?2 ORDER BY id";
constexpr char kRemove[] = "DELETE FROM objects WHERE kind = ?1 AND id = ?2";
constexpr char kNextId[] =
    "INSERT INTO counters(prefix, last) VALUES(?1, 1) ON CONFLICT(prefix) DO UPDATE SET last = last + 1 "
    "RETURNING last";
constexpr char kAny[] = "SELECT 1 FROM objects LIMIT 1";
}  // namespace

void Store::Put(Row const& row) {
  decoded_.erase(Key(row.kind, row.id));
  Call call(db_, Prepared(kPut), {&row.kind, &row.id, &row.parent, &row.doc});
  call.Next();
}

boost::optional<Store::Row> Store::Get(std::string const& kind, std::string const& id) {
  Call call(db_, Prepared(kGet), {&kind, &id});
  if (!call.Next()) return boost::none;
  return call.RowAt();
}

// A kept entry is dropped with every change to its row, so one that is kept stands for a row that
// exists; a row found here is kept as an entry of no type, so that the gets that check a machine
// before reading its devices ask SQLite once, not per call.
bool Store::Exists(std::string const& kind, std::string const& id) {
  if (FindDecoded(kind, id)) return true;
  auto row = Get(kind, id);
  if (!row) return false;
  KeepDecoded(kind, id, {typeid(void), nullptr, std::move(row->parent)});
  return true;
}

std::vector<Store::Row> Store::List(std::string const& kind) {
  std::vector<Row> rows;
  Call call(db_, Prepared(kList), {&kind});
  while (call.Next()) rows.push_back(call.RowAt());
  return rows;
}

std::vector<Store::Row> Store::Children(std::string const& kind, std::string const& parent) {
  std::vector<Row> rows;
  Call call(db_, Prepared(kChildren), {&kind, &parent});
  while (call.Next()) rows.push_back(call.RowAt());
  return rows;
}

bool Store::Remove(std::string const& kind, std::string const& id) {
  decoded_.erase(Key(kind, id));
  Call call(db_, Prepared(kRemove), {&kind, &id});
  call.Next();
  return sqlite3_changes(db_) > 0;
}

std::string Store::NewId(std::string const& prefix) {
  Call call(db_, Prepared(kNextId), {&prefix});
  if (!call.Next()) Fail(db_);
  std::string id = prefix + "-" + std::to_string(sqlite3_column_int64(call.statement(), 0));
  while (call.Next()) {
  }
  return id;
}

bool Store::Empty() {
  Call call(db_, Prepared(kAny), {});
  return !call.Next();
}

Store::Transaction::Transaction(Store& store) : store_(store) { store_.Execute("BEGIN IMMEDIATE"); }

Store::Transaction::~Transaction() {
  if (done_) return;
  store_.decoded_.clear();
  try {
    store_.Execute("ROLLBACK");
  } catch (...) {
    // Nothing to roll back: the statement that failed ended the transaction itself.
  }
}

void Store::Transaction::Commit() {
  store_.Execute("COMMIT");
  done_ = true;
}

void Store::SaveSnapshot(std::string const& name) {
  Transaction transaction(*this);
  {
    Call clear(db_, Prepared("DELETE FROM snapshots WHERE name = ?1"), {&name});
    clear.Next();
  }
  {
    Call mark(db_, Prepared("INSERT OR IGNORE INTO snapshot_names(name) VALUES(?1)"), {&name});
    mark.Next();
  }
  {
    Call copy(db_, Prepared("INSERT INTO snapshots SELECT ?1, kind, id, parent, doc FROM objects"), {&name});
    copy.Next();
  }
  transaction.Commit();
}

bool Store::RestoreSnapshot(std::string const& name) {
  {
    Call any(db_, Prepared("SELECT 1 FROM snapshot_names WHERE name = ?1"), {&name});
    if (!any.Next()) return false;
  }
  decoded_.clear();
  Transaction transaction(*this);
  // The counters stay: ids handed out after the snapshot are not handed out again.
  Execute("DELETE FROM objects");
  {
    Call copy(db_,
              Prepared("INSERT INTO objects SELECT kind, id, parent, doc FROM snapshots WHERE name = ?1"),
              {&name});
    copy.Next();
  }
  transaction.Commit();
  return true;
}

Store::Decoded* Store::FindDecoded(std::string const& kind, std::string const& id) {
  auto const found = decoded_.find(Key(kind, id));
  return found == decoded_.end() ? nullptr : &found->second;
}

void Store::KeepDecoded(std::string const& kind, std::string const& id, Decoded decoded) {
  decoded_[Key(kind, id)] = std::move(decoded);
}

std::vector<std::string> Store::Snapshots() {
  std::vector<std::string> names;
  Call call(db_, Prepared("SELECT name FROM snapshot_names ORDER BY name"), {});
  while (call.Next()) names.push_back(Text(call.statement(), 0));
  return names;
}

}  // namespace Sim
