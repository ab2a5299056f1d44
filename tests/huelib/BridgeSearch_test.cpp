#include "huelib/BridgeSearch.h"

#include <algorithm>
#include <thread>

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include "huelib/BridgeAnnouncements.h"
#include "huelib/BridgeTexts.h"
#include "huelib/MdnsMessage.h"
#include "libcbase/Cstylecode.h"
#include "simulator/bridge/MulticastResponder.h"
#include "simulator/net/SocketServer.h"
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

/// A bridge at kBridge, after 80 devices that claim to be one and answer requests byte by byte. It
/// also answers at kOversized, which no valid answer announces.
class SlowNetwork final {
  public:
    static constexpr const char* kBridge = "127.2.0.1";
    static constexpr const char* kOversized = "127.0.0.99";

    SlowNetwork() { web_.listen_tcp("0.0.0.0", 80); }

    /// Answers the second search by SSDP, with one datagram of each device.
    void answer() {
        char search[1024];
        sockaddr_in searcher{};
        socklen_t size = sizeof searcher;
        for (int searches = 0; searches < 2; ++searches) {
            ASSERT_GT(::recvfrom(group_.get(), search, sizeof search, 0,
                                 reinterpret_cast<sockaddr*>(&searcher), &size),
                      0);
        }
        announce(kOversized, searcher, std::string(BridgeAnnouncements::kAnswerBytes, ' '));
        for (int device = 1; device <= 80; ++device) {
            announce("127.1.0." + std::to_string(device), searcher);
            if (device == 50) {
                announce(kBridge, searcher);
            }
        }
    }

  private:
    static FileDescriptor bound_to(const std::string& dotted, std::uint16_t port) {
        FileDescriptor fd(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
        sockaddr_in own{};
        own.sin_family = AF_INET;
        own.sin_port = htons(port);
        own.sin_addr = address(dotted);
        EXPECT_EQ(::bind(fd.get(), reinterpret_cast<sockaddr*>(&own), sizeof own), 0);
        return fd;
    }
    static FileDescriptor group() {
        FileDescriptor fd = bound_to("239.255.255.250", 1900);
        const ip_mreq membership{address("239.255.255.250"), address("127.0.0.1")};
        const timeval limit{5, 0};
        EXPECT_EQ(::setsockopt(fd.get(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit), 0);
        EXPECT_EQ(
            ::setsockopt(fd.get(), IPPROTO_IP, IP_ADD_MEMBERSHIP, &membership, sizeof membership),
            0);
        return fd;
    }
    static void announce(const std::string& device, const sockaddr_in& searcher,
                         const std::string& rest = {}) {
        const std::string text = announcement(device) + rest;
        ::sendto(bound_to(device, 0).get(), text.data(), text.size(), 0,
                 reinterpret_cast<const sockaddr*>(&searcher), sizeof searcher);
    }
    static void serve(simulator::Connection& peer) {
        sockaddr_in own{};
        socklen_t size = sizeof own;
        ::getsockname(peer.fd(), reinterpret_cast<sockaddr*>(&own), &size);
        const std::string text = "HTTP/1.0 200 OK\r\n\r\n{\"bridgeid\":\"001788FFFE0AE670\"," +
                                 std::string(1000, ' ') + "\"modelid\":\"BSB002\"}";
        ntohl(own.sin_addr.s_addr) >> 16 == 0x7f01
            ? peer.write_slowly(text, std::chrono::milliseconds(20))
            : peer.write(text);
        peer.finish();
    }

    FileDescriptor group_ = group();
    simulator::SocketServer web_{serve};
};

}  // namespace

TEST(BridgeSearch, FindsTheBridgeInTimeAmongManyDevicesThatAnswerSlowly) {
    if (!simulator::MulticastResponder::is_possible()) {
        GTEST_SKIP() << "a search would leave this machine";
    }
    SlowNetwork network;
    std::thread answering(&SlowNetwork::answer, &network);
    const auto start = std::chrono::steady_clock::now();
    std::vector<Bridge> found;
    EXPECT_NO_THROW(found = BridgeSearch().find());
    EXPECT_LT(std::chrono::steady_clock::now() - start, BridgeSearch::kLimit);
    answering.join();
    found.erase(std::remove_if(found.begin(), found.end(),
                               [](const Bridge& bridge) { return !bridge.isDescribed; }),
                found.end());
    EXPECT_EQ(shown(found), std::string(SlowNetwork::kBridge) + " 001788FFFE0AE670 BSB002");
}

TEST(MdnsMessage, AsksForInstancesAndAUnicastAnswer) {
    using namespace std::string_literals;
    const std::string query = MdnsMessage::query("_hue._tcp.local");
    EXPECT_EQ(query.substr(2), "\0\0\0\1\0\0\0\0\0\0\4_hue\4_tcp\5local\0\0\x0c\x80\1"s);
    EXPECT_THROW(MdnsMessage::query(std::string(64, 'a')), std::system_error);
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
        BridgeAnnouncements announcements({address("10.0.0.1")});
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
        announcements.addSsdp(announcement(address_of(i)), address(address_of(0)));
    }
    announcements.addSsdp("hue-bridgeid: 001788FFFE0AE670", address(address_of(0)));
    announcements.addSsdp(announcement("10.0.0.2"), address("10.0.0.2"));
    ASSERT_EQ(announcements.candidates().size(), 17U);
    EXPECT_EQ(announcements.candidates()[0].id, "") << "an answer after many of the same sender";
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
    EXPECT_EQ(merged[1].alsoAt, std::vector<std::string>{"10.0.0.10"});
}

TEST(BridgeTexts, AreThoseOfTheDeviceOrNone) {
    for_each_vector("huelib/bridges.txt", "config", 3, [](const auto& cells) {
        EXPECT_EQ(shown(BridgeTexts::readConfig, cells[0]), cells[1]);
    });
    for_each_vector("huelib/bridges.txt", "description", 3, [](const auto& cells) {
        EXPECT_EQ(shown(BridgeTexts::readDescription, cells[0]), cells[1]);
    });
}
