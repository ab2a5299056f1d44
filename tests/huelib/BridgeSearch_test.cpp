#include "huelib/BridgeSearch.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>

#include "huelib/BridgeAnnouncements.h"
#include "huelib/BridgeTexts.h"
#include "huelib/MdnsMessage.h"
#include "tests/support/Vectors.h"

namespace {

using Bridge = BridgeSearch::Bridge;

in_addr address(const std::string& dotted) {
    return {::inet_addr(dotted.c_str())};
}

/// The texts between lines of two hyphens, as fuzz programs separate them.
std::vector<std::string> parts_of(std::string text) {
    const std::string separator = "\n--\n";
    std::vector<std::string> parts;
    for (std::size_t end = 0; (end = text.find(separator)) != std::string::npos;) {
        parts.push_back(text.substr(0, end));
        text.erase(0, end + separator.size());
    }
    parts.push_back(text);
    return parts;
}

/// "address id model", one after the other; "-" for none.
std::string shown(const std::vector<Bridge>& bridges) {
    std::string text;
    for (const Bridge& bridge : bridges) {
        for (const std::string& part : {bridge.address, bridge.id, bridge.model}) {
            text += part.empty() || text.empty() ? part : " " + part;
        }
    }
    return text.empty() ? "-" : text;
}

template <typename Read>
std::string shown(const Read& read, const std::string& answer) {
    Bridge bridge;
    bridge.name = bridge.model = "announced";
    return read(answer, bridge) ? bridge.id + "," + bridge.name + "," + bridge.model + "," +
                                      bridge.software + "," + bridge.api
                                : "-";
}

std::string announcement(const std::string& location) {
    return "SERVER: IpBridge\r\nLOCATION: http://" + location + "/description.xml\r\n";
}

std::string address_of(int number) {
    return "10.1." + std::to_string(number / 256) + "." + std::to_string(number % 256);
}

Bridge described(const std::string& address, const std::string& id, bool answers) {
    Bridge bridge;
    bridge.address = address;
    bridge.id = id;
    bridge.isDescribed = answers;
    (address == "10.0.0.10" ? bridge.isFoundByMdns : bridge.isFoundBySsdp) = true;
    return bridge;
}

}  // namespace

TEST(MdnsMessage, AsksForInstancesAndAUnicastAnswer) {
    using namespace std::string_literals;
    const std::string query = MdnsMessage::query("_hue._tcp.local");
    EXPECT_EQ(query.substr(2), "\0\0\0\1\0\0\0\0\0\0\4_hue\4_tcp\5local\0\0\x0c\x80\1"s);
    EXPECT_THROW(MdnsMessage::query(std::string(64, 'a')), std::invalid_argument);
}

TEST(BridgeAnnouncements, ReadsAnswersByMdns) {
    for_each_vector("huelib/mdns.txt", "answers", 3, [](const auto& cells) {
        BridgeAnnouncements announcements;
        for (const std::string& answer : parts_of(cells[0])) {
            announcements.addMdns(answer, address("10.0.0.2"));
        }
        EXPECT_EQ(shown(announcements.candidates()), cells[1]);
    });
}

TEST(BridgeAnnouncements, ReadsAnswersBySsdp) {
    for_each_vector("huelib/bridges.txt", "ssdp", 3, [](const auto& cells) {
        BridgeAnnouncements announcements;
        announcements.addSsdp(cells[0], address("10.0.0.2"));
        EXPECT_EQ(shown(announcements.candidates()), cells[1]);
    });
}

TEST(BridgeAnnouncements, OneAddressIsOneDeviceWithTheTextsThatItAnnouncesItself) {
    BridgeAnnouncements announcements;
    announcements.addSsdp(announcement("10.0.0.2") + "hue-bridgeid: 0000000000000000",
                          address("10.0.0.9"));
    announcements.addSsdp(announcement("10.0.0.2"), address("10.0.0.2"));
    announcements.addSsdp("hue-bridgeid: 001788FFFE0AE670", address("10.0.0.2"));
    announcements.addMdns(
        simulator::read_table(std::string(LUMIVAD_TESTS_FOLDER) + "/huelib/mdns.txt", "answers")
            .front()
            .cells[0],
        address("10.0.0.2"));
    const std::vector<Bridge> found = announcements.candidates();
    EXPECT_EQ(shown(found), "10.0.0.2 001788FFFE0AE670 BSB002");
    EXPECT_TRUE(found[0].isFoundBySsdp && found[0].isFoundByMdns);
}

TEST(BridgeAnnouncements, ASenderOfThousandsTakesNoPlaceOfAnother) {
    BridgeAnnouncements announcements;
    for (int i = 0; i < 5000; ++i) {
        announcements.addSsdp(announcement(address_of(i)), address("10.0.0.9"));
    }
    announcements.addSsdp(announcement("10.0.0.2"), address("10.0.0.2"));
    ASSERT_EQ(announcements.candidates().size(), 17U);
    EXPECT_EQ(announcements.candidates()[1].address, "10.0.0.2");

    for (int i = 0; i < 5000; ++i) {
        announcements.addSsdp(announcement(address_of(i)), address(address_of(i)));
    }
    EXPECT_EQ(announcements.candidates().size(), BridgeAnnouncements::kMostCandidates);
    EXPECT_EQ(announcements.candidates()[1].address, "10.0.0.2");
}

TEST(BridgeAnnouncements, MergesByIdInTheOrderOfTheAddresses) {
    const std::string id = "001788FFFE0AE670";
    const std::vector<Bridge> merged = BridgeAnnouncements::mergedById({
        described("10.0.0.10", id, true),
        described("10.0.0.1", id, false),
        described("10.0.0.9", id, true),
        described("10.0.0.11", "", true),
        described("10.0.0.8", "", true),
    });
    EXPECT_EQ(shown(merged), "10.0.0.8 10.0.0.9 " + id + " 10.0.0.11");
    EXPECT_TRUE(merged[1].isFoundBySsdp && merged[1].isFoundByMdns);
}

TEST(BridgeTexts, AreThoseOfTheDeviceOrNone) {
    for_each_vector("huelib/bridges.txt", "config", 3, [](const auto& cells) {
        EXPECT_EQ(shown(BridgeTexts::readConfig, cells[0]), cells[1]);
    });
    for_each_vector("huelib/bridges.txt", "description", 3, [](const auto& cells) {
        EXPECT_EQ(shown(BridgeTexts::readDescription, cells[0]), cells[1]);
    });
}
