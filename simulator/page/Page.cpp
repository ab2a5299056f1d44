#include "simulator/page/Page.h"

#include <cstdlib>
#include <fstream>
#include <set>
#include <stdexcept>

#include <httplib.h>
#include <sys/socket.h>

#include "huelib/LightCatalogue.h"
#include "simulator/JsonText.h"
#include "simulator/prompt/Session.h"

namespace simulator {
namespace {

using httplib::Request;
using httplib::Response;
using httplib::Server;

constexpr std::chrono::milliseconds kStatePeriod{200};
constexpr std::size_t kLongestCommand = 200;
constexpr std::size_t kLongestText = 600;
constexpr std::size_t kMostEvents = 20000;  // that the house keeps
constexpr int kMoreThreads = 8;             // for requests beside the streams
constexpr const char* kTour = "tour";
constexpr const char* kEndOfTour = "end tour";

// No other file is served.
constexpr struct {
    const char* path;
    const char* file;
    const char* type;
} kFiles[] = {{"/", "page.html", "text/html"},
              {"/page.css", "page.css", "text/css"},
              {"/page.js", "page.js", "text/javascript"}};

// Commands of the house's language that a browser may send: without arguments, and with any.
const std::set<std::string> kWholeCommands = {"start", "stop", kTour, kEndOfTour};
const std::set<std::string> kFirstWords = {"set", "bulb", "bridge", "core"};

std::string message(const Json::Value& value) {
    return "data: " + compact_json(value) + "\n\n";
}

Json::Value message_of(const char* type, const std::string& text = "") {
    Json::Value value;
    value["type"] = type;
    value["text"] = text;
    return value;
}

std::string class_name(const Json::Value& light) {
    const Json::Value& gamut = light["capabilities"]["control"]["colorgamuttype"];
    auto found = LightCatalogue::classOfModel(light["modelid"].asString());
    const std::string origin = found ? "" : " (by type)";
    if (!found) {
        found = LightCatalogue::classOfType(light["type"].asString(), gamut.asString());
    }
    return found ? std::string(LightCatalogue::nameOfClass(*found)) + origin : "unknown";
}

}  // namespace

Page::Page(int port) : server_(std::make_unique<httplib::Server>()) {
    // Unlike the default of the library, which lets another program bind the port too.
    server_->set_socket_options([](int socket) {
        const int yes = 1;
        setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof(yes));
    });
    const int bound = port == 0 ? server_->bind_to_any_port("127.0.0.1")
                      : server_->bind_to_port("127.0.0.1", port) ? port
                                                                 : -1;
    if (bound <= 0) {
        throw std::runtime_error("cannot listen on port " + std::to_string(port) +
                                 " of 127.0.0.1 for the page");
    }
    host_ = "127.0.0.1:" + std::to_string(bound);
    server_->new_task_queue = [] { return new httplib::ThreadPool(kMostBrowsers + kMoreThreads); };
    server_->set_payload_max_length(kLongestCommand);
    server_->set_tcp_nodelay(true);
    server_->set_default_headers({{"Content-Security-Policy", "default-src 'self'; img-src data:"},
                                  {"X-Content-Type-Options", "nosniff"},
                                  {"Cache-Control", "no-store"}});
    add_routes();
}

Page::~Page() {
    is_over_ = true;
    news_.notify_all();
    while (thread_.joinable() && !server_->is_running()) {  // stop() has no effect before
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    server_->stop();
    if (thread_.joinable()) {
        thread_.join();
    }
}

void Page::add_routes() {
    // A page of another origin can neither read nor command the house, even under a name that it
    // makes the browser resolve to this address.
    server_->set_pre_routing_handler([this](const Request& request, Response& response) {
        const std::string host = request.get_header_value("Host");
        const bool is_own = host == host_ || host == "localhost" + host_.substr(host_.find(':'));
        const bool is_asked_by_page =
            !request.has_header("Origin") || request.get_header_value("Origin") == "http://" + host;
        if (is_own && is_asked_by_page) {
            return Server::HandlerResponse::Unhandled;
        }
        response.status = 403;
        return Server::HandlerResponse::Handled;
    });
    for (const auto& file : kFiles) {
        server_->Get(file.path, [&file](const Request&, Response& response) {
            response.set_content(load_text_file(std::string(LUMIVAD_PAGE_FILES) + "/" + file.file),
                                 std::string(file.type) + "; charset=utf-8");
        });
    }
    server_->Get("/events", [this](const Request&, Response& response) { serve_stream(response); });
    server_->Post("/command", [this](const Request& request, Response& response) {
        response.status = take_command(request.body);
    });
}

void Page::serve_stream(Response& response) {
    if (++streams_ > kMostBrowsers) {
        --streams_;
        response.status = 503;
        return;
    }
    const std::lock_guard<std::mutex> lock(mutex_);
    auto stream = std::make_shared<Stream>(Stream{first_});
    response.set_chunked_content_provider(
        "text/event-stream",
        [this, stream](std::size_t, httplib::DataSink& sink) { return send_news(*stream, sink); },
        [this](bool) { --streams_; });
}

// Sends even without news, so that a browser that is gone is noticed.
bool Page::send_news(Stream& stream, httplib::DataSink& sink) {
    std::string text = ":\n\n";
    if (stream.state.empty()) {
        Json::Value hello = message_of("hello");
        hello["now"] = now();
        text = "retry: 1000\n" + message(hello);
    }
    {
        std::unique_lock<std::mutex> lock(mutex_);
        const auto end = [this] { return first_ + messages_.size(); };
        news_.wait_for(lock, kStatePeriod, [&] { return is_over_ || end() > stream.next; });
        if (stream.next < first_) {
            text += message(message_of("dropped", std::to_string(first_ - stream.next)));
            stream.next = first_;
        }
        for (; stream.next < end(); ++stream.next) {
            text += messages_[stream.next - first_];
        }
    }
    const std::string newest = state();
    text += newest == stream.state ? "" : newest;
    stream.state = newest;
    return !is_over_ && sink.write(text.data(), text.size());
}

// Returns the status of the answer.
int Page::take_command(const std::string& line) {
    const Words words = words_of(line);
    const std::string whole = joined(words, 0, words.size());
    if (words.empty() || (kWholeCommands.count(whole) == 0 && kFirstWords.count(words[0]) == 0)) {
        return 400;
    }
    const std::lock_guard<std::mutex> lock(mutex_);
    if (whole == kEndOfTour) {
        is_cancelled_ = is_touring_.load();
        return 204;
    }
    if (is_touring_ || commands_.size() >= kMostWaiting) {
        return is_touring_ ? 409 : 503;
    }
    if (whole == kTour) {
        is_touring_ = true;
        commands_.clear();  // the tour begins in a new house
    } else {
        commands_.push_back(whole);
    }
    news_.notify_all();
    return 204;
}

void Page::announce(bool opens_browser) const {
    const std::string address = "http://" + host_ + "/";
    Console::print("The house is at " + address + " (Ctrl-C ends it)");
    const std::string command =
        "command -v xdg-open >/dev/null && { xdg-open " + address + " >/dev/null 2>&1 & }";
    if (opens_browser && std::system(command.c_str()) != 0) {
        Console::print("xdg-open is missing; open the address in a browser");
    }
}

bool Page::run(Session& session, Prompt& prompt) {
    session.house();
    session_ = &session;
    prompt_ = &prompt;
    show(&session);
    if (!thread_.joinable()) {
        thread_ = std::thread([this] { server_->listen_after_bind(); });
    }
    if (is_touring_) {
        run_tour();
    } else if (session.options().is_paired) {
        run_line("start");
    }
    while (!session.is_interrupted() && !is_touring_) {
        is_running_ = session.is_running();
        const std::string line = next_command();
        if (!line.empty()) {
            run_line(line);
        } else if (session.house().journal().size() > kMostEvents) {
            session.house().forget();
            session.heading = 0;
        }
    }
    show(nullptr);
    return is_touring_;
}

// The state is of this session's house from now on, or remains the last one for null.
void Page::show(Session* session) {
    publish(message_of("house"));
    const std::lock_guard<std::mutex> state_lock(state_mutex_);
    const std::lock_guard<std::mutex> lock(mutex_);
    shown_ = session;
    objects_.clear();
    faults_ = {{"bridge", ""}, {"core", ""}};
}

// The next command of a browser; empty without one for kStatePeriod.
std::string Page::next_command() {
    std::unique_lock<std::mutex> lock(mutex_);
    news_.wait_for(lock, kStatePeriod, [this] { return !commands_.empty(); });
    std::string line;
    if (!commands_.empty()) {
        line = commands_.front();
        commands_.pop_front();
    }
    return line;
}

bool Page::run_line(const std::string& line) {
    const std::string problem = prompt_->run(line);
    is_running_ = session_->is_running();
    if (!problem.empty() && !is_cancelled_) {
        publish(message_of("problem", line + ": " + problem));
    }
    return problem.empty() && !session_->is_interrupted();
}

void Page::run_tour() {
    bool goes_on = true;
    std::ifstream script(std::string(LUMIVAD_PAGE_FILES) + "/../tour.house");
    for (std::string line; goes_on && std::getline(script, line);) {
        if (!words_of(line).empty()) {
            publish(message_of("step", line));
            goes_on = run_line(line);
        }
    }
    publish(message_of("step", goes_on ? "say The end of the tour" : "say The tour is ended"));
    is_cancelled_ = false;
    is_touring_ = false;
    run_line("bridge restore");
}

void Page::publish(const Json::Value& value) {
    const std::lock_guard<std::mutex> lock(mutex_);
    messages_.push_back(message(value));
    if (messages_.size() > kMostMessages) {
        messages_.pop_front();
        ++first_;
    }
    news_.notify_all();
}

void Page::add(const Event& event) {
    Json::Value value = message_of("event", event.text.substr(0, kLongestText));
    value["time"] = std::chrono::duration<double>(event.time - start_).count();
    value["direction"] = Console::direction(event);
    value["object"] = event.object;
    value["priority"] = event.line.priority;
    value["routine"] = Console::routine(event) != nullptr;
    publish(value);
    const std::size_t colon = event.text.find(": ");
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto fault = faults_.find(event.text.substr(0, colon));
    if (event.kind == EventKind::house && fault != faults_.end()) {
        fault->second = event.text.substr(colon + 2);
    } else if (event.kind == EventKind::core_to_daemon || event.kind == EventKind::daemon_to_core) {
        objects_[event.object]["value"] = event.value;
        objects_[event.object]["is_reported"] = event.kind == EventKind::daemon_to_core;
    }
}

// The text of the message, made at most once in kStatePeriod.
std::string Page::state() {
    const std::lock_guard<std::mutex> lock(state_mutex_);
    const auto time = std::chrono::steady_clock::now();
    if (shown_ != nullptr && time - state_time_ >= kStatePeriod) {
        state_ = message(make_state());
        state_time_ = time;
    }
    return state_;
}

Json::Value Page::make_state() {
    House& house = shown_->house();
    Json::Value state = message_of("state");
    state["running"] = is_running_.load();
    state["waiting"] = static_cast<int>(house.ledger().count(Ledger::Outcome::waiting));
    for (const int id : house.bridge().light_ids()) {
        Json::Value light = house.light(id).description();
        light["class"] = class_name(light);
        light["id"] = id;
        state["lights"].append(light);
    }
    const std::lock_guard<std::mutex> lock(mutex_);
    state["touring"] = is_touring_.load();
    for (const auto& [part, fault] : faults_) {
        state["faults"][part] = fault;
    }
    for (const RoleObject& object : house.objects()) {
        Json::Value item = objects_[object.id];
        item["id"] = object.id;
        item["light"] = object.light;
        item["role"] = object.role;
        state["objects"].append(item);
    }
    return state;
}

double Page::now() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
}

}  // namespace simulator
