#include "hue_handler/HueHandler.h"

#include <csignal>
#include <cstdio>
#include <system_error>
#include <utility>

#include <pthread.h>

#include "gtwhandler/CallFromCoreParameters.h"
#include "hue_handler/UnitConversion.h"
#include "huelib/LinHttpHandler.h"
#include "libcbase/Cstylecode.h"
#include "libcbase/DBManagerutil.h"
#include "libcbase/utility.h"

namespace hue_handler {
namespace {

using callfromcoreparametersnamespace::CallFromCoreParameters;
using gtwhandlernamespace::GtwHandler;

constexpr std::size_t kQueryBytes = 512;

// Every light object under the bridge object, with each of its child objects and its role. Preset
// relations belong to scenes and drive no light.
constexpr const char* kLightsQuery =
    "SELECT vexad_object.msp, vexad_object_relation.childobj_id, vexad_object_relation.optional "
    "FROM vexad_object INNER JOIN vexad_object_relation "
    "ON vexad_object.id = vexad_object_relation.parentobj_id "
    "WHERE vexad_object.id IN (SELECT vexad_object_relation.childobj_id "
    "FROM vexad_object INNER JOIN vexad_object_relation "
    "ON vexad_object.id = vexad_object_relation.parentobj_id WHERE vexad_object.id = %d) "
    "AND vexad_object_relation.optional NOT LIKE '%%preset%%'";

struct RoleMarker {
    const char* quoted;
    const char* unquoted;
    int HueLightState::*object;
};

// In the order in which they are tried; the first one that a text holds decides. The unquoted forms
// also match longer words ("r" matches "red"), so the order matters.
constexpr RoleMarker kRoleMarkers[] = {
    {"tag_complex_element='on_off'", "tag_complex_element=on_off", &HueLightState::on_off_object},
    {"tag_complex_element='value'", "tag_complex_element=value", &HueLightState::value_object},
    {"tag_complex_element='temperature'", "tag_complex_element=temperature",
     &HueLightState::temperature_object},
    {"tag_complex_element='r'", "tag_complex_element=r", &HueLightState::r_object},
    {"tag_complex_element='g'", "tag_complex_element=g", &HueLightState::g_object},
    {"tag_complex_element='b'", "tag_complex_element=b", &HueLightState::b_object},
    {"tag_complex_element='hsv'", "tag_complex_element=hsv", &HueLightState::hsv_object},
};

// Threads made while this lives leave the process's signals to the main thread: a signal must not
// interrupt a request to the bridge.
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

std::string column(const std::map<std::string, std::string>& row, const char* name) {
    const auto found = row.find(name);
    return found == row.end() ? std::string() : found->second;
}

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
    // A start-up that failed before init() has no threads to join.
    if (worker_.joinable()) {
        worker_.join();
    }
    if (monitor_.joinable()) {
        monitor_.join();
    }
}

int HueHandler::init() {
    info("HueHandler->init - composing query\n");
    char query[kQueryBytes];
    const int length =
        std::snprintf(query, sizeof(query), kLightsQuery, static_cast<int>(runner_id_));
    if (length < 0 || static_cast<std::size_t>(length) >= sizeof(query)) {
        return kInitQueryTooLong;
    }

    info("HueHandler->init - executing query\n");
    const libtavdb::db_request request(DBMANAGER_PORT, query);
    const std::string problem = request.get_last_error();
    if (!problem.empty()) {
        error("ERR %d: %s", kInitDatabaseError, problem.c_str());
        return kInitDatabaseError;
    }

    info("HueHandler->init - parsing query results\n");
    fill_light_table(request);

    info("HueHandler->init - starting threads\n");
    return start_threads() ? kInitOk : kInitThreadError;
}

void HueHandler::fill_light_table(const libtavdb::db_request& request) {
    for (const auto& [number, row] : request.rows) {
        add_table_row(row);
    }
}

void HueHandler::add_table_row(const std::map<std::string, std::string>& row) {
    const std::string msp = column(row, "MSP");
    const std::string child = column(row, "CHILDOBJ_ID");
    std::int32_t light_id = 0;
    std::int32_t object_id = 0;
    if (parse_int32(msp.c_str(), 10, &light_id) != PARSE_NUMBER_OK ||
        parse_int32(child.c_str(), 10, &object_id) != PARSE_NUMBER_OK) {
        error("Incomplete or malformed db information: MSP='%s', CHILDOBJ_ID='%s'", msp.c_str(),
              child.c_str());
        return;
    }
    HueLightState& entry = light_table_[light_id];
    const std::string optional = column(row, "OPTIONAL");
    for (const RoleMarker& marker : kRoleMarkers) {
        if (optional.find(marker.quoted) != std::string::npos ||
            optional.find(marker.unquoted) != std::string::npos) {
            entry.*marker.object = object_id;
            return;
        }
    }
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
    std::int32_t object_id = 0;
    const std::string object_text = std::to_string(parameters->objectId);
    std::optional<std::int32_t> value;
    if (parse_int32(object_text.c_str(), 10, &object_id) != PARSE_NUMBER_OK) {
        problem = "out of range '" + object_text + "'";
    } else {
        value = number_of_payload(payload, problem);
    }
    if (!value) {
        error("Invalid RUN parameters: %s", problem.c_str());
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
