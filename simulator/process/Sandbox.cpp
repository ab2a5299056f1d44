#include "simulator/process/Sandbox.h"

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <system_error>
#include <thread>

#include <fcntl.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sched.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace simulator {
namespace {

namespace fs = std::filesystem;

constexpr const char* kVariablesDirectory = "/tmp/vexa_variables";
constexpr const char* kLockFile = "/tmp/lumivad-house.lock";
// For mounts that need no type; memory checkers report a null pointer.
constexpr const char* kNoType = "none";

[[noreturn]] void fail(const std::string& what) {
    throw std::system_error(errno, std::generic_category(), what);
}

void write_file(const char* path, const std::string& text) {
    const FileDescriptor file(open(path, O_WRONLY | O_CLOEXEC));
    if (!file || write(file.get(), text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
        fail(path);
    }
}

void mount_or_fail(const char* source, const fs::path& target, const char* type,
                   unsigned long flags, const char* options = nullptr) {
    if (mount(source, target.c_str(), type, flags, options) != 0) {
        fail("mount " + target.string());
    }
}

void unshare_namespaces() {
    if (geteuid() == 0 && unshare(CLONE_NEWNS | CLONE_NEWNET) == 0) {
        return;
    }
    const uid_t uid = geteuid();
    const gid_t gid = getegid();
    if (unshare(CLONE_NEWUSER | CLONE_NEWNS | CLONE_NEWNET) != 0) {
        fail("unshare");
    }
    write_file("/proc/self/setgroups", "deny");
    write_file("/proc/self/uid_map", "0 " + std::to_string(uid) + " 1");
    write_file("/proc/self/gid_map", "0 " + std::to_string(gid) + " 1");
}

void raise_loopback() {
    const FileDescriptor socket_fd(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    ifreq request{};
    std::strncpy(request.ifr_name, "lo", sizeof(request.ifr_name) - 1);
    if (!socket_fd || ioctl(socket_fd.get(), SIOCGIFFLAGS, &request) != 0) {
        fail("lo");
    }
    request.ifr_flags = static_cast<short>(request.ifr_flags | IFF_UP);
    if (ioctl(socket_fd.get(), SIOCSIFFLAGS, &request) != 0) {
        fail("lo");
    }
}

// Datagrams to a multicast group return to its members on the loopback, so that a search finds only
// the house's bridge. Uses netlink, since the route needs host scope: with the older request such
// datagrams have no source address.
void route_multicast_to_loopback() {
    struct {
        nlmsghdr header;
        rtmsg route;
        rtattr group_label;
        in_addr group;
        rtattr device_label;
        std::uint32_t device;
    } request{};
    request.header.nlmsg_len = sizeof(request);
    request.header.nlmsg_type = RTM_NEWROUTE;
    request.header.nlmsg_flags = NLM_F_REQUEST | NLM_F_CREATE | NLM_F_ACK;
    request.route.rtm_family = AF_INET;
    request.route.rtm_dst_len = 4;
    request.route.rtm_table = RT_TABLE_MAIN;
    request.route.rtm_protocol = RTPROT_BOOT;
    request.route.rtm_scope = RT_SCOPE_HOST;
    request.route.rtm_type = RTN_UNICAST;
    request.group_label = {RTA_LENGTH(sizeof(request.group)), RTA_DST};
    request.group.s_addr = htonl(INADDR_UNSPEC_GROUP);
    request.device_label = {RTA_LENGTH(sizeof(request.device)), RTA_OIF};
    request.device = if_nametoindex("lo");
    struct {
        nlmsghdr header;
        nlmsgerr result;
    } answer{};
    const FileDescriptor netlink(socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE));
    if (!netlink || send(netlink.get(), &request, sizeof(request), 0) < 0 ||
        recv(netlink.get(), &answer, sizeof(answer), 0) < static_cast<ssize_t>(sizeof(answer))) {
        fail("multicast route");
    }
    if (answer.result.error != 0) {
        errno = -answer.result.error;
        fail("multicast route");
    }
}

// Sets the length that most systems have: the log must not lose lines that a test counts while its
// reader waits for the processor. Has no effect where it is not allowed.
void lengthen_queues_of_datagrams() {
    std::ofstream("/proc/sys/net/unix/max_dgram_qlen") << 512;
}

// A /dev with the usual nodes but without the machine's log. Without root device nodes cannot be
// created, so the machine's own are bound into a new tmpfs.
void make_private_dev(const fs::path& staging) {
    fs::create_directories(staging);
    // Not sticky, which is the default of a tmpfs: in a sticky folder the kernel refuses to open
    // another owner's node with O_CREAT, as a shell does for "> /dev/null".
    mount_or_fail("tmpfs", staging, "tmpfs", MS_NOSUID, "mode=0755");
    for (const char* node : {"null", "zero", "full", "random", "urandom", "tty"}) {
        const fs::path from = fs::path("/dev") / node;
        if (fs::exists(from)) {
            std::ofstream(staging / node).close();
            mount_or_fail(from.c_str(), staging / node, kNoType, MS_BIND);
        }
    }
    for (const char* directory : {"pts", "shm"}) {
        const fs::path from = fs::path("/dev") / directory;
        if (fs::exists(from)) {
            fs::create_directory(staging / directory);
            mount_or_fail(from.c_str(), staging / directory, kNoType, MS_BIND | MS_REC);
        }
    }
    fs::create_symlink("/proc/self/fd", staging / "fd");
    fs::create_symlink("fd/0", staging / "stdin");
    fs::create_symlink("fd/1", staging / "stdout");
    fs::create_symlink("fd/2", staging / "stderr");
    mount_or_fail(staging.c_str(), "/dev", kNoType, MS_MOVE);
}

void enter_namespaces() {
    fs::create_directories(kVariablesDirectory);
    unshare_namespaces();
    mount_or_fail("none", "/", kNoType, MS_REC | MS_PRIVATE);
    raise_loopback();
    route_multicast_to_loopback();
    lengthen_queues_of_datagrams();
    mount_or_fail("tmpfs", kVariablesDirectory, "tmpfs", MS_NOSUID | MS_NODEV);
    make_private_dev(fs::path(kVariablesDirectory) / "dev");
}

// Tries everything in a child first, since a set-up that fails half-way cannot be undone.
std::string why_not_possible() {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        fail("pipe");
    }
    FileDescriptor reader(ends[0]);
    FileDescriptor writer(ends[1]);
    const pid_t child = fork();
    if (child < 0) {
        fail("fork");
    }
    if (child == 0) {
        std::string reason;
        try {
            enter_namespaces();
        } catch (const std::exception& problem) {
            reason = problem.what();
        }
        const ssize_t written = write(writer.get(), reason.data(), reason.size());
        _exit(reason.empty() && written == 0 ? 0 : 1);
    }
    writer.reset();
    char text[256];
    const ssize_t length = read(reader.get(), text, sizeof(text));
    int status = 0;
    waitpid(child, &status, 0);
    if (WIFEXITED(status) && WEXITSTATUS(status) == 0) {
        return {};
    }
    return length > 0 ? std::string(text, static_cast<std::size_t>(length)) : "probe failed";
}

FileDescriptor lock_the_machine() {
    // A lock needs no write access; in a sticky folder O_CREAT on another user's file is refused.
    FileDescriptor file(open(kLockFile, O_RDONLY | O_CLOEXEC));
    if (!file && errno == ENOENT) {
        file.reset(open(kLockFile, O_RDONLY | O_CREAT | O_CLOEXEC, 0644));
    }
    if (!file) {
        fail(kLockFile);
    }
    const auto deadline =
        std::chrono::steady_clock::now() + std::chrono::seconds(Sandbox::kLockSeconds);
    while (flock(file.get(), LOCK_EX | LOCK_NB) != 0) {
        if (std::chrono::steady_clock::now() > deadline) {
            throw std::runtime_error(std::string("another house holds ") + kLockFile);
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    return file;
}

}  // namespace

Sandbox Sandbox::enter() {
    Sandbox sandbox;
    sandbox.reason_ = why_not_possible();
    if (sandbox.is_private()) {
        enter_namespaces();
    } else {
        sandbox.lock_ = lock_the_machine();
    }
    fs::create_directories(kSocketDirectory);
    return sandbox;
}

}  // namespace simulator
