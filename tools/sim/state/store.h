#pragma once

// The simulator's state: every object of the simulated inventory as one JSON document (the wire
// format of its structure) under its kind and id, in SQLite, in memory or in a file that survives
// a restart. A Store belongs to the state thread (see StateThread): it takes no locks.

#include <opax/core/message/base_message.h>

#include <boost/optional.hpp>

#include <list>
#include <memory>
#include <string>
#include <typeindex>
#include <unordered_map>
#include <vector>

struct sqlite3;
struct sqlite3_stmt;

namespace Sim {

class Store {
 public:
  struct Row {
    std::string kind;    // a resource type: "VirtualMachine", "com.quarn.nexar.vm.hardware.Cdrom", ...
    std::string id;      // unique within its kind
    std::string parent;  // the id of the object it belongs to ("" for none)
    std::string doc;     // JSON
  };

  // `path` ":memory:" keeps the state in memory; a file is created when missing. Null with a
  // message when the database cannot be opened or is not one of ours.
  static std::unique_ptr<Store> Open(std::string const& path, std::list<Opax::BaseMessage>& messages);
  ~Store();
  Store(Store const&) = delete;
  Store& operator=(Store const&) = delete;

  // Inserts or replaces.
  void Put(Row const& row);
  boost::optional<Row> Get(std::string const& kind, std::string const& id);
  bool Exists(std::string const& kind, std::string const& id);
  // By id.
  std::vector<Row> List(std::string const& kind);
  std::vector<Row> Children(std::string const& kind, std::string const& parent);
  // False when there was no such object.
  bool Remove(std::string const& kind, std::string const& id);
  // "<prefix>-<n>" with n one more than the last number this prefix handed out, kept with the
  // state so that ids are never reused, not even across a restart.
  std::string NewId(std::string const& prefix);

  // Everything a Transaction encloses is committed at once or not at all; without one, every
  // change commits by itself. An operation's changes are enclosed, so that an acknowledged
  // operation is wholly on disk and a failed one left nothing behind.
  class Transaction {
   public:
    explicit Transaction(Store& store);
    ~Transaction();  // rolls back unless committed
    void Commit();

   private:
    Store& store_;
    bool done_ = false;
  };

  // Named copies of the whole state kept in the same database.
  void SaveSnapshot(std::string const& name);
  // False when no snapshot has that name.
  bool RestoreSnapshot(std::string const& name);
  std::vector<std::string> Snapshots();
  bool Empty();

  // Documents already read, kept decoded by native type (see Load in document.h), so that the
  // gets and lists a client repeats decode nothing. Every change to a row drops its entry; a
  // rollback or a restored snapshot drops them all. An entry of type void holds no value: it only
  // says that the row exists (see Exists).
  struct Decoded {
    std::type_index type = typeid(void);
    std::shared_ptr<void const> value;
    std::string parent;
  };
  Decoded* FindDecoded(std::string const& kind, std::string const& id);
  void KeepDecoded(std::string const& kind, std::string const& id, Decoded decoded);

 private:
  explicit Store(sqlite3* db) : db_(db) {}
  void Execute(char const* sql);
  sqlite3_stmt* Prepared(char const* sql);

  static std::string Key(std::string const& kind, std::string const& id) { return kind + '\n' + id; }

  sqlite3* db_;
  std::vector<std::pair<char const*, sqlite3_stmt*>> statements_;
  std::unordered_map<std::string, Decoded> decoded_;
};

}  // namespace Sim
