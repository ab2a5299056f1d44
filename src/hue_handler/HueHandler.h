/// The gateway between the controller's core and one Philips Hue bridge.
///
/// Owns the bridge object, the light table (which controller object drives which property of which
/// light) and two threads: the request worker, which carries out the core's commands, and the state
/// monitor, which reports the lights' changes to the core. The main thread constructs and
/// initialises it and makes the callbacks, which only queue. Errors go to the log.
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <thread>

#include "gtwhandler/GtwBaseClass.h"
#include "hue_handler/FairMutex.h"
#include "hue_handler/HueLightState.h"
#include "hue_handler/LightTable.h"
#include "hue_handler/VexadRequest.h"
#include "hue_handler/WaitableFlag.h"
#include "huelib/Hue.h"
#include "huelib/IHttpHandler.h"

namespace hue_handler {

struct LightChange;  // in HueHandler_monitor.cpp

class HueHandler final : public gtwbasenamespace::GtwBaseClass {
  public:
    /// The waits of the handler. The defaults suit a real bridge and core; tests shorten them.
    struct Timings {
        std::uint32_t poll_period_ms = 3000;      ///< between two polls, and after a command
        std::uint32_t queue_look_ms = 100;        ///< between two checks of an empty queue
        std::uint32_t request_pause_ms = 50;      ///< after each request
        std::uint32_t polls_before_reread = 299;  ///< after an initial read that failed
    };

    /// Opens no connection. `id`: the bridge object in the database; `ip_address`: host name or
    /// dotted IPv4 address of the bridge; `username`: the user registered on it.
    HueHandler(unsigned int id, std::string ip_address, std::string username);
    /// The same with another transport and other waits.
    HueHandler(unsigned int id, std::string ip_address, std::string username,
               std::shared_ptr<const IHttpHandler> http_handler, const Timings& timings);

    /// Stops and joins the threads: waits for the current request, read of a light or of all
    /// lights, or report. Not copyable.
    ~HueHandler();
    HueHandler(const HueHandler&) = delete;
    HueHandler& operator=(const HueHandler&) = delete;

    /// Whether lights whose model is unknown are controlled as their type allows
    /// (Hue::driveUnknownModelsByType). Not at first. Call before init().
    void drive_unknown_models_by_type(bool is_allowed);

    /// Results of init().
    enum InitResult {
        kInitOk = 0,
        kInitQueryTooLong = -1,
        kInitDatabaseError = -2,
        kInitThreadError = -3,  ///< the system refused a thread
    };
    /// Fills the light table from the database and starts the threads, also for an empty table.
    /// Call once. Returns an InitResult; failures are logged.
    int init();

    /// True from init() until the state monitor is stopped; any thread may ask.
    bool is_monitoring() const { return monitoring_.get(); }
    /// Requests the end of the state monitor; does not wait for it.
    void stop_monitor_lights_state();

    /// Queues a "RUN"; any other call is dropped and logged, "NO-PAYLOAD" dropped silently. Always
    /// 0.
    int didReceiveCallFromCore(
        gtwhandlernamespace::GtwHandler* handler,
        callfromcoreparametersnamespace::CallFromCoreParameters* parameters) override;
    /// Does nothing: this gateway has no descriptor. Always 0.
    int didReceiveCustomGatewayData(gtwhandlernamespace::GtwHandler* handler, int fd) override;
    /// Requests the end of both threads; does not wait for them. Always 0.
    int willTerminate(gtwhandlernamespace::GtwHandler* handler,
                      callfromcoreparametersnamespace::CallFromCoreParameters* parameters) override;

    /// Commands that may wait, so that a flood from the core does not exhaust the memory.
    static constexpr std::size_t kMaxQueuedRequests = 1000000;

  private:
    using Clock = std::chrono::steady_clock;  // the wall clock may jump on boards without a battery

    // Set-up: HueHandler.cpp
    bool start_threads();

    // The queue and its worker: HueHandler_worker.cpp
    void push_request(const VexadRequest& request);
    void execute_request();
    std::optional<VexadRequest> take_request();
    void carry_out(const VexadRequest& request);
    void stop_worker();
    void log_unfinished_requests();

    // State monitor: HueHandler_monitor.cpp
    void state_monitor();
    int init_light_states();
    bool init_light_state(int light_id, HueLightState& stored);
    void poll();
    bool refresh_lights();
    void report_lights();
    // These are false when the pass has used up its time for reports.
    bool report_changes(int light_id, HueLightState& stored);
    bool report(const LightChange& change) const;

    const std::uint32_t runner_id_;
    const Timings timings_;
    std::shared_ptr<const IHttpHandler> http_handler_;

    // Guards bridge_, light_table_ and last_request_end_. Never held together with queue_mutex_.
    FairMutex table_mutex_;
    std::unique_ptr<Hue> bridge_;
    LightTable light_table_;  // its keys are fixed after init()
    std::optional<Clock::time_point> last_request_end_;
    // Used by the monitor's thread only.
    std::set<int> initialized_lights_;        // those that the initial read has reached
    Clock::time_point reports_end_{};         // a pass reports no longer than until then
    std::optional<int> last_reported_light_;  // of a pass that ran out of time
    std::map<int, std::size_t> first_roles_;  // of a light's next turn, by light ID

    std::mutex queue_mutex_;  // guards the two below, for a push or a pop only
    std::deque<VexadRequest> queue_;
    bool is_queue_closed_ = false;

    WaitableFlag worker_stop_;
    WaitableFlag monitoring_;
    std::thread worker_;
    std::thread monitor_;
};

}  // namespace hue_handler
