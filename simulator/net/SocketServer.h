/// A listening socket: accepts connections and serves each on a thread of its own.
///
/// listen, the faults, recover and stop belong to one controlling thread at a time. The
/// handler runs on several threads of the server at once.
#pragma once

#include <atomic>
#include <functional>
#include <future>
#include <list>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "libcbase/Cstylecode.h"
#include "simulator/net/Connection.h"
#include "simulator/net/Fault.h"
#include "simulator/net/WakeUp.h"

namespace simulator {

class SocketServer final {
  public:
    using Handler = std::function<void(Connection&)>;

    explicit SocketServer(Handler handler);
    /// Stops.
    ~SocketServer();

    /// Starts accepting; throws std::system_error. `ip` is dotted; port 0 lets the system choose.
    void listen_tcp(const std::string& ip, int port);
    /// Removes a file at `path` first.
    void listen_unix(const std::string& path);

    /// Closes the listening socket: new connections are refused. Open ones continue.
    void refuse();
    /// Listens with a full queue and does not accept: connecting neither succeeds nor fails. Open
    /// connections continue.
    void hang();
    /// Refuses connections and removes the file of a local socket.
    void remove();
    /// Accepts connections and applies `fault` to the next ones. Replaces an earlier fault.
    void inject_fault(Fault fault, int times = Fault::kForever);
    /// The fault that applies to one request. Without a fault, one that sends the answer.
    Fault take_fault();
    /// Ends every fault, releases the held connections and accepts again on the same address.
    void recover();
    /// Refuses connections, ends the handlers and waits for them; takes less than a second.
    void stop();

    int port() const { return port_; }
    /// Number of accepted connections.
    int connections() const { return connections_; }

  private:
    void listen_again();
    void accept_again();
    FileDescriptor open_listener(int backlog);
    FileDescriptor open_waiting_client() const;
    void accept_loop();
    void serve(FileDescriptor fd);

    Handler handler_;
    std::string ip_;
    std::string path_;
    int port_ = 0;
    FileDescriptor listener_;
    std::vector<FileDescriptor> waiting_clients_;  // fill the queue for hang()
    WakeUp refuse_event_;                          // ends the acceptor
    WakeUp stop_event_;                            // ends every connection
    std::atomic<int> connections_{0};
    std::mutex fault_mutex_;  // guards fault_ and fault_times_
    Fault fault_;
    int fault_times_ = 0;
    std::atomic<int> recoveries_{0};
    std::list<std::future<void>>
        serving_;               // used by the acceptor, and by stop() after it has ended
    std::mutex control_mutex_;  // one of the calls above at a time
    std::thread acceptor_;
};

}  // namespace simulator
