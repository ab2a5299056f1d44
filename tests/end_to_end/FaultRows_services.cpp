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
        trial.start();
        trial.random_pause();
        std::invoke(how, trial.core());
        trial.change_bulb();
        trial.wait_for_log(
            "ERROR sending vexad request: core_request::run error calling fsmcore_request <" +
            std::to_string(reason) + ">");
        trial.send_commands(3);
    };
}

Course core_fails(Core::Fault fault, int reason) {
    return core_does([fault](Core& core) { core.inject_fault(fault); }, reason);
}

// Once it is back, a light's next change reaches it.
void core_comes_back(Trial& trial) {
    trial.start();
    trial.core().stop();
    trial.change_bulb();
    trial.wait_for_log("ERROR sending vexad request: ");
    trial.core().recover();
    trial.change_bulb();
    trial.wait_until("the report", [&] { return trial.core().value(111) == "0"; });
    trial.expect(trial.core().reports().size() == 1, "more was reported than had changed");
}

void core_is_late(Trial& trial) {
    trial.start();
    trial.core().inject_fault(Core::Fault::late);
    trial.change_bulb();
    trial.wait_until("the report", [&] { return trial.core().value(111) == "1"; });
    trial.send_commands(3);
}

void core_quits_while_commands_wait(Trial& trial) {
    trial.start();
    trial.random_pause();
    trial.send_unchecked(20);
    trial.expect(trial.core().quit() == 0, "QUIT is not answered");
    trial.send_unchecked(2);
    trial.wait_for_log("Request dropped, lumivad will terminate soon: ");
    trial.wait_for_log(" requests dropped, the request manager thread has ended");
    trial.wait_until_settled();
    trial.house().daemon().send_signal(SIGTERM);
    trial.expect_exit("exit code 0", std::chrono::seconds(2));
}

Course database_fails(DatabaseFault fault) {
    return [fault](Trial& trial) {
        trial.database().inject_fault(fault);
        trial.expect_start_failure();
        trial.wait_for_log("Impossible to get required OPTIONALP needed by the runner");
    };
}

void database_is_missing(Trial& trial) {
    trial.database().stop();
    trial.expect_start_failure();
    trial.wait_for_log("error calling dbmanager_socket_request <308>");
}

void database_is_slow(Trial& trial) {
    trial.database().inject_fault(DatabaseFault::slow);
    trial.start();
    trial.send_commands(2);
}

void database_goes_later(Trial& trial) {
    trial.start();
    trial.database().stop();
    trial.send_commands(3);
}

// Nobody can look up what failed, so nothing else may.
void log_is_missing(Trial& trial) {
    trial.log().stop();
    trial.start(false);
    trial.random_pause();
    trial.send_commands(5);
}

void log_is_not_read(Trial& trial) {
    trial.start();
    trial.log().stop_reading();
    trial.send_commands(10);
    trial.wait_until_settled();
    trial.random_pause();
    trial.log().recover();
    trial.wait_for_log(" log lines lost");
}

void log_goes(Trial& trial) {
    trial.start();
    trial.log().stop();
    trial.send_commands(5);
    trial.random_pause();
    trial.log().recover();
    trial.send_commands(1);
    trial.wait_for_log("-- Received request: ");
}

}  // namespace

std::vector<FaultRow> service_rows() {
    return {
        {"CoreHasNoSocket", "core: the socket's file is gone",
         core_does(&Core::remove_socket, kNoConnection)},
        {"CoreRefuses", "core refuses connections", core_does(&Core::stop, kNoConnection)},
        {"CoreComesBack", "core refuses connections, and is back", core_comes_back},
        {"CoreHangs", "core takes no connection in",
         core_does(&Core::hang_connections, kNoConnection)},
        {"CoreIsSilent", "core takes reports and never answers",
         core_fails(Core::Fault::silent, kNoAnswer)},
        {"CoreAnswersErrors", "core answers reports with an error",
         core_fails(Core::Fault::error_status, kErrorAnswer)},
        {"CoreAnswersRubbish", "core answers reports with rubbish",
         core_fails(Core::Fault::garbage, kNoAnswer)},
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
         database_fails(DatabaseFault::garbage)},
        {"DatabaseSendsHalf", "database closes in the middle of its answer",
         database_fails(DatabaseFault::closes_early)},
        {"DatabaseGoesLater", "database goes once the daemon is up", database_goes_later},
        {"LogIsMissing", "there is no system log", log_is_missing},
        {"LogIsNotRead", "nobody reads the system log", log_is_not_read},
        {"LogGoesAndComes", "the system log restarts", log_goes},
    };
}
