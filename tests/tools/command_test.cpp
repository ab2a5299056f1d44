// The command lines of commands.txt, and what a table cannot say of them.
#include <sstream>
#include <string>
#include <vector>

#include "HuectlTest.h"
#include "tests/support/Vectors.h"
#include "tools/ObservingHttpHandler.h"

namespace {

using testing::HasSubstr;

class Command : public HuectlTest {
  protected:
    /// Runs a command line and checks the text that it shows, whatever the widths of columns.
    void expect(const std::string& command, int exit_code, const std::string& text) const {
        const Result result = run(command);
        EXPECT_THAT(result, exit_code == 0 ? Succeeds() : FailsWith(exit_code));
        EXPECT_EQ((result.output + result.errors).find_first_of("\x1b\x07\r"), std::string::npos);
        const auto document = simulator::parse_json(result.output);
        EXPECT_EQ(document.has_value(), command.find("--json") != std::string::npos);
        std::istringstream words((document ? simulator::compact_json(*document) : result.output) +
                                 result.errors);
        std::string shown;
        for (std::string word; words >> word;) {
            shown += word + " ";
        }
        EXPECT_THAT(shown, HasSubstr(text));
    }
    void expect_rows(const std::string& section) {
        for_each_vector("tools/commands.txt", section, 6, [&](const auto& cells) {
            restart(cells[0]);
            expect(cells[1], std::stoi(cells[2]), cells[3]);
            EXPECT_EQ(changes(), cells[4]);
        });
    }
};

TEST_F(Command, SendsNothingWhenItsWordsAreWrong) {
    for_each_vector("tools/commands.txt", "usage", 3, [&](const auto& cells) {
        restart();
        expect(cells[0], 2, cells[1]);
        EXPECT_TRUE(bridge->requests().empty());
    });
}

TEST_F(Command, SendsItsChangesAndShowsTheResult) {
    expect_rows("commands");
}

TEST_F(Command, NamesTheFaultOfABridge) {
    expect_rows("faults");
    constexpr std::size_t kMoreThanABridgeSends = std::size_t{3} << 20;
    for (const std::string& body :
         {std::string(1000, '['), "[" + std::string(kMoreThanABridgeSends, ' ') + "]"}) {
        restart(body);
        expect("lights", 3, "check the address");
    }
}

TEST_F(Command, CarriesOutItsOptionsInTheDocumentedOrderAndInThePaceOfTheBridge) {
    expect(
        "light 4 --brightness 50 --name K\u00fcche --loop on --rgb 00FF00 --blink --on "
        "--transition 1000",
        0, "4 K\u00fcche LCT007");
    EXPECT_EQ(changes(), R"(PUT 4/name {"name":"K\u00fcche"}
PUT 4/state {"on":true,"transitiontime":10}
PUT 4/state {"bri":255,"hue":21845,"sat":255,"transitiontime":10}
PUT 4/state {"bri":127,"transitiontime":10}
PUT 4/state {"effect":"colorloop"}
PUT 4/state {"alert":"select"})");
    constexpr std::chrono::milliseconds kSmallestGap{50};  // 100 ms, less what a busy machine adds
    const auto requests = bridge->requests();
    for (std::size_t i = 1; i < requests.size(); ++i) {
        EXPECT_GE(requests[i].start - requests[i - 1].start, kSmallestGap) << i;
    }
}

TEST_F(Command, WarnsOfATemperatureBeyondTheLightsOwnRangeAndSendsIt) {
    restart_with_unknown_model();
    expect("light 4 --mired 454 --by-type", 0, "LCA007 colour C by type on 79 % 2202 K");
    for (const auto& [option, range] : {std::pair("--mired 455", "160 to 454 mired"),
                                        std::pair("--kelvin 6500", "2202 to 6250 K"),
                                        std::pair("--flash 2000", "2202 to 6250 K")}) {
        EXPECT_THAT(run("light 4 --by-type " + std::string(option)),
                    Ended(0, "huectl: warning: light 4 \"Living room\" has only " +
                                 std::string(range) + ", not " + option + "\n"));
    }
    EXPECT_THAT(changes(), testing::StartsWith(R"(PUT 4/state {"ct":454}
PUT 4/state {"ct":455}
PUT 4/state {"ct":153}
PUT 4/state {"ct":500,"transitiontime":1})"));
}

// A bridge gives a new user name only once.
TEST_F(Command, PrintsOnStandardErrorIfStandardOutputCannotBeWritten) {
    const std::string result = run("lights").output;
    for (const char* command : {"lights >/dev/full", "exec 3> >(exit); wait $!; lights >&3"}) {
        const Result failed = run(command);
        EXPECT_EQ(failed.code, 1) << command;
        EXPECT_EQ(failed.errors, result +
                                     "huectl: done, but standard output cannot be written; "
                                     "the result is on standard error\n");
    }
}

TEST_F(Command, ConfirmsNothingByAnAnswerWithoutASuccess) {
    const huectl::ObservingHttpHandler transport;
    for (const char* answer : {"[]", R"([{"warning": 1}])"}) {
        restart(answer);
        transport.PUTJson("/api/installer/lights/4/state", Json::Value(), kAddress, 80);
        const auto refusal = transport.take_refusal();
        EXPECT_TRUE(refusal && refusal->type == huectl::Refusal::kNotConfirmed) << answer;
    }
}

}  // namespace
