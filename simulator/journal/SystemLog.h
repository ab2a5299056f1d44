/// The simulated system log: serves /dev/log as a syslog daemon does and keeps every line.
///
/// One per sandbox. Thread-safe.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "libcbase/Cstylecode.h"
#include "simulator/net/Fault.h"
#include "simulator/net/WakeUp.h"

namespace simulator {

class SystemLog final {
  public:
    struct Line {
        int priority = 0;   ///< syslog severity, 0..7: 3 error, 4 warning, 6 info, 7 debug
        int facility = 0;   ///< syslog facility, 16 for LOG_LOCAL0
        std::string ident;  ///< program name
        int pid = 0;        ///< 0 if the line has none
        std::string text;   ///< the message, as the program wrote it
    };

    /// Binds /dev/log; throws std::system_error if it is taken.
    SystemLog();
    ~SystemLog();

    /// Called for each line on the log's thread. Set before the first line.
    void on_line(std::function<void(const Line&)> listener);

    /// A copy of the lines since the start or the last clear().
    std::vector<Line> lines() const;
    /// Number of lines that contain `part`.
    std::size_t count(const std::string& part) const;
    /// Waits until a line contains `part`; false at the limit.
    bool wait_for(const std::string& part,
                  std::chrono::milliseconds limit = std::chrono::seconds(10)) const;
    void clear();
    /// Waits until every line that was sent before this call is stored and passed to the listener;
    /// returns at once during a fault.
    void sync();

    /// @name Faults; one controlling thread
    /// @{
    /// Throws std::invalid_argument for a name that is not one of fault_names().
    void inject_fault(const std::string& name) { inject_by_name(faults(), *this, name); }
    static std::vector<std::string> fault_names() { return names_of(faults()); }
    void recover();
    /// @}

  private:
    static const FaultTable<SystemLog>& faults();
    void open();
    void stop();
    void stop_reading();
    void end_thread();
    void receive();
    void take(std::string datagram);
    void keep(const Line& line);
    std::size_t count_locked(const std::string& part) const;

    FileDescriptor socket_;
    WakeUp stop_;
    std::atomic<bool> is_reading_{true};
    std::function<void(const Line&)> listener_;
    mutable std::mutex mutex_;  // guards lines_ and listener_
    mutable std::condition_variable arrived_;
    std::vector<Line> lines_;
    // sync() sends a mark. Lines and marks arrive in the order in which they were sent.
    std::mutex mark_mutex_;  // one mark at a time
    std::atomic<std::uint64_t> marks_seen_{0};
    std::thread thread_;
};

}  // namespace simulator
