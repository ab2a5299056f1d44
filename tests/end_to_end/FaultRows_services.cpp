// Faults of the core, the database service and the system log.
#include <csignal>
#include <functional>

#include "FaultRows.h"

namespace {

using Steps = FaultRow::Steps;
using Length = FaultRow::Length;

// The reasons of a failed report, as logged.
constexpr int kNoConnection = 6;
constexpr int kNoAnswer = 8;
constexpr int kErrorAnswer = 13;

// A report fails with `reason` in the log; commands are still accepted.
Steps report_fails(const std::string& fault, int reason) {
    return [fault, reason](Trial& trial) {
        trial.start();
        trial.random_pause();
        trial.core().inject_fault(fault);
        trial.change_bulb();
        trial.wait_for_log(
            "ERROR sending vexad request: core_request::run error calling fsmcore_request <" +
            std::to_string(reason) + ">");
        trial.send_commands(3);
    };
}

// After the core recovers, the next change is reported.
void core_recovers(Trial& trial) {
    trial.start();
    trial.core().inject_fault("cut");
    trial.change_bulb();
    trial.wait_for_log("ERROR sending vexad request: ");
    trial.core().recover();
    trial.change_bulb();
    trial.wait_until("report", [&] { return trial.core().value(111) == "0"; });
    trial.expect(trial.core().reports().size() == 1, "there were more reports than changes");
}

void core_is_late(Trial& trial) {
    trial.start();
    trial.core().inject_fault("late");
    trial.change_bulb();
    trial.wait_until("report", [&] { return trial.core().value(111) == "1"; });
    trial.send_commands(3);
}

void core_quits_while_commands_wait(Trial& trial) {
    trial.start();
    trial.random_pause();
    trial.send_unchecked(20);
    trial.expect(trial.core().quit() == 0, "QUIT was not acknowledged");
    trial.send_unchecked(2);
    trial.wait_for_log("Request dropped, lumivad will terminate soon: ");
    trial.wait_for_log(" requests dropped, the request manager thread has ended");
    trial.wait_until_settled();
    trial.house().daemon().send_signal(SIGTERM);
    trial.expect_exit("exit code 0", std::chrono::seconds(2));
}

Steps database_fails(const std::string& fault) {
    return [fault](Trial& trial) {
        trial.database().inject_fault(fault);
        trial.expect_start_failure();
        trial.wait_for_log("Impossible to get required OPTIONALP needed by the runner");
    };
}

void database_is_missing(Trial& trial) {
    trial.database().inject_fault("cut");
    trial.expect_start_failure();
    trial.wait_for_log("error calling dbmanager_socket_request <308>");
}

void database_is_slow(Trial& trial) {
    trial.database().inject_fault("slow");
    trial.start();
    trial.send_commands(2);
}

void database_stops_after_start(Trial& trial) {
    trial.start();
    trial.database().inject_fault("cut");
    trial.send_commands(3);
}

// Without a log failures cannot be seen; nothing else may fail.
void log_is_missing(Trial& trial) {
    trial.log().inject_fault("cut");
    trial.start(false);
    trial.random_pause();
    trial.send_commands(5);
}

void log_is_not_read(Trial& trial) {
    trial.start();
    trial.log().inject_fault("full");
    trial.send_commands(10);
    trial.wait_until_settled();
    trial.random_pause();
    trial.log().recover();
    trial.wait_for_log(" log lines lost");
}

void log_restarts(Trial& trial) {
    trial.start();
    trial.log().inject_fault("cut");
    trial.send_commands(5);
    trial.random_pause();
    trial.log().recover();
    trial.send_commands(1);
    trial.wait_for_log("-- Received request: ");
}

}  // namespace

std::vector<FaultRow> service_rows() {
    return {
        {"CoreHasNoSocket", "core has no socket file", report_fails("no-socket", kNoConnection)},
        {"CoreRefuses", "core refuses connections", report_fails("cut", kNoConnection)},
        {"CoreRecovers", "core refuses connections, then recovers", core_recovers},
        {"CoreHangs", "core does not accept connections", report_fails("hang", kNoConnection)},
        {"CoreIsSilent", "core never answers reports", report_fails("silent", kNoAnswer)},
        {"CoreAnswersErrors", "core answers reports with an error",
         report_fails("error", kErrorAnswer)},
        {"CoreAnswersGarbage", "core answers reports with garbage",
         report_fails("garbage", kNoAnswer)},
        {"CoreResetsAReport", "core resets the connection during a report",
         report_fails("reset", kNoAnswer)},
        {"CoreIsLate", "core answers a report after a second", core_is_late},
        {"QuitWhileCommandsWait", "core sends QUIT while commands wait",
         core_quits_while_commands_wait},
        {"DatabaseIsMissing", "database refuses connections at the start", database_is_missing},
        {"DatabaseIsSilent", "database never answers", database_fails("silent"), Length::minutes},
        {"DatabaseIsSlow", "database sends a byte every 2 ms", database_is_slow},
        {"DatabaseAnswersErrors", "database answers with an error", database_fails("error")},
        {"DatabaseAnswersGarbage", "database answers with garbage", database_fails("garbage")},
        {"DatabaseSendsHalf", "database closes in the middle of its answer",
         database_fails("half")},
        {"DatabaseStopsAfterTheStart", "database stops after the start of the daemon",
         database_stops_after_start},
        {"LogIsMissing", "there is no system log", log_is_missing},
        {"LogIsNotRead", "the system log is not read", log_is_not_read},
        {"LogRestarts", "the system log restarts", log_restarts},
    };
}
