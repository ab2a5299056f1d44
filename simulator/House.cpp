#include "simulator/House.h"

#include <csignal>
#include <cstdlib>
#include <map>
#include <stdexcept>
#include <system_error>
#include <thread>

#include "libcbase/utility.h"
#include "simulator/JsonText.h"

namespace simulator {
namespace {

constexpr const char* kDaemonName = "lumivad";
constexpr const char* kRoleTag = "tag_complex_element=";

std::string text_of(linkedlist* variables, const char* name) {
    const optionalpvariable* found = optionalp_variables_searchbyname(variables, name);
    return found == nullptr || found->value == nullptr ? "" : found->value;
}

// The word after the tag, with or without quotes.
std::string role_of(const std::string& optional) {
    const std::size_t tag = optional.find(kRoleTag);
    if (tag == std::string::npos || optional.find("preset") != std::string::npos) {
        return {};
    }
    std::string word = optional.substr(tag + std::string(kRoleTag).size());
    word.erase(0, word.find_first_not_of('\''));
    return word.substr(0, word.find_first_of("'|"));
}

std::unique_ptr<SystemLog> take_over_log(Journal& journal) {
    try {
        return std::make_unique<SystemLog>(&journal, kDaemonName);
    } catch (const std::system_error&) {
        return nullptr;
    }
}

}  // namespace

House::House(const Options& options, Journal::Listener listener)
    : daemon_path_(options.daemon),
      environment_(options.environment),
      huectl_path_(options.huectl),
      journal_([this, listener = std::move(listener)](const Event& event) {
          enter(event);
          if (listener) {
              listener(event);
          }
      }),
      log_(take_over_log(journal_)),
      installation_(options.installation
                        ? *options.installation
                        : Installation::load(options.sql_file, options.lights_file)),
      database_(installation_.sql, journal_.sink()),
      core_(journal_.sink()),
      setup_(find_bridge()),
      objects_(find_objects()),
      ledger_(objects_) {
    if (!options.is_paired) {
        setup_.username.clear();
        store_parameters("");
    }
    bridge_ = std::make_unique<Bridge>(setup_, bridge_sink());
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
    runner_ = std::atoi(rows[0][0].c_str());
    const LinkedListOwner variables(parse_optionalp_variables(rows[0][1].c_str()));
    Bridge::Setup setup;
    setup.lights = installation_.lights;
    setup.address = text_of(variables.get(), "ip_address");
    setup.username = text_of(variables.get(), "username");
    return setup;
}

EventSink House::bridge_sink() {
    return [this](Event event) {
        if (is_tool_asking_ && event.kind == EventKind::daemon_to_bridge) {
            event.kind = EventKind::huectl_to_bridge;
        } else if (is_tool_asking_ && event.kind == EventKind::bridge_to_daemon) {
            event.kind = EventKind::bridge_to_huectl;
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
    daemon_ =
        std::make_unique<ChildProcess>(ChildProcess::Setup{daemon_path_, arguments, environment_});
}

std::string House::interrupt_start(std::chrono::microseconds delay) {
    launch({});
    std::this_thread::sleep_for(delay);
    daemon_->send_signal(SIGTERM);
    const auto ending = daemon_->wait(std::chrono::seconds(1));
    daemon_.reset();
    return ending ? ending->text() : "nothing";
}

std::optional<ChildProcess::StartStatus> House::start(const ChildProcess::Words& arguments) {
    launch(arguments);
    const auto status = daemon_->start_status(kStartLimit);
    if (status) {
        journal_.add(EventKind::house,
                     "lumivad prints its start status: " + std::to_string(status->status) + "," +
                         std::to_string(status->port));
        port_ = status->port;
        core_.set_daemon_port(port_);
    }
    return status;
}

std::optional<ChildProcess::Ending> House::stop() {
    if (!daemon_) {
        return std::nullopt;
    }
    const ChildProcess::Ending ending = daemon_->stop();
    journal_.add(EventKind::house, "lumivad ended with " + ending.text());
    daemon_.reset();
    return ending;
}

void House::forget() {
    journal_.forget();
    core_.forget_reports();
    bridge_->gate().forget();
    if (log_) {
        log_->clear();
    }
}

ChildProcess::Result House::run_huectl(const ChildProcess::Words& arguments,
                                       const std::function<bool()>& is_over) {
    const auto deadline = std::chrono::steady_clock::now() + kToolLimit;
    const auto listener = [this](const std::string& line) {
        journal_.add(EventKind::huectl, line);
    };
    ChildProcess tool({huectl_path_, arguments, {}, true, listener});
    is_tool_asking_ = !has_daemon();
    // It may still run after it has closed its output.
    while ((tool.read_output(Journal::kPollPeriod) || !tool.wait(Journal::kPollPeriod)) &&
           !is_over() && std::chrono::steady_clock::now() < deadline) {
    }
    ChildProcess::Result result = tool.finish(std::chrono::milliseconds(0));
    is_tool_asking_ = false;
    return result;
}

void House::press_button_after(std::chrono::milliseconds delay) {
    button_wait_ = {};  // cancels an earlier press
    button_ = std::async(std::launch::async, [this, delay, wait = button_wait_.get_future()] {
        if (wait.wait_for(delay) == std::future_status::timeout) {
            bridge_->press_link_button();
        }
    });
}

void House::store_parameters(const std::string& text) {
    std::string quoted;
    for (const char c : text) {
        quoted += c == '\'' ? "''" : std::string(1, c);
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
        "WHERE place.parentobj_id = " +
        std::to_string(runner_) + " ORDER BY role.childobj_id");
    for (const auto& row : rows) {
        const std::string role = role_of(row[2]);
        if (!role.empty()) {
            objects.push_back({std::atoi(row[0].c_str()), std::atoi(row[1].c_str()), role, row[3]});
        }
    }
    return objects;
}

}  // namespace simulator
