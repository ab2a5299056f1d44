/// A listening socket of the house: accepts, and serves each connection on a thread of its own.
///
/// The verbs (listen, refuse, hang, accept_again, stop) belong to one controlling thread at a time;
/// the handler runs on the server's threads, several at once.
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
#include "simulator/Connection.h"
#include "simulator/WakeUp.h"

namespace simulator {

class SocketServer final {
  public:
    using Handler = std::function<void(Connection&)>;

    explicit SocketServer(Handler handler);
    /// Stops.
    ~SocketServer();

    /// Starts accepting; throws std::system_error. `ip` is dotted; port 0 lets the system choose.
    void listen_tcp(const std::string& ip, int port);
    /// A file at `path` is removed first.
    void listen_unix(const std::string& path);

    /// Closes the listening socket: from now on a connection is refused. Open ones go on.
    void refuse();
    /// Listens, but takes nobody in and has no room left for those who wait: from now on a
    /// connection neither opens nor fails. Open ones go on.
    void hang();
    /// Listens again where it did before.
    void accept_again();
    /// Refuses, tells the handlers to end and waits for them, which takes well under a second.
    void stop();

    int port() const { return port_; }
    /// How many connections were accepted.
    int connections() const { return connections_; }

  private:
    void listen_again();
    FileDescriptor open_listener(int backlog);
    FileDescriptor open_waiting_client() const;
    void accept_loop();
    void serve(FileDescriptor fd);

    Handler handler_;
    std::string ip_;
    std::string path_;
    int port_ = 0;
    FileDescriptor listener_;
    std::vector<FileDescriptor> waiting_clients_;  // fill the queue of one that hangs
    WakeUp refuse_event_;                          // ends the acceptor
    WakeUp stop_event_;                            // ends every connection
    std::atomic<int> connections_{0};
    std::list<std::future<void>> serving_;  // of the acceptor, and of stop() when that has ended
    std::mutex verbs_mutex_;                // keeps the verbs apart
    std::thread acceptor_;
};

}  // namespace simulator
