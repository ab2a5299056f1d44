/// The simulated database service: speaks the platform's text protocol and runs the statements on a
/// real SQLite database in memory.
///
/// Thread-safe. One controlling thread injects the faults.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "libcbase/DBManagerutil_format.h"
#include "simulator/journal/Journal.h"
#include "simulator/net/SocketServer.h"

struct sqlite3;

namespace simulator {

class DatabaseService final {
  public:
    static constexpr int kPort = 45168;

    /// Loads `sql` (the text of the tables) and listens on 127.0.0.1; port 0 lets the system
    /// choose. Throws std::runtime_error for bad SQL, std::system_error when the port is taken.
    explicit DatabaseService(const std::string& sql, EventSink sink = {}, int port = kPort);
    ~DatabaseService();

    int port() const { return server_.port(); }
    /// Runs a statement directly and returns its rows; throws std::runtime_error for bad SQL.
    std::vector<std::vector<std::string>> rows(const std::string& sql);

    /// @name Faults; each lasts until the next one or recover()
    /// @{
    /// Throws std::invalid_argument for a name that is not one of fault_names().
    void inject_fault(const std::string& name) { inject_by_name(faults(), *this, name); }
    static std::vector<std::string> fault_names() { return names_of(faults()); }
    /// Removes this column (upper case) from every answer.
    void hide_column(const std::string& name);
    void recover();
    /// @}

    int connections() const { return server_.connections(); }

  private:
    struct CloseDatabase {
        void operator()(sqlite3* database) const;
    };

    static const FaultTable<DatabaseService>& faults();
    void serve(Connection& connection);
    dbmanager_format::Response run(const std::string& statement);

    EventSink sink_;
    mutable std::mutex mutex_;  // guards database_ and hidden_column_
    std::unique_ptr<sqlite3, CloseDatabase> database_;
    std::string hidden_column_;
    SocketServer server_;  // last: its threads use the rest
};

}  // namespace simulator
