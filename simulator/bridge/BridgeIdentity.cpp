#include "simulator/bridge/BridgeIdentity.h"

namespace simulator {
namespace {

using std::chrono::milliseconds;

constexpr const char* kBridgeUuid = "uuid:2f402f80-da50-11e1-9b23-0017880ae670";
constexpr const char* kBridgeId = "001788FFFE0AE670";

// A device of the network, as its answers describe it.
struct Device {
    std::string location;
    std::string server;
    std::string further_lines;
    std::string uuid;
};

Device bridge_at(const std::string& authority) {
    return {"http://" + authority + "/description.xml", "Linux/3.14.0 UPnP/1.0 IpBridge/1.20.0",
            std::string("hue-bridgeid: ") + kBridgeId + "\r\n", kBridgeUuid};
}

Device router() {
    return {"http://127.0.0.1:49152/rootDesc.xml", "Linux/5.4 UPnP/1.1 MiniRouter/2.1", "",
            "uuid:6d696e69-7275-746f-7465-000000000001"};
}

Device media_player() {
    return {"http://127.0.0.90:1400/xml/device_description.xml",
            "Linux UPnP/1.0 MediaPlayer/63.2 (MP100)", "BOOTID.UPNP.ORG: 37\r\n",
            "uuid:6d656469-6170-6c61-7965-720000000001"};
}

SsdpResponder::Answer answer(int delay, const Device& device, const std::string& target) {
    const bool is_own_name = target == device.uuid;
    return {milliseconds(delay),
            "HTTP/1.1 200 OK\r\n"
            "HOST: 239.255.255.250:1900\r\n"
            "EXT:\r\n"
            "CACHE-CONTROL: max-age=100\r\n"
            "LOCATION: " +
                device.location +
                "\r\n"
                "SERVER: " +
                device.server + "\r\n" + device.further_lines + "ST: " + target +
                "\r\n"
                "USN: " +
                device.uuid + (is_own_name ? "" : "::" + target) + "\r\n\r\n"};
}

}  // namespace

std::string bridge_description(const std::string& authority) {
    const std::string address = authority.substr(0, authority.find(':'));
    return R"(<?xml version="1.0" encoding="UTF-8" ?>
<root xmlns="urn:schemas-upnp-org:device-1-0">
<specVersion>
<major>1</major>
<minor>0</minor>
</specVersion>
<URLBase>http://)" +
           authority + R"(/</URLBase>
<device>
<deviceType>urn:schemas-upnp-org:device:Basic:1</deviceType>
<friendlyName>Philips hue ()" +
           address + R"()</friendlyName>
<manufacturer>Royal Philips Electronics</manufacturer>
<manufacturerURL>http://www.philips.com</manufacturerURL>
<modelDescription>Philips hue Personal Wireless Lighting</modelDescription>
<modelName>Philips hue bridge 2015</modelName>
<modelNumber>BSB002</modelNumber>
<serialNumber>)" +
           kBridgeSerialNumber + R"(</serialNumber>
<UDN>)" + kBridgeUuid +
           R"(</UDN>
<presentationURL>index.html</presentationURL>
</device>
</root>
)";
}

std::vector<SsdpResponder::Answer> answers_to_search(const std::string& authority) {
    const Device bridge = bridge_at(authority);
    const std::string root = "upnp:rootdevice";
    const std::string basic = "urn:schemas-upnp-org:device:basic:1";
    const std::string gateway = "urn:schemas-upnp-org:device:InternetGatewayDevice:1";
    const std::string renderer = "urn:schemas-upnp-org:device:MediaRenderer:1";
    return {
        answer(20, router(), root),
        answer(60, bridge, root),
        answer(90, media_player(), root),
        answer(110, bridge, bridge.uuid),
        answer(150, router(), gateway),
        answer(160, bridge, basic),
        answer(240, media_player(), renderer),
        answer(330, bridge, root),
        answer(420, media_player(), renderer),
        answer(510, bridge, basic),
    };
}

}  // namespace simulator
