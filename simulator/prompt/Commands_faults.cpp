// Commands that inject faults and end them.
#include <csignal>
#include <thread>

#include <sys/socket.h>

#include "libcbase/FSMCoreutil.h"
#include "simulator/prompt/Session.h"

namespace simulator {
namespace {

constexpr int kConnectionsPerCommand = 50;  // the queue of the endpoint holds a few more
constexpr int kSignals[] = {SIGTERM, SIGKILL, SIGHUP, SIGINT, SIGSEGV, SIGABRT, SIGPIPE, SIGCHLD};

int signal_of(const std::string& name) {
    for (const int number : kSignals) {
        if (name == sigabbrev_np(number)) {
            return number;
        }
    }
    throw CommandError("not a signal: " + name);
}

void check_signal(Session&, const Slots& slots) {
    signal_of(slots.text("SIGNAL"));
}

void note(Session& session, const std::string& text) {
    session.house().journal().add(EventKind::house, text);
}

void inject_bridge_fault(Session& session, const Slots& slots) {
    note(session, "bridge: " + slots.text("BRIDGE-FAULT"));
    session.connections_before = session.house().bridge().gate().connections();
    session.house().bridge().inject_fault(slots.text("BRIDGE-FAULT"),
                                          slots.number("COUNT", Bridge::kForever));
}

void answer(Session& session, const Slots& slots) {
    session.house().bridge().send_answer(slots.text("STATUS"), slots.text("TYPE"),
                                         slots.text("BODY"));
}

void flood(Session& session, const Slots& slots) {
    std::string body = "{\"state\":[0";
    while (body.size() < static_cast<std::size_t>(slots.number("COUNT"))) {
        body += ",0.1234567890";
    }
    session.house().bridge().send_answer("200 OK", "application/json", body + "]}");
}

void inject_log_fault(Session& session, const Slots& slots) {
    session.house().ledger().miss_log_lines();
    session.house().log()->inject_fault(slots.text("LOG-FAULT"));
}

void quit_daemon(Session& session, const Slots&) {
    Session::require(session.house().core().quit() == 0, "QUIT was not acknowledged");
    session.expects_end = true;
}

// Silent connections, with a command after every fifty.
void connect_peers(Session& session, const Slots& slots) {
    for (int i = 1; i <= slots.number("COUNT"); ++i) {
        session.peers.push_back(session.house().core().connect_to_daemon());
        if (i % kConnectionsPerCommand == 0) {
            Session::require(session.ask() >= 0, "a command was not acknowledged");
        }
    }
}

// Sends every prefix of a request, then closes in order or resets.
void send_prefixes(Session& session, const Slots& slots) {
    const std::string text = *fsmcore_format::compose_request(
        fsmcore_format::Form::length_managed,
        {"SERVICE_RUNONELEMENT",
         {slots.text("OBJECT"), "RUN", slots.text("VALUE"), "", "", "CORE"},
         "5"});
    for (std::size_t cut = 0; cut < text.size(); ++cut) {
        const FileDescriptor peer = session.house().core().connect_to_daemon();
        Session::require(
            send(peer.get(), text.data(), cut, MSG_NOSIGNAL) == static_cast<ssize_t>(cut),
            "a prefix cannot be sent");
        const linger at_once{static_cast<int>(cut % 2), 0};
        setsockopt(peer.get(), SOL_SOCKET, SO_LINGER, &at_once, sizeof(at_once));
        if (cut % kConnectionsPerCommand == kConnectionsPerCommand - 1) {
            Session::require(session.ask() >= 0, "a command was not acknowledged");
        }
    }
    Session::require(
        session.wait_until(
            [&] { return session.house().log()->count("GtwHandler::run ") >= text.size(); }, 25),
        "not every prefix has a log line");
}

void send_raw(Session& session, const Slots& slots) {
    const FileDescriptor peer = session.house().core().connect_to_daemon();
    const std::string text = slots.text("TEXT") + "\n";
    Session::require(send(peer.get(), text.data(), text.size(), MSG_NOSIGNAL) ==
                         static_cast<ssize_t>(text.size()),
                     "cannot be sent");
}

void raise_inside(Session& session, const Slots& slots) {
    const bool is_random = session.setup().seed != 0;
    session.shim().allocations_before = is_random ? static_cast<int>(session.random()() % 200) : 0;
    auto& where = slots.text("allocation|log") == "log" ? session.shim().signal_in_syslog
                                                        : session.shim().signal_in_allocation;
    where = signal_of(slots.text("SIGNAL"));
}

// At another moment of the start each time. Before its handlers are installed, a signal ends it.
void interrupt_starts(Session& session, const Slots& slots) {
    const int count = slots.number("COUNT");
    for (int i = 0; i < count; ++i) {
        session.house().launch();
        std::this_thread::sleep_for(std::chrono::microseconds(i * i * 200));
        const int code = session.house().stop().value_or(-1);
        Session::require(code == 0 || code == -SIGTERM, "a start ended with " + ending_text(code));
    }
}

}  // namespace

std::vector<Command> fault_commands() {
    return {
        {"bridge restore", "ends every fault of the bridge",
         [](Session& session, const Slots&) {
             session.house().bridge().recover();
             note(session, "bridge: restore");
         }},
        {"bridge BRIDGE-FAULT [times COUNT]",
         "injects a fault: cut, reset, stall, half, slow, garbage, ...", inject_bridge_fault},
        {"bridge pause COUNT", "sends its answers byte by byte, so many milliseconds apart",
         [](Session& session, const Slots& slots) {
             session.house().bridge().gate().server().inject_fault(
                 slowness(std::chrono::milliseconds(slots.number("COUNT"))));
         }},
        {"bridge answer STATUS TYPE [with BODY]", "sends this instead of its answers", answer},
        {"bridge flood COUNT", "answers with JSON of so many bytes", flood},
        {"bridge lose LIGHT", "a light is removed from the bridge",
         [](Session& session, const Slots& slots) {
             session.house().bridge().remove_light(slots.number("LIGHT"));
         }},
        {"core restore", "ends every fault of the core",
         [](Session& session, const Slots&) {
             session.house().core().recover();
             note(session, "core: restore");
         }},
        {"core quit", "the core sends QUIT", quit_daemon},
        {"core CORE-FAULT", "injects a fault: cut, silent, late, ...",
         [](Session& session, const Slots& slots) {
             session.house().core().inject_fault(slots.text("CORE-FAULT"));
             note(session, "core: " + slots.text("CORE-FAULT"));
         }},
        {"database restore", "ends every fault of the database",
         [](Session& session, const Slots&) { session.house().database().recover(); }},
        {"database hide COLUMN", "no answer has this column",
         [](Session& session, const Slots& slots) {
             session.house().database().hide_column(slots.text("COLUMN"));
         }},
        {"database DATABASE-FAULT", "injects a fault: cut, silent, slow, error, ...",
         [](Session& session, const Slots& slots) {
             session.house().database().inject_fault(slots.text("DATABASE-FAULT"));
         }},
        {"log restore", "ends every fault of the system log",
         [](Session& session, const Slots&) { session.house().log()->recover(); }},
        {"log LOG-FAULT", "injects a fault: cut, full", inject_log_fault},
        {"clock OFFSET", "the daemon's wall clock is ahead by so many seconds",
         [](Session& session, const Slots& slots) {
             session.shim().clock_offset_seconds = slots.number("OFFSET");
         }},
        {"raise SIGNAL in allocation|log", "raises a signal in the daemon's next such call",
         raise_inside, check_signal},
        {"signal SIGNAL", "sends a signal to the daemon",
         [](Session& session, const Slots& slots) {
             session.house().daemon().send_signal(signal_of(slots.text("SIGNAL")));
         },
         check_signal},
        {"peers COUNT", "opens silent connections to the daemon, with a command after every fifty",
         connect_peers},
        {"prefixes of OBJECT VALUE", "sends a command cut at every byte", send_prefixes},
        {"send TEXT...", "sends a line of text to the daemon", send_raw},
        {"interrupt COUNT starts", "starts the daemon and sends SIGTERM, each time a little later",
         interrupt_starts},
    };
}

}  // namespace simulator
