// Latency and throughput of the commands endpoint. The yardstick is a program that only answers.
#include <stdexcept>

#include <sys/socket.h>

#include "bench/Fixture.h"
#include "libcbase/FSMCoreutil.h"

namespace bench {
namespace {

constexpr const char* kAnswer =
    "Response Status: FSMC-000\nParameter Count: 0\n\n";  // of both programs
// An object without a light: the request reaches the worker and ends there.
constexpr const char* kObject = "999999";

// One connection in milliseconds: request, answer, closed by the peer.
double time_request(int port, const std::string& text) {
    char answer[1024];
    const double start = now_ms();
    const FileDescriptor fd(make_internettcpclient_socket("127.0.0.1", port));
    send(fd.get(), text.data(), text.size(), MSG_NOSIGNAL);
    const ssize_t length = recv(fd.get(), answer, sizeof(answer), MSG_WAITALL);
    const double end = now_ms();
    if (std::string(answer, length < 0 ? 0 : static_cast<std::size_t>(length)) != kAnswer) {
        throw std::runtime_error("a request got an unexpected answer");
    }
    return end - start;
}

struct Rounds {
    Samples p50_us;
    Samples p99_us;
    Samples per_second;

    void run(int port, const std::string& text, int requests) {
        Samples times;
        double sum = 0;
        for (int i = 0; i < requests; ++i) {
            times.push_back(time_request(port, text));
            sum += times.back();
        }
        p50_us.push_back(percentile(times, 0.5) * 1000);
        p99_us.push_back(percentile(times, 0.99) * 1000);
        per_second.push_back(requests / sum * 1000);
    }
};

}  // namespace

void measure_endpoint(const Plan& plan, Report& report) {
    Fixture fixture(plan.daemon, 7);
    simulator::ChildProcess echo({plan.echo});
    const int echo_port = port_of(echo.start_port(std::chrono::seconds(5)));
    const auto text = fsmcore_format::compose_request(
        fsmcore_format::Form::length_managed,
        {FSMCORE_RUN_ON_ELEMENT,
         {kObject, "RUN", "1", "NO-OPTIONALS", "NO-HASHCODE", "CORE"},
         "5"});
    const int requests = plan.rounds(1000, 100);
    Rounds ours;
    Rounds theirs;
    for (int round = 0; round < plan.rounds(9, 2); ++round) {
        ours.run(fixture.port(), text.value(), requests);
        theirs.run(echo_port, text.value(), requests);
    }
    report.add("latency p50", "us", ours.p50_us, theirs.p50_us, "ratio <= 1.3");
    report.add("latency p99", "us", ours.p99_us, theirs.p99_us);
    report.add("requests a second", "", ours.per_second, theirs.per_second, "ratio >= 0.75");
}

}  // namespace bench
