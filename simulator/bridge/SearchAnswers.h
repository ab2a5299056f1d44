/// The answers of the house's devices to searches: by SSDP from a text, by mDNS as a bridge or as a
/// hostile device sends them. Pure functions; any thread may call.
#pragma once

#include <string>

#include "simulator/bridge/MulticastResponder.h"
#include "simulator/journal/Journal.h"

namespace simulator {

constexpr const char* kSsdpGroup = "239.255.255.250";
constexpr std::uint16_t kSsdpPort = 1900;
constexpr const char* kMdnsGroup = "224.0.0.251";
constexpr std::uint16_t kMdnsPort = 5353;

/// Answers for all devices of the house: each search gets many answers from different devices over
/// some time. `text`: the answers; its first lines explain the form. Searches are added to `sink`.
MulticastResponder::Answerer ssdp_answers(const std::string& text, EventSink sink = ignore_event);

/// Answers of the bridge with this dotted address: pointer and text in one message, server and
/// address in another. Searches are added to `sink`.
MulticastResponder::Answerer mdns_answers(const std::string& address, EventSink sink);

/// Answers that no device should send: names that lead to themselves, cut and oversized messages,
/// another service, the address of another device, thousands of bridges that do not exist.
MulticastResponder::Answerer hostile_mdns_answers();

}  // namespace simulator
