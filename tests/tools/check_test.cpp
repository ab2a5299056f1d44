// huectl check: a faulty installation line by line, and a good one with one fault each.
#include <algorithm>
#include <string>

#include "HuectlTest.h"
#include "simulator/Installation.h"
#include "simulator/database/DatabaseService.h"
#include "tests/support/Vectors.h"

namespace {

using simulator::DatabaseService;
using testing::HasSubstr;

const std::string kFolder = LUMIVAD_TESTS_FOLDER "/tools/";

class Check : public HuectlTest {
  protected:
    /// An installation without a fault.
    void restart_all(const std::string& answer_of_bridge) {
        restart(answer_of_bridge);
        start_database(
            simulator::load_text_file(simulator::Installation::file("sample-house.sql")));
        database->rows(
            "UPDATE vexad_object SET optionalp = "
            "replace(optionalp, 'simulated-house-user', 'installer')");
    }
    void start_database(const std::string& sql) {
        database.reset();
        database = std::make_unique<DatabaseService>(sql);
    }
    /// The name of a fault, or a statement.
    void break_database(const std::string& fault) const {
        const auto faults = DatabaseService::fault_names();
        if (std::find(faults.begin(), faults.end(), fault) != faults.end()) {
            database->inject_fault(fault);
        } else if (!fault.empty()) {
            database->rows(fault);
        }
    }
    /// The faulty installation of the SQL file, and a bridge with two unknown models.
    void start_faulty_installation() {
        start_database(simulator::load_text_file(kFolder + "faulty-installation.sql"));
        Json::Value lights =
            simulator::load_json_file(simulator::Installation::file("sample-lights.json"));
        lights["2"]["state"]["reachable"] = false;
        lights["6"]["name"] = "\x1b[2J";
        lights["12"] = lights["1"];
        lights["7"] = lights["1"];
        lights["7"]["modelid"] = "LWX999";
        lights["8"] = lights["7"];
        lights["8"]["type"] = "Window covering device";
        bridge.reset();
        bridge = std::make_unique<simulator::Bridge>(simulator::Bridge::Setup{"installer", lights});
    }

    std::unique_ptr<DatabaseService> database;
};

TEST_F(Check, FindsEachFaultOfAnInstallationAndChangesNothing) {
    start_faulty_installation();
    const auto changes_before = database->rows("SELECT total_changes()");
    const Result result = run("huectl check 100");
    EXPECT_EQ(result.code, 1);
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(result.output, simulator::load_text_file(kFolder + "faulty-installation.txt"));
    EXPECT_EQ(database->rows("SELECT total_changes()"), changes_before);
    EXPECT_EQ(bridge->requests().size(), 1U);
    EXPECT_EQ(bridge->count("GET", "/lights"), 1);
}

// The text has each finding as "error: object 112 (light 1): TEXT; REMEDY".
TEST_F(Check, PrintsTheSameAsJson) {
    start_faulty_installation();
    const std::string text = run("huectl check 100").output;
    const Result result = run("huectl check --json 100");
    EXPECT_EQ(result.code, 1);
    const auto document = simulator::parse_json(result.output);
    ASSERT_TRUE(document);
    std::string lines;
    for (const Json::Value& finding : (*document)["findings"]) {
        const std::string light = "light " + finding["light"].asString();
        const std::string object = "object " + finding["object"].asString();
        lines += finding["severity"].asString() + ": " +
                 (!finding.isMember("object")  ? light
                  : !finding.isMember("light") ? object
                                               : object + " (" + light + ")") +
                 ": " + finding["text"].asString() + "; " + finding["remedy"].asString() + "\n";
        EXPECT_THAT(finding["kind"].asString(), testing::MatchesRegex("[a-z_]+"));
    }
    EXPECT_THAT(text, HasSubstr("\n\n" + lines + "Errors: "));
    EXPECT_EQ(simulator::compact_json((*document)["lights"][0]),
              R"({"class":"white","id":1,"model":"LWB010","name":"Hall","reachable":true,)"
              R"("roles":{"on_off":111,"value":112}})");
}

TEST_F(Check, NamesOneFaultAndExitsWithItsCode) {
    for_each_vector("tools/check.txt", "cases", 6, [&](const auto& cells) {
        restart_all(cells[1]);
        break_database(cells[0]);
        const Result result = run(cells[2]);
        EXPECT_EQ(result.code, std::stoi(cells[3]));
        EXPECT_THAT(result.errors, testing::MatchesRegex("(Searching[^\n]*: [0-9]+ s left\n)*"));
        EXPECT_EQ(result.output.find_first_of("\x1b\x07\r"), std::string::npos);
        const auto document = simulator::parse_json(result.output);
        EXPECT_THAT(document ? simulator::compact_json(*document) : result.output,
                    HasSubstr(cells[4]));
    });
}

}  // namespace
