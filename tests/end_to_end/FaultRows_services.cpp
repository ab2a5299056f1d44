// What the core, the database service and the system log do.
#include <csignal>
#include <functional>

#include "FaultRows.h"

namespace {

using DatabaseFault = simulator::DatabaseService::Fault;
using simulator::Core;
using Course = FaultRow::Course;
using Length = FaultRow::Length;

// Why a report failed, as the log has it.
constexpr int kNoConnection = 6;
constexpr int kNoAnswer = 8;
constexpr int kErrorAnswer = 13;

// Commands go on while a report fails, for the reason that the log gives as a number.
template <typename How>
Course core_does(How how, int reason) {
    return [how, reason](Trial& trial) {
        trial.starts();
        trial.pauses();
        std::invoke(how, trial.core());
        trial.changes_a_bulb();
        trial.awaits_log(
            "ERROR sending vexad request: core_request::run error calling fsmcore_request <" +
            std::to_string(reason) + ">");
        trial.asks(3);
    };
}

Course core_fails(Core::Fault fault, int reason) {
    return core_does([fault](Core& core) { core.fails(fault); }, reason);
}

// Once it is back, a light's next change reaches it.
void core_comes_back(Trial& trial) {
    trial.starts();
    trial.core().vanishes();
    trial.changes_a_bulb();
    trial.awaits_log("ERROR sending vexad request: ");
    trial.core().recovers();
    trial.changes_a_bulb();
    trial.awaits("the report", [&] { return trial.core().value(111) == "0"; });
    trial.requires_that(trial.core().reports().size() == 1, "more was reported than had changed");
}

void core_is_late(Trial& trial) {
    trial.starts();
    trial.core().fails(Core::Fault::late);
    trial.changes_a_bulb();
    trial.awaits("the report", [&] { return trial.core().value(111) == "1"; });
    trial.asks(3);
}

void core_quits_while_commands_wait(Trial& trial) {
    trial.starts();
    trial.pauses();
    trial.tries_to_ask(20);
    trial.requires_that(trial.core().quits() == 0, "QUIT is not answered");
    trial.tries_to_ask(2);
    trial.awaits_log("Request dropped, lumivad will terminate soon: ");
    trial.awaits_log(" requests dropped, the request manager thread has ended");
    trial.awaits_settled();
    trial.house().daemon().signals(SIGTERM);
    trial.ends("exit code 0", std::chrono::seconds(2));
}

Course database_fails(DatabaseFault fault) {
    return [fault](Trial& trial) {
        trial.database().fails(fault);
        trial.fails_to_start();
        trial.awaits_log("Impossible to get required OPTIONALP needed by the runner");
    };
}

void database_is_missing(Trial& trial) {
    trial.database().vanishes();
    trial.fails_to_start();
    trial.awaits_log("error calling dbmanager_socket_request <308>");
}

void database_is_slow(Trial& trial) {
    trial.database().fails(DatabaseFault::slow);
    trial.starts();
    trial.asks(2);
}

void database_goes_later(Trial& trial) {
    trial.starts();
    trial.database().vanishes();
    trial.asks(3);
}

// Nobody can look up what failed, so nothing else may.
void log_is_missing(Trial& trial) {
    trial.log().vanishes();
    trial.starts(false);
    trial.pauses();
    trial.asks(5);
}

void log_is_not_read(Trial& trial) {
    trial.starts();
    trial.log().stops_reading();
    trial.asks(10);
    trial.awaits_settled();
    trial.pauses();
    trial.log().recovers();
    trial.awaits_log(" log lines lost");
}

void log_goes(Trial& trial) {
    trial.starts();
    trial.log().vanishes();
    trial.asks(5);
    trial.pauses();
    trial.log().recovers();
    trial.asks(1);
    trial.awaits_log("-- Received request: ");
}

}  // namespace

std::vector<FaultRow> service_rows() {
    return {
        {"CoreHasNoSocket", "core: the socket's file is gone",
         core_does(&Core::loses_socket, kNoConnection)},
        {"CoreRefuses", "core refuses connections", core_does(&Core::vanishes, kNoConnection)},
        {"CoreComesBack", "core refuses connections, and is back", core_comes_back},
        {"CoreHangs", "core takes no connection in", core_does(&Core::hangs, kNoConnection)},
        {"CoreIsSilent", "core takes reports and never answers",
         core_fails(Core::Fault::silent, kNoAnswer)},
        {"CoreAnswersErrors", "core answers reports with an error",
         core_fails(Core::Fault::error_status, kErrorAnswer)},
        {"CoreAnswersRubbish", "core answers reports with rubbish",
         core_fails(Core::Fault::rubbish, kNoAnswer)},
        {"CoreGoesInAReport", "core is gone while a report is being sent",
         core_fails(Core::Fault::gone, kNoAnswer)},
        {"CoreIsLate", "core answers a report a second later", core_is_late},
        {"CoreQuitsEarly", "core sends QUIT while commands wait", core_quits_while_commands_wait},
        {"DatabaseIsMissing", "database is not there at the start", database_is_missing},
        {"DatabaseIsSilent", "database never answers", database_fails(DatabaseFault::silent),
         Length::minutes},
        {"DatabaseIsSlow", "database sends a byte every 2 ms", database_is_slow},
        {"DatabaseAnswersErrors", "database answers with an error",
         database_fails(DatabaseFault::error_status)},
        {"DatabaseAnswersRubbish", "database answers with rubbish",
         database_fails(DatabaseFault::rubbish)},
        {"DatabaseSendsHalf", "database closes in the middle of its answer",
         database_fails(DatabaseFault::closes_early)},
        {"DatabaseGoesLater", "database goes once the daemon is up", database_goes_later},
        {"LogIsMissing", "there is no system log", log_is_missing},
        {"LogIsNotRead", "nobody reads the system log", log_is_not_read},
        {"LogGoesAndComes", "the system log restarts", log_goes},
    };
}
