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

class DatabaseService final : public WithFaults<DatabaseService> {
  public:
    static constexpr int kPort = 45168;

    /// Loads `sql` (the text of the tables) and listens on 127.0.0.1; port 0 lets the system
    /// choose. Throws std::runtime_error for bad SQL, std::system_error when the port is taken.
    explicit DatabaseService(const std::string& sql, EventSink sink = ignore_event,
                             int port = kPort);

    int port() const { return server_.port(); }
    /// Runs a statement directly and returns its rows; throws std::runtime_error for bad SQL.
    std::vector<std::vector<std::string>> rows(const std::string& sql) { return query(sql).rows; }

    /// A fault: removes this column (upper case) from every answer.
    void hide_column(const std::string& name);
    int connections() const { return server_.connections(); }

  private:
    friend WithFaults<DatabaseService>;

    static const Table& faults();
    SocketServer& server() { return server_; }
    void serve(Connection& connection);
    dbmanager_format::Response query(const std::string& sql);

    EventSink sink_;
    std::mutex mutex_;  // guards database_
    std::shared_ptr<sqlite3> database_;
    SocketServer server_;  // last: its threads use the rest
};

}  // namespace simulator
