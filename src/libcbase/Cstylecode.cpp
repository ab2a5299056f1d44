#include "libcbase/Cstylecode.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include <arpa/inet.h>
#include <net/if.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

#include "libcbase/memory.h"

namespace {

// What the signal handler reads: written once, before signal_socket is published.
char signal_header[128];
std::size_t signal_header_length = 0;
sockaddr_un signal_address{};
std::atomic<int> signal_socket{-1};
static_assert(std::atomic<int>::is_always_lock_free, "a signal handler reads it");

}  // namespace

void prepare_signal_log() {
    if (signal_socket.load() >= 0) {
        return;
    }
    FileDescriptor fd(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!fd) {
        return;
    }
    const int length = std::snprintf(signal_header, sizeof(signal_header),
                                     "<%d>%.64s[%d]: ", zel_log_facility | LOG_ERR,
                                     program_invocation_short_name, getpid());
    signal_header_length = length > 0 ? static_cast<std::size_t>(length) : 0;
    signal_address.sun_family = AF_UNIX;
    std::strcpy(signal_address.sun_path, "/dev/log");
    signal_socket.store(fd.release());
}

void error_from_signal_handler(const char* text, std::size_t length, int patience_ms) noexcept {
    const int fd = signal_socket.load();
    if (fd < 0) {
        return;
    }
    const int kept = errno;
    iovec parts[2] = {{signal_header, signal_header_length}, {const_cast<char*>(text), length}};
    msghdr message{};
    message.msg_name = &signal_address;
    message.msg_namelen = sizeof(signal_address);
    message.msg_iov = parts;
    message.msg_iovlen = 2;
    // The logger's queue is short (ten lines on most systems) and may be full at this very moment.
    constexpr int kPauseMilliseconds = 10;
    while (sendmsg(fd, &message, MSG_DONTWAIT | MSG_NOSIGNAL) < 0 && errno == EAGAIN &&
           patience_ms > 0) {
        poll(nullptr, 0, kPauseMilliseconds);
        patience_ms -= kPauseMilliseconds;
    }
    errno = kept;
}

namespace {

constexpr const char* kInterface = "eth0";
constexpr std::size_t kHardwareAddressBytes = 6;

enum class InterfaceAnswer { kGiven, kNoSocket, kNoInterface };

// Asks the system about kInterface; `code` is the ioctl request.
InterfaceAnswer ask_interface(unsigned long code, ifreq& request) {
    const FileDescriptor fd(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    if (!fd) {
        return InterfaceAnswer::kNoSocket;
    }
    std::strncpy(request.ifr_name, kInterface, sizeof(request.ifr_name) - 1);
    return ioctl(fd.get(), code, &request) == 0 ? InterfaceAnswer::kGiven
                                                : InterfaceAnswer::kNoInterface;
}

// "No IP: ..." or "No MAC: ..." as a new string.
char* identity_failure(const char* what, InterfaceAnswer answer) {
    if (answer == InterfaceAnswer::kNoSocket) {
        return xstrcat(what, "socket function fail");
    }
    const xstring text(xstrcat(what, "ioctl function fail for interface "));
    return xstrcat(text.get(), kInterface);
}

}  // namespace

int getlocalip(char** out) {
    ifreq request{};
    const InterfaceAnswer answer = ask_interface(SIOCGIFADDR, request);
    if (answer != InterfaceAnswer::kGiven) {
        *out = identity_failure("No IP: ", answer);
        return -1;
    }
    sockaddr_in address{};
    std::memcpy(&address, &request.ifr_addr, sizeof(address));
    char text[INET_ADDRSTRLEN] = "";
    inet_ntop(AF_INET, &address.sin_addr, text, sizeof(text));
    *out = xstrcpy(nullptr, text);
    return 0;
}

int getlocalmac(char** out) {
    ifreq request{};
    const InterfaceAnswer answer = ask_interface(SIOCGIFHWADDR, request);
    if (answer != InterfaceAnswer::kGiven) {
        *out = identity_failure("No MAC: ", answer);
        error("Cstylecode->getlocalmac error: %s", *out != nullptr ? *out : "");
        return -1;
    }
    unsigned char mac[kHardwareAddressBytes];
    std::memcpy(mac, request.ifr_hwaddr.sa_data, sizeof(mac));
    char text[3 * kHardwareAddressBytes];
    std::snprintf(text, sizeof(text), "%02X:%02X:%02X:%02X:%02X:%02X", mac[0], mac[1], mac[2],
                  mac[3], mac[4], mac[5]);
    *out = xstrcpy(nullptr, text);
    return 0;
}

int getlocalrawmac(unsigned char out[6]) {
    ifreq request{};
    if (ask_interface(SIOCGIFHWADDR, request) != InterfaceAnswer::kGiven) {
        return -1;
    }
    std::memcpy(out, request.ifr_hwaddr.sa_data, kHardwareAddressBytes);
    return 0;
}

char* convert_bytearraytohexstring(std::size_t n, const unsigned char* bytes) {
    if (bytes == nullptr) {
        return nullptr;
    }
    constexpr char kDigits[] = "0123456789ABCDEF";
    const std::size_t count = n == 0 ? 1 : n;
    // No machine holds an array of more than half its addresses, so the product does not wrap.
    char* const text = static_cast<char*>(xmalloc(2 * count + 1));
    if (text != nullptr) {
        for (std::size_t i = 0; i < count; ++i) {
            text[2 * i] = kDigits[bytes[i] >> 4];
            text[2 * i + 1] = kDigits[bytes[i] & 0x0F];
        }
    }
    return text;
}

char* libcbase_get_version() {
    return xstrcpy(nullptr, "0.0.15");
}
