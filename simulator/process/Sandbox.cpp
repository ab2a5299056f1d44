#include "simulator/process/Sandbox.h"

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <system_error>

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
    ip link set lo up multicast on
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

void require(bool holds, const std::string& what) {
    if (!holds) {
        throw std::system_error(errno, std::generic_category(), what);
    }
}

// Enters new namespaces, with root's rights in them if `maps_root`. Keeps the working directory.
void enter_namespaces(bool maps_root) {
    const ChildProcess::Words words{"--net", "--mount", "sh", "-c", kSetUp};
    ChildProcess::Setup setup{"unshare", words, {}, ChildProcess::kWithOutput};
    if (maps_root) {
        setup.arguments.insert(setup.arguments.begin(), "--map-root-user");
    }
    ChildProcess child(setup);
    const std::string line = child.read_line(kSetUpLimit).value_or("set-up failed");
    if (line != "ready") {
        throw std::runtime_error(line);
    }
    const fs::path folder = fs::current_path();
    const std::string entry = "/proc/" + std::to_string(child.pid());
    // An emulator and some sanitizers have a thread of their own, and a mount namespace can be
    // joined only by a thread that does not share its working directory.
    require(unshare(CLONE_FS) == 0, "unshare");
    for (const std::string kind : {"user", "net", "mnt"}) {
        if (maps_root || kind != "user") {
            const FileDescriptor file(open((entry + "/ns/" + kind).c_str(), O_RDONLY | O_CLOEXEC));
            require(file && setns(file.get(), 0) == 0, "joining the namespace " + kind);
        }
    }
    // Joining moves the root and the working directory to the root of the namespace.
    require(chroot((entry + "/root").c_str()) == 0, "chroot");
    fs::current_path(folder);
}

FileDescriptor lock_the_machine() {
    // A lock needs no write access; in a sticky folder O_CREAT on another user's file is refused.
    FileDescriptor file(open(kLockFile, O_RDONLY | O_CLOEXEC));
    if (!file) {
        file.reset(open(kLockFile, O_RDONLY | O_CREAT | O_CLOEXEC, 0644));
    }
    require(static_cast<bool>(file), kLockFile);
    if (flock(file.get(), LOCK_EX | LOCK_NB) != 0) {
        std::fprintf(stderr, "waiting for the other house that holds %s\n", kLockFile);
        require(flock(file.get(), LOCK_EX) == 0, kLockFile);
    }
    return file;
}

}  // namespace

Sandbox Sandbox::enter() {
    Sandbox sandbox;
    // Only root can do without a mapping, but root of a container may be allowed no more than
    // others.
    for (const bool maps_root : {false, true}) {
        try {
            enter_namespaces(maps_root);
            sandbox.reason_.clear();
            break;
        } catch (const std::runtime_error& problem) {
            sandbox.reason_ = problem.what();
        }
    }
    if (!sandbox.is_private()) {
        sandbox.lock_ = lock_the_machine();
    }
    fs::create_directories(kSocketDirectory);
    return sandbox;
}

}  // namespace simulator
