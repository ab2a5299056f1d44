#include "hue_handler/HueHandler.h"

#include <csignal>
#include <system_error>
#include <utility>

#include <pthread.h>

#include "gtwhandler/CallFromCoreParameters.h"
#include "hue_handler/UnitConversion.h"
#include "huelib/LinHttpHandler.h"
#include "libcbase/DBManagerutil.h"
#include "libcbase/log.h"
#include "libtavdb/db_request.h"

namespace hue_handler {
namespace {

using callfromcoreparametersnamespace::CallFromCoreParameters;
using gtwhandlernamespace::GtwHandler;

constexpr std::size_t kQueryBytes = 512;

// Blocks the process's signals in the threads that are created during its lifetime: signals go to
// the main thread, so that none interrupts a request to the bridge.
class SignalsBlocked final {
  public:
    SignalsBlocked() {
        sigset_t blocked;
        sigemptyset(&blocked);
        for (const int signal : {SIGTERM, SIGPIPE, SIGCHLD}) {
            sigaddset(&blocked, signal);
        }
        pthread_sigmask(SIG_BLOCK, &blocked, &before_);
    }
    ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    SignalsBlocked(const SignalsBlocked&) = delete;
    SignalsBlocked& operator=(const SignalsBlocked&) = delete;

  private:
    sigset_t before_;
};

}  // namespace

HueHandler::HueHandler(unsigned int id, std::string ip_address, std::string username)
    : HueHandler(id, std::move(ip_address), std::move(username), std::make_shared<LinHttpHandler>(),
                 Timings()) {}

HueHandler::HueHandler(unsigned int id, std::string ip_address, std::string username,
                       std::shared_ptr<const IHttpHandler> http_handler, const Timings& timings)
    : runner_id_(id),
      timings_(timings),
      http_handler_(std::move(http_handler)),
      bridge_(std::make_unique<Hue>(ip_address, username, http_handler_)) {}

HueHandler::~HueHandler() {
    stop_worker();
    monitoring_.set(false);
    // Without a successful init() there are no threads to join.
    if (worker_.joinable()) {
        worker_.join();
    }
    if (monitor_.joinable()) {
        monitor_.join();
    }
}

void HueHandler::drive_unknown_models_by_type(bool is_allowed) {
    bridge_->driveUnknownModelsByType(is_allowed);
}

int HueHandler::init() {
    info("HueHandler->init - composing query\n");
    const std::string query = LightTable::query(runner_id_);
    if (query.size() >= kQueryBytes) {
        return kInitQueryTooLong;
    }

    info("HueHandler->init - executing query\n");
    const libtavdb::db_request request(DBMANAGER_PORT, query.c_str());
    const std::string problem = request.get_last_error();
    if (!problem.empty()) {
        error("ERR %d: %s", kInitDatabaseError, problem.c_str());
        return kInitDatabaseError;
    }

    info("HueHandler->init - parsing query results\n");
    for (const auto& [number, row] : request.rows) {
        const std::string bad_row = light_table_.add_row(row);
        if (!bad_row.empty()) {
            error("%s", bad_row.c_str());
        }
    }

    info("HueHandler->init - starting threads\n");
    return start_threads() ? kInitOk : kInitThreadError;
}

bool HueHandler::start_threads() {
    const SignalsBlocked blocked;
    try {
        worker_stop_.set(false);
        worker_ = std::thread(&HueHandler::execute_request, this);
        monitoring_.set(true);
        monitor_ = std::thread(&HueHandler::state_monitor, this);
    } catch (const std::system_error& problem) {
        error("ERR %d: %s", kInitThreadError, problem.what());
        return false;
    }
    return true;
}

void HueHandler::stop_monitor_lights_state() {
    monitoring_.set(false);
}

int HueHandler::didReceiveCallFromCore(GtwHandler*, CallFromCoreParameters* parameters) {
    if (parameters->action != "RUN") {
        error("Discard received request since it is not a RUN");
        return 0;
    }
    const std::string& payload = parameters->p2;
    if (payload == "NO-PAYLOAD") {
        return 0;
    }
    std::string problem;
    std::optional<std::int32_t> value;
    const auto object_id = static_cast<std::int32_t>(parameters->objectId);
    if (object_id != parameters->objectId) {
        problem = "out of range '" + std::to_string(parameters->objectId) + "'";
    } else {
        value = number_of_payload(payload, problem);
    }
    if (!value) {
        error("Invalid RUN parameters: %s", escape_control_characters(problem).c_str());
        return 0;
    }
    push_request({object_id, *value});
    return 0;
}

int HueHandler::didReceiveCustomGatewayData(GtwHandler*, int) {
    return 0;
}

int HueHandler::willTerminate(GtwHandler*, CallFromCoreParameters*) {
    error("lumivad will terminate soon");
    monitoring_.set(false);
    stop_worker();
    return 0;
}

}  // namespace hue_handler
