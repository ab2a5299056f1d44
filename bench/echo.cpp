// echo: the yardstick of the commands endpoint. Accepts, reads once, sends the daemon's answer and
// closes. No program can be much faster.
#include <cstdio>
#include <cstring>

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

int main() {
    constexpr const char* kAnswer = "Response Status: FSMC-000\nParameter Count: 0\n\n";
    const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    socklen_t length = sizeof(address);
    // Without bind, the system chooses the port.
    if (listen(listener, 64) != 0 ||
        getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        std::perror("echo");
        return 1;
    }
    std::printf("0,%d\n", ntohs(address.sin_port));
    std::fflush(stdout);
    while (true) {
        const int connection = accept(listener, nullptr, nullptr);
        char request[4096];
        if (connection >= 0 && recv(connection, request, sizeof(request), 0) > 0) {
            send(connection, kAnswer, std::strlen(kAnswer), MSG_NOSIGNAL);
        }
        close(connection);
    }
}
