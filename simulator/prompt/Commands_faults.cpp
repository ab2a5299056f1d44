// Commands that inject faults and end them.
#include <csignal>

#include <sys/socket.h>

#include "libcbase/FSMCoreutil.h"
#include "simulator/prompt/Session.h"

namespace simulator {
namespace {

constexpr int kConnectionsPerCommand = 50;  // the queue of the endpoint holds a few more
void note(const Call& call, const std::string& text) {
    call.house().journal().add(EventKind::house, text);
}

void inject_bridge_fault(const Call& call) {
    note(call, "bridge: " + call.text("BRIDGE-FAULT"));
    call.session.connections_before = call.bridge().gate().connections();
    call.bridge().inject_fault(call.text("BRIDGE-FAULT"), call.number("COUNT", Bridge::kForever));
}

void flood(const Call& call) {
    std::string body = "{\"state\":[0";
    while (body.size() < static_cast<std::size_t>(call.number("COUNT"))) {
        body += ",0.1234567890";
    }
    call.bridge().send_answer("200 OK", "application/json", body + "]}");
}

void send_text(const FileDescriptor& peer, const std::string& text) {
    const ssize_t sent = send(peer.get(), text.data(), text.size(), MSG_NOSIGNAL);
    require(sent == static_cast<ssize_t>(text.size()), "cannot be sent");
}

void ask_once(const Call& call) {
    require(call.session.ask() >= 0, "a command was not acknowledged");
}

// Silent connections, with a command after every fifty.
void connect_peers(const Call& call) {
    for (int i = 1; i <= call.number("COUNT"); ++i) {
        call.session.peers.push_back(call.core().connect_to_daemon());
        if (i % kConnectionsPerCommand == 0) {
            ask_once(call);
        }
    }
}

// Sends every prefix of a request, then closes in order or resets.
void send_prefixes(const Call& call) {
    const std::string text = *fsmcore_format::compose_request(
        fsmcore_format::Form::length_managed,
        {"SERVICE_RUNONELEMENT",
         {call.text("OBJECT"), "RUN", call.text("VALUE"), "", "", "CORE"},
         "5"});
    for (std::size_t cut = 0; cut < text.size(); ++cut) {
        const FileDescriptor peer = call.core().connect_to_daemon();
        send_text(peer, text.substr(0, cut));
        const linger at_once{static_cast<int>(cut % 2), 0};
        setsockopt(peer.get(), SOL_SOCKET, SO_LINGER, &at_once, sizeof(at_once));
        if (cut % kConnectionsPerCommand == kConnectionsPerCommand - 1) {
            ask_once(call);
        }
    }
    require(call.session.wait_until(
                [&] {
                    return call.house().journal().count(EventKind::log, "GtwHandler::run ") >=
                           text.size();
                },
                25),
            "not every prefix has a log line");
}

void raise_inside(const Call& call) {
    const bool is_random = call.session.setup().seed != 0;
    call.session.shim().allocations_before =
        is_random ? static_cast<int>(call.session.random()() % 200) : 0;
    auto& where = call.text("allocation|log") == "log" ? call.session.shim().signal_in_syslog
                                                       : call.session.shim().signal_in_allocation;
    where = to_signal(call.text("SIGNAL"));
}

// At another moment of the start each time. Before its handlers are installed, a signal ends it.
void interrupt_starts(const Call& call) {
    const int count = call.number("COUNT");
    for (int i = 0; i < count; ++i) {
        call.house().launch();
        std::this_thread::sleep_for(std::chrono::microseconds(i * i * 200));
        const int code = call.house().stop().value_or(-1);
        require(code == 0 || code == -SIGTERM, "a start ended with " + ending_text(code));
    }
}

}  // namespace

std::vector<Command> fault_commands() {
    return {
        {"bridge restore", "ends every fault of the bridge",
         [](const Call& call) {
             call.bridge().recover();
             note(call, "bridge: restore");
         }},
        {"bridge make old|new|mdns-only|hostile",
         "announces itself as a bridge of this make; hostile: a new one, and a device that sends "
         "what no device should",
         [](const Call& call) { call.bridge().pose_as(call.text("old|new|mdns-only|hostile")); }},
        {"bridge BRIDGE-FAULT [times COUNT]",
         "injects a fault: cut, reset, stall, half, slow, garbage, ...", inject_bridge_fault},
        {"bridge pause COUNT", "sends its answers byte by byte, so many milliseconds apart",
         [](const Call& call) {
             call.bridge().gate().server().inject_fault(
                 slowness(std::chrono::milliseconds(call.number("COUNT"))));
         }},
        {"bridge answer STATUS TYPE [with BODY]", "sends this instead of its answers",
         [](const Call& call) {
             call.bridge().send_answer(call.text("STATUS"), call.text("TYPE"), call.text("BODY"));
         }},
        {"bridge flood COUNT", "answers with JSON of so many bytes", flood},
        {"bridge lose LIGHT", "a light is removed from the bridge",
         [](const Call& call) { call.bridge().remove_light(call.number("LIGHT")); }},
        {"core restore", "ends every fault of the core",
         [](const Call& call) {
             call.core().recover();
             note(call, "core: restore");
         }},
        {"core quit", "the core sends QUIT",
         [](const Call& call) {
             require(call.core().quit() == 0, "QUIT was not acknowledged");
             call.session.expects_end = true;
         }},
        {"core CORE-FAULT", "injects a fault: cut, silent, late, ...",
         [](const Call& call) {
             call.core().inject_fault(call.text("CORE-FAULT"));
             note(call, "core: " + call.text("CORE-FAULT"));
         }},
        {"database restore", "ends every fault of the database",
         [](const Call& call) { call.house().database().recover(); }},
        {"database hide COLUMN", "no answer has this column",
         [](const Call& call) { call.house().database().hide_column(call.text("COLUMN")); }},
        {"database DATABASE-FAULT", "injects a fault: cut, silent, slow, error, ...",
         [](const Call& call) {
             call.house().database().inject_fault(call.text("DATABASE-FAULT"));
         }},
        {"log restore", "ends every fault of the system log",
         [](const Call& call) { call.house().log()->recover(); }},
        {"log LOG-FAULT", "injects a fault: cut, full",
         [](const Call& call) {
             call.ledger().miss_log_lines();
             call.house().log()->inject_fault(call.text("LOG-FAULT"));
         }},
        {"clock OFFSET", "the daemon's wall clock is ahead by so many seconds",
         [](const Call& call) {
             call.session.shim().clock_offset_seconds = call.number("OFFSET");
         }},
        {"raise SIGNAL in allocation|log", "raises a signal in the daemon's next such call",
         raise_inside},
        {"signal SIGNAL", "sends a signal to the daemon",
         [](const Call& call) {
             call.house().daemon().send_signal(to_signal(call.text("SIGNAL")));
         }},
        {"peers COUNT", "opens silent connections to the daemon, with a command after every fifty",
         connect_peers},
        {"prefixes of OBJECT VALUE", "sends a command cut at every byte", send_prefixes},
        {"send TEXT...", "sends a line of text to the daemon",
         [](const Call& call) {
             send_text(call.core().connect_to_daemon(), call.text("TEXT") + "\n");
         }},
        {"interrupt COUNT starts", "starts the daemon and sends SIGTERM, each time a little later",
         interrupt_starts},
    };
}

}  // namespace simulator
