/// The gateway between the controller's core and one Philips Hue bridge.
///
/// Owns the bridge object, the light table that says which controller object drives which property
/// of which light, and two threads: the request worker, which carries out the core's commands, and
/// the state monitor, which reports the lights' changes to the core. The main thread constructs and
/// initialises it and makes the callbacks, which only queue. Errors go to the log.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <thread>

#include "gtwhandler/GtwBaseClass.h"
#include "hue_handler/FairMutex.h"
#include "hue_handler/HueLightState.h"
#include "hue_handler/VexadRequest.h"
#include "hue_handler/WaitableFlag.h"
#include "huelib/Hue.h"
#include "huelib/IHttpHandler.h"
#include "libtavdb/db_request.h"

namespace hue_handler {

class HueHandler final : public gtwbasenamespace::GtwBaseClass {
  public:
    /// What the handler waits for, and how long. The defaults are what the bridge and the core
    /// bear.
    struct Timings {
        std::uint32_t poll_period_ms = 3000;  ///< between two polls, and quiet time after a command
        std::uint32_t queue_look_ms = 100;    ///< between two looks at an empty queue
        std::uint32_t request_pause_ms = 50;  ///< after each request
        std::uint32_t polls_before_reread = 299;  ///< after an initial read that failed
    };

    /// Contacts nothing. `id`: the bridge object in the database; `ip_address`: host name or dotted
    /// IPv4 address of the bridge; `username`: the user registered on it.
    HueHandler(unsigned int id, std::string ip_address, std::string username);
    /// The same over another transport and with other times.
    HueHandler(unsigned int id, std::string ip_address, std::string username,
               std::shared_ptr<const IHttpHandler> http_handler, const Timings& timings);
    /// Stops and joins the threads: waits for the request, the read of one light or the report that
    /// is under way.
    ~HueHandler();
    HueHandler(const HueHandler&) = delete;
    HueHandler& operator=(const HueHandler&) = delete;

    enum InitResult {
        kInitOk = 0,
        kInitQueryTooLong = -1,
        kInitDatabaseError = -2,
        kInitThreadError = -3,  ///< the system gives no more threads
    };
    /// Fills the light table from the database and starts the threads, also for an empty table.
    /// Call once. Returns an InitResult; failures are logged.
    int init();

    bool is_monitoring() const { return monitoring_.get(); }
    void stop_monitor_lights_state();

    /// Queues a "RUN"; anything else is dropped with a line in the log ("NO-PAYLOAD" without one).
    /// Always 0.
    int didReceiveCallFromCore(
        gtwhandlernamespace::GtwHandler* handler,
        callfromcoreparametersnamespace::CallFromCoreParameters* parameters) override;
    /// Nothing to do: this gateway has no descriptor of its own. Always 0.
    int didReceiveCustomGatewayData(gtwhandlernamespace::GtwHandler* handler, int fd) override;
    /// Tells the threads to end; does not wait for them. Always 0.
    int willTerminate(gtwhandlernamespace::GtwHandler* handler,
                      callfromcoreparametersnamespace::CallFromCoreParameters* parameters) override;

    /// Commands that may wait; a core that never lets up must not fill the memory.
    static constexpr std::size_t kMaxQueuedRequests = 1000000;

  private:
    using Clock = std::chrono::steady_clock;  // the wall clock steps on boards without a battery

    // Set-up: HueHandler.cpp
    void fill_light_table(const libtavdb::db_request& rows);
    void add_table_row(const std::map<std::string, std::string>& row);
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
    bool read_light_state(int light_id, HueLightState& stored);
    void poll();
    bool refresh_lights();
    // These are false when the pass has spent its time on reports.
    bool report_changes(const HueLight& light, HueLightState& stored) const;
    bool report_rgb(const HueLight& light, HueLightState& stored) const;
    bool report_hsv(const HueLight& light, HueLightState& stored) const;
    bool report(int object_id, const std::string& value, const std::string& failure_line) const;

    static constexpr std::uint32_t kRgbTolerance = 5;
    static constexpr std::uint32_t kHueTolerance = 150;  // of the 8-bit hue, 0..255
    static constexpr std::uint32_t kSaturationTolerance = 5;
    static constexpr std::uint32_t kHsvValueTolerance = 5;

    const std::uint32_t runner_id_;
    const Timings timings_;
    std::shared_ptr<const IHttpHandler> http_handler_;

    // Guards bridge_, light_table_ and last_request_end_. Never held together with queue_mutex_.
    FairMutex table_mutex_;
    std::unique_ptr<Hue> bridge_;
    std::map<int, HueLightState> light_table_;  // by bridge light ID; keys are fixed after init()
    std::optional<Clock::time_point> last_request_end_;
    // The monitor's own.
    std::set<int> read_lights_;        // whose state was read once
    Clock::time_point reports_end_{};  // until then a pass may go on reporting

    std::mutex queue_mutex_;  // guards the two below, for a push or a pop only
    std::deque<VexadRequest> queue_;
    bool is_queue_closed_ = false;

    WaitableFlag worker_stop_;
    WaitableFlag monitoring_;
    std::thread worker_;
    std::thread monitor_;
};

}  // namespace hue_handler
