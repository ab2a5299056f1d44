#include "libcbase/Cstylecode.h"

#include <cstdio>
#include <cstring>

#include <arpa/inet.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include "libcbase/memory.h"

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
    // An array cannot take more than half the addresses, so the product does not wrap.
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
