// Latency and throughput of the commands endpoint. The yardstick is a program that only answers.
#include <chrono>
#include <stdexcept>

#include <sys/socket.h>

#include "bench/Fixture.h"
#include "libcbase/FSMCoreutil.h"

namespace bench {
namespace {

using Clock = std::chrono::steady_clock;

constexpr double kGoalLatency = 1.3;
constexpr double kGoalThroughput = 0.75;
constexpr const char* kAnswer =
    "Response Status: FSMC-000\nParameter Count: 0\n\n";  // of both programs
// An object without a light: the request reaches the worker and ends there.
constexpr const char* kObject = "999999";

std::string request_text() {
    const auto text = fsmcore_format::compose_request(
        fsmcore_format::Form::length_managed,
        {"SERVICE_RUNONELEMENT",
         {kObject, "RUN", "1", "NO-OPTIONALS", "NO-HASHCODE", "CORE"},
         "5"});
    return text.value();
}

// One connection in microseconds: request, answer, closed by the peer.
double time_request(int port, const std::string& text) {
    const auto start = Clock::now();
    const FileDescriptor fd(make_internettcpclient_socket("127.0.0.1", port));
    char answer[1024];
    std::size_t length = 0;
    ssize_t count = send(fd.get(), text.data(), text.size(), MSG_NOSIGNAL);
    while (count > 0 && length < sizeof(answer)) {
        count = recv(fd.get(), answer + length, sizeof(answer) - length, 0);
        length += static_cast<std::size_t>(count > 0 ? count : 0);
    }
    const auto end = Clock::now();
    if (std::string(answer, length) != kAnswer) {
        throw std::runtime_error("a request got an unexpected answer");
    }
    return std::chrono::duration<double, std::micro>(end - start).count();
}

struct Rounds {
    Samples p50;
    Samples p99;
    Samples per_second;

    void run(int port, const std::string& text, int requests) {
        Samples times;
        double sum = 0;
        for (int i = 0; i < requests; ++i) {
            times.push_back(time_request(port, text));
            sum += times.back();
        }
        p50.push_back(percentile(times, 0.5));
        p99.push_back(percentile(times, 0.99));
        per_second.push_back(requests / sum * 1e6);
    }
};

}  // namespace

void measure_endpoint(const Plan& plan, Report& report) {
    Fixture fixture(plan, 7);
    simulator::ChildProcess echo({plan.echo});
    const auto echo_status = echo.start_status(std::chrono::seconds(5));
    if (!echo_status) {
        throw std::runtime_error("the yardstick of the endpoint did not start");
    }
    const std::string text = request_text();
    const int requests = plan.rounds(1000, 100);
    Rounds ours;
    Rounds theirs;
    for (int round = 0; round < plan.rounds(9, 2); ++round) {
        ours.run(fixture.port(), text, requests);
        theirs.run(echo_status->port, text, requests);
    }
    report.add({"endpoint", "latency p50", "us", ours.p50, theirs.p50,
                Goal{Goal::Of::ratio, Goal::Side::at_most, kGoalLatency}});
    report.add({"endpoint", "latency p99", "us", ours.p99, theirs.p99});
    report.add({"endpoint", "requests a second", "", ours.per_second, theirs.per_second,
                Goal{Goal::Of::ratio, Goal::Side::at_least, kGoalThroughput}});
}

}  // namespace bench
