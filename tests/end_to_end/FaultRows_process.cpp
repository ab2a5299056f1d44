// Faults of the daemon's endpoint, resources, clock and process.
#include <csignal>
#include <cstdint>
#include <fstream>
#include <map>
#include <thread>

#include <sys/resource.h>
#include <sys/socket.h>

#include "FaultRows.h"
#include "libcbase/FSMCoreutil.h"

namespace {

using Length = FaultRow::Length;
using Milliseconds = Trial::Milliseconds;
using Needs = FaultRow::Needs;
using simulator::ChildProcess;

constexpr int kDaySeconds = 86400;

// The test needs more descriptors than the default limit.
void allow_descriptors(rlim_t count) {
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    if (limit.rlim_cur < count) {
        limit.rlim_cur = std::min(count, limit.rlim_max);
        setrlimit(RLIMIT_NOFILE, &limit);
    }
}

// Silent connections, with a command after every fifty. The queue of the endpoint holds a few more
// than fifty.
void connect_silent_peers(Trial& trial, int count) {
    std::vector<FileDescriptor> peers;
    for (int i = 1; i <= count; ++i) {
        peers.push_back(trial.core().connect_to_daemon());
        if (i % 50 == 0) {
            trial.send_commands(1);
        }
    }
    trial.wait_for_log("displaced by a later connection");
    trial.wait_until_settled();
}

// Sends every prefix of a request, then closes in order or resets.
void send_cut_requests(Trial& trial) {
    const std::string text = *fsmcore_format::compose_request(
        fsmcore_format::Form::length_managed,
        {"SERVICE_RUNONELEMENT", {"131", "RUN", "1", "", "", "CORE"}, "5"});
    trial.start();
    for (std::size_t cut = 0; cut < text.size(); ++cut) {
        FileDescriptor peer = trial.core().connect_to_daemon();
        trial.expect(send(peer.get(), text.data(), cut, MSG_NOSIGNAL) == static_cast<ssize_t>(cut),
                     "a prefix cannot be sent");
        if (cut % 2 == 1) {
            const linger at_once{1, 0};
            setsockopt(peer.get(), SOL_SOCKET, SO_LINGER, &at_once, sizeof(at_once));
        }
        if (cut % 50 == 49) {
            trial.send_commands(1);
        }
    }
    trial.send_commands(5);
    trial.wait_until("a log line for each prefix",
                     [&] { return trial.log().count("GtwHandler::run ") >= text.size(); });
    trial.expect(!trial.house().light(3).is_on(), "part of a request was carried out");
}

void limit_descriptors(Trial& trial, std::size_t count) {
    const rlimit limit{count, 4096};
    trial.expect(prlimit(trial.house().daemon().pid(), RLIMIT_NOFILE, &limit, nullptr) == 0,
                 "the limit could not be set");
}

// Few descriptors and many connections.
void use_few_descriptors(Trial& trial) {
    trial.start();
    limit_descriptors(trial, 16);
    connect_silent_peers(trial, 300);
    trial.expect(trial.log().count("Too many open files (light id = ") == 0,
                 "no descriptor was left for the bridge");
    limit_descriptors(trial, 1024);
}

// No descriptor is left: nothing can be served, and nothing may break.
void use_no_descriptors(Trial& trial) {
    trial.start();
    limit_descriptors(trial, 3);
    std::thread core([&] { trial.send_unchecked(1); });
    trial.wait_for_log("Too many open files (bridge disconnected)");
    limit_descriptors(trial, 1024);
    core.join();
}

rlim_t address_space_of(pid_t pid) {
    std::ifstream file("/proc/" + std::to_string(pid) + "/statm");
    rlim_t pages = 0;
    file >> pages;
    return pages * 4096;
}

void limit_memory(Trial& trial, rlim_t bytes) {
    const rlimit limit{bytes, RLIM_INFINITY};
    trial.expect(prlimit(trial.house().daemon().pid(), RLIMIT_AS, &limit, nullptr) == 0,
                 "the limit could not be set");
}

// Parsing the answer for a light needs more memory than there is.
void exceed_memory(Trial& trial) {
    trial.start();
    limit_memory(trial, address_space_of(trial.house().daemon().pid()) + (4U << 20));
    std::string body = "{\"state\":[0";
    while (body.size() < 1900000) {
        body += ",0.1234567890";
    }
    trial.bridge().send_body(body + "]}");
    trial.send_commands(5);
    trial.wait_for_log("std::bad_alloc (light id = ");
    trial.bridge().recover();
    trial.send_commands(2);
    limit_memory(trial, RLIM_INFINITY);
}

// The next poll follows the pause after a command, neither at once nor in a day.
void step_clock(Trial& trial, int seconds) {
    trial.start();
    trial.random_pause(Milliseconds(4000));
    trial.send_commands(3);
    trial.wait_until_settled();
    const auto settled = Trial::Clock::now();
    // The pause begins shortly after the last answer, without a sign. It lasts 3 s.
    std::this_thread::sleep_for(Milliseconds(1000));
    trial.shim().clock_offset_seconds = seconds;
    const int before = trial.polls();
    trial.wait_until("poll", [&] { return trial.polls() > before; });
    trial.expect(Trial::Clock::now() - settled > Milliseconds(2900), "the poll came too early");
    trial.send_commands(2);
}

// SIGKILL leaves no time to clean up; what is left must not disturb the next daemon.
void terminate(Trial& trial, int number, const std::string& ending) {
    trial.start();
    trial.random_pause(Milliseconds(4000));
    trial.send_unchecked(5);
    trial.random_pause(Milliseconds(700));
    trial.house().daemon().send_signal(number);
    trial.expect_killed(ending, std::chrono::seconds(1));
}

// A core that starts the daemon twice talks to the first one only.
void run_twice(Trial& trial) {
    trial.start();
    ChildProcess other({trial.daemon_path(),
                        {"--id", std::to_string(trial.house().runner())},
                        trial.environment()});
    const auto status = other.start_status(Trial::kLimit);
    trial.expect(status && status->status == 0, "the second daemon does not start");
    trial.send_commands(5);
    trial.expect(other.stop().text() == "exit code 0", "the second daemon does not end");
    trial.send_commands(2);
    trial.wait_until_settled();
}

// SIGTERM at any moment of the start. Before the handlers are installed it ends by the signal.
void terminate_during_start(Trial& trial) {
    std::map<std::string, int> endings;
    for (int i = 0; i < 12; ++i) {
        const std::string runner = std::to_string(trial.house().runner());
        ChildProcess daemon({trial.daemon_path(), {"--id", runner}, trial.environment()});
        std::this_thread::sleep_for(
            std::chrono::microseconds(trial.is_random() ? trial.random(30000) : i * i * 200));
        daemon.send_signal(SIGTERM);
        const auto ending = daemon.wait(std::chrono::seconds(1));
        const std::string how = ending ? ending->text() : "nothing";
        trial.expect(how == "exit code 0" || how == "signal 15", "a start ended with " + how);
        ++endings[how];
    }
    for (const auto& [how, count] : endings) {
        trial.note(std::to_string(count) + " of 12 starts ended with " + how);
    }
    trial.start();
}

void raise_inside_call(Trial& trial, int number, std::atomic<std::int32_t> FaultShim::*where) {
    trial.start();
    trial.random_pause(Milliseconds(4000));
    trial.shim().allocations_before = trial.is_random() ? trial.random(200) : 0;
    trial.shim().*where = number;
    trial.send_unchecked(1);
    trial.expect_killed("exit code 1", std::chrono::seconds(trial.is_random() ? 5 : 1));
    trial.wait_for_log(number == SIGSEGV ? "gtwHandlerSigsegvHandler called"
                                         : "gtwHandlerSigabrtHandler called");
}

void send_signal_storm(Trial& trial, int number, const std::string& line) {
    trial.start();
    std::atomic<bool> is_over{false};
    const auto& daemon = trial.house().daemon();
    std::thread storm([&] {
        while (!is_over) {
            daemon.send_signal(number);
            std::this_thread::sleep_for(std::chrono::microseconds(50));
        }
    });
    trial.send_commands(10);
    trial.wait_until_settled();
    is_over = true;
    storm.join();
    trial.wait_for_log(line);
}

}  // namespace

std::vector<FaultRow> process_rows() {
    return {
        {"EndpointHasSilentPeers", "500 silent connections to the endpoint",
         [](Trial& trial) {
             allow_descriptors(1024);
             trial.start();
             connect_silent_peers(trial, 500);
         }},
        {"EndpointGetsCutRequests", "requests cut at every byte", send_cut_requests},
        {"FewDescriptors", "16 descriptors and 300 silent connections", use_few_descriptors},
        // The undefined-behaviour sanitizer needs descriptors to check memory.
        {"NoDescriptors", "no descriptor left", use_no_descriptors, Length::seconds,
         Needs::plain_build},
        {"MemoryIsShort", "4 MiB of memory left and an answer that needs more", exceed_memory,
         Length::seconds, Needs::plain_build},
        // The board has 32 bits for the seconds since 1970, which end in 2038.
        {"ClockStepsForward", "the clock steps forward beyond 32 bits",
         [](Trial& trial) { step_clock(trial, INT32_MAX); }, Length::seconds, Needs::shim},
        {"ClockStepsBack", "the clock steps back by a day",
         [](Trial& trial) { step_clock(trial, -kDaySeconds); }, Length::seconds, Needs::shim},
        {"SigtermWhileCommandsWait", "SIGTERM while commands wait",
         [](Trial& trial) { terminate(trial, SIGTERM, "exit code 0"); }},
        {"SigkillWhileCommandsWait", "SIGKILL while commands wait",
         [](Trial& trial) { terminate(trial, SIGKILL, "signal 9"); }},
        {"SecondDaemon", "two daemons for one bridge", run_twice},
        {"SigtermDuringStart", "SIGTERM at any moment of the start", terminate_during_start},
        {"SegmentationFaultInAnAllocation", "SIGSEGV inside an allocation",
         [](Trial& trial) { raise_inside_call(trial, SIGSEGV, &FaultShim::signal_in_allocation); },
         Length::seconds, Needs::shim_and_plain_build},
        {"SegmentationFaultInALogCall", "SIGSEGV inside a log call",
         [](Trial& trial) { raise_inside_call(trial, SIGSEGV, &FaultShim::signal_in_syslog); },
         Length::seconds, Needs::shim_and_plain_build},
        {"AbortInAnAllocation", "SIGABRT inside an allocation",
         [](Trial& trial) { raise_inside_call(trial, SIGABRT, &FaultShim::signal_in_allocation); },
         Length::seconds, Needs::shim_and_plain_build},
        {"AbortInALogCall", "SIGABRT inside a log call",
         [](Trial& trial) { raise_inside_call(trial, SIGABRT, &FaultShim::signal_in_syslog); },
         Length::seconds, Needs::shim_and_plain_build},
        {"SigpipeStorm", "a storm of SIGPIPE",
         [](Trial& trial) {
             send_signal_storm(trial, SIGPIPE, "gtwHandlerSigpipeHandler called");
         }},
        {"SigchldStorm", "a storm of SIGCHLD",
         [](Trial& trial) {
             send_signal_storm(trial, SIGCHLD, "gtwHandlerSigchldHandler called");
         }},
    };
}

std::vector<FaultRow> fault_rows() {
    std::vector<FaultRow> all = bridge_rows();
    for (const auto& rows : {service_rows(), process_rows()}) {
        all.insert(all.end(), rows.begin(), rows.end());
    }
    return all;
}
