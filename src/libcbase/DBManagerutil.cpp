#include "libcbase/DBManagerutil.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <utility>

#include <strings.h>
#include <sys/socket.h>

#include "libcbase/Cstylecode.h"
#include "libcbase/memory.h"

namespace {

using namespace dbmanager_format;

constexpr const char* kServiceAddress = "127.0.0.1";

constexpr const char* kFunctions[] = {"DDL-SQL", "DML-SQL"};
constexpr const char* kTypes[] = {"CREATE-TRIGGER", "DROP-TRIGGER", "INSERT", "UPDATE",
                                  "DELETE",         "TRANSACTION",  "SELECT"};

template <std::size_t N>
bool is_one_of(const char* const (&names)[N], const std::string& name) {
    return std::any_of(names, names + N,
                       [&name](const char* known) { return strcasecmp(known, name.c_str()) == 0; });
}

// One connection's exchange, which ends at its deadline whatever the peer does. The steps that
// receive return false after a failure, with its reason in reason_.
class Exchange final {
  public:
    explicit Exchange(const Request& request) : request_(request) {}
    ~Exchange() {
        if (fd_) {
            shutdown(fd_.get(), SHUT_RDWR);
        }
    }
    Exchange(const Exchange&) = delete;
    Exchange& operator=(const Exchange&) = delete;

    int run(int port, dbmanager_answer& out) {
        if (const int failure = send_request(port); failure != DBMANAGER_OK) {
            return failure;
        }
        dbmanager_answer answer;
        if (!receive_first_line(answer)) {
            return fail_to_receive(reason_);
        }
        const std::optional<std::size_t> length = parse_length_line(answer.first_line);
        if (!length) {
            log("strtok parsing 'Response payload length: ' response tag failed");
            return DBMANAGER_RECEIVE_FAILED;
        }
        if (!receive_body(*length, answer)) {
            return fail_to_receive(reason_);
        }
        const int number = status_number(answer.status);
        if (number == DBMANAGER_OK &&
            has_oversized_number(std::string_view(answer.body).substr(0, *length), request_.type)) {
            return fail_to_receive(strerror(ERANGE));
        }
        out = std::move(answer);
        return number;
    }

  private:
    int send_request(int port) {
        const std::string text = compose_request(request_);
        if (text.size() >= kRequestBufferBytes) {
            return fail_to_send(strerror(EMSGSIZE));
        }
        fd_.reset(make_internettcpclient_socket(kServiceAddress, port));
        if (!fd_) {
            log("error opening socket DBManager clientside");
            return DBMANAGER_CONNECT_FAILED;
        }
        return send_until(fd_.get(), text, deadline_) ? DBMANAGER_OK
                                                      : fail_to_send(strerror(errno));
    }

    // A line that does not end within the first kReceiveChunkBytes is cut there, and so not valid.
    bool receive_first_line(dbmanager_answer& answer) {
        std::string text;
        std::size_t newline = std::string::npos;
        while (newline == std::string::npos && text.size() < kReceiveChunkBytes) {
            if (!receive_chunk(text)) {
                return false;
            }
            newline = text.find('\n');
        }
        if (newline < kReceiveChunkBytes) {
            answer.first_line = text.substr(0, newline);
            answer.body = text.substr(newline + 1);
        }
        return true;
    }

    // Receives the body of `length` bytes, from its status tag on, and its status. Bytes that
    // arrive with the last of it do not count for the status, which would otherwise depend on how
    // TCP splits the answer: the tag must be within `length` bytes after the first line, and the
    // status within those of the body. Without the tag, the text after the first line is the body.
    bool receive_body(std::size_t length, dbmanager_answer& answer) {
        std::string& body = answer.body;
        if (!receive_up_to(length, body)) {
            return false;
        }
        const std::size_t tag = std::string_view(body).substr(0, length).find(kStatusTag);
        if (tag != std::string::npos) {
            body.erase(0, tag);
            if (!receive_up_to(length, body)) {
                return false;
            }
        }
        // The outputs are C strings: text after a zero byte could not be read.
        body.resize(std::min(body.find('\0'), body.size()));
        answer.status = status_of(std::string_view(body).substr(0, length));
        return true;
    }

    bool receive_up_to(std::size_t size, std::string& text) {
        while (text.size() < size) {
            if (!receive_chunk(text)) {
                return false;
            }
        }
        return true;
    }

    // Appends one chunk to `text`. A peer that has closed is a failure.
    bool receive_chunk(std::string& text) {
        const ssize_t received = receive_until(fd_.get(), text, deadline_);
        if (received <= 0) {
            reason_ = received == 0 ? kClosedByPeer : strerror(errno);
        }
        return received > 0;
    }

    int fail_to_send(const std::string& reason) const {
        log("send writing request failed with error '" + reason + "'");
        return DBMANAGER_SEND_FAILED;
    }

    int fail_to_receive(const std::string& reason) const {
        log("recv reading response failed with error '" + reason + "'");
        return DBMANAGER_RECEIVE_FAILED;
    }

    void log(const std::string& text) const {
        error("DBManagerutil->dbmanager_socket_request %s for function %s", text.c_str(),
              request_.function.c_str());
    }

    const Request& request_;
    std::chrono::steady_clock::time_point deadline_ =
        std::chrono::steady_clock::now() + std::chrono::seconds(DBMANAGER_EXCHANGE_SECONDS);
    FileDescriptor fd_;
    std::string reason_;
};

}  // namespace

queryresults* queryresultsinit() {
    auto* const record = static_cast<queryresults*>(xmalloc(sizeof(queryresults)));
    if (record != nullptr) {
        record->count = -1;
    }
    return record;
}

int queryresultsfree(queryresults* record) {
    if (record == nullptr) {
        return -1;
    }
    xfree(record->second);
    xfree(record->first);
    xfree(record);
    return 0;
}

int dbmanager_exchange(int port, const Request& request, dbmanager_answer& answer) {
    const auto refuse = [](const char* what, const std::string& text) {
        error("DBManagerutil->dbmanager_socket_request error %s %s not supported", what,
              text.c_str());
        return DBMANAGER_UNSUPPORTED;
    };
    if (!is_one_of(kFunctions, request.function)) {
        return refuse("function", request.function);
    }
    if (!is_one_of(kTypes, request.type)) {
        return refuse("type", request.type);
    }
    return Exchange(request).run(port, answer);
}

int dbmanager_socket_request(int port, const char* function, const char* type,
                             const char* payload_length, const char* statement,
                             char** out_first_line, char** out_status, char** out_body_length,
                             char** out_body) {
    dbmanager_answer answer;
    const int result = dbmanager_exchange(port,
                                          {text_or_empty(function), text_or_empty(type),
                                           text_or_empty(payload_length), text_or_empty(statement)},
                                          answer);
    const bool is_received = !answer.first_line.empty();
    const auto give = [is_received](char** out, const std::string& text) {
        if (out != nullptr) {
            *out = is_received ? xstrcpy(nullptr, text.c_str()) : nullptr;
        }
    };
    give(out_first_line, answer.first_line);
    give(out_status, answer.status);
    give(out_body_length, std::to_string(answer.body.size()));
    give(out_body, answer.body);
    return result;
}
