// What the core, the database service and the system log do.
#include <csignal>

#include "FaultRows.h"

namespace {

using DatabaseFault = simulator::DatabaseService::Fault;
using CoreFault = simulator::Core::Fault;
using Length = FaultRow::Length;

// Why a report failed, as the log has it.
constexpr int kNoConnection = 6;
constexpr int kNoAnswer = 8;
constexpr int kErrorAnswer = 13;

// Commands go on while a report fails, for the reason that the log gives as a number.
void core_fails(Trial& trial, const std::function<void(simulator::Core&)>& how, int reason) {
    trial.starts();
    trial.pauses();
    how(trial.core());
    trial.changes_a_bulb();
    trial.awaits_log(
        "ERROR sending vexad request: core_request::run error calling fsmcore_request <" +
        std::to_string(reason) + ">");
    trial.asks(3);
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
    trial.core().fails(CoreFault::late);
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

void database_fails(Trial& trial, DatabaseFault fault) {
    trial.database().fails(fault);
    trial.fails_to_start();
    trial.awaits_log("Impossible to get required OPTIONALP needed by the runner");
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
         [](Trial& trial) {
             core_fails(
                 trial, [](simulator::Core& core) { core.loses_socket(); }, kNoConnection);
         }},
        {"CoreRefuses", "core refuses connections",
         [](Trial& trial) {
             core_fails(
                 trial, [](simulator::Core& core) { core.vanishes(); }, kNoConnection);
         }},
        {"CoreComesBack", "core refuses connections, and is back", core_comes_back},
        {"CoreHangs", "core takes no connection in",
         [](Trial& trial) {
             core_fails(
                 trial, [](simulator::Core& core) { core.hangs(); }, kNoConnection);
         }},
        {"CoreIsSilent", "core takes reports and never answers",
         [](Trial& trial) {
             core_fails(
                 trial, [](simulator::Core& core) { core.fails(CoreFault::silent); }, kNoAnswer);
         }},
        {"CoreAnswersErrors", "core answers reports with an error",
         [](Trial& trial) {
             core_fails(
                 trial, [](simulator::Core& core) { core.fails(CoreFault::error_status); },
                 kErrorAnswer);
         }},
        {"CoreAnswersRubbish", "core answers reports with rubbish",
         [](Trial& trial) {
             core_fails(
                 trial, [](simulator::Core& core) { core.fails(CoreFault::rubbish); }, kNoAnswer);
         }},
        {"CoreGoesInAReport", "core is gone while a report is being sent",
         [](Trial& trial) {
             core_fails(
                 trial, [](simulator::Core& core) { core.fails(CoreFault::gone); }, kNoAnswer);
         }},
        {"CoreIsLate", "core answers a report a second later", core_is_late},
        {"CoreQuitsEarly", "core sends QUIT while commands wait", core_quits_while_commands_wait},
        {"DatabaseIsMissing", "database is not there at the start", database_is_missing},
        {"DatabaseIsSilent", "database never answers",
         [](Trial& trial) { database_fails(trial, DatabaseFault::silent); }, Length::minutes},
        {"DatabaseIsSlow", "database sends a byte every 2 ms", database_is_slow},
        {"DatabaseAnswersErrors", "database answers with an error",
         [](Trial& trial) { database_fails(trial, DatabaseFault::error_status); }},
        {"DatabaseAnswersRubbish", "database answers with rubbish",
         [](Trial& trial) { database_fails(trial, DatabaseFault::rubbish); }},
        {"DatabaseSendsHalf", "database closes in the middle of its answer",
         [](Trial& trial) { database_fails(trial, DatabaseFault::closes_early); }},
        {"DatabaseGoesLater", "database goes once the daemon is up", database_goes_later},
        {"LogIsMissing", "there is no system log", log_is_missing},
        {"LogIsNotRead", "nobody reads the system log", log_is_not_read},
        {"LogGoesAndComes", "the system log restarts", log_goes},
    };
}
