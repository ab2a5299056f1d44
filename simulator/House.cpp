#include "simulator/House.h"

#include <map>
#include <stdexcept>
#include <system_error>

namespace simulator {
namespace {

constexpr const char* kDaemonName = "lumivad";

// The value in "NAME=VALUE" or "NAME='VALUE'" of optional parameters; empty without it.
std::string value_of(const std::string& name, const std::string& parameters) {
    const std::size_t start = ("|" + parameters).find("|" + name + "=");
    if (start == std::string::npos) {
        return {};
    }
    std::string value = parameters.substr(start + name.size() + 1);
    value.erase(0, value.find_first_not_of('\''));
    return value.substr(0, value.find_first_of("'|"));
}

std::unique_ptr<SystemLog> take_over_log(Journal& journal) {
    try {
        return std::make_unique<SystemLog>(journal, kDaemonName);
    } catch (const std::system_error&) {
        return nullptr;
    }
}

}  // namespace

House::House(const Options& options, Journal::Listener listener)
    : options_(options),
      journal_([this, listener = std::move(listener)](const Event& event) {
          enter(event);
          if (listener) {
              listener(event);
          }
      }),
      database_(options.installation.sql, client_sink()),
      core_(journal_.sink()),
      setup_(find_bridge()),
      objects_(find_objects()),
      ledger_(objects_),
      log_(take_over_log(journal_)) {
    if (!options.is_paired) {
        setup_.username.clear();
        store_parameters("");
    }
    bridge_ = std::make_unique<Bridge>(setup_, client_sink());
    bridge_->gate().on_exchange([this](const Gate::Request& request, const std::string& answer) {
        if (is_tool_asking_ || !log_) {
            return;
        }
        log_->sync();  // the lines before the request
        ledger_.add_exchange(request, answer);
    });
}

House::~House() {
    stop();
    bridge_.reset();
    log_.reset();  // both add to the ledger
}

Bridge::Setup House::find_bridge() {
    const auto rows = database_.rows(
        "SELECT id, optionalp FROM vexad_object WHERE optionalp LIKE '%ip_address%' ORDER BY id");
    if (rows.empty()) {
        throw std::runtime_error("the installation has no bridge: no object with an ip_address");
    }
    runner_ = std::stoi(rows[0][0]);
    return {value_of("username", rows[0][1]), options_.installation.lights,
            value_of("ip_address", rows[0][1])};
}

EventSink House::client_sink() {
    return [this](Event event) {
        if (is_tool_asking_ && event.kind == EventKind::daemon_to_bridge) {
            event.kind = EventKind::huectl_to_bridge;
        } else if (is_tool_asking_ && event.kind == EventKind::bridge_to_daemon) {
            event.kind = EventKind::bridge_to_huectl;
        } else if (is_tool_asking_ && event.kind == EventKind::daemon_to_database) {
            event.kind = EventKind::huectl_to_database;
        }
        journal_.add(std::move(event));
    };
}

// Everything that happens on the way to and from the daemon enters the ledger in its order.
void House::enter(const Event& event) {
    if (event.kind == EventKind::log) {
        ledger_.add_log_line(event.text);
    } else if (event.kind == EventKind::daemon_to_core) {
        ledger_.add_report(event.object, event.value);
    }
}

void House::launch(ChildProcess::Words arguments) {
    polls_before_ = polls();
    ledger_.start_daemon();
    arguments.insert(arguments.end(), {"--id", std::to_string(runner_)});
    daemon_ = std::make_unique<ChildProcess>(
        ChildProcess::Setup{options_.daemon, arguments, options_.environment});
}

std::optional<int> House::start(const ChildProcess::Words& arguments) {
    launch(arguments);
    const auto port = daemon_->start_port(kStartLimit);
    if (port) {
        journal_.add(EventKind::house, "lumivad reports its port: " + std::to_string(*port));
        port_ = *port;
        core_.set_daemon_port(port_);
    }
    return port;
}

std::optional<int> House::stop() {
    if (!daemon_) {
        return std::nullopt;
    }
    const int code = daemon_->stop();
    journal_.add(EventKind::house, "lumivad ended with " + ending_text(code));
    daemon_.reset();
    return code;
}

void House::forget() {
    journal_.forget();
    core_.forget_reports();
    bridge_->gate().forget();
}

ChildProcess::Result House::run_huectl(const ChildProcess::Words& arguments,
                                       const std::function<bool()>& is_over) {
    ChildProcess tool({options_.huectl, arguments, {}, ChildProcess::kWithOutput});
    is_tool_asking_ = !has_daemon();
    std::string output;
    const auto has_ended = [&] {
        const bool is_last = is_over() || !tool.is_running();
        while (const auto line = tool.read_line(std::chrono::milliseconds(0))) {
            journal_.add(EventKind::huectl, *line);
            output += *line + '\n';
        }
        return is_last;
    };
    journal_.wait_until(has_ended, kToolLimit);
    const int code = tool.stop();
    is_tool_asking_ = false;
    return {code, output, {}};
}

void House::store_parameters(const std::string& text) {
    std::string quoted = text;
    for (std::size_t at = 0; (at = quoted.find('\'', at)) != std::string::npos; at += 2) {
        quoted.insert(at, 1, '\'');
    }
    database_.rows("UPDATE vexad_object SET optionalp = '" + quoted +
                   "' WHERE id = " + std::to_string(runner_));
    journal_.add(EventKind::house, "optional parameters of the bridge in the database: " +
                                       (text.empty() ? "none" : text));
}

std::optional<int> House::command(int object, const std::string& payload) {
    const std::size_t number = ledger_.add_command(object, payload);
    const auto status = core_.run_object(object, payload);
    if (status == 0) {
        ledger_.add_acknowledgement(number);
    }
    return status;
}

std::vector<std::string> House::differences() {
    std::map<int, Json::Value> states;
    for (const int id : bridge_->light_ids()) {
        states[id] = light(id).state();
    }
    return ledger_.differences(states);
}

std::vector<RoleObject> House::find_objects() {
    std::vector<RoleObject> objects;
    const auto rows = database_.rows(
        "SELECT role.childobj_id, light.msp, role.optional, child.name "
        "FROM vexad_object_relation AS role "
        "JOIN vexad_object_relation AS place ON place.childobj_id = role.parentobj_id "
        "JOIN vexad_object AS light ON light.id = role.parentobj_id "
        "LEFT JOIN vexad_object AS child ON child.id = role.childobj_id "
        "WHERE role.optional NOT LIKE '%preset%' AND role.optional LIKE '%tag_complex_element=%' "
        "AND place.parentobj_id = " +
        std::to_string(runner_) + " ORDER BY role.childobj_id");
    for (const auto& row : rows) {
        objects.push_back({std::stoi(row[0]), std::stoi(row[1]),
                           value_of("tag_complex_element", row[2]), row[3]});
    }
    return objects;
}

}  // namespace simulator
