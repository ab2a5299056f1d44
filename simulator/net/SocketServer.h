/// A listening socket: accepts connections and serves each on a thread of its own.
///
/// The handler runs on several threads of the server at once. All else but take_fault() and
/// connections() belongs to one controlling thread.
#pragma once

#include <atomic>
#include <functional>
#include <future>
#include <list>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/un.h>

#include "libcbase/Cstylecode.h"
#include "simulator/net/Connection.h"
#include "simulator/net/Fault.h"
#include "simulator/net/WakeUp.h"

namespace simulator {

class SocketServer final {
  public:
    using Handler = std::function<void(Connection&)>;

    explicit SocketServer(Handler handler) : handler_(std::move(handler)) {}
    /// Stops.
    ~SocketServer() { stop(); }

    /// Starts accepting; throws std::system_error. `ip` is dotted; port 0 lets the system choose.
    void listen_tcp(const std::string& ip, int port);
    /// Removes a file at `path` first.
    void listen_unix(const std::string& path);
    int port() const { return ntohs(address_.tcp.sin_port); }
    /// Refuses connections, ends the handlers and waits for them; takes less than a second.
    void stop();

    /// @name Faults
    /// @{
    /// Closes the listening socket: new connections are refused. Open ones continue.
    void refuse();
    /// Refuses connections and removes the file of a local socket.
    void remove();
    /// Listens with a full queue and does not accept: connecting neither succeeds nor fails. Open
    /// connections continue.
    void hang();
    /// Accepts connections and applies `fault` to the next ones, in place of an earlier one, or
    /// calls its listener's function.
    void inject_fault(Fault fault, int times = Fault::kForever);
    /// The fault that applies to one request. Without a fault, one that sends the answer.
    Fault take_fault();
    /// Ends every fault, releases the held connections and accepts again on the same address.
    void recover();
    /// @}

    /// Number of accepted connections.
    int connections() const { return connections_; }

  private:
    static constexpr int kBacklog = 64;

    void open_listener(int backlog);
    void accept_again();
    void accept_loop();

    Handler handler_;
    union {
        sockaddr any;
        sockaddr_in tcp;
        sockaddr_un local;
    } address_{};
    socklen_t address_bytes_ = 0;
    std::string path_;  // of a local socket
    FileDescriptor listener_;
    std::vector<FileDescriptor> waiting_clients_;  // fill the queue for hang()
    WakeUp stop_event_;                            // ends every connection
    std::atomic<int> connections_{0};
    std::mutex fault_mutex_;  // guards fault_ and fault_times_
    Fault fault_;
    int fault_times_ = 0;
    std::atomic<int> recoveries_{0};
    std::list<std::future<void>> serving_;  // of the acceptor, and of stop() after its end
    std::thread acceptor_;
};

}  // namespace simulator
