#include "Trial.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <stdexcept>
#include <system_error>
#include <thread>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include "simulator/JsonText.h"

namespace {

using simulator::House;
using simulator::ProcessUse;

constexpr const char* kShimFile = "/tmp/vexa_variables/fault-shim";
constexpr int kBulb = 1;
constexpr int kBulbObject = 111;
constexpr std::size_t kKindsOfLines = 3;
constexpr const char* kPolled = "light status from bridge received";
constexpr const char* kFailedReport = "ERROR sending vexad request: ";
// Lines that also occur without a fault.
constexpr const char* kRoutine[] = {"libtavcore->compose_runonelement error: "};

std::chrono::milliseconds since(Trial::Clock::time_point start) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(Trial::Clock::now() - start);
}

// Lines that differ only in numbers are of one kind.
std::string without_numbers(const std::string& text) {
    std::string kind;
    for (const char c : text) {
        const bool is_digit = c >= '0' && c <= '9';
        if (is_digit && !kind.empty() && kind.back() == 'N') {
            continue;
        }
        kind += c == '\n' ? ' ' : is_digit ? 'N' : c;
    }
    return kind.substr(0, kind.find_last_not_of(' ') + 1);
}

bool is_trouble(const simulator::SystemLog::Line& line) {
    const bool is_routine =
        std::any_of(std::begin(kRoutine), std::end(kRoutine),
                    [&](const char* routine) { return line.text.rfind(routine, 0) == 0; });
    // The errors of the event loop are logged at the level info.
    return !is_routine && (line.priority <= 4 || line.text.rfind("GtwHandler::run ", 0) == 0);
}

// An environment variable with a further sanitizer option.
std::string with_option(const std::string& variable, const std::string& option) {
    const char* options = std::getenv(variable.c_str());
    return variable + "=" + (options == nullptr ? "" : std::string(options) + ":") + option;
}

std::string counted(std::size_t count, const char* noun) {
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

}  // namespace

std::string text_of(std::chrono::milliseconds duration) {
    char text[32];
    if (duration.count() == 0) {
        return "less than 1 ms";
    }
    if (duration.count() < 100) {
        std::snprintf(text, sizeof(text), "%d ms", static_cast<int>(duration.count()));
    } else {
        std::snprintf(text, sizeof(text), "%.1f s", static_cast<double>(duration.count()) / 1000);
    }
    return text;
}

Trial::Trial(const Setup& setup) : setup_(setup), generator_(setup.seed) {
    // The handler of SIGTERM ends the daemon without joining its threads, and at once, where the
    // thread sanitizer would sleep for a second first.
    environment_ = {with_option("TSAN_OPTIONS", "report_thread_leaks=0:atexit_sleep_ms=0")};
    if (!setup.shim.empty()) {
        load_shim();
    }
    House::Options options{setup.daemon};
    options.environment = environment_;
    house_ = std::make_unique<House>(options);
    if (house_->log() == nullptr) {
        throw std::runtime_error("/dev/log is in use");
    }
}

Trial::~Trial() {
    house_.reset();
    if (shim_ != nullptr) {
        munmap(shim_, sizeof(FaultShim));
        unlink(kShimFile);
    }
}

void Trial::load_shim() {
    const FileDescriptor file(open(kShimFile, O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
    if (!file || ftruncate(file.get(), sizeof(FaultShim)) != 0) {
        throw std::system_error(errno, std::generic_category(), kShimFile);
    }
    void* const memory =
        mmap(nullptr, sizeof(FaultShim), PROT_READ | PROT_WRITE, MAP_SHARED, file.get(), 0);
    if (memory == MAP_FAILED) {
        throw std::system_error(errno, std::generic_category(), kShimFile);
    }
    shim_ = static_cast<FaultShim*>(memory);
    // The address sanitizer expects to be the first library.
    environment_.push_back(with_option("ASAN_OPTIONS", "verify_asan_link_order=0"));
    // Only the file name, since a blank in LD_PRELOAD ends a path.
    const std::filesystem::path shim = setup_.shim;
    environment_.push_back(with_option("LD_LIBRARY_PATH", shim.parent_path().string()));
    environment_.push_back("LD_PRELOAD=" + shim.filename().string());
    environment_.push_back(std::string(kShimVariable) + "=" + kShimFile);
}

int Trial::random(int highest) {
    return std::uniform_int_distribution<int>(0, highest)(generator_);
}

void Trial::random_pause(Milliseconds longest) {
    if (is_random()) {
        std::this_thread::sleep_for(Milliseconds(random(static_cast<int>(longest.count()))));
    }
}

void Trial::expect(bool holds, const std::string& what) {
    if (!holds) {
        finding_.problems.push_back(what);
    }
}

void Trial::wait_until(const std::string& what, const std::function<bool()>& predicate,
                       Milliseconds limit) {
    expect(house_->wait_until(predicate, limit), "timed out: " + what);
}

void Trial::wait_for_log(const std::string& part, Milliseconds limit) {
    expect(log().wait_for(part, limit), "not logged: " + part);
}

void Trial::wait_until_settled() {
    wait_until("the result of every command",
               [this] { return ledger_.account(*house_).lost == 0; });
}

void Trial::start(bool has_log) {
    bridge().gate().forget();
    const std::size_t polled = log().count(kPolled);
    const auto status = house_->start();
    expect(status && status->status == 0, "the daemon does not start");
    expect(shim_ == nullptr || shim_->is_loaded != 0, "the shim was not loaded");
    wait_until("first poll", [this] { return house_->is_ready(); });
    if (has_log) {
        // Later changes are not in the answer of that poll.
        wait_until("end of the first poll", [&] { return log().count(kPolled) > polled; });
        use_ = ProcessUse::at_rest(house_->daemon().pid());
    }
}

void Trial::expect_start_failure() {
    const auto start = Clock::now();
    const auto status = house_->start();
    const auto ending = house_->daemon().wait(kLimit);
    expect(status && status->status == -1 && ending && ending->text() == "exit code 1",
           "the daemon does not end with status -1 and exit code 1");
    if (status && ending) {
        note("start status " + std::to_string(status->status) + "," + std::to_string(status->port) +
             ", " + ending->text() + ", after " + text_of(since(start)));
    }
    has_ended_ = true;
}

void Trial::send_commands(int count, Milliseconds limit) {
    for (int i = 0; i < count; ++i) {
        const Ledger::Command& command = ledger_.send_next(core());
        expect(command.is_acknowledged && command.answered_in <= limit,
               "a command was answered after " + text_of(command.answered_in));
        random_pause(Milliseconds(150));
    }
}

void Trial::expect_failures(int count, const std::string& line) {
    const Ledger::Account before = ledger_.account(*house_);
    send_commands(count);
    wait_for_log(line);
    wait_until_settled();
    const Ledger::Account after = ledger_.account(*house_);
    expect(after.done == before.done, "a command was carried out in spite of the fault");
    expect(after.failed_with_line == before.failed_with_line + static_cast<std::size_t>(count),
           "a command has no log line");
}

void Trial::send_unchecked(int count) {
    for (int i = 0; i < count; ++i) {
        ledger_.send_next(core());
    }
}

void Trial::change_bulb() {
    bulb_is_on_ = !bulb_is_on_;
    ++bulb_changes_;
    bulb_is_on_ ? house_->light(kBulb).turn_on() : house_->light(kBulb).turn_off();
}

void Trial::expect_exit(const std::string& how, Milliseconds limit) {
    const auto start = Clock::now();
    const auto ending = house_->daemon().wait(limit);
    expect(ending && ending->text() == how,
           "the daemon " + (ending ? "ended with " + ending->text() : std::string("did not end")));
    if (ending) {
        note("the daemon ended after " + text_of(since(start)) + " with " + ending->text());
    }
    has_ended_ = true;
}

void Trial::expect_killed(const std::string& how, Milliseconds limit) {
    may_lose_commands_ = true;
    expect_exit(how, limit);
}

Trial::Finding Trial::finish() {
    bridge().recover();
    core().recover();
    database().recover();
    log().recover();
    if (!house_->has_daemon() || !house_->daemon().is_running()) {
        expect(has_ended_, "the daemon ended unexpectedly");
        check_account(ledger_.account(*house_));  // before the new daemon adds log lines
        start();
        note(check_next_commands());
    } else {
        // Commands are carried out in order, so the earlier ones are settled then.
        const std::size_t before = ledger_.size();
        const std::string next = check_next_commands();
        check_account(ledger_.account(*house_, before));
        note(next);
    }
    const bool is_pending = bulb_changes_ > 0 && failed_reports() == 0;
    if (is_pending || setup_.is_thorough) {
        check_bulb();
    }
    summarize_log();
    check_resources();
    const auto ending = house_->stop();
    expect(ending && ending->is_success(), "the daemon did not exit with 0 on SIGTERM");
    return finding_;
}

std::string Trial::check_next_commands() {
    const auto start = Clock::now();
    std::string first;
    for (std::size_t i = 0; i < Ledger::kKinds; ++i) {
        const Ledger::Command command = ledger_.send_next(core());
        const std::string what = "the next command for object " + std::to_string(command.object);
        expect(command.is_acknowledged, what + " was not acknowledged");
        if (!house_->wait_until([&] { return ledger_.is_done(command, bridge()); }, kLimit * 2)) {
            expect(false, what + " was not carried out");
            return "THE NEXT COMMANDS ARE NOT CARRIED OUT";
        }
        first = i == 0 ? text_of(since(start)) : first;
    }
    return "the next is carried out after " + first;
}

// Leaked descriptors and threads add up to an end of service.
void Trial::check_resources() {
    if (use_.descriptors == 0) {
        return;  // not measured before the fault
    }
    const pid_t pid = house_->daemon().pid();
    wait_until("descriptors and threads as before: " + counted(use_.descriptors, "descriptor") +
                   " and " + counted(use_.threads, "thread"),
               [&] {
                   const ProcessUse now = ProcessUse::of(pid);
                   return now.descriptors <= use_.descriptors && now.threads <= use_.threads;
               });
}

std::size_t Trial::failed_reports() const {
    return house_->log()->count(kFailedReport);
}

// A change whose report was lost is not reported again; the bulb must change anew.
void Trial::check_bulb() {
    const std::size_t lost = failed_reports();
    const auto start = Clock::now();
    if (bulb_changes_ == 0 || lost > 0) {
        change_bulb();
    }
    const std::string wanted = bulb_is_on_ ? "1" : "0";
    const bool is_reported =
        house_->wait_until([&] { return core().value(kBulbObject) == wanted; }, kLimit);
    expect(is_reported, "the next change was not reported");
    note(is_reported ? "a change is reported after " + text_of(since(start))
                     : "A CHANGE IS NOT REPORTED");
    if (lost > 0) {
        finding_.lost += "; " + counted(lost, "report") + ", logged";
    }
}

void Trial::check_account(const Ledger::Account& account) {
    if (account.sent > 0) {
        const std::size_t unanswered = account.sent - account.acknowledged;
        note(counted(account.acknowledged, "command") + " answered within " +
             text_of(account.slowest_answer) + ", " + std::to_string(account.done) +
             " carried out" +
             (unanswered > 0 ? ", " + std::to_string(unanswered) + " not answered" : ""));
    }
    finding_.lost = std::to_string(account.failed_with_line + account.lost) + " of " +
                    counted(account.acknowledged, "command");
    if (account.failed_with_line > 0) {
        finding_.lost += ", " + std::to_string(account.failed_with_line) + " logged";
    }
    if (account.lost > 0) {
        finding_.lost += ", " + std::to_string(account.lost) + " NOT LOGGED";
        expect(may_lose_commands_,
               std::to_string(account.lost) +
                   " acknowledged commands were neither carried out nor logged");
    }
}

void Trial::summarize_log() {
    std::map<std::string, std::size_t> kinds;
    for (const simulator::SystemLog::Line& line : log().lines()) {
        if (is_trouble(line)) {
            ++kinds[without_numbers(line.text)];
        }
    }
    std::vector<std::pair<std::size_t, std::string>> sorted;
    for (const auto& [kind, count] : kinds) {
        sorted.emplace_back(count, kind);
    }
    std::stable_sort(sorted.begin(), sorted.end(),
                     [](const auto& a, const auto& b) { return a.first > b.first; });
    for (std::size_t i = 0; i < std::min(kKindsOfLines, sorted.size()); ++i) {
        finding_.log_says.push_back(std::to_string(sorted[i].first) + "x " + sorted[i].second);
    }
    if (sorted.size() > kKindsOfLines) {
        finding_.log_says.push_back("and " + counted(sorted.size() - kKindsOfLines, "more kind") +
                                    " of lines");
    }
    if (sorted.empty()) {
        finding_.log_says.emplace_back("nothing");
    }
}
