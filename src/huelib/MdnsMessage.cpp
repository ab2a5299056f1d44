#include "huelib/MdnsMessage.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <system_error>

#include <arpa/nameser.h>
#include <resolv.h>
#include <strings.h>

namespace MdnsMessage {
namespace {

constexpr std::size_t kFlagsAt = 2;
constexpr std::size_t kFlagsBytes = 2;
constexpr std::size_t kServerNameAt = 6;        // behind priority, weight and port
constexpr unsigned kUnicastAnswer = 0x80;       // in the first byte of a question's class
constexpr unsigned kClassWithoutFlag = 0x7fff;  // the flag asks to replace older records
constexpr std::size_t kLongestName = 255;

// The name at `at` of a record's data. Empty if it is not a name that is used.
std::string nameIn(const ns_msg& message, const ns_rr& record, std::size_t at) {
    char name[NS_MAXDNAME] = {};
    if (ns_rr_rdlen(record) <= at || dn_expand(ns_msg_base(message), ns_msg_end(message),
                                               ns_rr_rdata(record) + at, name, sizeof name) < 0) {
        return {};
    }
    return std::strlen(name) <= kLongestName ? name : std::string();
}

std::optional<Record> recordOf(const ns_msg& message, const ns_rr& raw) {
    if ((ns_rr_class(raw) & kClassWithoutFlag) != ns_c_in || ns_rr_ttl(raw) == 0 ||
        std::strlen(ns_rr_name(raw)) > kLongestName) {
        return std::nullopt;
    }
    Record record{{}, ns_rr_name(raw), {}, {}, {}};
    switch (ns_rr_type(raw)) {
        case ns_t_ptr:
            record.type = Record::Type::pointer;
            record.target = nameIn(message, raw, 0);
            return record.target.empty() ? std::nullopt : std::optional(record);
        case ns_t_srv:
            record.type = Record::Type::server;
            record.target = nameIn(message, raw, kServerNameAt);
            return record.target.empty() ? std::nullopt : std::optional(record);
        case ns_t_a:
            record.type = Record::Type::address;
            if (ns_rr_rdlen(raw) != sizeof record.address) {
                return std::nullopt;
            }
            std::memcpy(&record.address, ns_rr_rdata(raw), sizeof record.address);
            return record;
        case ns_t_txt:
            record.type = Record::Type::text;
            record.texts.assign(reinterpret_cast<const char*>(ns_rr_rdata(raw)), ns_rr_rdlen(raw));
            return record;
        default:
            return std::nullopt;
    }
}

}  // namespace

std::string query(const std::string& service) {
    unsigned char message[NS_PACKETSZ] = {};
    const int size = res_mkquery(ns_o_query, service.c_str(), ns_c_in, ns_t_ptr, nullptr, 0,
                                 nullptr, message, sizeof message);
    if (size < NS_HFIXEDSZ + NS_QFIXEDSZ) {
        throw std::system_error(EINVAL, std::generic_category(),
                                "MdnsMessage: Failed to compose a query");
    }
    // The resolver's configuration sets flags that RFC 6762 wants to be zero (section 18).
    std::memset(message + kFlagsAt, 0, kFlagsBytes);
    unsigned char& questionClass = message[size - NS_INT16SZ];
    questionClass = static_cast<unsigned char>(questionClass | kUnicastAnswer);
    return {reinterpret_cast<const char*>(message), static_cast<std::size_t>(size)};
}

std::vector<Record> read(std::string_view text) {
    ns_msg message{};
    std::vector<Record> records;
    if (text.size() > NS_MAXMSG ||
        ns_initparse(reinterpret_cast<const unsigned char*>(text.data()),
                     static_cast<int>(text.size()), &message) != 0 ||
        ns_msg_getflag(message, ns_f_qr) == 0 ||
        ns_msg_getflag(message, ns_f_opcode) != ns_o_query ||
        ns_msg_getflag(message, ns_f_rcode) != ns_r_noerror) {
        return records;
    }
    for (const ns_sect section : {ns_s_an, ns_s_ns, ns_s_ar}) {
        for (int i = 0; i < ns_msg_count(message, section); ++i) {
            ns_rr raw{};
            if (ns_parserr(&message, section, i, &raw) != 0) {
                return {};
            }
            if (std::optional<Record> record = recordOf(message, raw)) {
                records.push_back(std::move(*record));
            }
        }
    }
    return records;
}

std::optional<std::string> textValue(std::string_view texts, std::string_view key) {
    while (!texts.empty()) {
        const std::size_t size = static_cast<unsigned char>(texts[0]);
        const std::string_view text = texts.substr(1, size);
        if (text.size() > key.size() && text[key.size()] == '=' &&
            ::strncasecmp(text.data(), key.data(), key.size()) == 0) {
            return std::string(text.substr(key.size() + 1));
        }
        texts.remove_prefix(std::min(texts.size(), size + 1));
    }
    return std::nullopt;
}

}  // namespace MdnsMessage
