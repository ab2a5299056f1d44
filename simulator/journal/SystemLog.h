/// The simulated system log: serves /dev/log as a syslog daemon does. Keeps its lines in a journal.
///
/// One per sandbox. Thread-safe; one controlling thread injects the faults.
#pragma once

#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "libcbase/Cstylecode.h"
#include "simulator/journal/Journal.h"
#include "simulator/net/WakeUp.h"

namespace simulator {

class SystemLog {
  public:
    /// Binds /dev/log; throws std::system_error if it is taken. Adds the lines of `program`, or of
    /// every program if it is empty, to `journal`, which must outlive this.
    explicit SystemLog(Journal& journal, std::string program = "");
    ~SystemLog();

    /// Stores every line that was sent before this call; does nothing during a fault.
    void sync() const;

    /// "cut": programs cannot connect. "full": the queue is full, and nothing is read.
    void inject_fault(const std::string& name);
    static std::vector<std::string> fault_names() { return {"cut", "full"}; }
    /// Ends every fault.
    void recover();

  private:
    void open();
    void remove();
    void fill_queue() const;
    void end_thread();

    Journal& journal_;
    std::string program_;
    FileDescriptor socket_;
    mutable std::mutex reading_mutex_;  // lines are added in the order in which they arrive
    bool is_read_ = false;              // guarded by reading_mutex_
    WakeUp stop_;
    std::thread thread_;
};

}  // namespace simulator
