#include "simulator/Soak.h"

#include <algorithm>
#include <stdexcept>
#include <thread>

#include "hue_handler/UnitConversion.h"

namespace simulator {
namespace {

using std::chrono::milliseconds;
using std::chrono::minutes;
using std::chrono::seconds;

constexpr seconds kBetweenSamples{60};
constexpr milliseconds kStep{20};
constexpr milliseconds kHalfPace = SoakLedger::kPace / 2;  // twice as fast as the bridge is driven
constexpr seconds kDrainLimit{30};                         // on top of the time for the queue
constexpr seconds kForACommand{1};

// A soak of seconds, as in a test, has shorter intervals.
struct Rhythm {
    milliseconds shortest_burst, longest_burst, shortest_quiet, longest_quiet;
    milliseconds first_reboot, shortest_between_reboots, longest_between_reboots, longest_reboot;
};
constexpr Rhythm kLong{seconds(5), seconds(20), seconds(4), seconds(12),
                       minutes(2), minutes(2),  minutes(5), seconds(5)};
constexpr Rhythm kShort{seconds(2), seconds(4), seconds(3), seconds(5),
                        seconds(3), minutes(2), minutes(5), seconds(1)};

const Rhythm& rhythm_of(milliseconds duration) {
    return duration < minutes(1) ? kShort : kLong;
}

std::string payload_of(const std::string& role, int value) {
    if (role != "hsv") {
        return std::to_string(value);
    }
    const auto byte = [value](int shift) { return static_cast<std::uint8_t>(value >> shift); };
    return hue_handler::text_of_hsv(byte(16), byte(8), byte(0));
}

}  // namespace

Soak::Soak(const Plan& plan, Printer printer)
    : plan_(plan),
      print_(std::move(printer)),
      installation_(plan.lights),
      house_({plan.daemon, installation_.sql_file(), installation_.lights_file()},
             [this](const Event& event) {
                 if (event.kind == EventKind::log) {
                     ledger_.add_log_line(event.text);
                 }
             }),
      objects_(house_.objects()),
      lights_(house_.bridge().light_ids()),
      random_(plan.seed) {
    if (house_.log() == nullptr) {
        throw std::runtime_error("cannot receive the daemon's log, which the ledger needs");
    }
    ledger_.set_objects(objects_);
    house_.bridge().gate().on_exchange(
        [this](const Gate::Request& request, const std::string& answer) {
            house_.log()->sync();  // the lines before the request
            ledger_.add_exchange(request, answer, house_.core().take_reports());
        });
}

bool Soak::run() {
    if (!start_daemon()) {
        return finish();
    }
    load();
    compare_truths();
    sample();
    check_growth();
    const auto ending = house_.stop();
    check(ending && ending->is_success(), "the daemon did not exit with 0 on SIGTERM");
    return finish();
}

bool Soak::start_daemon() {
    print_("seed " + std::to_string(plan_.seed) + ", " + std::to_string(lights_.size()) +
           " lights, " + std::to_string(objects_.size()) + " objects");
    const auto status = house_.start();
    const bool is_up = status && status->status == 0 &&
                       wait_until([this] { return ledger_.counts().polls > 0; },
                                  kDrainLimit + kForACommand * plan_.lights);
    check(is_up, "the daemon did not start");
    start_ = last_sample_ = Clock::now();
    last_counts_ = ledger_.counts();
    return is_up;
}

void Soak::check(bool holds, const std::string& fault) {
    if (!holds) {
        faults_.push_back(fault);
        print_("!! " + fault);
    }
}

// Not std::uniform_int_distribution, whose numbers differ from library to library.
int Soak::pick(int from, int to) {
    return from + static_cast<int>(random_() % static_cast<unsigned>(to - from + 1));
}

Soak::Milliseconds Soak::pick(Milliseconds from, Milliseconds to) {
    return Milliseconds(pick(static_cast<int>(from.count()), static_cast<int>(to.count())));
}

bool Soak::wait_until(const std::function<bool()>& predicate, Milliseconds limit) {
    return house_.wait_until(predicate, limit);
}

void Soak::load() {
    const Rhythm& rhythm = rhythm_of(plan_.duration);
    next_change_ = next_sample_ = start_;
    next_reboot_step_ = start_ + rhythm.first_reboot;
    const Clock::time_point end = start_ + plan_.duration;
    while (Clock::now() < end && faults_.empty() && house_.daemon().is_running()) {
        burst(std::min(end, Clock::now() + pick(rhythm.shortest_burst, rhythm.longest_burst)));
        drain();
    }
    check(house_.daemon().is_running(), "the daemon ended unexpectedly");
    house_.bridge().recover();
}

void Soak::burst(Clock::time_point end) {
    Clock::time_point next = Clock::now();
    while (Clock::now() < end) {
        run_background_events();
        if (Clock::now() < next) {
            std::this_thread::sleep_for(kStep);
            continue;
        }
        Milliseconds worth{};
        command(random_command(worth));
        next += worth;
    }
}

// Waits until the queue is empty and the daemon has polled.
void Soak::drain() {
    const Rhythm& rhythm = rhythm_of(plan_.duration);
    const auto limit = Clock::now() + kDrainLimit + kForACommand * ledger_.open();
    while (ledger_.open() > 0 && Clock::now() < limit) {
        run_background_events();
        std::this_thread::sleep_for(kStep);
    }
    check(ledger_.open() == 0, "the queue was not carried out in time");
    const auto end = Clock::now() + pick(rhythm.shortest_quiet, rhythm.longest_quiet);
    while (Clock::now() < end) {
        run_background_events();
        std::this_thread::sleep_for(kStep);
    }
}

// Everything but the commands.
void Soak::run_background_events() {
    if (Clock::now() >= next_change_) {
        change_a_bulb();
        next_change_ = Clock::now() + pick(Milliseconds(200), Milliseconds(1800));
    }
    if (Clock::now() >= next_reboot_step_) {
        step_reboot();
    }
    if (Clock::now() >= next_sample_) {
        next_sample_ += std::min<Milliseconds>(kBetweenSamples, plan_.duration / 2);
        sample();
    }
}

void Soak::command(const SoakCommand& command) {
    const auto object = std::find_if(objects_.begin(), objects_.end(),
                                     [&](const auto& one) { return one.id == command.object; });
    ledger_.add_command(command);
    if (house_.core().run_object(command.object, payload_of(object->role, command.value)) == 0) {
        ledger_.add_acknowledgement();
    }
}

SoakCommand Soak::random_command(Milliseconds& worth) {
    const House::RoleObject& object =
        objects_[static_cast<std::size_t>(pick(0, static_cast<int>(objects_.size()) - 1))];
    worth = kHalfPace;
    if (object.role == "on_off") {
        return {object.id, pick(0, 1)};
    }
    if (object.role == "hsv") {
        return {object.id, pick(0, 0xFFFFFF)};
    }
    if (object.role != "value" && object.role != "temperature") {
        return {object.id, pick(0, 255)};
    }
    worth = 2 * kHalfPace;  // reads the light's state first
    return {object.id, pick(0, 100)};
}

void Soak::change_a_bulb() {
    const int light =
        lights_[static_cast<std::size_t>(pick(0, static_cast<int>(lights_.size()) - 1))];
    Bulb bulb = house_.light(light);
    Json::Value change;
    const int kind = pick(0, 3);
    if (kind == 0) {
        change["on"] = !bulb.is_on();
    } else if (kind == 1 && !bulb.state("ct").isNull()) {
        change["ct"] = pick(153, 500);
    } else if (kind == 2 && !bulb.state("hue").isNull()) {
        change["hue"] = pick(0, 65535);
        change["sat"] = pick(0, 254);
    } else {
        change["bri"] = pick(1, 254);
    }
    bulb.change(change);
}

void Soak::step_reboot() {
    Bridge& bridge = house_.bridge();
    const Rhythm& rhythm = rhythm_of(plan_.duration);
    switch (reboot_) {
        case Reboot::up:
            bridge.inject_fault("reset");
            reboot_ = Reboot::resetting;
            next_reboot_step_ = Clock::now() + pick(Milliseconds(300), rhythm.longest_reboot / 2);
            break;
        case Reboot::resetting:
            bridge.inject_fault("cut");
            reboot_ = Reboot::refusing;
            next_reboot_step_ = Clock::now() + pick(Milliseconds(300), rhythm.longest_reboot);
            break;
        case Reboot::refusing:
            bridge.recover();
            ++reboots_;
            reboot_ = Reboot::up;
            next_reboot_step_ = Clock::now() + pick(rhythm.shortest_between_reboots,
                                                    rhythm.longest_between_reboots);
    }
}

}  // namespace simulator
