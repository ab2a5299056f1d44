#include "simulator/prompt/Page.h"

#include <cstdlib>
#include <fstream>
#include <set>
#include <stdexcept>

#include <sys/socket.h>

#include "huelib/LightCatalogue.h"
#include "simulator/JsonText.h"
#include "simulator/prompt/Session.h"

namespace simulator {
namespace {

using httplib::Request;
using httplib::Response;

constexpr std::chrono::milliseconds kStatePeriod{200};
constexpr std::size_t kLongestCommand = 200;
constexpr std::size_t kLongestText = 600, kLongestWrite = 65536;
constexpr std::size_t kMostEvents = 20000;  // that the house keeps
constexpr int kMoreThreads = 8;             // for requests other than the streams

// Commands of the house's language that a browser may send: without arguments, and with any.
const std::set<std::string> kWholeCommands = {"start", "stop", "tour", "end tour"};
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
    if (const auto known = LightCatalogue::classOfModel(light["modelid"].asString())) {
        return std::string(LightCatalogue::nameOfClass(*known));
    }
    const auto found = LightCatalogue::classOfType(light["type"].asString(), gamut.asString());
    return found ? std::string(LightCatalogue::nameOfClass(*found)) + " (by type)" : "unknown";
}

}  // namespace

Page::Page(int port, bool opens_browser) {
    // Unlike the default of the library, which lets another program bind the port too.
    server_.set_socket_options([](int socket) {
        const int yes = 1;
        setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof(yes));
    });
    const bool is_bound = port == 0 ? (port = server_.bind_to_any_port("127.0.0.1")) > 0
                                    : server_.bind_to_port("127.0.0.1", port);
    if (!is_bound) {
        throw std::runtime_error("cannot bind the page's port of 127.0.0.1");
    }
    host_ = "127.0.0.1:" + std::to_string(port);
    server_.new_task_queue = [] { return new httplib::ThreadPool(kMostBrowsers + kMoreThreads); };
    server_.set_payload_max_length(kLongestCommand);
    server_.set_read_timeout(1).set_write_timeout(1);  // the end of the house awaits them
    server_.set_default_headers({{"Content-Security-Policy", "default-src 'self'; img-src data:"},
                                 {"Cache-Control", "no-store"}});
    // A page of another origin can neither read nor command the house, even under a name that it
    // makes the browser resolve to this address.
    server_.set_pre_routing_handler([this](const Request& request, Response& response) {
        const std::string host = request.get_header_value("Host");
        const std::string origin = request.get_header_value("Origin");
        if (host == host_ && (origin.empty() || origin == "http://" + host)) {
            return httplib::Server::HandlerResponse::Unhandled;
        }
        response.status = 403;
        return httplib::Server::HandlerResponse::Handled;
    });
    server_.set_mount_point("/", Installation::file("page"));
    server_.Get("/events", [this](const Request&, Response& answer) { serve_stream(answer); });
    server_.Post("/command", [this](const Request& request, Response& answer) {
        answer.status = take_command(request.body);
    });
    const std::string address = "http://" + host_ + "/";
    Console::print("The house is at " + address + " (Ctrl-C ends it)");
    const std::string open =
        "exec >/dev/null 2>&1; command -v xdg-open && { xdg-open " + address + " & }";
    if (opens_browser && std::system(open.c_str()) != 0) {
        Console::print("xdg-open is missing; open the address in a browser");
    }
}

Page::~Page() {
    is_over_ = true;
    news_.notify_all();
    if (thread_.joinable()) {
        while (!server_.is_running()) {  // stop() has no effect before
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        server_.stop();
        thread_.join();
    }
}

void Page::serve_stream(Response& response) {
    if (streams_ >= kMostBrowsers) {
        response.status = 503;
        return;
    }
    ++streams_;
    const auto stream = std::make_shared<Stream>(Stream{0});
    response.set_chunked_content_provider(
        "text/event-stream",
        [this, stream](std::size_t, httplib::DataSink& sink) { return send_news(*stream, sink); },
        [this](bool) { --streams_; });
}

// Sends even without news, so that a browser that is gone is noticed.
bool Page::send_news(Stream& stream, httplib::DataSink& sink) {
    std::string text = ":\n\n";
    {
        std::unique_lock<std::mutex> lock(mutex_);
        if (stream.state.empty()) {
            Json::Value hello = message_of("hello");
            hello["now"] = seconds(std::chrono::steady_clock::now());
            text = "retry: 1000\n" + message(hello);
        }
        const auto end = [this] { return first_ + messages_.size(); };
        news_.wait_for(lock, kStatePeriod, [&] { return is_over_ || end() > stream.next; });
        if (stream.next < first_) {
            text += message(message_of("dropped", std::to_string(first_ - stream.next)));
            stream.next = first_;
        }
        for (; stream.next < end() && text.size() < kLongestWrite; ++stream.next) {
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
    if (kWholeCommands.count(whole) == 0 && (words.empty() || kFirstWords.count(words[0]) == 0)) {
        return 400;
    }
    const std::lock_guard<std::mutex> lock(mutex_);
    if (whole == "end tour") {
        is_cancelled_ = is_touring_ && commands_.empty();  // it has begun
        is_touring_ = is_cancelled_.load();
        commands_.clear();
        return 204;
    }
    if (is_touring_ || commands_.size() >= kMostWaiting) {
        return is_touring_ ? 409 : 503;
    }
    is_touring_ = whole == "tour";
    commands_.push_back(whole);
    news_.notify_all();
    return 204;
}

// The next command of a browser; empty without one for kStatePeriod.
std::string Page::next_command() {
    std::unique_lock<std::mutex> lock(mutex_);
    if (!news_.wait_for(lock, kStatePeriod, [this] { return !commands_.empty(); })) {
        return {};
    }
    std::string line = commands_.front();
    commands_.pop_front();
    return line;
}

bool Page::run(Session& session, Prompt& prompt) {
    show(&session.house());
    if (!thread_.joinable()) {
        thread_ = std::thread([this] { server_.listen_after_bind(); });
    }
    if (is_touring_) {
        run_tour(session, prompt);
    } else if (session.options().is_paired) {
        run_line(prompt, "start");
    }
    std::string line;
    while (!session.is_interrupted() && (line = next_command()) != "tour") {
        run_line(prompt, line);
        if (session.house().journal().size() > kMostEvents) {
            session.house().forget();
            session.heading = 0;
        }
        is_running_ = session.is_running();
    }
    show(nullptr);
    return line == "tour";
}

bool Page::run_line(Prompt& prompt, const std::string& line) {
    const std::string problem = prompt.run(line);
    if (!problem.empty() && !is_cancelled_) {
        publish(message_of("problem", line + ": " + problem));
    }
    return problem.empty() && !is_cancelled_;
}

void Page::run_tour(Session& session, Prompt& prompt) {
    bool goes_on = true;
    std::ifstream script(Installation::file("tour.house"));
    for (std::string line; goes_on && std::getline(script, line);) {
        if (!words_of(line).empty()) {
            publish(message_of("step", line));
            goes_on = run_line(prompt, line) && !session.is_interrupted();
            is_running_ = session.is_running();
        }
    }
    publish(message_of("step", goes_on ? "say The end of the tour" : "say The tour is ended"));
    run_line(prompt, "bridge restore");
    const std::lock_guard<std::mutex> lock(mutex_);  // take_command() reads one and sets the other
    is_touring_ = is_cancelled_ = false;
}

// The state is the one of this house from now on; with null it remains as it is.
void Page::show(House* house) {
    const std::lock_guard<std::mutex> state_lock(state_mutex_);
    const std::lock_guard<std::mutex> lock(mutex_);
    house_ = house;
    ++houses_;
    objects_.clear();
    faults_ = {{"bridge", ""}, {"core", ""}};
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
    value["time"] = seconds(event.time);
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
    const std::lock_guard<std::mutex> state_lock(state_mutex_);
    const auto time = std::chrono::steady_clock::now();
    if (house_ == nullptr || time - state_time_ < kStatePeriod) {
        return state_;
    }
    state_time_ = time;
    Json::Value state = message_of("state");
    state["house"] = houses_;
    state["running"] = is_running_.load();
    state["touring"] = is_touring_.load();
    state["waiting"] = static_cast<int>(house_->ledger().count(Ledger::Outcome::waiting));
    for (const int id : house_->bridge().light_ids()) {
        Json::Value light = house_->light(id).description();
        light["class"] = class_name(light);
        light["id"] = id;
        state["lights"].append(light);
    }
    const std::lock_guard<std::mutex> lock(mutex_);
    for (const auto& [part, fault] : faults_) {
        state["faults"][part] = fault;
    }
    for (const RoleObject& object : house_->objects()) {
        Json::Value item = objects_[object.id];
        item["id"] = object.id;
        item["light"] = object.light;
        item["role"] = object.role;
        state["objects"].append(item);
    }
    return state_ = message(state);
}

double Page::seconds(std::chrono::steady_clock::time_point time) const {
    return std::chrono::duration<double>(time - start_).count();
}

}  // namespace simulator
