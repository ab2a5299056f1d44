// The scenes of script/demo. Each prints its transcript.
#include <iostream>
#include <string>

#include <gtest/gtest.h>

#include "simulator/House.h"
#include "simulator/prompt/Prompt.h"

namespace {

using simulator::Console;
using simulator::House;
using simulator::Prompt;

void run_scene(const std::string& name, bool is_paired) {
    Console console(std::cout, false);
    House::Options options;
    options.daemon = LUMIVAD_PATH;
    options.huectl = HUECTL_PATH;
    options.is_paired = is_paired;
    House house(options, [&](const simulator::Event& event) { console.print(event); });
    Prompt prompt(house, console, [] { return false; });
    ASSERT_TRUE(!is_paired || prompt.run("start"));
    EXPECT_TRUE(prompt.run_script(std::string(SCENES_FOLDER) + "/" + name + ".house"));
    ASSERT_TRUE(house.has_daemon() && house.daemon().is_running());
    EXPECT_EQ(house.stop()->text(), "exit code 0");
}

TEST(Scenes, Tour) {
    run_scene("tour", true);
}

TEST(Scenes, Pairing) {
    run_scene("pairing", false);
}

}  // namespace
