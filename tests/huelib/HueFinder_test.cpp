#include "huelib/HueFinder.h"

#include <system_error>
#include <thread>

#include <gtest/gtest.h>

#include "huelib/UPnP.h"
#include "tests/support/ScriptedHttpHandler.h"
#include "tests/support/Vectors.h"

namespace {

using Devices = std::vector<std::pair<std::string, std::string>>;

const std::string kBridgeServer = "Linux/3.14.0 UPnP/1.0 IpBridge/1.20.0";

std::string answer(const std::string& location, const std::string& server = kBridgeServer) {
    return "HTTP/1.1 200 OK\r\nEXT:\r\nLOCATION: " + location + "\r\nSERVER: " + server +
           "\r\nST: upnp:rootdevice";
}

std::string description(const std::string& serial_number, const std::string& filling = "") {
    return "<?xml version=\"1.0\"?>\n<root><device>"
           "<manufacturer>Royal Philips Electronics</manufacturer>\n"
           "<manufacturerURL>http://www.philips.com</manufacturerURL>\n"
           "<modelName>Philips hue bridge 2015" +
           filling + "</modelName>\n<serialNumber>" + serial_number +
           "</serialNumber></device></root>";
}

std::string replaced(std::string text, const std::string& part, const std::string& other) {
    return text.replace(text.find(part), part.size(), other);
}

struct Network {
    explicit Network(const std::vector<std::string>& answers) {
        handler->set_search_answers(answers);
    }
    Devices devices() const { return UPnP::getDevices(handler); }
    /// "address serial", for each bridge found.
    std::vector<std::string> bridges() const {
        std::vector<std::string> found;
        for (const HueFinder::HueIdentification& bridge : HueFinder(handler).FindBridges()) {
            found.push_back(bridge.ip + " " + bridge.mac);
        }
        return found;
    }

    std::shared_ptr<ScriptedHttpHandler> handler = std::make_shared<ScriptedHttpHandler>();
};

using Found = std::vector<std::string>;

}  // namespace

TEST(UPnP, ReturnsEachPairOfLocationAndServerOnceInOrderOfArrival) {
    const Network network({answer("http://b/", "two"), answer("http://a/", "one"),
                           answer("http://b/", "two"), answer("http://b/", "three")});
    EXPECT_EQ(network.devices(),
              (Devices{{"http://b/", "two"}, {"http://a/", "one"}, {"http://b/", "three"}}));
}

TEST(UPnP, ReadsAnAnswerOrSkipsIt) {
    for_each_vector("huelib/discovery.txt", "search", 4, [](const auto& cells) {
        EXPECT_EQ(Network({cells[0]}).devices(),
                  cells[1] == "-" ? Devices() : (Devices{{cells[1], cells[2]}}));
    });
}

TEST(UPnP, IsDoneInTimeWithAsManyAnswersAsItsTransportStores) {
    std::vector<std::string> many;
    for (int i = 0; i < 200'000; ++i) {
        many.push_back("LOCATION: " + std::to_string(i) + "\r\nSERVER: s");
    }
    EXPECT_EQ(Network(many).devices().size(),
              many.size());  // minutes if each is compared with each
}

TEST(HueFinder, FindsTheBridgesAmongTheDevices) {
    const Network network({answer("http://10.0.0.1:1900/igd.xml", "Router UPnP/1.0"),
                           answer("http://10.0.0.2:80/description.xml"),
                           answer("http://10.0.0.3")});
    network.handler->add_answer("GET", description("00178821b0b5"));
    network.handler->add_answer("GET", description("aa"));
    EXPECT_EQ(network.bridges(), (Found{"10.0.0.2 00178821b0b5", "10.0.0.3 aa"}));
    const auto requests = network.handler->requests();
    ASSERT_EQ(requests.size(), 3U);  // none to the router
    EXPECT_EQ(requests[0].text,
              "M-SEARCH * HTTP/1.1\r\nHOST: 239.255.255.250:1900\r\nMAN: \"ssdp:discover\"\r\n"
              "MX: 5\r\nST: ssdp:all\r\n\r\n");
    EXPECT_EQ(requests[0].adr + " " + requests[0].uri, "239.255.255.250 5 s");
    EXPECT_EQ(requests[0].port, 1900);
    EXPECT_EQ(requests[1].uri + " " + requests[1].adr, "/description.xml 10.0.0.2");
    EXPECT_NE(requests[1].text.find("Content-Type: application/xml\r\n"), std::string::npos);
    EXPECT_EQ(requests[1].port, 80);
}

TEST(HueFinder, ReadsADescriptionAsTheRegularExpressionsWould) {
    const std::string good = description("aa");
    for_each_vector("huelib/discovery.txt", "description", 4, [&](const auto& cells) {
        const Network network({answer("no slashes"), answer("http://a:80/")});
        network.handler->add_answer("GET", replaced(good, cells[0], cells[1]));
        EXPECT_EQ(network.bridges(), cells[2] == "found" ? Found{"a aa"} : Found());
    });
}

// A recursion for each character would overflow the stack of the thread.
TEST(HueFinder, DoesNotRecurseInALongDescription) {
    const std::string megabyte(1 << 20, 'a');
    const Network network({answer("http://a:80/")});
    network.handler->add_answer("GET", std::string(1 << 20, '<') + description(megabyte, megabyte));
    EXPECT_EQ(network.bridges(), Found{"a " + megabyte});
}

TEST(HueFinder, FailsIfOneDescriptionCannotBeRead) {
    const Network network({answer("http://a:80/"), answer("http://b:80/")});
    network.handler->add_answer("GET", description("aa"));
    network.handler->add("GET", []() -> std::string {
        throw std::system_error(ECONNREFUSED, std::generic_category(), "no");
    });
    EXPECT_THROW(network.bridges(), std::system_error);
}

TEST(HueFinder, UsesTheLastStoredUserNameWithoutARequest) {
    const Network network({});
    HueFinder finder(network.handler);
    finder.AddUsername("aa", "old");
    finder.AddUsername("aa", "new");
    const Hue bridge = finder.GetBridge({"10.0.0.2", "aa"});
    EXPECT_EQ(bridge.getBridgeIP() + " " + bridge.getUsername(), "10.0.0.2 new");
    EXPECT_TRUE(network.handler->requests().empty());
}
