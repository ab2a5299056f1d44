#include "simulator/bridge/SearchAnswers.h"

#include <optional>
#include <regex>
#include <sstream>

#include <arpa/inet.h>
#include <arpa/nameser.h>

namespace simulator {
namespace {

using Answers = MulticastResponder::Answers;
using std::chrono::milliseconds;

constexpr const char* kService = "_hue._tcp.local";
constexpr int kFloodMessages = 3000;
constexpr int kFloodPerMillisecond = 10;

// The device type that a search asks for. A device ignores an incomplete search.
std::optional<std::string> searched_type(const std::string& message) {
    static const std::regex kSearch(
        "M-SEARCH \\* HTTP/1.1(?=\r\n)(?=[^]*\r\nHOST: .)(?=[^]*\r\nMX: .)"
        "(?=[^]*\r\nMAN: \"ssdp:discover\"\r\n)[^]*\r\nST: (.*)\r\n[^]*");
    std::smatch parts;
    const bool is_search =
        message.find("\r\n\r\n") != std::string::npos && std::regex_match(message, parts, kSearch);
    return is_search ? std::optional(parts.str(1)) : std::nullopt;
}

Answers parse_answers(const std::string& text) {
    static const std::regex kAnswer("after (.*)\n((?:.+\n)+)");
    Answers answers;
    for (std::sregex_iterator it(text.begin(), text.end(), kAnswer), end; it != end; ++it) {
        std::istringstream delays(it->str(1));
        const std::string datagram =
            std::regex_replace(it->str(2) + "\n", std::regex("\n"), "\r\n");
        for (int delay = 0; delays >> delay;) {
            answers.emplace(delay, datagram);
        }
    }
    return answers;
}

std::string word(std::size_t number) {
    return {static_cast<char>(number >> 8 & 255), static_cast<char>(number & 255)};
}

// With a byte in front that has its length.
std::string counted(const std::string& text) {
    return static_cast<char>(text.size()) + text;
}

std::string dns_name(const std::string& dotted) {
    std::string name;
    std::istringstream labels(dotted);
    for (std::string label; std::getline(labels, label, '.');) {
        name += counted(label);
    }
    return name + '\0';
}

// A resource record that is valid for two minutes.
std::string record(const std::string& name, int type, const std::string& data) {
    return dns_name(name) + word(static_cast<std::size_t>(type)) + word(ns_c_in) + word(0) +
           word(120) + word(data.size()) + data;
}

std::string message(std::size_t records, const std::string& text) {
    constexpr std::size_t kAuthoritativeAnswer = 0x8400;
    return word(0) + word(kAuthoritativeAnswer) + word(0) + word(records) + word(0) + word(0) +
           text;
}

std::string pointer(const std::string& instance, const std::string& service = kService) {
    return record(service, ns_t_ptr, dns_name(instance));
}

std::string server(const std::string& instance, const std::string& host) {
    return record(instance, ns_t_srv, word(0) + word(0) + word(443) + dns_name(host));
}

std::string address_record(const std::string& host, const std::string& dotted) {
    in_addr address{};
    inet_pton(AF_INET, dotted.c_str(), &address);
    return record(host, ns_t_a, {reinterpret_cast<const char*>(&address), sizeof(address)});
}

std::string texts(const std::string& instance, const std::string& id) {
    return record(instance, ns_t_txt, counted("bridgeid=" + id) + counted("modelid=BSB002"));
}

// All that belongs to one bridge.
std::string announcement(const std::string& name, const std::string& id,
                         const std::string& address) {
    const std::string instance = name + "." + kService;
    return message(4, pointer(instance) + texts(instance, id) + server(instance, name + ".local") +
                          address_record(name + ".local", address));
}

bool is_query(const std::string& datagram) {
    return datagram.find(dns_name(kService) + word(ns_t_ptr)) != std::string::npos;
}

Answers hostile_answers() {
    const std::string good = announcement("Other", "001788FFFE000001", "127.0.0.90");
    const std::string name_at_itself = "\xc0\x0c";  // behind the header
    Answers answers{
        {milliseconds(1), message(1, name_at_itself + record("", ns_t_ptr, "").substr(1))},
        {milliseconds(1), message(65535, pointer("Many." + std::string(kService)))},
        {milliseconds(1), message(1, texts("Big", "x") + std::string(60000, 'x'))},
        {milliseconds(1), message(1, pointer("Printer._ipp._tcp.local", "_ipp._tcp.local"))},
        {milliseconds(2), good},
    };
    for (std::size_t length = 0; length < good.size(); length += 7) {
        answers.emplace(milliseconds(3), good.substr(0, length));
    }
    for (int i = 0; i < kFloodMessages; ++i) {
        const std::string number = std::to_string(i);
        answers.emplace(
            milliseconds(4 + i / kFloodPerMillisecond),
            announcement("Fake" + number, "001788FFFE00" + std::to_string(1000 + i),
                         "127.1." + std::to_string(i >> 8) + "." + std::to_string(i & 255)));
    }
    return answers;
}

}  // namespace

MulticastResponder::Answerer ssdp_answers(const std::string& text, EventSink sink) {
    return [all = parse_answers(text), sink](const std::string& datagram) {
        const auto type = searched_type(datagram);
        Answers answers;
        if (type) {
            sink({EventKind::daemon_to_bridge, "M-SEARCH to every device: " + *type});
            for (const auto& answer : all) {
                if (type == "ssdp:all" ||
                    answer.second.find("\r\nST: " + *type + "\r\n") != std::string::npos) {
                    answers.insert(answer);
                }
            }
        }
        return answers;
    };
}

MulticastResponder::Answerer mdns_answers(const std::string& address, EventSink sink) {
    const std::string instance = "Hue Bridge - 0AE670." + std::string(kService);
    const std::string host = "001788fffe0ae670.local";
    const Answers all{
        {milliseconds(20), message(2, pointer(instance) + texts(instance, "001788fffe0ae670"))},
        {milliseconds(25), message(2, server(instance, host) + address_record(host, address))}};
    return [all, sink](const std::string& datagram) {
        const bool is_for_bridges = is_query(datagram);
        if (is_for_bridges) {
            sink({EventKind::daemon_to_bridge, std::string("mDNS query: ") + kService});
        }
        return is_for_bridges ? all : Answers{};
    };
}

MulticastResponder::Answerer hostile_mdns_answers() {
    return [all = hostile_answers()](const std::string& datagram) {
        return is_query(datagram) ? all : Answers{};
    };
}

}  // namespace simulator
