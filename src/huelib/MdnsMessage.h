/// Composes and reads messages of multicast DNS (RFC 6762) with the functions of the C library's
/// resolver. Any thread may call.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <netinet/in.h>

namespace MdnsMessage {

/// A record that says where a service is and what it is.
struct Record {
    /// The DNS types PTR, SRV, A and TXT.
    enum class Type { pointer, server, address, text };

    Type type;           ///< which of the other members have a value
    std::string name;    ///< that the record is about; special characters as "\." or "\032"
    std::string target;  ///< of a pointer: the instance of the service; of a server: its host
    in_addr address;     ///< of an address
    std::string texts;   ///< of a text: strings, each after a byte with its length
};

/// A question for the instances of a service, such as "_hue._tcp.local", that requests a unicast
/// answer. Throws std::system_error with EINVAL if the name is not a domain name, or the C
/// library's resolver cannot be set up.
std::string query(const std::string& service);

/// The records of an answer, of all its sections, without those that take a record back (with no
/// time to live) or whose names are longer than 255 characters. Empty for a message that is not
/// an answer, is incomplete, or has a record whose owner name is invalid.
std::vector<Record> read(std::string_view message);

/// The value of "key=value" in the texts of a record, the key in letters of either case; the first
/// one counts. Empty without such a text.
std::optional<std::string> textValue(std::string_view texts, std::string_view key);

}  // namespace MdnsMessage
