/// The simulated database service: speaks the platform's text protocol and runs the statements on a
/// real SQLite database in memory.
///
/// Thread-safe. One controlling thread injects the faults; each lasts until the next one.
#pragma once

#include <atomic>
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

    enum class Fault {
        none,
        silent,                ///< accepts connections and never answers
        closes_early,          ///< closes in the middle of the answer
        announces_too_much,    ///< the body is shorter than announced
        announces_too_little,  ///< the body is longer than announced
        slow,                  ///< sends byte by byte, kSlowPause apart
        rows_too_short,        ///< every row lacks its last value
        rows_too_long,         ///< every row has two values more than there are columns
        error_status,          ///< FSMC-013 and no rows
        garbage,               ///< bytes that are not an answer
    };

    /// Loads `sql` (the text of the tables) and listens on 127.0.0.1; port 0 lets the system
    /// choose. Throws std::runtime_error for bad SQL, std::system_error when the port is taken.
    explicit DatabaseService(const std::string& sql, EventSink sink = {}, int port = kPort);
    ~DatabaseService();

    int port() const { return server_.port(); }
    /// Runs a statement directly and returns its rows; throws std::runtime_error for bad SQL.
    std::vector<std::vector<std::string>> rows(const std::string& sql);

    /// @name Faults
    /// @{
    void inject_fault(Fault fault) { fault_ = fault; }
    /// Removes this column (upper case) from every answer.
    void hide_column(const std::string& name);
    void stop() { server_.refuse(); }
    /// Ends every fault.
    void recover();
    /// @}

    int connections() const { return server_.connections(); }

    static constexpr std::chrono::milliseconds kSlowPause{2};

  private:
    struct CloseDatabase {
        void operator()(sqlite3* database) const;
    };

    void serve(Connection& connection);
    dbmanager_format::Response run(const std::string& statement);
    void spoil_rows(dbmanager_format::Response& response) const;

    EventSink sink_;
    mutable std::mutex mutex_;  // guards database_ and hidden_column_
    std::unique_ptr<sqlite3, CloseDatabase> database_;
    std::string hidden_column_;
    std::atomic<Fault> fault_{Fault::none};
    SocketServer server_;  // last: its threads use the rest
};

}  // namespace simulator
