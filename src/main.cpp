// lumivad: starts the gateway for one Philips Hue bridge object of the controller's database and
// runs its event loop. The parent process, the core, reads the start status from standard output.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

#include "gtwhandler/GtwHandler.h"
#include "hue_handler/BridgeObject.h"
#include "hue_handler/HueHandler.h"
#include "libcbase/DBManagerutil.h"
#include "libcbase/log.h"
#include "libcbase/memory.h"
#include "libtavdb/db_request.h"

namespace {

using gtwhandlernamespace::GtwHandler;
using hue_handler::BridgeObject;
using hue_handler::HueHandler;

constexpr unsigned int kSelectTimeoutSeconds = 3;
constexpr int kDatabaseError = -2;  // in the log; also for malformed optional parameters

bool is_version_query(int argc, char** argv) {
    return argc == 2 &&
           (std::strncmp(argv[1], "-v", 2) == 0 || std::strncmp(argv[1], "--version", 9) == 0);
}

// The object ID after "--id", or -1. Leading digits count, as in strtol. A number beyond 32 bits is
// refused: cut to 32 bits it would name another object.
int get_runner_id(int argc, char** argv) {
    for (int i = 0; i < argc; ++i) {
        if (std::strncmp(argv[i], "--id", 4) == 0) {
            if (i + 1 >= argc) {
                return -1;
            }
            const long long id = std::strtoll(argv[i + 1], nullptr, 10);
            return id < INT32_MIN || id > INT32_MAX ? -1 : static_cast<int>(id);
        }
    }
    return -1;
}

// Reads the bridge object from the database; an ID without a row leaves it empty. False after a
// failure, which is logged.
bool get_optional_parameters(std::uint32_t id, BridgeObject& bridge) {
    libtavdb::db_request request(DBMANAGER_PORT, BridgeObject::query(id).c_str());
    const std::string problem = request.get_last_error();
    if (!problem.empty()) {
        error("ERR %d: %s", kDatabaseError, problem.c_str());
        return false;
    }
    for (auto& [number, row] : request.rows) {
        const std::vector<const char*> missing = bridge.read(row["OPTIONALP"]);
        if (!missing.empty()) {
            // The message has no closing parenthesis, as existing log filters expect.
            error("ERR %d: Wrong format for vexad_object (optionalp key: %s", kDatabaseError,
                  missing.front());
            return false;
        }
        if (bridge.has_invalid_unknown_models()) {
            warning(
                "Optional parameter unknown_models='%s' is ignored: the only value is 'by_type'",
                escape_control_characters(*bridge.unknown_models).c_str());
        }
    }
    return true;
}

// Reports a failed start-up: status -1 to the core, the reasons to the log.
int fail_start(GtwHandler& loop, std::initializer_list<std::string> reasons) {
    loop.sendStatusToCore(-1);
    for (const std::string& reason : reasons) {
        error("%s", reason.c_str());
    }
    std::fflush(stdout);
    closelogfile();
    return EXIT_FAILURE;
}

std::string last_error_of(GtwHandler& loop) {
    return text_or_empty(loop.getLastError());
}

// A failed step is logged, and the loop goes on: only the clean-up ends it. The error may hold a
// text of the core.
void run_loop(GtwHandler& loop) {
    while (loop.cleanup() == 0) {
        if (loop.run() != 0) {
            error("ERROR gateway handler run() exit with error: %s",
                  escape_control_characters(last_error_of(loop)).c_str());
        }
    }
}

// From the database to the running loop. On failure the handler is destroyed before the loop.
int run_gateway(std::unique_ptr<GtwHandler>& loop, int id) {
    BridgeObject bridge;
    if (!get_optional_parameters(static_cast<std::uint32_t>(id), bridge)) {
        return fail_start(*loop, {"Impossible to get required OPTIONALP needed by the runner"});
    }
    HueHandler handler(static_cast<unsigned int>(id),
                       bridge.ip_address.substr(0, BridgeObject::kParameterBytes),
                       bridge.username.substr(0, BridgeObject::kParameterBytes));
    handler.drive_unknown_models_by_type(bridge.drives_unknown_models());
    loop->sendStatusToCore(0);
    loop->setSelectTimeout(kSelectTimeoutSeconds, 0);

    const int added = loop->addGateway(&handler);
    if (added != 0) {
        return fail_start(
            *loop, {"main failed add gateway handler with return code " + std::to_string(added)});
    }
    info("Initializing the Philips Hue handler");
    const int initialized = handler.init();
    if (initialized < 0) {
        return fail_start(*loop,
                          {"Impossible to get initize data structures needed by the runner " +
                           std::to_string(initialized)});
    }
    run_loop(*loop);
    // Reached only if the clean-up fails: SIGTERM ends the process in its handler.
    error("Gateway cleanup failed!");
    loop->removeGateway(&handler);
    loop.reset();
    return EXIT_SUCCESS;
}

}  // namespace

int main(int argc, char** argv) {
    if (is_version_query(argc, argv)) {
        std::printf("v%s\n", LUMIVAD_VERSION);
        return EXIT_SUCCESS;
    }
    openlogfile();
    auto loop = std::make_unique<GtwHandler>(argc, argv);
    if (!last_error_of(*loop).empty()) {
        return fail_start(
            *loop, {"Error during parsing of input parameters.", "Error: " + last_error_of(*loop)});
    }
    if (loop->initialize() != 0) {
        return fail_start(*loop, {"Error: " + last_error_of(*loop)});
    }
    const int id = get_runner_id(argc, argv);
    if (id < 1) {
        return fail_start(*loop, {"Not found or invalid object ID passed to the runner."});
    }
    const int exit_code = run_gateway(loop, id);
    closelogfile();
    return exit_code;
}
