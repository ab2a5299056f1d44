#include "simulator/process/Sandbox.h"

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sched.h>
#include <sys/file.h>
#include <unistd.h>

#include "simulator/process/ChildProcess.h"

namespace simulator {
namespace {

namespace fs = std::filesystem;

constexpr const char* kLockFile = "/tmp/lumivad-house.lock";
constexpr std::chrono::seconds kSetUpLimit{30};

// Prepares new namespaces and keeps them until this process has joined them.
constexpr const char* kSetUp = R"(
    set -e
    ip link set lo up
    # Datagrams to a multicast group return to its members on the loopback, so that a search finds
    # only the bridge of the house. Without the host scope they have no source address.
    ip route add 224.0.0.0/4 dev lo scope host
    # The default of most systems: the log must not lose lines while its reader waits for the
    # processor. Not allowed everywhere.
    { echo 512 >/proc/sys/net/unix/max_dgram_qlen; } 2>/dev/null || :

    private=/tmp/vexa_variables
    mkdir -p $private
    mount -n -t tmpfs -o nosuid,nodev tmpfs $private
    # A /dev without the log of the machine. Its nodes are links, since only root can create nodes.
    mkdir $private/dev
    mount -n --rbind /dev $private/dev
    # Not sticky, which is the default: in a sticky folder the kernel refuses to follow the links of
    # another owner.
    mount -n -t tmpfs -o nosuid,mode=0755 tmpfs /dev
    ln -s $private/dev/* /dev
    [ ! -L /dev/log ] || rm /dev/log
    echo ready
    exec sleep 60
)";

[[noreturn]] void fail(const std::string& what) {
    throw std::system_error(errno, std::generic_category(), what);
}

// Joins the namespaces of a process, which are prepared. Keeps the working directory.
void join(pid_t process, const std::vector<const char*>& namespaces) {
    const fs::path folder = fs::current_path();
    const std::string entry = "/proc/" + std::to_string(process);
    // An emulator and some sanitizers have a thread of their own, and a mount namespace can be
    // joined only by a thread that does not share its working directory.
    if (unshare(CLONE_FS) != 0) {
        fail("unshare");
    }
    for (const char* kind : namespaces) {
        const FileDescriptor file(open((entry + "/ns/" + kind).c_str(), O_RDONLY | O_CLOEXEC));
        if (!file || setns(file.get(), 0) != 0) {
            fail(std::string("joining the namespace ") + kind);
        }
    }
    // Joining moves the root and the working directory to the root of the namespace.
    if (chroot((entry + "/root").c_str()) != 0) {
        fail("chroot");
    }
    fs::current_path(folder);
}

// Returns the reason if the system forbids it.
std::string enter_namespaces(bool maps_root) {
    std::vector<std::string> words{"--net", "--mount", "sh", "-c", kSetUp};
    std::vector<const char*> namespaces{"net", "mnt"};
    if (maps_root) {
        words.insert(words.begin(), "--map-root-user");
        namespaces.insert(namespaces.begin(), "user");
    }
    ChildProcess::Setup setup{"unshare", words};
    setup.reads_errors = true;
    ChildProcess child(setup);
    if (child.read_line(kSetUpLimit) != "ready") {
        const std::string errors = child.finish(kSetUpLimit).errors;
        return errors.empty() ? "set-up failed" : errors.substr(0, errors.find('\n'));
    }
    try {
        join(child.pid(), namespaces);
    } catch (const std::system_error& problem) {
        return problem.what();
    }
    return {};
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
    // Root of a container may be allowed only what other users are.
    if (geteuid() != 0 || !enter_namespaces(false).empty()) {
        sandbox.reason_ = enter_namespaces(true);
    }
    if (!sandbox.is_private()) {
        sandbox.lock_ = lock_the_machine();
    }
    fs::create_directories(kSocketDirectory);
    return sandbox;
}

}  // namespace simulator
