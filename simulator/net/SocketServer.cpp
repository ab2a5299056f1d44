#include "simulator/net/SocketServer.h"

#include <cerrno>
#include <cstdint>
#include <system_error>

#include <arpa/inet.h>
#include <unistd.h>

namespace simulator {

void SocketServer::listen_tcp(const std::string& ip, int port) {
    address_.tcp = {};
    address_.tcp.sin_family = AF_INET;
    address_.tcp.sin_port = htons(static_cast<std::uint16_t>(port));
    inet_pton(AF_INET, ip.c_str(), &address_.tcp.sin_addr);
    address_bytes_ = sizeof(address_.tcp);
    accept_again();
}

void SocketServer::listen_unix(const std::string& path) {
    path_ = path;
    address_.local = {};
    address_.local.sun_family = AF_UNIX;
    path.copy(address_.local.sun_path, sizeof(address_.local.sun_path) - 1);
    address_bytes_ = sizeof(address_.local);
    accept_again();
}

// Keeps the port that the system chose.
void SocketServer::open_listener(int backlog) {
    unlink(path_.c_str());
    FileDescriptor fd(socket(address_.any.sa_family, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const int yes = 1;
    if (!fd || setsockopt(fd.get(), SOL_SOCKET, SO_REUSEADDR, &yes, sizeof(yes)) != 0 ||
        bind(fd.get(), &address_.any, address_bytes_) != 0 || listen(fd.get(), backlog) != 0 ||
        getsockname(fd.get(), &address_.any, &address_bytes_) != 0) {
        throw std::system_error(errno, std::generic_category(),
                                path_.empty() ? "port " + std::to_string(port()) : path_);
    }
    listener_ = std::move(fd);
}

void SocketServer::accept_again() {
    if (!acceptor_.joinable()) {
        refuse();
        open_listener(kBacklog);
        acceptor_ = std::thread([this] { accept_loop(); });
    }
}

void SocketServer::refuse() {
    if (acceptor_.joinable()) {
        shutdown(listener_.get(), SHUT_RDWR);  // ends the acceptor
        acceptor_.join();
    }
    listener_.reset();
    waiting_clients_.clear();
}

void SocketServer::remove() {
    refuse();
    unlink(path_.c_str());
}

// The kernel queues one more than the backlog, and one further client half open.
void SocketServer::hang() {
    refuse();
    open_listener(0);
    for (int i = 0; i < 3; ++i) {
        const int kind = SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK;
        waiting_clients_.emplace_back(socket(address_.any.sa_family, kind, 0));
        static_cast<void>(connect(waiting_clients_.back().get(), &address_.any, address_bytes_));
    }
}

void SocketServer::inject_fault(Fault fault, int times) {
    if (fault.listener != nullptr) {
        return (this->*fault.listener)();
    }
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
        return {[](Connection& peer, const std::string& answer) { peer.write(answer); }};
    }
    fault_times_ -= fault_times_ > 0 ? 1 : 0;
    return fault_;
}

void SocketServer::recover() {
    inject_fault({}, 0);
    ++recoveries_;
}

void SocketServer::stop() {
    remove();
    ++recoveries_;
    stop_event_.set();
    serving_.clear();  // waits for each
    stop_event_.clear();
}

void SocketServer::accept_loop() {
    for (;;) {
        FileDescriptor fd(accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC));
        if (!fd && errno == EINVAL) {
            return;  // the listener is shut down
        }
        serving_.remove_if([](const std::future<void>& one) {
            return one.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
        });
        if (fd) {
            ++connections_;
            serving_.push_back(std::async(std::launch::async, [this, fd = std::move(fd)]() mutable {
                Connection connection(std::move(fd), stop_event_.fd(), recoveries_);
                handler_(connection);
            }));
        }
    }
}

}  // namespace simulator
