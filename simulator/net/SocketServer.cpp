#include "simulator/net/SocketServer.h"

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <system_error>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace simulator {
namespace {

constexpr int kBacklog = 64;

[[noreturn]] void fail(const std::string& what) {
    throw std::system_error(errno, std::generic_category(), what);
}

sockaddr_in tcp_address(const std::string& ip, int port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    inet_pton(AF_INET, ip.c_str(), &address.sin_addr);
    return address;
}

FileDescriptor open_tcp(const std::string& ip, int port, int backlog) {
    FileDescriptor fd(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const int yes = 1;
    const sockaddr_in address = tcp_address(ip, port);
    if (!fd || setsockopt(fd.get(), SOL_SOCKET, SO_REUSEADDR, &yes, sizeof(yes)) != 0 ||
        bind(fd.get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0 ||
        listen(fd.get(), backlog) != 0) {
        fail(ip + ":" + std::to_string(port));
    }
    return fd;
}

int port_of(const FileDescriptor& fd) {
    sockaddr_in address{};
    socklen_t length = sizeof(address);
    if (getsockname(fd.get(), reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        fail("getsockname");
    }
    return ntohs(address.sin_port);
}

}  // namespace

SocketServer::SocketServer(Handler handler) : handler_(std::move(handler)) {}

SocketServer::~SocketServer() {
    stop();
}

void SocketServer::listen_tcp(const std::string& ip, int port) {
    const std::lock_guard<std::mutex> lock(control_mutex_);
    ip_ = ip;
    port_ = port;
    listen_again();
}

void SocketServer::listen_unix(const std::string& path) {
    const std::lock_guard<std::mutex> lock(control_mutex_);
    path_ = path;
    listen_again();
}

FileDescriptor SocketServer::open_listener(int backlog) {
    if (path_.empty()) {
        FileDescriptor fd = open_tcp(ip_, port_, backlog);
        port_ = port_of(fd);
        return fd;
    }
    FileDescriptor fd(make_local_socket(path_.c_str(), backlog));
    if (!fd) {
        fail(path_);
    }
    return fd;
}

void SocketServer::listen_again() {
    waiting_clients_.clear();
    listener_.reset();
    listener_ = open_listener(kBacklog);
    acceptor_ = std::thread([this] { accept_loop(); });
}

void SocketServer::refuse() {
    const std::lock_guard<std::mutex> lock(control_mutex_);
    if (acceptor_.joinable()) {
        refuse_event_.set();
        acceptor_.join();
        refuse_event_.clear();
    }
    listener_.reset();
    waiting_clients_.clear();
}

// The kernel queues one more than the backlog, and one further client half open.
void SocketServer::hang() {
    refuse();
    const std::lock_guard<std::mutex> lock(control_mutex_);
    listener_ = open_listener(0);
    for (int i = 0; i < 3; ++i) {
        waiting_clients_.push_back(open_waiting_client());
    }
}

FileDescriptor SocketServer::open_waiting_client() const {
    const int kind = SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK;
    FileDescriptor fd(socket(path_.empty() ? AF_INET : AF_UNIX, kind, 0));
    const sockaddr_in tcp = tcp_address(ip_, port_);
    sockaddr_un local{};
    local.sun_family = AF_UNIX;
    path_.copy(local.sun_path, sizeof(local.sun_path) - 1);
    const int result =
        path_.empty() ? connect(fd.get(), reinterpret_cast<const sockaddr*>(&tcp), sizeof(tcp))
                      : connect(fd.get(), reinterpret_cast<const sockaddr*>(&local), sizeof(local));
    if (result != 0 && errno != EINPROGRESS && errno != EAGAIN) {
        fail("client that fills the queue");
    }
    return fd;
}

void SocketServer::accept_again() {
    const std::lock_guard<std::mutex> lock(control_mutex_);
    if (!acceptor_.joinable()) {
        listen_again();
    }
}

void SocketServer::remove() {
    refuse();
    unlink(path_.c_str());
}

void SocketServer::inject_fault(Fault fault, int times) {
    {
        const std::lock_guard<std::mutex> lock(fault_mutex_);
        fault_ = std::move(fault);
        fault_times_ = times;
    }
    accept_again();
}

Fault SocketServer::take_fault() {
    const std::lock_guard<std::mutex> lock(fault_mutex_);
    if (fault_times_ == 0) {
        return {"", true, [](Connection& peer, const std::string& answer) { peer.write(answer); }};
    }
    fault_times_ -= fault_times_ > 0 ? 1 : 0;
    return fault_;
}

void SocketServer::recover() {
    inject_fault({}, 0);
    ++recoveries_;
}

void SocketServer::stop() {
    refuse();
    const std::lock_guard<std::mutex> lock(control_mutex_);
    stop_event_.set();
    serving_.clear();  // waits for each
    stop_event_.clear();
    if (!path_.empty()) {
        unlink(path_.c_str());
    }
}

void SocketServer::accept_loop() {
    for (;;) {
        pollfd ready[2] = {{listener_.get(), POLLIN, 0}, {refuse_event_.fd(), POLLIN, 0}};
        if (poll(ready, 2, -1) < 0) {
            continue;
        }
        if (ready[1].revents != 0) {
            return;
        }
        FileDescriptor fd(accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC));
        serving_.remove_if([](const std::future<void>& one) {
            return one.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
        });
        if (fd) {
            ++connections_;
            serve(std::move(fd));
        }
    }
}

void SocketServer::serve(FileDescriptor fd) {
    // Shared, since a task of std::async must be copyable. Moved out, so that the descriptor is
    // closed when the handler returns and not when the future is released.
    auto held = std::make_shared<FileDescriptor>(std::move(fd));
    serving_.push_back(std::async(std::launch::async, [this, held] {
        Connection connection(std::move(*held), stop_event_.fd(), &recoveries_);
        handler_(connection);
    }));
}

}  // namespace simulator
